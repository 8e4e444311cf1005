#include "choir/score/ChordSpelling.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "choir/chords/ChordSymbol.h"

namespace mlh::choir {

namespace {

std::string Spelled(int pitchClass, const std::string& chord, int key) {
    const Spelling spelling =
        SpellInChord(pitchClass, chord.empty() ? Chord{} : ReadChordSymbol(chord).chord, key);
    std::string name(1, spelling.step);
    for (int i = 0; i < std::abs(spelling.alter); ++i) {
        name += spelling.alter > 0 ? '#' : 'b';
    }
    return name;
}

}  // namespace

TEST(ChordSpelling, TonesAreSpelledOnTheRootsLetters) {
    const std::tuple<int, const char*, int, const char*> cases[] = {
        {8, "E7", 0, "G#"},      {8, "", 0, "Ab"},     {8, "Fm", 0, "Ab"},    {6, "D7", 0, "F#"},
        {1, "A7", 0, "C#"},      {1, "Db", 0, "Db"},   {10, "C7", 0, "Bb"},   {3, "B", 4, "D#"},
        {3, "Cm", 0, "Eb"},      {6, "Cdim", 0, "Gb"}, {8, "Caug", 0, "G#"},  {9, "Cdim7", 0, "A"},
        {3, "C7#9", 0, "D#"},    {1, "C7b9", 0, "Db"}, {6, "C7#11", 0, "F#"}, {9, "C6", 0, "A"},
        {9, "C13", 0, "A"},      {2, "C9", 0, "D"},    {5, "Csus4", 0, "F"},  {10, "Gm", 8, "Bb"},
        {11, "G#m", 11, "B"},    {4, "C", 0, "E"},     {10, "F#", 6, "A#"},   {10, "Gb", 6, "Bb"},
        {8, "C7(b13)", 0, "Ab"}, {0, "G#7", 0, "B#"}};
    for (const auto& [pitchClass, chord, key, name] : cases) {
        EXPECT_EQ(Spelled(pitchClass, chord, key), name) << pitchClass << " in " << chord;
    }
}

TEST(ChordSpelling, EveryPitchHasItsOwnSpellingWithOneAccidentalAtMost) {
    constexpr int kNatural[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
    for (const char* chord : {"", "C", "F#m7b5", "Ebdim7", "G#7", "Cb", "B#m", "Fbb", "C7alt", "D13"}) {
        const Chord read = chord[0] == '\0' ? Chord{} : ReadChordSymbol(chord).chord;
        for (int key = 0; key < 24; ++key) {
            for (int pitchClass = 0; pitchClass < 12; ++pitchClass) {
                const Spelling spelling = SpellInChord(pitchClass, read, key);
                EXPECT_LE(std::abs(spelling.alter), 1) << chord << key;
                EXPECT_EQ((kNatural[spelling.step - 'A'] + spelling.alter + 12) % 12, pitchClass) << chord;
            }
        }
    }
}

}  // namespace mlh::choir
