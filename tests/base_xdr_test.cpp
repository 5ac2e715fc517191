// XDR helpers, the in-memory encoding stream, the checksum and the stream
// write utilities of the base services.
//
// The expected bytes are written out by hand from the wire forms (big-endian
// words, strings as a length word then the bytes padded to a word), not taken
// from the code under test.

#include <arpa/inet.h>
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

#include "fileutl.h"
#include "mtutl.h"
#include "stg.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr u_int kUnbounded = 0xFFFFFFFFu;

// --- records used to drive the helpers --------------------------------------

struct Item {
    uint32_t id;
    char *label;
};

int g_last_extra = -1;

bool_t xdr_item(XDR *xdrs, void *element, int extra) {
    auto *item = static_cast<Item *>(element);
    g_last_extra = extra;
    return xdr_ks_uint32_t(xdrs, &item->id, extra) && xdr_ez_string8(xdrs, &item->label, kUnbounded);
}

constexpr u_int kMaxItems = 8;

struct Composite {
    tbs_uuid_t id;
    tbs_name_t name;
    tbs_hostname_t host;
    char *text;
    u_int item_count;
    Item *items;
    Item *optional;
    Item pair[2];
    uint32_t word;
    ks_off64_t offset;
    struct timeval when;
};

bool_t xdr_composite(XDR *xdrs, void *record, int extra) {
    auto *c = static_cast<Composite *>(record);
    return xdr_tbs_uuid_t(xdrs, &c->id, extra) && xdr_tbs_name_t(xdrs, c->name, extra) &&
           xdr_tbs_hostname_t(xdrs, c->host, extra) && xdr_ez_string8(xdrs, &c->text, kUnbounded) &&
           xdr_ez_array(xdrs, reinterpret_cast<void **>(&c->items), &c->item_count, kMaxItems, sizeof(Item), xdr_item,
                        extra) &&
           xdr_ez_pointer(xdrs, reinterpret_cast<void **>(&c->optional), sizeof(Item), xdr_item, extra) &&
           xdr_ez_vector(xdrs, c->pair, 2, sizeof(Item), xdr_item, extra) && xdr_ks_uint32_t(xdrs, &c->word, extra) &&
           xdr_ks_off64_t(xdrs, &c->offset, extra) && xdr_timeval(xdrs, &c->when);
}

// The sample record and its encoding.
struct Sample {
    char a[2] = "a", xyz[4] = "xyz", empty[1] = "", abcd[5] = "abcd", hello[6] = "hello";
    Item items[2] = {{1, a}, {2, nullptr}};
    Item optional = {3, xyz};
    Composite record{};
    Sample() {
        for (int i = 0; i < 16; ++i) record.id.bytes[i] = static_cast<unsigned char>(i * 0x11);
        std::strcpy(record.name, "name");
        std::strcpy(record.host, "h1");
        record.text = hello;
        record.item_count = 2;
        record.items = items;
        record.optional = &optional;
        record.pair[0] = {4, empty};
        record.pair[1] = {5, abcd};
        record.word = 0xDEADBEEF;
        record.offset = 0x0000000100000002LL;
        record.when = {-2, 500000};
    }
};

const Bytes kSampleWire = {
    0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff,
    0,    0,    0,    4,    'n',  'a',  'm',  'e',                                                // name
    0,    0,    0,    2,    'h',  '1',  0,    0,                                                  // host
    0,    0,    0,    5,    'h',  'e',  'l',  'l',  'o',  0,    0,    0,                          // text
    0,    0,    0,    2,                                                                          // item count
    0,    0,    0,    1,    0,    0,    0,    1,    'a',  0,    0,    0,                          // {1, "a"}
    0,    0,    0,    2,    0,    0,    0,    0,                                                  // {2, null}
    0,    0,    0,    1,    0,    0,    0,    3,    0,    0,    0,    3,    'x',  'y',  'z',  0,  // present {3, "xyz"}
    0,    0,    0,    4,    0,    0,    0,    0,                                                  // {4, ""}
    0,    0,    0,    5,    0,    0,    0,    4,    'a',  'b',  'c',  'd',                        // {5, "abcd"}
    0xde, 0xad, 0xbe, 0xef,                                                                       // word
    0,    0,    0,    1,    0,    0,    0,    2,     // offset, high word first
    0xff, 0xff, 0xff, 0xfe, 0x00, 0x07, 0xa1, 0x20,  // -2 s, 500000 us
};

