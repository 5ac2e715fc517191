// Reading shipping orders: the line and word readers, the section parsers and
// the keyword table that ties each section to its parsers and writer. Every
// line is checked; the first fault is reported and ends the read.
#include <cerrno>
#include <cstring>

#include "pxinfo_shp_order_internal.h"
#include "strutl.h"
#include "tbs_uuid.h"

namespace pxinfo {
namespace shp {

namespace {

// The outcome of asking for a required word.
enum class Word { kPresent, kMissing, kFailed };

// Reads the next word of the line into *word.
Word next_word(cl_handle_t *handle, const char *file_name, int line_number, const char **word) {
    tbs_status_t status = pxinfo_shp_ord_get_token(handle, file_name, line_number, 0, word);
    if (status == TBS_ST_OK) { return Word::kPresent; }
    return status == TBS_ST_NOT_FOUND ? Word::kMissing : Word::kFailed;
}

// Reads a required word; a missing one is reported with message 'missing'.
// Returns 0 with the word, else the status to fail with.
tbs_status_t required_word(cl_handle_t *handle, const char *file_name, int line_number, ShpOrderMsg missing,
                           const char **word) {
    switch (next_word(handle, file_name, line_number, word)) {
    case Word::kPresent: return TBS_ST_OK;
    case Word::kMissing: print_msg(false, IMSG_SEV_ERROR, missing, file_name, line_number); return TBS_ST_FAILED;
    case Word::kFailed: break;
    }
    return TBS_ST_FAILED;
}

// Fails with message 8 when a word remains on the line.
tbs_status_t no_more_words(cl_handle_t *handle, const char *file_name, int line_number) {
    const char *word = nullptr;
    switch (next_word(handle, file_name, line_number, &word)) {
    case Word::kMissing: return TBS_ST_OK;
    case Word::kPresent:
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kSyntaxError, file_name, line_number);
        return TBS_ST_FAILED;
    case Word::kFailed: break;
    }
    return TBS_ST_FAILED;
}

// A required date/time number: message 'missing' when absent, 6 when invalid.
tbs_status_t required_time(cl_handle_t *handle, const char *file_name, int line_number, ShpOrderMsg missing,
                           uint32_t *time) {
    const char *word = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, missing, &word);
    if (status != TBS_ST_OK) { return status; }
    if (strutl_strtoul(word, 0, time) != TBS_ST_OK) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kInvalidDateTime, file_name, line_number);
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

// Copies a word into the order's area, or prints the out-of-storage message.
tbs_status_t keep_word(pxinfo_shp_order_t *order, const char *word, char **field) {
    char *copy = stg_area_strdup(order->area, word);
    if (copy == nullptr) {
        print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kOutOfMemory);
        return TBS_ST_FAILED;
    }
    *field = copy;
    return TBS_ST_OK;
}

// A single-value section: "KEYWORD word", refused when the field is set.
tbs_status_t parse_single_word(cl_handle_t *handle, const char *file_name, int line_number, pxinfo_shp_order_t *order,
                               char **field, ShpOrderMsg extra, ShpOrderMsg missing) {
    if (*field != nullptr) {
        print_msg(false, IMSG_SEV_ERROR, extra, file_name, line_number);
        return TBS_ST_FAILED;
    }
    const char *word = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, missing, &word);
    if (status == TBS_ST_OK) { status = keep_word(order, word, field); }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

