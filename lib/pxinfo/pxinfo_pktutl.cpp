// Packet files: classifying a path, building a packet's information in the
// caller's area, and ordering packets by their dependencies.
#include "pxinfo_pktutl.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "pxinfo_frame_internal.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_shp_order.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_rgy.h"
#include "pxinfo_utl_selector.h"
#include "strutl.h"
#include "tbs_uuid.h"

namespace {

constexpr const char *kSource = pxinfo::source::kPktutl;

using pxinfo::PxinfoMsg;
using tbs::SharedMsg;

// The packet file as detection and packet information open it: read-only,
// closed when the holder goes out of scope.
class PacketStream {
  public:
    PacketStream() = default;
    ~PacketStream() { close(); }
    PacketStream(const PacketStream &) = delete;
    PacketStream &operator=(const PacketStream &) = delete;

    // Opens (or reopens from the start) path; prints message 5 on failure
    // unless quiet.
    tbs_status_t open(const char *path, bool quiet = false) {
        close();
        stream_ = std::fopen(path, "r");
        if (stream_ != nullptr) { return TBS_ST_OK; }
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, PxinfoMsg::kCannotOpen, path, imsg_strerror(errno));
        return TBS_ST_FAILED;
    }
    // Closes the stream; false when the close failed.
    bool close() {
        if (stream_ == nullptr) { return true; }
        int result = std::fclose(stream_);
        stream_ = nullptr;
        return result == 0;
    }
    FILE *get() const { return stream_; }

  private:
    FILE *stream_ = nullptr;
};

// A header read by the import form, released when it goes out of scope.
class ImportedHeader {
  public:
    explicit ImportedHeader(FILE *stream) : stream_(stream) { std::memset(&header_, 0, sizeof header_); }
    ~ImportedHeader() { pxinfo_kv_pkt_finish_import_header_no_xdr(stream_, &header_); }
    ImportedHeader(const ImportedHeader &) = delete;
    ImportedHeader &operator=(const ImportedHeader &) = delete;

    tbs_status_t read(int quiet) { return pxinfo_kv_pkt_read_import_header_no_xdr(stream_, quiet, &major_, &header_); }
    const pxinfo_kv_pkt_header_t &header() const { return header_; }
    int major() const { return major_; }

  private:
    FILE *stream_;
    int major_ = 0;
    pxinfo_kv_pkt_header_t header_;
};

}  // namespace

// The SAM check: a readable packet header whose sync type names a creation or
// update packet decides the type.
static tbs_status_t pxinfo_sam_pkt_check(FILE *stream, const char *path, pxinfo_file_type_t *type) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    tbs_status_t status = TBS_ST_OK;
    {
        ImportedHeader imported(stream);
        if (imported.read(1) != TBS_ST_OK) {
            return TBS_ST_OK;  // no SAM packet: type stays 8
        }
        pxinfo::trace_detail(pxinfo::kTraceDetail, "%s is a SAM pkt\n", path);
        *type = pxinfo_kv_pkt_sync_type_to_file_type(imported.header().sync_type);
        if (*type == PXINFO_FILE_KVCREATE || *type == PXINFO_FILE_KVUPDATE) {
            pxinfo::trace_detail(pxinfo::kTraceDetail, "SAM replica %s packet found: %s\n",
                                 *type == PXINFO_FILE_KVCREATE ? "creation" : "update", path);
        } else {
            // A readable header whose sync type names no packet is taken for a
            // newer product's packet, and refused as an invalid argument.
            pxinfo::print_msg(false, IMSG_SEV_ERROR, PxinfoMsg::kVersionTooNew, path);
            status = TBS_ST_INVALID_ARG;
        }
    }
    return PXINFO_FAIL(scope, status);
}

// The DCT check recognises no file: it only resets the type.
static tbs_status_t pxinfo_dct_pkt_check(FILE * /*stream*/, pxinfo_file_type_t *type) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    *type = PXINFO_FILE_OTHER;
    return TBS_ST_OK;
}

