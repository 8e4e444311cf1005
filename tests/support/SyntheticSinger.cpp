#include "support/SyntheticSinger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <map>
#include <numbers>

namespace mlh {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kTopFrequency = 16000.0;  // a voice has nothing of note above
constexpr int32_t kTableSize = 8192;
constexpr int32_t kControlStep = 16;  // samples between two updates of the formants

double HertzOf(double pitch) { return 440.0 * std::exp2((pitch - 69.0) / 12.0); }

// One period of a waveform, with as many harmonics as a pitch and a sample rate leave room for.
class BandLimitedWave {
  public:
    // harmonics[h - 1] is the complex amplitude of harmonic h.
    BandLimitedWave(std::vector<std::complex<double>> allHarmonics, double sampleRate)
        : harmonics_(std::move(allHarmonics)), topFrequency_(std::min(0.45 * sampleRate, kTopFrequency)) {}

    double At(double phase, double hertz) {
        const std::vector<float>& table = TableFor(hertz);
        const double place = phase * kTableSize;
        const auto i = static_cast<size_t>(place);
        const double fraction = place - static_cast<double>(i);
        return table[i] + fraction * (table[i + 1] - table[i]);
    }

  private:
    // Tables are shared by a third of an octave; the band limit holds for its upper end.
    const std::vector<float>& TableFor(double hertz) {
        const int third = static_cast<int>(std::ceil(3.0 * std::log2(hertz)));
        if (third != currentThird_) {
            currentThird_ = third;
            std::vector<float>& table = tables_[third];
            if (table.empty()) {
                table = MakeTable(static_cast<int32_t>(topFrequency_ / std::exp2(third / 3.0)));
            }
            current_ = &table;
        }
        return *current_;
    }

    std::vector<float> MakeTable(int32_t count) const {
        count = std::clamp(count, 1, static_cast<int32_t>(harmonics_.size()));
        std::vector<double> sum(kTableSize + 2, 0.0);
        for (int32_t h = 1; h <= count; ++h) {
            const std::complex<double> step = std::polar(1.0, 2.0 * kPi * h / kTableSize);
            std::complex<double> wave = harmonics_[static_cast<size_t>(h - 1)];
            for (double& value : sum) {
                value += 2.0 * wave.real();
                wave *= step;
            }
        }
        return {sum.begin(), sum.end()};
    }

    std::vector<std::complex<double>> harmonics_;
    double topFrequency_;
    std::map<int, std::vector<float>> tables_;
    const std::vector<float>* current_ = nullptr;
    int currentThird_ = -1000;
};

// Fourier coefficients of the derivative of a flow t^2 - t^3 over the open share of the period: it rises to
// 1/3, falls to -1 and breaks off there, at the closure.
std::vector<std::complex<double>> GlottalHarmonics(double openQuotient) {
    std::vector<std::complex<double>> harmonics;
    for (int h = 1; h <= 512; ++h) {
        const std::complex<double> s(0.0, -2.0 * kPi * h * openQuotient);
        const std::complex<double> e = std::exp(s);
        const std::complex<double> linear = (e * (s - 1.0) + 1.0) / (s * s);
        const std::complex<double> square = (e * (s * s - 2.0 * s + 2.0) - 2.0) / (s * s * s);
        harmonics.push_back(openQuotient * (2.0 * linear - 3.0 * square));
    }
    return harmonics;
}

// A second-order resonator with unit gain at 0 Hz.
class Resonator {
  public:
    void Tune(double hertz, double bandwidth, double sampleRate) {
        if (hertz > 0.45 * sampleRate) {
            a_ = 1.0, b_ = 0.0, c_ = 0.0;
            return;
        }
        const double radius = std::exp(-kPi * bandwidth / sampleRate);
        c_ = -radius * radius;
        b_ = 2.0 * radius * std::cos(2.0 * kPi * hertz / sampleRate);
        a_ = 1.0 - b_ - c_;
    }
    double Next(double x) {
        const double y = a_ * x + b_ * y1_ + c_ * y2_;
        y2_ = y1_;
        y1_ = y;
        return y;
    }

