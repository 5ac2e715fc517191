// Every record kind decoded twice: with the library's routine and with the
// routine rpcgen generates from tests/xdr/records.x (or, for the kinds that
// file leaves out, from fuzz/more_records.x), an independent implementation
// of the same wire form. The first byte picks the kind, the
// rest is the wire. Both must accept the same inputs, read the same number of
// bytes, and a record both accept must encode again into the same bytes.
//
// The differences that are deliberate, checked as such:
// - A counted array is its record's count field followed by an XDR array
//   with a count word of its own. The library takes the field as the array's
//   size and refuses an array word that differs from it; rpcgen knows no
//   such link. So the library refuses exactly the inputs that rpcgen accepts
//   with some count field unequal to its array's length, anywhere in the
//   record.
// - The library refuses, before allocating, a string or array that would
//   take more than XDR_EZ_MAX_ALLOC bytes; libtirpc's xdr_string and
//   xdr_array, which the rpcgen routines call, allocate (and clear) what the
//   length word asks for, up to 4 GiB, and only then find the input too
//   short. Such a length can never be satisfied, so both refuse it; to keep
//   the runs fast and small, this program puts a guard in front of those two
//   routines that refuses it before the allocation (see below).
// - The version-6 dependency list keeps its count word to at most 1 when it
//   decodes it (and encodes the count so limited); rpcgen keeps the word.
//   rpcgen's record is limited likewise before the encodings are compared.
// - A presence word (before the version-6 list's optional dependency) must
//   be 0 or 1 for the library; xdr_pointer takes any non-zero word as 1. The
//   library refuses exactly those inputs among what rpcgen accepts.
// Enumerations and scalars have no rpcgen routine of their own: rpcgen codes
// them with xdr_int and xdr_u_int, which are the routines compared.
#include <arpa/inet.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "gx_records.h"
#include "more_records.h"
#include "record_routines.h"

namespace {

// The memory stream the rpcgen routines are decoding from, while they do.
XDR *g_independent_stream = nullptr;

// Whether the length word about to be decoded from that stream fits in the
// bytes after it (a memory stream's x_handy), each counted item taking at
// least unit bytes. Any other stream is left to the real routine.
bool length_fits(XDR *xdrs, u_int unit) {
    if (xdrs != g_independent_stream || xdrs->x_handy < BYTES_PER_XDR_UNIT) { return true; }
    uint32_t word;
    std::memcpy(&word, xdrs->x_private, sizeof word);
    return ntohl(word) <= (static_cast<u_int>(xdrs->x_handy) - BYTES_PER_XDR_UNIT) / unit;
}

template <typename Routine>
Routine real(const char *name) {
    static void *found = nullptr;
    if (found == nullptr) { found = dlsym(RTLD_NEXT, name); }
    return reinterpret_cast<Routine>(found);
}

}  // namespace

// The guards in front of libtirpc's routines: every element of the records
// takes at least one word on the wire, every string byte one byte.
extern "C" bool_t xdr_array(XDR *xdrs, char **addrp, u_int *sizep, u_int maxsize, u_int elsize, xdrproc_t elproc) {
    using Routine = bool_t (*)(XDR *, char **, u_int *, u_int, u_int, xdrproc_t);
    if (!length_fits(xdrs, BYTES_PER_XDR_UNIT)) { return FALSE; }
    return real<Routine>("xdr_array")(xdrs, addrp, sizep, maxsize, elsize, elproc);
}

extern "C" bool_t xdr_string(XDR *xdrs, char **cpp, u_int maxsize) {
    using Routine = bool_t (*)(XDR *, char **, u_int);
    if (!length_fits(xdrs, 1)) { return FALSE; }
    return real<Routine>("xdr_string")(xdrs, cpp, maxsize);
}

