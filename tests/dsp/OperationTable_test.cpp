#include "dsp/OperationTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "LevelMain.h"
#include "dsp/VecMemory.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kPi = 3.14159265358979323846;

// Starts of a vector beside the alignment of the widest kernels, in floats.
constexpr size_t kShifts = 8;

// A vector that starts so many floats after an aligned address and has guards on either side.
class Guarded {
  public:
    Guarded(const std::vector<float>& values, size_t shift) : size_(values.size()) {
        constexpr size_t aligned = kShifts * sizeof(float);
        storage_.assign(3 * kShifts + size_ + kGuards, kGuard);
        const size_t past = reinterpret_cast<uintptr_t>(storage_.data()) % aligned / sizeof(float);
        start_ = 2 * kShifts - past + shift % kShifts;
        std::copy(values.begin(), values.end(), Data());
    }
    float* Data() { return storage_.data() + start_; }
    std::vector<float> Values() {
        for (size_t i = 0; i < storage_.size(); ++i) {
            if (i < start_ || i >= start_ + size_) {
                EXPECT_EQ(storage_[i], kGuard) << "at " << i;
            }
        }
        return {Data(), Data() + size_};
    }

  private:
    static constexpr size_t kGuards = 8;
    static constexpr float kGuard = -321.25f;
    size_t size_;
    size_t start_;
    std::vector<float> storage_;
};

// Every tail of every vector width, with and without whole rounds of the unrolled loops before it.
std::vector<int32_t> Counts() {
    std::vector<int32_t> counts;
    for (int32_t n = 1; n <= 70; ++n) {
        counts.push_back(n);
    }
    for (int32_t n : {127, 128, 129, 1000, 1023}) {
        counts.push_back(n);
    }
    return counts;
}

std::vector<float> Noise(int32_t n, unsigned seed, float low = -2.0f, float high = 2.0f) {
    std::vector<float> x = mlh::Noise(static_cast<size_t>(n), seed);
    for (float& v : x) {
        v = low + (high - low) * 0.5f * (v + 1.0f);
    }
    return x;
}

// Noise with some values that take other paths through the arithmetic.
std::vector<float> Mixed(int32_t n, unsigned seed) {
    const float special[] = {0.0f, -0.0f, kInfinity, -kInfinity, kNaN, 1e-42f, -3e38f, 8388609.0f, -0.5f};
    std::vector<float> x = Noise(n, seed);
    std::mt19937 random(seed + 1);
    for (float& v : x) {
        const unsigned pick = random() % 32;
        if (pick < 9) {
            v = special[pick];
        }
    }
    return x;
}

void ExpectSameBits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(want[i])) {
            EXPECT_TRUE(std::isnan(got[i])) << "at " << i << " of " << got.size();
        } else {
            EXPECT_EQ(std::memcmp(&got[i], &want[i], sizeof(float)), 0)
                << got[i] << " for " << want[i] << " at " << i << " of " << got.size();
        }
    }
}

// dst[i] = want(dst[i])
void CheckInPlace(const std::function<int32_t(float*, int32_t)>& operation,
                  const std::function<float(float)>& want) {
    for (int32_t n : Counts()) {
        for (size_t shift = 0; shift < kShifts; ++shift) {
            const std::vector<float> before = Mixed(n, static_cast<unsigned>(n));
            Guarded dst(before, shift);
            EXPECT_EQ(operation(dst.Data(), n), 0);
            std::vector<float> wanted = before;
            for (float& v : wanted) {
                v = want(v);
            }
            ExpectSameBits(dst.Values(), wanted);
        }
    }
}

// dst[i] = want(dst[i], src[i]), with two vectors and with one.
void CheckTwo(const std::function<int32_t(float*, const float*, int32_t)>& operation,
              const std::function<float(float, float)>& want) {
    for (int32_t n : Counts()) {
        const std::vector<float> a = Mixed(n, static_cast<unsigned>(n)),
                                 b = Mixed(n, static_cast<unsigned>(n) + 7);
        std::vector<float> wanted(a.size()), wantedOfOne(a.size());
        for (size_t i = 0; i < a.size(); ++i) {
            wanted[i] = want(a[i], b[i]);
            wantedOfOne[i] = want(a[i], a[i]);
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(a, shift), src(b, 3 * shift + 1);
            EXPECT_EQ(operation(dst.Data(), src.Data(), n), 0);
            ExpectSameBits(dst.Values(), wanted);
            ExpectSameBits(src.Values(), b);
            Guarded one(a, shift);
            operation(one.Data(), one.Data(), n);
            ExpectSameBits(one.Values(), wantedOfOne);
        }
    }
}

