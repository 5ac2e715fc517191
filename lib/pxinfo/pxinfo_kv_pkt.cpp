// Packet headers: reading and writing the header at the start of a packet
// file.
//
// On the file a header is the magic number, the major version, the record of
// the layout the major version selects and, for layouts 2 and 3, a checksum
// over the bytes before it. Readers always hand out the newest layout; the
// writer narrows the newest layout to the one it writes.
#include "pxinfo_kv_pkt.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "fileutl.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_xdr_internal.h"
#include "stg.h"
#include "tbs_uuid.h"
#include "xdr_ez.h"

namespace {

constexpr const char *kSource = pxinfo::source::kKvPkt;
using pxinfo::KvPktMsg;

struct ProtocolVersion {
    int major;
    int minor;
};

// Indexed by feature level.
constexpr ProtocolVersion kProtocolVersionOfFeatureLevel[] = {
    {0, 1}, {1, 2}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0},
};

// The reader re-encodes a header into a memory stream of this size to check
// its checksum.
constexpr u_int kCheckBufferSize = 32768;

// Defaults of the layout-3 fields that older layouts lack.
constexpr uint32_t kDefaultPktSeqNum = 1;
constexpr uint32_t kDefaultAuxCount = 1;

// ---------------------------------------------------------------------------
// Layouts as the reader and writer see them.

struct Layout {
    pxinfo_kv_pkt_header_type_t type;
    size_t record_size;
    xdr_ez_proc_t routine;
    bool has_checksum;
    // What a decoding failure of the record is reported as.
    const char *decode_failure_name;
};

constexpr Layout kLayout0 = {PXINFO_KV_PKT_HEADER_TYPE_0, sizeof(pxinfo_kv_pkt_header_0_t),
                             pxinfo::xdr::untyped<xdr_pxinfo_kv_pkt_header_0_t>, false, "sync header(type 0)"};
constexpr Layout kLayout2 = {PXINFO_KV_PKT_HEADER_TYPE_2, sizeof(pxinfo_kv_pkt_header_2_t),
                             pxinfo::xdr::untyped<xdr_pxinfo_kv_pkt_header_2_t>, true, "sync header(type 2)"};
constexpr Layout kLayout3 = {PXINFO_KV_PKT_HEADER_TYPE_3, sizeof(pxinfo_kv_pkt_header_t),
                             pxinfo::xdr::untyped<xdr_pxinfo_kv_pkt_header_t>, true, "sync header"};

// The layouts the reader and writer use; null for layout 1, which no major
// version selects.
const Layout *find_layout(pxinfo_kv_pkt_header_type_t type) {
    switch (type) {
    case PXINFO_KV_PKT_HEADER_TYPE_0: return &kLayout0;
    case PXINFO_KV_PKT_HEADER_TYPE_2: return &kLayout2;
    case PXINFO_KV_PKT_HEADER_TYPE_3: return &kLayout3;
    default: return nullptr;
    }
}

// ---------------------------------------------------------------------------
// Copies owned by a header: every block comes from the base services' heap
// and is released one by one.

bool is_non_empty(const char *text) { return text != nullptr && text[0] != '\0'; }

// Copies text into *copy; a null text stays null. False when storage is
// exhausted.
bool copy_text(const char *text, char **copy) {
    *copy = nullptr;
    if (text == nullptr) { return true; }
    *copy = stg_strdup(text);
    return *copy != nullptr;
}

// Copies the targets, each name copied when non-empty and null otherwise. A
// partial copy is left in *copy for the caller to release with
// release_targets; false when storage is exhausted.
bool copy_targets(const pxinfo_kv_pkt_tgt_desc_t *targets, int32_t count, pxinfo_kv_pkt_tgt_desc_t **copy) {
    *copy = nullptr;
    if (count <= 0) { return true; }
    *copy = pxinfo::allocate_array<pxinfo_kv_pkt_tgt_desc_t>(STG_AREA_TEMP, static_cast<size_t>(count));
    if (*copy == nullptr) { return false; }
    for (int32_t i = 0; i < count; ++i) {
        (*copy)[i].replica_uuid = targets[i].replica_uuid;
        if (is_non_empty(targets[i].name) && !copy_text(targets[i].name, &(*copy)[i].name)) { return false; }
    }
    return true;
}

