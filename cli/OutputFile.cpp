#include "OutputFile.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

#include "Errors.h"

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

extern "C" void RemoveUnfinishedFiles(int signal) {
    for (auto& slot : unfinished) {
        if (const char* path = slot.load()) unlink(path);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Keeps the suffix, by which writers choose their format.
std::string TemporaryName(const std::string& path) {
    const auto slash = path.find_last_of('/');
    const auto name = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(0, name) + ".unfinished-" + std::to_string(getpid()) + "-" + path.substr(name);
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
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
    }
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
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, RemoveUnfinishedFiles);
}
