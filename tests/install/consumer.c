/* A C program built against the installed library: prints the version line
 * and a uuid through the public API. */
#include <pxinfo/pxinfo.h>
#include <stdio.h>

int main(void) {
    char line[256];
    char text[TBS_UUID_STR_SIZE];
    tbs_uuid_t uuid;
    if (libquentapxinfobase_sprintf_verid(line) <= 0) return 1;
    if (tbs_str_to_uuid("01234567-89ab-cdef-0123-456789abcdef", &uuid) != TBS_ST_OK) return 1;
    printf("%s%s\n", line, tbs_uuid_to_str(&uuid, text));
    return 0;
}