  private:
    double a_ = 1.0, b_ = 0.0, c_ = 0.0, y1_ = 0.0, y2_ = 0.0;
};

using Formants = std::array<double, 5>;
constexpr Formants kBandwidths = {70.0, 90.0, 140.0, 200.0, 250.0};
constexpr Formants kHum = {250.0, 1000.0, 2200.0, 3300.0, 4300.0};

Formants FormantsOf(char vowel) {
    switch (vowel) {
        case 'e':
            return {450.0, 1900.0, 2500.0, 3400.0, 4400.0};
        case 'i':
            return {290.0, 2250.0, 2950.0, 3500.0, 4400.0};
        case 'o':
            return {480.0, 830.0, 2450.0, 3300.0, 4300.0};
        case 'u':
            return {310.0, 870.0, 2250.0, 3250.0, 4300.0};
        default:
            return {730.0, 1120.0, 2450.0, 3350.0, 4400.0};
    }
}

double ConsonantLength(char consonant) {
    switch (consonant) {
        case 's':
            return 0.09;
        case 't':
            return 0.06;
        case 'h':
            return 0.06;
        case 'm':
            return 0.08;
        default:
            return 0.0;
    }
}

// What the singer does at one sample.
struct Gesture {
    double pitch = 60.0;
    double voice = 0.0;  // target gains
    double hiss = 0.0;
    double breath = 0.0;
    bool hum = false;
};

class Singer {
  public:
    Singer(const std::vector<SungNote>& notes, const SingerSettings& settings)
        : notes_(notes),
          settings_(settings),
          noise_(settings.seed),
          glottis_(GlottalHarmonics(settings.openQuotient), settings.sampleRate),
          noiseGain_(std::sqrt(settings.sampleRate / 44100.0)) {
        hissFilter_.Tune(std::min(6500.0, 0.4 * settings.sampleRate), 2500.0, settings.sampleRate);
        song_.sampleRate = static_cast<int32_t>(settings.sampleRate);
    }

    SungRecording Sing() {
        double time = 0.0;
        double pitchBefore = 0.0;  // 0: not voiced up to here
        for (const SungNote& note : notes_) {
            const auto start = static_cast<int32_t>(std::lround(time * settings_.sampleRate));
            time += note.duration;
            const auto end = static_cast<int32_t>(std::lround(time * settings_.sampleRate));
            if (note.vowel == kRest) {
                Render(end, note, [](int32_t) { return Gesture{}; });
                pitchBefore = 0.0;
            } else {
                SingNote(note, start, end, pitchBefore);
                pitchBefore = note.pitch;
            }
        }
        Scale();
        return std::move(song_);
    }

  private:
    void SingNote(const SungNote& note, int32_t start, int32_t end, double pitchBefore) {
        const double seconds = std::min(ConsonantLength(note.consonant), note.duration / 2.0);
        const auto onset = start + static_cast<int32_t>(std::lround(seconds * settings_.sampleRate));
        Render(onset, note,
               [&](int32_t i) { return ConsonantAt(note, i - start, onset - start, pitchBefore); });
        const bool voicedBefore = note.consonant == 'm' || (note.consonant == 0 && pitchBefore > 0.0);
        const double glideFrom = voicedBefore && pitchBefore > 0.0 ? pitchBefore : note.pitch;
        // A hum has done the glide already.
        const int32_t glideStart = note.consonant == 'm' ? start : onset;
        Render(end, note, [&](int32_t i) {
            Gesture gesture;
            gesture.pitch = PitchAt(note.pitch, glideFrom, i - glideStart) + VibratoAt(i - onset);
            gesture.voice = note.level;
            gesture.breath = settings_.breath * note.level;
            return gesture;
        });
        song_.notes.push_back({note.pitch, onset, end});
    }

    Gesture ConsonantAt(const SungNote& note, int32_t i, int32_t length, double pitchBefore) const {
        Gesture gesture;
        if (note.consonant == 'm') {
            gesture.pitch = PitchAt(note.pitch, pitchBefore > 0.0 ? pitchBefore : note.pitch, i);
            gesture.voice = 0.5 * note.level;
            gesture.hum = true;
        } else if (note.consonant == 's') {
            gesture.hiss = 0.3 * note.level;
        } else if (note.consonant == 'h') {
            gesture.breath = 0.2 * note.level;
        } else if (note.consonant == 't' && i > length * 3 / 4) {
            gesture.hiss = 0.4 * note.level;
        }
        return gesture;
    }

    double PitchAt(double pitch, double from, int32_t i) const {
        const double share =
            settings_.glideTime > 0.0 ? i / (settings_.glideTime * settings_.sampleRate) : 1.0;
        if (share >= 1.0) {
            return pitch;
        }
        return from + (pitch - from) * 0.5 * (1.0 - std::cos(kPi * share));
    }

    double VibratoAt(int32_t i) const {
        const double since = i / settings_.sampleRate - settings_.vibratoDelay;
        if (since <= 0.0) {
            return 0.0;
        }
        const double depth = settings_.vibratoDepth * std::min(since / 0.2, 1.0);
        return depth * std::sin(2.0 * kPi * settings_.vibratoRate * since);
    }

    // Sings up to sample `end`, following what `gestureAt` says for each sample.
    template <class GestureAt>
    void Render(int32_t end, const SungNote& note, GestureAt gestureAt) {
        while (static_cast<int32_t>(song_.samples.size()) < end) {
            const auto now = static_cast<int32_t>(song_.samples.size());
            const Gesture gesture = gestureAt(now);
            const bool voiced = gesture.voice > 0.0;
            if (now % kControlStep == 0) {
                MoveFormants(voiced && gesture.hum ? kHum : FormantsOf(note.vowel));
            }
            Approach(voiceGain_, gesture.voice, settings_.attackTime);
            Approach(hissGain_, gesture.hiss, 0.005);
            Approach(breathGain_, gesture.breath, 0.01);
            if (voiced) {
                hertz_ = HertzOf(gesture.pitch);  // a fading voice keeps its pitch
            }
            song_.samples.push_back(static_cast<float>(NextSample()));
            song_.pitch.push_back(voiced ? static_cast<float>(gesture.pitch) : 0.0f);
        }
    }

