// The version, in the one place where it is written: CMake reads the macros for packages and resources, the
// C interface makes its texts of the tables.
#pragma once

#include <cstdint>

#define MLH_VERSION_MAJOR 1
#define MLH_VERSION_MINOR 0
#define MLH_VERSION_PATCH 4
#define MLH_VERSION_BUILD 21195  // which texts leave out

#define MLH_CORE_VERSION_MAJOR 2
#define MLH_CORE_VERSION_MINOR 2
#define MLH_CORE_VERSION_PATCH 3
#define MLH_CORE_VERSION_BUILD 20942

namespace mlh {

inline constexpr int32_t kAddOnVersion[4] = {MLH_VERSION_MAJOR, MLH_VERSION_MINOR, MLH_VERSION_PATCH,
                                             MLH_VERSION_BUILD};
inline constexpr int32_t kCoreVersion[4] = {MLH_CORE_VERSION_MAJOR, MLH_CORE_VERSION_MINOR,
                                            MLH_CORE_VERSION_PATCH, MLH_CORE_VERSION_BUILD};

}  // namespace mlh
