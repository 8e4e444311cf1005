#include "analysis/PsolaAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <numbers>

#include "base/Codes.h"
#include "support/Paths.h"
#include "support/Recordings.h"
#include "support/SyntheticSinger.h"

// Counts allocations, so that a test can show that nothing is allocated.
namespace {
std::atomic<int64_t> allocations{0};
void* Allocate(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}
}  // namespace
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return ++allocations, std::malloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return ++allocations, std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace mlh {

namespace {

constexpr int32_t kBlockArgument = 2048;
using Samples = std::vector<float>;
using Marks = std::vector<PitchMark>;

Marks Copy(const CPitchMarks& marks) {
    const PitchMark* records = nullptr;
    const int32_t count = marks.GetRecords(&records);
    return {records, records + count};
}

// A list and its placer, as the analysis driver makes them.
struct Placer {
    CPitchMarks marks;
    CMELODORExtendedAnalysis analysis;

    explicit Placer(double rate, int32_t channels = 1, bool enhanced = true)
        : analysis(&marks, static_cast<float>(rate), kBlockArgument, channels, enhanced, 0) {
        EXPECT_EQ(analysis.Initialize(), 0);
    }

    void Feed(std::vector<const float*> rows, size_t from, size_t to) {
        for (const float*& row : rows) {
            row += from;
        }
        ASSERT_EQ(analysis.AnalyzeBlock(rows.data(), static_cast<int32_t>(to - from)), 0);
    }
    void FeedAll(const Samples& samples, size_t block = 4096) {
        for (size_t at = 0; at < samples.size(); at += block) {
            Feed({samples.data()}, at, std::min(at + block, samples.size()));
        }
    }
    void AnalyzeAll(const Samples& samples) {
        FeedAll(samples);
        ASSERT_EQ(analysis.Finish(), 0);
    }
};

Marks PlaceMarks(double rate, const Samples& samples) {
    Placer placer(rate);
    placer.AnalyzeAll(samples);
    return Copy(placer.marks);
}

bool Same(const Marks& a, const Marks& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(PitchMark)) == 0);
}

void ExpectSound(const Marks& marks, size_t length) {
    ASSERT_FALSE(marks.empty());
    EXPECT_EQ(marks.front().position, 0);
    for (size_t i = 1; i < marks.size(); ++i) {
        ASSERT_LT(marks[i - 1].position, marks[i].position) << i;
    }
    const PitchMark end = {static_cast<int32_t>(length), 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(std::memcmp(&marks.back(), &end, sizeof end), 0) << "the end mark, empty but for its position";
    for (const PitchMark& mark : marks) {
        EXPECT_GE(mark.period, 0.0f);
        EXPECT_GE(mark.transient, 0.0f);
        EXPECT_LE(mark.transient, 1.0f);
    }
}

SungRecording SingSomething(double rate, double breath = 0.01) {
    SingerSettings settings;
    settings.sampleRate = rate;
    settings.vibratoDepth = 0.4;
    settings.breath = breath;
    settings.roomNoise = 0.0005;
    return Sing({{0.0, 0.2, kRest},
                 {57.0, 0.5, 'a', 's'},
                 {60.0, 0.4, 'e', 'm'},
                 {64.0, 0.4, 'i', 't'},
                 {0.0, 0.3, kRest},
                 {69.0, 0.5, 'o', 'h'},
                 {45.0, 0.5, 'u'},
                 {76.0, 0.5, 'a', 't'},
                 {0.0, 0.2, kRest}},
                settings);
}

// Creation

struct RateCase {
    float rate;
    int32_t blockSize, unitEnhanced, unitPlain, fallbackHop, tailFill, bufferSize;
};

TEST(PsolaAnalysis, TheSampleRateSelectsTheSizes) {
    for (const RateCase& c : {RateCase{8000, 2048, 16, 64, 512, 4096, 16384},
                              {31999.9f, 2048, 16, 64, 512, 4096, 16384},
                              {32000, 2048, 32, 128, 1024, 8192, 32768},
                              {63999.9f, 2048, 32, 128, 1024, 8192, 32768},
                              {64000, 4096, 64, 256, 2048, 16384, 65536},
                              {128000, 8192, 128, 512, 4096, 32768, 131072},
                              {255999.9f, 8192, 128, 512, 4096, 32768, 131072},
                              {256000, 16384, 256, 1024, 8192, 65536, 262144}}) {
        CPitchMarks marks;
        CMELODORExtendedAnalysis enhanced(&marks, c.rate, 2048, 1, true, 0);
        CMELODORExtendedAnalysis plain(&marks, c.rate, 2048, 1, false, 0);
        EXPECT_EQ(enhanced.GetBlockSize(), c.blockSize) << c.rate;
        EXPECT_EQ(enhanced.GetMinPeriodUnit(), c.unitEnhanced) << c.rate;
        EXPECT_EQ(plain.GetMinPeriodUnit(), c.unitPlain) << c.rate;
        EXPECT_EQ(enhanced.GetRateSettings().fallbackHop, c.fallbackHop) << c.rate;
        EXPECT_EQ(enhanced.GetRateSettings().tailFill, c.tailFill) << c.rate;
        EXPECT_EQ(enhanced.GetFreeSpace(), c.bufferSize) << c.rate;
        EXPECT_EQ(enhanced.GetWindows().window, c.blockSize);
        EXPECT_EQ(enhanced.GetWindows().halfWindow, c.blockSize / 2);
        EXPECT_EQ(enhanced.GetWindows().quarterWindow, c.blockSize / 4);
        EXPECT_EQ(enhanced.GetWindows().searchRadius, c.blockSize / 4);
    }
}

TEST(PsolaAnalysis, AnEmptyListGetsItsFirstMarkAndAnotherStaysAsItIs) {
    CPitchMarks marks;
    CMELODORExtendedAnalysis first(&marks, 44100.0f, 2048, 1, true, 0);
    EXPECT_EQ(marks.GetCount(), 1);
    EXPECT_EQ(marks.GetPosition(0), 0);
    EXPECT_EQ(marks.GetPeriod(0), 0);
    CMELODORExtendedAnalysis second(&marks, 44100.0f, 2048, 1, true, 0);
    EXPECT_EQ(marks.GetCount(), 1);
}

TEST(PsolaAnalysis, ArgumentsOutOfRangeAreRefusedAtInitialization) {
    CPitchMarks marks;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(CPSOLAAnalysis(nullptr, 44100.0f, 2048, 1, true, 0).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, nan, 2048, 1, true, 0).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, -1.0f, 2048, 1, true, 0).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, std::numeric_limits<float>::infinity(), 2048, 1, true, 0).Initialize(),
              kBadArgument);
    for (const int32_t blockSize : {std::numeric_limits<int32_t>::min(), -1, 0, 512, 2047, 131072, 1 << 30}) {
        EXPECT_EQ(CPSOLAAnalysis(&marks, 44100.0f, blockSize, 1, true, 0).Initialize(), kBadArgument)
            << blockSize;
    }
    EXPECT_EQ(CPSOLAAnalysis(&marks, 44100.0f, 2048, 0, true, 0).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, 44100.0f, 2048, 1, true, -1).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, 44100.0f, 2048, 1, true, 8191).Initialize(), kBadArgument);
    EXPECT_EQ(CPSOLAAnalysis(&marks, 44100.0f, 2048, 1, true, 8192).Initialize(), 0);
    EXPECT_EQ(CPSOLAAnalysis(&marks, 7999.5f, 2048, 1, true, 0).Initialize(), kOutOfMemory)
        << "no tracker at such a rate";
    EXPECT_EQ(CPSOLAAnalysis(&marks, 7999.5f, 2048, 1, false, 0).Initialize(), 0) << "none needed";
}

TEST(PsolaAnalysis, NothingWorksBeforeInitialization) {
    CPitchMarks marks;
    CMELODORExtendedAnalysis analysis(&marks, 44100.0f, 2048, 1, true, 0);
    const float sample = 1.0f;
    const float* channels[] = {&sample};
    EXPECT_EQ(analysis.AnalyzeBlock(channels, 1), kWrongState);
    EXPECT_EQ(analysis.Finish(), kWrongState);
    EXPECT_EQ(analysis.Reset(), kWrongState);
    EXPECT_EQ(analysis.InsertHop(), kWrongState);
    EXPECT_EQ(analysis.ReanalyzeSegment(channels, 1, 0, 60.0f), kWrongState);
    EXPECT_EQ(analysis.GetVoicingThreshold(), 0.0f);
    EXPECT_EQ(marks.GetCount(), 1);
}