    double NextSample() {
        const double white = noise_.Next() * noiseGain_;
        double throat = breathGain_ * white;
        if (voiceGain_ > 0.0) {
            throat += voiceGain_ * glottis_.At(phase_, hertz_);
        }
        AdvancePhase();
        for (Resonator& formant : tract_) {
            throat = formant.Next(throat);
        }
        const double hiss = hissFilter_.Next(white);
        const double sharp = (hiss - hissBefore_) * settings_.sampleRate / 44100.0;
        hissBefore_ = hiss;
        return throat + hissGain_ * sharp;
    }

    void AdvancePhase() {
        const double step = hertz_ / settings_.sampleRate;
        const double next = phase_ + step;
        const double closure = settings_.openQuotient + (phase_ > settings_.openQuotient ? 1.0 : 0.0);
        if (phase_ <= closure && closure < next && voiceGain_ > 0.0) {
            song_.closures.push_back(static_cast<double>(song_.samples.size()) + (closure - phase_) / step);
        }
        phase_ = next - std::floor(next);
    }

    void Approach(double& gain, double target, double seconds) const {
        const double step = 1.0 / std::max(seconds * settings_.sampleRate, 1.0);
        gain += std::clamp(target - gain, -step, step);
    }

    void MoveFormants(const Formants& targets) {
        const double share = 1.0 - std::exp(-kControlStep / (0.02 * settings_.sampleRate));
        for (size_t f = 0; f < tract_.size(); ++f) {
            formants_[f] += share * (targets[f] * settings_.formantScale - formants_[f]);
            tract_[f].Tune(formants_[f], kBandwidths[f], settings_.sampleRate);
        }
    }

    void Scale() {
        float loudest = 0.0f;
        for (const float sample : song_.samples) {
            loudest = std::max(loudest, std::fabs(sample));
        }
        const auto scale = static_cast<float>(loudest > 0.0f ? settings_.peak / loudest : 0.0);
        const auto room = static_cast<float>(settings_.roomNoise);
        for (float& sample : song_.samples) {
            sample = sample * scale + room * noise_.Next();
        }
    }

    const std::vector<SungNote>& notes_;
    const SingerSettings& settings_;
    NoiseSource noise_;
    BandLimitedWave glottis_;
    double noiseGain_;
    std::array<Resonator, 5> tract_;
    Resonator hissFilter_;
    Formants formants_ = FormantsOf('a');
    double voiceGain_ = 0.0, hissGain_ = 0.0, breathGain_ = 0.0;
    double hissBefore_ = 0.0;
    double hertz_ = 100.0;
    double phase_ = 0.0;
    SungRecording song_;
};

}  // namespace

SungRecording Sing(const std::vector<SungNote>& notes, const SingerSettings& settings) {
    return Singer(notes, settings).Sing();
}

std::vector<float> HarmonicTone(double hertz, double sampleRate, double seconds, double tilt, double peak) {
    std::vector<std::complex<double>> harmonics;
    for (int h = 1; h <= 512; ++h) {
        harmonics.emplace_back(0.0, -1.0 / std::pow(h, tilt));
    }
    BandLimitedWave wave(harmonics, sampleRate);
    std::vector<float> tone(static_cast<size_t>(std::lround(seconds * sampleRate)));
    double phase = 0.0;
    float loudest = 0.0f;
    for (float& sample : tone) {
        sample = static_cast<float>(wave.At(phase, hertz));
        loudest = std::max(loudest, std::fabs(sample));
        phase += hertz / sampleRate;
        phase -= std::floor(phase);
    }
    for (float& sample : tone) {
        sample *= static_cast<float>(peak) / loudest;
    }
    return tone;
}

uint64_t NoiseSource::NextBits() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1Du;
}

float NoiseSource::Next() {
    const auto top = static_cast<int32_t>(NextBits() >> 40);  // 24 bits, exact in a float
    return static_cast<float>(top - 8388608) / 8388608.0f;
}

int32_t NoiseSource::Next(int32_t low, int32_t high) {
    const auto span = static_cast<uint64_t>(static_cast<int64_t>(high) - low + 1);
    return static_cast<int32_t>(low + static_cast<int64_t>(NextBits() % span));
}

std::vector<float> Noise(std::size_t count, uint64_t seed, float peak) {
    NoiseSource source(seed);
    std::vector<float> noise(count);
    for (float& sample : noise) {
        sample = source.Next() * peak;
    }
    return noise;
}

}  // namespace mlh
