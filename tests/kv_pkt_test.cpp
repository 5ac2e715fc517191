// Packet headers: writing them in every layout, reading them back, and every
// way a packet file is refused.
//
// Expected bytes are built here word by word, independently of the writer and
// of the record routines, with zlib's crc32 for the checksum.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "fixtures.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_xdr_io.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;
using pxtest::CapturedMessages;

using pxfix::SampleHeader;

// ---------------------------------------------------------------------------
// Headers as comparable text.

std::string text_of(const char *text) { return text == nullptr ? "(null)" : "\"" + std::string(text) + "\""; }
std::string text_of(const tbs_uuid_t &uuid) {
    char buffer[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_str(&uuid, buffer);
}

std::string describe(const pxinfo_kv_pkt_header_t &h) {
    std::ostringstream out;
    out << "minor " << h.minor_version << " source " << text_of(h.source_replica_uuid) << " family "
        << text_of(h.family_uuid) << " sync " << h.sync_type << " aux_int " << h.aux_int << "\nseq " << h.pkt_seq_num
        << " aux_count " << h.aux_count << " uuid2 " << text_of(h.aux_uuid2) << " log " << text_of(h.log_pkt_uuid)
        << " uuid1 " << text_of(h.aux_uuid1) << " compress " << h.compress_type << " values " << h.aux_value1 << ","
        << h.aux_value2 << " oplog " << h.oplog_desc_type << "\n"
        << h.target_count << " targets:";
    for (int i = 0; h.targets != nullptr && i < h.target_count; ++i)
        out << " " << text_of(h.targets[i].replica_uuid) << "=" << text_of(h.targets[i].name);
    out << "\n" << h.replica_count << " replicas:";
    for (int i = 0; h.replicas != nullptr && i < h.replica_count; ++i)
        out << " " << text_of(h.replicas[i].replica_uuid) << " " << h.replicas[i].start_epoch << ".."
            << h.replicas[i].end_epoch << " ref " << h.replicas[i].ref_value;
    out << "\naux_int2 " << h.aux_int2 << " aux_string " << text_of(h.aux_string) << "\n";
    return out.str();
}

bool is_all_zero(const pxinfo_kv_pkt_header_t &header) {
    pxinfo_kv_pkt_header_t zero;
    std::memset(&zero, 0, sizeof zero);
    return std::memcmp(&zero, &header, sizeof zero) == 0;
}

// What reading back the sample written with a major version yields.
std::string expected_after_round_trip(SampleHeader &sample, int major_version) {
    pxinfo_kv_pkt_header_t h = sample.header;
    pxinfo_kv_pkt_tgt_desc_t targets[4];
    pxinfo_kv_pkt_rep_desc_t replicas[2];
    std::copy(sample.targets, sample.targets + 4, targets);
    std::copy(sample.replicas, sample.replicas + 2, replicas);
    targets[1].name = nullptr;  // empty names come back null
    h.targets = targets;
    h.replicas = replicas;
    if (major_version >= 6) {
        if (h.aux_string != nullptr && h.aux_string[0] == '\0') h.aux_string = nullptr;
        return describe(h);
    }
    // Older layouts: the defaults of what they lack.
    h.pkt_seq_num = h.aux_count = 1;
    h.aux_uuid2 = h.log_pkt_uuid = h.aux_uuid1 = TBS_UUID_NULL;
    h.compress_type = PXINFO_COMPRESS_DEFAULT;
    h.aux_value1 = h.aux_value2 = 0;
    h.oplog_desc_type = PXINFO_KV_OPLOG_DESC_NONE;
    h.aux_int2 = 0;
    for (auto &r : replicas) {
        r.end_epoch = 0;
        if (major_version == 0) r.ref_value = 0;
    }
    // Layout 2 keeps aux_string as written (null is written empty); layout 0 has none.
    h.aux_string = major_version == 0 ? nullptr : h.aux_string == nullptr ? sample.empty : h.aux_string;
    return describe(h);
}

// ---------------------------------------------------------------------------
// Independently built packet bytes, each byte tagged with its role so that
// tests can damage a packet where it matters.

enum class Role { kValue, kStructure, kPadding };

struct Wire {
    Bytes bytes;
    std::vector<Role> roles;

    void word(uint32_t value, Role role = Role::kValue) {
        for (int shift = 24; shift >= 0; shift -= 8) add(static_cast<unsigned char>(value >> shift), role);
    }
    void add(unsigned char byte, Role role) {
        bytes.push_back(byte);
        roles.push_back(role);
    }
    void uuid(const tbs_uuid_t &u) {
        for (unsigned char b : u.bytes) add(b, Role::kValue);
    }
    void string(const char *text) {
        const size_t length = text == nullptr ? 0 : std::strlen(text);
        word(static_cast<uint32_t>(length), Role::kStructure);
        for (size_t i = 0; i < length; ++i) add(static_cast<unsigned char>(text[i]), Role::kValue);
        for (size_t pad = length; pad % 4 != 0; ++pad) add(0, Role::kPadding);
    }
    uint32_t crc() const { return static_cast<uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size()))); }
};