// --- Memory

TEST(OperationTableTest, VectorsAreAlignedForTheLevel) {
    const uintptr_t alignment = CurrentLevel() == 6 ? 32 : CurrentLevel() >= 3 ? 16 : 8;
    for (int32_t n : {0, 1, 2, 3, 5, 8, 17, 1000}) {
        float* vec = Ops().VecAlloc(n);
        ASSERT_NE(vec, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(vec) % alignment, 0u) << n;
        for (int32_t i = 0; i < n; ++i) {
            vec[i] = 1.0f;
        }
        EXPECT_EQ(Ops().VecFree(&vec), 0);
        EXPECT_EQ(vec, nullptr);
    }
}

TEST(OperationTableTest, FreeingANullPointerIsHarmless) {
    float* vec = nullptr;
    EXPECT_EQ(Ops().VecFree(&vec), 0);
    EXPECT_EQ(vec, nullptr);
}

TEST(OperationTableTest, FailedAllocationThrowsBadAllocation) {
    try {
        Ops().VecAlloc(-1);
        FAIL();
    } catch (const std::bad_alloc& error) {
        EXPECT_STREQ(error.what(), "bad allocation");
    }
}

TEST(OperationTableTest, ZeroClearsExactlyItsCountAndAllowsNone) {
    CheckInPlace([](float* dst, int32_t n) { return Ops().VecZero(dst, n); }, [](float) { return 0.0f; });
    Guarded none({}, 0);
    EXPECT_EQ(Ops().VecZero(none.Data(), 0), 0);
    none.Values();
}

// --- Statistics

TEST(OperationTableTest, MaxIndexKeepsTheFirstOfEqualsAtKernelLevelsAndTheLastAtLevelZero) {
    float max = 0.0f;
    int32_t index = -1;
    const float three[] = {1.0f, 3.0f, 3.0f};
    Ops().VecMaxIndex(three, &max, &index, 3);
    EXPECT_EQ(max, 3.0f);
    EXPECT_EQ(index, CurrentLevel() == 0 ? 2 : 1);

    for (int32_t n : Counts()) {
        for (int32_t first = 0; first < n; first += 3) {
            const int32_t last = first + (n - 1 - first) / 2;
            Guarded src(Noise(n, 5), static_cast<size_t>(first));
            src.Data()[first] = src.Data()[last] = 4.0f;
            const std::vector<float> before = src.Values();
            EXPECT_EQ(Ops().VecMaxIndex(src.Data(), &max, &index, n), 0);
            ExpectSameBits(src.Values(), before);
            EXPECT_EQ(max, 4.0f);
            EXPECT_EQ(index, CurrentLevel() == 0 ? last : first) << n;
        }
    }
}

TEST(OperationTableTest, MaxIndexOfValuesBelowItsStart) {
    const std::vector<float> low(20, -2e37f);
    float max = 0.0f;
    int32_t index = -1;
    Ops().VecMaxIndex(low.data(), &max, &index, 20);
    EXPECT_EQ(max, CurrentLevel() == 0 ? -1e37f : -2e37f);
    EXPECT_EQ(index, 0);
}

TEST(OperationTableTest, ExtremesPassOverWhatIsNotANumber) {
    for (int32_t n : {3, 9, 40}) {
        for (int32_t where = 0; where < n; ++where) {
            std::vector<float> src(static_cast<size_t>(n), kNaN);
            src[static_cast<size_t>(where)] = -7.0f;
            float value = 0.0f;
            int32_t index = -1;
            Ops().VecMaxIndex(src.data(), &value, &index, n);
            EXPECT_EQ(value, -7.0f);
            EXPECT_EQ(index, where);
            Ops().VecMinIndex(src.data(), &value, &index, n);
            EXPECT_EQ(value, -7.0f);
            EXPECT_EQ(index, where);
        }
        const std::vector<float> none(static_cast<size_t>(n), kNaN);
        float value = 0.0f;
        int32_t index = -1;
        Ops().VecMaxIndex(none.data(), &value, &index, n);
        EXPECT_EQ(index, 0);
    }
}

