// XDR helpers, the in-memory encoding stream, the checksum and the stream
// write utilities of the base services. The helpers' wire forms and what
// they refuse when decoding are checked through the record routines built on
// them (xdr_test, fault_injection_test); here what only the helpers show.
//
// The expected bytes are written out by hand from the wire forms (big-endian
// words, strings as a length word then the bytes padded to a word), not taken
// from the code under test.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "fixtures.h"
#include "pxinfo/pxinfo.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;
using pxfix::wire;

struct Item {
    uint32_t id;
    char *label;
};

int g_last_extra = -1;

bool_t xdr_item(XDR *xdrs, void *element, int extra) {
    auto *item = static_cast<Item *>(element);
    g_last_extra = extra;
    return xdr_ks_uint32_t(xdrs, &item->id, extra) && xdr_ez_string8(xdrs, &item->label, 0xFFFFFFFFu);
}

// What code writes on a fresh memory stream, and whether it succeeded.
template <typename Code>
bool encode(Bytes *out, Code code) {
    out->assign(4096, 0xEE);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(out->data()), static_cast<u_int>(out->size()), XDR_ENCODE);
    const bool ok = code(&xdrs);
    out->resize(xdr_getpos(&xdrs));
    xdr_destroy(&xdrs);
    return ok;
}

// Fails the test when the block counts differ: something leaked or was
// released twice.
struct LeakGuard {
    unsigned long live = stg_live_block_count();
    ~LeakGuard() { EXPECT_EQ(live, stg_live_block_count()) << "heap blocks leaked"; }
};

Bytes stream_bytes(XDR *xdrs) {
    const auto *base = reinterpret_cast<const unsigned char *>(xdrs->x_base);
    return Bytes(base, base + xdr_getpos(xdrs));
}

// ---- XDR helpers ------------------------------------------------------------------

TEST(XdrHelpers, RefuseWhatTheWireCannotHoldAndPassExtraOn) {
    Bytes out;
    char a[] = "a", six[] = "sixsix", *text = six;
    Item items[1] = {{1, a}}, *list = items, *missing = nullptr;
    u_int one = 1, two = 2;
    ASSERT_TRUE(encode(&out, [&](XDR *x) {
        return xdr_ez_array(x, reinterpret_cast<void **>(&list), &one, 1, sizeof(Item), xdr_item, 12) &&
               xdr_ez_pointer(x, reinterpret_cast<void **>(&missing), sizeof(Item), xdr_item, 13);
    }));
    EXPECT_EQ(wire(1, 1, "a", 0), out);
    EXPECT_EQ(12, g_last_extra) << "extra reaches the element routines unchanged";
    EXPECT_FALSE(encode(&out, [&](XDR *x) { return xdr_ez_string8(x, &text, 5); }));
    // Unterminated buffers are refused, not read past their end (the
    // sanitizer build checks the latter).
    tbs_name_t name;
    std::memset(name, 'n', sizeof name);
    tbs_hostname_t host;
    std::memset(host, 'h', sizeof host);
    EXPECT_FALSE(encode(&out, [&](XDR *x) { return xdr_tbs_name_t(x, name, 0) || xdr_tbs_hostname_t(x, host, 0); }));
    EXPECT_FALSE(encode(&out, [&](XDR *x) {
        return xdr_ez_array(x, reinterpret_cast<void **>(&list), &two, 1, sizeof(Item), xdr_item, 0) ||
               xdr_ez_array(x, reinterpret_cast<void **>(&missing), &two, 2, sizeof(Item), xdr_item, 0) ||
               xdr_ez_vector(x, nullptr, 2, sizeof(Item), xdr_item, 0);
    }));
    EXPECT_TRUE(out.empty());
    // Decoding, a count beyond the maximum is refused and left zero.
    Bytes three = wire(3);
    XDR in;
    xdrmem_create(&in, reinterpret_cast<char *>(three.data()), 4, XDR_DECODE);
    u_int count = 9;
    EXPECT_FALSE(xdr_ez_array(&in, reinterpret_cast<void **>(&missing), &count, 2, sizeof(Item), xdr_item, 0));
    EXPECT_TRUE(count == 0 && missing == nullptr);
    if (sizeof(time_t) > 4) {  // seconds or microseconds beyond 32 bits, either way
        const int64_t big = INT64_C(1) << 32;
        for (struct timeval late : {timeval{big, 0}, timeval{-big, 0}, timeval{0, big}, timeval{0, -big}}) {
            EXPECT_FALSE(encode(&out, [&](XDR *x) { return xdr_timeval(x, &late); }));
        }
    }
}

