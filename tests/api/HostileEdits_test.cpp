// Edits that no musician makes: absurd pitches, chords by the thousand and at no time, notes on top of each
// other, and segments cut, joined and removed in any order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "mlh/mlh.h"
#include "support/HostJob.h"
#include "support/ProcessMemory.h"
#include "support/ScriptedVoice.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Dispose {
    void operator()(PitchVector* v) const { mlhDisposePitchVector(v); }
    void operator()(ChordVector* v) const { mlhDisposeChordVector(v); }
};
using Pitches = std::unique_ptr<PitchVector, Dispose>;
using Chords = std::unique_ptr<ChordVector, Dispose>;

const std::vector<float>& Song() {
    static const std::vector<float> samples = SingScale({60, 64, 62}, 0.5, 0, 16000).samples;
    return samples;
}

struct Host {
    explicit Host(bool automatic) {
        EXPECT_EQ(mlhCreateInstance(&handle), 0);
        EXPECT_EQ(AssignSamples(handle, Song(), {}), 0);
        EXPECT_EQ(mlhSetParams(handle, automatic, 4, 1, 0.5f, 0, false), 0);
    }
    ~Host() { mlhDestroyInstance(&handle); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::vector<std::vector<float>> Stems(int32_t frames = static_cast<int32_t>(Song().size())) const {
        std::vector<std::vector<float>> stems(4, std::vector<float>(static_cast<std::size_t>(frames)));
        float* rows[4];
        for (std::size_t v = 0; v < 4; ++v) {
            rows[v] = stems[v].data();
        }
        EXPECT_EQ(mlhProcessOutputData32(handle, rows, frames, 1), 0);
        return stems;
    }
    void* handle = nullptr;
};

bool IsFinite(const std::vector<std::vector<float>>& stems) {
    return std::all_of(stems.begin(), stems.end(), [](const auto& stem) {
        return std::all_of(stem.begin(), stem.end(), [](float sample) { return std::isfinite(sample); });
    });
}

TEST(HostileEdits, AbsurdPitchesSoundOfSomethingFiniteInBoundedMemory) {
    for (const float pitch :
         {kNaN, kInfinity, -kInfinity, 1e9f, -1e9f, -5.0f, 1e-30f, -1e-30f, 1e-40f, 300.0f, -300.0f}) {
        for (const int32_t every : {1, 2}) {
            SCOPED_TRACE(testing::Message() << pitch << " every " << every);
            Host host(false);
            const Pitches pitches(mlhGetPitchVector(host.handle, 0, 0, 0));
            for (int32_t i = 0; i < mlhPitchVectorGetTotal(pitches.get()); i += every) {
                mlhPitchVectorSetItem(pitches.get(), static_cast<uint32_t>(i), {0, pitch, 0, 0});
            }
            for (int32_t voice = 1; voice <= 4; ++voice) {
                EXPECT_EQ(mlhSetPitchVector(host.handle, voice, pitches.get()), 0);
            }
            ForgetPeakMemory();
            const double before = PeakMemory();
            EXPECT_TRUE(IsFinite(host.Stems()));
            // For each of the four voices two buffers of two halves of 4194304 samples at most, and two of
            // one: 384 MB.
            if (kMemoryIsMeasurable) {
                EXPECT_LT(PeakMemory() - before, 4 * 6 * 4 * 4194304 / 1048576.0 + 50.0);
            }
        }
    }
}

// A chord for each thousandth of a second and more, at times of all kinds, given in any order.
TEST(HostileEdits, ThousandsOfChordsAreTakenInAnyOrder) {
    const auto chords = [](bool rising) {
        Chords vector(mlhGetNewChordVector());
        for (int32_t i = 0; i < 4000; ++i) {
            const int32_t n = rising ? i : 4000 - 1 - i;
            const int32_t root = 48 + n % 12;
            mlhChordVectorAddItem(vector.get(), {-0.2f + 0.0005f * static_cast<float>(n),
                                                 {root, root + 4, root + 7, n % 5 ? -1 : root + 10}});
        }
        return vector;
    };
    Host inOrder(true);
    EXPECT_EQ(mlhSetChordVector(inOrder.handle, chords(true).get()), 0);
    Host backwards(true);
    EXPECT_EQ(mlhSetChordVector(backwards.handle, chords(false).get()), 0);
    const auto stems = inOrder.Stems();
    EXPECT_TRUE(IsFinite(stems));
    EXPECT_EQ(stems, backwards.Stems());
    // Again and again: splits do not pile up.
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(mlhSetChordVector(inOrder.handle, chords(true).get()), 0);
    }
    const Pitches pitches(mlhGetPitchVector(inOrder.handle, 1, 0, 0));
    EXPECT_LT(mlhPitchVectorGetTotal(pitches.get()), 5000);
    EXPECT_TRUE(IsFinite(inOrder.Stems()));
}

