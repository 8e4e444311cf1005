// What the chord tracker holds likely: weights of single chords, and costs saved by progressions.
#pragma once

namespace mlh::ChoiralizerClassic {

// Weight of a triad by the scale degree of its root; degrees beyond weigh nothing.
inline constexpr float kOpeningWeight[8] = {1.0f, 0.3f, 0.3f, 0.4f,
                                            0.5f, 0.4f, 0.1f, 0.0f};  // ends of a melody
inline constexpr float kGeneralWeight[8] = {1.0f, 0.5f, 0.5f, 0.8f, 0.9f, 0.7f, 0.4f, 0.0f};  // every note

// [major, minor][degree of the chord before][degree of the next chord]
inline constexpr float kTransition[2][7][7] = {
    {
        {0.9090909f, 0.35f, 0.40909088f, 0.8f, 0.6f, 0.5f, 0.25f},
        {0.25f, 0.9090909f, 0.40909088f, 0.45454544f, 0.8f, 0.3181818f, 0.54545456f},
        {0.40909088f, 0.22727272f, 0.9090909f, 0.3181818f, 0.72727275f, 0.5f, 0.54545456f},
        {0.5f, 0.3181818f, 0.40909088f, 0.9090909f, 0.8f, 0.25f, 0.6f},
        {0.8f, 0.25f, 0.3181818f, 0.45454544f, 0.9090909f, 0.6f, 0.40909088f},
        {0.35f, 0.72727275f, 0.54545456f, 0.5f, 0.45f, 0.9090909f, 0.22727272f},
        {0.8f, 0.22727272f, 0.22727272f, 0.45f, 0.45454544f, 0.54545456f, 0.9090909f},
    },
    {
        {0.9090909f, 0.22727272f, 0.45f, 0.8f, 0.6f, 0.5f, 0.3181818f},
        {0.22727272f, 0.9090909f, 0.72727275f, 0.40909088f, 0.54545456f, 0.3181818f, 0.45454544f},
        {0.5f, 0.22727272f, 0.9090909f, 0.35f, 0.45f, 0.72727275f, 0.54545456f},
        {0.45f, 0.22727272f, 0.35f, 0.9090909f, 0.72727275f, 0.45454544f, 0.6f},
        {0.8f, 0.22727272f, 0.35f, 0.54545456f, 0.9090909f, 0.45f, 0.54545456f},
        {0.45f, 0.22727272f, 0.3181818f, 0.72727275f, 0.6f, 0.9090909f, 0.45454544f},
        {0.54545456f, 0.3181818f, 0.8f, 0.5f, 0.22727272f, 0.40909088f, 0.9090909f},
    },
};

}  // namespace mlh::ChoiralizerClassic
