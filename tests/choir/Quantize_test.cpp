#include "choir/score/Quantize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace mlh::choir {

namespace {

// Beats of a steady tempo from `first` seconds on.
std::vector<double> Beats(double bpm, int count, double first = 0.0) {
    std::vector<double> beats;
    for (int i = 0; i < count; ++i) {
        beats.push_back(first + 60.0 / bpm * i);
    }
    return beats;
}

// Notes of these ticks, sung in that tempo without a fault, each to the start of the next.
std::vector<SungSpan> Sung(const std::vector<int>& ticks, const std::vector<double>& beats) {
    std::vector<SungSpan> notes;
    for (std::size_t i = 0; i + 1 < ticks.size(); ++i) {
        notes.push_back({SecondsAt(beats, ticks[i] / 24.0), SecondsAt(beats, ticks[i + 1] / 24.0)});
    }
    return notes;
}

std::vector<TickSpan> Spans(const std::vector<int>& ticks) {
    std::vector<TickSpan> spans;
    for (std::size_t i = 0; i + 1 < ticks.size(); ++i) {
        spans.push_back({ticks[i], ticks[i + 1]});
    }
    return spans;
}

}  // namespace

TEST(Quantize, BeatsAndSecondsAreEachOthersInverse) {
    const std::vector<double> beats = {1.0, 1.5, 2.1, 2.4};
    for (double beat = -3.0; beat < 8.0; beat += 0.25) {
        EXPECT_NEAR(BeatAt(beats, SecondsAt(beats, beat)), beat, 1e-9) << beat;
    }
    EXPECT_NEAR(BeatAt(beats, 1.25), 0.5, 1e-12);
    EXPECT_NEAR(BeatAt(beats, 0.5), -1.0, 1e-12);
}

TEST(Quantize, WhatIsSungOnTheGridStaysThere) {
    const auto beats = Beats(90.0, 20, 0.7);
    for (const std::vector<int>& ticks : {std::vector<int>{0, 24, 36, 48, 54, 60, 72, 96},
                                          {0, 8, 16, 24, 48, 56, 64, 72},
                                          {-24, -12, 0, 48, 96}}) {
        EXPECT_EQ(Quantize(Sung(ticks, beats), beats), Spans(ticks));
    }
}

TEST(Quantize, UnsteadySingersAreHeardOnTheBeat) {
    std::mt19937 random(3);
    const auto beats = Beats(100.0, 200);
    std::vector<int> ticks = {0};
    while (ticks.size() < 150) {
        constexpr int kLengths[] = {12, 24, 24, 24, 36, 48};
        int length = kLengths[random() % 6];
        if (ticks.back() % 24 == 12) {
            length = 12;
        }
        ticks.push_back(ticks.back() + length);
    }
    auto notes = Sung(ticks, beats);
    for (SungSpan& note : notes) {  // a standard deviation of about 35 ms
        const double moved = (static_cast<double>(random() % 1001) / 1000.0 - 0.5) * 0.12;
        note.start += moved;
        note.end -= 0.05;
    }
    const auto spans = Quantize(notes, beats);
    int right = 0;
    for (std::size_t i = 0; i < spans.size(); ++i) {
        right += spans[i].start == ticks[i] ? 1 : 0;
    }
    EXPECT_GE(right, static_cast<int>(0.97 * static_cast<double>(spans.size())));
}

TEST(Quantize, ARestIsKeptAndABreathIsNot) {
    const auto beats = Beats(60.0, 10);
    const auto spans = Quantize({{0.0, 0.85}, {1.0, 1.5}, {3.0, 4.0}}, beats);
    EXPECT_EQ(spans[0], (TickSpan{0, 24}));
    EXPECT_EQ(spans[1], (TickSpan{24, 36}));
    EXPECT_EQ(spans[2], (TickSpan{72, 96}));
}