TEST(HostileEdits, ChordsAtNegativeTimesAndAtNoneAreTaken) {
    for (const float time : {-1.0f, -1e9f, kNaN, kInfinity, -kInfinity, 1e9f}) {
        Chords vector(mlhGetNewChordVector());
        for (int32_t i = 0; i < 200; ++i) {
            mlhChordVectorAddItem(vector.get(),
                                  {i % 3 ? time : 0.01f * static_cast<float>(i), {60 + i % 12, 64, 67, -1}});
        }
        Host host(true);
        EXPECT_EQ(mlhSetChordVector(host.handle, vector.get()), 0) << time;
        EXPECT_TRUE(IsFinite(host.Stems())) << time;
    }
}

// Every note lies over hundreds of others: of a set of notes four sound, and the sets follow each other.
TEST(HostileEdits, OverlappingNotesGiveSetsOfFour) {
    const Pitches notes(mlhGetNewPitchVector());
    for (int32_t i = 0; i < 2000; ++i) {
        const float start = 0.02f * static_cast<float>((i * 7919) % 2000);  // unsorted
        EXPECT_TRUE(
            mlhPitchVectorAddItem(notes.get(), {start, static_cast<float>(30 + i % 60), 10.0f, 1.0f}));
    }
    const Chords chords(pitchVectorToChordVector(notes.get()));
    const int32_t total = mlhChordVectorGetTotal(chords.get());
    EXPECT_GT(total, 2000);
    EXPECT_LE(total, 4000);
    for (int32_t i = 0; i < total; ++i) {
        const ChordItem item = mlhChordVectorGetItem(chords.get(), static_cast<uint32_t>(i));
        for (const int32_t note : item.notes) {
            EXPECT_TRUE(note == -1 || (note >= 30 && note < 90));
        }
    }
    Host host(false);
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(mlhAssignMidi(host.handle, notes.get()));
    }
    EXPECT_TRUE(IsFinite(host.Stems()));
}

// What must hold of a voice whatever was done to it.
void ExpectOrder(CMELODORPitchSynthesizerIf& voice) {
    for (int32_t i = 0; i < voice.GetSegmentCount(); ++i) {
        double start = -1.0, end = -1.0;
        ASSERT_EQ(voice.GetSegmentTimes(i, &start, &end), 0);
        ASSERT_FALSE(std::isnan(start) || std::isnan(end)) << i;
    }
    double start = 0.0, end = 0.0;
    EXPECT_EQ(voice.GetSegmentTimes(voice.GetSegmentCount(), &start, &end), 2);
    EXPECT_EQ(voice.GetSegmentTimes(-1, &start, &end), 2);
    ASSERT_TRUE(IsFinite(Render(voice, 1, 3000, 1000)));
}

TEST(HostileEdits, SegmentsAreSplitAtTheirEdges) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    const VoiceOwner voice = recording.MakeVoice();
    for (int round = 0; round < 5; ++round) {
        for (int32_t i = 0; i < voice->GetSegmentCount() && voice->GetSegmentCount() < 200; ++i) {
            double start = 0.0, end = 0.0;
            voice->GetSegmentTimes(i, &start, &end);
            voice->SplitSegment(i, 0.0);
            EXPECT_EQ(voice->SplitSegment(i, end - start + 0.001), 1);
        }
        ExpectOrder(*voice);
    }
    for (const double offset :
         {static_cast<double>(kNaN), static_cast<double>(kInfinity), -1.0, -1e300, 1e300}) {
        voice->SplitSegment(1, offset);
        ExpectOrder(*voice);
    }
}

