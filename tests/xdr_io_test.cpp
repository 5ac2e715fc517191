// The XDR stream over an open file and the packet code's seek wrapper.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "pxinfo_kv_pkt.h"
#include "pxinfo_xdr_io.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A scratch file holding bytes, positioned at its start.
FILE *file_with(const Bytes &bytes) {
    FILE *file = std::tmpfile();
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::rewind(file);
    return file;
}

TEST(XdrIo, HandleIsFilledAndPublicLeftAlone) {
    FILE *file = file_with({});
    XDR xdrs;
    char marker = 'p';
    xdrs.x_public = xdrs.x_base = &marker;
    xdrs.x_handy = 99;
    pxinfo_xdrio_create(&xdrs, file, XDR_DECODE);
    EXPECT_EQ(XDR_DECODE, xdrs.x_op);
    EXPECT_EQ(static_cast<void *>(file), xdrs.x_private);
    EXPECT_EQ(nullptr, xdrs.x_base);
    EXPECT_EQ(0u, xdrs.x_handy);
    EXPECT_EQ(&marker, xdrs.x_public);
    // Cannot seek, offers no inline buffer, answers no control request.
    EXPECT_FALSE(XDR_SETPOS(&xdrs, 0));
    EXPECT_EQ(nullptr, XDR_INLINE(&xdrs, 4));
    EXPECT_FALSE(xdrs.x_ops->x_control(&xdrs, 0, nullptr));
    std::fclose(file);
}

TEST(XdrIo, WritesBigEndianUnitsThatReadBack) {
    const std::string path = pxtest::temp_path("xdrio");
    FILE *file = std::fopen(path.c_str(), "w+");
    XDR out;
    pxinfo_xdrio_create(&out, file, XDR_ENCODE);
    int negative = -2;
    u_int big = 0xCBF43926u;
    u_long word = 0x14823516u;
    char *text = const_cast<char *>("abcde");
    ASSERT_TRUE(xdr_int(&out, &negative) && xdr_u_int(&out, &big) && xdr_u_long(&out, &word));
    EXPECT_EQ(12u, XDR_GETPOS(&out));
    ASSERT_TRUE(xdr_string(&out, &text, 100));
    XDR_DESTROY(&out);  // flushes, and leaves the file open
    const Bytes expected = {0xFF, 0xFF, 0xFF, 0xFE, 0xCB, 0xF4, 0x39, 0x26, 0x14, 0x82, 0x35, 0x16,
                            0,    0,    0,    5,    'a',  'b',  'c',  'd',  'e',  0,    0,    0};
    EXPECT_EQ(expected, pxtest::read_file(path));

    std::rewind(file);
    XDR in;
    pxinfo_xdrio_create(&in, file, XDR_DECODE);
    int negative_back = 0;
    u_int big_back = 0;
    u_long word_back = 0;
    char buffer[8] = {};
    char *text_back = buffer;
    EXPECT_TRUE(xdr_int(&in, &negative_back) && xdr_u_int(&in, &big_back) && xdr_u_long(&in, &word_back) &&
                xdr_string(&in, &text_back, sizeof buffer - 1));
    EXPECT_EQ(-2, negative_back);
    EXPECT_EQ(0xCBF43926u, big_back);
    EXPECT_EQ(0x14823516u, word_back);
    EXPECT_STREQ("abcde", buffer);
    EXPECT_EQ(0, std::fclose(file));
}

TEST(XdrIo, ShortReadsFailAndKeepTheTarget) {
    FILE *file = file_with({0x01, 0x02, 0x03});
    XDR in;
    pxinfo_xdrio_create(&in, file, XDR_DECODE);
    long target = 77;
    EXPECT_FALSE(XDR_GETLONG(&in, &target));
    EXPECT_EQ(77, target);
    std::rewind(file);
    char buffer[4] = {};
    EXPECT_FALSE(XDR_GETBYTES(&in, buffer, 4));  // a run is one item: all or nothing
    std::fclose(file);
}

TEST(KvPktFseek, ReportsTheDistanceMovedOrMinusOne) {
    FILE *file = file_with(Bytes(20, 0));
    ASSERT_EQ(0, std::fseek(file, 16, SEEK_SET));
    EXPECT_EQ(10, pxinfo_kv_pkt_fseek(10, file));  // past the end is allowed
    EXPECT_EQ(-6, pxinfo_kv_pkt_fseek(-6, file));
    EXPECT_EQ(-1, pxinfo_kv_pkt_fseek(-100, file));  // before the start
    EXPECT_EQ(20, std::ftell(file));
    std::fclose(file);

    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    FILE *pipe_file = fdopen(ends[0], "r");
    EXPECT_EQ(-1, pxinfo_kv_pkt_fseek(4, pipe_file));
    std::fclose(pipe_file);
    close(ends[1]);
}

TEST(XdrIo, ZeroLengthRunsNeedNoFile) {
    FILE *at_end = file_with({});
    FILE *read_only = std::fopen("/dev/null", "r");
    XDR in, out;
    pxinfo_xdrio_create(&in, at_end, XDR_DECODE);
    pxinfo_xdrio_create(&out, read_only, XDR_ENCODE);
    char byte = 'x';
    EXPECT_TRUE(XDR_GETBYTES(&in, &byte, 0));
    EXPECT_TRUE(XDR_PUTBYTES(&out, &byte, 0));
    EXPECT_FALSE(XDR_GETBYTES(&in, &byte, 1));
    EXPECT_FALSE(XDR_PUTBYTES(&out, &byte, 1));
    std::fclose(at_end);
    std::fclose(read_only);
}

}  // namespace