namespace {

// Count fields against the lengths of the arrays that follow them, through
// every nested record. Records without counted arrays agree by themselves.
template <typename Record>
bool agree(const Record &) {
    return true;
}

template <typename Count, typename Elem>
bool agree(Count count, const Elem *elements, u_int length);

bool agree(const gx_epoch_row &r) { return agree(r.count, r.entries.entries_val, r.entries.entries_len); }
bool agree(const gx_replica_epoch_status &r) {
    return static_cast<u_int>(r.count) == r.times.times_len && static_cast<u_int>(r.count) == r.epochs.epochs_len;
}
bool agree(const gx_family_epoch_status &r) { return agree(r.count, r.replicas.replicas_val, r.replicas.replicas_len); }
bool agree(const gx_sync_attempt_data &r) { return agree(r.count, r.replicas.replicas_val, r.replicas.replicas_len); }
bool agree(const gx_replica_sync_status &r) { return agree(r.count, r.attempts.attempts_val, r.attempts.attempts_len); }
bool agree(const gx_family_sync_status &r) { return agree(r.count, r.replicas.replicas_val, r.replicas.replicas_len); }
bool agree(const gx_packet_reference &r) { return agree(r.count, r.refs.refs_val, r.refs.refs_len); }
bool agree(const gx_packet_source_info &r) { return agree(r.references); }
template <typename Info>
bool agree_info(const Info &r) {
    return agree(r.sources[0]) && agree(r.sources[1]) &&
           agree(r.target_count, r.targets.targets_val, r.targets.targets_len);
}
bool agree(const gx_packet_info_v6 &r) { return agree_info(r); }
bool agree(const gx_packet_info &r) { return agree_info(r); }
template <typename Header>
bool agree_header(const Header &r) {
    return agree(r.target_count, r.targets.targets_val, r.targets.targets_len) &&
           agree(r.replica_count, r.replicas.replicas_val, r.replicas.replicas_len);
}
bool agree(const gx_header_0 &r) { return agree_header(r); }
bool agree(const gx_header_2 &r) { return agree_header(r); }
bool agree(const gx_header_3 &r) { return agree_header(r); }
bool agree(const gy_header_1 &r) { return agree_header(r); }
bool agree(const gy_sync_job_id_pair_list &r) { return agree(r.count, r.pairs.pairs_val, r.pairs.pairs_len); }
bool agree(const gy_st_sleep_points &r) { return agree(r.count, r.points.points_val, r.points.points_len); }
bool agree(const gy_msg_list &r) { return agree(r.count, r.msgs.msgs_val, r.msgs.msgs_len); }
bool agree(const gy_dep_info_list &r) { return agree(r.count, r.deps.deps_val, r.deps.deps_len); }

template <typename Count, typename Elem>
bool agree(Count count, const Elem *elements, u_int length) {
    if (static_cast<u_int>(count) != length) { return false; }
    for (u_int i = 0; i < length; ++i) {
        if (!agree(elements[i])) { return false; }
    }
    return true;
}

// The independent side of one kind: its routine, record size and check.
struct Independent {
    const char *library_name;  // the library's routine, as record_routines() names it
    bool_t (*routine)(XDR *, void *);
    size_t size;
    bool (*counts_agree)(const void *);
    // For the kinds with a deliberate difference of their own: whether the
    // library accepts a wire that rpcgen accepts (beyond the counts), and
    // rpcgen's record brought to what the library keeps.
    bool (*wire_accepted)(const uint8_t *wire, size_t size) = nullptr;
    void (*as_library_keeps)(void *record) = nullptr;
};

// The version-6 dependency list: its presence word (the second word) is 0 or
// 1, and its count is kept to at most 1.
bool presence_word_is_bool(const uint8_t *wire, size_t size) {
    return size < 8 || (wire[4] == 0 && wire[5] == 0 && wire[6] == 0 && wire[7] <= 1);
}
void count_limited_to_one(void *record) {
    auto *list = static_cast<gy_dep_info_list_v6 *>(record);
    if (list->count > 1) { list->count = 1; }
}

template <typename G, bool_t (*Routine)(XDR *, G *)>
bool_t untyped(XDR *xdrs, void *record) {
    return Routine(xdrs, static_cast<G *>(record));
}
template <typename G>
bool untyped_agree(const void *record) {
    return agree(*static_cast<const G *>(record));
}

#define PXDIFF(library, G, routine) \
    { "xdr_" #library, &untyped<G, &routine>, sizeof(G), &untyped_agree<G> }

const Independent kKinds[] = {
    PXDIFF(pxinfo_component_type_t, int, xdr_int),
    PXDIFF(pxinfo_packet_type_t, int, xdr_int),
    PXDIFF(pxinfo_compress_type_t, int, xdr_int),
    PXDIFF(pxinfo_st_progress_t, int, xdr_int),
    PXDIFF(pxinfo_setting_type_t, int, xdr_int),
    PXDIFF(pxinfo_sync_status_value_t, int, xdr_int),
    PXDIFF(pxinfo_sync_transport_t, int, xdr_int),
    PXDIFF(pxinfo_sync_direction_t, int, xdr_int),
    PXDIFF(pxinfo_settings_level_t, int, xdr_int),
    PXDIFF(pxinfo_file_type_t, int, xdr_int),
    PXDIFF(pxinfo_sync_job_id_validity_t, int, xdr_int),
    PXDIFF(pxinfo_sync_job_id_t, u_int, xdr_u_int),
    PXDIFF(pxinfo_epoch_num_t, u_int, xdr_u_int),
    PXDIFF(pxinfo_one_sleep_point_t, int, xdr_int),
    PXDIFF(pxinfo_uuid_str_t, gx_uuid_str, xdr_gx_uuid_str),
    PXDIFF(pxinfo_selector_vault_t, gx_selector_vault, xdr_gx_selector_vault),
    PXDIFF(pxinfo_selector_bb_t, gx_selector_bb, xdr_gx_selector_bb),
    PXDIFF(pxinfo_selector_t, gx_selector, xdr_gx_selector),
    PXDIFF(pxinfo_replica_reference_t, gx_replica_reference, xdr_gx_replica_reference),
    PXDIFF(pxinfo_replica_info_t, gx_replica_info, xdr_gx_replica_info),
    PXDIFF(pxinfo_epoch_row_entry_t, gx_epoch_row_entry, xdr_gx_epoch_row_entry),
    PXDIFF(pxinfo_epoch_row_t, gx_epoch_row, xdr_gx_epoch_row),
    PXDIFF(pxinfo_replica_epoch_status_t, gx_replica_epoch_status, xdr_gx_replica_epoch_status),
    PXDIFF(pxinfo_family_epoch_status_t, gx_family_epoch_status, xdr_gx_family_epoch_status),
    PXDIFF(pxinfo_sync_attempt_data_t, gx_sync_attempt_data, xdr_gx_sync_attempt_data),
    PXDIFF(pxinfo_replica_sync_status_t, gx_replica_sync_status, xdr_gx_replica_sync_status),
    PXDIFF(pxinfo_family_sync_status_t, gx_family_sync_status, xdr_gx_family_sync_status),
    PXDIFF(pxinfo_packet_reference_t, gx_packet_reference, xdr_gx_packet_reference),
    PXDIFF(pxinfo_packet_source_info_t, gx_packet_source_info, xdr_gx_packet_source_info),
    PXDIFF(pxinfo_packet_info_t, gx_packet_info, xdr_gx_packet_info),
    PXDIFF(pxinfo_packet_info_v6_t, gx_packet_info_v6, xdr_gx_packet_info_v6),
    PXDIFF(pxinfo_kv_pkt_tgt_desc_t, gx_tgt_desc, xdr_gx_tgt_desc),
    PXDIFF(pxinfo_kv_pkt_rep_desc_0_t, gx_rep_desc_0, xdr_gx_rep_desc_0),
    PXDIFF(pxinfo_kv_pkt_rep_desc_1_t, gx_rep_desc_1, xdr_gx_rep_desc_1),
    PXDIFF(pxinfo_kv_pkt_rep_desc_2_t, gx_rep_desc_1, xdr_gx_rep_desc_1),
    PXDIFF(pxinfo_kv_pkt_rep_desc_3_t, gx_rep_desc_3, xdr_gx_rep_desc_3),
    PXDIFF(pxinfo_kv_pkt_rep_desc_t, gx_rep_desc_3, xdr_gx_rep_desc_3),
    PXDIFF(pxinfo_kv_oplog_desc_1_t, gx_oplog_desc, xdr_gx_oplog_desc),
    PXDIFF(pxinfo_kv_oplog_desc_t, gx_oplog_desc, xdr_gx_oplog_desc),
    PXDIFF(pxinfo_kv_pkt_header_0_t, gx_header_0, xdr_gx_header_0),
    PXDIFF(pxinfo_kv_pkt_header_2_t, gx_header_2, xdr_gx_header_2),
    PXDIFF(pxinfo_kv_pkt_header_3_t, gx_header_3, xdr_gx_header_3),
    PXDIFF(pxinfo_kv_pkt_header_t, gx_header_3, xdr_gx_header_3),
    PXDIFF(pxinfo_kv_pkt_header_type_t, int, xdr_int),
    PXDIFF(pxinfo_kv_pkt_major_version_t, int, xdr_int),
    PXDIFF(pxinfo_kv_oplog_descriptor_type_t, int, xdr_int),
    PXDIFF(pxinfo_sync_job_id_pair_t, gy_sync_job_id_pair, xdr_gy_sync_job_id_pair),
    PXDIFF(pxinfo_sync_job_id_pair_list_t, gy_sync_job_id_pair_list, xdr_gy_sync_job_id_pair_list),
    PXDIFF(pxinfo_replica_set_selector_t, gy_replica_set_selector, xdr_gy_replica_set_selector),
    PXDIFF(pxinfo_rep_info_pair_t, gy_rep_info_pair, xdr_gy_rep_info_pair),
    PXDIFF(pxinfo_nvpair_t, gy_nvpair, xdr_gy_nvpair),
    PXDIFF(pxinfo_sync_status_summary_t, gy_sync_status_summary, xdr_gy_sync_status_summary),
    PXDIFF(pxinfo_st_sleep_points_t, gy_st_sleep_points, xdr_gy_st_sleep_points),
    PXDIFF(pxinfo_msg_t, gy_msg, xdr_gy_msg),
    PXDIFF(pxinfo_msg_list_t, gy_msg_list, xdr_gy_msg_list),
    PXDIFF(pxinfo_dep_info_t, gy_dep_info, xdr_gy_dep_info),
    PXDIFF(pxinfo_dep_info_list_t, gy_dep_info_list, xdr_gy_dep_info_list),
    {"xdr_pxinfo_dep_info_list_v6_t", &untyped<gy_dep_info_list_v6, &xdr_gy_dep_info_list_v6>,
     sizeof(gy_dep_info_list_v6), &untyped_agree<gy_dep_info_list_v6>, &presence_word_is_bool, &count_limited_to_one},
    PXDIFF(pxinfo_setting_val_t, gy_setting_val, xdr_gy_setting_val),
    PXDIFF(pxinfo_kv_pkt_header_1_t, gy_header_1, xdr_gy_header_1),
};

#undef PXDIFF

const pxfuzz::RecordRoutine &library_kind(const char *name) {
    for (const pxfuzz::RecordRoutine &kind : pxfuzz::record_routines()) {
        if (std::strcmp(kind.name, name) == 0) { return kind; }
    }
    std::fprintf(stderr, "no library routine %s\n", name);
    std::abort();
}

[[noreturn]] void differ(const char *name, const char *what) {
    std::fprintf(stderr, "%s: the library and rpcgen differ: %s\n", name, what);
    std::abort();
}

// The independent decode, encode and release of one record.
struct IndependentRecord {
    explicit IndependentRecord(const Independent &kind) : kind_(kind), record_(kind.size) {}
    ~IndependentRecord() {
        XDR freeing{};
        freeing.x_op = XDR_FREE;
        kind_.routine(&freeing, record_.get());
    }
    bool decode(const uint8_t *data, size_t size, size_t *used) {
        std::vector<char> copy(data, data + size);
        XDR xdrs;
        xdrmem_create(&xdrs, copy.empty() ? nullptr : copy.data(), static_cast<u_int>(copy.size()), XDR_DECODE);
        g_independent_stream = &xdrs;
        const bool ok = kind_.routine(&xdrs, record_.get()) != 0;
        g_independent_stream = nullptr;
        *used = xdr_getpos(&xdrs);
        xdr_destroy(&xdrs);
        return ok;
    }
    // A record encodes into no more bytes than it was decoded from.
    bool encode(size_t decoded_size, std::vector<uint8_t> *bytes) {
        std::vector<char> buffer(decoded_size + 64);
        XDR xdrs;
        xdrmem_create(&xdrs, buffer.data(), static_cast<u_int>(buffer.size()), XDR_ENCODE);
        const bool ok = kind_.routine(&xdrs, record_.get()) != 0;
        bytes->assign(buffer.data(), buffer.data() + xdr_getpos(&xdrs));
        xdr_destroy(&xdrs);
        return ok;
    }
    bool accepted_by_library(const uint8_t *wire, size_t size) {
        return kind_.counts_agree(record_.get()) && (kind_.wire_accepted == nullptr || kind_.wire_accepted(wire, size));
    }
    void as_library_keeps() {
        if (kind_.as_library_keeps != nullptr) { kind_.as_library_keeps(record_.get()); }
    }

    const Independent &kind_;
    pxfuzz::RecordBuffer record_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) { return 0; }
    const Independent &kind = kKinds[data[0] % (sizeof kKinds / sizeof kKinds[0])];
    const pxfuzz::RecordRoutine &ours = library_kind(kind.library_name);
    pxfuzz::RecordBuffer record(ours.size);
    size_t our_used = 0;
    const bool our_ok = pxfuzz::decode_record(ours, data + 1, size - 1, record.get(), &our_used);
    IndependentRecord theirs(kind);
    size_t their_used = 0;
    const bool their_ok = theirs.decode(data + 1, size - 1, &their_used);

    if (our_ok && !their_ok) { differ(kind.library_name, "only the library accepts"); }
    if (their_ok && our_ok != theirs.accepted_by_library(data + 1, size - 1)) {
        differ(kind.library_name,
               our_ok ? "the library accepts what it must refuse" : "the library refuses a record it must accept");
    }
    if (our_ok) {
        if (our_used != their_used) { differ(kind.library_name, "bytes read"); }
        std::vector<uint8_t> our_bytes;
        std::vector<uint8_t> their_bytes;
        if (!pxfuzz::encode_record(ours, record.get(), &our_bytes)) { differ(kind.library_name, "library encode"); }
        theirs.as_library_keeps();
        if (!theirs.encode(their_used, &their_bytes)) { differ(kind.library_name, "rpcgen encode"); }
        if (our_bytes != their_bytes) { differ(kind.library_name, "encoded bytes"); }
    }
    xdr_ez_free(record.get(), ours.routine, 0);
    return 0;
}
