// Memory for rows of samples, aligned for the operations of every processor level.
#pragma once

#include <cstdint>

namespace mlh {

// The alignment of every row: whole cache lines. Copies between rows a few bytes out of step with each other
// take many times as long on some processors.
inline constexpr int32_t kRowAlignment = 64;  // [bytes]

// Room for `count` floats, not cleared; an empty row has an address too. Throws std::bad_alloc where there is
// no memory, and for a negative count. To be freed by FreeAlignedFloats.
float* AllocateAlignedFloats(int32_t count);
// Frees what AllocateAlignedFloats gave and clears the pointer. Null is left alone. Returns 0.
int32_t FreeAlignedFloats(float** row);

}  // namespace mlh
