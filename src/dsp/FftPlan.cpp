#include "dsp/FftPlan.h"

#include <cmath>

#include "base/Pi.h"

namespace mlh {

namespace {

// Blocks of the first pass are set this far apart beyond their length (in floats, one cache line): lines that
// lie a power of two apart would throw each other out of the cache.
constexpr int32_t kBlockPadding = 16;

struct Complex {
    float re, im;
};

// The roots of unity of order n, exp(-2 pi i k / n), from a quarter wave of cosines.
class Roots {
  public:
    Roots(float* quarterWave, int32_t n) : cosines_(quarterWave), n_(n) {
        for (int32_t k = 0; k < n / 4; ++k) {
            quarterWave[k] = static_cast<float>(std::cos(2.0 * kPi * k / n));
        }
        quarterWave[n / 4] = 0.0f;
    }
    Complex operator()(int64_t k) const {
        const int32_t turn = static_cast<int32_t>(k & (n_ - 1));
        return {Cosine(turn), -Cosine((turn - n_ / 4) & (n_ - 1))};
    }

    int32_t Order() const { return n_; }

  private:
    float Cosine(int32_t k) const {
        if (k > n_ / 2) {
            k = n_ - k;
        }
        return k <= n_ / 4 ? cosines_[k] : -cosines_[n_ / 2 - k];
    }
    const float* cosines_;
    int32_t n_;
};

// Eights as far as they go, after one or two fours where the columns are no power of eight.
void ChooseRadices(FftPlan& plan) {
    int32_t bits = 0;
    while ((1 << bits) < plan.columns) {
        ++bits;
    }
    const auto add = [&](int32_t radixBits) {
        plan.radix[plan.passes++] = 1 << radixBits;
        bits -= radixBits;
    };
    while (bits % 3 != 0) {
        add(2);
    }
    while (bits > 0) {
        add(3);
    }
}

int32_t TwiddleFloats(const FftPlan& plan) {
    int32_t floats = 0, block = plan.columns;
    for (int32_t pass = 0; pass < plan.passes; ++pass) {
        block /= plan.radix[pass];
        floats += 2 * block * (plan.radix[pass] - 1);
    }
    return floats;
}

FftPlan Layout(int32_t size, int32_t lanes) {
    FftPlan plan{};
    plan.size = size;
    plan.lanes = lanes;
    plan.columns = size / (2 * lanes);
    ChooseRadices(plan);
    plan.blockStride = plan.columns / plan.radix[0] * 2 * lanes + kBlockPadding;
    return plan;
}

// The passes leave the columns in digit-reversed order: the first digit of k, to the first radix, is the
// block.
int32_t Place(const FftPlan& plan, int32_t k) {
    int32_t place = k % plan.radix[0] * plan.blockStride;
    int32_t columns = plan.columns / plan.radix[0];
    k /= plan.radix[0];
    for (int32_t pass = 1; pass < plan.passes; ++pass) {
        columns /= plan.radix[pass];
        place += k % plan.radix[pass] * columns * 2 * plan.lanes;
        k /= plan.radix[pass];
    }
    return place;
}

float* Put(float* p, Complex value, float scale = 1.0f) {
    p[0] = scale * value.re;
    p[1] = scale * value.im;
    return p + 2;
}

// The twiddles of the passes from `first` on.
float* PutPasses(float* p, const Roots& roots, FftPlan& plan, int32_t first) {
    int32_t block = plan.columns;
    for (int32_t pass = 0; pass < plan.passes; ++pass) {
        const int64_t step = roots.Order() / block;
        block /= plan.radix[pass];
        if (pass < first) {
            continue;
        }
        plan.twiddles[pass] = p;
        for (int32_t j = 0; j < block; ++j) {
            for (int32_t q = 1; q < plan.radix[pass]; ++q) {
                p = Put(p, roots(step * j * q));
            }
        }
    }
    return p;
}

void PutPlaces(float* p, FftPlan& plan) {
    int32_t* const places = reinterpret_cast<int32_t*>(p);
    plan.places = places;
    for (int32_t k = 0; k <= plan.columns; ++k) {
        places[k] = Place(plan, k % plan.columns);
    }
}

// One column: lane l is the root of l * k.
float* PutLanes(float* p, const Roots& roots, int32_t lanes, int32_t k, float scale) {
    for (int32_t lane = 0; lane < lanes; ++lane) {
        const Complex root = roots(static_cast<int64_t>(lane) * k);
        p[lane] = scale * root.re;
        p[lanes + lane] = scale * root.im;
    }
    return p + 2 * lanes;
}

// -i times the roots of order 2 * columns.
float* PutSplit(float* p, const Roots& roots, const FftPlan& plan, float scale) {
    for (int32_t k = 0; k < plan.columns / 2; ++k) {
        const Complex root = roots(static_cast<int64_t>(plan.lanes) * k);
        p = Put(p, {root.im, -root.re}, scale);
    }
    return p;
}

}  // namespace

FftPlanSizes GetFftPlanSizes(int32_t size, int32_t lanes) {
    const FftPlan plan = Layout(size, lanes);
    const int32_t laneTwiddles = (plan.columns + 1) * 2 * lanes, splitTwiddles = 2 * plan.columns;
    const int32_t places = plan.columns + 1;
    return {laneTwiddles + splitTwiddles + TwiddleFloats(plan) + places, size / 4 + 1,
            plan.radix[0] * plan.blockStride};
}

FftPlan BuildFftPlan(int32_t size, int32_t lanes, float* tables, float* init) {
    FftPlan plan = Layout(size, lanes);
    const Roots roots(init, size);

    plan.laneTwiddles = tables;
    for (int32_t k = 0; k < plan.columns / 2; ++k) {
        tables = PutLanes(tables, roots, lanes, k, 0.5f);
        tables = PutLanes(tables, roots, lanes, plan.columns - k, 0.5f);
    }
    plan.middleTwiddles = tables;
    tables = PutLanes(tables, roots, lanes, plan.columns / 2, 1.0f);

    plan.splitTwiddles = tables;
    tables = PutSplit(tables, roots, plan, 1.0f);
    plan.inverseSplitTwiddles = tables;
    tables = PutSplit(tables, roots, plan, 2.0f);

    tables = PutPasses(tables, roots, plan, 0);
    PutPlaces(tables, plan);
    return plan;
}

FftPlanSizes GetQuarterPointPlanSizes(int32_t points, int32_t lanes) {
    const FftPlan plan = Layout(2 * points, lanes);
    const int32_t radix = plan.radix[0], places = plan.columns + 1;
    const int32_t twiddles = TwiddleFloats(plan) + 2 * plan.columns / radix, weights = 2 * radix;
    return {2 * points + twiddles + weights + places, points + 1, radix * plan.blockStride};
}

QuarterPointPlan BuildQuarterPointPlan(int32_t points, int32_t lanes, float* tables, float* init) {
    QuarterPointPlan plan{Layout(2 * points, lanes), nullptr};
    FftPlan& fft = plan.fft;
    const int32_t radix = fft.radix[0];
    const Roots roots(init, 4 * points);  // a quarter of the distance between two points

    fft.laneTwiddles = tables;
    for (int32_t k = 0; k < fft.columns; ++k) {
        tables = PutLanes(tables, roots, lanes, 4 * k + 1, 1.0f);
    }
    // Twiddles and, of the column's weight, the part that changes within a block; the rest is `weights`.
    fft.twiddles[0] = tables;
    for (int32_t j = 0; j < fft.columns / radix; ++j) {
        for (int32_t q = 0; q < radix; ++q) {
            tables = Put(tables, roots(int64_t{lanes} * j * (4 * q + 1)));
        }
    }
    tables = PutPasses(tables, roots, fft, 1);
    plan.weights = tables;
    for (int32_t q = 0; q < radix; ++q) {
        tables = Put(tables, roots(int64_t{points} / radix * q));
    }
    PutPlaces(tables, fft);
    return plan;
}

}  // namespace mlh
