// The factors of the voicing search, by scale steps. 1 is neutral, 0 rules a voicing out.
#pragma once

namespace mlh::ChoiralizerClassic {

// Two voices an octave or a unison apart, by the degree of the doubled tone above the chord's root.
inline constexpr float kDoubling[16] = {0.9f, 0.0f, 0.7f, 0.0f, 0.8f, 0.0f, 0.5f, 0.0f,
                                        0.5f, 0.0f, 0.4f, 0.0f, 0.1f, 0.0f, 0.7f, 0.0f};

// The lowest voice, by its degree above the chord's root.
inline constexpr float kBass[7] = {1.0f, 0.0f, 0.7f, 0.0f, 0.6f, 0.0f, 0.7f};

// One voice against the lead, by their interval; it runs on past the octave.
inline constexpr float kInterval[17] = {0.1f, 0.5f, 1.0f, 0.6f, 0.5f, 1.0f, 0.8f, 0.0f, 0.9f,
                                        0.0f, 0.7f, 0.0f, 0.8f, 0.0f, 0.5f, 0.0f, 0.5f};

// Two voices that move the same way by the same degree, by the interval between them. Entry 7 is the octave
// and entry 0 a unison, which is free; 8 and on are only met on the chromatic scale.
inline constexpr float kParallel[12] = {1.0f,   0.001f, 1.4f, 0.05f, 0.001f, 1.4f,
                                        0.001f, 0.002f, 1.0f, 0.0f,  0.7f,   0.0f};

// Parallel thirds that move by more than a single step.
inline constexpr float kParallelThirdsLeaping = 1.01f;

}  // namespace mlh::ChoiralizerClassic
