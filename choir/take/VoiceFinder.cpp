#include "choir/take/VoiceFinder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace mlh::choir {

namespace {

constexpr double kHop = 0.02;             // [s] from moment to moment
constexpr double kHalfWindow = 0.02;      // [s] to each side of one, for its level
constexpr double kSilence = -80.0;        // [dB] below full scale
constexpr double kBelowUsual = 8.0;       // [dB] a moment may be softer than usual
constexpr double kFurthestPeriod = 0.05;  // [s] from the moment to a measured period
constexpr double kLowest = 62.0;          // [Hz] below basses, and above the hum of either mains
constexpr double kLeastAgreement = 0.8;   // of the waveform with itself a period later
constexpr double kLeastStrength = 0.2;    // of the harmonics; one clean voice has 0.3 to 0.45, noise 0
constexpr double kLargestStep = 1.0;      // [semitones] from moment to moment
constexpr int kLeastRun = 4;              // moments in a row

constexpr int kCells = 64;                                    // that a period is cut into
constexpr int kPeriods = 4;                                   // in the spectrum's window
constexpr int kWindow = kCells * kPeriods;                    // [cells]
constexpr int kCompared = 2 * kCells;                         // cells that are laid over themselves
constexpr int kHarmonics = 10;                                // that the kernel has
constexpr double kHighest = 5000.0;                           // [Hz] above it voices are hiss
constexpr double kReach = 0.5 * kPeriods + 0.1;               // [periods] to each side that are looked at
constexpr double kSlack[] = {-0.02, -0.01, 0.0, 0.01, 0.02};  // of a period that marks may be off

// The recording around a moment as running sums, so that any stretch of time has its mean at once. Cells of a
// period are such means, which leaves out what is too high for them.
class Surroundings {
  public:
    explicit Surroundings(const AudioView& audio) : audio_(audio) {}

    void Read(int64_t first, int64_t count) {
        first_ = first;
        sums_.resize(static_cast<std::size_t>(count) + 1);
        double sum = 0.0;
        for (int64_t i = 0; i < count; ++i) {
            sum += At(audio_, first + i);
            sums_[static_cast<std::size_t>(i) + 1] = sum;
        }
    }

    // The sum of all before a place, which may lie between samples.
    double SumTo(double frame) const {
        const double last = static_cast<double>(sums_.size()) - 1.001;
        const double at = std::clamp(frame - static_cast<double>(first_), 0.0, last);
        const auto i = static_cast<std::size_t>(at);
        return sums_[i] + (at - static_cast<double>(i)) * (sums_[i + 1] - sums_[i]);
    }

    template <std::size_t n>
    void Cells(double from, double size, std::array<double, n>& cells) const {
        double before = SumTo(from);
        for (std::size_t i = 0; i < n; ++i) {
            const double after = SumTo(from + size * static_cast<double>(i + 1));
            cells[i] = (after - before) / size;
            before = after;
        }
    }

    static double At(const AudioView& audio, int64_t frame) {
        if (frame < 0 || frame >= audio.frames) {
            return 0.0;
        }
        double sum = 0.0;
        for (int32_t c = 0; c < audio.channels; ++c) {
            sum += static_cast<double>(audio.samples[frame * audio.channels + c]);
        }
        return sum / audio.channels;
    }

  private:
    AudioView audio_;
    int64_t first_ = 0;
    std::vector<double> sums_ = {0.0, 0.0};
};

double Correlation(const std::array<double, kCompared>& a, const std::array<double, kCompared>& b) {
    double sumA = 0.0, sumB = 0.0, ab = 0.0, aa = 0.0, bb = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sumA += a[i];
        sumB += b[i];
        ab += a[i] * b[i];
        aa += a[i] * a[i];
        bb += b[i] * b[i];
    }
    constexpr auto kCount = static_cast<double>(kCompared);
    const double energy = (aa - sumA * sumA / kCount) * (bb - sumB * sumB / kCount);
    return energy > 1e-30 ? (ab - sumA * sumB / kCount) / std::sqrt(energy) : 0.0;
}

// The waveform around `centre` against itself a period later, -1 to 1. Times in samples.
double AgreementAt(const Surroundings& near, double centre, double period) {
    std::array<double, kCompared> early;
    std::array<double, kCompared> late;
    const double size = period / kCells;
    const double first = centre - 0.5 * kCompared * size - 0.5 * period;
    near.Cells(first, size, early);
    double best = -1.0;
    for (const double slack : kSlack) {
        near.Cells(first + (1.0 + slack) * period, size, late);
        best = std::max(best, Correlation(early, late));
    }
    return best;
}