// ---- The in-memory encoding stream ----------------------------------------------

// Writes 100000 words through a stream that starts empty and grows; rewrites
// the first in place, adds an inline run and bytes; only whole, aligned words
// run inline, and only when encoding; the stream cannot decode.
TEST(XdrStgStream, GrowsRepositionsAndRunsInline) {
    LeakGuard guard;
    XDR xdrs;
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 0, 0));
    EXPECT_EQ(0u, xdr_getpos(&xdrs));
    Bytes expected;
    for (uint32_t i = 0; i < 100000; ++i) {
        ASSERT_TRUE(xdr_u_int(&xdrs, &i));
        pxfix::put_wire(expected, i == 0 ? 9 : i);
    }
    u_int patched = 9;
    ASSERT_TRUE(XDR_SETPOS(&xdrs, 0) && xdr_u_int(&xdrs, &patched));
    EXPECT_FALSE(XDR_SETPOS(&xdrs, 400001)) << "nothing was written there";
    ASSERT_TRUE(XDR_SETPOS(&xdrs, 400000));
    int32_t *run = XDR_INLINE(&xdrs, 3 * BYTES_PER_XDR_UNIT);
    ASSERT_NE(nullptr, run);
    IXDR_PUT_INT32(run, 1);
    IXDR_PUT_INT32(run, -1);
    IXDR_PUT_U_INT32(run, 0x01020304u);
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 3)) << "only whole words";
    ASSERT_TRUE(XDR_PUTBYTES(&xdrs, "ab", 2));
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 4)) << "an unaligned run falls back";
    expected.insert(expected.end(), {0, 0, 0, 1, 0xff, 0xff, 0xff, 0xff, 1, 2, 3, 4, 'a', 'b'});
    EXPECT_EQ(expected, stream_bytes(&xdrs));
    long word = 0;
    EXPECT_FALSE(xdrs.x_ops->x_control(&xdrs, 0, nullptr) || XDR_GETLONG(&xdrs, &word) ||
                 XDR_GETBYTES(&xdrs, reinterpret_cast<char *>(&word), 1));
    xdrs.x_op = XDR_DECODE;
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 4)) << "runs are for encoding only";
    xdrstg_destroy(&xdrs);
    EXPECT_EQ(nullptr, xdrs.x_base);
    xdrstg_destroy(&xdrs);  // a second release is harmless
    xdrstg_destroy(nullptr);
}

// Failing in turn: the stream's state, its buffer, one growth past 64 bytes.
TEST(XdrStgStream, EachAllocationFailureFailsCleanly) {
    const auto run = [&]() -> tbs_status_t {
        XDR xdrs;
        tbs_status_t status = xdrstg_create(&xdrs, 8, 0);
        EXPECT_TRUE(status == TBS_ST_OK || xdrs.x_base == nullptr);
        for (u_int i = 0; i < 20 && status == TBS_ST_OK; ++i) {
            if (!xdr_u_int(&xdrs, &i)) { status = TBS_ST_NO_MEMORY; }
        }
        EXPECT_TRUE(status != TBS_ST_OK || stream_bytes(&xdrs).size() == 80);
        xdrstg_destroy(&xdrs);
        return status;
    };
    EXPECT_EQ(3u, pxtest::sweep_allocation_failures(
                      run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); }));
}

TEST(XdrStgStream, RefusedRequestsAndTheSizeLimit) {
    LeakGuard guard;
    XDR xdrs;
    EXPECT_EQ(TBS_ST_INVALID_ARG, xdrstg_create(nullptr, 64, 0));
    EXPECT_EQ(TBS_ST_INVALID_ARG, xdrstg_create(&xdrs, 64, 1));
    xdrstg_destroy(&xdrs);
    EXPECT_EQ(TBS_ST_NO_MEMORY, xdrstg_create(&xdrs, XDR_EZ_MAX_ALLOC + 1, 0));
    EXPECT_EQ(nullptr, xdrs.x_base);
    xdrstg_destroy(&xdrs);
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1024, 0));
    std::vector<char> chunk(1u << 20, 'x');
    for (int i = 0; i < 63; ++i) { ASSERT_TRUE(XDR_PUTBYTES(&xdrs, chunk.data(), static_cast<u_int>(chunk.size()))); }
    ASSERT_TRUE(XDR_PUTBYTES(&xdrs, chunk.data(), static_cast<u_int>(chunk.size()) - 4));
    u_int last = 7;
    ASSERT_TRUE(xdr_u_int(&xdrs, &last));
    EXPECT_FALSE(xdr_u_int(&xdrs, &last)) << "the buffer stops at 64 MiB";
    EXPECT_EQ(XDR_EZ_MAX_ALLOC, xdr_getpos(&xdrs));
    xdrstg_destroy(&xdrs);
}

