#include "analysis/FrameWindow.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/LiteralSegmentation.h"
#include "support/RandomFrames.h"

namespace mlh {

namespace {

// Voiced where `flags` has a v, 100 samples apart, pitches 60, 61, 62, ...
std::vector<AnalysisFrame> Frames(const std::string& flags) {
    std::vector<AnalysisFrame> frames;
    for (size_t i = 0; i < flags.size(); ++i) {
        const int32_t k = static_cast<int32_t>(i);
        frames.push_back({60.0f + static_cast<float>(k), 1.0f, flags[i] == 'v' ? 1 : 0, 100 * k});
    }
    return frames;
}

struct Aligned {
    explicit Aligned(const std::string& flags) : frames(Frames(flags)), search(frames, true, skips) {}
    FrameWindow From(int64_t start, int64_t end, int32_t minLength, int32_t hop) {
        FrameWindow window(start, end);
        window.Align(search, minLength, hop);
        return window;
    }
    std::vector<AnalysisFrame> frames;
    std::vector<int32_t> skips;
    FrameSearch search;
};

#define EXPECT_WINDOW(window, a, b)                    \
    do {                                               \
        const FrameWindow w = window;                  \
        EXPECT_EQ(w.first, a);                         \
        EXPECT_EQ(w.last, b);                          \
        EXPECT_EQ(w.start, 100 * static_cast<int>(a)); \
        EXPECT_EQ(w.end, 100 * static_cast<int>(b));   \
    } while (false)

TEST(FrameWindow, StartsAtTheLastFrameNotBeyondItsStart) {
    Aligned voiced("vvvvvvvvvv");
    EXPECT_WINDOW(voiced.From(300, 600, 1, 1), 3, 6);
    EXPECT_WINDOW(voiced.From(399, 699, 1, 1), 3, 6);
    EXPECT_WINDOW(voiced.From(299, 599, 1, 1), 2, 5);
}

TEST(FrameWindow, StartBeforeTheFirstFrameMeansTheFirstFrame) {
    Aligned voiced("vvvvvvvvvv");
    EXPECT_WINDOW(voiced.From(-250, 100, 1, 1), 0, 3);
}

TEST(FrameWindow, NeverStartsAtTheVeryLastFrameWhileTheOneBeforeIsVoiced) {
    Aligned voiced("vvvvvvvvvv");
    EXPECT_WINDOW(voiced.From(900, 1200, 1, 1), 8, 9);
    EXPECT_WINDOW(voiced.From(5000, 5300, 1, 1), 8, 9);
}

TEST(FrameWindow, KeepsItsLengthWhenItsStartSnapsToAVoicedFrame) {
    Aligned search("..vvvvvvvv");
    EXPECT_WINDOW(search.From(0, 300, 1, 1), 2, 5);
}

TEST(FrameWindow, TakesInAFrameExactlyAtItsEndButNoneBehindIt) {
    Aligned voiced("vvvvvvvvvv");
    EXPECT_WINDOW(voiced.From(0, 400, 1, 1), 0, 4);
    EXPECT_WINDOW(voiced.From(0, 399, 1, 1), 0, 3);
}

TEST(FrameWindow, EndsBeforeAnUnvoicedFrame) {
    Aligned search("vvvv..vvvv");
    EXPECT_WINDOW(search.From(0, 900, 1, 1), 0, 3);
}

TEST(FrameWindow, OvertakenByTheNextVoicedFrameItShrinksToThatFrame) {
    // Its end lies before the voiced frame: one frame, too short, so the run after it is taken by `hop`.
    Aligned search(".....vvvvv");
    EXPECT_WINDOW(search.From(0, 300, 100, 200), 6, 8);
    // Of no required length, the single frame is enough.
    EXPECT_WINDOW(search.From(0, 300, 0, 200), 5, 5);
}

TEST(FrameWindow, TooShortARunGivesWayToTheNextWhichEndsOnTheFirstFrameNotBeforeTheHop) {
    Aligned search("vv..vvvvvv");
    // 300 samples of hop from frame 4: frame 7 at 700 is where the walk stops, and stays.
    EXPECT_WINDOW(search.From(0, 500, 200, 300), 4, 7);
    EXPECT_WINDOW(search.From(0, 500, 200, 301), 4, 8);
    EXPECT_WINDOW(search.From(0, 500, 100, 300), 0, 1);  // just long enough
}

TEST(FrameWindow, TheNextRunMayEndOnItsUnvoicedFrameAndIsNotMeasuredAgain) {
    Aligned search("vv..vv..vv");
    EXPECT_WINDOW(search.From(0, 500, 400, 500), 4, 6);
}

TEST(FrameWindow, WithoutAnyVoicedFrameLeftEndsOnTheLastFrame) {
    Aligned search("vvvv......");
    EXPECT_WINDOW(search.From(400, 900, 200, 300), 9, 9);
    Aligned none("......");
    EXPECT_WINDOW(none.From(0, 300, 200, 300), 5, 5);
}

TEST(FrameWindow, AlignsLikeThePlainWalkOnAnyFrames) {
    for (uint32_t seed = 0; seed < 4000; ++seed) {
        FrameMaker make(seed);
        const int32_t count = make.Whole(2, 60);
        const bool falling = seed % 4 == 0;
        std::vector<AnalysisFrame> frames = make.Noise(count, make.Chance(0.5f));
        if (falling) {
            make.Shuffle(frames, make.Whole(1, 10));
        }
        LiteralSegmentation plain(frames, SegmentationSettings(44100.0f));
        std::vector<int32_t> skips;
        FrameSearch search(frames, !falling, skips);

        // One window moved about, so that what it remembers is put to the test, flags being cleared.
        FrameWindow window(0, make.Whole(0, 5000));
        LiteralSegmentation::Window expected{window.start, window.end};
        for (int32_t round = 0; round < 20; ++round) {
            const int32_t minLength = make.Whole(0, 1500);
            const int32_t hop = make.Whole(0, 4000);
            window.Align(search, minLength, hop);
            plain.Align(frames, expected, minLength, hop);
            ASSERT_EQ(window.first, expected.first) << "seed " << seed << " round " << round;
            ASSERT_EQ(window.last, expected.last) << "seed " << seed << " round " << round;
            ASSERT_EQ(window.start, expected.start);
            ASSERT_EQ(window.end, expected.end);
            if (make.Chance(0.2f)) {
                frames[make.Whole(0, count - 1)].voiced = 0;
                window.Forget();
            }
            if (make.Chance(0.3f)) {
                window.start += make.Whole(-1000, 3000);
            }
            if (make.Chance(0.7f)) {
                window.end += make.Whole(-1000, 3000);
            }
            expected = {window.start, window.end};
        }
    }
}

TEST(WindowPitch, GrowingOrJumpingMeasuresWhatAFreshStartMeasures) {
    for (uint32_t seed = 0; seed < 500; ++seed) {
        FrameMaker make(seed);
        const std::vector<AnalysisFrame> frames = make.Noise(40, false);
        std::vector<int32_t> skips;
        FrameSearch search(frames, true, skips);
        WindowPitch kept;
        TurningPoints keptTurns;
        FrameWindow window(0, 0);
        for (int32_t round = 0; round < 20; ++round) {
            if (make.Chance(0.3f)) {
                window.first = make.Whole(0, 39);
            }
            window.last = make.Whole(window.first, 39);
            WindowPitch fresh;
            fresh.Measure(search, window);
            kept.Measure(search, window);
            ASSERT_EQ(kept.Max(), fresh.Max());
            ASSERT_EQ(kept.Min(), fresh.Min());
            ASSERT_EQ(kept.MaxFrame(), fresh.MaxFrame());
            ASSERT_EQ(kept.MinFrame(), fresh.MinFrame());
            ASSERT_EQ(kept.MeanVoiced(), fresh.MeanVoiced());
            ASSERT_EQ(kept.MeanVoiced(), MeanVoicedPitch(search, window.first, window.last));
            TurningPoints freshTurns;
            freshTurns.Measure(search, window, 44100.0f);
            keptTurns.Measure(search, window, 44100.0f);
            ASSERT_EQ(keptTurns.Maxima().Count(), freshTurns.Maxima().Count());
            ASSERT_EQ(keptTurns.Minima().Count(), freshTurns.Minima().Count());
            ASSERT_EQ(keptTurns.Maxima().SlowPairs(), freshTurns.Maxima().SlowPairs());
            if (keptTurns.Maxima().Count() > 0 && keptTurns.Minima().Count() > 0) {
                ASSERT_EQ(keptTurns.Centre(), freshTurns.Centre());
            }
        }
    }
}

TEST(WindowPitch, ExtremesCountUnvoicedFramesAndBothEndsAndNameTheFirstOfEquals) {
    std::vector<AnalysisFrame> frames = Frames("v.v.v");
    const float pitches[] = {61.0f, 70.0f, 70.0f, 55.0f, 55.0f};
    for (int i = 0; i < 5; ++i) {
        frames[i].pitch = pitches[i];
    }
    std::vector<int32_t> skips;
    FrameSearch search(frames, true, skips);
    FrameWindow window(0, 0);
    window.last = 4;
    WindowPitch pitch;
    pitch.Measure(search, window);
    EXPECT_EQ(pitch.Max(), 70.0f);
    EXPECT_EQ(pitch.Min(), 55.0f);
    EXPECT_EQ(pitch.MaxFrame(), 1);
    EXPECT_EQ(pitch.MinFrame(), 3);
    EXPECT_EQ(pitch.MeanVoiced(), 65.5f);  // frames 0 and 2
}

TEST(MeanVoicedPitch, LeavesTheLastFrameOutAndIsZeroWithoutAVoicedFrame) {
    Aligned search("v.vv");
    EXPECT_EQ(MeanVoicedPitch(search.search, 0, 3), 61.0f);
    EXPECT_EQ(MeanVoicedPitch(search.search, 0, 2), 60.0f);
    EXPECT_EQ(MeanVoicedPitch(search.search, 1, 2), 0.0f);
    EXPECT_EQ(MeanVoicedPitch(search.search, 2, 2), 0.0f);
}

TEST(MedianVoicedPitch, TakesTheLastFrameInAndTheUpperOfTwo) {
    std::vector<float> scratch;
    const std::vector<AnalysisFrame> frames = Frames("v.vvv");
    EXPECT_EQ(MedianVoicedPitch(frames.data(), 0, 2, scratch), 62.0f);
    EXPECT_EQ(MedianVoicedPitch(frames.data(), 0, 3, scratch), 62.0f);
    EXPECT_EQ(MedianVoicedPitch(frames.data(), 0, 4, scratch), 63.0f);
    EXPECT_EQ(MedianVoicedPitch(frames.data(), 1, 1, scratch), 0.0f);
}

TEST(MedianVoicedPitch, PutsWhatIsNotANumberBehindAllPitches) {
    std::vector<float> scratch;
    std::vector<AnalysisFrame> frames = Frames("vvv");
    frames[0].pitch = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(MedianVoicedPitch(frames.data(), 0, 2, scratch), 62.0f);
}

TEST(TurningPoints, StandInTheMiddleOfTheStretchThatLeadsUpToThem) {
    //                      rise opens at 1, a fall at 4 closes it: 1 + (4 - 1 + 1) / 2 = frame 3
    const float pitches[] = {60, 61, 61, 62, 61, 60, 61, 60, 61};
    std::vector<AnalysisFrame> frames = Frames("vvvvvvvvv");
    for (int i = 0; i < 9; ++i) {
        frames[i].pitch = pitches[i];
    }
    std::vector<int32_t> skips;
    FrameSearch search(frames, true, skips);
    FrameWindow window(0, 0);
    window.last = 8;
    TurningPoints turns;
    turns.Measure(search, window, 44100.0f);
    // Maxima: frames 3 (62) and 7 (60: the stretch 6 to 7 is closed by frame 7). Minima: a fall at 4 is
    // closed by the rise at 6, frame 5 (60) with the half rounded up to 4 + 1; then 7 closed by 8, frame 8.
    EXPECT_EQ(turns.Maxima().Count(), 2);
    EXPECT_EQ(turns.Maxima().MeanPitch(), 61.0f);
    EXPECT_EQ(turns.Minima().Count(), 2);
    EXPECT_EQ(turns.Minima().MeanPitch(), 60.5f);
}

TEST(TurningPoints, CountsPairsThatRepeatAtTwentyHertzOrSlower) {
    const auto slowPairs = [](int32_t distance) {
        std::vector<AnalysisFrame> frames = Frames("vvvvv");
        const float pitches[] = {60, 61, 60, 61, 60};
        for (int i = 0; i < 5; ++i) {
            frames[i].pitch = pitches[i];
            frames[i].position = i * distance / 2;
        }
        std::vector<int32_t> skips;
        FrameSearch search(frames, true, skips);
        FrameWindow window(0, 0);
        window.last = 4;
        TurningPoints turns;
        turns.Measure(search, window, 44000.0f);
        return turns.Maxima().SlowPairs();
    };
    EXPECT_EQ(slowPairs(2200), 1);  // exactly 20 Hz
    EXPECT_EQ(slowPairs(2198), 0);
}

TEST(FirstOnOtherSide, CountsAPitchAtTheLevelAsAboveAndLeavesTheLastFrameOut) {
    Aligned search("vvvvv");  // 60 to 64
    EXPECT_EQ(FirstOnOtherSide(search.search, 0, 4, 62.0f, 99), 2);
    EXPECT_EQ(FirstOnOtherSide(search.search, 2, 4, 62.0f, 99), 99);
    EXPECT_EQ(FirstOnOtherSide(search.search, 0, 4, 64.0f, 99), 99);
}

}  // namespace

}  // namespace mlh
