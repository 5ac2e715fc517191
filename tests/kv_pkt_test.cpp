// Packet headers: writing them in every layout, reading them back, every way a
// packet file is refused; the mappings of feature levels, major versions and
// sync types; the XDR stream over files and the seek wrapper.
//
// Expected bytes are built here word by word, independently of the writer and
// of the record routines, with zlib's crc32 for the checksum.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "fixtures.h"
#include "pxinfo/pxinfo.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;
using pxfix::put_wire;
using pxfix::SampleHeader;
using pxtest::CapturedMessages;

// Every printed line as "severity component: text".
Lines lines_of(const CapturedMessages &messages) {
    Lines lines;
    for (const auto &l : messages.lines()) {
        lines.push_back(std::to_string(l.severity) + " " + l.component + ": " + l.text);
    }
    return lines;
}
std::string error(const std::string &text) { return "6 pxinfo_kv_pkt: " + text; }
std::string decode_error(const std::string &what) { return error("Error decoding xdr information (" + what + ")\n"); }
std::string encode_error(const std::string &what) { return error("Error encoding xdr information (" + what + ")\n"); }
std::string unknown_version(int major) {
    return error("Unable to decode packet header: unknown packet version " + std::to_string(major) + "\n");
}
std::string checksum_message(uint32_t expected, uint32_t found) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "Bad packet header checksum.  expected 0x%x, found 0x%x.\n", expected, found);
    return error(buffer);
}

bool is_all_zero(const pxinfo_kv_pkt_header_t &header) {
    const pxinfo_kv_pkt_header_t zero{};
    return std::memcmp(&zero, &header, sizeof zero) == 0;
}

uint32_t crc_of(const Bytes &bytes) { return crc32(0, bytes.data(), static_cast<uInt>(bytes.size())); }

// Magic number, major version and record of a header, without the checksum.
Bytes expected_wire(const pxinfo_kv_pkt_header_t &h, int major_version) {
    const int layout = major_version == 0 ? 0 : major_version <= 5 ? 2 : 3;
    Bytes w = pxfix::wire(0x14823516, major_version, h.minor_version, h.source_replica_uuid, h.family_uuid,
                          h.target_count, h.sync_type, h.aux_int);
    if (layout == 3) {
        put_wire(w, pxfix::wire(h.pkt_seq_num, h.aux_count, h.aux_uuid2, h.log_pkt_uuid, h.aux_uuid1, h.compress_type,
                                h.aux_value1, h.aux_value2, h.oplog_desc_type));
    }
    put_wire(w, h.target_count);
    for (int i = 0; i < h.target_count; ++i) {
        put_wire(w, pxfix::wire(h.targets[i].replica_uuid, h.targets[i].name ? h.targets[i].name : ""));
    }
    put_wire(w, pxfix::wire(h.replica_count, h.replica_count));
    for (int i = 0; i < h.replica_count; ++i) {
        put_wire(w, pxfix::wire(h.replicas[i].replica_uuid, h.replicas[i].start_epoch));
        if (layout == 3) { put_wire(w, h.replicas[i].end_epoch); }
        if (layout != 0) { put_wire(w, h.replicas[i].ref_value); }
    }
    if (layout == 3) { put_wire(w, h.aux_int2); }
    if (layout != 0) { put_wire(w, h.aux_string ? h.aux_string : ""); }
    return w;
}

struct Written {
    tbs_status_t status;
    u_int size;
    Bytes bytes;  // everything on the stream
};

// Writes header after prefix words on a fresh memory stream large enough
// never to grow.
Written write_header(const pxinfo_kv_pkt_header_t &header, int major_version, int prefix_words = 0) {
    XDR xdrs;
    Written result{xdrstg_create(&xdrs, 4096, 0), 12345u, {}};
    if (result.status != TBS_ST_OK) { return result; }
    for (int filler = 0; filler < prefix_words; ++filler) { xdr_int(&xdrs, &filler); }
    result.status = pxinfo_kv_pkt_write_header(&header, major_version, &xdrs, &result.size);
    result.bytes.assign(xdrs.x_base, xdrs.x_base + XDR_GETPOS(&xdrs));
    xdrstg_destroy(&xdrs);
    return result;
}

