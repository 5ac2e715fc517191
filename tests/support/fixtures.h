// Records the tests, the fuzz seed writer and the benchmarks build alike:
// numbered uuids, selectors of both kinds, a packet header with targets,
// replicas and a text, and a decoding stream of endless filler that gives any
// record kind a filled record without a hand-written sample. Header only and
// free of the test framework, so that every program can include it.
#ifndef PXINFO_TEST_FIXTURES_H
#define PXINFO_TEST_FIXTURES_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "pxinfo_kv_pkt.h"
#include "pxinfo_xdr.h"
#include "tbs_uuid.h"

namespace pxfix {

// A uuid with a tag byte and a number, distinct for every (n, tag).
inline tbs_uuid_t numbered_uuid(uint32_t n, unsigned char tag) {
    tbs_uuid_t uuid = {};
    uuid.bytes[0] = tag;
    uuid.bytes[6] = 0x40;
    for (int i = 0; i < 4; ++i) { uuid.bytes[12 + i] = static_cast<unsigned char>(n >> (24 - 8 * i)); }
    return uuid;
}

// Replica `replica` of vault `vault`.
inline pxinfo_selector_t vault_selector(uint32_t replica, uint32_t vault = 1) {
    pxinfo_selector_t selector = {};
    selector.type = PXINFO_COMPONENT_VAULT;
    selector.u.vault.vault_oid = numbered_uuid(vault, 0xfa);
    selector.u.vault.replica_oid = numbered_uuid(replica, 0x0e);
    return selector;
}

inline pxinfo_selector_t bb_selector(const char *family, const char *clan, const char *replica_set,
                                     const char *replica_set_uuid = "") {
    pxinfo_selector_t selector = {};
    selector.type = PXINFO_COMPONENT_BB;
    std::strncpy(selector.u.bb.family, family, sizeof selector.u.bb.family - 1);
    std::strncpy(selector.u.bb.clan, clan, sizeof selector.u.bb.clan - 1);
    std::strncpy(selector.u.bb.replica_set, replica_set, sizeof selector.u.bb.replica_set - 1);
    std::strncpy(selector.u.bb.replica_set_uuid, replica_set_uuid, sizeof selector.u.bb.replica_set_uuid - 1);
    return selector;
}

// A creation packet's header (sync type 2) with four targets, named, empty,
// unnamed and named (a length needing no padding), two replicas with extreme
// epochs and a text.
struct SampleHeader {
    char alpha[6] = "alpha", empty[1] = "", four[13] = "replica-four", text[10] = "aux text!";
    pxinfo_kv_pkt_tgt_desc_t targets[4] = {{numbered_uuid(1, 0x10), alpha},
                                           {numbered_uuid(2, 0x10), empty},
                                           {numbered_uuid(3, 0x10), nullptr},
                                           {numbered_uuid(4, 0x10), four}};
    pxinfo_kv_pkt_rep_desc_t replicas[2] = {{numbered_uuid(5, 0x0e), 11, 19, -5},
                                            {numbered_uuid(6, 0x0e), 0xFFFFFFF0u, 0x80000001u, 0x7FFFFFFF}};
    pxinfo_kv_pkt_header_t header = {0,
                                     numbered_uuid(1, 0x0e),
                                     numbered_uuid(2, 0xfa),
                                     4,
                                     2,
                                     -3,
                                     42,
                                     7,
                                     numbered_uuid(3, 0x70),
                                     numbered_uuid(4, 0x70),
                                     numbered_uuid(5, 0x70),
                                     static_cast<pxinfo_compress_type_t>(4),
                                     0xDEADBEEFu,
                                     9,
                                     static_cast<pxinfo_kv_oplog_descriptor_type_t>(2),
                                     targets,
                                     2,
                                     replicas,
                                     1234,
                                     text};
    // aux_string a text (aux 0), empty (1) or null (2).
    explicit SampleHeader(int aux = 0, int minor_version = 0) {
        header.minor_version = minor_version;
        header.aux_string = aux == 0 ? text : aux == 1 ? empty : nullptr;
    }
    SampleHeader(const SampleHeader &) = delete;
    SampleHeader &operator=(const SampleHeader &) = delete;
};

// A decoding stream of endless filler: the numbers are the given words over
// and over (counts, lengths, tags and presence words alike), every byte is
// 'a'. Words of 1 and 2 give arrays, strings, selectors of both kinds and
// present optional parts; alternating words tell neighbouring fields apart.
class FillerStream {
  public:
    explicit FillerStream(std::vector<long> words, u_int limit = 1u << 16) : words_(std::move(words)), limit_(limit) {
        xdrs_.x_op = XDR_DECODE;
        xdrs_.x_ops = &kOps;
        xdrs_.x_private = reinterpret_cast<char *>(this);
    }
    FillerStream(const FillerStream &) = delete;
    FillerStream &operator=(const FillerStream &) = delete;
    XDR *xdrs() { return &xdrs_; }

