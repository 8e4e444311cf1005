// Edits in any order: of the segments of one voice over marks and notes that need not fit, and of a whole
// add-on through the class interface.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz/Bytes.h"
#include "mlh/addon.h"
#include "mlh/analysis.h"
#include "support/ScriptedVoice.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr int32_t kLongestBlock = 2000;
constexpr int kSamplesToRender = 30000;
constexpr int kUpdates = 12;

ScriptedRecording MakeRecording(Bytes& bytes, int32_t channels) {
    const std::vector<std::vector<float>> rows(static_cast<std::size_t>(channels),
                                               std::vector<float>(20000, 0.5f));
    std::vector<ScriptedMark> marks = {{0, 0.0f, false}};
    const int32_t count = bytes.Below(200);
    const int32_t distance = 1 + bytes.Below(300);
    const bool uneven = bytes.Bit();
    for (int32_t i = 0; i < count; ++i) {
        const int32_t step = uneven ? 1 + bytes.Below(400) : distance;
        marks.push_back(
            {marks.back().position + step, i % 30 < 24 ? 50.0f + bytes.Real(30.0f) : 0.0f, i % 30 < 24});
    }
    std::vector<ScriptedNote> notes;
    const int32_t last = static_cast<int32_t>(marks.size()) - 1;
    for (int32_t n = bytes.Below(6), mark = 0; n > 0 && mark < last; --n) {
        const int32_t first = mark + bytes.Below(last - mark);
        mark = std::min(first + 1 + bytes.Below(64), last);
        notes.push_back({bytes.Real(90.0f), first, mark});
    }
    return {rows, kScriptedRate, marks, notes};
}

SegmentInfo AnyInfo(Bytes& bytes) {
    SegmentInfo info;
    info.modulationKeep = bytes.Real(1.0f);
    info.formantShift = bytes.Real(12.0f);
    info.gain = bytes.Real(1.0f);
    info.glideInShare = bytes.Real(1.0f);
    info.glideOutShare = bytes.Real(1.0f);
    info.glideInExtra = bytes.Real(2.0f);
    info.glideOutExtra = bytes.Real(2.0f);
    info.fadeInShare = bytes.Real(1.0f);
    info.fadeOutShare = bytes.Real(1.0f);
    info.fadeInLevel = bytes.Real(1.0f);
    info.fadeOutLevel = bytes.Real(1.0f);
    info.targetPitch = bytes.Real(90.0f);
    info.targetStart = bytes.Real(2.0f);
    info.targetEnd = bytes.Real(2.0f);
    info.detectedPitch = bytes.Real(90.0f);
    info.sourceStart = bytes.Real(2.0f);
    info.sourceEnd = bytes.Real(2.0f);
    return info;
}

void EditSegments(Bytes& bytes) {
    const int32_t channels = 1 + bytes.Below(2);
    ScriptedRecording recording = MakeRecording(bytes, channels);
    const VoiceOwner owner = recording.MakeVoice();
    Require(owner != nullptr);
    CMELODORPitchSynthesizerIf& voice = *owner;
    std::vector<float> left(kLongestBlock), right(kLongestBlock);
    float* rows[] = {left.data(), right.data()};
    int toRender = kSamplesToRender;
    SegmentInfo info;
    while (!bytes.Empty()) {
        const uint8_t operation = bytes.Byte();
        // Mostly one that is there.
        const int32_t there = bytes.Below(std::max(voice.GetSegmentCount(), 1));
        const int32_t index = operation & 128 ? bytes.Integer() : there;
        double start = 0.0, end = 0.0;
        const int32_t before = voice.GetSegmentCount();
        switch (operation % 20) {
            case 0:
                voice.Reset();
                break;
            case 1:
            case 2:
            case 3: {
                const int32_t frames =
                    std::min(bytes.Bit() ? bytes.Integer() : bytes.Below(kLongestBlock), toRender);
                voice.Process(rows, std::min(frames, kLongestBlock));
                toRender -= std::max(frames, 0);
                break;
            }
            case 4:
                voice.SetPosition(static_cast<double>(bytes.Real(2.0f)));
                break;
            case 5:
                voice.GetOutputPitchAt(static_cast<double>(bytes.Real(2.0f)));
                voice.GetOutputGainAt(static_cast<double>(bytes.Real(2.0f)));
                voice.GetPosition();
                voice.GetDuration();
                break;
            case 6:
                if (voice.RemoveSegment(index) == 0) {
                    Require(voice.GetSegmentCount() == before - 1);
                }
                break;
            case 7:
                if (bytes.Below(8) == 0) {
                    voice.ClearSegments();
                }
                break;
            case 8:
                voice.InsertSegment(bytes.Bit() ? info : AnyInfo(bytes));
                Require(voice.GetSegmentCount() == before + 1);
                break;
            case 9:
            case 10:
                if (voice.SplitSegment(index, static_cast<double>(bytes.Real(0.5f))) == 0) {
                    Require(voice.GetSegmentCount() == before + 1);
                }
                break;
            case 11:
                voice.MergeSegments(index, bytes.Bit() ? index + (index < 1000) : bytes.Integer());
                break;
            case 12:
                voice.GetSegmentInfo(index, &info);
                break;
            case 13:
                voice.SetSegmentInfo(index, bytes.Bit() ? info : AnyInfo(bytes), bytes.Bit());
                break;
            case 14:
                start = static_cast<double>(bytes.Real(2.0f));
                end = static_cast<double>(bytes.Real(2.0f));
                voice.SetSegmentTimes(index, &start, &end, bytes.Bit());
                break;
            case 15: {
                std::vector<int32_t> classes(static_cast<std::size_t>(bytes.Below(13)));
                for (int32_t& pitchClass : classes) {
                    pitchClass = bytes.Integer();
                }
                voice.QuantizeToScale(classes);
                break;
            }
            case 16:
                voice.GetSegmentTimes(index, &start, &end);
                break;
            case 17: {
                const int32_t which = bytes.Bit() ? bytes.Integer() : bytes.Below(12);
                voice.SetSegmentParameter(index, which,
                                          bytes.Real(which == SegmentTargetPitch ? 90.0f : 1.0f));
                voice.GetSegmentParameter(index, which);
                break;
            }
            default: {
                const int32_t which = bytes.Bit() ? bytes.Integer() : bytes.Below(6);
                voice.SetGlobalParameter(which, bytes.Real(2.0f));
                voice.GetGlobalParameter(which);
            }
        }
        if (voice.GetSegmentCount() > 300) {
            voice.Reset();
        }
    }
    voice.Process(rows, std::clamp(toRender, 0, kLongestBlock));
}

