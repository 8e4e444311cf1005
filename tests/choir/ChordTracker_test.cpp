#include "choir/melody/ChordTracker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>

#include "choir/Melodies.h"
#include "choir/melody/MelodyTracker.h"

namespace mlh::choir {
namespace {

constexpr HalfBarMetre kFourFour = {2, 2};

std::vector<HeardChord> InC(const std::vector<MelodyNote>& notes) {
    return TrackChords(notes, 0, false, HalfBarClock(0.0, 2.0), kFourFour, MetreSource::Known);
}

const HeardChord& At(const std::vector<HeardChord>& chords, double time) {
    size_t i = 0;
    while (i + 1 < chords.size() && chords[i + 1].time <= time) {
        ++i;
    }
    return chords[i];
}

// Chords are in order, without repeats, with sane fields, and the first is at the first note.
void ExpectSound(const std::vector<HeardChord>& chords, const std::vector<MelodyNote>& notes) {
    ASSERT_EQ(chords.empty(), notes.empty());
    if (notes.empty()) {
        return;
    }
    EXPECT_EQ(chords.front().time, notes.front().start);
    for (size_t i = 0; i < chords.size(); ++i) {
        EXPECT_TRUE(std::isfinite(chords[i].time));
        EXPECT_GE(chords[i].root, 0);
        EXPECT_LT(chords[i].root, 12);
        EXPECT_GT(chords[i].confidence, 0.0);
        EXPECT_LE(chords[i].confidence, 1.0 + 1e-9);
        if (i > 0) {
            EXPECT_LT(chords[i - 1].time, chords[i].time);
            EXPECT_TRUE(chords[i - 1].root != chords[i].root || chords[i - 1].kind != chords[i].kind);
        }
    }
}

TEST(ChordTracker, HearsBrokenChordsOfAMajorTune) {
    const auto notes = Line(MajorTune());
    const auto chords = InC(notes);
    ExpectSound(chords, notes);
    EXPECT_EQ(At(chords, 0.0).root, 0);
    EXPECT_EQ(At(chords, 4.5).root, 5) << "F A C A";
    EXPECT_EQ(At(chords, 14.5).root, 7) << "a long B";
    EXPECT_EQ(At(chords, 62.0).root, 0) << "ends on the tonic";
    EXPECT_EQ(At(chords, 62.0).kind, HeardKind::Major);
}

TEST(ChordTracker, GivesMinorKeysTheirMajorDominant) {
    const auto notes = Line(MinorTune());
    const auto chords = TrackChords(notes, 9, true, HalfBarClock(0.0, 2.0), kFourFour, MetreSource::Known);
    ExpectSound(chords, notes);
    EXPECT_EQ(At(chords, 0.0).root, 9);
    EXPECT_EQ(At(chords, 0.0).kind, HeardKind::Minor);
    EXPECT_EQ(At(chords, 9.0).root, 4) << "E B G sharp B";
    EXPECT_NE(At(chords, 9.0).kind, HeardKind::Minor);
    EXPECT_EQ(At(chords, 30.0).root, 9);
}

TEST(ChordTracker, HearsASecondaryDominant) {
    // D F sharp A in C, then G B D and home.
    const auto notes = Line({{60, 1}, {64, 1}, {67, 2}, {64, 1}, {60, 1}, {64, 2}, {62, 1}, {66, 1}, {69, 1},
                             {66, 1}, {67, 1}, {71, 1}, {74, 2}, {72, 1}, {67, 1}, {64, 1}, {67, 1}, {69, 1},
                             {65, 1}, {69, 2}, {67, 1}, {71, 1}, {74, 1}, {71, 1}, {72, 4}});
    const auto chords = InC(notes);
    EXPECT_EQ(At(chords, 9.0).root, 2);
    EXPECT_TRUE(At(chords, 9.0).kind == HeardKind::Seventh || At(chords, 9.0).kind == HeardKind::Major);
    EXPECT_EQ(At(chords, 13.0).root, 7);
}

TEST(ChordTracker, GoesThroughSixthAndSecondDegreeToACadence) {
    // C, then E C E A C A, D F A, G F D B, and home.
    const auto notes =
        Line({{72, 1}, {67, 1}, {64, 1}, {67, 1}, {69, 2}, {72, 1}, {69, 1}, {65, 1}, {62, 1}, {65, 1},
              {69, 1}, {67, 2}, {71, 1}, {74, 1}, {72, 4}, {64, 1}, {60, 1}, {64, 1}, {69, 1}, {72, 2},
              {69, 2}, {62, 1}, {65, 1}, {69, 2}, {67, 1}, {65, 1}, {62, 1}, {59, 1}, {60, 4}});
    const auto chords = InC(notes);
    ExpectSound(chords, notes);
    EXPECT_EQ(At(chords, 25.0).root, 9);
    EXPECT_EQ(At(chords, 25.0).kind, HeardKind::Minor);
    for (const double second : {9.0, 29.0}) {
        EXPECT_EQ(At(chords, second).root, 2);
        EXPECT_EQ(At(chords, second).kind, HeardKind::Minor);
    }
    ASSERT_GE(chords.size(), 2u);
    EXPECT_EQ(chords[chords.size() - 2].root, 7) << "the dominant before the end";
    EXPECT_NE(chords[chords.size() - 2].kind, HeardKind::Minor);
    EXPECT_EQ(chords.back().root, 0);
    EXPECT_EQ(chords.back().kind, HeardKind::Major);
}

TEST(ChordTracker, MovesWithTheKey) {
    const auto chords = InC(Line(MajorTune()));
    for (int tonic = 1; tonic < 12; ++tonic) {
        const auto moved = TrackChords(Transposed(Line(MajorTune()), tonic), tonic, false,
                                       HalfBarClock(0.0, 2.0), kFourFour, MetreSource::Known);
        ASSERT_EQ(moved.size(), chords.size());
        for (size_t i = 0; i < chords.size(); ++i) {
            EXPECT_EQ(moved[i].root, (chords[i].root + tonic) % 12);
            EXPECT_EQ(moved[i].kind, chords[i].kind);
            EXPECT_EQ(moved[i].time, chords[i].time);
        }
    }
}

TEST(ChordTracker, ChangesAboutOnceABar) {
    const auto chords = InC(Line(MajorTune()));
    EXPECT_GE(chords.size(), 8u);
    EXPECT_LE(chords.size(), 24u) << "sixteen bars";
}

TEST(ChordTracker, DoesNotDependOnTheUnitOfTime) {
    const auto quarters = InC(Line(MajorTune()));
    const auto seconds =
        TrackChords(Line(MajorTune(), 0.5), 0, false, HalfBarClock(0.0, 1.0), kFourFour, MetreSource::Known);
    ASSERT_EQ(seconds.size(), quarters.size());
    for (size_t i = 0; i < seconds.size(); ++i) {
        EXPECT_DOUBLE_EQ(seconds[i].time, quarters[i].time / 2.0);
        EXPECT_EQ(seconds[i].root, quarters[i].root);
    }
}

TEST(ChordTracker, HoldsOneChordForNoMoreThanOneNote) {
    EXPECT_TRUE(InC({}).empty());
    const auto one = InC({{0.0, 1.0, 60.0}});
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].root, 0);
}

