// Words to the user beside results.
#pragma once

#include <cstdio>
#include <string>

#include "Errors.h"
#include "choir/Text.h"

namespace mlh::cli {

// One line on standard error.
inline void Say(const std::string& message) { std::fprintf(stderr, "mlh: %s\n", OneLine(message).c_str()); }

}  // namespace mlh::cli
