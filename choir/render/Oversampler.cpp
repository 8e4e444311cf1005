#include "choir/render/Oversampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "base/Pi.h"
#include "choir/FourFloats.h"

namespace mlh::choir {

namespace {

constexpr int32_t kLong = 34;     // samples of the coarser side to each side
constexpr int32_t kShort = 10;    // the same of the second step, an even number
constexpr double kKaiser = 10.6;  // for 105 dB
constexpr int32_t kBlock = 512;   // samples of the coarser side that are filtered at a time

// The modified Bessel function of the first kind and order 0.
double Bessel(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// One side of a half-band filter of so many taps a side, at distances 1, 3, 5 ... fine samples. Both sides
// sum to 1, so that a steady signal comes out at its height.
std::vector<float> HalfBand(int32_t taps) {
    std::vector<double> wanted;
    double sum = 0.0;
    for (int32_t j = 0; j < taps; ++j) {
        const double distance = 2.0 * j + 1.0;
        const double place = distance / (2.0 * taps);
        const double window = Bessel(kKaiser * std::sqrt(1.0 - place * place)) / Bessel(kKaiser);
        const double x = 0.5 * kPi * distance;
        wanted.push_back(std::sin(x) / x * window);
        sum += 2.0 * wanted.back();
    }
    std::vector<float> values;
    for (const double tap : wanted) {
        values.push_back(static_cast<float>(tap / sum));
    }
    return values;
}

// out[n] = sum over j of taps[j] * (in[n - 1 - j] + in[n + j]): what lies midway between in[n - 1] and in[n].
void Between(const float* in, const float* taps, int32_t tapCount, int32_t count, float* out) {
    int32_t n = 0;
    for (; n + 16 <= count; n += 16) {
        FourFloats a = {}, b = {}, c = {}, d = {};
        for (int32_t j = 0; j < tapCount; ++j) {
            const float* before = in + n - 1 - j;
            const float* after = in + n + j;
            const FourFloats tap = AllFour(taps[j]);
            a += tap * (LoadFour(before) + LoadFour(after));
            b += tap * (LoadFour(before + 4) + LoadFour(after + 4));
            c += tap * (LoadFour(before + 8) + LoadFour(after + 8));
            d += tap * (LoadFour(before + 12) + LoadFour(after + 12));
        }
        StoreFour(a, out + n);
        StoreFour(b, out + n + 4);
        StoreFour(c, out + n + 8);
        StoreFour(d, out + n + 12);
    }
    for (; n < count; ++n) {
        float sum = 0.0f;
        for (int32_t j = 0; j < tapCount; ++j) {
            sum += taps[j] * (in[n - 1 - j] + in[n + j]);
        }
        out[n] = sum;
    }
}

// out[2n] = in[n], and what lies between; reads `taps` samples more to each side. At most 2 * kBlock at a
// time.
void Double(const float* in, const std::vector<float>& taps, int32_t count, float* out) {
    float between[2 * kBlock + 2 * kLong];
    Between(in + 1, taps.data(), static_cast<int32_t>(taps.size()), count, between);
    for (int32_t n = 0; n < count; ++n) {
        out[2 * n] = in[n];
        out[2 * n + 1] = between[n];
    }
}

// out[n] = half of in[2n] and half of what the odd samples say of the same place; reads 2 * taps - 1 samples
// more to each side. At most 2 * kBlock + 4 * kLong outputs at a time.
void Halve(const float* in, const std::vector<float>& taps, int32_t count, float* out) {
    constexpr int32_t kMost = 2 * kBlock + 4 * kLong;
    float odd[kMost + 2 * kLong];
    const auto reach = static_cast<int32_t>(taps.size());
    for (int32_t m = -reach; m < count + reach - 1; ++m) {
        odd[m + reach] = in[2 * m + 1];
    }
    float between[kMost];
    Between(odd + reach, taps.data(), reach, count, between);
    for (int32_t n = 0; n < count; ++n) {
        out[n] = 0.5f * (in[2 * n] + between[n]);
    }
}

}  // namespace

Oversampler::Oversampler(int factor) : factor_(factor >= 4 ? 4 : factor >= 2 ? 2 : 1), reach_(0) {
    if (factor_ >= 2) {
        long_ = HalfBand(kLong);
        reach_ = 2 * kLong - 1;
    }
    if (factor_ == 4) {
        short_ = HalfBand(kShort);
        reach_ = 2 * reach_ + 2 * kShort - 1;
    }
}

double Oversampler::Tap(int32_t distance) const {
    const auto of = [](const std::vector<float>& taps, int32_t at) {
        const auto index = static_cast<std::size_t>(std::abs(at) / 2);
        return at == 0 ? 1.0 : at % 2 == 0 || index >= taps.size() ? 0.0 : static_cast<double>(taps[index]);
    };
    if (factor_ < 4) {
        return of(long_, distance);
    }
    double sum = 0.0;
    for (int32_t k = -2 * kLong; k <= 2 * kLong; ++k) {
        sum += of(long_, k) * of(short_, distance - 2 * k);
    }
    return sum;
}

void Oversampler::Up(const float* in, int32_t count, float* out) const {
    in += margin();
    if (factor_ == 1) {
        std::copy_n(in, count, out);
        return;
    }
    for (int32_t first = 0; first < count; first += kBlock) {
        const int32_t length = std::min(kBlock, count - first);
        if (factor_ == 2) {
            Double(in + first, long_, length, out + 2 * static_cast<std::ptrdiff_t>(first));
            continue;
        }
        // The second step reads kShort samples of the first to each side.
        float twice[2 * (kBlock + kShort)];
        Double(in + first - kShort / 2, long_, length + kShort, twice);
        Double(twice + kShort, short_, 2 * length, out + 4 * static_cast<std::ptrdiff_t>(first));
    }
}

void Oversampler::Down(const float* in, int32_t count, float* out) const {
    if (factor_ == 1) {
        std::copy_n(in, count, out);
        return;
    }
    in += reach_;
    for (int32_t first = 0; first < count; first += kBlock) {
        const int32_t length = std::min(kBlock, count - first);
        if (factor_ == 2) {
            Halve(in + 2 * static_cast<std::ptrdiff_t>(first), long_, length, out + first);
            continue;
        }
        constexpr int32_t kReach = 2 * kLong - 1;  // of the second step, on the first one's samples
        float twice[2 * kBlock + 2 * kReach];
        const int32_t needed = 2 * (length - 1) + 1 + 2 * kReach;
        Halve(in + 4 * static_cast<std::ptrdiff_t>(first) - 2 * kReach, short_, needed, twice);
        Halve(twice + kReach, long_, length, out + first);
    }
}

}  // namespace mlh::choir
