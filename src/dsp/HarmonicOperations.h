#pragma once

#include <cstdint>
#include <type_traits>

namespace mlh {

/// The loops over the bins of a spectrum that find its pitch, one form per processor level like the operation
/// table. They give the same bits at every level.
///
/// Bins are 32-bit floats without alignment; two arrays of one call don't overlap. What is not a number never
/// is the largest. Counts may be 0.
struct HarmonicOperations {
    /// The largest of n bins and `start`.
    float (*Largest)(const float* bins, int32_t n, float start);
    /// Index of the first largest bin above 0; 0 where no bin is above 0.
    int32_t (*FirstLargest)(const float* bins, int32_t n);
    /// spectrum[i] *= spectrumScale, then bins[i] = bins[i] * scale + spectrum[i] / 4.
    void (*AddQuarter)(float* bins, float scale, float* spectrum, float spectrumScale, int32_t n);
    /// product[i] = 2 b[i] * (b[2i] + 0.15) / 2 * (b[3i] + 0.15) / 3 for i < n, where b is `bins`, with 0 for
    /// b[2i] from i = n / 2 on and for b[3i] from i = n / 3 on (quotients rounded down). The harmonic product
    /// spectrum (M. R. Schroeder, 1968) with a floor, so that one missing harmonic does not cancel a bin.
    void (*HarmonicProduct)(float* product, const float* bins, int32_t n);
};

/// Level 0: plain loops that say what each operation means. The chosen set is HarmonicOps() of Dispatch.h.
namespace Generic {
std::remove_pointer_t<decltype(HarmonicOperations::Largest)> Largest;
std::remove_pointer_t<decltype(HarmonicOperations::FirstLargest)> FirstLargest;
std::remove_pointer_t<decltype(HarmonicOperations::AddQuarter)> AddQuarter;
std::remove_pointer_t<decltype(HarmonicOperations::HarmonicProduct)> HarmonicProduct;
}  // namespace Generic

inline constexpr HarmonicOperations kPlainHarmonicOperations = {
    Generic::Largest, Generic::FirstLargest, Generic::AddQuarter, Generic::HarmonicProduct};

}  // namespace mlh
