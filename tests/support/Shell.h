// Runs a command line and keeps what it prints.
#pragma once

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <process.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#else
#include <sys/wait.h>
#endif

namespace mlh {

struct ShellResult {
    int status;          // exit status, -1 if it did not exit by itself
    std::string output;  // standard output and standard error
};

#ifdef _WIN32

// Through a file: a pipe ends only with the last program that holds it, and Wine's first use of fonts starts
// one that outlives the command and waits for the caller to end. It keeps the file open too, so each call has
// its own.
inline ShellResult RunShell(std::string command) {
    if (command.rfind("cd ", 0) == 0) {
        command.replace(0, 3, "cd /d ");  // to another drive, too
    }
    std::replace(command.begin(), command.end(), '\'', '"');  // the quotes that its shell knows
    static int calls = 0;
    const std::string name = "mlh-shell-" + std::to_string(_getpid()) + "-" + std::to_string(++calls);
    const auto file = std::filesystem::temp_directory_path() / name;
    const int status = std::system((command + " >" + file.string() + " 2>&1").c_str());
    std::ifstream printed(file);
    ShellResult result{status, std::string(std::istreambuf_iterator<char>(printed), {})};
    printed.close();
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    return result;
}

#else

inline ShellResult RunShell(const std::string& command) {
    ShellResult result{-1, ""};
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        result.output.append(buffer, n);
    }
    const int status = pclose(pipe);
    if (WIFEXITED(status)) {
        result.status = WEXITSTATUS(status);
    }
    return result;
}

#endif

}  // namespace mlh
