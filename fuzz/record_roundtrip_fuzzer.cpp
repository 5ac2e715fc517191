// Encode-decode round trip of every record kind: the first byte picks the
// kind, the rest is decoded as that record. A record that decodes must
// encode; that encoding must decode again, reading all of it, and encode to
// the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "record_routines.h"

namespace {

[[noreturn]] void fail(const pxfuzz::RecordRoutine &kind, const char *what) {
    std::fprintf(stderr, "%s: %s\n", kind.name, what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) { return 0; }
    const auto &kinds = pxfuzz::record_routines();
    const pxfuzz::RecordRoutine &kind = kinds[data[0] % kinds.size()];
    pxfuzz::RecordBuffer first(kind.size);
    size_t used = 0;
    if (pxfuzz::decode_record(kind, data + 1, size - 1, first.get(), &used)) {
        std::vector<uint8_t> encoded;
        if (!pxfuzz::encode_record(kind, first.get(), &encoded)) { fail(kind, "a decoded record does not encode"); }
        pxfuzz::RecordBuffer second(kind.size);
        if (!pxfuzz::decode_record(kind, encoded.data(), encoded.size(), second.get(), &used)) {
            fail(kind, "an encoded record does not decode");
        }
        if (used != encoded.size()) { fail(kind, "decoding stops short of the encoding's end"); }
        std::vector<uint8_t> again;
        if (!pxfuzz::encode_record(kind, second.get(), &again)) { fail(kind, "a re-decoded record does not encode"); }
        if (again != encoded) { fail(kind, "the second encoding differs from the first"); }
        xdr_ez_free(second.get(), kind.routine, 0);
    }
    xdr_ez_free(first.get(), kind.routine, 0);
    return 0;
}
