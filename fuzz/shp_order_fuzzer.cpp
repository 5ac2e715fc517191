// Shipping-order reader: any input is read without a crash or a leak; an
// order that reads is written back (to a memory stream, whose forced flush
// fails as it must) so that the writer walks whatever the reader built.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "imsg.h"
#include "pxinfo_shp_order.h"

namespace {
void discard(void *, int, const char *, const char *) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) { return 0; }
    imsg_set_sink(discard, nullptr);
    FILE *in = fmemopen(const_cast<uint8_t *>(data), size, "r");
    if (in == nullptr) { return 0; }
    pxinfo_shp_order_t *order = nullptr;
    if (pxinfo_shp_read_order(in, "fuzz.ord", &order) == TBS_ST_OK) {
        char *text = nullptr;
        size_t length = 0;
        FILE *out = open_memstream(&text, &length);
        if (out != nullptr) {
            pxinfo_shp_write_order(out, "fuzz.ord", order);
            fclose(out);
            free(text);
        }
    }
    pxinfo_shp_destroy_order(&order);
    fclose(in);
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
