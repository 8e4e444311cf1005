// The loops of dsp/HarmonicOperations.h at the level MLH_LEVEL, bit for bit.
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Vector.h"

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
    // Four maxima run side by side, since a comparison takes longer than the next load.
    V largest[4] = {V::Broadcast(start), V::Broadcast(start), V::Broadcast(start), V::Broadcast(start)};
    int32_t i = 0;
    for (; i <= n - 4 * V::lanes; i += 4 * V::lanes) {
        for (int32_t k = 0; k < 4; ++k) largest[k] = Max(V::Load(bins + i + k * V::lanes), largest[k]);
    }
    for (; i <= n - V::lanes; i += V::lanes) largest[0] = Max(V::Load(bins + i), largest[0]);
    F1 all{start};
    for (; i < n; ++i) all = Max(F1::Load(bins + i), all);
    float lanes[V::lanes];
    Max(Max(largest[0], largest[1]), Max(largest[2], largest[3])).Store(lanes);
    for (float lane : lanes) all = Max(F1{lane}, all);
    return all.v;
}

template <>
int32_t HarmonicKernels<MLH_LEVEL>::FirstLargest(const float* bins, int32_t n) {
    const float largest = Largest(bins, n, 0.0f);
    if (!(largest > 0.0f)) return 0;
    int32_t i = 0;
    for (; i <= n - V::lanes; i += V::lanes) {
        const int32_t equal = EqualLanes(V::Load(bins + i), V::Broadcast(largest));
        if (equal != 0) return i + __builtin_ctz(static_cast<uint32_t>(equal));
    }
    while (bins[i] != largest) ++i;
    return i;
}

template <>
void HarmonicKernels<MLH_LEVEL>::AddQuarter(float* bins, float scale, float* spectrum, float spectrumScale,
                                            int32_t n) {
    const auto add = [=](auto type, int32_t i) {
        using T = decltype(type);
        const T scaled = T::Load(spectrum + i) * T::Broadcast(spectrumScale);
        scaled.Store(spectrum + i);
        (T::Load(bins + i) * T::Broadcast(scale) + T::Broadcast(0.25f) * scaled).Store(bins + i);
    };
    int32_t i = 0;
    for (; i <= n - V::lanes; i += V::lanes) add(V{}, i);
    for (; i < n; ++i) add(F1{}, i);
}

template <>
void HarmonicKernels<MLH_LEVEL>::HarmonicProduct(float* product, const float* bins, int32_t n) {
    // Bins `from` to `to` - 1, of which the first `harmonics` harmonics lie below n.
    const auto fill = [=](int32_t from, int32_t to, auto harmonics) {
        const auto at = [=](auto type, int32_t i) {
            using T = decltype(type);
            const T zero = T::Broadcast(0.0f);
            const T second = harmonics < 2 ? zero : LoadEverySecond(bins + 2 * i, type);
            const T third = harmonics < 3 ? zero : LoadEveryThird(bins + 3 * i, type);
            Product(T::Load(bins + i), second, third).Store(product + i);
        };
        int32_t i = from;
        for (; i <= to - V::lanes; i += V::lanes) at(V{}, i);
        for (; i < to; ++i) at(F1{}, i);
    };
    fill(0, n / 3, Constant<3>{});
    fill(n / 3, n / 2, Constant<2>{});
    fill(n / 2, n, Constant<1>{});
}
