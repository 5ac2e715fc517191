#include "test_support.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace pxtest {

CapturedMessages::CapturedMessages(int verbosity, const char *trace_components) {
    imsg_set_sink(&CapturedMessages::sink, this);
    imsg_set_desired_verbosity(verbosity);
    imsg_set_trace_components(trace_components);
}

CapturedMessages::~CapturedMessages() {
    imsg_set_sink(nullptr, nullptr);
    imsg_set_desired_verbosity(0);
    imsg_set_trace_components(nullptr);
}

void CapturedMessages::sink(void *ctx, int severity, const char *component, const char *text) {
    static_cast<CapturedMessages *>(ctx)->lines_.push_back(
        PrintedLine{severity, component != nullptr ? component : "", text != nullptr ? text : ""});
}

std::vector<PrintedLine> CapturedMessages::with_severity(int severity) const {
    std::vector<PrintedLine> selected;
    for (const PrintedLine &line : lines_) {
        if (line.severity == severity) { selected.push_back(line); }
    }
    return selected;
}

size_t CapturedMessages::problems() const {
    return with_severity(IMSG_SEV_WARNING).size() + with_severity(IMSG_SEV_ERROR).size();
}

std::string CapturedMessages::dump() const {
    std::string all;
    for (const PrintedLine &line : lines_) {
        all += "[" + std::to_string(line.severity) + " " + line.component + "] " + line.text;
    }
    return all;
}

size_t sweep_allocation_failures(const std::function<tbs_status_t()> &op,
                                 const std::function<void(tbs_status_t, unsigned long)> &check) {
    return sweep_allocation_failures(SweptOperation{nullptr, op, check, nullptr});
}

size_t sweep_allocation_failures(const SweptOperation &operation) {
    // A generous bound: no operation of the library makes this many allocations
    // in a test, so reaching it means the injection never took effect.
    constexpr unsigned long kMaxPoints = 100000;
    for (unsigned long nth = 1; nth < kMaxPoints; ++nth) {
        unsigned long live_before = stg_live_block_count();
        if (operation.setup) { operation.setup(); }
        unsigned long count_before = stg_allocation_count();
        stg_fail_allocation(nth);
        tbs_status_t status = operation.op();
        bool reached = stg_allocation_count() - count_before >= nth;
        stg_fail_allocation(0);
        if (reached && operation.check) { operation.check(status, nth); }
        if (operation.teardown) { operation.teardown(); }
        if (!reached) { return nth - 1; }
        EXPECT_EQ(live_before, stg_live_block_count()) << "blocks leaked with allocation " << nth << " failing";
    }
    ADD_FAILURE() << "allocation sweep did not end";
    return kMaxPoints;
}

namespace {
std::string &temp_dir() {
    static std::string dir = [] {
        char pattern[] = "/tmp/pxinfo-test-XXXXXX";
        const char *made = mkdtemp(pattern);
        std::string path = made != nullptr ? made : "/tmp";
        if (made != nullptr) {
            static std::string cleanup_path = path;
            std::atexit([] {
                std::string command = "rm -rf '" + cleanup_path + "'";
                if (std::system(command.c_str()) != 0) { std::perror("cleanup"); }
            });
        }
        return path;
    }();
    return dir;
}
}  // namespace

std::string temp_path(const std::string &name) { return temp_dir() + "/" + name; }

std::vector<unsigned char> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_file(const std::string &path, const std::vector<unsigned char> &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

namespace {
std::string unescaped(const std::string &field) {
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        const char c = field[i];
        if (c == '{' && field.find('*', i) != std::string::npos && field.find('}', i) != std::string::npos) {
            const size_t star = field.find('*', i);
            out.append(std::stoul(field.substr(i + 1, star - i - 1)), field[star + 1]);
            i = field.find('}', i);
        } else if (c == '\\' && i + 1 < field.size()) {
            const char e = field[++i];
            if (e == 'x') {
                out += static_cast<char>(std::stoi(field.substr(i + 1, 2), nullptr, 16));
                i += 2;
            } else {
                out += e == 'n' ? '\n' : e == 't' ? '\t' : e == 'r' ? '\r' : e;
            }
        } else {
            out += c;
        }
    }
    return out;
}
}  // namespace

std::vector<std::vector<std::string>> data_rows(const std::string &name) {
    std::ifstream in(std::string(PXINFO_SOURCE_DIR) + "/tests/data/" + name);
    EXPECT_TRUE(in.good()) << name;
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') { continue; }
        std::vector<std::string> fields;
        for (size_t start = 0;;) {
            const size_t tab = line.find('\t', start);
            fields.push_back(unescaped(line.substr(start, tab - start)));
            if (tab == std::string::npos) { break; }
            start = tab + 1;
        }
        rows.push_back(fields);
    }
    return rows;
}

}  // namespace pxtest