TEST(HostileEdits, AnEmptiedVoiceIsSilentAndCanBeFilledAgain) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    const VoiceOwner voice = recording.MakeVoice();
    SegmentInfo info;
    voice->GetSegmentInfo(1, &info);
    Render(*voice, 1, 5000);
    while (voice->GetSegmentCount() > 0) {
        EXPECT_EQ(voice->RemoveSegment(voice->GetSegmentCount() / 2), 0);
    }
    EXPECT_EQ(voice->GetDuration(), 0.0);
    EXPECT_EQ(voice->RemoveSegment(0), 2);
    EXPECT_EQ(voice->SplitSegment(0, 0.0), 2);
    EXPECT_EQ(voice->MergeSegments(0, 1), 2);
    EXPECT_EQ(Render(*voice, 1, 5000)[0], std::vector<float>(5000, 0.0f));
    voice->SetPosition(0.3);
    voice->InsertSegment(info);
    EXPECT_EQ(voice->GetSegmentCount(), 1);
    EXPECT_NE(Render(*voice, 1, 2000)[0], std::vector<float>(2000, 0.0f));
    voice->Reset();
    EXPECT_EQ(voice->GetSegmentCount(), 4);
}

TEST(HostileEdits, ATimeScaleThatIsNoneIsRefused) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    const VoiceOwner voice = recording.MakeVoice();
    for (const float scale : {0.0f, -0.0f, -1.0f, kNaN, kInfinity, -kInfinity}) {
        EXPECT_EQ(voice->SetGlobalParameter(GlobalTimeScale, scale), 1) << scale;
        EXPECT_EQ(voice->GetGlobalParameter(GlobalTimeScale), 1.0f) << scale;
    }
    for (const float scale : {1e-30f, 1e-40f, 1e-6f, 1e6f, 1e30f}) {
        voice->SetGlobalParameter(GlobalTimeScale, scale);
        voice->SetPosition(0.0);
        ASSERT_TRUE(IsFinite(Render(*voice, 1, 3000, 1000))) << scale;
    }
}

TEST(HostileEdits, SegmentsOfAbsurdInfoAreRendered) {
    const double absurd[] = {kNaN, kInfinity, -kInfinity, 1e300, -1e300, 1e9, -1e9, 1e-300, 0.0, -0.5};
    for (const double value : absurd) {
        for (int field = 0; field < 17; ++field) {
            ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
            const VoiceOwner voice = recording.MakeVoice();
            SegmentInfo info;
            voice->GetSegmentInfo(1, &info);
            float* const floats[] = {&info.modulationKeep, &info.formantShift,  &info.gain,
                                     &info.glideInShare,   &info.glideOutShare, &info.glideInExtra,
                                     &info.glideOutExtra,  &info.fadeInShare,   &info.fadeOutShare,
                                     &info.fadeInLevel,    &info.fadeOutLevel,  &info.targetPitch,
                                     &info.detectedPitch};
            double* const doubles[] = {&info.targetStart, &info.targetEnd, &info.sourceStart,
                                       &info.sourceEnd};
            if (field < 13) {
                *floats[field] = static_cast<float>(std::clamp(value, -3e38, 3e38));
            } else {
                *doubles[field - 13] = value;
            }
            SCOPED_TRACE(testing::Message() << "field " << field << " as " << value);
            const bool finite = !std::isnan(info.gain);  // which all samples are multiplied with
            for (const bool adjust : {false, true}) {
                EXPECT_EQ(voice->SetSegmentInfo(1, info, adjust), 0);
                voice->SetPosition(0.0);
                EXPECT_EQ(IsFinite(Render(*voice, 1, 7000, 700)), finite);
                EXPECT_EQ(voice->GetPosition(), 0.7);
                voice->GetOutputPitchAt(0.3);
                voice->GetOutputGainAt(0.3);
            }
            voice->InsertSegment(info);
            voice->SetPosition(0.1);
            EXPECT_EQ(IsFinite(Render(*voice, 1, 2000, 700)), finite);
            EXPECT_EQ(voice->GetSegmentCount(), 5);
            EXPECT_NEAR(voice->GetPosition(), 0.3, 1e-4);
        }
    }
}

