#include "addon/HarmonyAddOn.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "mlh/analysis.h"
#include "support/RowReader.h"
#include "support/SungTunes.h"
#include "synthesis/PitchSynthesizer.h"

namespace mlh {

namespace {

using AddOnIf = MalleoTuneHarmonyAddOnIf;

// A host's own reader, which notes what it is asked for.
class HostReader final : public MemoryReader {
  public:
    HostReader(std::vector<float> mono, int32_t rate, int32_t channels = 1)
        : samples_(Interleaved(std::vector(static_cast<size_t>(channels), mono))) {
        Assign(samples_.data(), static_cast<int32_t>(mono.size()), channels, rate);
    }
    int32_t Read(float** out, int32_t frames) override {
        reads.push_back(MemoryReader::Read(out, frames));
        return reads.back();
    }

    std::vector<int32_t> reads;

  private:
    std::vector<float> samples_;
};

struct Fixture {
    explicit Fixture(std::vector<float> samples, int32_t rate = 44100, int32_t channels = 1,
                     bool prepare = true)
        : reader(std::move(samples), rate, channels) {
        status = AddOnIf::CreateInstance(&addOn, &reader);
        if (addOn != nullptr && prepare) {
            addOn->Prepare();
        }
    }
    ~Fixture() { AddOnIf::DestroyInstance(&addOn); }
    MalleoTuneHarmonyAddOn& own() { return *static_cast<MalleoTuneHarmonyAddOn*>(addOn); }

    std::vector<std::vector<float>> Render(int32_t frames, int32_t block = 4096) {
        std::vector<std::vector<float>> voices(4, std::vector<float>(frames));
        for (int32_t first = 0; first < frames; first += block) {
            float* rows[4];
            for (int v = 0; v < 4; ++v) {
                rows[v] = voices[v].data() + first;
            }
            addOn->Process(rows, std::min(block, frames - first));
        }
        return voices;
    }