// The classifier: the kinds are tried in a fixed order, each reading the file
// from its start; file_time receives the status-change time.
static tbs_status_t pxinfo_get_file_type(const char *path, pxinfo_file_type_t &type, long &file_time) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    type = PXINFO_FILE_OTHER;
    struct stat64 info;
    if (::stat64(path, &info) != 0) {
        tbs_status_t status = tbs_errno2status(errno);
        pxinfo::print_msg(false, IMSG_SEV_ERROR, PxinfoMsg::kCannotAccess, path, tbs_strerror(status));
        return PXINFO_FAIL(scope, status);
    }
    if (info.st_nlink == 0 || (info.st_mode & 0xF000) != 0x8000) {
        pxinfo::print_msg(false, IMSG_SEV_ERROR, PxinfoMsg::kNotAFile, path);
        return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND);
    }
    file_time = static_cast<long>(info.st_ctime);

    PacketStream stream;
    tbs_status_t status = stream.open(path);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    status = pxinfo_sam_pkt_check(stream.get(), path, &type);
    if (status != TBS_ST_OK) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, SharedMsg::kCheckFailed, "pxinfo_sam_pkt_check",
                             path, tbs_strerror(status));
        return PXINFO_FAIL(scope, status);
    }
    if (type != PXINFO_FILE_OTHER) { return TBS_ST_OK; }

    status = stream.open(path);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    pxinfo_dct_pkt_check(stream.get(), &type);

    if (type == PXINFO_FILE_OTHER) {
        status = stream.open(path);
        if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
        pxinfo_shp_order_t *order = nullptr;
        status = pxinfo_shp_read_order(stream.get(), path, &order);
        if (status == TBS_ST_OK) {
            pxinfo::trace_detail(pxinfo::kTraceDetail, "%s is a shp order file\n", path);
            type = PXINFO_FILE_SHORDER;
        } else if (status == TBS_ST_NOT_FOUND) {
            status = TBS_ST_OK;
        }
        if (order != nullptr) { pxinfo_shp_destroy_order(&order); }
    }
    return PXINFO_FAIL(scope, status);
}

extern "C" tbs_status_t pxinfo_get_file_type(const char *path, pxinfo_file_type_t *type) {
    if (type == nullptr) {
        pxinfo::log_int_error(kSource, __LINE__, "pxinfo_get_file_type");
        return TBS_ST_INVALID_ARG;
    }
    if (path == nullptr) { return TBS_ST_INVALID_ARG; }
    long file_time = 0;
    // The classifier traces its own entry, exit and failures; this wrapper adds
    // only the location of its own failure, as the product's traces show it.
    return pxinfo::trace_failure(pxinfo_get_file_type(path, *type, file_time), kSource, __LINE__);
}