TEST(PsolaAnalysis, TheVoicingThresholdIsTheTrackers) {
    Placer placer(44100.0);
    EXPECT_EQ(placer.analysis.GetVoicingThreshold(), 0.0f);
    placer.analysis.SetVoicingThreshold(4.5f);
    EXPECT_EQ(placer.analysis.GetVoicingThreshold(), 4.5f);
    placer.analysis.Reset();
    EXPECT_EQ(placer.analysis.GetVoicingThreshold(), 4.5f);
    Placer plain(44100.0, 1, false);
    plain.analysis.SetVoicingThreshold(4.5f);
    EXPECT_EQ(plain.analysis.GetVoicingThreshold(), 0.0f);
}

// Ends

TEST(PsolaAnalysis, ARecordingOfNoFramesEndsWithExactlyOneMark) {
    for (const double rate : {16000.0, 44100.0, 192000.0}) {
        const Marks marks = PlaceMarks(rate, {});
        ASSERT_EQ(marks.size(), 1u);
        ExpectSound(marks, 0);
    }
}

TEST(PsolaAnalysis, ShortRecordingsGetMarksAndEndExactly) {
    for (const double rate : {16000.0, 44100.0, 96000.0}) {
        for (const size_t length : {1, 2, 7, 8, 9, 100, 1000, 4095, 4096, 4097, 8191, 9000}) {
            ExpectSound(PlaceMarks(rate, Noise(length, length, 0.3f)), length);
            const Marks silent = PlaceMarks(rate, Samples(length, 0.0f));
            ExpectSound(silent, length);
            if (length >= 1000 && length < 4000) {
                EXPECT_GT(silent.size(), 3u) << rate << " " << length;
            }
        }
    }
}

TEST(PsolaAnalysis, FinishMarksTheTailUpToTheEnd) {
    const Samples tone = HarmonicTone(220.0, 44100.0, 1.0);
    const Marks marks = PlaceMarks(44100.0, tone);
    const int32_t gap = marks.back().position - marks[marks.size() - 2].position;
    EXPECT_LE(gap, 2 * 201) << "no period before the end is left out";
}

// The padding is no longer there than what already waits for the tracker, so there is nothing to pad.
TEST(PsolaAnalysis, BelowThirtyTwoKilohertzTheTailThatTheTrackerNeverSawStaysUnmarked) {
    const Samples tone = HarmonicTone(220.0, 22050.0, 1.0);
    const Marks marks = PlaceMarks(22050.0, tone);
    ExpectSound(marks, tone.size());
    const int32_t gap = marks.back().position - marks[marks.size() - 2].position;
    EXPECT_GE(gap, 4096);
    EXPECT_LT(gap, 3 * 2048 + 400);
}

TEST(PsolaAnalysis, LengthsAroundTheBlockSizesAllEndSoundly) {
    const Samples tone = HarmonicTone(150.0, 44100.0, 0.5);
    for (size_t length = 3900; length < 20000; length += 377) {
        const Samples cut(tone.begin(), tone.begin() + static_cast<std::ptrdiff_t>(length));
        ExpectSound(PlaceMarks(44100.0, cut), length);
    }
}

// Silence

TEST(PsolaAnalysis, SilenceIsMarkedEveryEighthOfABlock) {
    for (const double rate : {16000.0, 44100.0, 96000.0, 192000.0}) {
        Placer placer(rate);
        placer.AnalyzeAll(Samples(static_cast<size_t>(rate), 0.0f));
        const Marks marks = Copy(placer.marks);
        ExpectSound(marks, static_cast<size_t>(rate));
        for (size_t i = 1; i + 1 < marks.size(); ++i) {
            ASSERT_EQ(marks[i].position - marks[i - 1].position, placer.analysis.GetBlockSize() / 8) << i;
            ASSERT_EQ(marks[i].energy, 0.0f);
            ASSERT_EQ(marks[i].transient, 0.0f);
        }
    }
}

TEST(PsolaAnalysis, SilenceAfterSingingIsUnvoicedAndMarkedAtTheRememberedPeriod) {
    Samples samples = HarmonicTone(200.0, 44100.0, 1.0);
    samples.resize(samples.size() + 44100, 0.0f);
    const Marks marks = PlaceMarks(44100.0, samples);
    int32_t checked = 0;
    for (size_t i = 1; i + 1 < marks.size(); ++i) {
        if (marks[i].position < 44100 + 11025) {
            continue;  // the tracker's frame is past the tone
        }
        EXPECT_EQ(marks[i].harmonicity, 0.0f);
        EXPECT_NEAR(marks[i].position - marks[i - 1].position, 220, 5);
        ++checked;
    }
    EXPECT_GT(checked, 100);
}

// Periods

struct ToneCase {
    double rate, hertz;
};

class ToneMarks : public ::testing::TestWithParam<ToneCase> {};

TEST_P(ToneMarks, OnePerPeriod) {
    const auto [rate, hertz] = GetParam();
    const Samples tone = HarmonicTone(hertz, rate, 1.1);
    const Marks marks = PlaceMarks(rate, tone);
    ExpectSound(marks, tone.size());
    const double period = rate / hertz;
    // From where the tracker has seen a whole frame, to where below 32 kHz the marks end.
    const double first = 0.25 * rate;
    const double last = static_cast<double>(tone.size()) - 0.45 * rate;
    int32_t count = 0, good = 0;
    double spacing = 0.0;
    for (size_t i = 1; i < marks.size(); ++i) {
        if (marks[i].position < first || marks[i].position > last) {
            continue;
        }
        const int32_t distance = marks[i].position - marks[i - 1].position;
        ++count;
        spacing += distance;
        // Within a twentieth or, for the shortest periods, the rounding to whole samples.
        if (std::abs(distance - period) <= std::max(0.05 * period, 1.0)) {
            ++good;
        }
        EXPECT_NE(marks[i].harmonicity, 0.0f);
    }
    EXPECT_GE(good, 0.99 * count);
    // Every distance is a whole number, and one for high tones, so the mean may be off by half a sample.
    EXPECT_NEAR(spacing / count, period, 0.5);
    EXPECT_NEAR(count, (last - first) / period, 0.03 * count + 1);
}