// How much the spectrum around `centre` is one of harmonics of the period: its square roots against a cosine
// that is 1 on each harmonic and -1 between two of them, -1 to 1.
double StrengthAt(const Surroundings& near, double centre, double period, double sampleRate) {
    struct Tables {
        std::array<double, kWindow> cosine;
        std::array<double, kWindow> window;
    };
    static const Tables kTables = [] {
        Tables tables;
        for (std::size_t i = 0; i < kWindow; ++i) {
            constexpr double kTurn = 2.0 * std::numbers::pi / kWindow;
            tables.cosine[i] = std::cos(kTurn * static_cast<double>(i));
            tables.window[i] = 0.5 - 0.5 * std::cos(kTurn * (static_cast<double>(i) + 0.5));
        }
        return tables;
    }();
    std::array<double, kWindow> cells;
    const double size = period / kCells;
    near.Cells(centre - 0.5 * kWindow * size, size, cells);
    double mean = 0.0;
    for (const double cell : cells) {
        mean += cell / kWindow;
    }
    for (std::size_t i = 0; i < kWindow; ++i) {
        cells[i] = (cells[i] - mean) * kTables.window[i];
    }
    const double highest = std::min(kHighest, 0.5 * sampleRate) * period / sampleRate * kPeriods;
    double both = 0.0, kernels = 0.0, roots = 0.0;
    for (unsigned bin = kPeriods / 2 + 1; bin <= kHarmonics * kPeriods + kPeriods / 2 && bin <= highest;
         ++bin) {
        double real = 0.0, imaginary = 0.0;
        for (unsigned i = 0; i < kWindow; ++i) {
            real += cells[i] * kTables.cosine[(i * bin) % kWindow];
            imaginary += cells[i] * kTables.cosine[(i * bin + kWindow / 4) % kWindow];
        }
        const double harmonic = static_cast<double>(bin) / kPeriods;
        const double kernel = std::cos(2.0 * std::numbers::pi * harmonic) / std::sqrt(harmonic);
        const double amplitude = std::hypot(real, imaginary);
        both += kernel * std::sqrt(amplitude);
        kernels += kernel * kernel;
        roots += amplitude;
    }
    return roots > 1e-15 ? both / std::sqrt(kernels * roots) : 0.0;
}

}  // namespace

VoiceEvidence FindVoice(const AudioView& audio, const std::vector<MeasuredPeriod>& periods) {
    VoiceEvidence evidence;
    const double rate = audio.sampleRate;
    const auto count = static_cast<std::size_t>(audio.Seconds() / kHop);
    std::vector<double> energies(count);
    double energy = 0.0, squares = 0.0;
    for (std::size_t k = 0; k < count; ++k) {
        const double time = kHop * (static_cast<double>(k) + 0.5);
        const auto first = static_cast<int64_t>((time - kHalfWindow) * rate);
        const auto last = static_cast<int64_t>((time + kHalfWindow) * rate);
        double sum = 0.0;
        for (int64_t frame = first; frame < last; ++frame) {
            const double sample = Surroundings::At(audio, frame);
            sum += sample * sample;
        }
        energies[k] =
            std::isfinite(sum) ? sum / static_cast<double>(std::max<int64_t>(last - first, 1)) : 0.0;
        energy += energies[k];
        squares += energies[k] * energies[k];
    }
    // What is usual is the mean over the energy, so that silence in between does not count.
    const double usual = energy > 0.0 ? squares / energy : 0.0;
    const double least =
        std::max(usual * std::pow(10.0, -kBelowUsual / 10.0), std::pow(10.0, kSilence / 10.0));

    Surroundings near(audio);
    std::size_t measured = 0;
    int run = 0;
    double pitch = 0.0;
    for (std::size_t k = 0; k < count; ++k) {
        const double time = kHop * (static_cast<double>(k) + 0.5);
        while (measured + 1 < periods.size() && periods[measured + 1].time <= time) {
            ++measured;
        }
        const bool loud = energies[k] > least;
        evidence.sounding += loud ? kHop : 0.0;
        bool sung = false;
        if (loud && measured < periods.size() && periods[measured].period > 0.0 &&
            periods[measured].period * kLowest <= 1.0 &&
            std::fabs(periods[measured].time - time) < kFurthestPeriod) {
            const double period = periods[measured].period * rate;
            const double centre = time * rate;
            const auto reach = static_cast<int64_t>(kReach * period) + 2;
            near.Read(static_cast<int64_t>(centre) - reach, 2 * reach + 1);
            sung = AgreementAt(near, centre, period) > kLeastAgreement &&
                   StrengthAt(near, centre, period, rate) > kLeastStrength;
        }
        const double before = pitch;
        pitch = sung ? -12.0 * std::log2(periods[measured].period) : 0.0;
        const bool goesOn = sung && run > 0 && std::fabs(pitch - before) < kLargestStep;
        run = sung ? (goesOn ? run + 1 : 1) : 0;
        if (run == kLeastRun) {
            evidence.sung += kLeastRun * kHop;
        } else if (run > kLeastRun) {
            evidence.sung += kHop;
        }
    }
    return evidence;
}

}  // namespace mlh::choir