TEST(ChordTracker, CutsALongNoteAtHalfBars) {
    const auto notes = Line({{60, 4}, {67, 16}, {72, 4}});
    for (const HeardChord& chord : InC(notes)) {
        EXPECT_EQ(std::fmod(chord.time, 2.0), 0.0);
    }
}

TEST(ChordTracker, KnowsTheTonesAndNamesOfItsChords) {
    std::set<std::string> names;
    for (const HeardKind kind : {HeardKind::Major, HeardKind::Seventh, HeardKind::Minor,
                                 HeardKind::Diminished, HeardKind::Augmented}) {
        const std::vector<int>& tones = TonesOf(kind);
        EXPECT_EQ(tones[0], 0);
        EXPECT_EQ(tones.size(), kind == HeardKind::Seventh ? 4u : 3u);
        names.insert(SuffixOf(kind));
    }
    EXPECT_EQ(names, (std::set<std::string>{"", "7", "m", "dim", "aug"}));
}

TEST(ChordTracker, StaysSoundOnAnything) {
    std::mt19937 random(5);
    for (int round = 0; round < 60; ++round) {
        std::vector<MelodyNote> notes;
        double at = 0.0;
        const double unit = round % 3 == 0 ? 1e-4 : round % 3 == 1 ? 100.0 : 0.05;
        for (unsigned i = random() % 50; i-- > 0;) {
            const double length = static_cast<double>(random() % 40 + 1) * unit;
            notes.push_back({at, at + length, static_cast<double>(random() % 1280) / 10.0});
            at += length * (random() % 3) * 0.5;
        }
        const auto line = OneLine(notes);
        const MetreSource source = round % 2 == 0 ? MetreSource::Known : MetreSource::Found;
        const HalfBarMetre metre = {round % 3 + 1, round % 4};
        ExpectSound(TrackChords(line, static_cast<int>(random() % 12), round % 5 == 0, HalfBarClock(0.3, 1.0),
                                metre, source),
                    line);
    }
}

