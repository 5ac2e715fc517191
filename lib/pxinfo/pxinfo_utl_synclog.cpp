// The sync activity log: its switch file and its record format.
#include "pxinfo_utl_synclog.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "date.h"
#include "fileutl.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_rgy.h"
#include "stg.h"
#include "strutl.h"
#include "tbs.h"
#include "tbs_uuid.h"

namespace {

constexpr const char *kSwitchFile = "services/gm_log.conf";
constexpr const char *kLogFile = "gm_log";
constexpr const char *kSwitchOn = "LOG=TRUE";
constexpr const char *kUnavailable = "unavailable";

constexpr size_t kPathSize = 4096;
// The switch counts only within the first 255 characters of the first line.
constexpr int kSwitchLineSize = 256;

// Room for the labels, uuids and timestamp of a record, and for one row
// entry. The stream's buffer is made large enough for the whole record, so
// that it reaches the file in one write and the records of concurrent writers
// stay apart.
constexpr size_t kRecordFixedSize = 512;
constexpr size_t kRowEntrySize = 64;

const char *text_or_unavailable(const char *text) { return text != nullptr && text[0] != '\0' ? text : kUnavailable; }

size_t row_size(const pxinfo_epoch_row_t &row) {
    return row.count > 0 ? static_cast<size_t>(row.count) * kRowEntrySize : sizeof "unavailable";
}

size_t text_size(const char *text) { return text != nullptr ? std::strlen(text) : 0; }

// Writes the entries of a row below its label: "unavailable" for an empty
// row, else one "oid=epoch" line per vault replica.
void write_row(FILE *log, const char *label, const pxinfo_epoch_row_t &row) {
    std::fprintf(log, "\n%s: ", label);
    if (row.count == 0) {
        std::fputs(kUnavailable, log);
        return;
    }
    if (row.entries == nullptr) {
        return;  // a damaged row: nothing to list
    }
    for (int32_t i = 0; i < row.count; ++i) {
        tbs_oid_t oid;
        if (pxinfo_selector_to_replica_oid(&row.entries[i].replica, &oid) != TBS_ST_OK) { continue; }
        tbs_oid_str_t oid_text;
        std::fprintf(log, "\n%s=%u", tbs_oid_to_str(&oid, oid_text), row.entries[i].epoch);
    }
}

}  // namespace

extern "C" {

PXINFO_API int pxinfo_do_gm_logging(void) {
    char path[kPathSize];
    if (tbs_product_config_dir(kSwitchFile, path, sizeof path) == nullptr || !fileutl_exists(path, 1)) { return 0; }
    FILE *file = fopen64(path, "r");
    if (file == nullptr) { return 0; }
    char line[kSwitchLineSize];
    const bool read = std::fgets(line, sizeof line, file) != nullptr;
    std::fclose(file);
    return read && strutl_find_str(line, 0, kSwitchOn, nullptr) ? 1 : 0;
}

PXINFO_API void pxinfo_log_gm_sync_entry(tbs_uuid_t family_uuid, const char *local_tag,
                                         tbs_uuid_t importing_replica_uuid, const char *importing_replica_name,
                                         tbs_uuid_t exporting_replica_uuid, const char *exporting_replica_name,
                                         const char *packet_name, pxinfo_epoch_row_t packet_epoch_row,
                                         pxinfo_epoch_row_t replica_epoch_row, pxinfo_sync_direction_t direction,
                                         const char *error_text, tbs_status_t status) {
    char path[kPathSize];
    tbs_uuid_str_t family_text;
    tbs_uuid_str_t importing_text;
    tbs_uuid_str_t exporting_text;
    const bool have_path = tbs_product_log_dir(kLogFile, path, sizeof path) != nullptr;
    tbs_uuid_to_str(&family_uuid, family_text);
    tbs_uuid_to_str(&importing_replica_uuid, importing_text);
    tbs_uuid_to_str(&exporting_replica_uuid, exporting_text);

    FILE *log = have_path ? fopen64(path, "a+") : nullptr;
    if (log == nullptr) {
        if (pxinfo::trace_gate(pxinfo::kTraceDetail)) {
            pxinfo::print_text(IMSG_SEV_WARNING, "Couldn't open logfile\n");
        }
        return;
    }
    // Without the large buffer the record still gets written, only in pieces.
    const char *error = error_text != nullptr && error_text[0] != '\0' ? error_text : tbs_strerror(status);
    const size_t buffer_size = kRecordFixedSize + text_size(local_tag) + text_size(importing_replica_name) +
                               text_size(exporting_replica_name) + text_size(packet_name) + text_size(error) +
                               row_size(packet_epoch_row) + row_size(replica_epoch_row);
    void *buffer = stg_malloc(buffer_size);
    if (buffer != nullptr) { setvbuf(log, static_cast<char *>(buffer), _IOFBF, buffer_size); }

    std::fprintf(log, "familu_uuid: %s", family_text);
    std::fprintf(log, "\nlocal_tag: %s", text_or_unavailable(local_tag));
    std::fprintf(log, "\nimp_rep_uuid: %s", importing_text);
    std::fprintf(log, "\nimp_name: %s", text_or_unavailable(importing_replica_name));
    std::fprintf(log, "\nexp_rep_uuid: %s", exporting_text);
    std::fprintf(log, "\nexp_name: %s", text_or_unavailable(exporting_replica_name));
    std::fprintf(log, "\ntimestamp: %s", date_fmt_token_utc(std::time(nullptr)));
    std::fprintf(log, "\npkt_name: %s", text_or_unavailable(packet_name));
    write_row(log, "pkt_epoch_row", packet_epoch_row);
    write_row(log, "rep_epoch_row", replica_epoch_row);
    std::fputs(direction == PXINFO_SYNC_EXPORT ? "\ndirection: export" : "\ndirection: import", log);
    std::fprintf(log, "\nerror: %s", error);
    std::fputs("\n*****\n\n", log);
    std::fclose(log);
    stg_free(buffer);
}

}  // extern "C"