namespace {

// The packet's targets, copied into the area as replica infos.
tbs_status_t copy_targets(const pxinfo_kv_pkt_header_t &header, stg_area_t *area, pxinfo_replica_info_t **targets) {
    *targets = nullptr;
    if (header.target_count <= 0) { return TBS_ST_OK; }
    auto *copies = pxinfo::allocate_array<pxinfo_replica_info_t>(area, static_cast<size_t>(header.target_count));
    if (copies == nullptr) { return TBS_ST_NO_MEMORY; }
    for (int32_t i = 0; i < header.target_count; ++i) {
        const pxinfo_kv_pkt_tgt_desc_t &target = header.targets[i];
        copies[i].extra_name = nullptr;
        copies[i].name = stg_area_strdup(area, target.name);
        if (copies[i].name == nullptr && target.name != nullptr && target.name[0] != '\0') { return TBS_ST_NO_MEMORY; }
        tbs_status_t status = pxinfo_new_vault_selector(&target.replica_uuid, &header.family_uuid, &copies[i].replica);
        if (status != TBS_ST_OK) { return status; }
    }
    *targets = copies;
    return TBS_ST_OK;
}

// The packet's source and its replica references, the latter in the area.
tbs_status_t build_source(const pxinfo_kv_pkt_header_t &header, stg_area_t *area, pxinfo_packet_source_info_t *source) {
    std::memset(source, 0, sizeof *source);
    switch (pxinfo_kv_pkt_sync_type_to_file_type(header.sync_type)) {
    case PXINFO_FILE_KVCREATE: source->packet_type = PXINFO_PACKET_CREATION; break;
    case PXINFO_FILE_KVUPDATE: source->packet_type = PXINFO_PACKET_UPDATE; break;
    default: return TBS_ST_FAILED;
    }
    tbs_status_t status = pxinfo_new_vault_selector(&header.source_replica_uuid, &header.family_uuid, &source->source);
    if (status != TBS_ST_OK) { return status; }

    // The reference array is requested also for no replicas, so that a
    // packet's references are never null.
    size_t count = header.replica_count > 0 ? static_cast<size_t>(header.replica_count) : 0;
    auto *refs = pxinfo::allocate_array<pxinfo_replica_reference_t>(area, count);
    if (refs == nullptr) { return TBS_ST_NO_MEMORY; }
    source->references.count = static_cast<uint32_t>(count);
    source->references.refs = refs;
    source->references.ref_int = 0;
    source->references.ref_str = nullptr;
    for (size_t i = 0; i < count; ++i) {
        const pxinfo_kv_pkt_rep_desc_t &descriptor = header.replicas[i];
        status = pxinfo_new_vault_selector(&descriptor.replica_uuid, &header.family_uuid, &refs[i].replica);
        if (status != TBS_ST_OK) { return status; }
        refs[i].ref_value = descriptor.ref_value;
        refs[i].start_epoch = descriptor.start_epoch;
        refs[i].end_epoch = descriptor.end_epoch;
    }
    return TBS_ST_OK;
}

// Everything the header says about a creation or update packet, into info.
tbs_status_t fill_from_header(const pxinfo_kv_pkt_header_t &header, int major, stg_area_t *area,
                              pxinfo_packet_info_t *info) {
    char *aux_string = stg_area_strdup(area, header.aux_string);
    if (aux_string == nullptr && header.aux_string != nullptr && header.aux_string[0] != '\0') {
        return TBS_ST_NO_MEMORY;
    }
    pxinfo_replica_info_t *targets = nullptr;
    tbs_status_t status = copy_targets(header, area, &targets);
    if (status != TBS_ST_OK) { return status; }
    pxinfo_packet_source_info_t source;
    status = build_source(header, area, &source);
    if (status != TBS_ST_OK) { return status; }

    info->component_type = PXINFO_COMPONENT_VAULT;
    info->major_version = major;
    info->minor_version = header.minor_version;
    info->source_count = 1;
    info->sources[0] = source;
    std::memset(&info->sources[1], 0, sizeof info->sources[1]);
    info->aux_int = header.aux_int;
    info->target_count = targets != nullptr ? static_cast<uint32_t>(header.target_count) : 0;
    info->targets = targets;
    info->aux_string = aux_string;
    info->log_pkt_uuid = header.log_pkt_uuid;
    info->aux_uuid1 = header.aux_uuid1;
    info->pkt_seq_num = header.pkt_seq_num;
    info->aux_count = header.aux_count;
    info->aux_uuid2 = header.aux_uuid2;
    info->compress_type = header.compress_type;
    info->aux_value1 = header.aux_value1;
    info->aux_value2 = header.aux_value2;
    info->aux_int2 = header.aux_int2;
    return TBS_ST_OK;
}

// Reads the packet's header and fills info; every problem goes to its status.
// A packet that cannot be opened again after it was classified is reported by
// its status alone.
void examine_packet(const char *path, stg_area_t *area, pxinfo_packet_info_t *info) {
    PacketStream stream;
    if (stream.open(path, true) != TBS_ST_OK) {
        info->status = static_cast<int32_t>(TBS_ST_FAILED);
        return;
    }
    {
        ImportedHeader imported(stream.get());
        tbs_status_t status = imported.read(0);
        if (status == TBS_ST_OK) { status = fill_from_header(imported.header(), imported.major(), area, info); }
        info->status = static_cast<int32_t>(status);
    }
    if (!stream.close()) {
        pxinfo::print_shared(IMSG_SEV_WARNING, pxinfo::kTraceComponent, SharedMsg::kCloseFailed, path,
                             imsg_strerror(errno));
    }
}

}  // namespace

