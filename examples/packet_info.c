/* Prints the information of packet files: their kind, version, source,
 * sequence number and targets.
 *
 *     packet_info FILE...
 *
 * Exit status 0 when every file is a readable packet, 1 otherwise. */
#include <pxinfo/pxinfo.h>
#include <stdio.h>

static void print_info(const pxinfo_packet_info_t *info) {
    char text[PXINFO_SELECTOR_STR_SIZE];
    const pxinfo_packet_source_info_t *source = &info->sources[0];
    uint32_t i;
    printf("%s: %s packet, version %d.%d\n", info->pkt_name,
           source->packet_type == PXINFO_PACKET_CREATION ? "creation" : "update", (int)info->major_version,
           (int)info->minor_version);
    if (pxinfo_selector_to_str(&source->source, text) != NULL) { printf("  source %s\n", text); }
    printf("  sequence number %u\n", (unsigned)info->pkt_seq_num);
    for (i = 0; i < info->target_count; ++i) {
        if (pxinfo_selector_to_str(&info->targets[i].replica, text) != NULL) {
            printf("  target %s \"%s\"\n", text, info->targets[i].name ? info->targets[i].name : "");
        }
    }
}

/* 1 when path is a packet whose information was printed. */
static int show_packet(const char *path) {
    /* Everything the library hands back lives in this area, released at once. */
    stg_area_t *area = stg_create_area(0);
    pxinfo_packet_info_t info;
    tbs_status_t status;
    int shown = 0;
    if (area == NULL) {
        fprintf(stderr, "%s: out of memory\n", path);
        return 0;
    }
    status = pxinfo_get_packet_info(path, area, 0, &info);
    if (status != TBS_ST_OK) {
        fprintf(stderr, "%s: %s\n", path, tbs_strerror(status));
    } else if (info.status != 0) {
        fprintf(stderr, "%s: not readable: %s\n", path, tbs_strerror((tbs_status_t)info.status));
    } else if (info.component_type != PXINFO_COMPONENT_VAULT) {
        fprintf(stderr, "%s: not a packet\n", path);
    } else {
        print_info(&info);
        shown = 1;
    }
    stg_delete_area(&area);
    return shown;
}

int main(int argc, char **argv) {
    int all_shown = 1;
    int i;
    if (argc < 2) {
        fprintf(stderr, "usage: packet_info FILE...\n");
        return 2;
    }
    for (i = 1; i < argc; ++i) {
        if (!show_packet(argv[i])) { all_shown = 0; }
    }
    return all_shown ? 0 : 1;
}
