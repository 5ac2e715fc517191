// A C++ program built against the installed library.
#include <pxinfo/pxinfo.h>

#include <iostream>
#include <string>

int main() {
    char line[256];
    libquentapxinfobase_sprintf_verid(line);
    std::string version(line);
    std::cout << version;
    return version.rfind("libquentapxinfobase", 0) == 0 ? 0 : 1;
}
