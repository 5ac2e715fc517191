/* Shipping orders: the record of one shipment of a data file to a set of
 * destination hosts, its line-oriented text file, reading it with a check on
 * every line, writing it with a forced flush, and recording deliveries and
 * failed attempts against the destinations.
 *
 * Every part of an order lives in the order's own storage area; callers read
 * (and may set) the fields directly and release the whole order with
 * pxinfo_shp_destroy_order. Lists are circular doubly linked lists of the
 * base services (llist.h): walk from head.first until LLIST_D_END(&head).
 * Callers may also build an order themselves and link elements with
 * llist_d_insert: every operation works on what the lists hold. */
#ifndef PXINFO_SHP_ORDER_H
#define PXINFO_SHP_ORDER_H

#include <stdio.h>

#include <pxinfo/cl.h>
#include <pxinfo/llist.h>
#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Host names are kept in 64-byte arrays: at most 63 characters. */
#define PXINFO_SHP_HOST_SIZE 64

/* The reader's line buffer: a line holds at most 1022 characters and its newline. */
#define PXINFO_SHP_LINE_SIZE 1024

/* A destination host and its delivery state. */
typedef struct pxinfo_shp_destination {
    char host[PXINFO_SHP_HOST_SIZE];
    uint32_t failed; /* set by a "C" failure */
    uint32_t delivery_time;
    char *delivery_string;                     /* null while not delivered */
    char delivery_route[PXINFO_SHP_HOST_SIZE]; /* empty while not delivered */
    llist_d_link_t link;
} pxinfo_shp_destination_t;

/* A hop of the arrival or return route. */
typedef struct pxinfo_shp_hop {
    char host[PXINFO_SHP_HOST_SIZE];
    uint32_t time;
    char *time_string;
    llist_d_link_t link;
} pxinfo_shp_hop_t;

/* A failed delivery attempt. */
typedef struct pxinfo_shp_failure {
    uint32_t type; /* 1 for a "C" failure, 0 for an "R" failure */
    uint32_t time;
    char *time_string;
    char route[PXINFO_SHP_HOST_SIZE];
    char destination[PXINFO_SHP_HOST_SIZE];
    llist_d_link_t link;
} pxinfo_shp_failure_t;

/* A notification address or a comment line. */
typedef struct pxinfo_shp_text {
    char *text;
    llist_d_link_t link;
} pxinfo_shp_text_t;

typedef struct pxinfo_shp_order {
    stg_area_t *area;      /* holds the record and all its parts */
    tbs_uuid_t identifier; /* TBS_UUID_NULL until set */
    uint32_t creation_time;
    char *creation_string;
    uint32_t expiration_time;
    char *expiration_string; /* null: no expiration */
    char *storage_class;     /* null: not written */
    char *original_data_path;
    char *local_data_path;
    uint32_t destination_count;
    llist_d_head_t destinations; /* of pxinfo_shp_destination_t */
    uint32_t arrival_count;
    llist_d_head_t arrival_route; /* of pxinfo_shp_hop_t */
    uint32_t has_return_route;    /* the return-route section is written even without hops */
    uint32_t return_count;
    llist_d_head_t return_route; /* of pxinfo_shp_hop_t */
    uint32_t failure_count;
    llist_d_head_t failed_attempts; /* of pxinfo_shp_failure_t */
    uint32_t notification_count;
    llist_d_head_t notification_addresses; /* of pxinfo_shp_text_t */
    uint32_t comment_count;
    llist_d_head_t comment_lines; /* of pxinfo_shp_text_t */
} pxinfo_shp_order_t;

/* Creating and destroying orders. pxinfo_shp_new_order gives 0 with an empty
 * order, or TBS_ST_FAILED (no message) when storage is exhausted: *order is
 * then unchanged if the area could not be created, else null.
 * pxinfo_shp_destroy_order releases the order, if any, sets *order to null
 * and returns 0. */
PXINFO_API tbs_status_t pxinfo_shp_new_order(pxinfo_shp_order_t **order);
PXINFO_API tbs_status_t pxinfo_shp_destroy_order(pxinfo_shp_order_t **order);

