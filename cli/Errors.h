// How the command fails: by an exception with a one-line message that says what to do.
#pragma once

#include <stdexcept>
#include <string>

// The user asked for something impossible or misspelt: exit status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Something went wrong while working: exit status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
