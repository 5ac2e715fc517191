// Record decoders: the first byte picks a record kind, the rest is decoded
// with its routine. Any input decodes or fails without a crash or a leak; a
// record that decodes is encoded, decoded and encoded again, and the two
// encodings must be the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "pxinfo_kv_pkt_xdr.h"
#include "pxinfo_xdr.h"

namespace {

using Bytes = std::vector<char>;

template <auto Routine, typename T>
bool_t thunk(XDR *xdrs, void *record, int extra)
{
    return Routine(xdrs, static_cast<T *>(record), extra);
}

template <auto Routine, typename T>
bool decode(const char *data, size_t size, T *record)
{
    XDR xdrs;
    xdrmem_create(&xdrs, const_cast<char *>(data), static_cast<u_int>(size), XDR_DECODE);
    const bool ok = Routine(&xdrs, record, 0) != 0;
    xdr_destroy(&xdrs);
    return ok;
}

// An encoding is never longer than the input it was decoded from.
template <auto Routine, typename T>
bool encode(T *record, size_t capacity, Bytes *out)
{
    out->assign(capacity + 64, 0);
    XDR xdrs;
    xdrmem_create(&xdrs, out->data(), static_cast<u_int>(out->size()), XDR_ENCODE);
    const bool ok = Routine(&xdrs, record, 0) != 0;
    out->resize(xdr_getpos(&xdrs));
    xdr_destroy(&xdrs);
    return ok;
}

template <auto Routine, typename T>
void round_trip(const char *data, size_t size)
{
    T first{};
    if (decode<Routine>(data, size, &first)) {
        Bytes once, twice;
        // A decoded record may still refuse to encode (a setting value of
        // an unknown type fails after its type word); only what encodes
        // is compared.
        if (encode<Routine>(&first, size, &once)) {
            T second{};
            if (!decode<Routine>(once.data(), once.size(), &second)) std::abort();
            if (!encode<Routine>(&second, once.size(), &twice) || once != twice) std::abort();
            xdr_ez_free(&second, &thunk<Routine, T>, 0);
        }
    }
    xdr_ez_free(&first, &thunk<Routine, T>, 0);
}

using Runner = void (*)(const char *, size_t);

const Runner kRunners[] = {
    round_trip<xdr_pxinfo_packet_info_t, pxinfo_packet_info_t>,
    round_trip<xdr_pxinfo_packet_info_v6_t, pxinfo_packet_info_v6_t>,
    round_trip<xdr_pxinfo_family_epoch_status_t, pxinfo_family_epoch_status_t>,
    round_trip<xdr_pxinfo_family_sync_status_t, pxinfo_family_sync_status_t>,
    round_trip<xdr_pxinfo_epoch_row_t, pxinfo_epoch_row_t>,
    round_trip<xdr_pxinfo_msg_list_t, pxinfo_msg_list_t>,
    round_trip<xdr_pxinfo_dep_info_list_t, pxinfo_dep_info_list_t>,
    round_trip<xdr_pxinfo_dep_info_list_v6_t, pxinfo_dep_info_list_v6_t>,
    round_trip<xdr_pxinfo_setting_val_t, pxinfo_setting_val_t>,
    round_trip<xdr_pxinfo_sync_job_id_pair_list_t, pxinfo_sync_job_id_pair_list_t>,
    round_trip<xdr_pxinfo_st_sleep_points_t, pxinfo_st_sleep_points_t>,
    round_trip<xdr_pxinfo_rep_info_pair_t, pxinfo_rep_info_pair_t>,
    round_trip<xdr_pxinfo_replica_set_selector_t, pxinfo_replica_set_selector_t>,
    round_trip<xdr_pxinfo_nvpair_t, pxinfo_nvpair_t>,
    round_trip<xdr_pxinfo_sync_status_summary_t, pxinfo_sync_status_summary_t>,
    round_trip<xdr_pxinfo_kv_pkt_header_0_t, pxinfo_kv_pkt_header_0_t>,
    round_trip<xdr_pxinfo_kv_pkt_header_1_t, pxinfo_kv_pkt_header_1_t>,
    round_trip<xdr_pxinfo_kv_pkt_header_2_t, pxinfo_kv_pkt_header_2_t>,
    round_trip<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>,
    round_trip<xdr_pxinfo_kv_oplog_desc_t, pxinfo_kv_oplog_desc_t>,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const size_t kinds = sizeof kRunners / sizeof kRunners[0];
    // The rest goes to the decoder from a buffer of its own, 4-byte aligned.
    std::vector<char> body(reinterpret_cast<const char *>(data) + 1,
                           reinterpret_cast<const char *>(data) + size);
    body.push_back(0);
    kRunners[data[0] % kinds](body.data(), size - 1);
    return 0;
}