TEST(OperationTableTest, MinIndexKeepsTheFirstOfEquals) {
    float min = 0.0f;
    int32_t index = -1;
    const float three[] = {3.0f, 1.0f, 1.0f};
    Ops().VecMinIndex(three, &min, &index, 3);
    EXPECT_EQ(min, 1.0f);
    EXPECT_EQ(index, 1);

    for (int32_t n : Counts()) {
        for (int32_t first = 0; first < n; first += 3) {
            Guarded src(Noise(n, 6), static_cast<size_t>(first));
            src.Data()[first] = src.Data()[first + (n - 1 - first) / 2] = -4.0f;
            const std::vector<float> before = src.Values();
            EXPECT_EQ(Ops().VecMinIndex(src.Data(), &min, &index, n), 0);
            ExpectSameBits(src.Values(), before);
            EXPECT_EQ(min, -4.0f);
            EXPECT_EQ(index, first) << n;
        }
    }
}

TEST(OperationTableTest, MinIndexStartsFromABound) {
    std::vector<float> high(20, 2e37f);
    high[5] = 1e37f;
    float min = 0.0f;
    int32_t index = -1;
    Ops().VecMinIndex(high.data(), &min, &index, 20);
    EXPECT_EQ(min, 1e37f);
    EXPECT_EQ(index, 0);
}

double PlainMean(const std::vector<float>& x) {
    double sum = 0.0;
    for (float v : x) {
        sum += static_cast<double>(v);
    }
    return sum / static_cast<double>(x.size());
}

// Sums of n values below 2 in 32 bits: n roundings of at most 2^-24 of a partial sum below 2 n.
double SumBound(int32_t n) { return 2.0 * n * n * std::ldexp(1.0, -24); }

TEST(OperationTableTest, MeanAndDeviation) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n));
        double squares = 0.0;
        for (float v : x) {
            squares += std::pow(static_cast<double>(v) - PlainMean(x), 2.0);
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded src(x, shift);
            float mean = 0.0f, dev = 0.0f;
            EXPECT_EQ(Ops().VecMean(src.Data(), &mean, n), 0);
            EXPECT_NEAR(mean, PlainMean(x), SumBound(n) / n);
            if (n == 1) {
                continue;
            }
            EXPECT_EQ(Ops().VecStdDev(src.Data(), &dev, n), 0);
            EXPECT_NEAR(dev, std::sqrt(squares / (n - 1)), SumBound(n) / (n - 1) + 1e-6);
            ExpectSameBits(src.Values(), x);
        }
    }
}

TEST(OperationTableTest, DeviationOfOneValueIsNotFiniteAndNoError) {
    const float x = 3.0f;
    float dev = 0.0f;
    EXPECT_EQ(Ops().VecStdDev(&x, &dev, 1), 0);
    EXPECT_FALSE(std::isfinite(dev));
}

TEST(OperationTableTest, DeviationIgnoresALargeOffset) {
    const std::vector<float> x = {10000.0f, 10001.0f, 10002.0f, 10003.0f, 10004.0f};
    float dev = 0.0f;
    Ops().VecStdDev(x.data(), &dev, 5);
    EXPECT_NEAR(dev, std::sqrt(2.5), 1e-6);
}

TEST(OperationTableTest, Dot) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n), -1.0f, 1.0f),
                                 y = Noise(n, 3, -1.0f, 1.0f);
        double sum = 0.0, squares = 0.0;
        for (size_t i = 0; i < x.size(); ++i) {
            sum += static_cast<double>(x[i]) * static_cast<double>(y[i]);
            squares += static_cast<double>(x[i]) * static_cast<double>(x[i]);
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded a(x, shift), b(y, 3 * shift + 1);
            float dot = 0.0f, square = 0.0f;
            EXPECT_EQ(Ops().VecDot(a.Data(), b.Data(), &dot, n), 0);
            EXPECT_NEAR(dot, sum, SumBound(n) / 2);
            EXPECT_EQ(Ops().VecDot(a.Data(), a.Data(), &square, n), 0);
            EXPECT_NEAR(square, squares, SumBound(n) / 2);
            ExpectSameBits(a.Values(), x);
            ExpectSameBits(b.Values(), y);
        }
    }
}

// The order that all levels share, written once more: element i of a whole block of 32 goes into lane i % 8
// of row i / 8 % 4, the whole rows after the blocks into row 0; then the rows, the lanes and the rest.
float SumInOrder(const std::vector<float>& terms) {
    const size_t n = terms.size(), blocks = n / 32 * 32, rows = n / 8 * 8;
    float lanes[4][8] = {};
    for (size_t i = 0; i < blocks; ++i) {
        lanes[i / 8 % 4][i % 8] += terms[i];
    }
    for (size_t i = blocks; i < rows; ++i) {
        lanes[0][i % 8] += terms[i];
    }
    float sum = 0.0f;
    for (size_t l = 0; l < 8; ++l) {
        sum += (lanes[0][l] + lanes[1][l]) + (lanes[2][l] + lanes[3][l]);
    }
    for (size_t i = rows; i < n; ++i) {
        sum += terms[i];
    }
    return sum;
}

