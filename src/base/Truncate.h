// Conversions to integers that are defined for every value.
#pragma once

#include <cstdint>
#include <limits>

namespace mlh {

// The whole part of a value. Out of range the nearest int32; NaN gives the smallest.
inline int32_t TruncateToInt32(double value) {
    if (!(value > -2147483649.0)) {
        return std::numeric_limits<int32_t>::min();
    }
    if (value >= 2147483648.0) {
        return std::numeric_limits<int32_t>::max();
    }
    return static_cast<int32_t>(value);
}

// The same, but 0 for NaN and out of range.
inline int32_t TruncateToInt32OrZero(float value) {
    constexpr float kLimit = 2147483648.0f;
    return value >= -kLimit && value < kLimit ? static_cast<int32_t>(value) : 0;
}

}  // namespace mlh
