// Functions of the C library in 32 bits with the same bits everywhere: computed in 64 bits and narrowed,
// since the libraries' own 32-bit functions differ from each other in the last bit.
#pragma once

#include <cmath>
#include <cstdint>

namespace mlh::Narrowed {

inline float Sin(float x) { return static_cast<float>(std::sin(static_cast<double>(x))); }
inline float Cos(float x) { return static_cast<float>(std::cos(static_cast<double>(x))); }
inline float Tan(float x) { return static_cast<float>(std::tan(static_cast<double>(x))); }
inline float Exp(float x) { return static_cast<float>(std::exp(static_cast<double>(x))); }
inline float Log(float x) { return static_cast<float>(std::log(static_cast<double>(x))); }
inline float Power(float base, int32_t exponent) {
    return static_cast<float>(std::pow(static_cast<double>(base), static_cast<double>(exponent)));
}

}  // namespace mlh::Narrowed
