// The version line: the library name padded to 33 columns, the version and
// the build date, both supplied by the build.
#include "pxinfo_frame_internal.h"
#include "pxinfo_msg.h"

namespace {
constexpr const char *kVersionFormat = "%-*s %s (%s)\n";
constexpr int kNameWidth = 33;
constexpr const char *kLibraryName = "libquentapxinfobase";
}  // namespace

extern "C" {

int libquentapxinfobase_sprintf_verid(char *buffer) {
    return imsg_sprintf(buffer, kVersionFormat, -1, kNameWidth, kLibraryName, PXINFO_VERSION_STRING, PXINFO_BUILD_DATE);
}

int libquentapxinfobase_print_verid(void) {
    return pxinfo::print_text(IMSG_SEV_OUTPUT, kVersionFormat, kNameWidth, kLibraryName, PXINFO_VERSION_STRING,
                              PXINFO_BUILD_DATE);
}

}  // extern "C"