TEST(OperationTableTest, SumsHaveTheSameBitsAtAllLevels) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n)), y = Noise(n, 3);
        Guarded a(x, static_cast<size_t>(n % 4)), b(y, static_cast<size_t>(n / 4 % 4));
        std::vector<float> products(x.size()), squares(x.size());
        float dot = 0.0f, mean = 0.0f, deviation = 0.0f;
        Ops().VecDot(a.Data(), b.Data(), &dot, n);
        for (size_t i = 0; i < x.size(); ++i) {
            products[i] = x[i] * y[i];
        }
        EXPECT_EQ(dot, SumInOrder(products)) << n;

        Ops().VecMean(a.Data(), &mean, n);
        const float plainMean = SumInOrder(x) / static_cast<float>(n);
        EXPECT_EQ(mean, plainMean) << n;

        if (n == 1) {
            continue;
        }
        Ops().VecStdDev(a.Data(), &deviation, n);
        for (size_t i = 0; i < x.size(); ++i) {
            squares[i] = (x[i] - plainMean) * (x[i] - plainMean);
        }
        EXPECT_EQ(deviation, std::sqrt(SumInOrder(squares) / static_cast<float>(n - 1))) << n;
    }
}

// --- Arithmetic

TEST(OperationTableTest, MaxInPlace) {
    CheckTwo([](float* d, const float* s, int32_t n) { return Ops().VecMaxInPlace(d, s, n); },
             [](float d, float s) { return s > d ? s : d; });
}

TEST(OperationTableTest, Add) {
    CheckTwo([](float* d, const float* s, int32_t n) { return Ops().VecAdd(d, s, n); },
             [](float d, float s) { return d + s; });
}

TEST(OperationTableTest, Sub) {
    CheckTwo([](float* d, const float* s, int32_t n) { return Ops().VecSub(d, s, n); },
             [](float d, float s) { return d - s; });
}

TEST(OperationTableTest, Mul) {
    CheckTwo([](float* d, const float* s, int32_t n) { return Ops().VecMul(d, s, n); },
             [](float d, float s) { return d * s; });
}

TEST(OperationTableTest, Div) {
    CheckTwo([](float* d, const float* s, int32_t n) { return Ops().VecDiv(d, s, n); },
             [](float d, float s) { return d / s; });
}

TEST(OperationTableTest, AddConst) {
    CheckInPlace([](float* d, int32_t n) { return Ops().VecAddConst(d, 0.3f, n); },
                 [](float d) { return d + 0.3f; });
}

TEST(OperationTableTest, MulConst) {
    CheckInPlace([](float* d, int32_t n) { return Ops().VecMulConst(d, -1.7f, n); },
                 [](float d) { return d * -1.7f; });
}

TEST(OperationTableTest, AbsClearsTheSignBitOfEveryValue) {
    CheckInPlace([](float* d, int32_t n) { return Ops().VecAbs(d, n); },
                 [](float d) { return std::fabs(d); });
    float negativeNaN[5];
    for (float& v : negativeNaN) {
        v = std::copysign(kNaN, -1.0f);
    }
    Ops().VecAbs(negativeNaN, 5);
    for (float v : negativeNaN) {
        EXPECT_FALSE(std::signbit(v));
    }
}

TEST(OperationTableTest, SqrtIsExact) {
    CheckInPlace([](float* d, int32_t n) { return Ops().VecSqrt(d, n); },
                 [](float d) { return std::sqrt(d); });
}

TEST(OperationTableTest, Exp) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n), -20.0f, 20.0f);
        Guarded dst(x, static_cast<size_t>(n));
        EXPECT_EQ(Ops().VecExp(dst.Data(), n), 0);
        const std::vector<float> got = dst.Values();
        for (size_t i = 0; i < x.size(); ++i) {
            const double wanted = std::exp(static_cast<double>(x[i]));
            EXPECT_NEAR(got[i], wanted, 2e-7 * wanted);  // two units in the last place
        }
    }
}