// ---- Checksum and stream writes -------------------------------------------------

// The CRC-32 check value; no bytes (none given, or a null buffer) give 0.
TEST(FileUtlCrc, CheckValue) {
    uint32_t crc = 1, none = 1, null = 1;
    fileutl_crc_buffer("123456789", 9, &crc);
    fileutl_crc_buffer("1", 0, &none);
    fileutl_crc_buffer(nullptr, 9, &null);
    fileutl_crc_buffer("1", 1, nullptr);
    EXPECT_TRUE(crc == 0xCBF43926u && none == 0u && null == 0u);
}

TEST(MtUtlWrite, ReturnsWholeItemsAndPosition) {
    char memory[32] = {};
    FILE *stream = fmemopen(memory, 25, "w");
    ASSERT_NE(nullptr, stream);
    setvbuf(stream, nullptr, _IONBF, 0);
    const std::string data(100, 'x');
    EXPECT_EQ(2u, mtutl_fwrite(data.data(), 10, 10, stream)) << "25 bytes fit: two whole items";
    EXPECT_EQ(25, mtutl_ftell(stream));
    EXPECT_EQ(0u, mtutl_fwrite(data.data(), 0, 10, stream) + mtutl_fwrite(data.data(), 10, 0, stream));
    EXPECT_EQ(0u, mtutl_fwrite(data.data(), 2, SIZE_MAX / 2 + 1, stream));
    EXPECT_EQ(EOVERFLOW, errno);
    fclose(stream);
    EXPECT_EQ(0u, mtutl_fwrite(data.data(), 1, 1, nullptr) + mtutl_fwrite(nullptr, 1, 1, stdout));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, mtutl_ftell(nullptr));
}

void on_alarm(int) {}

// Writes 1 MiB into a pipe nobody reads for the first 100 ms while a timer
// interrupts the blocked write every 5 ms (no SA_RESTART: it fails with
// EINTR). Unbuffered, the write resumes without loss. A buffered stream drops
// what a failed flush held, so there the interruption is reported (a short
// count): whatever is reported as written in full must have arrived in full.
TEST(MtUtlWrite, InterruptedWritesResumeWithoutLossOnUnbufferedStreams) {
    std::string data(1 << 20, '\0');
    for (size_t i = 0; i < data.size(); ++i) { data[i] = static_cast<char>(i * 7919 % 251); }
    struct sigaction action = {}, previous = {};
    action.sa_handler = on_alarm;
    sigaction(SIGALRM, &action, &previous);
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    for (int buffering : {_IONBF, _IOFBF}) {
        int fds[2];
        ASSERT_EQ(0, pipe(fds));
        pthread_sigmask(SIG_BLOCK, &alarm_only, nullptr);  // the reader inherits the block
        std::string received;
        std::thread reader([&] {
            usleep(100 * 1000);
            char buffer[4096];
            for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) != 0;) {
                if (n > 0) { received.append(buffer, static_cast<size_t>(n)); }
            }
        });
        pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
        itimerval every_5ms = {{0, 5000}, {0, 5000}}, off = {};
        setitimer(ITIMER_REAL, &every_5ms, nullptr);
        FILE *stream = fdopen(fds[1], "w");
        setvbuf(stream, nullptr, buffering, 512);
        const size_t items = mtutl_fwrite(data.data(), 1, data.size(), stream);
        setitimer(ITIMER_REAL, &off, nullptr);
        fclose(stream);
        reader.join();
        close(fds[0]);
        EXPECT_TRUE(received == data ? buffering == _IOFBF || items == data.size()
                                     : buffering == _IOFBF && items < data.size())
            << buffering << " " << items << " " << received.size();
    }
    sigaction(SIGALRM, &previous, nullptr);
}

}  // namespace