// --- streams ----------------------------------------------------------------

template <typename Code>
bool encode(Bytes *out, Code code, size_t room = 4096) {
    out->assign(room, 0xEE);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(out->data()), static_cast<u_int>(room), XDR_ENCODE);
    bool ok = code(&xdrs);
    out->resize(xdr_getpos(&xdrs));
    xdr_destroy(&xdrs);
    return ok;
}

template <typename Code>
bool decode(const Bytes &wire, Code code) {
    Bytes copy = wire;  // the stream's buffer must not be read past its end
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(copy.data()), static_cast<u_int>(copy.size()), XDR_DECODE);
    bool ok = code(&xdrs);
    xdr_destroy(&xdrs);
    return ok;
}

Bytes words(std::initializer_list<uint32_t> values) {
    Bytes out;
    for (uint32_t v : values) {
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(v >> shift));
    }
    return out;
}

// Fails the test when the block counts differ, i.e. something leaked or was
// released twice.
struct LeakGuard {
    unsigned long live = stg_live_block_count();
    ~LeakGuard() { EXPECT_EQ(live, stg_live_block_count()) << "heap blocks leaked"; }
};

// Whether decoding wire with code allocates nothing and fails.
template <typename Code>
void expect_refused_without_allocating(const Bytes &wire, Code code) {
    LeakGuard guard;
    unsigned long allocations = stg_allocation_count();
    EXPECT_FALSE(decode(wire, code));
    EXPECT_EQ(allocations, stg_allocation_count());
}

// --- wire forms -------------------------------------------------------------

TEST(XdrWireForms, SampleRecordEncodesToTheHandWrittenBytes) {
    Sample sample;
    g_last_extra = -1;
    Bytes wire;
    ASSERT_TRUE(encode(&wire, [&](XDR *x) { return xdr_composite(x, &sample.record, 12); }));
    EXPECT_EQ(kSampleWire, wire);
    EXPECT_EQ(12, g_last_extra) << "extra reaches the element routines unchanged";
}

TEST(XdrWireForms, EncodingRefusesWhatTheWireCannotHold) {
    Bytes wire;
    char six[] = "sixsix";
    char *text = six;
    EXPECT_FALSE(encode(&wire, [&](XDR *x) { return xdr_ez_string8(x, &text, 5); }));

    // Unterminated buffers are refused, not read past their end (the
    // sanitizer build checks the latter).
    tbs_name_t name;
    std::memset(name, 'n', sizeof name);
    EXPECT_FALSE(encode(&wire, [&](XDR *x) { return xdr_tbs_name_t(x, name, 0); }));
    tbs_hostname_t host;
    std::memset(host, 'h', sizeof host);
    EXPECT_FALSE(encode(&wire, [&](XDR *x) { return xdr_tbs_hostname_t(x, host, 0); }));

    Item items[1] = {{1, nullptr}};
    Item *list = items;
    u_int two = 2;
    EXPECT_FALSE(encode(&wire, [&](XDR *x) {
        return xdr_ez_array(x, reinterpret_cast<void **>(&list), &two, 1, sizeof(Item), xdr_item, 0);
    }));
    Item *missing = nullptr;
    EXPECT_FALSE(encode(&wire, [&](XDR *x) {
        return xdr_ez_array(x, reinterpret_cast<void **>(&missing), &two, 2, sizeof(Item), xdr_item, 0);
    }));

    if (sizeof(time_t) > 4) {
        struct timeval late = {};
        late.tv_sec = static_cast<time_t>(INT64_C(1) << 32);
        EXPECT_FALSE(encode(&wire, [&](XDR *x) { return xdr_timeval(x, &late); }));
    }
}

// --- round trips and release ------------------------------------------------

