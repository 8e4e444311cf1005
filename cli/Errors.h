// The command fails as the library does that it is a guest of: by UsageError with exit status 2, by Failure
// with exit status 1.
#pragma once

#include <string>

#include "choir/Errors.h"

namespace mlh::cli {

using namespace choir;  // the command's own names stand beside those of its one library

// What the library says of a setting, said of the option of the same name.
template <class Work>
auto WithDashes(Work work) {
    try {
        return work();
    } catch (const UsageError& error) {
        throw UsageError(std::string("--") + error.what());
    }
}

}  // namespace mlh::cli