    HostReader reader;
    AddOnIf* addOn = nullptr;
    int32_t status = -1;
};

const SungRecording& Phrase() {
    static const SungRecording phrase = SingPhrase();
    return phrase;
}

float Peak(const std::vector<float>& samples) {
    float peak = 0.0f;
    for (float s : samples) {
        peak = std::max(peak, std::fabs(s));
    }
    return peak;
}

AddOnIf::ChordElement MajorChord(float time, int32_t root) {
    return AddOnIf::ChordElement(time, root, root + 4, root + 7);
}

TEST(HarmonyAddOn, RefusesFormatsThatItCannotAnalyse) {
    const std::vector<float> silence(100, 0.0f);
    EXPECT_EQ(Fixture(silence, 11024).status, 2);
    EXPECT_EQ(Fixture(silence, 11025).status, 0);
    EXPECT_EQ(Fixture(silence, 255999).status, 0);
    EXPECT_EQ(Fixture(silence, 256000).status, 1);
    EXPECT_EQ(Fixture(silence, 44100, 0).status, 2);
    EXPECT_EQ(Fixture(silence, 44100, 48).status, 1);
    AddOnIf* addOn = reinterpret_cast<AddOnIf*>(1);
    EXPECT_EQ(AddOnIf::CreateInstance(&addOn, nullptr), 2);
    EXPECT_EQ(addOn, nullptr);
    HostReader reader(silence, 44100);
    EXPECT_EQ(AddOnIf::CreateInstance(nullptr, &reader), 2);
}

TEST(HarmonyAddOn, DestroysAndClearsTheHandleOnce) {
    HostReader reader(std::vector<float>(10), 44100);
    AddOnIf* addOn = nullptr;
    ASSERT_EQ(AddOnIf::CreateInstance(&addOn, &reader), 0);
    EXPECT_EQ(AddOnIf::DestroyInstance(&addOn), 0);
    EXPECT_EQ(addOn, nullptr);
    EXPECT_EQ(AddOnIf::DestroyInstance(&addOn), 2);
    EXPECT_EQ(AddOnIf::DestroyInstance(nullptr), 2);
}

TEST(HarmonyAddOn, BeforePrepareItAnswersNeutralValues) {
    Fixture f(Phrase().samples, 44100, 1, false);
    EXPECT_TRUE(f.addOn->GetVoicePitchVector(0).empty());
    EXPECT_TRUE(f.addOn->GetLeadPitchVector().empty());
    EXPECT_EQ(f.addOn->GetKey(), -1);
    EXPECT_EQ(f.addOn->SetKey(3), 3);
    EXPECT_EQ(f.addOn->GetPosition(), 0.0);
    EXPECT_EQ(f.addOn->GetDuration(), 0.0);
    f.addOn->SetHarmonyMode(3);
    EXPECT_EQ(f.addOn->GetHarmonyMode(), 0);
    EXPECT_EQ(Peak(f.Render(1000)[0]), 0.0f);
    EXPECT_EQ(f.addOn->SetChordVector({MajorChord(0.0f, 60)}), 3);
    EXPECT_EQ(f.addOn->ApplyChord(MajorChord(0.0f, 60)), 0);
    EXPECT_EQ(f.addOn->Update(), 0);
    EXPECT_TRUE(f.addOn->GetVoicePitchVector(0).empty());
    f.addOn->SetPosition(1.0);
    f.addOn->Prepare();
    EXPECT_EQ(f.addOn->GetPosition(), 0.0);
}

TEST(HarmonyAddOn, ThePositionFollowsSeekingAndRendering) {
    Fixture f(Phrase().samples);
    EXPECT_NEAR(f.addOn->GetDuration(), static_cast<double>(Phrase().samples.size()) / 44100.0, 1e-9);
    f.addOn->SetPosition(0.5);
    EXPECT_NEAR(f.addOn->GetPosition(), 0.5, 1e-4);
    f.Render(44100);
    EXPECT_NEAR(f.addOn->GetPosition(), 1.5, 1e-4);
    f.addOn->SetPosition(0.0);
    EXPECT_EQ(f.addOn->GetPosition(), 0.0);
}

TEST(HarmonyAddOn, PrepareFindsNotesAndKeyOnce) {
    Fixture f(Phrase().samples);
    EXPECT_EQ(f.addOn->GetKey(), 0);
    const auto lead = f.addOn->GetLeadPitchVector();
    EXPECT_GE(lead.size(), 11u);  // ten notes and the lead-in
    const auto reads = f.reader.reads.size();
    EXPECT_EQ(f.addOn->Prepare(), 0);
    EXPECT_EQ(f.reader.reads.size(), reads);
}

TEST(HarmonyAddOn, ShortRecordingsAreReadInOneShortBlock) {
    Fixture f(std::vector<float>(Phrase().samples.begin(), Phrase().samples.begin() + 4095));
    ASSERT_FALSE(f.reader.reads.empty());
    EXPECT_EQ(f.reader.reads[0], 4095);
    EXPECT_NEAR(f.addOn->GetDuration(), 4095.0 / 44100.0, 1e-9);
}

TEST(HarmonyAddOn, WholeBlocksEndWithAReadOfNothing) {
    Fixture f(std::vector<float>(Phrase().samples.begin(), Phrase().samples.begin() + 8192));
    ASSERT_GE(f.reader.reads.size(), 3u);
    EXPECT_EQ(f.reader.reads[1], 4096);
    EXPECT_EQ(f.reader.reads[2], 0);
}

TEST(HarmonyAddOn, SetVoicePitchVectorWantsTheLengthOfTheLead) {
    Fixture f(Phrase().samples);
    f.addOn->SetHarmonyMode(3);
    f.addOn->Update();
    auto pitches = f.addOn->GetLeadPitchVector();
    for (auto& element : pitches) {
        element.SetPitch(50.0f);
    }
    pitches.push_back(pitches.back());
    EXPECT_EQ(f.addOn->SetVoicePitchVector(0, pitches), 2);
    EXPECT_NE(f.addOn->GetVoicePitchVector(0)[1].GetPitch(), 50.0f);
    pitches.pop_back();
    EXPECT_EQ(f.addOn->SetVoicePitchVector(-1, pitches), 2);
    EXPECT_EQ(f.addOn->SetVoicePitchVector(4, pitches), 2);
    EXPECT_EQ(f.addOn->SetVoicePitchVector(0, pitches), 0);
    EXPECT_EQ(f.addOn->GetVoicePitchVector(0)[1].GetPitch(), 50.0f);
    EXPECT_EQ(f.addOn->GetVoicePitchVector(0)[1].GetStart(), f.addOn->GetLeadPitchVector()[1].GetStart());
    EXPECT_TRUE(f.addOn->GetVoicePitchVector(-1).empty());
    EXPECT_TRUE(f.addOn->GetVoicePitchVector(4).empty());
}

// Between chords and the update that follows them the lead may have fewer elements than the voices.
TEST(HarmonyAddOn, SetVoicePitchVectorReadsNoFurtherThanTheLead) {
    Fixture f(SingScale({60, 64}, 1.5).samples);
    const float split = f.addOn->GetLeadPitchVector()[1].GetStart() + 0.5f;
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(split, 60)}), 0);
    f.addOn->Update();
    const auto before = f.addOn->GetVoicePitchVector(2);
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(0.0f, 60)}), 0);
    auto pitches = f.addOn->GetLeadPitchVector();
    ASSERT_LT(pitches.size(), before.size());
    for (auto& element : pitches) {
        element.SetPitch(50.0f);
    }
    pitches.shrink_to_fit();
    EXPECT_EQ(f.addOn->SetVoicePitchVector(2, pitches), 0);
    const auto after = f.addOn->GetVoicePitchVector(2);
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(after[i].GetPitch(), i < pitches.size() ? 50.0f : before[i].GetPitch()) << i;
    }
}

