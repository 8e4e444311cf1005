// The chords that have names, one row for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace mlh::theory {

// A tone of a chord above its root: 14 semitones on the eighth letter after the root's is a ninth.
struct ChordTone {
    int8_t semitones;
    int8_t steps;  // letters above the root's
};

// The tones by their usual names.
inline constexpr ChordTone kRoot = {0, 0}, kSecond = {2, 1}, kMinorThird = {3, 2}, kMajorThird = {4, 2},
                           kFourth = {5, 3}, kFlatFifth = {6, 4}, kFifth = {7, 4}, kSharpFifth = {8, 4},
                           kSixth = {9, 5}, kFlatSeventh = {10, 6}, kDiminishedSeventh = {9, 6},
                           kMajorSeventh = {11, 6}, kFlatNinth = {13, 8}, kNinth = {14, 8},
                           kSharpNinth = {15, 8}, kEleventh = {17, 10}, kSharpEleventh = {18, 10},
                           kThirteenth = {21, 12};

// What the engines write where a chord is no triad, and where it is no seventh chord.
inline constexpr int32_t kNoTriad = 5;
inline constexpr int32_t kNoSeventh = 16;
inline constexpr int32_t kFirstSeventhCode = 9;  // codes from here on are of seventh chords, below of triads
inline constexpr int32_t kNoCode = -1;

inline constexpr int kMostChordTones = 7;

struct ChordType {
    const char* suffix;                // after the root's name: "m7" of Am7
    const char* harte;                 // after "root:" in labels (Harte and others, 2005); "" for none
    const char* kind;                  // in notation (the `kind` of MusicXML); "" for none
    int32_t code;                      // of the engines, kNoCode for none
    int32_t count;                     // of tones
    ChordTone tones[kMostChordTones];  // rising
};

