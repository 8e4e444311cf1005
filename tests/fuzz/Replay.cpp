// Runs a fuzz target over files, or over all files of folders, where there is no fuzzing engine.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/Bytes.h"

namespace mlh {}  // namespace mlh

using namespace mlh;

int main(int count, char** arguments) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < count; ++i) {
        if (!fs::is_directory(arguments[i])) {
            files.emplace_back(arguments[i]);
        } else {
            for (const auto& entry : fs::directory_iterator(arguments[i])) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
        if (!in) {
            std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
            return 1;
        }
        std::printf("%s\n", file.string().c_str());
        std::fflush(stdout);  // the last line names the culprit of a crash
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
