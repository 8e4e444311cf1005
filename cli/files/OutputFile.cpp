#include "files/OutputFile.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>

#include "Errors.h"
#include "files/Paths.h"

namespace mlh::cli {

namespace {

namespace fs = std::filesystem;

// The names of unfinished files, where a signal handler can read them: it may not allocate or lock.
constexpr int kMaxUnfinished = 64;
std::atomic<const char*> unfinished[kMaxUnfinished];

void Register(const char* path) {
    for (auto& slot : unfinished) {
        const char* free = nullptr;
        if (slot.compare_exchange_strong(free, path)) {
            return;
        }
    }
}

void Unregister(const char* path) {
    for (auto& slot : unfinished) {
        const char* expected = path;
        if (slot.compare_exchange_strong(expected, nullptr)) {
            return;
        }
    }
}

#ifdef _WIN32
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGBREAK};
constexpr bool kOpenFilesStay = true;
#else
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};  // the last: "mlh ... | head" ends early
constexpr bool kOpenFilesStay = false;
#endif

// Where open files cannot be removed, whoever writes them stops and closes them first.
std::atomic<bool> interrupted{false};

extern "C" void RemoveUnfinishedFiles(int signal) {
    bool left = false;
    for (auto& slot : unfinished) {
        if (const char* path = slot.load()) {
            left |= unlink(path) != 0 && errno != ENOENT;
        }
    }
    if (kOpenFilesStay && left) {
        std::signal(signal, RemoveUnfinishedFiles);  // that system forgets its handler with each signal
        interrupted = true;
        return;
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// What a name leads to, links followed.
fs::path ResolvedPath(const std::string& path) {
    std::error_code error;
    const fs::path whole = fs::absolute(PathOf(path), error);
    const fs::path resolved = fs::weakly_canonical(whole, error);
    return error ? whole : resolved;
}

// Something that is there and can only be written to, not replaced.
bool IsDevice(const std::string& path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(PathOf(path), ignored);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

// The last bytes of a name, whole characters of it.
std::string EndOfName(const std::string& name, std::size_t bytes) {
    std::size_t start = name.size() - std::min(name.size(), bytes);
    while (start < name.size() && (name[start] & 0xC0) == 0x80) {
        ++start;
    }
    return name.substr(start);
}

// Keeps the suffix, by which writers choose their format, and no more than file systems take.
std::string TemporaryName(const fs::path& place) {
    constexpr std::size_t kLongestName = 255;
    const std::string front = ".unfinished-" + std::to_string(getpid()) + "-";
    const std::string name = front + EndOfName(NameOf(place.filename()), kLongestName - front.size());
    return NameOf(place.parent_path() / PathOf(name));
}

}  // namespace

OutputFile::OutputFile(std::string path)
    : path_(std::move(path)),
      inPlace_(IsDevice(path_)),
      temporaryPath_(inPlace_ ? path_ : TemporaryName(ResolvedPath(path_))) {
    if (!inPlace_) {
        Register(temporaryPath_.c_str());
    }
    errno = 0;
}

OutputFile::~OutputFile() {
    if (inPlace_) {
        return;
    }
    if (!committed_) {
        unlink(temporaryPath_.c_str());
    }
    Unregister(temporaryPath_.c_str());
}

void OutputFile::Commit() {
    ThrowIfInterrupted();
    if (inPlace_) {
        return;
    }
    std::error_code error;
    fs::rename(PathOf(temporaryPath_), ResolvedPath(path_), error);
    if (error) {
        throw Failure("cannot write " + path_ + ": " + error.message());
    }
    committed_ = true;
}

Failure OutputFile::CannotWrite() const {
    const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
    return Failure("cannot write " + path_ + reason);
}

bool IsWrittenOnce(const std::string& path) { return IsDevice(path); }

void CheckOutputs(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
    std::set<fs::path> taken;
    for (const std::string& input : inputs) {
        if (!input.empty()) {
            taken.insert(ResolvedPath(input));
        }
    }
    for (const std::string& output : outputs) {
        if (output.empty() || IsDevice(output)) {
            continue;
        }
        if (output == "-") {
            throw UsageError("'-' is no file name; for standard output write /dev/stdout");
        }
        const fs::path place = ResolvedPath(output);
        std::error_code ignored;
        if (fs::is_directory(place, ignored)) {
            throw Failure("cannot write " + output + ": it is a folder");
        }
        if (!fs::is_directory(place.parent_path(), ignored)) {
            throw Failure("cannot write " + output + ": there is no folder " + NameOf(place.parent_path()));
        }
        if (!taken.insert(place).second) {
            throw UsageError(output + ": this file is read or written already; choose another name");
        }
    }
}

void WriteTextFile(const std::string& path, const std::string& text) {
    OutputFile file(path);
    std::ofstream out(file.temporaryPath(), std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        throw file.CannotWrite();
    }
    file.Commit();
}

void RemoveUnfinishedFilesOnSignals() {
    for (const int signal : kSignals) {
        // Who is started deaf to a signal, by nohup or in the background of a script, stays so.
        if (std::signal(signal, RemoveUnfinishedFiles) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}

void ThrowIfInterrupted() {
    if (interrupted) {
        throw Failure("interrupted");
    }
}

}  // namespace mlh::cli
