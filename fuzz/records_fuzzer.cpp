// Every record decoder: the first byte picks the record kind, the rest is
// decoded as that record. Whatever the bytes, decoding ends without a crash,
// and releasing the record frees every block that decoding allocated, also
// after a failed decode. A record that decodes is encoded as well, so that
// the encoder walks whatever the decoder built.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "record_routines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) { return 0; }
    const auto &kinds = pxfuzz::record_routines();
    const pxfuzz::RecordRoutine &kind = kinds[data[0] % kinds.size()];
    const unsigned long live_before = stg_live_block_count();
    pxfuzz::RecordBuffer record(kind.size);
    size_t used = 0;
    if (pxfuzz::decode_record(kind, data + 1, size - 1, record.get(), &used)) {
        std::vector<uint8_t> bytes;
        pxfuzz::encode_record(kind, record.get(), &bytes);
    }
    xdr_ez_free(record.get(), kind.routine, 0);
    if (stg_live_block_count() != live_before) {
        std::fprintf(stderr, "%s: %lu blocks left after freeing the decoded record\n", kind.name,
                     stg_live_block_count() - live_before);
        std::abort();
    }
    return 0;
}