std::vector<ToneCase> ToneCases() {
    std::vector<ToneCase> cases;
    for (const double rate : {16000.0, 22050.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        for (const double hertz : {70.0, 98.0, 146.8, 261.6, 440.0, 698.5, 1000.0}) {
            cases.push_back({rate, hertz});
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Rates, ToneMarks, ::testing::ValuesIn(ToneCases()), [](const auto& tested) {
    return std::to_string(static_cast<int>(tested.param.rate)) + "Hz_" +
           std::to_string(static_cast<int>(tested.param.hertz));
});

TEST(PsolaAnalysis, EveryPeriodOfASingerGetsItsMark) {
    for (const double rate : {22050.0, 44100.0, 96000.0}) {
        const SungRecording song = SingSomething(rate, 0.0);
        const Marks marks = PlaceMarks(rate, song.samples);
        ExpectSound(marks, song.samples.size());
        int32_t periods = 0, good = 0;
        for (const TrueNote& note : song.notes) {
            // Inside the note, where the pitch has settled and the neighbours are out of the tracker's frame.
            const double first = note.startPosition + 0.12 * rate;
            const double last = std::min(note.endPosition - 0.06 * rate,
                                         static_cast<double>(song.samples.size()) - 0.3 * rate);
            for (size_t i = 1; i < song.closures.size(); ++i) {
                if (song.closures[i - 1] < first || song.closures[i] > last) {
                    continue;
                }
                ++periods;
                const auto inside = std::count_if(marks.begin(), marks.end(), [&](const PitchMark& mark) {
                    return mark.position > song.closures[i - 1] && mark.position <= song.closures[i];
                });
                good += inside == 1;
            }
        }
        EXPECT_GT(periods, 400);
        EXPECT_GE(good, 0.98 * periods) << rate;
    }
}

TEST(PsolaAnalysis, AShortPeriodIsStoredAsTheDistanceItself) {
    // 101 samples: below four times the unit of 32, so no mark is moved to a peak.
    const Marks marks = PlaceMarks(44100.0, HarmonicTone(436.6, 44100.0, 1.0));
    for (size_t i = 40; i + 1 < marks.size(); ++i) {
        ASSERT_EQ(marks[i].period, static_cast<float>(marks[i].position - marks[i - 1].position)) << i;
    }
}

TEST(PsolaAnalysis, ALongPeriodIsStoredAsItWasBeforeTheMarkMovedToAPeak) {
    const double hertz = 110.0;
    const Marks marks = PlaceMarks(44100.0, HarmonicTone(hertz, 44100.0, 1.0));
    int32_t moved = 0;
    for (size_t i = 30; i + 12 < marks.size(); ++i) {
        EXPECT_NEAR(marks[i].period, 44100.0 / hertz, 1.0);
        moved += marks[i].period != static_cast<float>(marks[i].position - marks[i - 1].position);
    }
    EXPECT_GT(moved, 3);
}

// Whatever stands in the middle of the first period, the marks creep to the highest peak and stay on it.
TEST(PsolaAnalysis, MarksOfAVoiceSettleWhereNoPeakNearbyIsClearlyHigher) {
    SingerSettings settings;
    const SungRecording song = Sing({{50.0, 2.0, 'a'}}, settings);
    const Marks marks = PlaceMarks(44100.0, song.samples);
    const auto energy = [&](int32_t i) {
        const float x = song.samples[static_cast<size_t>(i)];
        return static_cast<double>(x) * x;
    };
    int32_t count = 0, onPeak = 0;
    for (const PitchMark& mark : marks) {
        if (mark.position < 44100 || mark.position > 80000) {
            continue;
        }
        const auto half = static_cast<int32_t>(mark.period / 2.0f);
        double highest = 0.0;
        for (int32_t i = mark.position - half; i < mark.position + half; ++i) {
            highest = std::max(highest, energy(i));
        }
        ++count;
        onPeak += energy(mark.position) * 1.25 * 1.05 >=
                  highest;  // 5 % for the slope while a mark follows its peak
    }
    EXPECT_GT(count, 100);
    EXPECT_GE(onPeak, 0.95 * count);
}

// Where the rule puts the next mark, `found` samples ahead by correlation in a window of twice `halfWindow`.
struct Aligned {
    enum Kind { alone, atOnce, back, forth } kind;
    int32_t distance;
};

Aligned AlignByTheRule(const float* waveform, int32_t found, int32_t halfWindow) {
    const auto energy = [waveform](int32_t i) { return waveform[i] * waveform[i]; };
    int32_t shift = halfWindow - found;
    float best = energy(found) * 1.25f;
    bool rival = false;
    for (int32_t k = -(found / 2); k <= found / 2 - 1; ++k) {
        const int32_t i = std::max(1, found + k);
        if (energy(i) > best) {
            best = energy(i);
            shift = k;
            rival = true;
        }
    }
    const int32_t distance = shift < -4  ? found - 2
                             : shift > 4 ? found + 2
                             : rival     ? std::max(1, found + shift)
                                         : halfWindow;
    const bool outside = distance <= 0 || distance >= 2 * halfWindow;
    const auto kind = !rival       ? Aligned::alone
                      : shift < -4 ? Aligned::back
                      : shift > 4  ? Aligned::forth
                                   : Aligned::atOnce;
    return {kind, outside ? found : distance};
}

TEST(PsolaAnalysis, EachMarkMovesToAHigherPeakAtOnceOrByTwoSamples) {
    SingerSettings settings;
    settings.vibratoDepth = 0.7;
    Samples voice = Sing({{45.0, 1.0, 'a'}, {52.0, 1.0, 'i', 'm'}, {40.0, 1.0, 'u', 's'}}, settings).samples;
    for (const double hertz : {123.4, 333.0, 500.0}) {
        const Samples sharp = HarmonicTone(hertz, 44100.0, 1.0);
        voice.insert(voice.end(), sharp.begin(), sharp.end());
    }
    // In noise the highest sample may be anywhere, the ends of the range included.
    const Samples noise = Noise(3 * 44100, 8, 0.5f);
    const Samples tone = HarmonicTone(320.0, 44100.0, 3.0);
    for (size_t i = 0; i < noise.size(); ++i) {
        voice.push_back(noise[i] + tone[i]);
    }

    Placer placer(44100.0);
    int32_t kinds[4] = {};
    int32_t shortPeriods = 0;
    for (size_t at = 0; at + 16 <= voice.size(); at += 16) {
        const int32_t before = placer.marks.GetCount();
        placer.Feed({voice.data()}, at, at + 16);
        // So few samples let the tracker move once at most, so all marks of a call are found in the same
        // windows.
        const int32_t halfWindow = placer.analysis.GetWindows().halfWindow;
        for (int32_t i = std::max(before, 3); i < placer.marks.GetCount(); ++i) {
            if (placer.marks.GetHarmonicity(i) == 0.0f) {
                continue;
            }
            const int32_t distance = placer.marks.GetDistanceToNext(i - 1);
            const int32_t found = placer.marks.GetPeriod(i);
            if (found <= 4 * 32) {
                ++shortPeriods;
                ASSERT_EQ(distance, found);
                continue;
            }
            const Aligned expected =
                AlignByTheRule(voice.data() + placer.marks.GetPosition(i - 1), found, halfWindow);
            ASSERT_EQ(distance, expected.distance)
                << placer.marks.GetPosition(i) << " " << found << " " << expected.kind;
            ++kinds[expected.kind];
        }
    }
    EXPECT_GT(kinds[Aligned::alone], 50);
    EXPECT_GT(kinds[Aligned::atOnce], 50);
    EXPECT_GT(kinds[Aligned::back], 50);
    EXPECT_GT(kinds[Aligned::forth], 50);
    EXPECT_GT(shortPeriods, 100);
}

TEST(PsolaAnalysis, WindowsAreTwoPeriodsButNotBelowTheUnit) {
    for (const double hertz : {100.0, 200.0, 1000.0, 2000.0}) {
        Placer placer(44100.0);
        placer.FeedAll(HarmonicTone(hertz, 44100.0, 1.0));
        const auto& windows = placer.analysis.GetWindows();
        const double period = 44100.0 / hertz;
        if (hertz < 1500.0) {
            EXPECT_NEAR(windows.window, 2.0 * period, 0.02 * period + 2.0);
        } else {
            EXPECT_EQ(windows.window, 64);
        }
        EXPECT_EQ(windows.halfWindow, windows.window / 2);
        EXPECT_EQ(windows.quarterWindow, windows.window / 4);
        EXPECT_NEAR(windows.searchRadius, std::max(period / 16.0, 8.5), 1.0)
            << "a sixteenth of a voiced period";
    }
}

TEST(PsolaAnalysis, UnvoicedStretchesAreSearchedTwiceAsWide) {
    Placer placer(44100.0);
    placer.FeedAll(HarmonicTone(100.0, 44100.0, 1.0));
    EXPECT_NEAR(placer.analysis.GetWindows().searchRadius, 441.0 / 16.0, 1.0);
    placer.FeedAll(Samples(22050, 0.0f));
    EXPECT_NEAR(placer.analysis.GetWindows().window, 882, 20) << "the pitch is remembered";
    EXPECT_NEAR(placer.analysis.GetWindows().searchRadius, 441.0 / 8.0, 2.0);
}

TEST(PsolaAnalysis, WithoutAPitchTheWindowsAreFractionsOfTheBlock) {
    Placer placer(44100.0);
    placer.FeedAll(Samples(22050, 0.0f));
    EXPECT_EQ(placer.analysis.GetWindows().window, 512);
    EXPECT_EQ(placer.analysis.GetWindows().halfWindow, 256);
    EXPECT_EQ(placer.analysis.GetWindows().quarterWindow, 128);
    EXPECT_EQ(placer.analysis.GetWindows().searchRadius, 64)
        << "narrowed, since the first one was wider than a quarter";
}

// Two impulses 3 samples apart put the correlation's peak at 3 samples, less than the 8 that a mark must be
// away from the last one at this rate. From 12 on nothing correlates, and the first expectation of 2 samples
// stands: the recording is too short for the tracker to say anything.
TEST(PsolaAnalysis, ACandidateTooNearMovesOnWithoutAMark) {
    Samples samples(100, 0.0f);
    samples[40] = 1.0f;
    samples[43] = 1.0f;
    const Marks marks = PlaceMarks(44100.0, samples);
    ExpectSound(marks, 100);
    ASSERT_GT(marks.size(), 5u);
    EXPECT_EQ(marks[1].position, 9) << "3 + 3 + 3";
    EXPECT_EQ(marks[1].period, 3.0f);
    EXPECT_EQ(marks[2].position, 18) << "3 + 2 + 2 + 2";
    EXPECT_EQ(marks[2].period, 2.0f);
    EXPECT_EQ(marks[3].position, 26);
    EXPECT_EQ(marks[4].position, 34);
    EXPECT_EQ(marks[5].position, 42);
    EXPECT_EQ(marks[5].energy, 0.5f) << "from the last candidate at 40 on";
    for (size_t i = 1; i + 1 < marks.size(); ++i) {
        EXPECT_GE(marks[i].position - marks[i - 1].position, 8);
    }
}

// Without a correlation above 0 the expectation stands; one that came from a wider window may lie outside of
// the present one, and distances must stay positive all the same.
TEST(PsolaAnalysis, LevelsBelowTheGridOfTheCorrelationStillAdvance) {
    for (const float level : {1e-12f, 1e-8f, 1e-6f, 1e-5f, 1e-4f}) {
        Samples samples = HarmonicTone(80.0, 44100.0, 0.5);
        const Samples faint = Noise(22050, 4, level);
        samples.insert(samples.end(), faint.begin(), faint.end());
        const Samples high = HarmonicTone(900.0, 44100.0, 0.4, 1.0, level);
        samples.insert(samples.end(), high.begin(), high.end());
        ExpectSound(PlaceMarks(44100.0, samples), samples.size());
    }
}

// Energy and transients, against the definition computed from the marks' own positions.

TEST(PsolaAnalysis, EnergyIsTheMeanSquareSinceTheMarkBefore) {
    const SungRecording song = SingSomething(44100.0);
    const Marks marks = PlaceMarks(44100.0, song.samples);
    int32_t checked = 0;
    for (size_t i = 1; i + 1 < marks.size(); ++i) {
        double sum = 0.0;
        for (int32_t s = marks[i - 1].position; s < marks[i].position; ++s) {
            const float x = song.samples[static_cast<size_t>(s)];
            sum += static_cast<double>(x * x);
        }
        const auto mean = static_cast<float>(sum / (marks[i].position - marks[i - 1].position));
        // After a skipped candidate only its last stretch counts.
        if (marks[i].period < 16.0f) {
            continue;
        }
        EXPECT_EQ(marks[i].energy, mean) << i;
        ++checked;
    }
    EXPECT_GT(checked, 300);
}

double Attack(double peak, double before, double threshold) {
    if (peak <= before || peak <= threshold) {
        return 0.0;
    }
    return std::tanh(peak / (before + 1e-31) * (peak - before) / (peak + before));
}

TEST(PsolaAnalysis, TransientsAreTheGreaterRiseOfTheHighAndTheLowPart) {
    const Samples voice = SingSomething(44100.0).samples;
    const Marks marks = PlaceMarks(44100.0, voice);
    // Plain filters in double precision.
    std::vector<double> high(voice.size()), low(voice.size());
    for (size_t i = 0; i < voice.size(); ++i) {
        high[i] = 0.5 * voice[i] - 0.5 * (i > 0 ? voice[i - 1] : 0.0f);
        low[i] = 0.1 * voice[i] + 0.9 * (i > 0 ? low[i - 1] : 0.0);
    }
    const auto peak = [](const std::vector<double>& x, int32_t from, int32_t to) {
        double largest = 0.0;
        for (int32_t i = from; i < to; ++i) {
            largest = std::max(largest, std::abs(x[static_cast<size_t>(i)]));
        }
        return largest;
    };
    double highBefore = 0.0, lowBefore = 0.0;
    int32_t resting = 0, strong = 0;
    for (size_t i = 1; i + 1 < marks.size(); ++i) {
        ASSERT_GE(marks[i].period, 8.0f) << "no skipped candidates in this song";
        const double h = peak(high, marks[i - 1].position, marks[i].position);
        const double l = peak(low, marks[i - 1].position, marks[i].position);
        const double expected =
            resting > 0 ? 0.0 : std::max(Attack(h, highBefore, 0.01), Attack(l, lowBefore, 0.1));
        EXPECT_NEAR(marks[i].transient, expected, 1e-4) << i;  // the 32-bit recursion of the low-pass
        highBefore = h;
        lowBefore = l;
        resting = marks[i].transient > 0.7f ? 2 : std::max(resting - 1, 0);
        strong += marks[i].transient > 0.7f;
    }
    EXPECT_GT(strong, 2);
}

TEST(PsolaAnalysis, AfterAStrongTransientTheNextTwoMarksReportNone) {
    // Each period four times as loud as the one before: every single one would be a strong transient.
    Samples samples = HarmonicTone(200.0, 44100.0, 1.0);
    double gain = 1e-8;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (i > 22050 && i % 221 == 0 && gain < 1.0) {
            gain *= 4.0;
        }
        samples[i] *= static_cast<float>(gain);
    }
    const Marks marks = PlaceMarks(44100.0, samples);
    int32_t strong = 0;
    for (size_t i = 0; i + 3 < marks.size(); ++i) {
        if (!(marks[i].transient > 0.7f)) {
            continue;
        }
        ++strong;
        EXPECT_EQ(marks[i + 1].transient, 0.0f);
        EXPECT_EQ(marks[i + 2].transient, 0.0f);
        if (strong == 1) {
            EXPECT_GT(marks[i + 3].transient, 0.7f) << "and the third reports again";
        }
    }
    EXPECT_GE(strong, 2);
}

TEST(PsolaAnalysis, QuietAttacksAreNoTransients) {
    Samples samples(44100, 0.0f);
    const Samples tone = HarmonicTone(200.0, 44100.0, 0.5, 3.0, 0.009);
    std::copy(tone.begin(), tone.end(), samples.begin() + 22050);
    for (const PitchMark& mark : PlaceMarks(44100.0, samples)) {
        EXPECT_EQ(mark.transient, 0.0f);
    }
}

// Input

TEST(PsolaAnalysis, HowTheInputIsCutDoesNotMatter) {
    NoiseSource random(21);
    for (const double rate : {16000.0, 44100.0}) {
        const Samples voice = SingSomething(rate).samples;
        const Marks expected = PlaceMarks(rate, voice);
        for (int32_t round = 0; round < 3; ++round) {
            Placer placer(rate);
            for (size_t at = 0; at < voice.size();) {
                const int32_t most = std::min(placer.analysis.GetFreeSpace(), round == 0   ? 50
                                                                              : round == 1 ? 3000
                                                                                           : 100000);
                const size_t block = std::min(static_cast<size_t>(random.Next(0, most)), voice.size() - at);
                placer.Feed({voice.data()}, at, at + block);
                at += block;
            }
            placer.analysis.Finish();
            ASSERT_TRUE(Same(Copy(placer.marks), expected)) << rate << " " << round;
        }
    }
}

TEST(PsolaAnalysis, HowTheInputIsCutDoesNotMatterWithoutATrackerEither) {
    const Samples voice = SingSomething(44100.0).samples;
    Placer whole(44100.0, 1, false);
    whole.AnalyzeAll(voice);
    Placer cut(44100.0, 1, false);
    cut.FeedAll(voice, 777);
    cut.analysis.Finish();
    EXPECT_TRUE(Same(Copy(whole.marks), Copy(cut.marks)));
}

// A period of more than two thirds of a block makes the correlator look further ahead than two blocks.
TEST(PsolaAnalysis, HowTheInputIsCutDoesNotMatterForTheLongestPeriods) {
    const Samples tone = HarmonicTone(27.0, 44100.0, 2.0, 0.3);
    const Marks expected = PlaceMarks(44100.0, tone);
    for (const size_t block : {1000, 333}) {
        Placer placer(44100.0);
        placer.FeedAll(tone, block);
        placer.analysis.Finish();
        EXPECT_TRUE(Same(Copy(placer.marks), expected)) << block;
    }
}

TEST(PsolaAnalysis, ChannelsAreSummed) {
    const Samples voice = SingSomething(44100.0).samples;
    Samples quarter = voice, rest = voice, loud = voice;
    for (float& x : quarter) {
        x *= 0.25f;
    }
    for (float& x : rest) {
        x *= 0.75f;
    }
    for (float& x : loud) {
        x *= 2.0f;
    }
    Placer two(44100.0, 2);
    for (size_t at = 0; at < voice.size(); at += 4096) {
        two.Feed({voice.data(), voice.data()}, at, std::min(at + 4096, voice.size()));
    }
    two.analysis.Finish();
    EXPECT_TRUE(Same(Copy(two.marks), PlaceMarks(44100.0, loud))) << "not averaged";
    Placer three(44100.0, 3);
    const Samples nothing(voice.size(), 0.0f);
    for (size_t at = 0; at < voice.size(); at += 4096) {
        three.Feed({nothing.data(), voice.data(), nothing.data()}, at, std::min(at + 4096, voice.size()));
    }
    three.analysis.Finish();
    EXPECT_TRUE(Same(Copy(three.marks), PlaceMarks(44100.0, voice)));
}

TEST(PsolaAnalysis, MoreThanFitsIsRefusedAndNothingTaken) {
    const Samples voice = SingSomething(44100.0).samples;
    Placer placer(44100.0);
    const float* rows[] = {voice.data()};
    EXPECT_EQ(placer.analysis.AnalyzeBlock(rows, 32769), kBadArgument);
    EXPECT_EQ(placer.analysis.AnalyzeBlock(rows, -1), kBadArgument);
    EXPECT_EQ(placer.analysis.AnalyzeBlock(rows, std::numeric_limits<int32_t>::min()), kBadArgument);
    EXPECT_EQ(placer.analysis.GetFreeSpace(), 32768);
    placer.AnalyzeAll(voice);
    EXPECT_TRUE(Same(Copy(placer.marks), PlaceMarks(44100.0, voice)));
}

TEST(PsolaAnalysis, FreeSpaceIsWhatIsNotBuffered) {
    Placer placer(44100.0);
    placer.FeedAll(Samples(1000, 0.1f));
    EXPECT_EQ(placer.analysis.GetFreeSpace(), 31768);
    EXPECT_EQ(placer.marks.GetCount(), 1) << "nothing is placed before two blocks are buffered";
    placer.FeedAll(Samples(3095, 0.1f));
    EXPECT_EQ(placer.marks.GetCount(), 1);
    EXPECT_EQ(placer.analysis.GetFreeSpace(), 28673);
}

TEST(PsolaAnalysis, TheWholeBufferCanBeFilledAtOnceAgainAndAgain) {
    const Samples tone = HarmonicTone(300.0, 44100.0, 5.0);
    Placer placer(44100.0);
    for (size_t at = 0; at < tone.size();) {
        const size_t block = std::min(static_cast<size_t>(placer.analysis.GetFreeSpace()), tone.size() - at);
        ASSERT_GT(block, 0u);
        placer.Feed({tone.data()}, at, at + block);
        at += block;
    }
    placer.analysis.Finish();
    EXPECT_TRUE(Same(Copy(placer.marks), PlaceMarks(44100.0, tone)));
}

TEST(PsolaAnalysis, NullChannelsWorkOnWhatIsBufferedAsIfNoMoreCame) {
    const Samples tone = HarmonicTone(200.0, 44100.0, 0.11);  // 4851 samples: the tracker waits for more
    Placer placer(44100.0);
    placer.FeedAll(tone);
    const int32_t before = placer.marks.GetCount();
    const int32_t free = placer.analysis.GetFreeSpace();
    EXPECT_EQ(placer.analysis.AnalyzeBlock(nullptr, 1000), 0);
    EXPECT_GT(placer.marks.GetCount(), before);
    EXPECT_GT(placer.analysis.GetFreeSpace(), free);
    const int32_t buffered = 32768 - placer.analysis.GetFreeSpace();
    EXPECT_EQ(placer.marks.GetLastPosition() + buffered, 4851);
}

TEST(PsolaAnalysis, InputMayGoOnAfterACallWithoutChannels) {
    const Samples tone = HarmonicTone(200.0, 44100.0, 3.0);
    Placer placer(44100.0);
    for (size_t at = 0; at < tone.size();) {
        const size_t block = std::min(static_cast<size_t>(placer.analysis.GetFreeSpace()), tone.size() - at);
        placer.Feed({tone.data()}, at, at + block);
        placer.analysis.AnalyzeBlock(nullptr, 0);
        at += block;
    }
    placer.analysis.Finish();
    ExpectSound(Copy(placer.marks), tone.size());
}

TEST(PsolaAnalysis, InsertHopPutsAnEmptyMarkBehindAFixedStretch) {
    Placer placer(44100.0);
    EXPECT_EQ(placer.analysis.InsertHop(), 0);
    EXPECT_EQ(placer.analysis.InsertHop(), 0);
    const Marks marks = Copy(placer.marks);
    ASSERT_EQ(marks.size(), 3u);
    EXPECT_EQ(marks[1].position, 1024);
    EXPECT_EQ(marks[2].position, 2048);
    EXPECT_EQ(marks[2].period, 0.0f);
    EXPECT_EQ(marks[2].harmonicity, 0.0f);
    Placer low(22050.0);
    low.analysis.InsertHop();
    EXPECT_EQ(low.marks.GetLastPosition(), 512);
}

TEST(PsolaAnalysis, ManyHopsStopTheMarksButNothingElse) {
    Placer placer(44100.0);
    for (int32_t i = 0; i < 100; ++i) {
        placer.analysis.InsertHop();
    }
    const Samples tone = HarmonicTone(200.0, 44100.0, 1.0);
    const float* rows[] = {tone.data()};
    EXPECT_EQ(placer.analysis.AnalyzeBlock(rows, 30000), 0);
    EXPECT_EQ(placer.analysis.AnalyzeBlock(rows, 30000), kBadArgument);
    EXPECT_EQ(placer.marks.GetCount(), 101);
    EXPECT_EQ(placer.analysis.Finish(), 0);
}

// Without a tracker, which the hops would starve.
TEST(PsolaAnalysis, FinishEndsBehindTheHighestPositionThereIs) {
    Placer placer(256000.0, 1, false);
    for (int32_t i = 0; i < (1 << 18) - 1; ++i) {
        placer.analysis.InsertHop();
    }
    const Samples tone = HarmonicTone(400.0, 256000.0, 0.1);
    placer.Feed({tone.data()}, 0, tone.size());
    EXPECT_EQ(placer.analysis.Finish(), 0);
    const int32_t last = placer.marks.GetCount() - 1;
    EXPECT_EQ(placer.marks.GetPosition(last), std::numeric_limits<int32_t>::max());
    EXPECT_LT(placer.marks.GetPosition(last - 1), std::numeric_limits<int32_t>::max());
}

TEST(PsolaAnalysis, ResetStartsAnew) {
    const Samples voice = SingSomething(44100.0).samples;
    for (const bool finish : {false, true}) {
        Placer placer(44100.0);
        placer.FeedAll(Samples(voice.rbegin(), voice.rend()));
        if (finish) {
            placer.analysis.Finish();
        }
        EXPECT_EQ(placer.analysis.Reset(), 0);
        EXPECT_EQ(placer.marks.GetCount(), 1);
        EXPECT_EQ(placer.marks.GetLastPosition(), 0);
        EXPECT_EQ(placer.analysis.GetFreeSpace(), 32768);
        EXPECT_EQ(placer.analysis.GetWindows().window, 2048);
        placer.AnalyzeAll(voice);
        const Marks marks = Copy(placer.marks);
        const Marks fresh = PlaceMarks(44100.0, voice);
        ASSERT_EQ(marks.size(), fresh.size());
        for (size_t i = 0; i < marks.size(); ++i) {
            EXPECT_EQ(marks[i].position, fresh[i].position);
            EXPECT_EQ(marks[i].harmonicity, fresh[i].harmonicity);
            EXPECT_EQ(marks[i].energy, fresh[i].energy);
            EXPECT_EQ(marks[i].period, fresh[i].period);
            if (i > 10) {  // the filters' states go on
                EXPECT_EQ(marks[i].transient, fresh[i].transient);
            }
        }
    }
}

TEST(PsolaAnalysis, ResetForgetsWhatTheTrackerLastSaid) {
    Placer placer(44100.0);
    placer.FeedAll(HarmonicTone(200.0, 44100.0, 0.5));
    EXPECT_NE(placer.marks.GetHarmonicity(placer.marks.GetCount() - 1), 0.0f);
    placer.analysis.Reset();
    placer.AnalyzeAll(HarmonicTone(200.0, 44100.0, 0.04));  // too short for the tracker
    EXPECT_GT(placer.marks.GetCount(), 2);
    for (const PitchMark& mark : Copy(placer.marks)) {
        EXPECT_EQ(mark.harmonicity, 0.0f);
        EXPECT_EQ(mark.peakWidth, 0.0f);
    }
}

TEST(PsolaAnalysis, ResetForgetsTheLoudnessBefore) {
    Placer placer(44100.0);
    placer.FeedAll(HarmonicTone(200.0, 44100.0, 0.5, 1.0, 0.9));
    placer.analysis.Reset();
    placer.FeedAll(HarmonicTone(200.0, 44100.0, 0.5, 1.0, 0.3));
    EXPECT_EQ(placer.marks.GetTransient(1), 1.0f) << "an attack out of nothing";
}

TEST(PsolaAnalysis, ResetForgetsTheTransientsBefore) {
    Samples attack(22050, 0.0f);
    const Samples tone = HarmonicTone(200.0, 44100.0, 0.5, 1.0, 0.3);
    attack.insert(attack.end(), tone.begin(), tone.end());
    for (const int32_t marksSince : {1, 2}) {  // the last mark has the transient, or the one before it
        Placer placer(44100.0);
        const auto attacked = [&] {
            const int32_t mark = placer.marks.GetCount() - marksSince;
            return mark > 0 && placer.marks.GetTransient(mark) > 0.7f;
        };
        for (size_t at = 0; at < attack.size() && !attacked(); at += 16) {
            placer.Feed({attack.data()}, at, std::min(at + 16, attack.size()));
        }
        ASSERT_TRUE(attacked()) << marksSince;
        placer.analysis.Reset();
        placer.FeedAll(tone);
        EXPECT_EQ(placer.marks.GetTransient(1), 1.0f) << marksSince;
    }
}

TEST(PsolaAnalysis, ResetForgetsWhereThePeakWas) {
    Placer placer(44100.0);
    const Samples tone = HarmonicTone(210.0, 44100.0, 1.0);
    placer.AnalyzeAll(tone);
    const float* rows[] = {tone.data()};
    // 46 Hz: the nearest multiple of the tone's period lies some hundred samples off.
    placer.analysis.ReanalyzeSegment(rows, 20000, 0, 30.0f);
    EXPECT_GT(std::abs(placer.marks.GetDistanceToNext(2) - 954), 50);
    placer.analysis.Reset();
    // Nothing repeats, so the mark stands where it is expected.
    Samples impulse(1500, 0.0f);
    impulse[700] = 1.0f;
    placer.AnalyzeAll(impulse);
    EXPECT_EQ(placer.marks.GetPosition(1), 1024);
}

TEST(PsolaAnalysis, TheTrackerRunsAheadByAWindowOrABlockWhicheverIsLonger) {
    for (const double hertz : {27.0, 150.0}) {
        const Samples tone = HarmonicTone(hertz, 44100.0, 1.5, 0.3);
        Placer placer(44100.0);
        int32_t checked = 0, longest = 0;
        for (size_t at = 0; at + 16 <= tone.size(); at += 16) {
            const int32_t before = placer.marks.GetCount();
            placer.Feed({tone.data()}, at, at + 16);
            if (placer.marks.GetCount() == before) {
                continue;
            }
            const int32_t seen = static_cast<int32_t>(at) + 16 - placer.marks.GetPosition(before - 1);
            // Beyond what it analyses the tracker wants another block.
            const int32_t ahead = std::max(2048, placer.analysis.GetWindows().window) + 2048;
            EXPECT_GT(seen, ahead);
            EXPECT_LE(seen, ahead + 2 * 530) << "a hop or two";
            longest = std::max(longest, placer.analysis.GetWindows().window);
            ++checked;
        }
        EXPECT_GT(checked, 20);
        EXPECT_EQ(longest > 2048, hertz < 40.0) << longest;
    }
}

TEST(PsolaAnalysis, TheSameInputGivesTheSameBits) {
    const Samples voice = SingSomething(48000.0).samples;
    EXPECT_TRUE(Same(PlaceMarks(48000.0, voice), PlaceMarks(48000.0, voice)));
}

TEST(PsolaAnalysis, WhateverComesInMarksRiseFromTheStartToTheEnd) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    NoiseSource random(31);
    for (const double rate : {8000.0, 11025.0, 44100.0, 255000.0}) {
        for (int32_t round = 0; round < 8; ++round) {
            Samples samples = Noise(30000, static_cast<uint64_t>(round), round == 0 ? 1.0f : 3e-5f);
            for (int32_t place = 0; place < 12 && round > 1; ++place) {
                float* at = &samples[static_cast<size_t>(random.Next(0, 29000))];
                switch (round) {
                    case 2:
                        *at = nan;
                        break;
                    case 3:
                        *at = kInfinity;
                        break;
                    case 4:
                        *at = -kInfinity;
                        break;
                    case 5:
                        std::fill_n(at, 900, 1.0f);
                        break;
                    case 6:
                        std::fill_n(at, 900, 3e38f);
                        break;
                    default:
                        *at = 1e30f;
                        break;
                }
            }
            const Marks marks = PlaceMarks(rate, samples);
            ASSERT_EQ(marks.front().position, 0);
            ASSERT_EQ(marks.back().position, 30000);
            for (size_t i = 1; i < marks.size(); ++i) {
                ASSERT_LT(marks[i - 1].position, marks[i].position);
            }
        }
    }
}

TEST(PsolaAnalysis, NothingIsAllocatedWhileMarksArePlaced) {
    const Samples voice = SingSomething(44100.0).samples;
    Placer placer(44100.0);
    placer.marks.Reserve(32768);
    placer.FeedAll(Samples(20000, 0.01f));
    const float* rows[] = {nullptr};
    const int64_t before = allocations;
    for (size_t at = 0; at + 4096 <= voice.size(); at += 4096) {
        rows[0] = voice.data() + at;
        placer.analysis.AnalyzeBlock(rows, 4096);
    }
    EXPECT_EQ(allocations, before);
}

// Without a tracker

TEST(PsolaAnalysis, WithoutATrackerDistancesAreWholeNumbersOfPeriods) {
    const double period = 44100.0 / 180.0;
    Placer placer(44100.0, 1, false);
    const Samples tone = HarmonicTone(180.0, 44100.0, 1.5);
    placer.AnalyzeAll(tone);
    const Marks marks = Copy(placer.marks);
    ExpectSound(marks, tone.size());
    for (size_t i = 1; i + 6 < marks.size(); ++i) {
        EXPECT_EQ(marks[i].harmonicity, 0.0f);
        const double periods = (marks[i].position - marks[i - 1].position) / period;
        EXPECT_NEAR(periods, std::round(periods), 0.02) << i;
        EXPECT_EQ(marks[i].period, static_cast<float>(marks[i].position - marks[i - 1].position));
    }
}

// The first pair of impulses is 524 samples apart; seen from the mark there, the second pair is 20 apart,
// below the 32 that a distance must have in this mode at this rate.
TEST(PsolaAnalysis, WithoutATrackerATooShortPeriodIsTakenForTheOneBefore) {
    Samples samples(6000, 0.0f);
    samples[600] = 0.25f;
    samples[1124] = 0.75f;
    samples[2500] = 0.125f;
    samples[2520] = 0.125f;
    Placer placer(44100.0, 1, false);
    placer.Feed({samples.data()}, 0, 4096 + 524);
    ASSERT_EQ(placer.marks.GetCount(), 3);
    EXPECT_EQ(placer.marks.GetPosition(1), 524);
    EXPECT_EQ(placer.marks.GetPosition(2), 1048);
    EXPECT_EQ(placer.marks.GetPeriod(2), 524);
    EXPECT_EQ(placer.analysis.GetWindows().window, 2048);
    EXPECT_EQ(placer.analysis.GetWindows().searchRadius, 1024) << "wide again";
}

// After a period was taken for the one before, the search is so wide that it finds the window itself again,
// at a distance of 0.
TEST(PsolaAnalysis, WithoutATrackerALagAsWideAsTheWindowCountsAsNone) {
    Samples samples(8000, 0.0f);
    samples[600] = 0.25f;
    samples[1124] = 0.75f;
    samples[1058] = 0.6f;
    samples[2182] = 0.2f;
    samples[2500] = 0.24f;
    samples[2520] = 0.23f;
    samples[4900] = 0.1f;
    Placer placer(44100.0, 1, false);
    placer.Feed({samples.data()}, 0, 3800 + 4096);
    const std::vector<int32_t> expected = {0, 524, 1048, 2424, 3800, 4824};
    ASSERT_EQ(placer.marks.GetCount(), 6);
    for (int32_t i = 0; i < 6; ++i) {
        EXPECT_EQ(placer.marks.GetPosition(i), expected[static_cast<size_t>(i)]);
    }
    EXPECT_EQ(placer.marks.GetPeriod(5), 1024) << "half a window, as in silence";
}

// Placing marks of a stretch again

struct Reanalyzed {
    Placer placer{44100.0};
    Samples tone = HarmonicTone(210.0, 44100.0, 1.5);  // 210 samples
    Marks before;

    Reanalyzed() {
        placer.AnalyzeAll(tone);
        before = Copy(placer.marks);
    }
    int32_t Run(int32_t markIndex, int32_t length, double hertz) {
        const Samples source(tone.begin() + before[static_cast<size_t>(markIndex)].position, tone.end());
        const float* rows[] = {source.data()};
        return placer.analysis.ReanalyzeSegment(rows, length, markIndex,
                                                static_cast<float>(69.0 + 12.0 * std::log2(hertz / 440.0)));
    }
};

TEST(PsolaAnalysisSegment, MarksInsideAreReplacedAndThoseOutsideStay) {
    for (const double hertz : {210.0, 105.0}) {
        Reanalyzed segment;
        const int32_t start = segment.before[60].position;
        const int32_t length = 20000;
        ASSERT_EQ(segment.Run(60, length, hertz), 0);
        const Marks after = Copy(segment.placer.marks);
        ExpectSound(after, segment.tone.size());

        EXPECT_TRUE(Same(Marks(after.begin(), after.begin() + 60),
                         Marks(segment.before.begin(), segment.before.begin() + 60)));
        EXPECT_EQ(after[60].position, start);
        EXPECT_EQ(after[60].energy, segment.before[60].energy);
        EXPECT_EQ(after[60].period, static_cast<float>(after[61].position - start));
        size_t i = 61;
        for (; after[i].harmonicity == 12.0f; ++i) {
            EXPECT_LT(after[i].position, start + length);
            EXPECT_NEAR(after[i].position - after[i - 1].position, 44100.0 / hertz, 6.0) << i;
            EXPECT_NEAR(after[i].period, 44100.0 / hertz, 2.0);
        }
        EXPECT_NEAR(static_cast<double>(i - 61), length * hertz / 44100.0, 2.0);
        const auto& windows = segment.placer.analysis.GetWindows();
        EXPECT_EQ(windows.window, 2 * static_cast<int32_t>(44100.0 / hertz + 0.001));
        EXPECT_EQ(windows.searchRadius, windows.quarterWindow) << "half a period";
        const int32_t last = after[i - 1].position;
        EXPECT_GE(last + 44100.0 / hertz * 1.1, start + length);

        // What is left of the old ones: all after the one nearest to the last new mark.
        size_t nearest = 0;
        for (size_t k = 0; k < segment.before.size(); ++k) {
            if (std::abs(segment.before[k].position - last) <
                std::abs(segment.before[nearest].position - last)) {
                nearest = k;
            }
        }
        EXPECT_TRUE(Same(
            Marks(after.begin() + static_cast<std::ptrdiff_t>(i), after.end()),
            Marks(segment.before.begin() + static_cast<std::ptrdiff_t>(nearest) + 1, segment.before.end())));
    }
}

TEST(PsolaAnalysisSegment, NewMarksTakeEnergyAndPeakWidthFromTheNearestOldOnes) {
    Reanalyzed segment;
    std::vector<PitchMark> distinct = segment.before;
    for (size_t i = 0; i < distinct.size(); ++i) {
        distinct[i].energy = static_cast<float>(i);
        distinct[i].peakWidth = 1000.0f + static_cast<float>(i);
    }
    segment.placer.marks.Reserve(1);
    segment.placer.marks.SetRecords(distinct.data(), static_cast<int32_t>(distinct.size()));
    ASSERT_EQ(segment.Run(60, 20000, 300.0), 0);
    const Marks after = Copy(segment.placer.marks);
    int32_t checked = 0;
    for (size_t i = 61; after[i].harmonicity == 12.0f; ++i, ++checked) {
        size_t nearest = 0;
        for (size_t k = 0; k < distinct.size(); ++k) {
            if (std::abs(distinct[k].position - after[i].position) <
                std::abs(distinct[nearest].position - after[i].position)) {
                nearest = k;
            }
        }
        EXPECT_EQ(after[i].energy, distinct[nearest].energy);
        EXPECT_EQ(after[i].peakWidth, distinct[nearest].peakWidth);
    }
    EXPECT_GT(checked, 50);
}

TEST(PsolaAnalysisSegment, WhereNoMarkFallsInsideNothingChanges) {
    Reanalyzed segment;
    EXPECT_EQ(segment.Run(60, 0, 210.0), 0);
    EXPECT_TRUE(Same(Copy(segment.placer.marks), segment.before));
    EXPECT_EQ(segment.Run(60, 20, 210.0), 0);
    EXPECT_TRUE(Same(Copy(segment.placer.marks), segment.before));
}

TEST(PsolaAnalysisSegment, ArgumentsOutOfRangeAreRefused) {
    Reanalyzed segment;
    const float* rows[] = {segment.tone.data()};
    const int32_t count = segment.placer.marks.GetCount();
    EXPECT_EQ(segment.placer.analysis.ReanalyzeSegment(nullptr, 100, 0, 60.0f), kBadArgument);
    EXPECT_EQ(segment.placer.analysis.ReanalyzeSegment(rows, -1, 0, 60.0f), kBadArgument);
    EXPECT_EQ(segment.placer.analysis.ReanalyzeSegment(rows, 100, -1, 60.0f), kBadArgument);
    EXPECT_EQ(segment.placer.analysis.ReanalyzeSegment(rows, 100, count, 60.0f), kBadArgument);
    EXPECT_TRUE(Same(Copy(segment.placer.marks), segment.before));
}

TEST(PsolaAnalysisSegment, AnyPitchEndsAndLeavesPositionsRising) {
    for (const float pitch :
         {-1e30f, -100.0f, 0.0f, 20.0f, 100.0f, 130.0f, 1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        Reanalyzed segment;
        const int32_t index = 20;
        const Samples source(segment.tone.begin() + segment.before[index].position, segment.tone.end());
        const float* rows[] = {source.data()};
        ASSERT_EQ(segment.placer.analysis.ReanalyzeSegment(rows, 30000, index, pitch), 0);
        const Marks after = Copy(segment.placer.marks);
        EXPECT_EQ(after.front().position, 0);
        for (size_t i = 1; i < after.size(); ++i) {
            ASSERT_LT(after[i - 1].position, after[i].position) << pitch;
        }
    }
}

TEST(PsolaAnalysisSegment, ChannelsAreSummedHereToo) {
    Reanalyzed one, two;
    ASSERT_EQ(one.Run(60, 20000, 150.0), 0);
    Placer stereo(44100.0, 2);
    Samples half = two.tone;
    for (float& x : half) {
        x *= 0.5f;
    }
    for (size_t at = 0; at < half.size(); at += 4096) {
        stereo.Feed({half.data(), half.data()}, at, std::min(at + 4096, half.size()));
    }
    stereo.analysis.Finish();
    const float* rows[] = {half.data() + two.before[60].position, half.data() + two.before[60].position};
    ASSERT_EQ(stereo.analysis.ReanalyzeSegment(rows, 20000, 60,
                                               static_cast<float>(69.0 + 12.0 * std::log2(150.0 / 440.0))),
              0);
    EXPECT_TRUE(Same(Copy(stereo.marks), Copy(one.placer.marks)));
}

TEST(PsolaAnalysisSegment, ItWorksWithoutATrackerAndOnAListOfOneMark) {
    for (const bool enhanced : {false, true}) {
        for (const float pitch : {20.0f, 57.0f, 90.0f}) {
            Placer placer(44100.0, 1, enhanced);
            placer.analysis.Finish();
            const Samples tone = HarmonicTone(220.0, 44100.0, 0.5);
            const float* rows[] = {tone.data()};
            ASSERT_EQ(placer.analysis.ReanalyzeSegment(rows, static_cast<int32_t>(tone.size()), 0, pitch), 0);
            const Marks after = Copy(placer.marks);
            ASSERT_GT(after.size(), 5u);
            for (size_t i = 1; i < after.size(); ++i) {
                ASSERT_LT(after[i - 1].position, after[i].position);
                EXPECT_EQ(after[i].energy, 0.0f) << "that of the only old mark";
            }
        }
    }
}

TEST(PsolaAnalysisSegment, TheSearchIsAsWideAgainAfterAPeriodTakenForTheOneBefore) {
    Placer placer(44100.0, 1, false);
    placer.analysis.Finish();
    // Impulses 20 samples apart, below the 32 that a distance must have without a tracker.
    Samples samples(3000, 0.0f);
    samples[130] = 1.0f;
    samples[150] = 1.0f;
    const float* rows[] = {samples.data()};
    ASSERT_EQ(placer.analysis.ReanalyzeSegment(rows, 3000, 0, 90.0f), 0);
    EXPECT_EQ(placer.marks.GetPosition(1), 1024) << "the distance of the beginning";
    EXPECT_EQ(placer.analysis.GetWindows().window, 2048);
    EXPECT_EQ(placer.analysis.GetWindows().searchRadius, 32);
}

TEST(PsolaAnalysisSegment, WithATrackerTooAPeriodTooShortIsTakenForTheOneBefore) {
    // At 7350 Hz, a period of 6, distances of 2 to 18 samples are looked at. Impulses 4 samples apart ask for
    // a mark nearer than the 8 that a mark must keep from the one before.
    const auto placeAgain = [](Placer& placer, int32_t markIndex, size_t impulse) {
        Samples samples(6000, 0.0f);
        samples[impulse] = 1.0f;
        samples[impulse + 4] = 1.0f;
        const float* rows[] = {samples.data()};
        const float pitch = static_cast<float>(69.0 + 12.0 * std::log2(7350.0 / 440.0));
        EXPECT_EQ(placer.analysis.ReanalyzeSegment(rows, 6000, markIndex, pitch), 0);
    };
    Placer fresh(44100.0);
    placeAgain(fresh, 0, 40);
    EXPECT_EQ(fresh.marks.GetPosition(1), 1024) << "the distance of the beginning";
    EXPECT_EQ(fresh.marks.GetPeriod(1), 1024);
    EXPECT_EQ(fresh.analysis.GetWindows().window, 2048) << "restored to the block";
    EXPECT_EQ(fresh.analysis.GetWindows().searchRadius, 8) << "that of the pitch again";

    // In the midst of marks the distance is that of the mark placed last.
    Placer placer(44100.0);
    placer.AnalyzeAll(Samples(20000, 0.0f));
    const int32_t last = placer.marks.GetCount() - 1;
    const int32_t distance = placer.marks.GetDistanceToNext(last - 2);
    EXPECT_EQ(distance, 256);
    const int32_t start = placer.marks.GetPosition(10);
    placeAgain(placer, 10, 40);
    EXPECT_EQ(placer.marks.GetPosition(11), start + distance);
}

// A period of 200 found by two impulses at just that distance; higher peaks are looked for from 100 samples
// before the mark to 99 after it.
TEST(PsolaAnalysisSegment, ThePeakRuleLooksHalfAPeriodBackAndOneSampleLessForth) {
    const auto firstMark = [](size_t impulse) {
        Placer placer(44100.0);
        placer.analysis.Finish();
        Samples samples(1000, 0.0f);
        samples[impulse] = 0.9f;
        samples[impulse + 200] = 0.9f;
        const float* rows[] = {samples.data()};
        EXPECT_EQ(placer.analysis.ReanalyzeSegment(rows, 1000, 0, 57.0f), 0);
        return placer.marks.GetPosition(1);
    };
    EXPECT_EQ(firstMark(300), 200) << "out of reach";
    EXPECT_EQ(firstMark(299), 202);
    EXPECT_EQ(firstMark(205), 202);
    EXPECT_EQ(firstMark(204), 204);
    EXPECT_EQ(firstMark(200), 200);
    EXPECT_EQ(firstMark(196), 196);
    EXPECT_EQ(firstMark(195), 198);
    EXPECT_EQ(firstMark(100), 198);
    EXPECT_EQ(firstMark(99), 202) << "only its second impulse, at 299, is in reach";
}

// Real voices

TEST(PsolaAnalysis, MarksOfRealRecordingsFollowTheTrackersPeriods) {
    std::string why;
    const std::vector<std::string> names = ListRecordings(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    for (const std::string& name : names) {
        Recording voice;
        ASSERT_TRUE(LoadRecording(VoicesDir(), name, voice, why)) << why;
        // A stretch from inside, to keep the test short.
        const Samples whole = voice.Mono();
        const size_t first = whole.size() / 3;
        const size_t length = std::min(whole.size() - first, static_cast<size_t>(2 * voice.sampleRate));
        const Samples mono(whole.begin() + static_cast<std::ptrdiff_t>(first),
                           whole.begin() + static_cast<std::ptrdiff_t>(first + length));
        const Marks marks = PlaceMarks(voice.sampleRate, mono);
        ExpectSound(marks, mono.size());
        int32_t voiced = 0, near = 0;
        for (size_t i = 1; i + 1 < marks.size(); ++i) {
            if (marks[i].harmonicity == 0.0f || marks[i - 1].harmonicity == 0.0f) {
                continue;
            }
            const auto distance = static_cast<float>(marks[i].position - marks[i - 1].position);
            ++voiced;
            near += std::abs(distance - marks[i].period) <= 0.2f * marks[i].period;
        }
        RecordProperty(name, std::to_string(voiced) + " voiced of " + std::to_string(marks.size()));
        EXPECT_GE(near, 0.99 * voiced) << name;
    }
}

// An annotated recording: hand-checked pitch every 5.8 ms.
TEST(PsolaAnalysis, PeriodsOfARealVoiceAgreeWithItsAnnotation) {
    Recording voice;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocadito_1.wav", voice, why)) {
        GTEST_SKIP() << why;
    }
    const std::vector<AnnotatedPitch> truth = LoadPitchCurve(VoicesDir(), "vocadito_1.f0.csv", why);
    if (truth.empty()) {
        GTEST_SKIP() << why;
    }
    Samples mono = voice.Mono();
    mono.resize(std::min(mono.size(), static_cast<size_t>(15 * voice.sampleRate)));
    const Marks marks = PlaceMarks(voice.sampleRate, mono);
    int32_t voiced = 0, good = 0;
    size_t next = 0;
    for (const AnnotatedPitch& point : truth) {
        const double position = point.seconds * voice.sampleRate;
        if (position >= static_cast<double>(mono.size())) {
            break;
        }
        while (next + 1 < marks.size() && marks[next].position <= position) {
            ++next;
        }
        if (point.hertz <= 0.0 || marks[next].period < 1.0f) {
            continue;
        }
        ++voiced;
        good += std::abs(1200.0 * std::log2(voice.sampleRate / marks[next].period / point.hertz)) < 50.0;
    }
    EXPECT_GT(voiced, 1000);
    // The rest are onsets and ends, where tracker and annotator disagree on what is voiced.
    EXPECT_GE(good, 0.97 * voiced);
}

}  // namespace

}  // namespace mlh
