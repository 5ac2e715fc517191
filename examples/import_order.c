/* Prints update packets in the order in which they must be imported.
 *
 *     import_order PACKET...
 *
 * The dependency comparison is not a total order (packets of unrelated
 * replicas are not ordered), so the packets are sorted by insertion: each goes
 * before the first one it must precede, and unordered packets keep the order
 * in which they were given. */
#include <pxinfo/pxinfo.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char **argv) {
    int count = argc - 1;
    stg_area_t *area;
    pxinfo_packet_info_t *packets;
    const pxinfo_packet_info_t **order;
    int ok, i, at;
    if (count < 1) {
        fprintf(stderr, "usage: import_order PACKET...\n");
        return 2;
    }
    area = stg_create_area(0);
    packets = calloc((size_t)count, sizeof *packets);
    order = calloc((size_t)count, sizeof *order);
    ok = area != NULL && packets != NULL && order != NULL;
    if (!ok) { fprintf(stderr, "import_order: out of memory\n"); }
    for (i = 0; ok && i < count; ++i) {
        /* The library prints why a file is not readable; the call's status
         * covers bad arguments, the info's status the file itself. */
        ok = pxinfo_get_packet_info(argv[i + 1], area, i, &packets[i]) == TBS_ST_OK && packets[i].status == 0 &&
             packets[i].component_type == PXINFO_COMPONENT_VAULT;
        if (!ok) {
            fprintf(stderr, "%s: not a readable packet\n", argv[i + 1]);
            break;
        }
        for (at = 0; at < i && pxinfo_compare_pkt_dependencies(&packets[i], order[at]) >= 0; ++at) { continue; }
        memmove(&order[at + 1], &order[at], (size_t)(i - at) * sizeof *order);
        order[at] = &packets[i];
    }
    for (i = 0; ok && i < count; ++i) { printf("%s\n", order[i]->pkt_name); }
    free(order);
    free(packets);
    stg_delete_area(&area);
    return ok ? 0 : 1;
}