TEST(OperationTableTest, ThresholdLogTakesTheLogarithmOfTheRaisedValue) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n), -1.0f, 3.0f);
        Guarded dst(x, static_cast<size_t>(n));
        EXPECT_EQ(Ops().VecThresholdLog(dst.Data(), 0.5f, 1e-6f, n), 0);
        const std::vector<float> got = dst.Values();
        for (size_t i = 0; i < x.size(); ++i) {
            const double wanted =
                std::log(x[i] < 0.5f ? static_cast<double>(1e-6f) : static_cast<double>(x[i]));
            EXPECT_NEAR(got[i], wanted, 2e-7 * std::fabs(wanted) + 1e-10);
        }
    }
    float atTheLevel = 0.5f;
    Ops().VecThresholdLog(&atTheLevel, 0.5f, 1.0f, 1);
    EXPECT_NEAR(atTheLevel, std::log(0.5), 1e-7);
}

TEST(OperationTableTest, ThresholdsReplaceWhatIsStrictlyBeyond) {
    CheckInPlace([](float* d, int32_t n) { return Ops().VecThresholdLow(d, -0.5f, 9.0f, n); },
                 [](float d) { return d < -0.5f ? 9.0f : d; });
    CheckInPlace([](float* d, int32_t n) { return Ops().VecThresholdHigh(d, -0.5f, 9.0f, n); },
                 [](float d) { return d > -0.5f ? 9.0f : d; });
}

TEST(OperationTableTest, MulAcc) {
    for (int32_t n : Counts()) {
        const std::vector<float> d = Mixed(n, 1), x = Mixed(n, 2), y = Mixed(n, 3);
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(d, shift), a(x, shift + 1), b(y, shift + 3);
            EXPECT_EQ(Ops().VecMulAcc(dst.Data(), a.Data(), b.Data(), n), 0);
            std::vector<float> wanted = d;
            for (size_t i = 0; i < d.size(); ++i) {
                wanted[i] = d[i] + x[i] * y[i];
            }
            ExpectSameBits(dst.Values(), wanted);
            ExpectSameBits(a.Values(), x);
            ExpectSameBits(b.Values(), y);
            Guarded one(d, shift);
            EXPECT_EQ(Ops().VecMulAcc(one.Data(), one.Data(), one.Data(), n), 0);
            for (size_t i = 0; i < d.size(); ++i) {
                wanted[i] = d[i] + d[i] * d[i];
            }
            ExpectSameBits(one.Values(), wanted);
        }
    }
}

TEST(OperationTableTest, WrapPhaseKeepsTheAngleAndItsBounds) {
    for (int32_t n : Counts()) {
        std::vector<float> x = Noise(n, static_cast<unsigned>(n), -50.0f, 50.0f);
        x[0] = 0.0f;
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded src(x, shift), dst(std::vector<float>(x.size()), shift + 2);
            EXPECT_EQ(Ops().VecWrapPhase(dst.Data(), src.Data(), n), 0);
            const std::vector<float> got = dst.Values();
            for (size_t i = 0; i < x.size(); ++i) {
                // Rounding of angles up to 53 in 32 bits.
                EXPECT_NEAR(
                    std::remainder(static_cast<double>(got[i]) - static_cast<double>(x[i]), 2.0 * kPi), 0.0,
                    2e-5);
                EXPECT_LE(std::fabs(got[i]), kPi + 2e-5);
            }
            Guarded one(x, shift);
            Ops().VecWrapPhase(one.Data(), one.Data(), n);
            ExpectSameBits(one.Values(), got);
        }
    }
}

TEST(OperationTableTest, WrapPhaseTakesTheUpperEndOfTheCircle) {
    const float pi = 3.14159265358979f;
    const float src[] = {pi, -pi, 0.0f, 1.0f, -1.0f};
    float dst[5];
    Ops().VecWrapPhase(dst, src, 5);
    EXPECT_NEAR(dst[0], pi, 1e-6);
    EXPECT_NEAR(dst[1], pi, 1e-6);
    EXPECT_NEAR(dst[2], 0.0f, 1e-6);
    EXPECT_NEAR(dst[3], 1.0f, 1e-6);
    EXPECT_NEAR(dst[4], -1.0f, 1e-6);
}

TEST(OperationTableTest, SinCos) {
    for (int32_t n : Counts()) {
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n), -10.0f, 10.0f);
        const std::vector<float> empty(x.size());
        const auto shift = static_cast<size_t>(n);
        Guarded src(x, shift), sine(empty, shift + 1), cosine(empty, shift + 3);
        EXPECT_EQ(Ops().VecSinCos(sine.Data(), cosine.Data(), src.Data(), n), 0);
        const std::vector<float> s = sine.Values(), c = cosine.Values();
        for (size_t i = 0; i < x.size(); ++i) {
            EXPECT_NEAR(s[i], std::sin(static_cast<double>(x[i])), 1.2e-7);
            EXPECT_NEAR(c[i], std::cos(static_cast<double>(x[i])), 1.2e-7);
        }
        ExpectSameBits(src.Values(), x);
        Guarded becomesSine(x, shift), becomesCosine(x, shift);
        Ops().VecSinCos(becomesSine.Data(), cosine.Data(), becomesSine.Data(), n);
        Ops().VecSinCos(sine.Data(), becomesCosine.Data(), becomesCosine.Data(), n);
        ExpectSameBits(becomesSine.Values(), s);
        ExpectSameBits(cosine.Values(), c);
        ExpectSameBits(sine.Values(), s);
        ExpectSameBits(becomesCosine.Values(), c);
    }
}