void release_targets(pxinfo_kv_pkt_tgt_desc_t *targets, int32_t count) {
    if (targets == nullptr) { return; }
    for (int32_t i = 0; i < count; ++i) { stg_free(targets[i].name); }
    stg_free(targets);
}

// Copies count replica descriptors, each converted by convert(source, copy).
// False when storage is exhausted.
template <typename To, typename From, typename Convert>
bool copy_replicas(const From *replicas, int32_t count, To **copy, Convert convert) {
    *copy = nullptr;
    if (count <= 0) { return true; }
    *copy = pxinfo::allocate_array<To>(STG_AREA_TEMP, static_cast<size_t>(count));
    if (*copy == nullptr) { return false; }
    for (int32_t i = 0; i < count; ++i) { convert(replicas[i], (*copy)[i]); }
    return true;
}

// Releases what a copied header of any layout owns: aux_string, then the
// replicas, then the targets.
void release_aux_string(pxinfo_kv_pkt_header_0_t &) {}
template <typename Header>
void release_aux_string(Header &header) {
    stg_free(header.aux_string);
}

template <typename Header>
void release_copied_header(Header &header) {
    release_aux_string(header);
    stg_free(header.replicas);
    release_targets(header.targets, header.target_count);
    std::memset(&header, 0, sizeof header);
}

// ---------------------------------------------------------------------------
// Widening a decoded record to the newest layout.

// The layout-2 descriptor keeps its reference value, layout 0 has none.
int32_t ref_value_of(const pxinfo_kv_pkt_rep_desc_0_t &) { return 0; }
int32_t ref_value_of(const pxinfo_kv_pkt_rep_desc_2_t &replica) { return replica.ref_value; }

// A layout-2 aux_string is copied unchanged (an empty one stays empty);
// layout 0 has none.
bool copy_older_aux_string(const pxinfo_kv_pkt_header_0_t &, char **copy) {
    *copy = nullptr;
    return true;
}
bool copy_older_aux_string(const pxinfo_kv_pkt_header_2_t &record, char **copy) {
    return copy_text(record.aux_string, copy);
}

// The fields and descriptors of layouts 0 and 2, with the defaults of the
// fields they lack. header is all zero on entry; on false (storage
// exhausted) it holds a partial copy.
template <typename Record>
bool widen_older_record(const Record &record, pxinfo_kv_pkt_header_t *header) {
    header->minor_version = record.minor_version;
    header->source_replica_uuid = record.source_replica_uuid;
    header->family_uuid = record.family_uuid;
    header->target_count = record.target_count;
    header->sync_type = record.sync_type;
    header->aux_int = record.aux_int;
    header->pkt_seq_num = kDefaultPktSeqNum;
    header->aux_count = kDefaultAuxCount;
    header->aux_uuid2 = TBS_UUID_NULL;
    header->log_pkt_uuid = TBS_UUID_NULL;
    header->aux_uuid1 = TBS_UUID_NULL;
    header->compress_type = PXINFO_COMPRESS_DEFAULT;
    header->aux_value1 = 0;
    header->aux_value2 = 0;
    header->oplog_desc_type = PXINFO_KV_OPLOG_DESC_NONE;
    header->replica_count = record.replica_count;
    header->aux_int2 = 0;
    if (!copy_targets(record.targets, record.target_count, &header->targets)) { return false; }
    const auto widen_replica = [](const auto &from, pxinfo_kv_pkt_rep_desc_t &to) {
        to.replica_uuid = from.replica_uuid;
        to.start_epoch = from.start_epoch;
        to.end_epoch = 0;
        to.ref_value = ref_value_of(from);
    };
    if (!copy_replicas(record.replicas, record.replica_count, &header->replicas, widen_replica)) { return false; }
    return copy_older_aux_string(record, &header->aux_string);
}