// The order is that in which a set of pitches that fits several rows is named.
inline constexpr ChordType kChordTypes[] = {
    {"", "maj", "major", 0, 3, {kRoot, kMajorThird, kFifth}},
    {"m", "min", "minor", 1, 3, {kRoot, kMinorThird, kFifth}},
    {"dim", "dim", "diminished", 2, 3, {kRoot, kMinorThird, kFlatFifth}},
    {"aug", "aug", "augmented", 3, 3, {kRoot, kMajorThird, kSharpFifth}},
    {"7", "7", "dominant", 11, 4, {kRoot, kMajorThird, kFifth, kFlatSeventh}},
    {"maj7", "maj7", "major-seventh", 9, 4, {kRoot, kMajorThird, kFifth, kMajorSeventh}},
    {"m7", "min7", "minor-seventh", 10, 4, {kRoot, kMinorThird, kFifth, kFlatSeventh}},
    {"m7b5", "hdim7", "half-diminished", 12, 4, {kRoot, kMinorThird, kFlatFifth, kFlatSeventh}},
    {"dim7", "dim7", "diminished-seventh", 13, 4, {kRoot, kMinorThird, kFlatFifth, kDiminishedSeventh}},
    {"mMaj7", "minmaj7", "major-minor", 14, 4, {kRoot, kMinorThird, kFifth, kMajorSeventh}},
    {"maj7#5", "", "", 17, 4, {kRoot, kMajorThird, kSharpFifth, kMajorSeventh}},
    {"6", "maj6", "major-sixth", kNoCode, 4, {kRoot, kMajorThird, kFifth, kSixth}},
    {"m6", "min6", "minor-sixth", kNoCode, 4, {kRoot, kMinorThird, kFifth, kSixth}},
    {"sus4", "sus4", "suspended-fourth", 6, 3, {kRoot, kFourth, kFifth}},
    {"sus2", "sus2", "suspended-second", kNoCode, 3, {kRoot, kSecond, kFifth}},
    {"5", "5", "power", kNoCode, 2, {kRoot, kFifth}},
    {"7sus4", "", "", kNoCode, 4, {kRoot, kFourth, kFifth, kFlatSeventh}},
    {"7#5", "aug7", "augmented-seventh", kNoCode, 4, {kRoot, kMajorThird, kSharpFifth, kFlatSeventh}},
    {"7b5", "", "", kNoCode, 4, {kRoot, kMajorThird, kFlatFifth, kFlatSeventh}},
    {"maj7b5", "", "", kNoCode, 4, {kRoot, kMajorThird, kFlatFifth, kMajorSeventh}},
    // In brackets, since a flat after the root's letter belongs to the root.
    {"(b5)", "", "", kNoCode, 3, {kRoot, kMajorThird, kFlatFifth}},
    {"add9", "", "", kNoCode, 4, {kRoot, kMajorThird, kFifth, kNinth}},
    {"madd9", "", "", kNoCode, 4, {kRoot, kMinorThird, kFifth, kNinth}},
    {"69", "", "", kNoCode, 5, {kRoot, kMajorThird, kFifth, kSixth, kNinth}},
    {"m69", "", "", kNoCode, 5, {kRoot, kMinorThird, kFifth, kSixth, kNinth}},
    {"9", "9", "dominant-ninth", kNoCode, 5, {kRoot, kMajorThird, kFifth, kFlatSeventh, kNinth}},
    {"maj9", "maj9", "major-ninth", kNoCode, 5, {kRoot, kMajorThird, kFifth, kMajorSeventh, kNinth}},
    {"m9", "min9", "minor-ninth", kNoCode, 5, {kRoot, kMinorThird, kFifth, kFlatSeventh, kNinth}},
    {"mMaj9", "", "", kNoCode, 5, {kRoot, kMinorThird, kFifth, kMajorSeventh, kNinth}},
    {"9sus4", "", "", kNoCode, 5, {kRoot, kFourth, kFifth, kFlatSeventh, kNinth}},
    {"7b9", "", "", kNoCode, 5, {kRoot, kMajorThird, kFifth, kFlatSeventh, kFlatNinth}},
    {"7#9", "", "", kNoCode, 5, {kRoot, kMajorThird, kFifth, kFlatSeventh, kSharpNinth}},
    {"7#11", "", "", kNoCode, 5, {kRoot, kMajorThird, kFifth, kFlatSeventh, kSharpEleventh}},
    {"maj7#11", "", "", kNoCode, 5, {kRoot, kMajorThird, kFifth, kMajorSeventh, kSharpEleventh}},
    {"11", "11", "dominant-11th", kNoCode, 6, {kRoot, kMajorThird, kFifth, kFlatSeventh, kNinth, kEleventh}},
    {"maj11",
     "maj11",
     "major-11th",
     kNoCode,
     6,
     {kRoot, kMajorThird, kFifth, kMajorSeventh, kNinth, kEleventh}},
    {"m11", "min11", "minor-11th", kNoCode, 6, {kRoot, kMinorThird, kFifth, kFlatSeventh, kNinth, kEleventh}},
    // The eleventh rubs against a major third and is left out.
    {"13",
     "13",
     "dominant-13th",
     kNoCode,
     6,
     {kRoot, kMajorThird, kFifth, kFlatSeventh, kNinth, kThirteenth}},
    {"maj13",
     "maj13",
     "major-13th",
     kNoCode,
     6,
     {kRoot, kMajorThird, kFifth, kMajorSeventh, kNinth, kThirteenth}},
    {"m13",
     "min13",
     "minor-13th",
     kNoCode,
     7,
     {kRoot, kMinorThird, kFifth, kFlatSeventh, kNinth, kEleventh, kThirteenth}},
    // All that can be altered is: the altered scale (superlocrian) on the root.
    {"7alt",
     "",
     "",
     kNoCode,
     7,
     {kRoot, kMajorThird, kFlatFifth, kSharpFifth, kFlatSeventh, kFlatNinth, kSharpNinth}},
};
inline constexpr int kChordTypeRows = static_cast<int>(std::size(kChordTypes));

// The row of an engine's code; none, null, for a code of no chord.
constexpr const ChordType* FindChordType(int32_t code) {
    for (const ChordType& type : kChordTypes) {
        if (type.code == code && code != kNoCode) {
            return &type;
        }
    }
    return nullptr;
}

// The row of a suffix, which must exist: for what is written in the code.
constexpr const ChordType& ChordTypeNamed(std::string_view suffix) {
    const ChordType* found = nullptr;
    for (const ChordType& type : kChordTypes) {
        if (suffix == type.suffix) {
            found = &type;
        }
    }
    return *found;
}

// The semitones of a tone of an engine's chord, which must exist.
constexpr int32_t ToneOfCode(int32_t code, int32_t tone) {
    return FindChordType(code)->tones[tone].semitones;
}

}  // namespace mlh::theory