// --- Packed spectra

// Whole spectra of n floats, n even.
std::vector<int32_t> SpectrumSizes() {
    std::vector<int32_t> sizes;
    for (int32_t n = 2; n <= 80; n += 2) {
        sizes.push_back(n);
    }
    sizes.push_back(1024);
    return sizes;
}

TEST(OperationTableTest, PackPutsTheLastBinIntoElementOne) {
    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> re = Noise(n / 2 + 1, 1), im = Noise(n / 2 + 1, 2);
        std::vector<float> wanted(static_cast<size_t>(n));
        for (size_t k = 0; k < wanted.size() / 2; ++k) {
            wanted[2 * k] = re[k];
            wanted[2 * k + 1] = im[k];
        }
        wanted[1] = re.back();
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(std::vector<float>(wanted.size()), shift), reIn(re, shift + 1), imIn(im, shift + 2);
            EXPECT_EQ(Ops().SpectrumPack(dst.Data(), reIn.Data(), imIn.Data(), n), 0);
            ExpectSameBits(dst.Values(), wanted);
        }
    }
}

TEST(OperationTableTest, UnpackIsTheReverseOfPackWithZerosBesideTheRealBins) {
    for (int32_t n : SpectrumSizes()) {
        std::vector<float> re = Noise(n / 2 + 1, 1), im = Noise(n / 2 + 1, 2);
        im.front() = im.back() = 0.0f;
        std::vector<float> packed(static_cast<size_t>(n));
        Ops().SpectrumPack(packed.data(), re.data(), im.data(), n);
        const std::vector<float> old(re.size(), 5.0f);
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded reOut(old, shift + 1), imOut(old, shift + 2), src(packed, shift);
            EXPECT_EQ(Ops().SpectrumUnpack(reOut.Data(), imOut.Data(), src.Data(), n), 0);
            ExpectSameBits(reOut.Values(), re);
            ExpectSameBits(imOut.Values(), im);
        }
    }
}

TEST(OperationTableTest, SpectrumAddCoversTwoFloatsPerBin) {
    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> a = Noise(n, 1), b = Noise(n, 2);
        std::vector<float> wanted = a;
        for (size_t i = 0; i < a.size(); ++i) {
            wanted[i] += b[i];
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(a, shift), src(b, 3 * shift + 1);
            EXPECT_EQ(Ops().SpectrumAdd(dst.Data(), src.Data(), n / 2), 0);
            ExpectSameBits(dst.Values(), wanted);
        }
    }
}

std::vector<float> PlainProduct(const std::vector<float>& a, const std::vector<float>& b) {
    std::vector<float> product = {a[0] * b[0], a[1] * b[1]};
    for (size_t k = 1; k < a.size() / 2; ++k) {
        product.push_back(a[2 * k] * b[2 * k] - a[2 * k + 1] * b[2 * k + 1]);
        product.push_back(a[2 * k] * b[2 * k + 1] + a[2 * k + 1] * b[2 * k]);
    }
    return product;
}

TEST(OperationTableTest, SpectrumMulKeepsTheTwoRealBinsApart) {
    float dst[] = {2.0f, 3.0f, 1.0f, 2.0f};
    const float src[] = {5.0f, 7.0f, 3.0f, 4.0f};
    Ops().SpectrumMul(dst, src, 2);
    EXPECT_EQ(dst[0], 10.0f);
    EXPECT_EQ(dst[1], 21.0f);
    EXPECT_EQ(dst[2], -5.0f);
    EXPECT_EQ(dst[3], 10.0f);

    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> a = Noise(n, 1), b = Noise(n, 2);
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst2(a, shift), src2(b, shift + 1);
            EXPECT_EQ(Ops().SpectrumMul(dst2.Data(), src2.Data(), n / 2), 0);
            ExpectSameBits(dst2.Values(), PlainProduct(a, b));
            Guarded square(a, shift);
            Ops().SpectrumMul(square.Data(), square.Data(), n / 2);
            ExpectSameBits(square.Values(), PlainProduct(a, a));
        }
    }
}

