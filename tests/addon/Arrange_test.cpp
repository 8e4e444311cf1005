#include "mlh/arrange.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mlh {

namespace {

using mlh::ArrangedNote;
using mlh::ArrangeNote;
using mlh::ArrangeSettings;
using mlh::ArrangeStyle;

std::vector<ArrangeNote> Melody(const std::vector<int32_t>& pitches) {
    std::vector<ArrangeNote> melody;
    for (std::size_t i = 0; i < pitches.size(); ++i) {
        melody.push_back({pitches[i], static_cast<float>(i), static_cast<float>(i + 1), {}});
    }
    return melody;
}

const std::vector<int32_t> kTune = {72, 71, 69, 67, 69, 71, 72, 72, 74, 76, 74, 72, 71, 72};

TEST(Arrange, ThereAreFourteenScales) {
    EXPECT_EQ(mlh::ScaleNames().size(), 14u);
    EXPECT_EQ(mlh::ScaleNames()[5], "minor");
}

TEST(Arrange, FourPartKeepsTheMelodyInItsRowAndFillsTheOthers) {
    for (int32_t row = 0; row < 4; ++row) {
        for (int32_t spacing = 0; spacing < 3; ++spacing) {
            ArrangeSettings settings;
            settings.leadRow = row;
            settings.spacing = spacing;
            const auto arranged = mlh::Arrange(Melody(kTune), settings);
            ASSERT_EQ(arranged.size(), kTune.size());
            for (std::size_t i = 0; i < kTune.size(); ++i) {
                EXPECT_EQ(arranged[i].rows[static_cast<std::size_t>(row)], kTune[i]);
                EXPECT_EQ(std::count(arranged[i].rows.begin(), arranged[i].rows.end(), -1), 0)
                    << row << " " << i;
            }
        }
    }
}

TEST(Arrange, FourPartNamesTheRootOfAnInversion) {
    ArrangeSettings settings;
    for (const ArrangedNote& note : mlh::Arrange(Melody(kTune), settings)) {
        ASSERT_GE(note.chord.root, 0);
        ASSERT_LE(note.chord.root, 11);
        EXPECT_TRUE(note.chord.triadType <= 3 || note.chord.triadType == 5) << note.chordName;
    }
    EXPECT_TRUE(mlh::Arrange(Melody(kTune), settings)[0].startsPhrase);
}

TEST(Arrange, FourPartEndsOnTheTonic) {
    const auto arranged = mlh::Arrange(Melody(kTune), {});
    EXPECT_EQ(arranged.back().function, 1);
    EXPECT_EQ(arranged.back().chord.root, 0);
}

// The same eight notes four times, the last of each a long one.
TEST(Arrange, FourPartStartsAPhraseBehindALongNote) {
    std::vector<ArrangeNote> melody;
    float time = 0.0f;
    for (int32_t phrase = 0; phrase < 4; ++phrase) {
        for (const int32_t pitch : {72, 74, 76, 77, 76, 74, 71, 72}) {
            const float duration = melody.size() % 8 == 7 ? 3.0f : 0.5f;
            melody.push_back({pitch, time, time + duration, {}});
            time += duration;
        }
    }
    const auto arranged = mlh::Arrange(melody, {});
    ASSERT_EQ(arranged.size(), melody.size());
    int32_t starts = 0;
    for (std::size_t i = 0; i < arranged.size(); ++i) {
        if (!arranged[i].startsPhrase) {
            continue;
        }
        EXPECT_EQ(i % 8, 0u) << i;
        ++starts;
    }
    EXPECT_GT(starts, 1);
}

TEST(Arrange, FourPartNotesWithoutAChordOfTheirOwnTakeTheOneBefore) {
    ArrangeSettings settings;
    int32_t inherited = 0;
    for (int32_t pitch = 60; pitch < 72; ++pitch) {
        const auto arranged = mlh::Arrange(Melody({pitch, 61, 72, 71, 72}), settings);
        for (std::size_t i = 0; i < arranged.size(); ++i) {
            if (!arranged[i].inherited) {
                continue;
            }
            ++inherited;
            ASSERT_GT(i, 0u) << pitch;
            EXPECT_EQ(arranged[i].chord.root, arranged[i - 1].chord.root) << pitch << " " << i;
            EXPECT_EQ(arranged[i].chord.triadType, arranged[i - 1].chord.triadType) << pitch << " " << i;
        }
    }
    EXPECT_GT(inherited, 0);
}

TEST(Arrange, ChordsAreTakenOrTracked) {
    ArrangeSettings settings;
    settings.style = ArrangeStyle::Chords;
    auto melody = Melody({72, 72, 72, 72});
    const auto tracked = mlh::Arrange(melody, settings);
    EXPECT_GE(tracked[0].chord.root, 0);
    for (auto& note : melody) {
        note.chord = {5, 0, 16};
    }
    for (const ArrangedNote& note : mlh::Arrange(melody, settings)) {
        EXPECT_EQ(note.chord.root, 5);
        for (const int32_t pitch : note.rows) {
            const int32_t pitchClass = pitch % 12;
            EXPECT_TRUE(pitchClass == 5 || pitchClass == 9 || pitchClass == 0) << pitch;
        }
    }
}

TEST(Arrange, VoicesOfTheChordStyleAreCounted) {
    for (int32_t voices = 2; voices <= 4; ++voices) {
        ArrangeSettings settings;
        settings.style = ArrangeStyle::Chords;
        settings.voices = voices;
        for (const ArrangedNote& note : mlh::Arrange(Melody(kTune), settings)) {
            EXPECT_EQ(std::count(note.rows.begin(), note.rows.end(), -1), 4 - voices);
        }
    }
}

TEST(Arrange, DirectStylesFollowTheLead) {
    ArrangeSettings settings;
    settings.style = ArrangeStyle::Intervals;
    settings.intervals = {0, 2, -2, 7};
    const auto intervals = mlh::Arrange(Melody({60}), settings);
    EXPECT_EQ(intervals[0].rows[3], 60);
    EXPECT_EQ(intervals[0].rows[1], 64);
    EXPECT_EQ(intervals[0].rows[2], 57);
    EXPECT_EQ(intervals[0].rows[0], 72);

    settings.style = ArrangeStyle::Double;
    settings.interval = -12;
    EXPECT_EQ(mlh::Arrange(Melody({60}), settings)[0].rows[0], 48);
    settings.interval = 12;
    EXPECT_EQ(mlh::Arrange(Melody({60}), settings)[0].rows[0], 72);
    settings.style = ArrangeStyle::Fixed;
    settings.variant = 4;
    EXPECT_EQ(mlh::Arrange(Melody({60}), settings)[0].rows[1], 72);
    settings.style = ArrangeStyle::Fourths;
    settings.variant = 0;
    EXPECT_EQ(mlh::Arrange(Melody({60}), settings)[0].rows[3], 60);
    settings.style = ArrangeStyle::Block;
    for (settings.variant = 0; settings.variant < 9; ++settings.variant) {
        const auto block = mlh::Arrange(Melody({72, 74}), settings);
        for (std::size_t r = 0; r < 3; ++r) {
            EXPECT_LT(block[0].rows[r], 72) << settings.variant;
        }
    }
}

TEST(Arrange, SettingsOutOfRangeGiveNothing) {
    EXPECT_TRUE(mlh::Arrange({}, {}).empty());
    EXPECT_TRUE(mlh::Arrange(Melody({-1}), {}).empty());
    const auto refused = [](auto change) {
        ArrangeSettings settings;
        change(settings);
        return mlh::Arrange(Melody({60}), settings).empty();
    };
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.key = 12; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.scale = 14; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.leadRow = 4; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.spacing = 3; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.voices = 1; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.voices = 5; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.above = -1; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.above = 4; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.spread = -0.1f; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) { s.spread = 2.0f; }));
    EXPECT_TRUE(refused([](ArrangeSettings& s) {
        s.style = ArrangeStyle::Block;
        s.variant = 9;
    }));
}

}  // namespace

}  // namespace mlh
