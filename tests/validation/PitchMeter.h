// A pitch tracker that is not ours: YIN (de Cheveigne and Kawahara, 2002) as aubio has it. On steady vowels
// of the synthetic singer it is right within 0.6 cents from 70 to 1000 Hz (see PitchTracking_test.cpp).
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#ifdef MLH_HAVE_AUBIO
#include <aubio/aubio.h>
#endif

namespace mlh {

struct MeteredFrame {
    double time;       // [s] of the middle of its window
    float pitch;       // MIDI scale; 0 where none was found
    float confidence;  // 1 for a perfectly periodic signal
    float level;       // root mean square of the window
};

class PitchMeter {
  public:
#ifdef MLH_HAVE_AUBIO
    static constexpr bool kAvailable = true;
#else
    static constexpr bool kAvailable = false;
#endif
    static constexpr const char* kWhyNot = "built without aubio";

    // Pitches from about 45 Hz up.
    explicit PitchMeter(int32_t sampleRate) : rate_(sampleRate) {
        while (window_ * 2 <= sampleRate / 21.0) {
            window_ *= 2;
        }
    }

    int32_t window() const { return window_; }  // [samples]

    std::vector<MeteredFrame> Measure(const std::vector<float>& samples, int32_t hopsPerWindow = 8) const {
        std::vector<MeteredFrame> frames;
#ifdef MLH_HAVE_AUBIO
        const int32_t hop = window_ / hopsPerWindow;
        const auto hops = static_cast<uint_t>(hop);
        aubio_pitch_t* yin =
            new_aubio_pitch("yinfast", static_cast<uint_t>(window_), hops, static_cast<uint_t>(rate_));
        aubio_pitch_set_unit(yin, "Hz");
        aubio_pitch_set_tolerance(yin,
                                  0.05f);  // vowels with a strong second harmonic pass for their octave above
        fvec_t* in = new_fvec(hops);
        fvec_t* out = new_fvec(1);
        const auto length = static_cast<int32_t>(samples.size());
        for (int32_t end = hop; end <= length; end += hop) {
            for (int32_t i = 0; i < hop; ++i) {
                in->data[i] = samples[static_cast<std::size_t>(end - hop + i)];
            }
            aubio_pitch_do(yin, in, out);
            if (end < window_) {
                continue;  // silence before the start is still in the window
            }
            double power = 0.0;
            for (int32_t i = end - window_; i < end; ++i) {
                power += static_cast<double>(samples[static_cast<std::size_t>(i)]) *
                         samples[static_cast<std::size_t>(i)];
            }
            const double hertz = out->data[0];
            frames.push_back({(end - window_ / 2.0) / rate_,
                              hertz > 0.0 ? static_cast<float>(69.0 + 12.0 * std::log2(hertz / 440.0)) : 0.0f,
                              aubio_pitch_get_confidence(yin),
                              static_cast<float>(std::sqrt(power / window_))});
        }
        del_fvec(in);
        del_fvec(out);
        del_aubio_pitch(yin);
#else
        static_cast<void>(samples);
        static_cast<void>(hopsPerWindow);
#endif
        return frames;
    }

  private:
    int32_t rate_;
    int32_t window_ = 64;
};

}  // namespace mlh
