// Packet headers: the mappings of major versions to header layouts and
// between sync types and file types; and the stdio wrappers the packet code
// reads and writes through. The feature-level mapping, whose internal error
// names the packet header code's source, lives with that code.
#include <cstdio>

#include "pxinfo_frame_internal.h"
#include "pxinfo_kv_pkt.h"

namespace {

// Sync types of the header and the file types they stand for.
constexpr int kSyncTypeUpdate = 1;
constexpr int kSyncTypeCreation = 2;
constexpr int kSyncTypeNone = 0;

// Indexed by major version.
constexpr pxinfo_kv_pkt_header_type_t kLayoutOfMajorVersion[] = {
    PXINFO_KV_PKT_HEADER_TYPE_0, PXINFO_KV_PKT_HEADER_TYPE_2, PXINFO_KV_PKT_HEADER_TYPE_2, PXINFO_KV_PKT_HEADER_TYPE_2,
    PXINFO_KV_PKT_HEADER_TYPE_2, PXINFO_KV_PKT_HEADER_TYPE_2, PXINFO_KV_PKT_HEADER_TYPE_3, PXINFO_KV_PKT_HEADER_TYPE_3,
};

template <typename T, size_t N>
constexpr unsigned table_size(const T (&)[N]) {
    return static_cast<unsigned>(N);
}

}  // namespace

// ---------------------------------------------------------------------------
// Mappings.

extern "C" tbs_status_t pxinfo_kv_pkt_major_version_to_header_type(int major_version, int quiet,
                                                                   pxinfo_kv_pkt_header_type_t *header_type) {
    const unsigned version = static_cast<unsigned>(major_version);
    if (version < table_size(kLayoutOfMajorVersion)) {
        if (header_type == nullptr) { return TBS_ST_INVALID_ARG; }
        *header_type = kLayoutOfMajorVersion[version];
        return TBS_ST_OK;
    }
    pxinfo::print_msg(quiet != 0, IMSG_SEV_ERROR, pxinfo::KvPktMsg::kUnknownVersion, major_version);
    return TBS_ST_FAILED;
}

extern "C" pxinfo_file_type_t pxinfo_kv_pkt_sync_type_to_file_type(int sync_type) {
    switch (sync_type) {
    case kSyncTypeUpdate: return PXINFO_FILE_KVUPDATE;
    case kSyncTypeCreation: return PXINFO_FILE_KVCREATE;
    default: return PXINFO_FILE_OTHER;
    }
}

extern "C" int pxinfo_kv_pkt_file_type_to_sync_type(pxinfo_file_type_t file_type) {
    switch (file_type) {
    case PXINFO_FILE_KVCREATE: return kSyncTypeCreation;
    case PXINFO_FILE_KVUPDATE: return kSyncTypeUpdate;
    default: return kSyncTypeNone;
    }
}

// ---------------------------------------------------------------------------
// Stdio wrappers.

extern "C" size_t pxinfo_kv_pkt_fread(void *buffer, size_t size, size_t count, FILE *stream) {
    if (stream == nullptr) { return 0; }
    return fread(buffer, size, count, stream);
}

extern "C" size_t pxinfo_kv_pkt_fwrite(const void *buffer, size_t size, size_t count, FILE *stream) {
    if (stream == nullptr) { return 0; }
    return fwrite(buffer, size, count, stream);
}

extern "C" long pxinfo_kv_pkt_fseek(long offset, FILE *stream) {
    if (stream == nullptr) { return -1; }
    const long before = ftell(stream);
    if (fseek(stream, offset, SEEK_CUR) != 0) { return -1; }
    return ftell(stream) - before;
}
