// What the components of signal processing and analysis answer; 0 is success.
#pragma once

#include <cstdint>

namespace mlh {

inline constexpr int32_t kOutOfMemory = 1000001;
inline constexpr int32_t kWrongState = 5000002;  // too early, too late, or nothing there to work on
inline constexpr int32_t kBadArgument = 5000003;
inline constexpr int32_t kRateTooLow = 5000004;

}  // namespace mlh
