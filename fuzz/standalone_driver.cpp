// Replays corpus files through a fuzz target without libFuzzer, so that every
// corpus also runs as a regression test with any compiler. Arguments are
// files or directories (every regular file below them, in name order).
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void collect(const std::string &path, std::vector<std::string> &files) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) { return; }
    if (S_ISREG(info.st_mode)) {
        files.push_back(path);
        return;
    }
    if (!S_ISDIR(info.st_mode)) { return; }
    DIR *dir = ::opendir(path.c_str());
    if (dir == nullptr) { return; }
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") { names.push_back(name); }
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string &name : names) { collect(path + "/" + name, files); }
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) { collect(argv[i], files); }
    if (files.empty()) {
        std::fprintf(stderr, "no corpus files given\n");
        return 1;
    }
    for (const std::string &file : files) {
        std::ifstream in(file, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu corpus files replayed\n", files.size());
    return 0;
}
