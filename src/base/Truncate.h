// Conversion to integers that is defined for every value.
#pragma once

#include <cstdint>
#include <limits>

namespace mlh {

// The whole part of a value. Out of range the nearest int32; not-a-number gives the smallest.
inline int32_t TruncateToInt32(double value) {
    if (!(value > -2147483649.0)) return std::numeric_limits<int32_t>::min();
    if (value >= 2147483648.0) return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(value);
}

}  // namespace mlh
