// The reference of the FFT tests: the transform by its definition, in 64 bits.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace mlh {

inline constexpr double kPi = 3.14159265358979323846;

// A 32-bit transform has about 2^-24 of rounding noise per stage (-144 dB): -130 dB leaves room for the
// growth with the root of the stages, and no room for a wrong or coarse twiddle.
inline constexpr double kRoundingDb = -130.0;

inline std::vector<double> PlainSpectrum(const std::vector<float>& x) {
    const size_t n = x.size();
    std::vector<std::complex<double>> turn(n);
    for (size_t i = 0; i < n; ++i) {
        turn[i] = std::polar(1.0, -2.0 * kPi * static_cast<double>(i) / static_cast<double>(n));
    }
    std::vector<double> packed(n);
    for (size_t k = 0; k <= n / 2; ++k) {
        double re = 0.0, im = 0.0;
        for (size_t j = 0; j < n; ++j) {
            const std::complex<double> root = turn[j * k % n];
            re += static_cast<double>(x[j]) * root.real();
            im += static_cast<double>(x[j]) * root.imag();
        }
        if (k == 0) {
            packed[0] = re;
        } else if (k == n / 2) {
            packed[1] = re;
        } else {
            packed[2 * k] = re;
            packed[2 * k + 1] = im;
        }
    }
    return packed;
}

// The error of `got` in decibels below scale * want, over the whole vector.
template <class Want>
double ErrorDb(const std::vector<float>& got, const std::vector<Want>& want, double scale = 1.0) {
    double error = 0.0, power = 0.0;
    for (size_t i = 0; i < want.size(); ++i) {
        const double wanted = scale * static_cast<double>(want[i]);
        error += std::pow(static_cast<double>(got[i]) - wanted, 2.0);
        power += std::pow(wanted, 2.0);
    }
    return 10.0 * std::log10((error + 1e-300) / power);
}

}  // namespace mlh