TEST(XdrRoundTrip, SampleDecodesToTheSameValuesAndFreesCompletely) {
    LeakGuard guard;
    Composite decoded{};
    ASSERT_TRUE(decode(kSampleWire, [&](XDR *x) { return xdr_composite(x, &decoded, 0); }));
    // Every field is on the wire: encoding the decoded record again gives the
    // same bytes only if every value came back.
    Bytes again;
    ASSERT_TRUE(encode(&again, [&](XDR *x) { return xdr_composite(x, &decoded, 0); }));
    EXPECT_EQ(kSampleWire, again);
    EXPECT_STREQ("", decoded.items[1].label) << "a null string comes back empty";

    xdr_ez_free(&decoded, xdr_composite, 0);
    EXPECT_EQ(nullptr, decoded.text);
    EXPECT_EQ(nullptr, decoded.items);
    EXPECT_EQ(nullptr, decoded.optional);
    EXPECT_EQ(nullptr, decoded.pair[1].label);
    EXPECT_STREQ("name", decoded.name) << "inline buffers are left alone";
}

// --- hostile decodes --------------------------------------------------------

TEST(XdrHostileDecode, EveryTruncationFailsAndReleasesCompletely) {
    for (size_t length = 0; length < kSampleWire.size(); ++length) {
        SCOPED_TRACE("truncated to " + std::to_string(length) + " bytes");
        LeakGuard guard;
        Composite decoded{};
        Bytes wire(kSampleWire.begin(), kSampleWire.begin() + static_cast<long>(length));
        EXPECT_FALSE(decode(wire, [&](XDR *x) { return xdr_composite(x, &decoded, 0); }));
        xdr_ez_free(&decoded, xdr_composite, 0);
    }
}

TEST(XdrHostileDecode, CountsAndLengthsBeyondTheirBoundsAllocateNothing) {
    Item *items = nullptr;
    u_int count = 0;
    auto array = [&](u_int max, u_int elsize) {
        return [&, max, elsize](XDR *x) {
            return xdr_ez_array(x, reinterpret_cast<void **>(&items), &count, max, elsize, xdr_item, 0);
        };
    };
    expect_refused_without_allocating(words({kMaxItems + 1}), array(kMaxItems, sizeof(Item)));
    // 64 MiB is the most one allocation may take.
    expect_refused_without_allocating(words({65, 0}), array(kUnbounded, 1u << 20));
    expect_refused_without_allocating(words({0xFFFFFFFF, 0}), array(kUnbounded, sizeof(Item)));

    char *text = nullptr;
    auto string = [&](u_int max) { return [&, max](XDR *x) { return xdr_ez_string8(x, &text, max); }; };
    expect_refused_without_allocating(words({6, 0x61626364, 0x65660000}), string(5));
    expect_refused_without_allocating(words({XDR_EZ_MAX_ALLOC, 0}), string(kUnbounded));
    expect_refused_without_allocating(words({0xFFFFFFFF, 0}), string(kUnbounded));

    tbs_name_t name;
    tbs_hostname_t host;
    Bytes long_name = words({256});
    long_name.resize(4 + 256, 'n');
    expect_refused_without_allocating(long_name, [&](XDR *x) { return xdr_tbs_name_t(x, name, 0); });
    Bytes long_host = words({64});
    long_host.resize(4 + 64, 'h');
    expect_refused_without_allocating(long_host, [&](XDR *x) { return xdr_tbs_hostname_t(x, host, 0); });

    Item *optional = nullptr;
    expect_refused_without_allocating(words({2, 1, 0}), [&](XDR *x) {
        return xdr_ez_pointer(x, reinterpret_cast<void **>(&optional), sizeof(Item), xdr_item, 0);
    });
    EXPECT_EQ(nullptr, items);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(nullptr, optional);
}

TEST(XdrHostileDecode, EachAllocationFailureFailsCleanly) {
    Composite decoded{};
    auto run = [&]() -> tbs_status_t {
        decoded = Composite{};
        bool ok = decode(kSampleWire, [&](XDR *x) { return xdr_composite(x, &decoded, 0); });
        xdr_ez_free(&decoded, xdr_composite, 0);
        return ok ? TBS_ST_OK : TBS_ST_NO_MEMORY;
    };
    unsigned long before = stg_allocation_count();
    ASSERT_EQ(TBS_ST_OK, run());
    const unsigned long needed = stg_allocation_count() - before;
    EXPECT_EQ(8u, needed) << "text, array, two labels, optional, its label, two vector labels";
    size_t points = pxtest::sweep_allocation_failures(
        run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); });
    EXPECT_EQ(needed, points);
}