TEST(HarmonyAddOn, KeysFrom12AreMinor) {
    Fixture f(Phrase().samples);
    EXPECT_EQ(f.addOn->SetKey(14), 0);
    EXPECT_EQ(f.addOn->GetKey(), 14);
    EXPECT_EQ(f.addOn->SetKey(9), 0);
    EXPECT_EQ(f.addOn->GetKey(), 9);
}

TEST(HarmonyAddOn, SettersOutOfRangeChangeNothing) {
    Fixture f(Phrase().samples);
    EXPECT_EQ(f.addOn->SetSpread(1.01f), 2);
    EXPECT_EQ(f.addOn->SetSpread(-0.01f), 2);
    EXPECT_EQ(f.addOn->SetSpread(std::nanf("")), 2);
    EXPECT_EQ(f.addOn->GetSpread(), 0.5f);
    EXPECT_EQ(f.addOn->SetSpread(1.0f), 0);
    EXPECT_EQ(f.addOn->GetSpread(), 1.0f);
    EXPECT_EQ(f.addOn->SetVoicesAbove(4), 2);
    EXPECT_EQ(f.addOn->SetVoicesAbove(-1), 2);
    EXPECT_EQ(f.addOn->GetVoicesAbove(), 1);
    EXPECT_EQ(f.addOn->SetVoicesAbove(3), 0);
    EXPECT_EQ(f.addOn->GetVoicesAbove(), 3);
}

TEST(HarmonyAddOn, VoiceParametersReachActiveVoicesAlone) {
    Fixture f(Phrase().samples);
    EXPECT_EQ(f.addOn->SetVoiceParameter(0, 0, 3.0f), 0);
    EXPECT_EQ(f.addOn->GetVoiceParameter(0, 0), 3.0f);
    EXPECT_EQ(f.addOn->SetVoiceParameter(0, 4, 1.0f), 4);
    EXPECT_EQ(f.addOn->SetVoiceParameter(0, -1, 1.0f), 4);
    EXPECT_EQ(f.addOn->SetVoiceParameter(4, 0, 1.0f), 0);
    EXPECT_EQ(f.addOn->GetVoiceParameter(4, 0), -1.0f);
    EXPECT_EQ(f.addOn->SetVoiceParameter(-1, 0, 1.0f), 0);
    EXPECT_EQ(f.addOn->GetVoiceParameter(-1, 0), -1.0f);
    EXPECT_EQ(f.addOn->GetVoiceParameter(0, -1), -1.0f);
    EXPECT_EQ(f.addOn->GetVoiceParameter(0, 4), -1.0f);
}

