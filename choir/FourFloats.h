// Four floats side by side, for the few inner loops of this library. Written out, since compilers turn such
// loops around and shuffle. Each lane is computed as a float by itself would be, so that all systems have the
// same bits.
#pragma once

#include <cstring>

namespace mlh::choir {

using FourFloats = float __attribute__((vector_size(16)));

inline FourFloats LoadFour(const float* from) {
    FourFloats four;
    std::memcpy(&four, from, sizeof four);
    return four;
}

inline void StoreFour(FourFloats four, float* to) { std::memcpy(to, &four, sizeof four); }

inline FourFloats AllFour(float value) { return FourFloats{value, value, value, value}; }

}  // namespace mlh::choir
