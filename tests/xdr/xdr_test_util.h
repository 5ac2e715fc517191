// Helpers of the record tests: encoding and decoding through memory streams,
// big-endian word builders for golden bytes, and the checks every record
// kind goes through (round trip, truncations, allocation failures).
#ifndef PXINFO_XDR_TEST_UTIL_H
#define PXINFO_XDR_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "stg.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace xt {

using Bytes = std::vector<unsigned char>;

// Calls a routine that takes extra, or one that does not.
template <auto Routine, typename T>
bool call(XDR *xdrs, T *value, int extra) {
    if constexpr (std::is_invocable_v<decltype(Routine), XDR *, T *, int>) {
        return Routine(xdrs, value, extra) != 0;
    } else {
        return Routine(xdrs, value) != 0;
    }
}

// A routine with the exact type that xdr_ez_free wants.
template <auto Routine, typename T>
bool_t thunk(XDR *xdrs, void *value, int extra) {
    return call<Routine>(xdrs, static_cast<T *>(value), extra) ? TRUE : FALSE;
}

// Result of running a routine on a memory stream: what it returned and the
// bytes it wrote or consumed.
struct Run {
    bool ok;
    Bytes bytes;
    size_t position;
};

constexpr size_t kBufferSize = 1 << 20;

// Encodes with any routine; the result holds the bytes written up to the
// point where the routine stopped.
template <auto Routine, typename T>
Run encode(T *record, int extra = 0) {
    Bytes buffer(kBufferSize);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(buffer.data()), kBufferSize, XDR_ENCODE);
    Run run;
    run.ok = call<Routine>(&xdrs, record, extra);
    run.position = xdr_getpos(&xdrs);
    buffer.resize(run.position);
    run.bytes = buffer;
    xdr_destroy(&xdrs);
    return run;
}

// Encodes and requires success.
template <auto Routine, typename T>
Bytes encoded(T *record, int extra = 0) {
    Run run = encode<Routine>(record, extra);
    EXPECT_TRUE(run.ok);
    return run.bytes;
}

// Decodes bytes into record; position is the number of bytes consumed.
template <auto Routine, typename T>
Run decode(const Bytes &bytes, T *record, int extra = 0) {
    // The stream reads from its own copy, which is never empty, so that a
    // zero-length input still has a valid buffer.
    Bytes copy(bytes);
    copy.push_back(0);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(copy.data()), static_cast<u_int>(bytes.size()), XDR_DECODE);
    Run run;
    run.ok = call<Routine>(&xdrs, record, extra);
    run.position = xdr_getpos(&xdrs);
    xdr_destroy(&xdrs);
    return run;
}

// Releases what decoding allocated inside record.
template <auto Routine, typename T>
void release(T *record) {
    xdr_ez_free(record, &thunk<Routine, T>, 0);
}

// Big-endian words and XDR strings for golden bytes, written by hand.
class Wire {
  public:
    Wire &w(uint32_t word) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes_.push_back(static_cast<unsigned char>(word >> shift));
        }
        return *this;
    }
    Wire &ws(std::initializer_list<uint32_t> words) {
        for (uint32_t word : words) w(word);
        return *this;
    }
    // A length word, the bytes, zero padding to a word boundary.
    Wire &str(const std::string &text) {
        w(static_cast<uint32_t>(text.size()));
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        while (bytes_.size() % 4 != 0) bytes_.push_back(0);
        return *this;
    }
    Wire &raw(const unsigned char *data, size_t size) {
        bytes_.insert(bytes_.end(), data, data + size);
        return *this;
    }
    Wire &append(const Bytes &more) {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    const Bytes &bytes() const { return bytes_; }
    operator const Bytes &() const { return bytes_; }

  private:
    Bytes bytes_;
};

// A uuid whose bytes are base, base + 1, ..., base + 15.
inline tbs_uuid_t uuid_from(unsigned char base) {
    tbs_uuid_t uuid;
    for (int i = 0; i < 16; ++i) uuid.bytes[i] = static_cast<unsigned char>(base + i);
    return uuid;
}

inline char *text(const char *literal) { return const_cast<char *>(literal); }

// Encoding, decoding the bytes into a fresh record and encoding that again
// gives the same bytes, and freeing the decoded record leaves nothing
// behind. Returns the encoding.
template <auto Routine, typename T>
Bytes expect_round_trip(T *record, int extra = 0) {
    const Bytes first = encoded<Routine>(record, extra);
    const unsigned long live = stg_live_block_count();
    T decoded{};
    Run run = decode<Routine>(first, &decoded, extra);
    EXPECT_TRUE(run.ok);
    EXPECT_EQ(first.size(), run.position);
    EXPECT_EQ(first, encoded<Routine>(&decoded, extra));
    release<Routine>(&decoded);
    EXPECT_EQ(live, stg_live_block_count());
    return first;
}