// --- in-memory encoding stream ----------------------------------------------

Bytes stream_bytes(XDR *xdrs) {
    const auto *base = reinterpret_cast<const unsigned char *>(xdrs->x_base);
    return Bytes(base, base + xdr_getpos(xdrs));
}

TEST(XdrStgStream, GrowsAndKeepsBaseAndPositionExact) {
    LeakGuard guard;
    XDR xdrs;
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 0, 0));
    EXPECT_EQ(0u, xdr_getpos(&xdrs));
    Sample sample;
    ASSERT_TRUE(xdr_composite(&xdrs, &sample.record, 0));
    EXPECT_EQ(kSampleWire, stream_bytes(&xdrs));

    Bytes expected = kSampleWire;
    for (uint32_t i = 0; i < 100000; ++i) {
        ASSERT_TRUE(xdr_u_int(&xdrs, &i));
        Bytes w = words({i});
        expected.insert(expected.end(), w.begin(), w.end());
    }
    EXPECT_EQ(expected, stream_bytes(&xdrs));
    EXPECT_FALSE(xdrs.x_ops->x_control(&xdrs, 0, nullptr));
    xdrstg_destroy(&xdrs);
    EXPECT_EQ(nullptr, xdrs.x_base);
    xdrstg_destroy(&xdrs);  // a second release is harmless
}

TEST(XdrStgStream, EachAllocationFailureFailsCleanly) {
    Sample sample;
    auto run = [&]() -> tbs_status_t {
        XDR xdrs;
        tbs_status_t status = xdrstg_create(&xdrs, 8, 0);
        if (status != TBS_ST_OK) {
            EXPECT_EQ(nullptr, xdrs.x_base);
            xdrstg_destroy(&xdrs);
            return status;
        }
        bool ok = xdr_composite(&xdrs, &sample.record, 0);
        if (ok) {
            EXPECT_EQ(kSampleWire, stream_bytes(&xdrs));
        }
        xdrstg_destroy(&xdrs);
        return ok ? TBS_ST_OK : TBS_ST_NO_MEMORY;
    };
    size_t points = pxtest::sweep_allocation_failures(
        run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); });
    EXPECT_EQ(3u, points) << "state, buffer, one growth past 64 bytes";
}

// --- checksum and stream writes ---------------------------------------------

TEST(FileUtlCrc, CheckValue) {
    uint32_t crc = 1;
    fileutl_crc_buffer("123456789", 9, &crc);
    EXPECT_EQ(0xCBF43926u, crc);
    fileutl_crc_buffer("", 0, &crc);
    EXPECT_EQ(0u, crc);
}

TEST(MtUtlWrite, ReturnsWholeItemsAndPosition) {
    char memory[32] = {};
    FILE *stream = fmemopen(memory, 25, "w");
    ASSERT_NE(nullptr, stream);
    setvbuf(stream, nullptr, _IONBF, 0);
    std::string data(100, 'x');
    EXPECT_EQ(2u, mtutl_fwrite(data.data(), 10, 10, stream)) << "25 bytes fit: two whole items";
    EXPECT_EQ(25, mtutl_ftell(stream));
    fclose(stream);

    EXPECT_EQ(0u, mtutl_fwrite(data.data(), 1, 1, nullptr));
    EXPECT_EQ(-1, mtutl_ftell(nullptr));
}

