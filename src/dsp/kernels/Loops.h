// The ways through an array: in whole vectors as far as they go, then number by number.
#pragma once

#include "dsp/kernels/Vector.h"

namespace mlh {

namespace {

// element(V{}, i) for V::lanes numbers from i on, element(F1{}, i) for one; all of `from` to `to` - 1.
template <class Element>
inline void ForEach(int32_t from, int32_t to, Element element) {
    int32_t i = from;
    for (; i <= to - V::lanes; i += V::lanes) {
        element(V{}, i);
    }
    for (; i < to; ++i) {
        element(F1{}, i);
    }
}

// The extreme of all values and `start`; what is not a number loses. Four extremes run side by side, since a
// comparison takes longer than the next load.
template <class Operation>
inline float Extreme(const float* src, int32_t n, float start, Operation operation) {
    V extremes[4] = {V::Broadcast(start), V::Broadcast(start), V::Broadcast(start), V::Broadcast(start)};
    int32_t i = 0;
    for (; i <= n - 4 * V::lanes; i += 4 * V::lanes) {
        for (int32_t k = 0; k < 4; ++k) {
            extremes[k] = operation(V::Load(src + i + k * V::lanes), extremes[k]);
        }
    }
    for (; i <= n - V::lanes; i += V::lanes) {
        extremes[0] = operation(V::Load(src + i), extremes[0]);
    }
    F1 extreme{start};
    for (; i < n; ++i) {
        extreme = operation(F1::Load(src + i), extreme);
    }
    float lanes[V::lanes];
    operation(operation(extremes[0], extremes[1]), operation(extremes[2], extremes[3])).Store(lanes);
    for (float lane : lanes) {
        extreme = operation(F1{lane}, extreme);
    }
    return extreme.v;
}

// The first index with this value, or 0.
inline int32_t FirstIndexOf(const float* src, int32_t n, float value) {
    int32_t i = 0;
    for (; i <= n - V::lanes; i += V::lanes) {
        const int32_t equal = EqualLanes(V::Load(src + i), V::Broadcast(value));
        if (equal != 0) {
            return i + __builtin_ctz(static_cast<uint32_t>(equal));
        }
    }
    for (; i < n; ++i) {
        if (src[i] == value) {
            return i;
        }
    }
    return 0;
}

}  // namespace

}  // namespace mlh
