// What a key is made of, by degree in semitones from the tonic.
#pragma once

#include <cstdint>

#include "theory/Scales.h"

namespace mlh {

struct KeyTemplate {
    float tones[12];
};
// 1 for what is a tone of one of the two scales.
constexpr KeyTemplate TonesOfEither(theory::ScaleRow first, theory::ScaleRow second) {
    KeyTemplate either{};
    for (int32_t tone = 0; tone < 12; ++tone) {
        const bool in = theory::kScales[first].flags[tone] + theory::kScales[second].flags[tone] > 0;
        either.tones[tone] = in ? 1.0f : 0.0f;
    }
    return either;
}
inline constexpr KeyTemplate kMajorTones = TonesOfEither(theory::ScaleMajor, theory::ScaleMajor);
inline constexpr KeyTemplate kMinorTones = TonesOfEither(theory::ScaleMinor, theory::ScaleHarmonicMinor);

// Tones of the scale. The minor one holds the seventh and the raised seventh.
inline constexpr const float (&kMajorTemplate)[12] = kMajorTones.tones;
inline constexpr const float (&kMinorTemplate)[12] = kMinorTones.tones;

// How well each tone fits the key in the ears of listeners (Krumhansl and Kessler, 1982).
inline constexpr float kMajorProfile[12] = {6.35f, 2.23f, 3.48f, 2.33f, 4.38f, 4.09f,
                                            2.52f, 5.19f, 2.39f, 3.66f, 2.29f, 2.88f};
inline constexpr float kMinorProfile[12] = {6.33f, 2.68f, 3.52f, 5.38f, 2.6f,  3.53f,
                                            2.54f, 4.75f, 3.98f, 2.69f, 3.34f, 3.17f};

}  // namespace mlh
