// Random numbers that are the same on every system: SplitMix64 (Steele, Lea and Flood, 2014) as a function of
// what is asked for, so that changing one note leaves the numbers of all others alone.
#pragma once

#include <cstdint>

namespace mlh::choir {

class RandomSource {
  public:
    explicit constexpr RandomSource(uint64_t seed) : state_(seed) {}

    // The source for one item of this one.
    constexpr RandomSource Of(uint64_t item) const {
        return RandomSource(Mix(Mix(state_ + kStep) + (item + 1) * kStep));
    }

    constexpr uint64_t Bits() {
        state_ += kStep;
        return Mix(state_);
    }
    // 0 to 1, 1 excluded.
    constexpr double Uniform() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }
    // Mean 0, standard deviation 1, and never beyond 3.47: the sum of twelve uniform numbers would be closer
    // to a normal one, that of four is close enough for people and bounded. Additions alone, so that no
    // library's logarithm can tell systems apart.
    constexpr double Normal() {
        const double sum = Uniform() + Uniform() + Uniform() + Uniform();
        return (sum - 2.0) * 1.7320508075688772;
    }

  private:
    static constexpr uint64_t kStep = 0x9E3779B97F4A7C15u;
    static constexpr uint64_t Mix(uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    uint64_t state_;
};

}  // namespace mlh::choir