TEST(Quantize, SpansRiseHaveALengthAndDoNotOverlap) {
    std::mt19937 random(4);
    for (int round = 0; round < 50; ++round) {
        std::vector<double> beats = {0.0};
        while (beats.size() < 40) {
            beats.push_back(beats.back() + 0.2 + 0.001 * static_cast<double>(random() % 1000));
        }
        std::vector<SungSpan> notes;
        double time = -1.0;
        for (int i = 0; i < 200; ++i) {
            time += 0.0005 * static_cast<double>(random() % 500);
            notes.push_back({time, time + 0.001 * static_cast<double>(random() % 800)});
        }
        const auto spans = Quantize(notes, beats);
        ASSERT_EQ(spans.size(), notes.size());
        for (std::size_t i = 0; i < spans.size(); ++i) {
            EXPECT_LT(spans[i].start, spans[i].end);
            if (i > 0) {
                EXPECT_LT(spans[i - 1].start, spans[i].start);
                EXPECT_LE(spans[i - 1].end, spans[i].start);
            }
        }
    }
}

TEST(Quantize, NotesOfOneTimeAndNoNotesAreTaken) {
    const auto beats = Beats(120.0, 4);
    EXPECT_TRUE(Quantize({}, beats).empty());
    const auto spans = Quantize({{1.0, 1.0}, {1.0, 1.0}, {1.0, 1.0}, {1.0, 1.0}, {1.0, 1.0}}, beats);
    EXPECT_EQ(spans.size(), 5u);
    EXPECT_LT(spans[3].start, spans[4].start);
}

TEST(Quantize, ThirdsAndHalvesAreNotMixedInABeatForLittle) {
    const auto beats = Beats(60.0, 6);
    // 0.36 lies between a third (0.333) and three eighths; with the half at 0.5 close by, thirds would be
    // mixed.
    const auto spans = Quantize({{0.0, 0.3}, {0.34, 0.6}, {0.66, 1.0}, {1.0, 2.0}}, beats);
    EXPECT_EQ(spans[1].start, 8);
    EXPECT_EQ(spans[2].start, 16);
}

TEST(Quantize, ADottedBeatIsDividedIntoThirds) {
    const auto beats = Beats(80.0, 20, 0.3);
    // Six eighths, a quarter and an eighth, a dotted quarter, 16ths.
    const std::vector<int> ticks = {0, 8, 16, 24, 32, 40, 48, 64, 72, 96, 100, 104, 112, 120, 144};
    EXPECT_EQ(Quantize(Sung(ticks, beats), beats, BeatDivision::Thirds), Spans(ticks));
}

TEST(Quantize, NothingIsASplinterOfATripletOrA64th) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        const auto beats = Beats(60.0 + 80.0 * static_cast<double>(random() % 100) / 100.0, 40);
        std::vector<SungSpan> notes;
        double at = 0.0;
        for (int i = 0; i < 30; ++i) {
            const double length = 0.15 + 0.01 * static_cast<double>(random() % 60);
            notes.push_back({at, at + length * (0.5 + 0.005 * static_cast<double>(random() % 100))});
            at += length;
        }
        for (const TickSpan& span : Quantize(notes, beats)) {
            EXPECT_GE(span.end - span.start, 2) << round;
        }
    }
}

// A song of eighths that a restless singer sings has no 16ths in it.
TEST(Quantize, TheSongSaysWhichLinesAreRare) {
    std::mt19937 random(5);
    const auto beats = Beats(100.0, 70);
    std::vector<int> ticks;
    for (int i = 0; i <= 120; ++i) {
        ticks.push_back(12 * i);
    }
    auto notes = Sung(ticks, beats);
    for (SungSpan& note : notes) {
        double bell = 0.0;
        for (int k = 0; k < 4; ++k) {
            bell += static_cast<double>(random() % 10001) / 10000.0 - 0.5;
        }
        note.start += 0.045 * 1.7 * bell;
    }
    const auto spans = Quantize(notes, beats);
    int right = 0;
    for (std::size_t i = 0; i < spans.size(); ++i) {
        right += spans[i].start == ticks[i] ? 1 : 0;
    }
    EXPECT_GT(right, 114);
}

}  // namespace mlh::choir
