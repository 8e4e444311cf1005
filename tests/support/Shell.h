// Runs a command line and keeps what it prints.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

struct ShellResult {
    int status;          // exit status, -1 if it did not exit by itself
    std::string output;  // standard output and standard error
};

inline ShellResult RunShell(const std::string& command) {
    ShellResult result{-1, ""};
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.output.append(buffer, n);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    return result;
}