TEST(HarmonyAddOn, AutomaticModesSingFourThreeAndTwoVoicesBesideTheLead) {
    Fixture f(Phrase().samples);
    for (int32_t mode = 0; mode < 3; ++mode) {
        f.addOn->SetHarmonyMode(mode);
        f.addOn->Update();
        EXPECT_EQ(f.own().GetActiveVoices(), 4 - mode);
        // Voice 0 sings the lead's own line, on the grid.
        const auto line = f.addOn->GetVoicePitchVector(0);
        const auto lead = f.addOn->GetLeadPitchVector();
        for (std::size_t i = 0; i < lead.size(); ++i) {
            EXPECT_NEAR(line[i].GetPitch(), lead[i].GetPitch(), 0.6f);
        }
    }
}

// Three voices beside the lead, one of them above it, halfway spread: what the settings read before any is
// made.
TEST(HarmonyAddOn, BeforeAnySettingTheVoicesAreThoseOfTheSettingsAsTheyRead) {
    Fixture f(Phrase().samples);
    const auto pitches = [&] {
        std::vector<float> all;
        for (int32_t v = 0; v < 4; ++v) {
            for (const auto& element : f.addOn->GetVoicePitchVector(v)) {
                all.push_back(element.GetPitch());
            }
        }
        return all;
    };
    const auto initial = pitches();
    ASSERT_EQ(f.addOn->GetSpread(), 0.5f);
    ASSERT_EQ(f.addOn->GetVoicesAbove(), 1);
    f.addOn->SetSpread(0.5f);
    f.addOn->SetVoicesAbove(1);
    f.addOn->Update();
    EXPECT_EQ(pitches(), initial);
    f.addOn->SetVoicesAbove(3);
    f.addOn->Update();
    EXPECT_NE(pitches(), initial);
}

// A voice that is no longer active shows the row that it sang last, as the engine fills it now.
TEST(HarmonyAddOn, VoicesThatAreNotActiveFollowTheRowsTheyHad) {
    Fixture f(Phrase().samples);
    ASSERT_EQ(f.own().GetActiveVoices(), 4);
    int32_t rowOf[] = {3, 0, 1, 2};
    int told = 0;  // elements of inactive voices that another row would show otherwise
    for (const int32_t mode : {2, 1, 0, 1, 2}) {
        f.addOn->SetHarmonyMode(mode);
        f.addOn->Update();
        ChoiralizerV2::NoteList* rows = nullptr;
        ASSERT_EQ(f.own().GetHarmony().GetVoices(&rows), 0);
        int32_t active = 1;
        for (int32_t r = 0; r < 3; ++r) {
            if (rows[r].items[0].pitch != -1) {
                rowOf[active++] = r;
            }
        }
        ASSERT_EQ(f.own().GetActiveVoices(), active);
        for (int32_t v = 0; v < 4; ++v) {
            const auto voice = f.addOn->GetVoicePitchVector(v);
            for (std::size_t i = 0; i < voice.size(); ++i) {
                const auto pitchIn = [&](int32_t row) {
                    return static_cast<float>(rows[row].items[i].pitch);
                };
                ASSERT_EQ(voice[i].GetPitch(), pitchIn(rowOf[v])) << mode << " " << v;
                told += v >= active && pitchIn(rowOf[v]) != pitchIn(0) && pitchIn(rowOf[v]) != pitchIn(3);
            }
        }
    }
    EXPECT_GT(told, 0);
}