TEST(XdrStgStream, InlineRunsAndRepositioning) {
    LeakGuard guard;
    XDR xdrs;
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 4, 0));
    int32_t *run = XDR_INLINE(&xdrs, 3 * BYTES_PER_XDR_UNIT);
    ASSERT_NE(nullptr, run);
    IXDR_PUT_INT32(run, 1);
    IXDR_PUT_INT32(run, -1);
    IXDR_PUT_U_INT32(run, 0x01020304u);
    EXPECT_EQ(12u, xdr_getpos(&xdrs));
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 3)) << "only whole words";

    // Rewrite the first word in place, then return to the end.
    u_int patched = 9;
    ASSERT_TRUE(XDR_SETPOS(&xdrs, 0));
    ASSERT_TRUE(xdr_u_int(&xdrs, &patched));
    EXPECT_FALSE(XDR_SETPOS(&xdrs, 13)) << "nothing was written there";
    ASSERT_TRUE(XDR_SETPOS(&xdrs, 12));
    char odd[] = "ab";
    ASSERT_TRUE(XDR_PUTBYTES(&xdrs, odd, 2));
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 4)) << "an unaligned run falls back";
    EXPECT_EQ((Bytes{0, 0, 0, 9, 0xff, 0xff, 0xff, 0xff, 1, 2, 3, 4, 'a', 'b'}), stream_bytes(&xdrs));
    xdrstg_destroy(&xdrs);
}

TEST(XdrStgStream, RefusedRequestsAndTheSizeLimit) {
    LeakGuard guard;
    XDR xdrs;
    EXPECT_EQ(TBS_ST_INVALID_ARG, xdrstg_create(&xdrs, 64, 1));
    xdrstg_destroy(&xdrs);
    EXPECT_EQ(TBS_ST_NO_MEMORY, xdrstg_create(&xdrs, XDR_EZ_MAX_ALLOC + 1, 0));
    EXPECT_EQ(nullptr, xdrs.x_base);
    xdrstg_destroy(&xdrs);

    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1024, 0));
    std::vector<char> chunk(1u << 20, 'x');
    for (int i = 0; i < 63; ++i) ASSERT_TRUE(XDR_PUTBYTES(&xdrs, chunk.data(), static_cast<u_int>(chunk.size())));
    ASSERT_TRUE(XDR_PUTBYTES(&xdrs, chunk.data(), static_cast<u_int>(chunk.size()) - 4));
    u_int last = 7;
    ASSERT_TRUE(xdr_u_int(&xdrs, &last));
    EXPECT_FALSE(xdr_u_int(&xdrs, &last)) << "the buffer stops at 64 MiB";
    EXPECT_EQ(XDR_EZ_MAX_ALLOC, xdr_getpos(&xdrs));
    xdrstg_destroy(&xdrs);
}

void on_alarm(int) {}

// Writes a large buffer into a pipe nobody reads yet while a timer keeps
// interrupting the blocked write, then drains the pipe.
std::string write_through_interruptions(const std::string &data, int buffering, size_t *items) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm_only, nullptr);  // the reader inherits the block
    std::string received;
    std::thread reader([&] {
        usleep(100 * 1000);
        char buffer[4096];
        ssize_t n;
        while ((n = read(fds[0], buffer, sizeof buffer)) != 0) {
            if (n > 0) received.append(buffer, static_cast<size_t>(n));
        }
    });
    pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
    struct sigaction action = {}, previous = {};
    action.sa_handler = on_alarm;  // no SA_RESTART: blocked writes fail with EINTR
    sigaction(SIGALRM, &action, &previous);
    itimerval every_5ms = {{0, 5000}, {0, 5000}}, off = {};
    setitimer(ITIMER_REAL, &every_5ms, nullptr);

    FILE *stream = fdopen(fds[1], "w");
    setvbuf(stream, nullptr, buffering, 512);
    *items = mtutl_fwrite(data.data(), 1, data.size(), stream);

    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &previous, nullptr);
    fclose(stream);
    reader.join();
    close(fds[0]);
    return received;
}

TEST(MtUtlWrite, InterruptedWritesResumeWithoutLossOnUnbufferedStreams) {
    std::string data(1 << 20, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7919 % 251);
    size_t items = 0;
    EXPECT_EQ(data, write_through_interruptions(data, _IONBF, &items));
    EXPECT_EQ(data.size(), items);

    // A buffered stream drops what a failed flush held, so an interruption
    // there is reported (a short count) rather than resumed: whatever is
    // reported as written in full must have arrived in full.
    std::string received = write_through_interruptions(data, _IOFBF, &items);
    if (items == data.size()) {
        EXPECT_EQ(data, received);
    }
}

}  // namespace
