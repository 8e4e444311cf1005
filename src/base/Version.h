// The two version tables that the library answers with.
#pragma once

#include <cstdint>

namespace mlh {

inline constexpr int32_t kCoreVersion[4] = {2, 2, 3, 20942};
// The fourth number is the build, which the version text leaves out.
inline constexpr int32_t kAddOnVersion[4] = {1, 0, 4, 21195};

}  // namespace mlh