// A single note is no chord that voices could be set on.
TEST(HarmonyAddOn, WithoutHarmonyRowsOnlyTheLeadsLineIsRendered) {
    Fixture f(Phrase().samples);
    ASSERT_EQ(f.addOn->SetChordVector({AddOnIf::ChordElement(0.0f, 60)}), 0);
    f.addOn->Update();
    EXPECT_EQ(f.addOn->GetHarmonyMode(), 0);
    EXPECT_EQ(f.own().GetActiveVoices(), 1);
    const auto voices = f.Render(44100);
    EXPECT_GT(Peak(voices[0]), 0.1f);
    for (int v = 1; v < 4; ++v) {
        EXPECT_EQ(Peak(voices[v]), 0.0f) << v;
    }
}

TEST(HarmonyAddOn, ManualModeStartsWithTheLeadAloneOnItsOwnPitch) {
    Fixture f(Phrase().samples);
    f.addOn->SetHarmonyMode(3);
    f.addOn->Update();
    const auto lead = f.addOn->GetLeadPitchVector();
    for (int32_t v = 0; v < 4; ++v) {
        const auto voice = f.addOn->GetVoicePitchVector(v);
        ASSERT_EQ(voice.size(), lead.size());
        for (std::size_t i = 0; i < lead.size(); ++i) {
            EXPECT_EQ(voice[i].GetPitch(), v == 0 ? lead[i].GetPitch() : -1.0f);
        }
    }
    const auto voices = f.Render(44100);
    EXPECT_GT(Peak(voices[0]), 0.1f);
    for (int v = 1; v < 4; ++v) {
        EXPECT_EQ(Peak(voices[v]), 0.0f);
    }
}

TEST(HarmonyAddOn, PitchesWrittenInAnAutomaticModeAreNotHeard) {
    Fixture f(Phrase().samples);
    const auto before = f.addOn->GetVoicePitchVector(1);
    auto pitches = f.addOn->GetLeadPitchVector();
    for (auto& element : pitches) {
        element.SetPitch(40.0f);
    }
    EXPECT_EQ(f.addOn->SetVoicePitchVector(1, pitches), 0);
    f.addOn->Update();
    EXPECT_EQ(f.addOn->GetVoicePitchVector(1)[1].GetPitch(), before[1].GetPitch());
}

TEST(HarmonyAddOn, EnteringManualModeKeepsTheOldVoicesSoundingUntilUpdate) {
    Fixture f(Phrase().samples);
    const float target = f.own().GetSynthesizer(1).GetSegmentParameter(1, SegmentTargetPitch);
    f.addOn->SetHarmonyMode(3);
    EXPECT_EQ(f.addOn->GetVoicePitchVector(1)[1].GetPitch(), -1.0f);
    EXPECT_EQ(f.own().GetSynthesizer(1).GetSegmentParameter(1, SegmentGain), 1.0f);
    f.addOn->Update();
    EXPECT_EQ(f.own().GetSynthesizer(1).GetSegmentParameter(1, SegmentGain), 0.0f);
    // Muting leaves the target where it was.
    EXPECT_EQ(f.own().GetSynthesizer(1).GetSegmentParameter(1, SegmentTargetPitch), target);
}

TEST(HarmonyAddOn, SetChordVectorRefusesNothingAndTheManualMode) {
    Fixture f(Phrase().samples);
    EXPECT_EQ(f.addOn->SetChordVector({}), 2);
    f.addOn->SetHarmonyMode(3);
    EXPECT_EQ(f.addOn->SetChordVector({MajorChord(0.0f, 60)}), 2);
}

// A time inside a note of the lead, too near to its start for a chord there to split it.
float JustInside(const Fixture& f, std::size_t note) {
    return f.addOn->GetLeadPitchVector()[note].GetStart() + 0.05f;
}

