// The chords of the block styles, as distances below the lead.
#pragma once

#include <cstdint>

namespace mlh::ChoiralizerClassic {

// One voice: the way down to the steps-th scale tone at or below the lead (0 for no walk), plus semitones.
struct BlockVoice {
    int8_t steps;
    int8_t semitones;
};

// The three voicings of a chord; block styles 0, 1 and 2, 3 and 4, 5 in turn.
enum BlockSpacing : int32_t { BlockClosed = 0, BlockOctave, BlockOpen };
struct BlockChord {
    BlockVoice voices[3][3];
};

// Chord under a lead that is a tone of the tonic sixth chord, by the lead's semitones above the tonic.
struct PlainChord {
    int32_t degree;
    BlockChord chord;
};
inline constexpr PlainChord kPlainChords[4] = {
    {0, {{{{3, 0}, {4, 0}, {6, 0}}, {{3, 0}, {6, 0}, {0, 12}}, {{4, 0}, {6, 0}, {3, 12}}}}},
    {4, {{{{3, 0}, {5, 0}, {6, 0}}, {{5, 0}, {6, 0}, {0, 12}}, {{5, 0}, {6, 0}, {3, 12}}}}},
    {7, {{{{3, 0}, {5, 0}, {7, 0}}, {{5, 0}, {7, 0}, {0, 12}}, {{5, 0}, {7, 0}, {3, 12}}}}},
    {9, {{{{2, 0}, {4, 0}, {6, 0}}, {{2, 0}, {6, 0}, {0, 12}}, {{4, 0}, {6, 0}, {2, 12}}}}},
};

// Chord under any other lead: a diminished seventh.
inline constexpr BlockChord kDiminishedChord = {
    {{{0, 3}, {0, 6}, {0, 9}}, {{0, 3}, {0, 6}, {0, 12}}, {{0, 6}, {0, 9}, {0, 15}}}};

// Chords that lead on to the next note, by the semitones of both notes above the tonic.
inline constexpr BlockChord kPassingA = {
    {{{0, 2}, {0, 5}, {0, 8}}, {{0, 2}, {0, 8}, {0, 12}}, {{0, 5}, {0, 8}, {0, 14}}}};
inline constexpr BlockChord kPassingB = {
    {{{0, 4}, {0, 6}, {0, 9}}, {{0, 4}, {0, 6}, {0, 12}}, {{0, 6}, {0, 9}, {0, 16}}}};
inline constexpr BlockChord kPassingC = {
    {{{0, 1}, {0, 5}, {0, 8}}, {{0, 1}, {0, 8}, {0, 12}}, {{0, 5}, {0, 8}, {0, 13}}}};

struct PassingChord {
    int32_t degree;
    int32_t nextDegree;
    const BlockChord* chord;
};
inline constexpr PassingChord kPassingChords[8] = {
    {0, 5, &kPassingA}, {2, 7, &kPassingA}, {6, 7, &kPassingB}, {7, 0, &kPassingA},
    {7, 9, &kPassingA}, {8, 9, &kPassingB}, {8, 7, &kPassingC}, {11, 0, &kPassingB},
};

// Semitones below the lead for styles 6, 7, 8, by the random bit.
inline constexpr int32_t kRandomStacks[3][2][3] = {
    {{3, 7, 10}, {3, 5, 8}},
    {{7, 10, 12}, {3, 8, 12}},
    {{7, 10, 15}, {5, 8, 15}},
};

}  // namespace mlh::ChoiralizerClassic
