#include "dsp/VecMemory.h"

#include "base/AlignedMemory.h"

namespace mlh {

template <int32_t alignment>
float* VecAllocAligned(int32_t count) {
    static_assert(kRowAlignment % alignment == 0);
    return AllocateAlignedFloats(count);
}

template float* VecAllocAligned<8>(int32_t);
template float* VecAllocAligned<16>(int32_t);
template float* VecAllocAligned<32>(int32_t);

int32_t VecFree(float** vec) { return FreeAlignedFloats(vec); }

}  // namespace mlh
