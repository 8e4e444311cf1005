#pragma once

#include <cstdint>
#include <memory>

#include "dsp/Dispatch.h"

namespace mlh {

/// The memory of VecAlloc and VecFree of the operation table.

/// VecAlloc of the levels that promise this alignment: 8, 16 or 32 bytes. It is whole cache lines in fact.
template <int32_t alignment>
float* VecAllocAligned(int32_t count);
int32_t VecFree(float** vec);

/// A vector from VecAlloc with an owner.
struct VecDeleter {
    void operator()(float* vec) const { VecFree(&vec); }
};
using VecPointer = std::unique_ptr<float[], VecDeleter>;

/// `count` floats, cleared.
inline VecPointer MakeVec(int32_t count) {
    VecPointer vec(Ops().VecAlloc(count));
    Ops().VecZero(vec.get(), count);
    return vec;
}

}  // namespace mlh