/* Adding elements. Each returns 0, or TBS_ST_FAILED after printing a message
 * of the "pxinfo_shp_order" catalog that names file_name. Strings are copied
 * into the order's area; host names must be shorter than 64 characters.
 *
 * pxinfo_shp_create_destination stores the new element, or the existing one
 * for a host already listed, in *destination; an existing host is an error
 * (duplicate destination) only when report_duplicate is set. */
PXINFO_API tbs_status_t pxinfo_shp_create_destination(pxinfo_shp_order_t *order, const char *file_name,
                                                      const char *host, int report_duplicate,
                                                      pxinfo_shp_destination_t **destination);
PXINFO_API tbs_status_t pxinfo_shp_create_arrival(pxinfo_shp_order_t *order, const char *file_name, const char *host,
                                                  uint32_t time, const char *time_string);
/* Also sets has_return_route. */
PXINFO_API tbs_status_t pxinfo_shp_create_return(pxinfo_shp_order_t *order, const char *file_name, const char *host,
                                                 uint32_t time, const char *time_string);
PXINFO_API tbs_status_t pxinfo_shp_create_notification(pxinfo_shp_order_t *order, const char *file_name,
                                                       const char *address);
PXINFO_API tbs_status_t pxinfo_shp_create_comment(pxinfo_shp_order_t *order, const char *file_name, const char *text);

/* Records the delivery of a destination through route. Refused for an
 * unknown destination, a second delivery, and a destination with a "C"
 * failure. */
PXINFO_API tbs_status_t pxinfo_shp_record_delivery(pxinfo_shp_order_t *order, const char *file_name, const char *route,
                                                   const char *destination, uint32_t time, const char *time_string);
/* Records a failed attempt, of type "C" (type non-zero; marks the destination
 * failed) or "R" (type 0). Without a return route the destination must be
 * known, and a failure for a delivered destination is refused unless it is
 * an "R" failure and accept_r_after_delivery is set. With a return route
 * every failure is recorded as it is. */
PXINFO_API tbs_status_t pxinfo_shp_record_failure(pxinfo_shp_order_t *order, const char *file_name, uint32_t type,
                                                  const char *route, const char *destination, uint32_t time,
                                                  const char *time_string, int accept_r_after_delivery);

/* Writes the order to stream at its position and forces it to stable
 * storage. 0, or TBS_ST_FAILED after a message: a refused write, or data
 * that cannot be forced to storage. The stream is neither closed nor rewound. */
PXINFO_API tbs_status_t pxinfo_shp_write_order(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order);

/* Reads an order from stream into a new record in *order. 0 on success;
 * TBS_ST_NOT_FOUND when the stream holds no valid shipping order (no message
 * when it is empty or its first line is not an order header; else the
 * message of the first fault); TBS_ST_FAILED on a read or tokenizer error, a
 * line too long, or when no order could be created. On failure *order is
 * null and nothing is left allocated. */
PXINFO_API tbs_status_t pxinfo_shp_read_order(FILE *stream, const char *file_name, pxinfo_shp_order_t **order);

/* Reads the next line into buffer (newline removed), adds 1 to *line_number,
 * and replaces *handle (destroying the previous one) with a tokenizer handle
 * of the line positioned at its first word. With skip_comments set, blank
 * lines and lines whose first word begins with "#" are passed over. 0; or
 * TBS_ST_NOT_FOUND at end of input (no message); or TBS_ST_FAILED after a
 * message (read error, line too long, tokenizer error). */
PXINFO_API tbs_status_t pxinfo_shp_ord_get_next_line(FILE *stream, const char *file_name, int skip_comments,
                                                     int buffer_size, char *buffer, int *line_number,
                                                     cl_handle_t **handle);
/* The next word of the line in *word (owned by the handle). 0; or
 * TBS_ST_NOT_FOUND when the line has no further word, or with skip_comments
 * set when the word begins with "#"; or TBS_ST_FAILED after a message. */
PXINFO_API tbs_status_t pxinfo_shp_ord_get_token(cl_handle_t *handle, const char *file_name, int line_number,
                                                 int skip_comments, const char **word);

TBS_EXTERN_C_END

#endif