// Magic number, major version and record of a header, without the checksum.
Wire expected_wire(const pxinfo_kv_pkt_header_t &h, int major_version) {
    const int layout = major_version == 0 ? 0 : major_version <= 5 ? 2 : 3;
    Wire w;
    for (int v : {0x14823516, major_version, h.minor_version}) w.word(static_cast<uint32_t>(v));
    w.uuid(h.source_replica_uuid);
    w.uuid(h.family_uuid);
    w.word(static_cast<uint32_t>(h.target_count), Role::kStructure);
    w.word(static_cast<uint32_t>(h.sync_type));
    w.word(static_cast<uint32_t>(h.aux_int));
    if (layout == 3) {
        w.word(h.pkt_seq_num);
        w.word(h.aux_count);
        for (const tbs_uuid_t &u : {h.aux_uuid2, h.log_pkt_uuid, h.aux_uuid1}) w.uuid(u);
        for (uint32_t v : {static_cast<uint32_t>(h.compress_type), h.aux_value1, h.aux_value2,
                           static_cast<uint32_t>(h.oplog_desc_type)})
            w.word(v);
    }
    w.word(static_cast<uint32_t>(h.target_count), Role::kStructure);
    for (int i = 0; i < h.target_count; ++i) {
        w.uuid(h.targets[i].replica_uuid);
        w.string(h.targets[i].name);
    }
    w.word(static_cast<uint32_t>(h.replica_count), Role::kStructure);
    w.word(static_cast<uint32_t>(h.replica_count), Role::kStructure);
    for (int i = 0; i < h.replica_count; ++i) {
        w.uuid(h.replicas[i].replica_uuid);
        w.word(h.replicas[i].start_epoch);
        if (layout == 3) w.word(h.replicas[i].end_epoch);
        if (layout != 0) w.word(static_cast<uint32_t>(h.replicas[i].ref_value));
    }
    if (layout == 3) w.word(static_cast<uint32_t>(h.aux_int2));
    if (layout != 0) w.string(h.aux_string);
    return w;
}

// ---------------------------------------------------------------------------
// Writing and reading through the library.

struct Written {
    tbs_status_t status;
    u_int size;
    Bytes bytes;  // everything on the stream
};

// Writes header after prefix bytes on a fresh memory stream large enough
// never to grow.
Written write_header(const pxinfo_kv_pkt_header_t &header, int major_version, int prefix_words = 0) {
    XDR xdrs;
    Written result{xdrstg_create(&xdrs, 4096, 0), 12345u, {}};
    if (result.status != TBS_ST_OK) return result;
    for (int filler = 0; filler < prefix_words; ++filler) xdr_int(&xdrs, &filler);
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
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::rewind(file);
    return file;
}

struct ReadResult {
    tbs_status_t status;
    int major_version;
    pxinfo_kv_pkt_header_t header;
    long position;  // of the file after the read
};

// Reads a header with pxinfo_kv_pkt_read_header; the caller releases it.
ReadResult read_header(const Bytes &bytes, int quiet = 0) {
    FILE *file = file_with(bytes);
    XDR xdrs;
    ReadResult r{};
    r.major_version = -99;
    r.status = pxinfo_kv_pkt_read_header(file, &xdrs, quiet, &r.major_version, &r.header);
    r.position = std::ftell(file);
    XDR_DESTROY(&xdrs);
    std::fclose(file);
    return r;
}

void expect_single_message(const CapturedMessages &messages, int severity, const std::string &text) {
    ASSERT_EQ(1u, messages.lines().size()) << messages.dump();
    EXPECT_EQ(severity, messages.lines()[0].severity);
    EXPECT_EQ("pxinfo_kv_pkt", messages.lines()[0].component);
    EXPECT_EQ(text, messages.lines()[0].text);
}