class ToneReader final : public MemoryReader {
  public:
    explicit ToneReader(int32_t channels)
        : samples_(Interleaved(std::vector(static_cast<std::size_t>(channels), Tones()))) {
        Assign(samples_.data(), static_cast<int32_t>(samples_.size()) / channels, channels, 11025);
    }

  private:
    static std::vector<float> Tones() {
        std::vector<float> tones = HarmonicTone(147.0, 11025.0, 0.25);
        tones.resize(tones.size() + 400);
        const auto higher = HarmonicTone(233.0, 11025.0, 0.3);
        tones.insert(tones.end(), higher.begin(), higher.end());
        return tones;
    }
    std::vector<float> samples_;
};

void EditAddOn(Bytes& bytes) {
    using AddOn = MalleoTuneHarmonyAddOnIf;
    const int32_t channels = 1 + bytes.Below(2);
    ToneReader reader(channels);
    AddOn* addOn = nullptr;
    Require(AddOn::CreateInstance(&addOn, &reader) == 0);
    const bool prepared = bytes.Below(16) != 15;
    if (prepared) {
        Require(addOn->Prepare() == 0);
    }
    std::vector<std::vector<float>> samples(8, std::vector<float>(kLongestBlock));
    float* rows[8];
    for (std::size_t r = 0; r < 8; ++r) {
        rows[r] = samples[r].data();
    }
    int toRender = kSamplesToRender;
    int updates = kUpdates;
    while (!bytes.Empty()) {
        switch (bytes.Below(16)) {
            case 0:
            case 1: {
                const int32_t frames =
                    std::min(bytes.Bit() ? bytes.Integer() : bytes.Below(kLongestBlock), toRender);
                addOn->Process(rows, std::min(frames, kLongestBlock));
                toRender -= std::max(frames, 0);
                break;
            }
            case 2:
                addOn->SetPosition(static_cast<double>(bytes.Real(1.0f)));
                break;
            case 3:
                addOn->SetHarmonyMode(bytes.Integer());
                break;
            case 4:
                addOn->SetSpread(bytes.Real(1.0f));
                break;
            case 5:
                addOn->SetVoicesAbove(bytes.Integer());
                break;
            case 6:
            case 7: {
                AddOn::PitchVector pitches = addOn->GetLeadPitchVector();
                if (bytes.Below(8) == 7 && !pitches.empty()) {
                    pitches.pop_back();
                }
                const bool all = bytes.Bit();
                const float pitch = bytes.Real(90.0f);
                for (auto& element : pitches) {
                    element.SetPitch(all ? pitch : bytes.Real(90.0f));
                }
                addOn->SetVoicePitchVector(bytes.Integer(), pitches);
                break;
            }
            case 8:
            case 9: {
                AddOn::ChordVector chords;
                for (int32_t n = bytes.Below(12); n > 0; --n) {
                    const float time = bytes.Real(0.6f);
                    int32_t notes[4];
                    for (int32_t& note : notes) {
                        note = bytes.Bit() ? bytes.Integer() : 36 + bytes.Below(48);
                    }
                    chords.emplace_back(time, notes[0], notes[1], notes[2], notes[3]);
                }
                if (updates-- > 0) {
                    addOn->SetChordVector(chords);
                }
                break;
            }
            case 10:
                addOn->SetChordSplitThreshold(bytes.Real(0.5f));
                break;
            case 11:
                if (updates-- > 0) {
                    addOn->ApplyChord(
                        AddOn::ChordElement(0.0f, bytes.Integer(), bytes.Integer(), bytes.Integer(), 60));
                }
                break;
            case 12:
                addOn->SetKey(bytes.Integer());
                break;
            case 13:
                if (updates-- > 0) {
                    addOn->Update();
                }
                break;
            case 14: {
                const int32_t voice = bytes.Integer();
                const int32_t kind = bytes.Integer();
                addOn->SetVoiceParameter(voice, kind, bytes.Real(2.0f));
                addOn->GetVoiceParameter(voice, kind);
                break;
            }
            default:
                addOn->GetVoicePitchVector(bytes.Integer());
                addOn->GetPosition();
                addOn->GetDuration();
                addOn->GetKey();
                Require(mlh::GetAnalysis(*addOn).notes.empty() == !prepared);
        }
    }
    AddOn::DestroyInstance(&addOn);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    if (bytes.Below(4) != 0) {
        EditSegments(bytes);
    } else {
        EditAddOn(bytes);
    }
    return 0;
}

}  // namespace mlh