bool copy_newest_record(const pxinfo_kv_pkt_header_t &record, pxinfo_kv_pkt_header_t *header) {
    *header = record;
    header->targets = nullptr;
    header->replicas = nullptr;
    header->aux_string = nullptr;
    if (!copy_targets(record.targets, record.target_count, &header->targets)) { return false; }
    const auto copy_replica = [](const pxinfo_kv_pkt_rep_desc_t &from, pxinfo_kv_pkt_rep_desc_t &to) { to = from; };
    if (!copy_replicas(record.replicas, record.replica_count, &header->replicas, copy_replica)) { return false; }
    return !is_non_empty(record.aux_string) || copy_text(record.aux_string, &header->aux_string);
}

// Builds the caller's header from a record of the given layout; 1062 when
// storage is exhausted (the partial header is left for the caller to
// release).
tbs_status_t build_caller_header(const Layout &layout, const void *record, pxinfo_kv_pkt_header_t *header) {
    bool copied = false;
    switch (layout.type) {
    case PXINFO_KV_PKT_HEADER_TYPE_0:
        copied = widen_older_record(*static_cast<const pxinfo_kv_pkt_header_0_t *>(record), header);
        break;
    case PXINFO_KV_PKT_HEADER_TYPE_2:
        copied = widen_older_record(*static_cast<const pxinfo_kv_pkt_header_2_t *>(record), header);
        break;
    default: copied = copy_newest_record(*static_cast<const pxinfo_kv_pkt_header_t *>(record), header); break;
    }
    return copied ? TBS_ST_OK : TBS_ST_NO_MEMORY;
}

// ---------------------------------------------------------------------------
// Reading.

// A zero-filled record of a layout, decoded in place; what decoding allocated
// and the record itself are released on every exit.
class DecodedRecord {
  public:
    explicit DecodedRecord(const Layout &layout)
        : layout_(layout), record_(stg_calloc(STG_AREA_TEMP, layout.record_size)) {}
    ~DecodedRecord() {
        if (record_ != nullptr) {
            xdr_ez_free(record_, layout_.routine, 0);
            stg_free(record_);
        }
    }
    DecodedRecord(const DecodedRecord &) = delete;
    DecodedRecord &operator=(const DecodedRecord &) = delete;

    bool allocated() const { return record_ != nullptr; }
    void *get() const { return record_; }

  private:
    const Layout &layout_;
    void *record_;
};

// The memory stream a header is re-encoded into; destroyed if it was made.
class CheckStream {
  public:
    CheckStream() { std::memset(&xdrs_, 0, sizeof xdrs_); }
    ~CheckStream() {
        if (created_) { xdrstg_destroy(&xdrs_); }
    }
    CheckStream(const CheckStream &) = delete;
    CheckStream &operator=(const CheckStream &) = delete;

    tbs_status_t create() {
        const tbs_status_t status = xdrstg_create(&xdrs_, kCheckBufferSize, 0);
        created_ = status == TBS_ST_OK;
        return status;
    }
    XDR *xdrs() { return &xdrs_; }

  private:
    XDR xdrs_;
    bool created_ = false;
};

tbs_status_t read_magic_and_major_version(XDR *xdrs, bool quiet, int *major_version) {
    u_long magic = 0;
    if (!xdr_u_long(xdrs, &magic)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kDecodeError, "magic");
        return TBS_ST_FAILED;
    }
    if (static_cast<uint32_t>(magic) != PXINFO_KV_PKT_MAGIC) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kBadMagic);
        return TBS_ST_FAILED;
    }
    if (!xdr_int(xdrs, major_version)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kDecodeError, "major version");
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