Bytes packet_bytes(const pxinfo_kv_pkt_header_t &header, int major_version) {
    Written w = write_header(header, major_version);
    EXPECT_EQ(TBS_ST_OK, w.status);
    return w.bytes;
}

FILE *file_with(const Bytes &bytes) {
    FILE *file = std::tmpfile();
    if (!bytes.empty()) { std::fwrite(bytes.data(), 1, bytes.size(), file); }
    std::rewind(file);
    return file;
}

struct ReadResult {
    tbs_status_t status;
    int major_version;
    pxinfo_kv_pkt_header_t header;
    long position;  // of the file after the read
};

// Reads a header, with pxinfo_kv_pkt_read_header or in the import form (which
// must leave the file at its start); the caller releases the header.
ReadResult read_header(const Bytes &bytes, int quiet = 0, bool import = false) {
    FILE *file = file_with(bytes);
    XDR xdrs;
    ReadResult r{TBS_ST_OK, -99, {}, 0};
    if (import) {
        r.status = pxinfo_kv_pkt_read_import_header_no_xdr(file, quiet, &r.major_version, &r.header);
    } else {
        r.status = pxinfo_kv_pkt_read_header(file, &xdrs, quiet, &r.major_version, &r.header);
    }
    r.position = std::ftell(file);
    if (!import) { XDR_DESTROY(&xdrs); }
    std::fclose(file);
    return r;
}

// A read that fails with status 1001 and one error, and again quietly in the
// import form with nothing printed; the header is all zero, nothing leaks.
void expect_read_refused(const Bytes &bytes, const std::string &message, int major_version) {
    for (int quiet = 0; quiet <= 1; ++quiet) {
        const unsigned long live = stg_live_block_count();
        CapturedMessages messages;
        ReadResult r = read_header(bytes, quiet, quiet == 1);
        EXPECT_TRUE(r.status == TBS_ST_FAILED && r.major_version == major_version && is_all_zero(r.header));
        EXPECT_EQ(live, stg_live_block_count());
        EXPECT_EQ(quiet ? Lines{} : Lines{message}, lines_of(messages));
        EXPECT_TRUE(!quiet || r.position == 0) << "the import form rewinds the file";
    }
}

// ---- Writing ----------------------------------------------------------------

TEST(KvPktWrite, BytesMatchTheIndependentEncodingInEveryLayout) {
    for (int aux = 0; aux <= 2; ++aux) {
        SampleHeader sample(aux, 3);
        for (int major : {0, 3, 7}) {
            SCOPED_TRACE("major " + std::to_string(major) + " aux " + std::to_string(aux));
            Bytes expected = expected_wire(sample.header, major);
            if (major != 0) { put_wire(expected, crc_of(expected)); }
            const Written alone = write_header(sample.header, major);
            EXPECT_TRUE(alone.status == TBS_ST_OK && alone.size == expected.size());
            EXPECT_EQ(expected, alone.bytes);
            // After 8 bytes already on the stream: the checksum covers this
            // call's bytes only; layout 0 reports the stream's position.
            const Written after = write_header(sample.header, major, 2);
            EXPECT_EQ(expected, Bytes(after.bytes.begin() + 8, after.bytes.end()));
            EXPECT_EQ(alone.size + (major == 0 ? 8u : 0u), after.size);
        }
    }
}