// A dated single-value section: "KEYWORD number string".
tbs_status_t parse_date(cl_handle_t *handle, const char *file_name, int line_number, pxinfo_shp_order_t *order,
                        uint32_t *time, char **string, ShpOrderMsg extra, ShpOrderMsg missing_time,
                        ShpOrderMsg missing_string) {
    if (*string != nullptr) {
        print_msg(false, IMSG_SEV_ERROR, extra, file_name, line_number);
        return TBS_ST_FAILED;
    }
    tbs_status_t status = required_time(handle, file_name, line_number, missing_time, time);
    const char *word = nullptr;
    if (status == TBS_ST_OK) { status = required_word(handle, file_name, line_number, missing_string, &word); }
    if (status == TBS_ST_OK) { status = keep_word(order, word, string); }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

// The first line of a list section that is repeated, while the list holds elements.
bool repeated_section(int first_continuation, const llist_d_head_t *list) {
    return first_continuation != 0 && !llist_d_is_empty(list);
}

// The hop line of a route: "host number string".
tbs_status_t parse_hop(cl_handle_t *handle, const char *file_name, int line_number, pxinfo_shp_order_t *order,
                       tbs_status_t (*create)(pxinfo_shp_order_t *, const char *, const char *, uint32_t,
                                              const char *)) {
    const char *host = nullptr;
    const char *time_string = nullptr;
    uint32_t time = 0;
    tbs_status_t status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingHop, &host);
    if (status == TBS_ST_OK) {
        status = required_time(handle, file_name, line_number, ShpOrderMsg::kMissingHopTime, &time);
    }
    if (status == TBS_ST_OK) {
        status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingHopString, &time_string);
    }
    if (status == TBS_ST_OK) { status = create(order, file_name, host, time, time_string); }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

// The tail shared by delivery and failure lines: "number string route destination".
struct DatedRoute {
    uint32_t time = 0;
    const char *time_string = nullptr;
    const char *route = nullptr;
    const char *destination = nullptr;
};

tbs_status_t parse_dated_route(cl_handle_t *handle, const char *file_name, int line_number, ShpOrderMsg missing_time,
                               ShpOrderMsg missing_string, DatedRoute *out) {
    tbs_status_t status = required_time(handle, file_name, line_number, missing_time, &out->time);
    if (status == TBS_ST_OK) {
        status = required_word(handle, file_name, line_number, missing_string, &out->time_string);
    }
    if (status == TBS_ST_OK) {
        status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingRoute, &out->route);
    }
    if (status == TBS_ST_OK) {
        status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingDestination, &out->destination);
    }
    return status;
}

// Matches the first word of a line against the keyword table; -1 for none.
int keyword_row(const char *word) {
    if (word[0] != '%') {
        return -1;  // every keyword starts with '%': a continuation line
    }
    for (int row = 0; row < kSectionCount; ++row) {
        if (strcmp(word, shp_ord_keywords[row].keyword) == 0) { return row; }
    }
    return -1;
}

}  // namespace

// Keyword-line parsers.

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_identifier) {
    // The identifier's value, not the section, decides: a second line is
    // accepted while the first left the null uuid.
    if (!tbs_uuid_eq(&order->identifier, &TBS_UUID_NULL)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kExtraIdentifier, file_name, line_number);
        return TBS_ST_FAILED;
    }
    const char *word = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingIdentifier, &word);
    if (status != TBS_ST_OK) { return status; }
    if (tbs_str_to_uuid(word, &order->identifier) != TBS_ST_OK) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kInvalidIdentifier, file_name, line_number);
        return TBS_ST_FAILED;
    }
    return no_more_words(handle, file_name, line_number);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_creation_date) {
    return parse_date(handle, file_name, line_number, order, &order->creation_time, &order->creation_string,
                      ShpOrderMsg::kExtraCreationDate, ShpOrderMsg::kMissingCreationTime,
                      ShpOrderMsg::kMissingCreationString);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_expiration) {
    return parse_date(handle, file_name, line_number, order, &order->expiration_time, &order->expiration_string,
                      ShpOrderMsg::kExtraExpirationDate, ShpOrderMsg::kMissingExpirationTime,
                      ShpOrderMsg::kMissingExpirationString);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_storage) {
    return parse_single_word(handle, file_name, line_number, order, &order->storage_class,
                             ShpOrderMsg::kExtraStorageClass, ShpOrderMsg::kMissingStorageClass);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_orig_pname) {
    return parse_single_word(handle, file_name, line_number, order, &order->original_data_path,
                             ShpOrderMsg::kExtraOriginalPath, ShpOrderMsg::kMissingOriginalPath);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_local_pname) {
    return parse_single_word(handle, file_name, line_number, order, &order->local_data_path,
                             ShpOrderMsg::kExtraLocalPath, ShpOrderMsg::kMissingLocalPath);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_return_route) {
    if (order->has_return_route != 0) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleReturnRoutes, file_name, line_number);
        return TBS_ST_FAILED;
    }
    order->has_return_route = 1;
    return no_more_words(handle, file_name, line_number);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_none) { return no_more_words(handle, file_name, line_number); }