extern "C" tbs_status_t pxinfo_get_packet_info(const char *path, stg_area_t *area, int caller_value,
                                               pxinfo_packet_info_t *info) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (path == nullptr || path[0] == '\0' || area == nullptr || area == STG_AREA_TEMP || info == nullptr) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    std::memset(info, 0, sizeof *info);
    info->pkt_name = stg_area_strdup(area, path);
    if (info->pkt_name == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    info->component_type = static_cast<pxinfo_component_type_t>(0);
    info->caller_value = caller_value;

    pxinfo_file_type_t type = PXINFO_FILE_OTHER;
    long file_time = 0;
    tbs_status_t status = pxinfo_get_file_type(path, type, file_time);
    info->file_time = static_cast<int32_t>(file_time);
    if (status != TBS_ST_OK) {
        info->status = static_cast<int32_t>(status);
        return TBS_ST_OK;
    }
    // A shipping order, a type 0 and a file of no known kind all end here with
    // status 0 and no packet information; bb packet files are known but not read.
    int file_type = type;
    if (file_type == 2 || file_type == 3) {
        info->component_type = PXINFO_COMPONENT_VAULT;
        examine_packet(path, area, info);
    } else if (file_type >= 4 && file_type <= 7) {
        info->component_type = PXINFO_COMPONENT_BB;
        info->status = static_cast<int32_t>(TBS_ST_FAILED);
    }
    return TBS_ST_OK;
}

namespace {

// Fields 1 to 13, the ones both layouts share, copied shallowly.
template <typename To, typename From>
void copy_shared_fields(const From &from, To &to) {
    to.pkt_name = from.pkt_name;
    to.component_type = from.component_type;
    to.status = from.status;
    to.file_time = from.file_time;
    to.caller_value = from.caller_value;
    to.major_version = from.major_version;
    to.minor_version = from.minor_version;
    to.source_count = from.source_count;
    for (int i = 0; i < PXINFO_PACKET_SOURCE_SLOTS; ++i) { to.sources[i] = from.sources[i]; }
    to.aux_int = from.aux_int;
    to.target_count = from.target_count;
    to.targets = from.targets;
    to.aux_string = from.aux_string;
}

}  // namespace

extern "C" void pxinfo_packet_info_native_to_v6(const pxinfo_packet_info_t *native_pi_p,
                                                pxinfo_packet_info_v6_t *v6_pi_p) {
    if (native_pi_p == nullptr || v6_pi_p == nullptr) {
        PXINFO_ASSERT_FAIL("(native_pi_p != NULL) && (v6_pi_p != NULL)", kSource);
        return;
    }
    copy_shared_fields(*native_pi_p, *v6_pi_p);
}

