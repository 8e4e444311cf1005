#include "choir/chords/ChordSymbol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "theory/ChordTypes.h"

namespace mlh::choir {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Intervals = std::vector<int>;

// One spelling, and what sounds. A chord without a bass has it at -1.
struct Spelling {
    const char* symbol;
    int root;
    Intervals intervals;
    int bass;
    const char* name;
};

const std::vector<Spelling>& Spellings() {
    static const std::vector<Spelling> spellings = {
        // triads
        {"C", 0, {0, 4, 7}, -1, "C"},
        {"Cm", 0, {0, 3, 7}, -1, "Cm"},
        {"C-", 0, {0, 3, 7}, -1, "Cm"},
        {"Cmin", 0, {0, 3, 7}, -1, "Cm"},
        {"Cmi", 0, {0, 3, 7}, -1, "Cm"},
        {"CM", 0, {0, 4, 7}, -1, "C"},
        {"Cmaj", 0, {0, 4, 7}, -1, "C"},
        {"Caug", 0, {0, 4, 8}, -1, "Caug"},
        {"C+", 0, {0, 4, 8}, -1, "Caug"},
        {"Cdim", 0, {0, 3, 6}, -1, "Cdim"},
        {"Co", 0, {0, 3, 6}, -1, "Cdim"},
        {"C\u00B0", 0, {0, 3, 6}, -1, "Cdim"},
        {"C5", 0, {0, 7}, -1, "C5"},
        {"Csus", 0, {0, 5, 7}, -1, "Csus4"},
        {"Csus4", 0, {0, 5, 7}, -1, "Csus4"},
        {"Csus2", 0, {0, 2, 7}, -1, "Csus2"},
        {"C2", 0, {0, 2, 7}, -1, "Csus2"},
        {"C4", 0, {0, 5, 7}, -1, "Csus4"},
        {"C(b5)", 0, {0, 4, 6}, -1, "C(b5)"},
        {"Csus24", 0, {0, 2, 5, 7}, -1, "Csus4(add2)"},
        // sevenths
        {"C\u25B3", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"C\u0394", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"Cmaj7", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"CM7", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"C\u25B37", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"Cma7", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"C^7", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"Cm7", 0, {0, 3, 7, 10}, -1, "Cm7"},
        {"C-7", 0, {0, 3, 7, 10}, -1, "Cm7"},
        {"Cmin7", 0, {0, 3, 7, 10}, -1, "Cm7"},
        {"C7", 0, {0, 4, 7, 10}, -1, "C7"},
        {"Cdom7", 0, {0, 4, 7, 10}, -1, "C7"},
        {"C7b5", 0, {0, 4, 6, 10}, -1, "C7b5"},
        {"C7-5", 0, {0, 4, 6, 10}, -1, "C7b5"},
        {"C7#5", 0, {0, 4, 8, 10}, -1, "C7#5"},
        {"C+7", 0, {0, 4, 8, 10}, -1, "C7#5"},
        {"C7+", 0, {0, 4, 8, 10}, -1, "C7#5"},
        {"Caug7", 0, {0, 4, 8, 10}, -1, "C7#5"},
        {"Cmaj7#5", 0, {0, 4, 8, 11}, -1, "Cmaj7#5"},
        {"C+M7", 0, {0, 4, 8, 11}, -1, "Cmaj7#5"},
        {"Cdim7", 0, {0, 3, 6, 9}, -1, "Cdim7"},
        {"Co7", 0, {0, 3, 6, 9}, -1, "Cdim7"},
        {"C\u00B07", 0, {0, 3, 6, 9}, -1, "Cdim7"},
        {"Cm7b5", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"Cm7(\u266D5)", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"C\u00F8", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"C\u00F87", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"C7sus4", 0, {0, 5, 7, 10}, -1, "C7sus4"},
        {"C7sus", 0, {0, 5, 7, 10}, -1, "C7sus4"},
        {"Csus7", 0, {0, 5, 7, 10}, -1, "C7sus4"},
        {"CmMaj7", 0, {0, 3, 7, 11}, -1, "CmMaj7"},
        {"CmM7", 0, {0, 3, 7, 11}, -1, "CmMaj7"},
        {"Cm(maj7)", 0, {0, 3, 7, 11}, -1, "CmMaj7"},
        {"C-\u25B37", 0, {0, 3, 7, 11}, -1, "CmMaj7"},
        // sixths and what lies above
        {"C6", 0, {0, 4, 7, 9}, -1, "C6"},
        {"Cm6", 0, {0, 3, 7, 9}, -1, "Cm6"},
        {"C69", 0, {0, 4, 7, 9, 14}, -1, "C69"},
        {"C6/9", 0, {0, 4, 7, 9, 14}, -1, "C69"},
        {"Cm6/9", 0, {0, 3, 7, 9, 14}, -1, "Cm69"},
        {"Cadd9", 0, {0, 4, 7, 14}, -1, "Cadd9"},
        {"Cmadd9", 0, {0, 3, 7, 14}, -1, "Cmadd9"},
        {"C(add9)", 0, {0, 4, 7, 14}, -1, "Cadd9"},
        {"Cadd11", 0, {0, 4, 7, 17}, -1, "C(add11)"},
        {"C9", 0, {0, 4, 7, 10, 14}, -1, "C9"},
        {"Cm9", 0, {0, 3, 7, 10, 14}, -1, "Cm9"},
        {"Cmaj9", 0, {0, 4, 7, 11, 14}, -1, "Cmaj9"},
        {"C9sus4", 0, {0, 5, 7, 10, 14}, -1, "C9sus4"},
        {"C11", 0, {0, 4, 7, 10, 14, 17}, -1, "C11"},
        {"Cm11", 0, {0, 3, 7, 10, 14, 17}, -1, "Cm11"},
        {"C13", 0, {0, 4, 7, 10, 14, 21}, -1, "C13"},
        {"C7b9", 0, {0, 4, 7, 10, 13}, -1, "C7b9"},
        {"C7(b9)", 0, {0, 4, 7, 10, 13}, -1, "C7b9"},
        {"C7-9", 0, {0, 4, 7, 10, 13}, -1, "C7b9"},
        {"C7#9", 0, {0, 4, 7, 10, 15}, -1, "C7#9"},
        {"C7#11", 0, {0, 4, 7, 10, 18}, -1, "C7#11"},
        {"C7(b9,b13)", 0, {0, 4, 7, 10, 13, 20}, -1, "C7b9(addb13)"},
        {"C13b9", 0, {0, 4, 7, 10, 13, 21}, -1, "C7b9(add13)"},
        {"C7alt", 0, {0, 4, 6, 8, 10, 13, 15}, -1, "C7alt"},
        {"C7no5", 0, {0, 4, 10}, -1, "C7(no5)"},
        {"C7(no3)", 0, {0, 7, 10}, -1, "C7(no3)"},
        // roots and basses
        {"F#m7b5", 6, {0, 3, 6, 10}, -1, "F#m7b5"},
        {"Gb", 6, {0, 4, 7}, -1, "Gb"},
        {"B\u266D", 10, {0, 4, 7}, -1, "Bb"},
        {"F\u266Fm", 6, {0, 3, 7}, -1, "F#m"},
        {"Cb", 11, {0, 4, 7}, -1, "Cb"},
        {"B#", 0, {0, 4, 7}, -1, "B#"},
        {"Fbb", 3, {0, 4, 7}, -1, "Fbb"},
        {"C/E", 0, {0, 4, 7}, 4, "C/E"},
        {"Am/C", 9, {0, 3, 7}, 0, "Am/C"},
        {"D/F#", 2, {0, 4, 7}, 6, "D/F#"},
        {"D7/F\u266F", 2, {0, 4, 7, 10}, 6, "D7/F#"},
        {"C6/9/E", 0, {0, 4, 7, 9, 14}, 4, "C69/E"},
        {"C/3", 0, {0, 4, 7}, 4, "C/E"},
        {"C/C", 0, {0, 4, 7}, -1, "C"},
        {"C/Bb", 0, {0, 4, 7}, 10, "C/Bb"},
        // no chord
        {"N.C.", -1, {}, -1, "N.C."},
        {"NC", -1, {}, -1, "N.C."},
        {"N", -1, {}, -1, "N.C."},
        {"X", -1, {}, -1, "N.C."},
        // labels
        {"C:maj", 0, {0, 4, 7}, -1, "C"},
        {"A:min", 9, {0, 3, 7}, -1, "Am"},
        {"C:dim", 0, {0, 3, 6}, -1, "Cdim"},
        {"C:aug", 0, {0, 4, 8}, -1, "Caug"},
        {"C:maj7", 0, {0, 4, 7, 11}, -1, "Cmaj7"},
        {"A:min7", 9, {0, 3, 7, 10}, -1, "Am7"},
        {"C:7", 0, {0, 4, 7, 10}, -1, "C7"},
        {"C:dim7", 0, {0, 3, 6, 9}, -1, "Cdim7"},
        {"C:hdim7", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"C:hdim", 0, {0, 3, 6, 10}, -1, "Cm7b5"},
        {"C:minmaj7", 0, {0, 3, 7, 11}, -1, "CmMaj7"},
        {"C:aug7", 0, {0, 4, 8, 10}, -1, "C7#5"},
        {"B:aug7", 11, {0, 4, 8, 10}, -1, "B7#5"},
        {"C:maj6", 0, {0, 4, 7, 9}, -1, "C6"},
        {"C:min6", 0, {0, 3, 7, 9}, -1, "Cm6"},
        {"C:6", 0, {0, 4, 7, 9}, -1, "C6"},
        {"C:9", 0, {0, 4, 7, 10, 14}, -1, "C9"},
        {"C:maj9", 0, {0, 4, 7, 11, 14}, -1, "Cmaj9"},
        {"C:min9", 0, {0, 3, 7, 10, 14}, -1, "Cm9"},
        {"C:11", 0, {0, 4, 7, 10, 14, 17}, -1, "C11"},
        {"C:min11", 0, {0, 3, 7, 10, 14, 17}, -1, "Cm11"},
        {"C:13", 0, {0, 4, 7, 10, 14, 21}, -1, "C13"},
        {"C:maj13", 0, {0, 4, 7, 11, 14, 21}, -1, "Cmaj13"},
        {"C:min13", 0, {0, 3, 7, 10, 14, 17, 21}, -1, "Cm13"},
        {"C:b9", 0, {0, 4, 7, 10, 13}, -1, "C7b9"},
        {"C:#9", 0, {0, 4, 7, 10, 15}, -1, "C7#9"},
        {"C:sus2", 0, {0, 2, 7}, -1, "Csus2"},
        {"C:sus4", 0, {0, 5, 7}, -1, "Csus4"},
        {"C:sus4(b7)", 0, {0, 5, 7, 10}, -1, "C7sus4"},
        {"D:sus4(b7,9)", 2, {0, 5, 7, 10, 14}, -1, "D9sus4"},
        {"C:9(*5)", 0, {0, 4, 10, 14}, -1, "C9(no5)"},
        {"D:(1,3,5)", 2, {0, 4, 7}, -1, "D"},
        {"C:(b3,5)", 0, {0, 3, 7}, -1, "Cm"},
        {"C:(*1,3,5)", 0, {4, 7}, -1, "C:(*1,3,5)"},
        {"C:1", 0, {0}, -1, "C:(1)"},
        {"C:5", 0, {0, 7}, -1, "C5"},
        {"C:maj(9)", 0, {0, 4, 7, 14}, -1, "Cadd9"},
        {"C:maj/3", 0, {0, 4, 7}, 4, "C/E"},
        {"G:7/3", 7, {0, 4, 7, 10}, 11, "G7/B"},
        {"G:7/b7", 7, {0, 4, 7, 10}, 5, "G7/F"},
        {"Eb:min/b3", 3, {0, 3, 7}, 6, "Ebm/Gb"},
        {"F#:maj/3", 6, {0, 4, 7}, 10, "F#/A#"},
        {"C:maj/9", 0, {0, 4, 7}, 2, "C/D"},
        // other names of notes
        {"H", 11, {0, 4, 7}, -1, "B"},
        {"Hm7", 11, {0, 3, 7, 10}, -1, "Bm7"},
        {"G/H", 7, {0, 4, 7}, 11, "G/B"},
        {"Do", 0, {0, 4, 7}, -1, "C"},
        {"Do7", 0, {0, 4, 7, 10}, -1, "C7"},
        {"Rem", 2, {0, 3, 7}, -1, "Dm"},
        {"R\u00E9m", 2, {0, 3, 7}, -1, "Dm"},
        {"Mi", 4, {0, 4, 7}, -1, "E"},
        {"Fa#m", 6, {0, 3, 7}, -1, "F#m"},
        {"Faug", 5, {0, 4, 8}, -1, "Faug"},
        {"Fadd9", 5, {0, 4, 7, 14}, -1, "Fadd9"},
        {"Solb", 6, {0, 4, 7}, -1, "Gb"},
        {"LA-", 9, {0, 3, 7}, -1, "Am"},
        {"Sib", 10, {0, 4, 7}, -1, "Bb"},
        {"Do/Mi", 0, {0, 4, 7}, 4, "C/E"},
        {"Ddim", 2, {0, 3, 6}, -1, "Ddim"},
        {"D\u00B0", 2, {0, 3, 6}, -1, "Ddim"},
    };
    return spellings;
}

TEST(ChordSymbol, EverySpellingHasItsExactTonesAndName) {
    for (const Spelling& spelling : Spellings()) {
        ReadSymbol read;
        ASSERT_NO_THROW(read = ReadChordSymbol(spelling.symbol)) << spelling.symbol;
        EXPECT_EQ(read.chord.root, spelling.root) << spelling.symbol;
        EXPECT_EQ(read.chord.intervals, spelling.intervals) << spelling.symbol;
        EXPECT_EQ(read.chord.bass, spelling.bass) << spelling.symbol;
        EXPECT_EQ(read.chord.name, spelling.name) << spelling.symbol;
        EXPECT_EQ(read.chord.written, spelling.symbol);
    }
}

TEST(ChordSymbol, PrintedNamesReadAsTheSameChord) {
    for (const Spelling& spelling : Spellings()) {
        const Chord chord = ReadChordSymbol(spelling.symbol).chord;
        const Chord again = ReadChordSymbol(chord.name).chord;
        EXPECT_TRUE(SoundsLike(chord, again)) << spelling.symbol << " " << chord.name;
        EXPECT_EQ(again.name, chord.name);
    }
}

// Degrees in C major and A minor.
TEST(ChordSymbol, DegreesAreChordsOfTheKey) {
    const auto name = [](const char* symbol, int key) { return ReadChordSymbol(symbol, key).chord.name; };
    const std::pair<const char*, const char*> inC[] = {
        {"I", "C"},         {"IV", "F"},         {"V7", "G7"},
        {"vi", "Am"},       {"ii7", "Dm7"},      {"bVII", "Bb"},
        {"\u266DVI", "Ab"}, {"viio", "Bdim"},    {"vii\u00F87", "Bm7b5"},
        {"iii", "Em"},      {"#ivo7", "F#dim7"}, {"Imaj7", "Cmaj7"},
        {"V/V", "D"},       {"V7/ii", "A7"},     {"viio7/V", "F#dim7"},
        {"IV/V", "F/G"},    {"I/3", "C/E"},      {"V7sus4", "G7sus4"},
        {"iv", "Fm"},       {"IIm7", "Dm7"}};
    for (const auto& [symbol, expected] : inC) {
        EXPECT_EQ(name(symbol, 0), expected) << symbol;
    }
    const std::pair<const char*, const char*> inAMinor[] = {
        {"i", "Am"},     {"iv", "Dm"},        {"V7", "E7"},           {"VI", "F"},
        {"VII", "G"},    {"bVII", "G"},       {"III", "C"},           {"v", "Em"},
        {"iio", "Bdim"}, {"viio7", "G#dim7"}, {"ii\u00F87", "Bm7b5"}, {"bII", "Bb"}};
    for (const auto& [symbol, expected] : inAMinor) {
        EXPECT_EQ(name(symbol, 21), expected) << symbol;
    }
    EXPECT_EQ(name("IV", 6), "B");
    EXPECT_EQ(name("V7", 3), "Bb7");
}

TEST(ChordSymbol, DegreesWithoutAKeyAreRefusedForThat) {
    for (const char* degree : {"I", "IV", "V7", "vi", "ii7", "bVII", "viio7"}) {
        try {
            ReadChordSymbol(degree);
            ADD_FAILURE() << degree;
        } catch (const ChordTextError& error) {
            EXPECT_EQ(error.fault, ChordTextFault::NeedsKey) << degree;
            EXPECT_EQ(error.column, 1);
            EXPECT_THAT(error.what(), HasSubstr("needs a key"));
        }
    }
}

TEST(ChordSymbol, WhatMayBeMeantOtherwiseIsRemarked) {
    const auto remark = [](const char* symbol) { return ReadChordSymbol(symbol).remark; };
    EXPECT_THAT(remark("Hm7"), HasSubstr("H is read as B"));
    EXPECT_THAT(remark("G/H"), HasSubstr("H is read as B"));
    EXPECT_THAT(remark("Do"), HasSubstr("Do is read as C"));
    EXPECT_THAT(remark("C2"), HasSubstr("sus2"));
    EXPECT_THAT(remark("C4"), HasSubstr("sus4"));
    EXPECT_THAT(remark("C\u25B3"), HasSubstr("major seventh"));
    for (const char* plain : {"C", "Bm7", "Cmaj7", "C\u25B37", "Csus2", "Rem", "Ddim"}) {
        EXPECT_EQ(remark(plain), "") << plain;
    }
}

TEST(ChordSymbol, RefusalsSayWhereAndWhatToWrite) {
    const struct {
        const char* symbol;
        int column;
        const char* hint;
    } refusals[] = {{"Amn7", 3, "did you mean 'Am7'?"},
                    {"am", 1, "did you mean 'Am'?"},
                    {"Cmajj7", 5, "did you mean 'Cmaj7'?"},
                    {"C:minn7", 6, "did you mean 'C:min7'?"},
                    {"C:", 3, "write C:maj"},
                    {"Cm5", 3, "write C5, Cm"},
                    {"C-5", 3, "write C5, Cm"},
                    {"Cdim6", 5, "write Cdim7"},
                    {"C8", 2, "the numbers of chords"},
                    {"Cmaj2", 5, "sus2"},
                    {"C7b7", 3, "the sevenths are written"},
                    {"C7b3", 3, "a minor third is written Cm"},
                    {"C7#13", 3, "what can be altered"},
                    {"Cadd8", 5, "what can be added"},
                    {"Cadd7", 5, "the sevenths are written"},
                    {"C5no3", 5, "no such tone"},
                    {"C7no7", 5, "what can be left out"},
                    {"C7(b9", 6, "write )"},
                    {"C7)", 3, "no bracket"},
                    {"Cmalt", 6, "write C7alt"},
                    {"C/9", 3, "written Cadd9"},
                    {"C/x", 3, "the bass is written as a note"},
                    {"C/E/G", 4, "one bass"},
                    {"C:9(*6)", 5, "no such tone"},
                    {"C:9(x)", 5, "degrees are written"},
                    {"C:9(*5", 7, "degrees are written"},
                    {"Cis", 2, "write C#"},
                    {"Des", 2, "write Db"},
                    {"V65", 2, "V7/3"},
                    {"Q", 1, "did you mean"},
                    {"", 1, "did you mean"}};
    for (const auto& refusal : refusals) {
        try {
            const Chord read = ReadChordSymbol(refusal.symbol).chord;
            ADD_FAILURE() << refusal.symbol << " was read as " << read.name;
        } catch (const ChordTextError& error) {
            EXPECT_EQ(error.column, refusal.column) << error.what();
            EXPECT_THAT(error.what(), HasSubstr(refusal.hint)) << refusal.symbol;
            EXPECT_THAT(error.what(), HasSubstr(std::string("'") + refusal.symbol + "'"));
            EXPECT_EQ(error.fault, ChordTextFault::Unreadable) << refusal.symbol;
        }
    }
}

// Any root, any tones and any bass: the printed name reads as the same chord.
TEST(ChordSymbol, AnyChordIsReadFromItsName) {
    std::mt19937 random(71);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int round = 0; round < 20000; ++round) {
        Chord chord;
        chord.root = below(12);
        const int density = 1 + below(6);
        for (int interval = 0; interval <= 21; ++interval) {
            if (interval == 0 ? below(8) != 0 : below(7) < density) {
                chord.intervals.push_back(interval);
            }
        }
        if (chord.intervals.empty()) {
            continue;
        }
        const int bass = below(24);
        chord.bass = bass < 12 && bass != chord.root ? bass : -1;
        chord.name = ChordName(chord.root, chord.intervals, chord.bass, below(2) == 1);
        Chord read;
        ASSERT_NO_THROW(read = ReadChordSymbol(chord.name).chord) << chord.name;
        ASSERT_TRUE(SoundsLike(chord, read)) << chord.name << " " << read.name;
    }
}

