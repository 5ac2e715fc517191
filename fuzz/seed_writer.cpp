// Writes the seed corpus of the record targets: for every record kind, the
// encoding of its all-zero record and of two filled records. A filled record
// is made by decoding from a stream that answers every number with the same
// small value (1 or 2: counts, lengths, tags and presence words alike) and
// every byte with a letter, so that each kind gets arrays, strings, selectors
// of both arms and present optional parts without a hand-written sample.
//
// The health-file target's seeds are the filled epoch and sync status records
// of a two-replica family (consistent by construction: every count is 2),
// read with and without epoch_only.
//
// The packet-header target's seeds are the sample header the tests share,
// written in every layout the writer knows (versions 0, 5, 6, 7 and 7.1), and
// once with a trailing byte, which makes the target set the checksum; it is a
// creation packet, and an update packet is written as well. The packet-file
// target starts from these and from the shipping-order seeds.
//
// Usage: fuzz_seed_writer records DIRECTORY...   (each directory gets every seed)
//        fuzz_seed_writer health DIRECTORY
//        fuzz_seed_writer headers DIRECTORY
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fixtures.h"
#include "pxinfo_kv_pkt.h"
#include "record_routines.h"

namespace {

// The encoding of a record decoded from filler of the given value; false when
// the kind refuses such a record.
bool filled_encoding(const pxfuzz::RecordRoutine &kind, long value, std::vector<uint8_t> *bytes) {
    pxfix::FillerStream filler({value});
    pxfuzz::RecordBuffer record(kind.size);
    bool ok = kind.routine(filler.xdrs(), record.get(), 0) != 0 && pxfuzz::encode_record(kind, record.get(), bytes);
    xdr_ez_free(record.get(), kind.routine, 0);
    return ok;
}

bool write_file(const std::string &path, const std::vector<uint8_t> &bytes) {
    FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) { return false; }
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}

// A seed of the record and health targets: a leading byte, then the bytes.
bool write_seed(const std::string &path, uint8_t first, const std::vector<uint8_t> &bytes) {
    std::vector<uint8_t> seed{first};
    seed.insert(seed.end(), bytes.begin(), bytes.end());
    return write_file(path, seed);
}

const pxfuzz::RecordRoutine &kind_named(const char *name) {
    for (const pxfuzz::RecordRoutine &kind : pxfuzz::record_routines()) {
        if (std::string(kind.name) == name) { return kind; }
    }
    std::fprintf(stderr, "no record kind %s\n", name);
    std::exit(1);
}

int write_record_seeds(int count, char **directories) {
    const auto &kinds = pxfuzz::record_routines();
    int written = 0;
    for (size_t number = 0; number < kinds.size(); ++number) {
        const pxfuzz::RecordRoutine &kind = kinds[number];
        std::vector<std::pair<std::string, std::vector<uint8_t>>> seeds;
        pxfuzz::RecordBuffer zero(kind.size);
        std::vector<uint8_t> bytes;
        if (pxfuzz::encode_record(kind, zero.get(), &bytes)) { seeds.emplace_back("zero", bytes); }
        for (long value : {1L, 2L}) {
            bytes.clear();
            if (filled_encoding(kind, value, &bytes)) { seeds.emplace_back("filled" + std::to_string(value), bytes); }
        }
        if (seeds.empty()) { std::fprintf(stderr, "%s: no seed\n", kind.name); }
        for (const auto &seed : seeds) {
            const std::string file =
                (number < 10 ? "0" : "") + std::to_string(number) + "-" + (kind.name + 4) + "-" + seed.first;
            for (int i = 0; i < count; ++i) {
                if (!write_seed(std::string(directories[i]) + "/" + file, static_cast<uint8_t>(number), seed.second)) {
                    std::perror(directories[i]);
                    return 1;
                }
            }
            ++written;
        }
    }
    std::printf("%d seeds for %zu record kinds\n", written, kinds.size());
    return 0;
}

int write_health_seeds(const char *directory) {
    std::vector<uint8_t> epoch, sync;
    if (!filled_encoding(kind_named("xdr_pxinfo_family_epoch_status_t"), 2, &epoch) ||
        !filled_encoding(kind_named("xdr_pxinfo_family_sync_status_t"), 2, &sync)) {
        std::fprintf(stderr, "no filled family records\n");
        return 1;
    }
    std::vector<uint8_t> file = epoch;
    file.insert(file.end(), sync.begin(), sync.end());
    for (uint8_t epoch_only : {0, 1}) {
        const std::string path = std::string(directory) + "/two-replicas" + (epoch_only ? "-epoch-only" : "");
        if (!write_seed(path, epoch_only, file)) {
            std::perror(directory);
            return 1;
        }
    }
    std::printf("2 health file seeds\n");
    return 0;
}

bool header_bytes(const pxinfo_kv_pkt_header_t &header, int major, std::vector<uint8_t> *bytes) {
    XDR xdrs;
    u_int size = 0;
    bool ok = xdrstg_create(&xdrs, 1024, 0) == TBS_ST_OK &&
              pxinfo_kv_pkt_write_header(&header, major, &xdrs, &size) == TBS_ST_OK;
    if (ok) { bytes->assign(xdrs.x_base, xdrs.x_base + size); }
    xdrstg_destroy(&xdrs);
    return ok;
}

int write_header_seeds(const char *directory) {
    pxfix::SampleHeader sample;
    pxinfo_kv_pkt_header_t &header = sample.header;
    int written = 0;
    for (int version : {0, 5, 6, 7, 71}) {
        header.minor_version = version == 71 ? 1 : 0;
        std::vector<uint8_t> bytes;
        if (!header_bytes(header, version == 71 ? 7 : version, &bytes)) {
            std::fprintf(stderr, "version %d: the header does not write\n", version);
            return 1;
        }
        const std::string name = std::string(directory) + "/version-" + std::to_string(version);
        std::vector<uint8_t> odd = bytes;
        odd.push_back(0);
        if (!write_file(name, bytes) || (version == 7 && !write_file(name + "-odd", odd))) {
            std::perror(directory);
            return 1;
        }
        written += version == 7 ? 2 : 1;
    }
    // An update packet (sync type 1); the sample above is a creation packet.
    header.minor_version = 0;
    header.sync_type = 1;
    std::vector<uint8_t> update;
    if (!header_bytes(header, 7, &update) || !write_file(std::string(directory) + "/version-7-update", update)) {
        std::fprintf(stderr, "the update packet header does not write\n");
        return 1;
    }
    ++written;
    std::printf("%d packet header seeds\n", written);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string target = argc > 2 ? argv[1] : "";
    if (target == "records") { return write_record_seeds(argc - 2, argv + 2); }
    if (target == "health" && argc == 3) { return write_health_seeds(argv[2]); }
    if (target == "headers" && argc == 3) { return write_header_seeds(argv[2]); }
    std::fprintf(stderr, "usage: %s records DIRECTORY... | health DIRECTORY | headers DIRECTORY\n", argv[0]);
    return 2;
}