// Reads the stored checksum and compares it with the checksum of the magic
// number, the major version and the decoded record, encoded afresh.
tbs_status_t verify_checksum(XDR *xdrs, bool quiet, int major_version, const Layout &layout, void *record) {
    u_long stored = 0;
    if (!xdr_u_long(xdrs, &stored)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kDecodeError, "header checksum");
        return TBS_ST_FAILED;
    }
    CheckStream check;
    const tbs_status_t status = check.create();
    if (status != TBS_ST_OK) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "buffer creation");
        return status;
    }
    u_long magic = PXINFO_KV_PKT_MAGIC;
    if (!xdr_u_long(check.xdrs(), &magic)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "magic");
        return TBS_ST_FAILED;
    }
    if (!xdr_int(check.xdrs(), &major_version)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kDecodeError, "major version");
        return TBS_ST_FAILED;
    }
    if (!layout.routine(check.xdrs(), record, 0)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "sync header for checking");
        return TBS_ST_FAILED;
    }
    uint32_t computed = 0;
    fileutl_crc_buffer(check.xdrs()->x_base, XDR_GETPOS(check.xdrs()), &computed);
    if (computed != static_cast<uint32_t>(stored)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kBadChecksum, static_cast<unsigned long>(computed),
                          static_cast<unsigned long>(static_cast<uint32_t>(stored)));
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

// Everything after the creation of the caller's stream. header is all zero
// on entry; on failure it may hold a partial copy.
tbs_status_t read_header_from(XDR *xdrs, bool quiet, int *major_version, pxinfo_kv_pkt_header_t *header) {
    tbs_status_t status = read_magic_and_major_version(xdrs, quiet, major_version);
    if (status != TBS_ST_OK) { return status; }
    pxinfo_kv_pkt_header_type_t type = PXINFO_KV_PKT_HEADER_TYPE_0;
    status = pxinfo_kv_pkt_major_version_to_header_type(*major_version, quiet, &type);
    if (status != TBS_ST_OK) { return status; }
    const Layout *layout = find_layout(type);
    if (layout == nullptr) {
        pxinfo::log_int_error(kSource, __LINE__, "pxinfo_kv_pkt_read_header");
        return TBS_ST_FAILED;
    }
    DecodedRecord record(*layout);
    if (!record.allocated()) { return TBS_ST_NO_MEMORY; }
    if (!layout->routine(xdrs, record.get(), 0)) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, KvPktMsg::kDecodeError, layout->decode_failure_name);
        return TBS_ST_FAILED;
    }
    if (layout->has_checksum) {
        status = verify_checksum(xdrs, quiet, *major_version, *layout, record.get());
        if (status != TBS_ST_OK) { return status; }
    }
    status = build_caller_header(*layout, record.get(), header);
    if (status != TBS_ST_OK) { return status; }
    if (*major_version == PXINFO_KV_PKT_SOFTWARE_MAJOR_VERSION &&
        header->minor_version != PXINFO_KV_PKT_SOFTWARE_MINOR_VERSION) {
        pxinfo::print_msg(quiet, IMSG_SEV_WARNING, KvPktMsg::kVersionMismatch, PXINFO_KV_PKT_SOFTWARE_MAJOR_VERSION,
                          PXINFO_KV_PKT_SOFTWARE_MINOR_VERSION, *major_version,
                          static_cast<int>(header->minor_version));
    }
    return TBS_ST_OK;
}

// ---------------------------------------------------------------------------
// Writing.

// A header whose counts describe its arrays: no negative count, and an array
// wherever its count is positive.
bool counts_match_arrays(const pxinfo_kv_pkt_header_t &header) {
    const auto described = [](int32_t count, const void *array) {
        return count == 0 || (count > 0 && array != nullptr);
    };
    return described(header.target_count, header.targets) && described(header.replica_count, header.replicas);
}

// The layout-2 descriptor keeps the reference value; layout 0 has none. Both
// drop end_epoch.
void narrow_replica(const pxinfo_kv_pkt_rep_desc_t &from, pxinfo_kv_pkt_rep_desc_0_t &to) {
    to.replica_uuid = from.replica_uuid;
    to.start_epoch = from.start_epoch;
}
void narrow_replica(const pxinfo_kv_pkt_rep_desc_t &from, pxinfo_kv_pkt_rep_desc_2_t &to) {
    to.replica_uuid = from.replica_uuid;
    to.start_epoch = from.start_epoch;
    to.ref_value = from.ref_value;
}