// Refused arguments (of the reader too), an unknown version, a stream cut
// short, storage exhausted.
TEST(KvPktWrite, RefusalsAndEncodingFailures) {
    SampleHeader sample;
    CapturedMessages messages;
    XDR xdrs;
    u_int size = 77;
    FILE *file = std::tmpfile();
    pxinfo_xdrio_create(&xdrs, file, XDR_DECODE);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(&sample.header, 0, &xdrs, &size));
    pxinfo_xdrio_create(&xdrs, file, XDR_ENCODE);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(nullptr, 7, &xdrs, &size));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(&sample.header, 7, &xdrs, nullptr));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(&sample.header, 7, &xdrs, &size));  // no buffer
    sample.header.replica_count = -1;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(&sample.header, 0, &xdrs, &size));
    sample.header.replica_count = 2;
    sample.header.targets = nullptr;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_write_header(&sample.header, 0, &xdrs, &size));
    sample.header.targets = sample.targets;
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_write_header(&sample.header, 8, &xdrs, &size));
    EXPECT_EQ(Lines{unknown_version(8)}, lines_of(messages));
    EXPECT_TRUE(size == 77u && std::ftell(file) == 0) << "nothing written";
    int major = 0;
    pxinfo_kv_pkt_header_t header{};
    for (tbs_status_t status : {pxinfo_kv_pkt_read_import_header_no_xdr(nullptr, 0, &major, &header),
                                pxinfo_kv_pkt_read_header(file, nullptr, 0, &major, &header),
                                pxinfo_kv_pkt_read_header(file, &xdrs, 0, nullptr, &header),
                                pxinfo_kv_pkt_read_header(file, &xdrs, 0, &major, nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, status);
    }
    std::fclose(file);
    // A fixed memory stream cut short at each part of a layout-3 header: in
    // the record, at the targets' count word, the first target's name and the
    // last bytes of aux_string.
    const u_int record = static_cast<u_int>(expected_wire(sample.header, 7).size());
    const std::pair<u_int, const char *> cuts[] = {
        {0, "magic"},         {4, "major version"},        {128, "sync header"},
        {148, "sync header"}, {record - 4, "sync header"}, {record, "header crc"}};
    for (const auto &[length, part] : cuts) {
        std::vector<char> buffer(length + 1);
        xdrmem_create(&xdrs, buffer.data(), length, XDR_ENCODE);
        messages.clear();
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_write_header(&sample.header, 7, &xdrs, &size));
        EXPECT_EQ(0u, size);
        EXPECT_EQ(Lines{encode_error(part)}, lines_of(messages));
    }
    // Storage exhausted while narrowing the header: 1062, silently. Failing:
    // the targets, two names, the replicas, and for layout 2 aux_string.
    for (int major : {0, 4}) {
        size_t writer_failures = 0;
        Written w{};
        messages.clear();
        pxtest::sweep_allocation_failures([&] { return (w = write_header(sample.header, major)).status; },
                                          [&](tbs_status_t status, unsigned long) {
                                              EXPECT_EQ(TBS_ST_NO_MEMORY, status);
                                              writer_failures += w.size == 0u;  // not the stream's creation
                                          });
        EXPECT_EQ(major == 0 ? 4u : 5u, writer_failures);
        EXPECT_EQ(Lines{}, lines_of(messages));
    }
}

// ---- Reading ----------------------------------------------------------------

// What a layout carries comes back: written again in that layout, the header
// gives the same bytes. What it lacks comes back with its default; empty
// target names come back null, as does an empty aux_string of layout 3. A
// minor version other than the software's own under its major is a warning.
TEST(KvPktRead, EveryMajorVersionRoundTripsInTheNewestLayout) {
    CapturedMessages messages;
    for (int aux = 0; aux <= 2; ++aux) {
        SampleHeader sample(aux, 2);
        for (int major = 0; major <= 7; ++major) {
            SCOPED_TRACE("major " + std::to_string(major) + " aux " + std::to_string(aux));
            Bytes bytes = packet_bytes(sample.header, major);
            const long header_size = static_cast<long>(bytes.size());
            bytes.insert(bytes.end(), {0xAA, 0xBB, 0xCC, 0xDD});  // the packet's body
            const unsigned long live = stg_live_block_count();
            for (bool import : {false, true}) {
                ReadResult r = read_header(bytes, 0, import);
                const pxinfo_kv_pkt_header_t &h = r.header;
                ASSERT_EQ(TBS_ST_OK, r.status);
                EXPECT_TRUE(r.major_version == major && r.position == (import ? 0 : header_size));
                EXPECT_EQ(packet_bytes(sample.header, major), packet_bytes(h, major));
                EXPECT_TRUE(h.targets[1].name == nullptr && h.targets[2].name == nullptr);
                EXPECT_STREQ(major == 0 ? nullptr : aux == 0 ? sample.text : major >= 6 ? nullptr : "", h.aux_string);
                if (major < 6) {
                    EXPECT_TRUE(h.pkt_seq_num == 1 && h.aux_count == 1 && h.compress_type == PXINFO_COMPRESS_DEFAULT &&
                                h.aux_value1 == 0 && h.aux_value2 == 0 && h.aux_int2 == 0 &&
                                h.oplog_desc_type == PXINFO_KV_OPLOG_DESC_NONE);
                    for (const tbs_uuid_t *u : {&h.aux_uuid2, &h.log_pkt_uuid, &h.aux_uuid1}) {
                        EXPECT_EQ(0, std::memcmp(&TBS_UUID_NULL, u, sizeof *u));
                    }
                    for (int i = 0; i < 2; ++i) {
                        EXPECT_TRUE(h.replicas[i].end_epoch == 0 && (major > 0 || h.replicas[i].ref_value == 0));
                    }
                }
                EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_finish_import_header_no_xdr(nullptr, &r.header));
                pxinfo_free_kv_pkt_hdr(&r.header);
                EXPECT_TRUE(is_all_zero(r.header));
            }
            EXPECT_EQ(live, stg_live_block_count());
        }
    }
    pxinfo_free_kv_pkt_hdr(nullptr);
    EXPECT_EQ(Lines(6, "4 pxinfo_kv_pkt: Version mismatch, software:7.0, packet:7.2\n"), lines_of(messages));
}

