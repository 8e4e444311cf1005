// A singer made of arithmetic, for tests that must know the truth.
//
// A glottal flow derivative (Klatt and Klatt 1990, after Rosenberg 1971) is read from band-limited
// wavetables along a pitch curve with glides and vibrato, and passes through a cascade of five formant
// resonators (Klatt 1980). Consonants are noise or a hum. Nothing depends on the platform's random
// generator: the same settings give the same samples, and the same song can be had at any sample rate.
//
//     SungRecording song = Sing({{60.0, 0.5, 'a'}, {0.0, 0.25, kRest}, {64.0, 0.5, 'o', 's'}}, {});
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlh {

struct SungNote {
    double pitch = 60.0;    // MIDI, fractions allowed; without meaning for a rest
    double duration = 0.5;  // seconds, its consonant included
    char vowel = 'a';       // a e i o u; '-' is a rest
    char consonant = 0;     // before the vowel: s (hiss), t (gap and burst), h (breath), m (hum); 0 none
    double level = 1.0;     // linear, relative to the other notes
};
inline constexpr char kRest = '-';

struct SingerSettings {
    double sampleRate = 44100.0;
    double vibratoRate = 5.5;   // Hz
    double vibratoDepth = 0.0;  // semitones to each side
    double vibratoDelay = 0.2;  // seconds into the note before it sets in
    double glideTime = 0.06;    // seconds from one pitch to the next where notes touch
    double attackTime = 0.03;   // seconds of fade after a rest or a consonant, and before one
    double openQuotient = 0.6;  // share of the period in which the glottis is open
    double formantScale = 1.0;  // 1 a man, about 1.17 a woman, 1.3 a child
    double breath = 0.0;        // noise beside the voice, linear against the source
    double roomNoise = 0.0;     // white noise over everything, linear against full scale
    double peak = 0.5;          // the loudest sample of the result
    uint64_t seed = 1;
};

struct TrueNote {
    double pitch;           // MIDI, the written one
    int32_t startPosition;  // samples; the voiced part without its consonant
    int32_t endPosition;
};

struct SungRecording {
    int32_t sampleRate = 0;
    std::vector<float> samples;    // mono
    std::vector<float> pitch;      // MIDI per sample, as really sung; 0 where unvoiced
    std::vector<double> closures;  // glottal closures, in samples: one per period
    std::vector<TrueNote> notes;
};

SungRecording Sing(const std::vector<SungNote>& notes, const SingerSettings& settings);

// A steady tone of all harmonics below 0.45 of the rate and 16 kHz, harmonic h at 1 / h^tilt.
std::vector<float> HarmonicTone(double hertz, double sampleRate, double seconds, double tilt = 1.0,
                                double peak = 0.5);

// Deterministic noise, uniform in -1 to 1 (xorshift64*); any seed.
class NoiseSource {
  public:
    explicit NoiseSource(uint64_t seed) : state_((seed * 0x9E3779B97F4A7C15u + 0x632BE59BD9B4E019u) | 1u) {}
    uint64_t NextBits();
    float Next();                             // -1 to 1
    int32_t Next(int32_t low, int32_t high);  // low to high, both included

  private:
    uint64_t state_;
};

// The source's first `count` samples.
std::vector<float> Noise(std::size_t count, uint64_t seed = 5, float peak = 1.0f);

}  // namespace mlh
