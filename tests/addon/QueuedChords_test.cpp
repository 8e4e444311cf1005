// The manual mode, in which each chord is written into the voices from the present note to the end of the
// song: the results of doing just that, at a cost that does not depend on how long the song is.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "addon/HarmonyAddOn.h"
#include "mlh/analysis.h"
#include "support/SungTunes.h"
#include "synthesis/PitchSynthesizer.h"

namespace mlh {

namespace {

using AddOnIf = MalleoTuneHarmonyAddOnIf;

constexpr int32_t kRate = 11025;
constexpr int32_t kVoices = 4;
constexpr int32_t kManualMode = 3;

class HostReader final : public AddOnIf::AudioReader {
  public:
    explicit HostReader(std::vector<float> samples) : samples_(std::move(samples)) {}
    int32_t SetPosition(int32_t frame) override {
        position_ = std::max(frame, 0);
        return 0;
    }
    int32_t Read(float** out, int32_t frames) override {
        const int32_t present = std::min(frames, GetLength() - position_);
        for (int32_t i = 0; out[0] != nullptr && i < frames; ++i) {
            out[0][i] = i < present ? samples_[static_cast<std::size_t>(position_ + i)] : 0.0f;
        }
        position_ += present;
        return present;
    }
    int32_t GetLength() override { return static_cast<int32_t>(samples_.size()); }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return kRate; }

  private:
    std::vector<float> samples_;
    int32_t position_ = 0;
};

struct Singer {
    explicit Singer(const std::vector<float>& samples) : reader(samples) {
        AddOnIf::CreateInstance(&addOn, &reader);
        addOn->Prepare();
    }
    ~Singer() { AddOnIf::DestroyInstance(&addOn); }
    Singer(const Singer&) = delete;
    Singer& operator=(const Singer&) = delete;

    CMELODORPitchSynthesizerIf& Voice(int32_t v) {
        return static_cast<MalleoTuneHarmonyAddOn*>(addOn)->GetSynthesizer(v);
    }

    std::vector<float> Render(int32_t frames) {
        std::vector<float> rows(static_cast<std::size_t>(kVoices * frames));
        float* out[kVoices];
        for (int32_t v = 0; v < kVoices; ++v) {
            out[v] = rows.data() + v * frames;
        }
        addOn->Process(out, frames);
        return rows;
    }

    HostReader reader;
    AddOnIf* addOn = nullptr;
};

// The manual mode spelled out: all pitches in a table, of which every element is written into the voices each
// time. Of the add-on it uses what seeks and renders alone.
class PlainManualMode {
  public:
    explicit PlainManualMode(Singer& singer) : singer_(singer) {}

    void Enter() {
        singer_.addOn->SetHarmonyMode(kManualMode);
        lead_ = singer_.addOn->GetLeadPitchVector();
        for (int32_t v = 0; v < kVoices; ++v) {
            table_[v] = lead_;
            for (auto& element : table_[v]) {
                element.SetPitch(v == 0 ? element.GetPitch() : -1.0f);
            }
        }
        entered_ = true;
    }

    void SetVoice(int32_t v, const AddOnIf::PitchVector& pitches) {
        for (std::size_t i = 0; i < pitches.size(); ++i) {
            table_[v][i].SetPitch(pitches[i].GetPitch());
        }
    }

    void ApplyChord(const AddOnIf::ChordElement& chord) {
        const auto time = static_cast<float>(singer_.Voice(0).GetPosition());
        const auto holds = [&](const AddOnIf::PitchElement& e) {
            return e.GetStart() < time && e.GetEnd() > time;
        };
        const auto found = std::find_if(lead_.begin(), lead_.end(), holds);
        const std::size_t first = found == lead_.end() ? 0 : static_cast<std::size_t>(found - lead_.begin());
        for (int32_t v = 0; v < kVoices; ++v) {
            for (std::size_t i = first; i < table_[v].size(); ++i) {
                table_[v][i].SetPitch(static_cast<float>(chord.GetNotes()[v]));
            }
        }
        Update();
    }

    void Update() {
        if (entered_) {  // the add-on's own update, with the same pitches, makes all four voices active
            for (int32_t v = 0; v < kVoices; ++v) {
                singer_.addOn->SetVoicePitchVector(v, table_[v]);
            }
            singer_.addOn->Update();
        }
        entered_ = false;
        for (int32_t v = 0; v < kVoices; ++v) {
            CMELODORPitchSynthesizerIf& voice = singer_.Voice(v);
            const auto segments = static_cast<std::size_t>(voice.GetSegmentCount());
            for (std::size_t i = 0; i < std::min(segments, table_[v].size()); ++i) {
                const float pitch = table_[v][i].GetPitch();
                const auto segment = static_cast<int32_t>(i);
                if (pitch != -1.0f) {
                    voice.SetSegmentParameter(segment, SegmentTargetPitch, pitch);
                }
                voice.SetSegmentParameter(segment, SegmentGain, pitch == -1.0f ? 0.0f : 1.0f);
            }
        }
    }