// A wrong magic number or major version; a changed byte of the record or of
// the stored checksum: the checksum of the record as read, encoded afresh, is
// reported as expected and the stored one as found. A changed padding byte
// goes unnoticed, the record encoded afresh having zero padding again. Every
// truncation names the part cut.
TEST(KvPktReadRefused, BadMagicVersionChecksumAndEveryTruncation) {
    expect_read_refused({0x14, 0x82, 0x35, 0x17, 0, 0, 0, 7}, error("Bad magic number on packet.\n"), 0);
    expect_read_refused({0x14, 0x82, 0x35, 0x16, 0, 0, 0, 8}, unknown_version(8), 8);
    expect_read_refused({0x14, 0x82, 0x35, 0x16, 0xFF, 0xFF, 0xFF, 0xFF}, unknown_version(-1), -1);
    SampleHeader sample;
    const Bytes good = packet_bytes(sample.header, 7), record = expected_wire(sample.header, 7);
    const uint32_t crc = crc_of(record);
    Bytes bad = good;
    bad[48] ^= 0x01;  // the sync type
    expect_read_refused(bad, checksum_message(crc_of(Bytes(bad.begin(), bad.begin() + record.size())), crc), 7);
    bad = good;
    bad.back() ^= 0x01;
    expect_read_refused(bad, checksum_message(crc, crc ^ 1u), 7);
    bad = good;
    bad[record.size() - 1] ^= 0x01;  // after the 9 bytes of "aux text!"
    ReadResult r = read_header(bad, 1);
    EXPECT_EQ(TBS_ST_OK, r.status);
    pxinfo_free_kv_pkt_hdr(&r.header);
    for (const auto &[major, record_name] :
         {std::pair{0, "sync header(type 0)"}, {5, "sync header(type 2)"}, {7, "sync header"}}) {
        const Bytes bytes = packet_bytes(sample.header, major);
        const size_t record_end = expected_wire(sample.header, major).size();
        for (size_t length = 0; length < bytes.size(); ++length) {
            const char *part = length < 4            ? "magic"
                               : length < 8          ? "major version"
                               : length < record_end ? record_name
                                                     : "header checksum";
            expect_read_refused(Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)), decode_error(part),
                                length < 8 ? 0 : major);
        }
    }
}