// Continuation-line parsers.

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_none) {
    print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMissingSectionKeyword, file_name, line_number);
    return TBS_ST_FAILED;
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_destinations) {
    if (repeated_section(first_continuation, &order->destinations)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleDestinations, file_name, line_number);
        return TBS_ST_FAILED;
    }
    const char *host = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingDestinationHost, &host);
    pxinfo_shp_destination_t *destination = nullptr;
    if (status == TBS_ST_OK) { status = pxinfo_shp_create_destination(order, file_name, host, 1, &destination); }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_arrival_route) {
    if (repeated_section(first_continuation, &order->arrival_route)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleArrivalRoutes, file_name, line_number);
        return TBS_ST_FAILED;
    }
    return parse_hop(handle, file_name, line_number, order, pxinfo_shp_create_arrival);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_return_route) {
    if (repeated_section(first_continuation, &order->return_route)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleReturnRoutes, file_name, line_number);
        return TBS_ST_FAILED;
    }
    return parse_hop(handle, file_name, line_number, order, pxinfo_shp_create_return);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_delivery) {
    // Deliveries of several sections all apply, continuation or not.
    DatedRoute d;
    tbs_status_t status = parse_dated_route(handle, file_name, line_number, ShpOrderMsg::kMissingDeliveryTime,
                                            ShpOrderMsg::kMissingDeliveryString, &d);
    if (status == TBS_ST_OK) {
        status = pxinfo_shp_record_delivery(order, file_name, d.route, d.destination, d.time, d.time_string);
    }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_failed_attempt) {
    if (repeated_section(first_continuation, &order->failed_attempts)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleFailures, file_name, line_number);
        return TBS_ST_FAILED;
    }
    const char *type = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingFailureType, &type);
    if (status != TBS_ST_OK) { return status; }
    if (strcmp(type, "C") != 0 && strcmp(type, "R") != 0) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kUnknownFailureType, file_name, line_number);
        return TBS_ST_FAILED;
    }
    DatedRoute f;
    status = parse_dated_route(handle, file_name, line_number, ShpOrderMsg::kMissingFailureTime,
                               ShpOrderMsg::kMissingFailureString, &f);
    if (status != TBS_ST_OK) { return status; }
    // Words after the destination are not examined.
    uint32_t is_c = type[0] == 'C' ? 1 : 0;
    return pxinfo_shp_record_failure(order, file_name, is_c, f.route, f.destination, f.time, f.time_string, 1);
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_notification) {
    if (repeated_section(first_continuation, &order->notification_addresses)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleNotifications, file_name, line_number);
        return TBS_ST_FAILED;
    }
    const char *address = nullptr;
    tbs_status_t status = required_word(handle, file_name, line_number, ShpOrderMsg::kMissingAddress, &address);
    if (status == TBS_ST_OK) { status = pxinfo_shp_create_notification(order, file_name, address); }
    return status == TBS_ST_OK ? no_more_words(handle, file_name, line_number) : status;
}

PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_comment) {
    if (repeated_section(first_continuation, &order->comment_lines)) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kMultipleComments, file_name, line_number);
        return TBS_ST_FAILED;
    }
    // The line as read: leading blanks kept, blank lines included.
    return pxinfo_shp_create_comment(order, file_name, line);
}