    const AddOnIf::PitchVector& GetVoice(int32_t v) const { return table_[v]; }

  private:
    Singer& singer_;
    AddOnIf::PitchVector lead_;
    AddOnIf::PitchVector table_[kVoices];
    bool entered_ = false;
};

AddOnIf::ChordElement RandomChord(std::mt19937& random) {
    AddOnIf::ChordElement chord(0.0f);
    for (int32_t v = 0; v < kVoices; ++v) {
        chord.GetNotes()[v] = random() % 3 == 0 ? -1 : 48 + static_cast<int32_t>(random() % 24);
    }
    return chord;
}

// Some of two voices alone, so that the others have segments of their own.
void SetRandomChords(AddOnIf& addOn, std::mt19937 random) {
    for (int call = 0; call < 2; ++call) {
        addOn.SetHarmonyMode(static_cast<int32_t>(random() % 3));
        addOn.Update();
        AddOnIf::ChordVector chords;
        for (int i = 0; i < 4; ++i) {
            const auto time = static_cast<float>(i) * 0.7f + static_cast<float>(random() % 100) * 0.01f;
            const int32_t root = 48 + static_cast<int32_t>(random() % 24);
            chords.emplace_back(time, root, root + 4, root + 7);
        }
        addOn.SetChordVector(chords);
        addOn.Update();
    }
}

// Starts and ends of notes, moments inside of them, rests, and times outside of the song.
double RandomTime(const AddOnIf::PitchVector& lead, std::mt19937& random) {
    const auto& element = lead[random() % lead.size()];
    switch (random() % 5) {
        case 0:
            return element.GetStart();
        case 1:
            return element.GetEnd();
        case 2:
            return element.GetStart() + 0.5 * element.GetDuration();
        case 3:
            return 0.0;
        default:
            return static_cast<double>(random() % 500) * 0.01;
    }
}

void ExpectSameSegments(Singer& singer, Singer& plain) {
    for (int32_t v = 0; v < kVoices; ++v) {
        ASSERT_EQ(singer.Voice(v).GetSegmentCount(), plain.Voice(v).GetSegmentCount());
        for (int32_t i = 0; i < plain.Voice(v).GetSegmentCount(); ++i) {
            for (const int32_t which : {SegmentTargetPitch, SegmentGain}) {
                ASSERT_EQ(singer.Voice(v).GetSegmentParameter(i, which),
                          plain.Voice(v).GetSegmentParameter(i, which))
                    << v << " " << i;
            }
        }
    }
}

TEST(ManualMode, IsThatOfWritingEveryChordToTheEnd) {
    const std::vector<float> samples =
        SingScale({60, 62, 64, 65, 67, 64, 62, 60, 59, 60}, 0.4, 3, kRate).samples;
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        std::mt19937 random(seed);
        Singer singer(samples);
        Singer plainSinger(samples);
        PlainManualMode plain(plainSinger);
        if (seed % 3 == 0) {
            SetRandomChords(*singer.addOn, random);
            SetRandomChords(*plainSinger.addOn, random);
        }
        singer.addOn->SetHarmonyMode(kManualMode);
        plain.Enter();
        const auto lead = singer.addOn->GetLeadPitchVector();
        for (int step = 0; step < 150; ++step) {
            switch (random() % 12) {
                case 0: {
                    const double time = RandomTime(lead, random);
                    singer.addOn->SetPosition(time);
                    plainSinger.addOn->SetPosition(time);
                    break;
                }
                case 1: {
                    const auto v = static_cast<int32_t>(random() % kVoices);
                    auto pitches = lead;
                    for (auto& element : pitches) {
                        element.SetPitch(static_cast<float>(random() % 4) * 12.0f - 1.0f);
                    }
                    ASSERT_EQ(singer.addOn->SetVoicePitchVector(v, pitches), 0);
                    plain.SetVoice(v, pitches);
                    if (random() % 2 == 0) {
                        singer.addOn->Update();
                        plain.Update();
                    }
                    break;
                }
                case 2:
                    if (random() % 4 != 0) {
                        break;
                    }
                    singer.addOn->SetHarmonyMode(kManualMode);
                    plain.Enter();
                    break;
                case 3:
                    for (int32_t v = 0; v < kVoices; ++v) {
                        const auto voice = singer.addOn->GetVoicePitchVector(v);
                        ASSERT_EQ(voice.size(), plain.GetVoice(v).size());
                        for (std::size_t i = 0; i < voice.size(); ++i) {
                            ASSERT_EQ(voice[i].GetPitch(), plain.GetVoice(v)[i].GetPitch()) << v << " " << i;
                        }
                    }
                    break;
                case 4:
                    ExpectSameSegments(singer, plainSinger);
                    break;
                case 5:
                case 6:
                case 7: {
                    const auto frames = static_cast<int32_t>(1 + random() % 3000);
                    ASSERT_EQ(singer.Render(frames), plainSinger.Render(frames)) << seed << " " << step;
                    break;
                }
                default: {
                    const auto chord = RandomChord(random);
                    singer.addOn->ApplyChord(chord);
                    plain.ApplyChord(chord);
                    break;
                }
            }
        }
        ExpectSameSegments(singer, plainSinger);
        singer.addOn->SetPosition(0.0);
        plainSinger.addOn->SetPosition(0.0);
        ASSERT_EQ(singer.Render(40000), plainSinger.Render(40000)) << seed;
    }
}

