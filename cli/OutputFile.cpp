#include "OutputFile.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "Errors.h"
#include "Paths.h"

namespace {

// The names of unfinished files, where a signal handler can read them: it may not allocate or lock.
constexpr int kMaxUnfinished = 64;
std::atomic<const char*> unfinished[kMaxUnfinished];

void Register(const char* path) {
    for (auto& slot : unfinished) {
        const char* free = nullptr;
        if (slot.compare_exchange_strong(free, path)) return;
    }
}

void Unregister(const char* path) {
    for (auto& slot : unfinished) {
        const char* expected = path;
        if (slot.compare_exchange_strong(expected, nullptr)) return;
    }
}

#ifdef _WIN32
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGBREAK};
constexpr bool kOpenFilesStay = true;
#else
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr bool kOpenFilesStay = false;
#endif

// Where open files cannot be removed, whoever writes them stops and closes them first.
std::atomic<bool> interrupted{false};

extern "C" void RemoveUnfinishedFiles(int signal) {
    bool left = false;
    for (auto& slot : unfinished) {
        if (const char* path = slot.load()) left |= unlink(path) != 0 && errno != ENOENT;
    }
    if (kOpenFilesStay && left) {
        interrupted = true;
        return;
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Keeps the suffix, by which writers choose their format.
std::string TemporaryName(const std::string& path) {
    const std::filesystem::path place = PathOf(path);
    const std::string name = ".unfinished-" + std::to_string(getpid()) + "-" + NameOf(place.filename());
    return NameOf(place.parent_path() / PathOf(name));
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)), temporaryPath_(TemporaryName(path_)) {
    Register(temporaryPath_.c_str());
}

OutputFile::~OutputFile() {
    if (!committed_) unlink(temporaryPath_.c_str());
    Unregister(temporaryPath_.c_str());
}

void OutputFile::Commit() {
    std::error_code error;
    std::filesystem::rename(PathOf(temporaryPath_), PathOf(path_), error);
    if (error) throw Failure("cannot write " + path_ + ": " + error.message());
    committed_ = true;
}

void WriteTextFile(const std::string& path, const std::string& text) {
    OutputFile file(path);
    std::ofstream out(file.temporaryPath(), std::ios::binary);
    out << text;
    out.close();
    if (!out) throw Failure("cannot write " + path + ": " + std::strerror(errno));
    file.Commit();
}

void RemoveUnfinishedFilesOnSignals() {
    for (const int signal : kSignals) std::signal(signal, RemoveUnfinishedFiles);
}

void ThrowIfInterrupted() {
    if (interrupted) throw Failure("interrupted");
}