extern "C" void pxinfo_packet_info_v6_to_native(const pxinfo_packet_info_v6_t *v6_pi_p,
                                                pxinfo_packet_info_t *native_pi_p) {
    if (v6_pi_p == nullptr || native_pi_p == nullptr) {
        PXINFO_ASSERT_FAIL("(v6_pi_p != NULL) && (native_pi_p != NULL)", kSource);
        return;
    }
    copy_shared_fields(*v6_pi_p, *native_pi_p);
    native_pi_p->log_pkt_uuid = TBS_UUID_NULL;
    native_pi_p->aux_uuid1 = TBS_UUID_NULL;
    native_pi_p->aux_uuid2 = TBS_UUID_NULL;
    native_pi_p->pkt_seq_num = 1;
    native_pi_p->aux_count = 1;
    native_pi_p->compress_type = PXINFO_COMPRESS_DEFAULT;
    native_pi_p->aux_value1 = 0;
    native_pi_p->aux_value2 = 0;
    native_pi_p->aux_int2 = 0;
}

namespace {

// Row entries of a packet's first source, in the given area: the start epoch
// and a copy of each reference's replica.
pxinfo_epoch_row_entry_t *entries_from_references(const pxinfo_packet_reference_t &references, stg_area_t *area) {
    size_t count = references.count;
    auto *entries = pxinfo::allocate_array<pxinfo_epoch_row_entry_t>(area, count);
    if (entries == nullptr) { return nullptr; }
    for (size_t i = 0; i < count; ++i) {
        entries[i].epoch = references.refs[i].start_epoch;
        entries[i].entry_value = 0;
        entries[i].replica = references.refs[i].replica;
    }
    return entries;
}

bool is_kv_update(const pxinfo_packet_info_t &info) {
    return info.component_type == PXINFO_COMPONENT_VAULT && info.sources[0].packet_type != PXINFO_PACKET_CREATION;
}

// The epoch rows of the two packets, compared: -1, 1 or 0; a failure to build
// or compare the rows is recorded in failure.
int compare_rows(const pxinfo_packet_info_t &pkt1, const pxinfo_packet_info_t &pkt2, bool &failure) {
    const pxinfo_packet_reference_t &refs1 = pkt1.sources[0].references;
    const pxinfo_packet_reference_t &refs2 = pkt2.sources[0].references;
    pxinfo_epoch_row_entry_t *row1 = entries_from_references(refs1, STG_AREA_TEMP);
    pxinfo_epoch_row_entry_t *row2 = row1 != nullptr ? entries_from_references(refs2, STG_AREA_TEMP) : nullptr;
    int order = 0;
    if (row1 == nullptr || row2 == nullptr) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, SharedMsg::kOutOfMemory);
        failure = true;
    } else {
        int result = 0;
        pxinfo_miscompare_functor_t no_functor = {nullptr, nullptr};
        tbs_status_t status =
            pxinfo_epoch_row_compare(refs1.count, row1, refs2.count, row2, nullptr, no_functor, &result);
        if (status != TBS_ST_OK) { failure = true; }
        if (result == PXINFO_EPOCH_CMP_LESS) {
            order = -1;
        } else if (result == PXINFO_EPOCH_CMP_GREATER) {
            order = 1;
        }
    }
    stg_free(row1);
    stg_free(row2);
    return order;
}

}  // namespace

extern "C" int pxinfo_compare_pkt_dependencies(const pxinfo_packet_info_t *pkt1, const pxinfo_packet_info_t *pkt2) {
    // Traced on entry, and on exit only when the sequence numbers are reached.
    pxinfo::trace_entry(__func__);
    if (pkt1 == nullptr || pkt2 == nullptr) { return 0; }
    if (pkt1->component_type != pkt2->component_type || pkt1->component_type != PXINFO_COMPONENT_VAULT) { return 0; }
    if (pkt1->sources[0].packet_type == PXINFO_PACKET_CREATION ||
        pkt1->sources[0].packet_type != pkt2->sources[0].packet_type) {
        return 0;
    }
    pxinfo::trace_dump(pxinfo::kTraceDetail, "pkt1: %s\npkt2: %s\n", pkt1->pkt_name, pkt2->pkt_name);

    bool row_failure = false;
    int order = compare_rows(*pkt1, *pkt2, row_failure);
    if (order != 0) { return order; }

    // A failure to build or compare the rows does not stop the tie-breaks: a
    // log uuid difference is still returned, only the sequence number's is not.
    int log_order = tbs_uuid_cmp(&pkt1->log_pkt_uuid, &pkt2->log_pkt_uuid);
    pxinfo::trace_dump(pxinfo::kTraceDetail, "log_pkt_uuid comparison: %d\n", log_order);
    if (log_order != 0) { return log_order; }

    // The sequence numbers compare through their signed 32-bit difference, so
    // that numbers which wrapped around still order recent after old.
    int32_t difference = static_cast<int32_t>(pkt1->pkt_seq_num - pkt2->pkt_seq_num);
    pxinfo::trace_dump(pxinfo::kTraceDetail, "pkt sequence num comparison: %d\n", difference);
    int result = difference < 0 ? -1 : difference > 0 ? 1 : 0;
    pxinfo::trace_exit(__func__);
    return row_failure ? 0 : result;
}

