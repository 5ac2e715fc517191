// What the benchmark programs share: memory streams that encode, decode and
// free one record with a given routine, numbered identifiers, and the naming
// of library/baseline pairs that bench/run turns into ratios.
//
// Every case is registered twice, as "<case>/library" and "<case>/baseline"
// (with the size appended for cases that grow), and both run in the same
// program on the same data.
#ifndef PXINFO_BENCH_UTIL_H
#define PXINFO_BENCH_UTIL_H

#include <benchmark/benchmark.h>
#include <rpc/xdr.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fixtures.h"
#include "tbs_uuid.h"

namespace bench {

// Numbered uuids come from the fixtures the tests share.
using pxfix::numbered_uuid;

// A record routine of either kind, bound to its record type: the library's
// (XDR *, T *, int extra) or rpcgen's (XDR *, T *).
template <auto Routine, typename T>
bool code(XDR *xdrs, T *record) {
    if constexpr (std::is_invocable_v<decltype(Routine), XDR *, T *, int>) {
        return Routine(xdrs, record, 0) != 0;
    } else {
        return Routine(xdrs, record) != 0;
    }
}

// Encodes record into buffer with routine; the number of bytes, 0 on failure.
template <auto Routine, typename T>
size_t encode(T *record, std::vector<char> &buffer) {
    XDR xdrs;
    xdrmem_create(&xdrs, buffer.data(), static_cast<u_int>(buffer.size()), XDR_ENCODE);
    size_t size = code<Routine>(&xdrs, record) ? xdr_getpos(&xdrs) : 0;
    xdr_destroy(&xdrs);
    return size;
}

// Decodes size bytes of buffer into record, which must be zeroed.
template <auto Routine, typename T>
bool decode(const std::vector<char> &buffer, size_t size, T *record) {
    XDR xdrs;
    xdrmem_create(&xdrs, const_cast<char *>(buffer.data()), static_cast<u_int>(size), XDR_DECODE);
    bool ok = code<Routine>(&xdrs, record) && xdr_getpos(&xdrs) == size;
    xdr_destroy(&xdrs);
    return ok;
}

// Releases what decoding allocated in record, by running its routine on a
// freeing stream, as both kinds of routine are released.
template <auto Routine, typename T>
void release(T *record) {
    XDR xdrs{};
    xdrs.x_op = XDR_FREE;
    code<Routine>(&xdrs, record);
}

// The unit every benchmark reports in.
constexpr benchmark::TimeUnit kUnit = benchmark::kMicrosecond;

}  // namespace bench

#endif