// The reader's own allocations failing give 1062 with no message; the check
// buffer's creation gives its status with "buffer creation"; an allocation
// inside the record's decoding makes the record undecodable (1001), and one
// growing the check buffer (for an aux_string beyond its starting 32768
// bytes) makes the record not encodable for checking. Quietly, in the import
// form, the same statuses with nothing printed.
TEST(KvPktReadRefused, StorageExhaustedEndsInTheStatusItsMessageNames) {
    SampleHeader sample;
    std::string big(40000, 'b');
    sample.header.aux_string = &big[0];
    for (const auto &[major, record_name] :
         {std::pair{0, "sync header(type 0)"}, {2, "sync header(type 2)"}, {7, "sync header"}}) {
        const Bytes bytes = packet_bytes(sample.header, major);
        std::vector<tbs_status_t> statuses[2];
        std::map<std::string, size_t> outcomes;
        for (int quiet = 0; quiet <= 1; ++quiet) {
            CapturedMessages messages;
            ReadResult r{};
            pxtest::sweep_allocation_failures(
                [&] {
                    messages.clear();
                    return (r = read_header(bytes, quiet, quiet == 1)).status;
                },
                [&](tbs_status_t status, unsigned long) {
                    statuses[quiet].push_back(status);
                    EXPECT_TRUE(is_all_zero(r.header) && r.major_version == major);
                    const Lines lines = lines_of(messages);
                    if (!quiet) { ++outcomes[std::to_string(status) + (lines.empty() ? "" : " " + lines.back())]; }
                    EXPECT_LE(lines.size(), quiet ? 0u : 1u);
                });
            EXPECT_STREQ(major == 0 ? nullptr : big.c_str(), r.header.aux_string);  // the run that succeeded
            pxinfo_free_kv_pkt_hdr(&r.header);
        }
        EXPECT_EQ(statuses[0], statuses[1]);
        // Decoding allocates the targets, their four names, the replicas and
        // (but in layout 0) aux_string; the reader the record itself and
        // copies of the targets, two names, the replicas and aux_string; the
        // check buffer is a stream and its buffer.
        std::map<std::string, size_t> expected = {{"1001 " + decode_error(record_name), major == 0 ? 6 : 7},
                                                  {"1062", major == 0 ? 5 : 6}};
        if (major != 0) { expected["1062 " + encode_error("buffer creation")] = 2; }
        if (major != 0) { expected["1001 " + encode_error("sync header for checking")] = 1; }
        EXPECT_EQ(expected, outcomes) << major;
    }
}

// ---- Mappings ---------------------------------------------------------------

// A feature level beyond the known ones is an internal error, logged with the
// assertion that follows it; the major version is left, the minor cleared.
TEST(KvPktMapping, FeatureLevelsMajorVersionsAndSyncTypes) {
    CapturedMessages messages;
    const int protocol[][2] = {{55, 0}, {0, 1}, {1, 2}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {55, 0}};
    for (int level = -1; level <= 7; ++level) {
        messages.clear();
        const unsigned long errors = tbs_int_error_count(), asserts = pfm_assert_fail_count();
        int major = 55, minor = 66;
        pxinfo_map_flevel_to_protocol_versions(level, &major, &minor);
        EXPECT_TRUE(major == protocol[level + 1][0] && minor == protocol[level + 1][1]) << level;
        const unsigned long failures = level < 0 || level > 6;
        EXPECT_TRUE(tbs_int_error_count() == errors + failures && pfm_assert_fail_count() == asserts + failures);
        const Lines lines = lines_of(messages);
        ASSERT_EQ(2 * failures, lines.size());
        EXPECT_TRUE(!failures || (lines[0] == error("internal error: No sync packet header version matches feature "
                                                    "level " +
                                                    std::to_string(level) + ".\n") &&
                                  lines[1].rfind("6 pfm: assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:", 0) == 0))
            << ::testing::PrintToString(lines);
    }
    pxinfo_map_flevel_to_protocol_versions(6, nullptr, nullptr);
    const int layout[] = {0, 2, 2, 2, 2, 2, 3, 3, -1, -1};
    for (int major : {0, 1, 2, 3, 4, 5, 6, 7, 8, -1}) {
        for (int quiet = 0; quiet <= 1; ++quiet) {
            messages.clear();
            pxinfo_kv_pkt_header_type_t type = PXINFO_KV_PKT_HEADER_TYPE_1;
            const tbs_status_t status = pxinfo_kv_pkt_major_version_to_header_type(major, quiet, &type);
            const bool known = major >= 0 && major <= 7;
            EXPECT_TRUE(status == (known ? TBS_ST_OK : TBS_ST_FAILED) && type == (known ? layout[major] : 1)) << major;
            EXPECT_EQ(quiet || known ? Lines{} : Lines{unknown_version(major)}, lines_of(messages));
        }
    }
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_major_version_to_header_type(7, 0, nullptr));
    for (const auto &[sync_type, file_type] : {std::pair{1, PXINFO_FILE_KVUPDATE}, {2, PXINFO_FILE_KVCREATE}}) {
        EXPECT_TRUE(file_type == pxinfo_kv_pkt_sync_type_to_file_type(sync_type) &&
                    sync_type == pxinfo_kv_pkt_file_type_to_sync_type(file_type));
    }
    for (int other : {0, 3, -1}) { EXPECT_EQ(PXINFO_FILE_OTHER, pxinfo_kv_pkt_sync_type_to_file_type(other)); }
    for (int type : {int{PXINFO_FILE_SHORDER}, int{PXINFO_FILE_OTHER}, 0}) {
        EXPECT_EQ(0, pxinfo_kv_pkt_file_type_to_sync_type(static_cast<pxinfo_file_type_t>(type)));
    }
}

