// The hidden header of a message array built by pxinfo_add_msg_to_list: three
// words just before the first message. Never installed.
#ifndef PXINFO_UTL_MSGLIST_INTERNAL_H
#define PXINFO_UTL_MSGLIST_INTERNAL_H

#include <cstdint>

#include "pxinfo_xdr.h"
#include "stg.h"

namespace pxinfo {

struct MsgArrayHeader {
    uintptr_t capacity;     // messages the array can hold
    uintptr_t record_size;  // size of one message record
    uintptr_t area;         // the stg_area_t * the array came from
};

static_assert(sizeof(MsgArrayHeader) % alignof(pxinfo_msg_t) == 0, "the messages must stay aligned after the header");

inline MsgArrayHeader *msg_array_header(pxinfo_msg_t *msgs) { return reinterpret_cast<MsgArrayHeader *>(msgs) - 1; }

inline stg_area_t *msg_array_area(const MsgArrayHeader *header) { return reinterpret_cast<stg_area_t *>(header->area); }

// A new array of capacity messages from area, with its header filled in;
// null when the area cannot supply it.
pxinfo_msg_t *new_msg_array(stg_area_t *area, uintptr_t capacity);

}  // namespace pxinfo

#endif