// A read that fails with one error message and status 1001, and again
// quietly with nothing printed; the header is all zero and nothing leaks.
void expect_read_refused(const Bytes &bytes, const std::string &text, int major_version) {
    for (int quiet = 0; quiet <= 1; ++quiet) {
        SCOPED_TRACE(quiet ? "quiet" : "not quiet");
        const unsigned long live = stg_live_block_count();
        CapturedMessages messages;
        ReadResult r = read_header(bytes, quiet);
        EXPECT_EQ(TBS_ST_FAILED, r.status);
        EXPECT_EQ(major_version, r.major_version);
        EXPECT_TRUE(is_all_zero(r.header)) << describe(r.header);
        EXPECT_EQ(live, stg_live_block_count());
        if (quiet) EXPECT_EQ(0u, messages.lines().size()) << messages.dump();
        else expect_single_message(messages, IMSG_SEV_ERROR, text);
    }
}

std::string checksum_message(uint32_t expected, uint32_t found) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "Bad packet header checksum.  expected 0x%x, found 0x%x.\n", expected, found);
    return buffer;
}

std::string unknown_version_message(int major) {
    return "Unable to decode packet header: unknown packet version " + std::to_string(major) + "\n";
}

// ===========================================================================

TEST(KvPktWrite, BytesMatchTheIndependentEncodingInEveryLayout) {
    for (int aux = 0; aux <= 2; ++aux) {
        SampleHeader sample(aux, 3);
        for (int major : {0, 3, 7}) {
            SCOPED_TRACE("major " + std::to_string(major) + " aux " + std::to_string(aux));
            Wire expected = expected_wire(sample.header, major);
            if (major != 0) expected.word(expected.crc());
            const Written alone = write_header(sample.header, major);
            ASSERT_EQ(TBS_ST_OK, alone.status);
            EXPECT_EQ(expected.bytes, alone.bytes);
            EXPECT_EQ(expected.bytes.size(), alone.size);
            // After 8 bytes already on the stream: the checksum covers this
            // call's bytes only; layout 0 reports the stream's position.
            const Written after = write_header(sample.header, major, 2);
            EXPECT_EQ(expected.bytes, Bytes(after.bytes.begin() + 8, after.bytes.end()));
            EXPECT_EQ(alone.size + (major == 0 ? 8u : 0u), after.size);
        }
    }
}

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
    EXPECT_EQ(0u, messages.lines().size()) << messages.dump();
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_write_header(&sample.header, 8, &xdrs, &size));
    expect_single_message(messages, IMSG_SEV_ERROR, unknown_version_message(8));
    EXPECT_EQ(77u, size);
    EXPECT_EQ(0, std::ftell(file));  // nothing written
    std::fclose(file);

    // A fixed memory stream cut short at each part of a layout-3 header.
    const u_int record = static_cast<u_int>(expected_wire(sample.header, 7).bytes.size());
    const std::pair<u_int, const char *> cuts[] = {
        {0, "magic"}, {4, "major version"}, {record - 4, "sync header"}, {record, "header crc"}};
    for (const auto &cut : cuts) {
        std::vector<char> buffer(cut.first + 1);
        xdrmem_create(&xdrs, buffer.data(), cut.first, XDR_ENCODE);
        messages.clear();
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_write_header(&sample.header, 7, &xdrs, &size));
        EXPECT_EQ(0u, size);
        expect_single_message(messages, IMSG_SEV_ERROR,
                              std::string("Error encoding xdr information (") + cut.second + ")\n");
    }
}

TEST(KvPktWrite, StorageExhaustedWhileNarrowing) {
    SampleHeader sample;
    for (int major : {0, 4}) {
        size_t writer_failures = 0;
        Written w{};
        CapturedMessages messages;
        pxtest::sweep_allocation_failures([&] { return (w = write_header(sample.header, major)).status; },
                                          [&](tbs_status_t status, unsigned long) {
                                              EXPECT_EQ(TBS_ST_NO_MEMORY, status);
                                              EXPECT_EQ(0u, messages.problems()) << messages.dump();
                                              if (w.size == 0u) ++writer_failures;  // not the stream's creation
                                          });
        // Targets, two names, replicas, and for layout 2 aux_string.
        EXPECT_EQ(major == 0 ? 4u : 5u, writer_failures);
    }
}

