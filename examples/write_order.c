/* Writes the shipping order of a packet for two destination hosts, then reads
 * it back with the library's checking reader.
 *
 *     write_order ORDER-FILE
 */
#include <pxinfo/pxinfo.h>
#include <stdio.h>

/* Fills the order; on failure the library has printed why, naming path. */
static int fill_order(pxinfo_shp_order_t *order, const char *path) {
    static const char *const hosts[] = {"dub.example.net", "tyo.example.net"};
    size_t i;
    /* Strings of the record live in the order's own area. */
    order->creation_time = 1763800000;
    order->creation_string = stg_area_strdup(order->area, "2025-11-22T08:26:40Z");
    order->original_data_path = stg_area_strdup(order->area, "/var/opt/quenta/export/boston-1.pkt");
    order->local_data_path = stg_area_strdup(order->area, "/var/opt/quenta/import/boston-1.pkt");
    if (!order->creation_string || !order->original_data_path || !order->local_data_path) { return 0; }
    if (tbs_str_to_uuid("0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9", &order->identifier) != TBS_ST_OK) { return 0; }
    for (i = 0; i < sizeof hosts / sizeof hosts[0]; ++i) {
        if (pxinfo_shp_create_destination(order, path, hosts[i], 1, NULL) != TBS_ST_OK) { return 0; }
    }
    return pxinfo_shp_create_comment(order, path, "written by the write_order example") == TBS_ST_OK;
}

int main(int argc, char **argv) {
    pxinfo_shp_order_t *order = NULL;
    pxinfo_shp_order_t *read_back = NULL;
    FILE *file;
    int ok;
    if (argc != 2) {
        fprintf(stderr, "usage: write_order ORDER-FILE\n");
        return 2;
    }
    if (pxinfo_shp_new_order(&order) != TBS_ST_OK) { return 1; }
    /* The writer forces the file to stable storage; closing stays ours. */
    file = fopen(argv[1], "w");
    if (file == NULL) { perror(argv[1]); }
    ok = file != NULL && fill_order(order, argv[1]) && pxinfo_shp_write_order(file, argv[1], order) == TBS_ST_OK;
    if (file != NULL && fclose(file) != 0) { ok = 0; }
    pxinfo_shp_destroy_order(&order);
    if (!ok) { return 1; }

    file = fopen(argv[1], "r");
    if (file == NULL) { perror(argv[1]); }
    ok = file != NULL && pxinfo_shp_read_order(file, argv[1], &read_back) == TBS_ST_OK;
    if (ok) { printf("%s: a shipping order with %u destinations\n", argv[1], (unsigned)read_back->destination_count); }
    pxinfo_shp_destroy_order(&read_back);
    if (file != NULL) { fclose(file); }
    return ok ? 0 : 1;
}