// The same for chords of a triad and a few more tones, which have shorter names.
TEST(ChordSymbol, AnyTriadWithAFewTonesMoreOrLessIsReadFromItsName) {
    for (const theory::ChordType& type : theory::kChordTypes) {
        for (int added = -1; added <= 21; ++added) {
            for (int another = -1; another <= added; ++another) {
                for (int left = 0; left < 3 && left < type.count; ++left) {
                    std::vector<bool> has(22);
                    for (int i = 0; i < type.count; ++i) {
                        has[static_cast<std::size_t>(type.tones[i].semitones)] = i != left || left == 0;
                    }
                    if (added >= 0) {
                        has[static_cast<std::size_t>(added)] = true;
                    }
                    if (another >= 0) {
                        has[static_cast<std::size_t>(another)] = true;
                    }
                    Chord chord;
                    chord.root = 2;
                    for (int interval = 0; interval <= 21; ++interval) {
                        if (has[static_cast<std::size_t>(interval)]) {
                            chord.intervals.push_back(interval);
                        }
                    }
                    chord.name = ChordName(chord.root, chord.intervals);
                    Chord read;
                    ASSERT_NO_THROW(read = ReadChordSymbol(chord.name).chord) << chord.name;
                    ASSERT_TRUE(SoundsLike(chord, read)) << chord.name << " " << read.name;
                }
            }
        }
    }
}

}  // namespace

}  // namespace mlh::choir