extern "C" tbs_status_t pxinfo_kv_packet_info_to_epoch_row(const pxinfo_packet_info_t *info, pxinfo_epoch_row_t *row) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (row == nullptr || info == nullptr || !is_kv_update(*info)) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    const pxinfo_packet_reference_t &references = info->sources[0].references;
    row->entries = entries_from_references(references, STG_AREA_TEMP);
    if (row->entries == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    row->count = static_cast<int32_t>(references.count);
    return TBS_ST_OK;
}

namespace {

// Names the row after the target whose replica is the given one; when no
// target is that replica, the row keeps the name it had.
tbs_status_t name_row_after_target(const pxinfo_kv_pkt_header_t &header, const pxinfo_selector_t &replica,
                                   pxinfo_epoch_row_t *row) {
    tbs_uuid_t replica_oid;
    if (pxinfo_selector_to_replica_oid(&replica, &replica_oid) != TBS_ST_OK) { return TBS_ST_OK; }
    for (int32_t i = 0; i < header.target_count; ++i) {
        const pxinfo_kv_pkt_tgt_desc_t &target = header.targets[i];
        if (!tbs_oid_eq(&target.replica_uuid, &replica_oid)) { continue; }
        if (strutl_cpy_buf(row->name, target.name != nullptr ? target.name : "", sizeof row->name) != 0) {
            return TBS_ST_FAILED;
        }
        return TBS_ST_OK;
    }
    return TBS_ST_OK;
}

}  // namespace

extern "C" tbs_status_t pxinfo_kv_pkt_header_to_epoch_row(const pxinfo_kv_pkt_header_t *header,
                                                          const pxinfo_selector_t *replica, pxinfo_epoch_row_t *row) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (row == nullptr || header == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    size_t count = header->replica_count > 0 ? static_cast<size_t>(header->replica_count) : 0;
    row->entries = pxinfo::allocate_array<pxinfo_epoch_row_entry_t>(STG_AREA_TEMP, count);
    if (row->entries == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    row->count = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        row->entries[i].epoch = header->replicas[i].start_epoch;
        // The selector's status is not used: a vault selector built from two
        // identifiers has nothing to refuse.
        pxinfo_new_vault_selector(&header->replicas[i].replica_uuid, &header->family_uuid, &row->entries[i].replica);
    }
    if (replica == nullptr) {
        row->name[0] = '\0';
        return TBS_ST_OK;
    }
    return PXINFO_FAIL(scope, name_row_after_target(*header, *replica, row));
}

extern "C" tbs_status_t pxinfo_packet_targets_include_selector(const pxinfo_packet_info_t *info,
                                                               const pxinfo_selector_t *replica, int *included) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (info == nullptr || replica == nullptr || included == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    *included = 0;
    for (uint32_t i = 0; i < info->target_count && info->targets != nullptr; ++i) {
        if (pxinfo_selector_eq(replica, &info->targets[i].replica)) {
            *included = 1;
            break;
        }
    }
    return TBS_ST_OK;
}
