#pragma once

#include <cstdint>

namespace mlh {

/// Fills the window of a CqrtfFFT_If (its types are listed there). A type out of 0 to 7 changes nothing.
void FillWindow(float* window, int32_t n, int32_t windowType);

}  // namespace mlh