  private:
    static FillerStream &of(XDR *xdrs) { return *reinterpret_cast<FillerStream *>(xdrs->x_private); }
    static bool_t getlong(XDR *xdrs, long *value) {
        FillerStream &f = of(xdrs);
        if (f.position_ + 4 > f.limit_) { return FALSE; }
        *value = f.words_[f.next_++ % f.words_.size()];
        f.position_ += 4;
        return TRUE;
    }
    static bool_t getbytes(XDR *xdrs, char *bytes, u_int count) {
        FillerStream &f = of(xdrs);
        if (count > f.limit_ - f.position_) { return FALSE; }
        f.position_ += count;
        std::memset(bytes, 'a', count);
        return TRUE;
    }
    static bool_t putlong(XDR *, const long *) { return FALSE; }
    static bool_t putbytes(XDR *, const char *, u_int) { return FALSE; }
    static u_int getpos(XDR *xdrs) { return of(xdrs).position_; }
    static bool_t setpos(XDR *, u_int) { return FALSE; }
    static int32_t *inline_words(XDR *, u_int) { return nullptr; }
    static void destroy(XDR *) {}
    static bool_t control(XDR *, int, void *) { return FALSE; }
    static inline const XDR::xdr_ops kOps = {getlong, putlong,      getbytes, putbytes, getpos,
                                             setpos,  inline_words, destroy,  control};

    XDR xdrs_{};
    std::vector<long> words_;
    u_int limit_;
    u_int position_ = 0;
    size_t next_ = 0;
};

}  // namespace pxfix

// ---- Wire bytes written by hand, for the record and wire-form tests --------

#include <string>

namespace pxfix {

// Big-endian 32-bit words, uuids, XDR strings (a length word, the bytes, zero
// padding to a word) and byte runs, in the order given: wire(1, "ab", uuid,
// more) is the word 1, the string "ab", the 16 bytes of uuid, then more.
inline void put_wire(std::vector<uint8_t> &b, uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) { b.push_back(static_cast<uint8_t>(word >> shift)); }
}
inline void put_wire(std::vector<uint8_t> &b, const std::string &text) {
    put_wire(b, static_cast<uint32_t>(text.size()));
    b.insert(b.end(), text.begin(), text.end());
    while (b.size() % 4 != 0) { b.push_back(0); }
}
inline void put_wire(std::vector<uint8_t> &b, const tbs_uuid_t &uuid) {
    b.insert(b.end(), uuid.bytes, uuid.bytes + 16);
}
inline void put_wire(std::vector<uint8_t> &b, const std::vector<uint8_t> &more) {
    b.insert(b.end(), more.begin(), more.end());
}
template <typename... Parts>
std::vector<uint8_t> wire(const Parts &...parts) {
    std::vector<uint8_t> bytes;
    (put_wire(bytes, parts), ...);
    return bytes;
}

}  // namespace pxfix

#endif
