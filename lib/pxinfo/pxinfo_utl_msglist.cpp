// Message lists: appending in a storage area behind a hidden array header,
// printing, and copying the texts into a list of the message service.
#include "pxinfo_utl_msglist.h"

#include <algorithm>
#include <cstring>

#include "date.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_msglist_internal.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;

// Arrays of the temporary area are heap blocks: nobody else releases them.
void release_if_temporary(pxinfo::MsgArrayHeader *header) {
    if (pxinfo::msg_array_area(header) == STG_AREA_TEMP) { stg_free(header); }
}

// Makes room for one more message. On failure the list is left without an
// array, as an empty list.
tbs_status_t make_room(stg_area_t *area, pxinfo_msg_list_t &list) {
    if (list.count == 0 || list.msgs == nullptr) {
        list.count = 0;
        list.msgs = pxinfo::new_msg_array(area, 1);
        return list.msgs != nullptr ? TBS_ST_OK : TBS_ST_NO_MEMORY;
    }
    pxinfo::MsgArrayHeader *old_header = pxinfo::msg_array_header(list.msgs);
    if (list.count < old_header->capacity) { return TBS_ST_OK; }
    const uintptr_t capacity = std::max<uintptr_t>(uintptr_t{list.count} + 1, old_header->capacity * 2);
    pxinfo_msg_t *grown = pxinfo::new_msg_array(pxinfo::msg_array_area(old_header), capacity);
    if (grown != nullptr) { std::memcpy(grown, list.msgs, list.count * sizeof(pxinfo_msg_t)); }
    release_if_temporary(old_header);
    list.msgs = grown;
    return grown != nullptr ? TBS_ST_OK : TBS_ST_NO_MEMORY;
}

bool has_text(const pxinfo_msg_t &msg) { return msg.text != nullptr && msg.text[0] != '\0'; }

}  // namespace

namespace pxinfo {

pxinfo_msg_t *new_msg_array(stg_area_t *area, uintptr_t capacity) {
    if (capacity > (SIZE_MAX - sizeof(MsgArrayHeader)) / sizeof(pxinfo_msg_t)) { return nullptr; }
    auto *header =
        static_cast<MsgArrayHeader *>(stg_alloc(area, sizeof(MsgArrayHeader) + capacity * sizeof(pxinfo_msg_t)));
    if (header == nullptr) { return nullptr; }
    header->capacity = capacity;
    header->record_size = sizeof(pxinfo_msg_t);
    header->area = reinterpret_cast<uintptr_t>(area);
    return reinterpret_cast<pxinfo_msg_t *>(header + 1);
}

}  // namespace pxinfo

extern "C" {

PXINFO_API tbs_status_t pxinfo_add_msg_to_list(unsigned int severity, const char *text, stg_area_t *area,
                                               pxinfo_msg_list_t *list) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (severity > PXINFO_MSG_SEVERITY_MAX || area == nullptr || area == STG_AREA_TEMP || list == nullptr) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    tbs_status_t status = make_room(area, *list);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    char *copy = nullptr;
    if (text != nullptr) {
        copy = stg_area_strdup(area, text);
        if (copy == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    }
    pxinfo_msg_t &msg = list->msgs[list->count];
    msg.text = copy;
    msg.text_len = copy != nullptr ? static_cast<uint32_t>(std::strlen(copy)) : 0;
    msg.severity = static_cast<int32_t>(severity);
    date_get_timeval(&msg.time);
    ++list->count;
    return TBS_ST_OK;
}

PXINFO_API void pxinfo_print_msg_list(const pxinfo_msg_list_t *list, unsigned int first) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (list == nullptr || list->msgs == nullptr) { return; }
    for (uint32_t i = first; i < list->count; ++i) {
        const pxinfo_msg_t &msg = list->msgs[i];
        if (has_text(msg)) { pxinfo::print_text(msg.severity, "%s", msg.text); }
    }
}

PXINFO_API void pxinfo_msg_list_to_imsg_list(const pxinfo_msg_list_t *list, imsg_list_t *target) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (list == nullptr || target == nullptr || list->msgs == nullptr) { return; }
    for (uint32_t i = 0; i < list->count; ++i) {
        if (has_text(list->msgs[i])) { imsg_list_add_str(target, list->msgs[i].text); }
    }
}

}  // extern "C"
