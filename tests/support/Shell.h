// Runs a command line and keeps what it prints.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

#ifndef _WIN32
#include <sys/wait.h>
#endif

struct ShellResult {
    int status;          // exit status, -1 if it did not exit by itself
    std::string output;  // standard output and standard error
};

inline ShellResult RunShell(std::string command) {
    ShellResult result{-1, ""};
#ifdef _WIN32
    if (command.rfind("cd ", 0) == 0) command.replace(0, 3, "cd /d ");  // to another drive, too
    std::replace(command.begin(), command.end(), '\'', '"');            // the quotes that its shell knows
#endif
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.output.append(buffer, n);
    const int status = pclose(pipe);
#ifdef _WIN32
    result.status = status;
#else
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
#endif
    return result;
}