TEST(KvPktRead, RoundTripOfEveryMajorVersion) {
    for (int aux = 0; aux <= 2; ++aux) {
        SampleHeader sample(aux);
        for (int major = 0; major <= 7; ++major) {
            SCOPED_TRACE("major " + std::to_string(major) + " aux " + std::to_string(aux));
            Bytes bytes = packet_bytes(sample.header, major);
            const long header_size = static_cast<long>(bytes.size());
            bytes.insert(bytes.end(), {0xAA, 0xBB, 0xCC, 0xDD});  // the packet's body
            const unsigned long live = stg_live_block_count();
            CapturedMessages messages;
            ReadResult r = read_header(bytes);
            ASSERT_EQ(TBS_ST_OK, r.status) << messages.dump();
            EXPECT_EQ(major, r.major_version);
            EXPECT_EQ(expected_after_round_trip(sample, major), describe(r.header));
            EXPECT_EQ(header_size, r.position);
            EXPECT_EQ(0u, messages.lines().size()) << messages.dump();
            pxinfo_free_kv_pkt_hdr(&r.header);
            EXPECT_TRUE(is_all_zero(r.header));
            pxinfo_free_kv_pkt_hdr(&r.header);
            EXPECT_EQ(live, stg_live_block_count());
        }
    }
}

TEST(KvPktReadRefused, MagicNumberAndMajorVersion) {
    expect_read_refused({}, "Error decoding xdr information (magic)\n", 0);
    expect_read_refused({0x14, 0x82, 0x35, 0x17, 0, 0, 0, 7}, "Bad magic number on packet.\n", 0);
    expect_read_refused({0x14, 0x82, 0x35, 0x16, 0, 0, 0, 8}, unknown_version_message(8), 8);
    expect_read_refused({0x14, 0x82, 0x35, 0x16, 0xFF, 0xFF, 0xFF, 0xFF}, unknown_version_message(-1), -1);
}

TEST(KvPktReadRefused, EveryTruncation) {
    SampleHeader sample;
    const std::pair<int, const char *> layouts[] = {
        {0, "sync header(type 0)"}, {5, "sync header(type 2)"}, {7, "sync header"}};
    for (const auto &layout : layouts) {
        const int major = layout.first;
        const Bytes bytes = packet_bytes(sample.header, major);
        const size_t record_end = expected_wire(sample.header, major).bytes.size();
        for (size_t length = 0; length < bytes.size(); ++length) {
            SCOPED_TRACE("major " + std::to_string(major) + " length " + std::to_string(length));
            const std::string what = length < 4            ? "magic"
                                     : length < 8          ? "major version"
                                     : length < record_end ? layout.second
                                                           : "header checksum";
            expect_read_refused(Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)),
                                "Error decoding xdr information (" + what + ")\n", length < 8 ? 0 : major);
        }
    }
}

TEST(KvPktReadRefused, EveryDamagedByte) {
    // A changed value byte is caught by the checksum, the checksum of the
    // damaged bytes as expected and the stored one as found. A changed count
    // or length makes the record undecodable or its checksum differ. Padding
    // is left out: the checksum is taken over the record encoded afresh,
    // whose padding is always zero.
    for (int major : {4, 7}) {
        SampleHeader sample;
        const Wire wire = expected_wire(sample.header, major);
        const Bytes good = packet_bytes(sample.header, major);
        for (size_t offset = 8; offset < good.size(); ++offset) {
            SCOPED_TRACE("major " + std::to_string(major) + " offset " + std::to_string(offset));
            Bytes bad = good;
            bad[offset] ^= 0x01;
            if (offset >= wire.bytes.size()) {  // the checksum itself, big-endian
                const uint32_t found = wire.crc() ^ (1u << (8 * (3 - (offset - wire.bytes.size()))));
                expect_read_refused(bad, checksum_message(wire.crc(), found), major);
            } else if (wire.roles[offset] == Role::kValue) {
                Wire damaged = wire;
                damaged.bytes[offset] ^= 0x01;
                expect_read_refused(bad, checksum_message(damaged.crc(), wire.crc()), major);
            } else if (wire.roles[offset] == Role::kStructure) {
                const unsigned long live = stg_live_block_count();
                CapturedMessages messages;
                ReadResult r = read_header(bad);
                EXPECT_EQ(TBS_ST_FAILED, r.status);
                EXPECT_TRUE(is_all_zero(r.header));
                EXPECT_EQ(1u, messages.with_severity(IMSG_SEV_ERROR).size()) << messages.dump();
                EXPECT_EQ(live, stg_live_block_count());
            }
        }
    }
}