TEST(OperationTableTest, SpectrumMulAcc) {
    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> d = Noise(n, 1), a = Noise(n, 2), b = Noise(n, 3);
        std::vector<float> wanted = PlainProduct(a, b);
        for (size_t i = 0; i < wanted.size(); ++i) {
            wanted[i] += d[i];
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(d, shift), first(a, shift + 1), second(b, shift + 2);
            EXPECT_EQ(Ops().SpectrumMulAcc(dst.Data(), first.Data(), second.Data(), n / 2), 0);
            ExpectSameBits(dst.Values(), wanted);
            Guarded one(a, shift);
            EXPECT_EQ(Ops().SpectrumMulAcc(one.Data(), one.Data(), one.Data(), n / 2), 0);
            std::vector<float> wantedOfOne = PlainProduct(a, a);
            for (size_t i = 0; i < a.size(); ++i) {
                wantedOfOne[i] += a[i];
            }
            ExpectSameBits(one.Values(), wantedOfOne);
        }
    }
}

TEST(OperationTableTest, PhaseOfBinZeroIsPiAndOfImaginaryBinsPlusHalfPi) {
    for (int32_t n : SpectrumSizes()) {
        std::vector<float> src = Noise(n, 1);
        for (size_t i = 4; i < src.size(); i += 6) {
            src[i] = 0.0f;
        }
        const auto shift = static_cast<size_t>(n / 2);
        Guarded dst(std::vector<float>(src.size() / 2), shift), in(src, shift + 1);
        EXPECT_EQ(Ops().SpectrumPhase(dst.Data(), in.Data(), n), 0);
        ExpectSameBits(in.Values(), src);
        const std::vector<float> got = dst.Values();
        EXPECT_EQ(got[0], 3.14159265358979f);
        for (size_t k = 1; k < got.size(); ++k) {
            const double re = static_cast<double>(src[2 * k]), im = static_cast<double>(src[2 * k + 1]);
            if (re == 0.0) {
                EXPECT_EQ(got[k], 1.57079632679490f);
            } else {
                EXPECT_NEAR(got[k], std::atan2(im, re), 5e-7);
            }
        }
    }
    const float zeros[8] = {};
    float phases[4];
    Ops().SpectrumPhase(phases, zeros, 8);
    EXPECT_EQ(phases[0], 3.14159265358979f);
    EXPECT_EQ(phases[1], 0.0f);
}

TEST(OperationTableTest, MagnitudeLeavesOutTheLastBinAndWorksInPlace) {
    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> x = Noise(n, 1);
        std::vector<float> wanted = {std::fabs(x[0])};
        for (size_t k = 1; k < x.size() / 2; ++k) {
            wanted.push_back(std::sqrt(x[2 * k] * x[2 * k] + x[2 * k + 1] * x[2 * k + 1]));
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded src(x, shift), dst(std::vector<float>(wanted.size()), shift + 1);
            EXPECT_EQ(Ops().SpectrumMagnitude(dst.Data(), src.Data(), n / 2), 0);
            ExpectSameBits(dst.Values(), wanted);
            Guarded one(x, shift);
            Ops().SpectrumMagnitude(one.Data(), one.Data(), n / 2);
            std::vector<float> inPlace = one.Values();
            ExpectSameBits(std::vector<float>(inPlace.begin(), inPlace.begin() + n / 2), wanted);
        }
    }
}

TEST(OperationTableTest, ConjugateNegatesTheInnerImaginaryPartsOnly) {
    for (int32_t n : SpectrumSizes()) {
        const std::vector<float> x = Noise(n, 1);
        std::vector<float> wanted = x;
        for (size_t k = 1; k < x.size() / 2; ++k) {
            wanted[2 * k + 1] = -wanted[2 * k + 1];
        }
        for (size_t shift = 0; shift < kShifts; ++shift) {
            Guarded dst(x, shift);
            EXPECT_EQ(Ops().SpectrumConjugate(dst.Data(), n), 0);
            ExpectSameBits(dst.Values(), wanted);
        }
    }
    Guarded small({1.0f, 2.0f, 3.0f}, 1);
    Ops().SpectrumConjugate(small.Data(), 3);
    ExpectSameBits(small.Values(), {1.0f, 2.0f, 3.0f});
}

TEST(OperationTableTest, IndexHelpers) {
    for (int32_t k : {0, 1, 7, 4096}) {
        EXPECT_EQ(Ops().SpectrumReIndex(k), 2 * k);
        EXPECT_EQ(Ops().SpectrumImIndex(k), 2 * k + 1);
    }
}