TEST(MelodyTracker, TracksAMelodyWithNothingGiven) {
    const MelodyTrack track = TrackMelody(Transposed(Sung(Line(MajorTune()), 0.02, 0.0), 0.3));
    EXPECT_EQ(track.usedKey, 0);
    EXPECT_NEAR(track.key.tuning, 0.3, 1e-6);
    EXPECT_NEAR(track.pulse.clock.Half(), 1.0, 0.03);
    EXPECT_EQ(At(track.chords, 2.3).root, 5);
    EXPECT_EQ(track.chords.back().root, 0);
}

TEST(MelodyTracker, TakesWhatItIsGiven) {
    TrackOptions options;
    options.key = 21;  // A minor
    options.tuning = 0.0;
    options.metre = MetreOf(4, 4, 1.0, 0.0);
    const MelodyTrack track = TrackMelody(Line(MajorTune()), options);
    EXPECT_EQ(track.usedKey, 21);
    EXPECT_EQ(track.key.best, 0) << "what was found is still reported";
    EXPECT_EQ(track.pulse.clock.HalvesAt(8.0), 4.0);
    ExpectSound(track.chords, track.notes);
}

TEST(MelodyTracker, GivesTheSameTwice) {
    const auto notes = Sung(Line(MinorTune()), 0.03, 0.03);
    const MelodyTrack a = TrackMelody(notes);
    const MelodyTrack b = TrackMelody(notes);
    ASSERT_EQ(a.chords.size(), b.chords.size());
    for (size_t i = 0; i < a.chords.size(); ++i) {
        EXPECT_EQ(a.chords[i].time, b.chords[i].time);
        EXPECT_EQ(a.chords[i].root, b.chords[i].root);
    }
}

TEST(MelodyTracker, TakesEmptyAndBrokenInput) {
    EXPECT_TRUE(TrackMelody({}).chords.empty());
    const double nan = std::nan("");
    EXPECT_TRUE(TrackMelody({{nan, nan, nan}, {1.0, 1.0, 60.0}}).chords.empty());
    TrackOptions options;
    options.bpm = nan;
    options.tuning = nan;
    options.key = -5;
    EXPECT_EQ(TrackMelody({{0.0, 1.0, 60.0}}, options).chords.size(), 1u);
}

TEST(MelodyTracker, KnowsCommonMetres) {
    const auto expect = [](int upper, int lower, double half, int beats, int halves) {
        const KnownMetre metre = MetreOf(upper, lower, 1.0);
        EXPECT_EQ(metre.half, half) << upper << "/" << lower;
        EXPECT_EQ(metre.shape.beats, beats) << upper << "/" << lower;
        EXPECT_EQ(metre.shape.halves, halves) << upper << "/" << lower;
    };
    expect(4, 4, 2.0, 2, 2);
    expect(2, 2, 2.0, 2, 2);
    expect(2, 4, 1.0, 2, 2);
    expect(3, 4, 3.0, 3, 1);
    expect(6, 8, 1.5, 1, 2);
    expect(9, 8, 1.5, 1, 3);
    expect(12, 8, 1.5, 1, 4);
    expect(6, 4, 3.0, 3, 2);
    expect(3, 8, 1.5, 3, 1);
    EXPECT_GT(MetreOf(0, 0, 1.0).half, 0.0);
}

}  // namespace
}  // namespace mlh::choir
