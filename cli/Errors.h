// The command fails as the library does that it is a guest of: by UsageError with exit status 2, by Failure
// with exit status 1.
#pragma once

#include "choir/Errors.h"

namespace mlh::cli {

using namespace choir;  // the command's own names stand beside those of its one library

}  // namespace mlh::cli