TEST(KvPktReadRefused, StorageExhausted) {
    // The reader's own allocations failing give 1062 with no message; the
    // check buffer's creation gives its status with "buffer creation"; an
    // allocation inside the record's decoding makes the record undecodable.
    // Quietly, the same statuses with nothing printed.
    const std::pair<int, const char *> layouts[] = {
        {0, "sync header(type 0)"}, {2, "sync header(type 2)"}, {7, "sync header"}};
    for (const auto &layout : layouts) {
        SCOPED_TRACE(layout.first);
        const Bytes bytes = packet_bytes(SampleHeader().header, layout.first);
        std::vector<tbs_status_t> statuses[2];
        size_t silent = 0, buffer = 0, decoding = 0;
        for (int quiet = 0; quiet <= 1; ++quiet) {
            CapturedMessages messages;
            ReadResult r{};
            pxtest::sweep_allocation_failures(
                [&] {
                    messages.clear();
                    return (r = read_header(bytes, quiet)).status;
                },
                [&](tbs_status_t status, unsigned long) {
                    statuses[quiet].push_back(status);
                    EXPECT_TRUE(is_all_zero(r.header));
                    EXPECT_EQ(layout.first, r.major_version);
                    if (quiet) {
                        EXPECT_EQ(0u, messages.lines().size()) << messages.dump();
                    } else if (messages.lines().empty()) {
                        EXPECT_EQ(TBS_ST_NO_MEMORY, status);
                        ++silent;
                    } else if (status == TBS_ST_NO_MEMORY) {
                        expect_single_message(messages, IMSG_SEV_ERROR,
                                              "Error encoding xdr information (buffer creation)\n");
                        ++buffer;
                    } else {
                        EXPECT_EQ(TBS_ST_FAILED, status);
                        expect_single_message(messages, IMSG_SEV_ERROR,
                                              std::string("Error decoding xdr information (") + layout.second + ")\n");
                        ++decoding;
                    }
                });
            pxinfo_free_kv_pkt_hdr(&r.header);  // the run that succeeded
        }
        EXPECT_EQ(statuses[0], statuses[1]);
        // The record itself, then copies of targets, two names, replicas and aux_string.
        EXPECT_EQ(layout.first == 0 ? 5u : 6u, silent);
        EXPECT_EQ(layout.first == 0, buffer == 0u);  // only layouts with a checksum make the buffer
        EXPECT_GE(decoding, 1u);
    }
}

TEST(KvPktRead, ImportFormRewindsWhateverTheOutcome) {
    SampleHeader sample;
    for (const Bytes &bytes : {packet_bytes(sample.header, 7), Bytes{1, 2, 3, 4, 5, 6, 7, 8}}) {
        const bool valid = bytes.size() > 8;
        FILE *file = file_with(bytes);
        const unsigned long live = stg_live_block_count();
        int major = -1;
        pxinfo_kv_pkt_header_t header;
        EXPECT_EQ(valid ? TBS_ST_OK : TBS_ST_FAILED, pxinfo_kv_pkt_read_import_header_no_xdr(file, 1, &major, &header));
        EXPECT_EQ(0, std::ftell(file));
        if (valid) {
            EXPECT_EQ(expected_after_round_trip(sample, 7), describe(header));
        }
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_finish_import_header_no_xdr(file, &header));
        EXPECT_TRUE(is_all_zero(header));
        EXPECT_EQ(live, stg_live_block_count());
        std::fclose(file);
    }
    int major = 0;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_read_import_header_no_xdr(nullptr, 0, &major, nullptr));
}

TEST(KvPktReadRefused, ReEncodingThatCannotGrowTheCheckBuffer) {
    // An aux_string beyond the check buffer's starting size of 32768 bytes.
    SampleHeader sample;
    std::string big(40000, 'b');
    sample.header.aux_string = &big[0];
    const Bytes bytes = packet_bytes(sample.header, 7);
    ReadResult r = read_header(bytes, 1);
    ASSERT_EQ(TBS_ST_OK, r.status);
    EXPECT_EQ(big, r.header.aux_string);
    pxinfo_free_kv_pkt_hdr(&r.header);

    size_t re_encoding = 0;
    CapturedMessages messages;
    pxtest::sweep_allocation_failures(
        [&] {
            messages.clear();
            return (r = read_header(bytes)).status;
        },
        [&](tbs_status_t status, unsigned long) {
            EXPECT_TRUE(is_all_zero(r.header));
            if (status == TBS_ST_FAILED && messages.lines().size() == 1 &&
                messages.lines()[0].text == "Error encoding xdr information (sync header for checking)\n")
                ++re_encoding;
        });
    pxinfo_free_kv_pkt_hdr(&r.header);
    EXPECT_GE(re_encoding, 1u);
}

}  // namespace