bool copy_narrowed_aux_string(const pxinfo_kv_pkt_header_t &, pxinfo_kv_pkt_header_0_t &) { return true; }
bool copy_narrowed_aux_string(const pxinfo_kv_pkt_header_t &header, pxinfo_kv_pkt_header_2_t &record) {
    return copy_text(header.aux_string, &record.aux_string);
}

// The header narrowed to an older layout, owned by the writer and released
// when it goes out of scope. The layout-3-only fields are not carried.
template <typename Record>
class NarrowedRecord {
  public:
    NarrowedRecord() { std::memset(&record_, 0, sizeof record_); }
    ~NarrowedRecord() { release_copied_header(record_); }
    NarrowedRecord(const NarrowedRecord &) = delete;
    NarrowedRecord &operator=(const NarrowedRecord &) = delete;

    // False when storage is exhausted.
    bool build(const pxinfo_kv_pkt_header_t &header) {
        record_.minor_version = header.minor_version;
        record_.source_replica_uuid = header.source_replica_uuid;
        record_.family_uuid = header.family_uuid;
        record_.target_count = header.target_count;
        record_.sync_type = header.sync_type;
        record_.aux_int = header.aux_int;
        record_.replica_count = header.replica_count;
        if (!copy_targets(header.targets, header.target_count, &record_.targets)) { return false; }
        const auto narrow = [](const pxinfo_kv_pkt_rep_desc_t &from, auto &to) { narrow_replica(from, to); };
        if (!copy_replicas(header.replicas, header.replica_count, &record_.replicas, narrow)) { return false; }
        return copy_narrowed_aux_string(header, record_);
    }
    void *get() { return &record_; }

  private:
    Record record_;
};

template <typename Record>
tbs_status_t encode_narrowed(const pxinfo_kv_pkt_header_t &header, const Layout &layout, XDR *xdrs) {
    NarrowedRecord<Record> record;
    if (!record.build(header)) { return TBS_ST_NO_MEMORY; }
    if (!layout.routine(xdrs, record.get(), 0)) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "sync header");
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

tbs_status_t encode_record(const pxinfo_kv_pkt_header_t &header, const Layout &layout, XDR *xdrs) {
    switch (layout.type) {
    case PXINFO_KV_PKT_HEADER_TYPE_0: return encode_narrowed<pxinfo_kv_pkt_header_0_t>(header, layout, xdrs);
    case PXINFO_KV_PKT_HEADER_TYPE_2: return encode_narrowed<pxinfo_kv_pkt_header_2_t>(header, layout, xdrs);
    default: break;
    }
    // Encoding leaves the caller's header as it was.
    if (!layout.routine(xdrs, const_cast<pxinfo_kv_pkt_header_t *>(&header), 0)) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "sync header");
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

// Appends the checksum of the bytes from start to the current position of an
// in-memory stream.
tbs_status_t append_checksum(XDR *xdrs, u_int start) {
    const u_int end = XDR_GETPOS(xdrs);
    uint32_t checksum = 0;
    fileutl_crc_buffer(xdrs->x_base + start, end - start, &checksum);
    u_long word = checksum;
    if (!xdr_u_long(xdrs, &word)) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "header crc");
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

}  // namespace

// ---------------------------------------------------------------------------
// Reading and releasing headers.

extern "C" tbs_status_t pxinfo_kv_pkt_read_header(FILE *stream, XDR *xdrs, int quiet, int *major_version,
                                                  pxinfo_kv_pkt_header_t *header) {
    if (stream == nullptr || xdrs == nullptr || major_version == nullptr || header == nullptr) {
        return TBS_ST_INVALID_ARG;
    }
    *major_version = 0;
    std::memset(header, 0, sizeof *header);
    xdrstdio_create(xdrs, stream, XDR_DECODE);
    const tbs_status_t status = read_header_from(xdrs, quiet != 0, major_version, header);
    if (status != TBS_ST_OK) { pxinfo_free_kv_pkt_hdr(header); }
    return status;
}