const SectionKeyword shp_ord_keywords[kSectionCount] = {
    {"%IDENTIFIER", pxinfo_shp_ord_write_identifier, pxinfo_shp_ord_parse_first_identifier,
     pxinfo_shp_ord_parse_cont_none},
    {"%CREATION-DATE", pxinfo_shp_ord_write_creation_date, pxinfo_shp_ord_parse_first_creation_date,
     pxinfo_shp_ord_parse_cont_none},
    {"%EXPIRATION-DATE", pxinfo_shp_ord_write_expiration, pxinfo_shp_ord_parse_first_expiration,
     pxinfo_shp_ord_parse_cont_none},
    {"%STORAGE-CLASS", pxinfo_shp_ord_write_storage, pxinfo_shp_ord_parse_first_storage,
     pxinfo_shp_ord_parse_cont_none},
    {"%ORIGINAL-DATA-PATH", pxinfo_shp_ord_write_orig_pname, pxinfo_shp_ord_parse_first_orig_pname,
     pxinfo_shp_ord_parse_cont_none},
    {"%LOCAL-DATA-PATH", pxinfo_shp_ord_write_local_pname, pxinfo_shp_ord_parse_first_local_pname,
     pxinfo_shp_ord_parse_cont_none},
    {"%DESTINATIONS", pxinfo_shp_ord_write_destinations, pxinfo_shp_ord_parse_first_none,
     pxinfo_shp_ord_parse_cont_destinations},
    {"%ARRIVAL-ROUTE", pxinfo_shp_ord_write_arrival_route, pxinfo_shp_ord_parse_first_none,
     pxinfo_shp_ord_parse_cont_arrival_route},
    {"%RETURN-ROUTE", pxinfo_shp_ord_write_return_route, pxinfo_shp_ord_parse_first_return_route,
     pxinfo_shp_ord_parse_cont_return_route},
    {"%DELIVERIES", pxinfo_shp_ord_write_delivery, pxinfo_shp_ord_parse_first_none, pxinfo_shp_ord_parse_cont_delivery},
    {"%FAILED-ATTEMPTS", pxinfo_shp_ord_write_failed_attempt, pxinfo_shp_ord_parse_first_none,
     pxinfo_shp_ord_parse_cont_failed_attempt},
    {"%NOTIFICATION-ADDRESSES", pxinfo_shp_ord_write_notification, pxinfo_shp_ord_parse_first_none,
     pxinfo_shp_ord_parse_cont_notification},
    {"%COMMENT", pxinfo_shp_ord_write_comment, pxinfo_shp_ord_parse_first_none, pxinfo_shp_ord_parse_cont_comment},
};

namespace {

// The state of one read.
struct ReadState {
    FILE *stream;
    const char *file_name;
    char line[PXINFO_SHP_LINE_SIZE];
    int line_number = 0;
    cl_handle_t *handle = nullptr;
    SectionParser parse_cont = nullptr;  // none before the first keyword line
    int first_continuation = 0;
};

// One line of the body (after the two header lines).
tbs_status_t read_body_line(ReadState &s, pxinfo_shp_order_t *order) {
    int position = cl_getoffset(s.handle);
    const char *word = nullptr;
    tbs_status_t status = pxinfo_shp_ord_get_token(s.handle, s.file_name, s.line_number, 0, &word);
    if (status == TBS_ST_FAILED) { return TBS_ST_FAILED; }
    int row = status == TBS_ST_OK ? keyword_row(word) : -1;
    if (row >= 0) {
        const SectionKeyword &section = shp_ord_keywords[row];
        s.parse_cont = section.parse_cont;
        status = section.parse_first(s.handle, s.line, s.file_name, s.line_number, order, 0);
        s.first_continuation = 1;
    } else {
        if (status == TBS_ST_OK) { cl_setoffset(s.handle, position); }
        if (s.parse_cont == nullptr) {
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kUnknownSection, s.file_name, s.line_number);
            return TBS_ST_NOT_FOUND;
        }
        status = s.parse_cont(s.handle, s.line, s.file_name, s.line_number, order, s.first_continuation);
        s.first_continuation = 0;
    }
    return status == TBS_ST_OK ? TBS_ST_OK : TBS_ST_NOT_FOUND;
}

