/* A C program built against an installed tree: prints the version line and a
 * uuid through the public API, and checks that the version macros agree with
 * the version line and with PACKAGE_VERSION (the version of the pkg-config
 * file or CMake package it was built with). */
#include <pxinfo/pxinfo.h>
#include <stdio.h>
#include <string.h>

/* Only include/ is on the path: the headers' own generic names stay out. */
#ifdef __has_include
#if __has_include(<stg.h>) || __has_include(<pxinfo.h>)
#error "include/pxinfo is on the include path"
#endif
#endif

#define TEXT(x) #x
#define NUMBER_TEXT(x) TEXT(x)
#define VERSION_FROM_NUMBERS \
    NUMBER_TEXT(PXINFO_VERSION_MAJOR) "." NUMBER_TEXT(PXINFO_VERSION_MINOR) "." NUMBER_TEXT(PXINFO_VERSION_PATCH)

static int same(const char *what, const char *found) {
    if (strcmp(found, PXINFO_VERSION_STRING) == 0) { return 1; }
    fprintf(stderr, "version: PXINFO_VERSION_STRING \"%s\", %s \"%s\"\n", PXINFO_VERSION_STRING, what, found);
    return 0;
}

int main(void) {
    char line[256];
    char line_version[64];
    char text[TBS_UUID_STR_SIZE];
    tbs_uuid_t uuid;
    if (libquentapxinfobase_sprintf_verid(line) <= 0 || sscanf(line, "%*s %63s", line_version) != 1) { return 1; }
    if (!same("the version line", line_version) || !same("the numbers", VERSION_FROM_NUMBERS) ||
        !same("the package", PACKAGE_VERSION)) {
        return 1;
    }
    if (PXINFO_VERSION_NUMBER != PXINFO_VERSION_MAJOR * 10000 + PXINFO_VERSION_MINOR * 100 + PXINFO_VERSION_PATCH) {
        return 1;
    }
    if (tbs_str_to_uuid("01234567-89ab-cdef-0123-456789abcdef", &uuid) != TBS_ST_OK) { return 1; }
    printf("%s%s\n", line, tbs_uuid_to_str(&uuid, text));
    return 0;
}