extern "C" tbs_status_t pxinfo_kv_pkt_read_import_header_no_xdr(FILE *stream, int quiet, int *major_version,
                                                                pxinfo_kv_pkt_header_t *header) {
    XDR xdrs;
    std::memset(&xdrs, 0, sizeof xdrs);
    const tbs_status_t status = pxinfo_kv_pkt_read_header(stream, &xdrs, quiet, major_version, header);
    if (stream != nullptr) { fseek(stream, 0, SEEK_SET); }
    if (xdrs.x_ops != nullptr) { XDR_DESTROY(&xdrs); }
    return status;
}

extern "C" tbs_status_t pxinfo_kv_pkt_finish_import_header_no_xdr(FILE *, pxinfo_kv_pkt_header_t *header) {
    pxinfo_free_kv_pkt_hdr(header);
    return TBS_ST_OK;
}

extern "C" void pxinfo_free_kv_pkt_hdr(pxinfo_kv_pkt_header_t *header) {
    if (header != nullptr) { release_copied_header(*header); }
}

// ---------------------------------------------------------------------------
// Writing headers.

extern "C" tbs_status_t pxinfo_kv_pkt_write_header(const pxinfo_kv_pkt_header_t *header, int major_version, XDR *xdrs,
                                                   u_int *size) {
    if (header == nullptr || xdrs == nullptr || xdrs->x_op != XDR_ENCODE || size == nullptr ||
        !counts_match_arrays(*header)) {
        return TBS_ST_INVALID_ARG;
    }
    pxinfo_kv_pkt_header_type_t type = PXINFO_KV_PKT_HEADER_TYPE_0;
    tbs_status_t status = pxinfo_kv_pkt_major_version_to_header_type(major_version, 0, &type);
    if (status != TBS_ST_OK) { return status; }
    const Layout *layout = find_layout(type);
    if (layout == nullptr) {
        pxinfo::log_int_error(kSource, __LINE__, "pxinfo_kv_pkt_write_header");
        return TBS_ST_FAILED;
    }
    // The checksum is computed over the stream's own buffer.
    if (layout->has_checksum && xdrs->x_base == nullptr) { return TBS_ST_INVALID_ARG; }
    *size = 0;
    const u_int start = XDR_GETPOS(xdrs);
    u_long magic = PXINFO_KV_PKT_MAGIC;
    if (!xdr_u_long(xdrs, &magic)) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "magic");
        return TBS_ST_FAILED;
    }
    if (!xdr_int(xdrs, &major_version)) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, KvPktMsg::kEncodeError, "major version");
        return TBS_ST_FAILED;
    }
    status = encode_record(*header, *layout, xdrs);
    if (status != TBS_ST_OK) { return status; }
    if (!layout->has_checksum) {
        // The size of a layout-0 header counts from the stream's start, not
        // from where the header began: a header written after other bytes
        // reports them too, as the product's writers expect.
        *size = XDR_GETPOS(xdrs);
        return TBS_ST_OK;
    }
    status = append_checksum(xdrs, start);
    if (status != TBS_ST_OK) { return status; }
    *size = XDR_GETPOS(xdrs) - start;
    return TBS_ST_OK;
}

// ---------------------------------------------------------------------------
// Feature levels. Kept in this file so that the internal error's source path
// and line both point at the statement that reports it.

extern "C" void pxinfo_map_flevel_to_protocol_versions(int feature_level, int *major_version, int *minor_version) {
    const unsigned level = static_cast<unsigned>(feature_level);
    if (level < sizeof kProtocolVersionOfFeatureLevel / sizeof kProtocolVersionOfFeatureLevel[0]) {
        if (major_version != nullptr) { *major_version = kProtocolVersionOfFeatureLevel[level].major; }
        if (minor_version != nullptr) { *minor_version = kProtocolVersionOfFeatureLevel[level].minor; }
        return;
    }
    if (minor_version != nullptr) { *minor_version = 0; }
    const imsg_msg_table_t &catalog = _pxinfo_kv_pkt_pxinfo_msg_table;
    const int index = static_cast<int>(KvPktMsg::kNoVersionForFeatureLevel);
    // The assertion reports the line right after the internal error's.
    tbs_log_int_error(catalog.component_name, &catalog, index, kSource, __LINE__, 0, feature_level);
    PXINFO_ASSERT_FAIL("FALSE", kSource);
}
