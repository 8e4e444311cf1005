#include "files/InputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "Errors.h"
#include "files/Paths.h"

namespace mlh::cli {

void CheckInput(const std::string& path) {
    std::error_code ignored;
    if (path == "-") {
        throw UsageError("'-' is no file name; standard input is not read");
    }
    if (std::filesystem::is_directory(PathOf(path), ignored)) {
        throw Failure("cannot read " + path + ": it is a folder");
    }
}

bool IsPipe(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_fifo(PathOf(path), ignored);
}

std::ifstream OpenInput(const std::string& path) {
    CheckInput(path);
    std::ifstream file(PathOf(path), std::ios::binary);
    if (!file) {
        throw Failure("cannot read " + path + ": " + std::strerror(errno));
    }
    return file;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file = OpenInput(path);
    std::string content((std::istreambuf_iterator<char>(file)), {});
    if (file.bad()) {
        throw Failure("cannot read " + path);
    }
    return content;
}

}  // namespace mlh::cli