// In the automatic modes a chord is an update and leaves everything to be calculated again at the next one.
// The plain singer calculates each time: that its spread is set, to what it is, counts as a change.
TEST(AutomaticMode, IsThatOfCalculatingAnewAtEveryChord) {
    const std::vector<float> samples =
        SingScale({60, 62, 64, 65, 67, 64, 62, 60, 59, 60}, 0.4, 3, kRate).samples;
    for (uint32_t seed = 1; seed <= 10; ++seed) {
        std::mt19937 random(seed);
        Singer singer(samples);
        Singer plain(samples);
        const auto both = [&](auto call) {
            call(*singer.addOn);
            call(*plain.addOn);
        };
        for (int step = 0; step < 80; ++step) {
            const auto number = static_cast<int32_t>(random() % 1000);
            switch (random() % 14) {
                case 0:
                    both([&](AddOnIf& addOn) { addOn.SetHarmonyMode(number % 3); });
                    break;
                case 1:
                    both([&](AddOnIf& addOn) { addOn.SetVoicesAbove(number % 4); });
                    break;
                case 2:
                    both([&](AddOnIf& addOn) { addOn.SetKey(number % 24); });
                    break;
                case 3: {
                    AddOnIf::ChordVector chords;
                    for (int32_t i = 0; i <= number % 4; ++i) {
                        auto chord = RandomChord(random);
                        std::sort(chord.GetNotes(), chord.GetNotes() + 4, std::greater<>());
                        const int32_t* n = chord.GetNotes();
                        const auto time = static_cast<float>(i) + static_cast<float>(random() % 100) * 0.01f;
                        chords.emplace_back(time, n[0], n[1], n[2], n[3]);
                        // An augmented major seventh comes back as an unknown chord.
                        if (random() % 3 == 0) {
                            chords.back() = AddOnIf::ChordElement(time, n[0], n[0] + 4, n[0] + 8, n[0] + 11);
                        }
                    }
                    both([&](AddOnIf& addOn) { addOn.SetChordVector(chords); });
                    break;
                }
                case 4: {
                    const auto pitches = singer.addOn->GetLeadPitchVector();
                    both([&](AddOnIf& addOn) { addOn.SetVoicePitchVector(number % 4, pitches); });
                    break;
                }
                case 5:
                    both([&](AddOnIf& addOn) { addOn.Update(); });
                    break;
                case 6:
                    ASSERT_EQ(singer.Render(2000), plain.Render(2000)) << seed << " " << step;
                    break;
                default: {
                    singer.addOn->ApplyChord(RandomChord(random));
                    plain.addOn->Update();
                    plain.addOn->SetSpread(plain.addOn->GetSpread());
                    break;
                }
            }
            for (int32_t v = 0; v < kVoices; ++v) {
                const auto voice = singer.addOn->GetVoicePitchVector(v);
                const auto expected = plain.addOn->GetVoicePitchVector(v);
                ASSERT_EQ(voice.size(), expected.size());
                for (std::size_t i = 0; i < voice.size(); ++i) {
                    ASSERT_EQ(voice[i].GetPitch(), expected[i].GetPitch()) << seed << " " << step << " " << v;
                }
            }
            const auto chords = GetAnalysis(*singer.addOn).chords;
            const auto expected = GetAnalysis(*plain.addOn).chords;
            ASSERT_EQ(chords.size(), expected.size());
            for (std::size_t i = 0; i < chords.size(); ++i) {
                ASSERT_EQ(chords[i].root, expected[i].root);
                ASSERT_EQ(chords[i].triadType, expected[i].triadType);
                ASSERT_EQ(chords[i].seventhType, expected[i].seventhType);
            }
        }
        ExpectSameSegments(singer, plain);
    }
}

}  // namespace

}  // namespace mlh