// ---- The XDR stream over files, and seeking ---------------------------------

// A layout-0 header (no checksum, so no buffer needed) goes through the file
// stream as the independent bytes (reading files is the readers' test); the
// stream cannot seek and offers no inline runs. A word or a run of bytes is
// one item, read or written whole or not at all; empty runs need no file.
TEST(XdrIo, CarriesAHeaderToAFileAndRunsWhole) {
    SampleHeader sample;
    FILE *file = file_with({}), *read_only = std::fopen("/dev/null", "r");
    XDR xdrs, out;
    pxinfo_xdrio_create(&xdrs, file, XDR_ENCODE);
    EXPECT_TRUE(xdrs.x_op == XDR_ENCODE && xdrs.x_private == static_cast<void *>(file));
    EXPECT_FALSE(XDR_SETPOS(&xdrs, 0) || XDR_INLINE(&xdrs, 4) || xdrs.x_ops->x_control(&xdrs, 0, nullptr));
    u_int size = 0;
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&sample.header, 0, &xdrs, &size));
    XDR_DESTROY(&xdrs);  // flushes, and leaves the file open
    const Bytes expected = expected_wire(sample.header, 0);
    Bytes written(expected.size() + 1);
    std::rewind(file);
    written.resize(std::fread(written.data(), 1, written.size(), file));
    EXPECT_TRUE(expected == written && expected.size() == size);
    pxinfo_xdrio_create(&xdrs, file, XDR_DECODE);
    pxinfo_xdrio_create(&out, read_only, XDR_ENCODE);
    long target = 77;
    std::rewind(file);
    EXPECT_TRUE(XDR_GETLONG(&xdrs, &target) && target == 0x14823516) << "the magic number, most significant byte first";
    target = 77;
    char buffer[4] = {};
    std::fseek(file, -3, SEEK_END);
    EXPECT_FALSE(XDR_GETLONG(&xdrs, &target));
    EXPECT_EQ(77, target);
    std::fseek(file, -3, SEEK_END);
    EXPECT_FALSE(XDR_GETBYTES(&xdrs, buffer, 4));
    EXPECT_TRUE(XDR_GETBYTES(&xdrs, buffer, 0) && XDR_PUTBYTES(&out, buffer, 0));
    EXPECT_FALSE(XDR_PUTBYTES(&out, buffer, 1) || XDR_PUTLONG(&out, &target));
    EXPECT_EQ(0u, pxinfo_kv_pkt_fread(buffer, 1, 1, nullptr) + pxinfo_kv_pkt_fwrite(buffer, 1, 1, nullptr) +
                      pxinfo_kv_pkt_fwrite(buffer, 1, 1, read_only));
    std::fclose(file);
    std::fclose(read_only);
}

TEST(KvPktFseek, ReportsTheDistanceMovedOrMinusOne) {
    FILE *file = file_with(Bytes(20, 0));
    ASSERT_EQ(0, std::fseek(file, 16, SEEK_SET));
    EXPECT_EQ(10, pxinfo_kv_pkt_fseek(10, file));  // past the end is allowed
    EXPECT_EQ(-6, pxinfo_kv_pkt_fseek(-6, file));
    EXPECT_EQ(-1, pxinfo_kv_pkt_fseek(-100, file));  // before the start
    EXPECT_EQ(20, std::ftell(file));
    EXPECT_EQ(-1, pxinfo_kv_pkt_fseek(0, nullptr));
    std::fclose(file);
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    FILE *pipe_file = fdopen(ends[0], "r");
    EXPECT_EQ(-1, pxinfo_kv_pkt_fseek(4, pipe_file));
    std::fclose(pipe_file);
    close(ends[1]);
}

}  // namespace