// Reads every line; 0 when the whole stream is a valid order.
tbs_status_t read_lines(ReadState &s, pxinfo_shp_order_t *order) {
    for (;;) {
        tbs_status_t status = pxinfo_shp_ord_get_next_line(s.stream, s.file_name, 0, PXINFO_SHP_LINE_SIZE, s.line,
                                                           &s.line_number, &s.handle);
        if (status == TBS_ST_NOT_FOUND) {
            if (s.line_number == 1) { print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kInvalidOrder, s.file_name); }
            return s.line_number >= 2 ? TBS_ST_OK : TBS_ST_NOT_FOUND;
        }
        if (status != TBS_ST_OK) { return status; }
        if (s.line_number == 1) {
            if (strcmp(s.line, kHeaderLine) != 0 && strcmp(s.line, kOlderHeaderLine) != 0) {
                return TBS_ST_NOT_FOUND;  // not a shipping order: no message
            }
        } else if (s.line_number == 2) {
            if (strcmp(s.line, kVersionLine) != 0) {
                print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kUnknownVersion, s.file_name);
                return TBS_ST_NOT_FOUND;
            }
        } else {
            status = read_body_line(s, order);
            if (status != TBS_ST_OK) { return status; }
        }
    }
}

}  // namespace

}  // namespace shp
}  // namespace pxinfo

using namespace pxinfo::shp;

extern "C" {

tbs_status_t pxinfo_shp_read_order(FILE *stream, const char *file_name, pxinfo_shp_order_t **order) {
    if (stream == nullptr || file_name == nullptr || order == nullptr) { return TBS_ST_INVALID_ARG; }
    *order = nullptr;
    pxinfo_shp_order_t *o = nullptr;
    tbs_status_t status = pxinfo_shp_new_order(&o);
    if (status != TBS_ST_OK) { return status; }
    ReadState state{};
    state.stream = stream;
    state.file_name = file_name;
    {
        ReadIndexScope index(o);
        status = read_lines(state, o);
    }
    cl_destroy(&state.handle);
    if (status != TBS_ST_OK) {
        pxinfo_shp_destroy_order(&o);
        return status;
    }
    *order = o;
    return TBS_ST_OK;
}

tbs_status_t pxinfo_shp_ord_get_next_line(FILE *stream, const char *file_name, int skip_comments, int buffer_size,
                                          char *buffer, int *line_number, cl_handle_t **handle) {
    if (stream == nullptr || file_name == nullptr || buffer == nullptr || buffer_size < 2 || line_number == nullptr ||
        handle == nullptr) {
        return TBS_ST_INVALID_ARG;
    }
    for (;;) {
        errno = 0;
        if (fgets(buffer, buffer_size, stream) == nullptr) {
            if (!ferror(stream)) { return TBS_ST_NOT_FOUND; }
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kCannotRead, file_name, *line_number, errno_text());
            return TBS_ST_FAILED;
        }
        ++*line_number;
        size_t length = strlen(buffer);
        bool has_newline = length > 0 && buffer[length - 1] == '\n';
        if (!has_newline && length + 1 >= static_cast<size_t>(buffer_size)) {
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kLineTooLong, file_name, *line_number);
            return TBS_ST_FAILED;
        }
        if (has_newline) { buffer[length - 1] = '\0'; }
        cl_destroy(handle);
        int error = CL_E_OK;
        *handle = cl_parse_line(buffer, &error);
        if (*handle == nullptr) {
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kCannotParse, file_name, *line_number, cl_strerror(error));
            return TBS_ST_FAILED;
        }
        if (skip_comments == 0) { return TBS_ST_OK; }
        const char *word = nullptr;
        tbs_status_t status = pxinfo_shp_ord_get_token(*handle, file_name, *line_number, skip_comments, &word);
        if (status == TBS_ST_FAILED) { return status; }
        if (status == TBS_ST_OK) {
            cl_setoffset(*handle, 0);
            return TBS_ST_OK;
        }
        // A blank line or a comment: go on with the next line.
    }
}

tbs_status_t pxinfo_shp_ord_get_token(cl_handle_t *handle, const char *file_name, int line_number, int skip_comments,
                                      const char **word) {
    if (handle == nullptr || word == nullptr) { return TBS_ST_INVALID_ARG; }
    *word = cl_getarg(handle);
    if (*word != nullptr) { return (skip_comments != 0 && (*word)[0] == '#') ? TBS_ST_NOT_FOUND : TBS_ST_OK; }
    int error = cl_errno(handle);
    if (error == CL_E_OK) { return TBS_ST_NOT_FOUND; }
    print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kCannotParse, file_name, line_number, cl_strerror(error));
    return TBS_ST_FAILED;
}

}  // extern "C"
