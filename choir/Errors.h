// How the library fails: by an exception with a one-line message that says what to do. The C functions turn
// them into codes.
#pragma once

#include <stdexcept>
#include <string>

namespace mlh::choir {

// The caller asked for something impossible or misspelt.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Something went wrong while working.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A progress callback asked for the end of the work.
struct Cancelled : Failure {
    Cancelled() : Failure("cancelled") {}
};

}  // namespace mlh::choir