// Every proper prefix of a valid encoding fails to decode, and freeing what
// the failed decode left behind releases everything.
template <auto Routine, typename T>
void expect_truncations_fail(const Bytes &valid) {
    for (size_t length = 0; length < valid.size(); ++length) {
        const unsigned long live = stg_live_block_count();
        T decoded{};
        Bytes prefix(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(decode<Routine>(prefix, &decoded).ok) << "decoded from " << length << " bytes";
        release<Routine>(&decoded);
        EXPECT_EQ(live, stg_live_block_count()) << "leak after " << length << " bytes";
    }
}

// A round trip without leak, and every truncation of the encoding failing
// cleanly. Returns the encoding.
template <auto Routine, typename T>
Bytes expect_sound(T *record, int extra = 0) {
    const Bytes wire = expect_round_trip<Routine>(record, extra);
    expect_truncations_fail<Routine, T>(wire);
    return wire;
}

// Decoding fails (hostile input), and freeing the result leaks nothing.
template <auto Routine, typename T>
void expect_refused(const Bytes &bytes) {
    const unsigned long live = stg_live_block_count();
    T decoded{};
    EXPECT_FALSE(decode<Routine>(bytes, &decoded).ok);
    release<Routine>(&decoded);
    EXPECT_EQ(live, stg_live_block_count());
}

// Decoding valid bytes with each allocation failing in turn fails cleanly,
// and freeing the partial record leaks nothing.
template <auto Routine, typename T>
void expect_allocation_failures_clean(const Bytes &valid) {
    size_t points = pxtest::sweep_allocation_failures(
        [&]() -> tbs_status_t {
            T decoded{};
            bool ok = decode<Routine>(valid, &decoded).ok;
            release<Routine>(&decoded);
            return ok ? TBS_ST_OK : TBS_ST_FAILED;
        },
        [](tbs_status_t status, unsigned long nth) { EXPECT_EQ(TBS_ST_FAILED, status) << "allocation " << nth; });
    EXPECT_GT(points, 0u);
}

// ---- Cross-checks against the rpcgen routines --------------------------------
//
// The test files define expect_same(ours, theirs) for each record pair in the
// global namespace, where argument-dependent lookup finds them.

inline std::string str(const char *s) { return s != nullptr ? s : ""; }

inline void expect_same_uuid(const tbs_uuid_t &a, const char *b) { EXPECT_EQ(0, std::memcmp(a.bytes, b, 16)); }

// An array of count elements against an rpcgen array of len elements.
template <typename A, typename B>
void expect_same_array(const A *a, int64_t count, const B *b, u_int len) {
    ASSERT_EQ(count, static_cast<int64_t>(len));
    for (int64_t i = 0; i < count; ++i) {
        SCOPED_TRACE("element " + std::to_string(i));
        if constexpr (std::is_arithmetic_v<A>) {
            EXPECT_EQ(a[i], static_cast<A>(b[i]));
        } else {
            expect_same(a[i], b[i]);
        }
    }
}

// The record type of an rpcgen routine.
template <typename Routine>
struct record_of;
template <typename R, typename S, typename G>
struct record_of<R (*)(S, G *)> {
    using type = G;
};

// Our encoding decodes with the rpcgen routine into the same fields; the
// rpcgen routine encodes those fields into the same bytes; our routine
// decodes those bytes into the same fields again.
template <auto Ours, auto Theirs, typename T>
void cross_check(T *record) {
    using G = typename record_of<decltype(Theirs)>::type;
    const Bytes ours = encoded<Ours>(record);
    G theirs{};
    Run run = decode<Theirs>(ours, &theirs);
    ASSERT_TRUE(run.ok);
    EXPECT_EQ(ours.size(), run.position);
    expect_same(*record, theirs);

    EXPECT_EQ(ours, encoded<Theirs>(&theirs));

    const unsigned long live = stg_live_block_count();
    T back{};
    run = decode<Ours>(ours, &back);
    EXPECT_TRUE(run.ok);
    expect_same(back, theirs);
    release<Ours>(&back);
    EXPECT_EQ(live, stg_live_block_count());

    XDR freeing{};
    freeing.x_op = XDR_FREE;
    Theirs(&freeing, &theirs);
}

// Replaces the word at byte offset with value.
inline Bytes with_word(Bytes bytes, size_t offset, uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes[offset + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    return bytes;
}

}  // namespace xt

#endif