TEST(HarmonyAddOn, ChordsReachTheSegmentsTheyCover) {
    Fixture f(Phrase().samples);
    const auto lead = f.addOn->GetLeadPitchVector();
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(JustInside(f, 1), 60), MajorChord(JustInside(f, 5), 65)}),
              0);
    ASSERT_EQ(f.addOn->GetLeadPitchVector().size(), lead.size());
    const auto chords = mlh::GetAnalysis(*f.addOn).chords;
    for (std::size_t s = 1; s < chords.size(); ++s) {
        EXPECT_EQ(chords[s].root, s < 5 ? 0 : 5) << s;
        EXPECT_EQ(chords[s].triadType, 0) << s;
    }
}

TEST(HarmonyAddOn, AChordExactlyOnTheStartOfANoteCountsFromTheFirstOn) {
    Fixture f(Phrase().samples);
    const float start = f.addOn->GetLeadPitchVector()[5].GetStart();
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(JustInside(f, 1), 60), MajorChord(start, 65)}), 0);
    for (const auto& chord : mlh::GetAnalysis(*f.addOn).chords) {
        EXPECT_EQ(chord.root, 5);
    }
    ASSERT_EQ(f.addOn->SetChordVector(
                  {MajorChord(JustInside(f, 1), 60), MajorChord(std::nextafterf(start, 100.0f), 65)}),
              0);
    EXPECT_EQ(mlh::GetAnalysis(*f.addOn).chords[1].root, 0);
}

// The C interface sorts them; a host of the classes may not. The late chord then ends before it begins.
TEST(HarmonyAddOn, OfChordsInFallingOrderTheLastHoldsToTheEnd) {
    Fixture f(Phrase().samples);
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(JustInside(f, 5), 65), MajorChord(JustInside(f, 1), 60)}),
              0);
    const auto chords = mlh::GetAnalysis(*f.addOn).chords;
    for (std::size_t s = 1; s < chords.size(); ++s) {
        EXPECT_EQ(chords[s].root, 0) << s;
    }
}

// A note of 1.5 s, long enough for splits of both kinds.
Fixture LongNote() { return Fixture(SingScale({60, 64}, 1.5).samples); }

TEST(HarmonyAddOn, AChordInAnEarlyHalfSplitsATenthBeforeItself) {
    Fixture f = LongNote();
    const auto lead = f.addOn->GetLeadPitchVector();
    const float start = lead[1].GetStart();
    const float at = start + 0.5f;
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(at, 60)}), 0);
    const auto split = f.addOn->GetLeadPitchVector();
    ASSERT_EQ(split.size(), lead.size() + 1);
    EXPECT_NEAR(split[2].GetStart(), at - 0.1f, 1e-4f);
}

TEST(HarmonyAddOn, AChordInALateHalfSplitsAHundredthBeforeItself) {
    Fixture f = LongNote();
    const auto lead = f.addOn->GetLeadPitchVector();
    const float at = lead[1].GetStart() + 1.0f;
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(at, 60)}), 0);
    const auto split = f.addOn->GetLeadPitchVector();
    ASSERT_EQ(split.size(), lead.size() + 1);
    EXPECT_NEAR(split[2].GetStart(), at - 0.01f, 1e-4f);
}

TEST(HarmonyAddOn, AChordAtTheThresholdDoesNotSplit) {
    Fixture f = LongNote();
    SegmentInfo info;
    ASSERT_EQ(f.own().GetSynthesizer(0).GetSegmentInfo(1, &info), 0);
    const float at = static_cast<float>(info.sourceStart) + 0.3f;
    const float since = static_cast<float>(at - info.sourceStart);
    f.addOn->SetChordSplitThreshold(since);
    const auto count = f.addOn->GetLeadPitchVector().size();
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(at, 60)}), 0);
    EXPECT_EQ(f.addOn->GetLeadPitchVector().size(), count);
    f.addOn->SetChordSplitThreshold(std::nextafterf(since, 0.0f));
    ASSERT_EQ(f.addOn->SetChordVector({MajorChord(at, 60)}), 0);
    EXPECT_EQ(f.addOn->GetLeadPitchVector().size(), count + 1);
}