// As a stored analysis of a stranger may have them: positions that fall, and that a difference does not fit.
TEST(HostileEdits, VoicesOverMarksAtAnyPositionsAreFinite) {
    constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
    constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
    NoiseSource random(17);
    for (int round = 0; round < 60; ++round) {
        std::vector<ScriptedMark> marks;
        for (int32_t i = 0; i < 40; ++i) {
            const int32_t kind = random.Next(0, 9);
            marks.push_back({kind == 0   ? kLowest + random.Next(0, 300)
                             : kind == 1 ? kHighest - random.Next(0, 300)
                             : kind == 2 ? random.Next(-20000, 20000)
                                         : 100 * i});
        }
        const int32_t first = random.Next(0, 20);
        ScriptedRecording recording({std::vector<float>(4000, 0.5f)}, kScriptedRate, {{0}, {100}}, {});
        for (const ScriptedMark& mark : marks) {
            recording.marks.AppendMark(mark.position, 10.0f, 0.1f, 0.0f, 0.0f, 0.0f);
            recording.analysis.frames.push_back({60.0f, 0.1f, 1, mark.position});
        }
        recording.analysis.notes.push_back(
            {60.0f, 0.25f, 1000, marks[first].position, 2000, first, first + 15});
        const VoiceOwner voice = recording.MakeVoice();
        voice->SetSegmentParameter(random.Next(0, 1), SegmentTargetPitch, 50.0f);
        for (int32_t block = 0; block < 4; ++block) {
            ASSERT_TRUE(IsFinite(Render(*voice, 1, 2000, 700))) << round;
            voice->SetPosition(0.1 * block);
        }
    }
}

// A grain before such marks would start before what a position can say.
TEST(HostileEdits, GrainsAtTheLowestPositionAreReadFromTheStart) {
    ScriptedRecording recording({std::vector<float>(4000, 0.5f)}, kScriptedRate, {}, {});
    for (int32_t i = 0; i < 40; ++i) {
        const int32_t position = i < 3 ? std::numeric_limits<int32_t>::min() : 100 * i;
        recording.marks.AppendMark(position, 10.0f, 0.1f, 0.0f, 0.0f, 100.0f);
        recording.analysis.frames.push_back({60.0f, 0.1f, 1, position});
    }
    const VoiceOwner voice = recording.MakeVoice();
    const auto rendered = Render(*voice, 1, 600, 600)[0];
    for (const float sample : rendered) {
        ASSERT_GT(sample, 0.1f);
    }
}

TEST(HostileEdits, SegmentsInRandomOrderOfEditsStayInOrder) {
    NoiseSource random(11);
    for (int round = 0; round < 40; ++round) {
        ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
        const VoiceOwner voice = recording.MakeVoice();
        SegmentInfo info;
        for (int edit = 0; edit < 60; ++edit) {
            const int32_t count = voice->GetSegmentCount();
            const int32_t index = random.Next(-1, count);
            double start = 2.2 * std::fabs(random.Next()), end = start + random.Next();
            switch (random.Next(0, 8)) {
                case 0:
                    voice->SplitSegment(index, 0.0);
                    break;
                case 1:
                    voice->SplitSegment(index, 0.3 * std::fabs(random.Next()));
                    break;
                case 2:
                    voice->MergeSegments(index, index + 1);
                    break;
                case 3:
                    voice->RemoveSegment(index);
                    break;
                case 4:
                    if (voice->GetSegmentInfo(index, &info) == 0) {
                        voice->InsertSegment(info);
                    }
                    break;
                case 5:
                    voice->SetSegmentTimes(index, &start, &end, random.Next(0, 1) != 0);
                    break;
                case 6:
                    voice->SetSegmentParameter(index, random.Next(0, 11), random.Next());
                    break;
                case 7:
                    voice->SetPosition(start);
                    break;
                default:
                    Render(*voice, 1, random.Next(1, 900), 300);
            }
        }
        ExpectOrder(*voice);
    }
}

}  // namespace

}  // namespace mlh
