// The loops of dsp/HarmonicOperations.h at the level MLH_LEVEL, bit for bit.
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Loops.h"

namespace mlh {

namespace {

// 2 b * (b2 + 0.15) / 2 * (b3 + 0.15) / 3
template <class T>
T Product(T bin, T second, T third) {
    const T floor = T::Broadcast(0.15f);
    return T::Broadcast(2.0f) * bin * ((second + floor) / T::Broadcast(2.0f)) *
           ((third + floor) / T::Broadcast(3.0f));
}

template <int32_t value>
struct Constant {
    constexpr operator int32_t() const { return value; }
};

}  // namespace

template <>
float HarmonicKernels<MLH_LEVEL>::Largest(const float* bins, int32_t n, float start) {
    return Extreme(bins, n, start, [](auto a, auto b) { return Max(a, b); });
}

template <>
int32_t HarmonicKernels<MLH_LEVEL>::FirstLargest(const float* bins, int32_t n) {
    const float largest = Largest(bins, n, 0.0f);
    return largest > 0.0f ? FirstIndexOf(bins, n, largest) : 0;
}

template <>
void HarmonicKernels<MLH_LEVEL>::AddQuarter(float* bins, float scale, float* spectrum, float spectrumScale,
                                            int32_t n) {
    ForEach(0, n, [=](auto type, int32_t i) {
        using T = decltype(type);
        const T scaled = T::Load(spectrum + i) * T::Broadcast(spectrumScale);
        scaled.Store(spectrum + i);
        (T::Load(bins + i) * T::Broadcast(scale) + T::Broadcast(0.25f) * scaled).Store(bins + i);
    });
}

template <>
void HarmonicKernels<MLH_LEVEL>::HarmonicProduct(float* product, const float* bins, int32_t n) {
    // Bins `from` to `to` - 1, of which the first `harmonics` harmonics lie below n.
    const auto fill = [=](int32_t from, int32_t to, auto harmonics) {
        ForEach(from, to, [=](auto type, int32_t i) {
            using T = decltype(type);
            const T zero = T::Broadcast(0.0f);
            const T second = harmonics < 2 ? zero : LoadEverySecond(bins + 2 * i, type);
            const T third = harmonics < 3 ? zero : LoadEveryThird(bins + 3 * i, type);
            Product(T::Load(bins + i), second, third).Store(product + i);
        });
    };
    fill(0, n / 3, Constant<3>{});
    fill(n / 3, n / 2, Constant<2>{});
    fill(n / 2, n, Constant<1>{});
}

}  // namespace mlh