TEST(OperationTableTest, EmptyEntryCanBeCalled) { EXPECT_EQ(Ops().NoOperation(), 0); }

// --- Status

TEST(OperationTableTest, KernelsRefuseNullPointersAndCountsBelowOne) {
    if (CurrentLevel() == 0) {
        GTEST_SKIP() << "level 0 checks nothing";
    }
    const OperationTable& ops = Ops();
    std::vector<float> vec(8, 2.0f);
    float* const v = vec.data();
    float value = 5.0f;
    int32_t index = 5;
    constexpr int32_t kNull = -8, kCount = -6;

    const std::vector<std::function<int32_t(float*, int32_t)>> inPlace = {
        [&](float* d, int32_t n) { return ops.VecAddConst(d, 1.0f, n); },
        [&](float* d, int32_t n) { return ops.VecMulConst(d, 1.5f, n); },
        [&](float* d, int32_t n) { return ops.VecAbs(d, n); },
        [&](float* d, int32_t n) { return ops.VecExp(d, n); },
        [&](float* d, int32_t n) { return ops.VecSqrt(d, n); },
        [&](float* d, int32_t n) { return ops.VecThresholdLog(d, 3.0f, 4.0f, n); },
        [&](float* d, int32_t n) { return ops.VecThresholdLow(d, 3.0f, 4.0f, n); },
        [&](float* d, int32_t n) { return ops.VecThresholdHigh(d, 1.0f, 4.0f, n); },
    };
    for (const auto& operation : inPlace) {
        EXPECT_EQ(operation(nullptr, 8), kNull);
        EXPECT_EQ(operation(v, 0), kCount);
        EXPECT_EQ(operation(v, -1), kCount);
    }
    EXPECT_EQ(ops.VecZero(nullptr, 8), kNull);
    EXPECT_EQ(ops.VecZero(v, -1), kCount);

    for (auto operation : {ops.VecMaxInPlace, ops.VecAdd, ops.VecSub, ops.VecMul, ops.VecDiv, ops.SpectrumMul,
                           ops.SpectrumPhase, ops.SpectrumMagnitude, ops.VecWrapPhase}) {
        EXPECT_EQ(operation(nullptr, v, 4), kNull);
        EXPECT_EQ(operation(v, nullptr, 4), kNull);
        EXPECT_EQ(operation(v, v, 0), kCount);
        EXPECT_EQ(operation(v, v, INT32_MIN), kCount);
    }
    for (auto operation : {ops.VecMulAcc, ops.SpectrumMulAcc}) {
        EXPECT_EQ(operation(nullptr, v, v, 4), kNull);
        EXPECT_EQ(operation(v, nullptr, v, 4), kNull);
        EXPECT_EQ(operation(v, v, nullptr, 4), kNull);
        EXPECT_EQ(operation(v, v, v, 0), kCount);
    }
    for (auto operation : {ops.VecMaxIndex, ops.VecMinIndex}) {
        EXPECT_EQ(operation(nullptr, &value, &index, 4), kNull);
        EXPECT_EQ(operation(v, nullptr, &index, 4), kNull);
        EXPECT_EQ(operation(v, &value, nullptr, 4), kNull);
        EXPECT_EQ(operation(v, &value, &index, 0), kCount);
    }
    for (auto operation : {ops.VecMean, ops.VecStdDev}) {
        EXPECT_EQ(operation(nullptr, &value, 4), kNull);
        EXPECT_EQ(operation(v, nullptr, 4), kNull);
        EXPECT_EQ(operation(v, &value, 0), kCount);
    }
    EXPECT_EQ(ops.VecDot(nullptr, v, &value, 4), kNull);
    EXPECT_EQ(ops.VecDot(v, nullptr, &value, 4), kNull);
    EXPECT_EQ(ops.VecDot(v, v, nullptr, 4), kNull);
    EXPECT_EQ(ops.VecDot(v, v, &value, 0), kCount);
    EXPECT_EQ(ops.VecSinCos(nullptr, v, v, 4), kNull);
    EXPECT_EQ(ops.VecSinCos(v, nullptr, v, 4), kNull);
    EXPECT_EQ(ops.VecSinCos(v, v, nullptr, 4), kNull);
    EXPECT_EQ(ops.VecSinCos(v, v, v, 0), kCount);

    EXPECT_EQ(vec, std::vector<float>(8, 2.0f));
    EXPECT_EQ(value, 5.0f);
    EXPECT_EQ(index, 5);
}

}  // namespace

}  // namespace mlh