TEST(HarmonyAddOn, TheThresholdIsAFifthOfASecondAtFirst) {
    Fixture f = LongNote();
    EXPECT_EQ(f.addOn->GetChordSplitThreshold(), 0.2f);
    const auto lead = f.addOn->GetLeadPitchVector();
    SegmentInfo info;
    ASSERT_EQ(f.own().GetSynthesizer(0).GetSegmentInfo(1, &info), 0);
    const struct {
        float fromStart, fromEnd;
        std::size_t splits;
    } cases[] = {{0.199f, 0.0f, 0}, {0.201f, 0.0f, 1}, {0.0f, 0.199f, 0}, {0.0f, 0.201f, 1}};
    for (const auto& c : cases) {
        Fixture fresh = LongNote();
        const double at = c.fromEnd > 0.0f ? info.sourceEnd - c.fromEnd : info.sourceStart + c.fromStart;
        ASSERT_EQ(fresh.addOn->SetChordVector({MajorChord(static_cast<float>(at), 60)}), 0);
        EXPECT_EQ(fresh.addOn->GetLeadPitchVector().size(), lead.size() + c.splits)
            << c.fromStart << " " << c.fromEnd;
    }
}

TEST(HarmonyAddOn, ChordsAtNoTimeSplitNothing) {
    Fixture f = LongNote();
    const auto count = f.addOn->GetLeadPitchVector().size();
    for (float time : {std::nanf(""), INFINITY, -INFINITY, -5.0f, 1e9f}) {
        ASSERT_EQ(f.addOn->SetChordVector({MajorChord(time, 60)}), 0);
        EXPECT_EQ(f.addOn->GetLeadPitchVector().size(), count) << time;
    }
}

TEST(HarmonyAddOn, AnInactiveVoiceKeepsTheSplitsOfEarlierChords) {
    Fixture f = LongNote();
    f.addOn->SetHarmonyMode(2);  // two voices
    f.addOn->Update();
    const float start = f.addOn->GetLeadPitchVector()[1].GetStart();
    // The second call still looks up the elements of the first one's splits, finds none and splits nothing.
    for (float offset : {0.6f, 0.6f, 0.35f}) {
        ASSERT_EQ(f.addOn->SetChordVector({MajorChord(start + offset, 60)}), 0);
        f.addOn->Update();
    }
    EXPECT_EQ(f.own().GetSynthesizer(0).GetSegmentCount(), 4);
    EXPECT_EQ(f.own().GetSynthesizer(1).GetSegmentCount(), 4);
    EXPECT_EQ(f.own().GetSynthesizer(3).GetSegmentCount(), 5);
    // And does no harm when it becomes active.
    f.addOn->SetHarmonyMode(0);
    f.addOn->Update();
    EXPECT_GT(Peak(f.Render(88200)[3]), 0.0f);
}

TEST(HarmonyAddOn, ApplyChordWritesFromThePresentElementOn) {
    Fixture f(Phrase().samples);
    f.addOn->SetHarmonyMode(3);
    f.addOn->Update();
    const auto lead = f.addOn->GetLeadPitchVector();
    f.addOn->SetPosition(lead[3].GetStart() + 0.1);
    f.addOn->ApplyChord(AddOnIf::ChordElement(0.0f, 50, -1, 70, 80));
    const float notes[] = {50.0f, -1.0f, 70.0f, 80.0f};
    for (int32_t v = 0; v < 4; ++v) {
        const auto voice = f.addOn->GetVoicePitchVector(v);
        EXPECT_EQ(voice[2].GetPitch(), v == 0 ? lead[2].GetPitch() : -1.0f);
        EXPECT_EQ(voice[3].GetPitch(), notes[v]);
        EXPECT_EQ(voice.back().GetPitch(), notes[v]);
    }
    // Exactly at a start no element is found, and everything is rewritten.
    f.addOn->SetPosition((std::round(lead[3].GetStart() * 44100.0) + 0.5) / 44100.0);
    ASSERT_EQ(static_cast<float>(f.addOn->GetPosition()), lead[3].GetStart());
    f.addOn->ApplyChord(AddOnIf::ChordElement(0.0f, 51, 51, 51, 51));
    EXPECT_EQ(f.addOn->GetVoicePitchVector(0)[1].GetPitch(), 51.0f);
    EXPECT_EQ(f.addOn->GetVoicePitchVector(1)[0].GetPitch(), 51.0f);
    EXPECT_EQ(f.addOn->GetVoicePitchVector(3).back().GetPitch(), 51.0f);
}

TEST(HarmonyAddOn, AChordOfNoNotesSilencesEveryVoiceFromThereOn) {
    Fixture f(Phrase().samples);
    f.addOn->SetHarmonyMode(3);
    f.addOn->ApplyChord(AddOnIf::ChordElement(0.0f, 60, 62, 64, 65));
    for (const auto& voice : f.Render(20000)) {
        EXPECT_GT(Peak(voice), 0.05f);
    }
    f.addOn->ApplyChord(AddOnIf::ChordElement(0.0f));
    f.Render(4096);  // the grains that were under way
    for (const auto& voice : f.Render(60000)) {
        EXPECT_EQ(Peak(voice), 0.0f);
    }
}

TEST(HarmonyAddOn, StereoRecordingsFillBothChannelsOfEachVoice) {
    Fixture f(Phrase().samples, 44100, 2);
    std::vector<std::vector<float>> rows(8, std::vector<float>(4096));
    float* pointers[8];
    for (int i = 0; i < 8; ++i) {
        pointers[i] = rows[i].data();
    }
    for (int block = 0; block < 5; ++block) {
        f.addOn->Process(pointers, 4096);
    }
    for (int v = 0; v < 4; ++v) {
        EXPECT_GT(Peak(rows[2 * v]), 0.01f) << v;
        EXPECT_EQ(rows[2 * v], rows[2 * v + 1]) << v;
    }
}

TEST(HarmonyAddOn, MoreThanTwoChannelsAreAnalysedButNotRendered) {
    Fixture f(Phrase().samples, 44100, 3);
    EXPECT_EQ(f.status, 0);
    EXPECT_EQ(f.addOn->GetKey(), 0);
    std::vector<std::vector<float>> rows(12, std::vector<float>(100, 9.0f));
    float* pointers[12];
    for (int i = 0; i < 12; ++i) {
        pointers[i] = rows[i].data();
    }
    f.addOn->Process(pointers, 100);
    for (const auto& row : rows) {
        EXPECT_EQ(Peak(row), 0.0f);
    }
}

TEST(HarmonyAddOn, SilenceGivesTheFallbackNoteAndSilentVoices) {
    for (std::size_t frames : {0u, 1u, 2u, 4096u, 30000u}) {
        Fixture f(std::vector<float>(frames, 0.0f));
        EXPECT_EQ(f.addOn->GetKey(), -1) << frames;
        const auto lead = f.addOn->GetLeadPitchVector();
        ASSERT_EQ(lead.size(), 2u) << frames;
        EXPECT_EQ(lead[1].GetPitch(), 60.0f);
        for (const auto& voice : f.Render(5000)) {
            EXPECT_EQ(Peak(voice), 0.0f);
        }
    }
}

TEST(HarmonyAddOn, SameInputGivesTheSameBitsWhateverRanBefore) {
    std::vector<std::vector<float>> first;
    {
        Fixture f(Phrase().samples);
        first = f.Render(60000);
    }
    Fixture other(SingScale({70, 72, 65}).samples);
    other.Render(10000, 100);
    Fixture again(Phrase().samples);
    EXPECT_EQ(again.Render(60000), first);
}

TEST(HarmonyAddOn, BlockSizeDoesNotChangeTheSound) {
    Fixture a(Phrase().samples);
    Fixture b(Phrase().samples);
    EXPECT_EQ(a.Render(50000, 4096), b.Render(50000, 777));
}

}  // namespace

}  // namespace mlh
