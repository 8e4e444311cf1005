#include "addon/HarmonyAddOn.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "audio/AudioBuffers.h"
#include "base/Codes.h"
#include "base/Numbering.h"
#include "base/PitchUnits.h"
#include "base/StandardLibrary.h"
#include "synthesis/PitchSynthesizer.h"

namespace mlh {

namespace {

constexpr int32_t kMinSampleRate = 11025;   // [Hz] of the pitch tracker
constexpr int32_t kReservedMarks = 0x8000;  // more are possible, but grow the list
constexpr int32_t kAnalysisBlock = 4096;    // [frames]
constexpr int32_t kManualMode = NumberOf(AddOnMode::Manual);
constexpr int32_t kMajorScale = 0;
constexpr int32_t kMinorScale = 5;
constexpr float kMuted = -1.0f;  // pitch of no note

constexpr int32_t kVoiceParameters = 4;  // those from the formant shift on

bool AreEqual(const ChoiralizerV2::ChordInfo& a, const ChoiralizerV2::ChordInfo& b) {
    return a.root == b.root && a.triadType == b.triadType && a.seventhType == b.seventhType &&
           a.inversion == b.inversion && a.name == b.name;
}

}  // namespace

void MalleoTuneHarmonyAddOn::AnalysisDeleter::operator()(CMELODORPitchAnalysisIf* analysis) const {
    DestroyPitchAnalysis(&analysis);
}

void MalleoTuneHarmonyAddOn::SynthesizerDeleter::operator()(CMELODORPitchSynthesizerIf* synthesizer) const {
    DestroyPitchSynthesizer(&synthesizer);
}

int32_t MalleoTuneHarmonyAddOnIf::CreateInstance(MalleoTuneHarmonyAddOnIf** out, AudioReader* reader) {
    if (out == nullptr) {
        return kAddOnBadArgument;
    }
    *out = nullptr;
    if (reader == nullptr || reader->GetSampleRate() < kMinSampleRate || reader->GetNumChannels() < 1) {
        return kAddOnBadArgument;
    }
    std::unique_ptr<MalleoTuneHarmonyAddOn> created(new (std::nothrow) MalleoTuneHarmonyAddOn(reader));
    if (!created || created->Init() != 0) {
        return kAddOnFailed;
    }
    *out = created.release();
    return 0;
}

int32_t MalleoTuneHarmonyAddOnIf::DestroyInstance(MalleoTuneHarmonyAddOnIf** handle) {
    if (handle == nullptr || *handle == nullptr) {
        return kAddOnBadArgument;
    }
    delete *handle;
    *handle = nullptr;
    return 0;
}

MalleoTuneHarmonyAddOn::MalleoTuneHarmonyAddOn(AudioReader* reader)
    : reader_(reader), harmonyParams_{1, BitCast<int32_t>(0.5f), 0, 0} {}

MalleoTuneHarmonyAddOn::~MalleoTuneHarmonyAddOn() = default;

int32_t MalleoTuneHarmonyAddOn::Init() {
    CPitchMarksIf* marks = nullptr;
    if (CreatePitchMarks(&marks) != 0) {
        return kAddOnFailed;
    }
    pitchMarks_.reset(marks);
    pitchMarks_->Reserve(kReservedMarks);

    CMELODORPitchAnalysisIf* analysis = nullptr;
    const float rate = static_cast<float>(reader_.GetSampleRate());
    if (CreatePitchAnalysis(&analysis, marks, rate, reader_.GetNumChannels()) != 0) {
        return kAddOnFailed;
    }
    analysis_.reset(analysis);

    ChoiralizerV2::CChoiralizerV2If* harmony = nullptr;
    const int32_t status = ChoiralizerV2::CreateChoiralizerV2(&harmony);
    harmony_.reset(harmony);
    return status;
}

int32_t MalleoTuneHarmonyAddOn::Prepare() {
    if (analysed_) {
        return 0;
    }
    if (!FeedAnalysis() || !CreateSynthesizers()) {
        return kAddOnFailed;
    }
    analysed_ = true;
    SetKey(analysis_->EstimateKey(0));
    SetHarmonyMode(NumberOf(AddOnMode::ThreeVoices));
    SetSpread(0.5f);
    RebuildLead();
    return Update();
}

// False when the analysis takes no input: it got no memory for its tracker.
bool MalleoTuneHarmonyAddOn::FeedAnalysis() {
    CTBuffer<float> block(reader_.GetNumChannels(), kAnalysisBlock);
    int32_t count;
    reader_.SetPosition(0);
    do {
        count = reader_.Read(block.GetChannels(), kAnalysisBlock);
        analysis_->ProcessInput(block.GetChannels(), count);
    } while (count == kAnalysisBlock);
    if (analysis_->FinishInput() != 0) {
        return false;
    }
    analysis_->RunAllSteps();
    return true;
}

bool MalleoTuneHarmonyAddOn::CreateSynthesizers() {
    for (auto& synthesizer : synthesizers_) {
        CMELODORPitchSynthesizerIf* created = nullptr;
        CreatePitchSynthesizer(&created, &reader_, pitchMarks_.get(), analysis_.get());
        synthesizer.reset(created);
        if (!synthesizer) {
            return false;
        }
    }
    return true;
}

void MalleoTuneHarmonyAddOn::Process(float** voices, int32_t frames) {
    const int32_t channels = reader_.GetNumChannels();
    const bool canRender = analysed_ && channels <= 2;  // a synthesizer knows mono and stereo
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        float** out = voices + v * channels;
        if (canRender && v < activeVoices_) {
            synthesizers_[v]->Process(out, frames);
            continue;
        }
        for (int32_t c = 0; c < channels; ++c) {
            std::fill_n(out[c], std::max(frames, 0), 0.0f);
        }
    }
}

void MalleoTuneHarmonyAddOn::SetPosition(double seconds) {
    if (!analysed_) {
        return;
    }
    for (auto& synthesizer : synthesizers_) {
        synthesizer->SetPosition(seconds);
    }
}

double MalleoTuneHarmonyAddOn::GetPosition() { return analysed_ ? synthesizers_[0]->GetPosition() : 0.0; }

double MalleoTuneHarmonyAddOn::GetDuration() { return analysed_ ? synthesizers_[0]->GetDuration() : 0.0; }

int32_t MalleoTuneHarmonyAddOn::SetHarmonyMode(int32_t mode) {
    if (!analysed_) {
        return 0;
    }
    if (mode >= 0 && mode < kManualMode) {
        harmony_->SetMode(mode);
    }
    if (mode == kManualMode) {
        ResetVoicesToLead();
    }
    harmonyMode_ = mode;
    NoteChange();
    return 0;
}

int32_t MalleoTuneHarmonyAddOn::GetHarmonyMode() { return harmonyMode_; }

int32_t MalleoTuneHarmonyAddOn::SetSpread(float spread) {
    if (!(spread >= 0.0f && spread <= 1.0f)) {
        return kAddOnBadArgument;
    }
    harmonyParams_[1] = BitCast<int32_t>(spread);
    harmony_->SetParams(harmonyParams_.data());
    NoteChange();
    return 0;
}

float MalleoTuneHarmonyAddOn::GetSpread() { return BitCast<float>(harmonyParams_[1]); }

int32_t MalleoTuneHarmonyAddOn::SetVoicesAbove(int32_t count) {
    if (count < 0 || count > 3) {
        return kAddOnBadArgument;
    }
    harmonyParams_[0] = count;
    harmony_->SetParams(harmonyParams_.data());
    NoteChange();
    return 0;
}

int32_t MalleoTuneHarmonyAddOn::GetVoicesAbove() { return harmonyParams_[0]; }

int32_t MalleoTuneHarmonyAddOn::SetVoicePitchVector(int32_t voice, PitchVector pitches) {
    if (voice < 0 || voice >= kVoiceCount || pitches.size() != leadPitch_.size()) {
        return kAddOnBadArgument;
    }
    SettleVoices();
    pushed_ = false;
    // Where chords have split the lead since the last update, the voice still has its old elements.
    PitchVector& own = voicePitch_[voice];
    const std::size_t count = std::min(own.size(), pitches.size());
    for (std::size_t i = 0; i < count; ++i) {
        own[i].SetPitch(pitches[i].GetPitch());
    }
    NoteChange();
    return 0;
}

MalleoTuneHarmonyAddOnIf::PitchVector MalleoTuneHarmonyAddOn::GetVoicePitchVector(int32_t voice) {
    if (voice < 0 || voice >= kVoiceCount || !voicesReady_) {
        return {};
    }
    SettleVoices();
    return voicePitch_[voice];
}

MalleoTuneHarmonyAddOnIf::PitchVector MalleoTuneHarmonyAddOn::GetLeadPitchVector() {
    if (!analysed_) {
        return {};
    }
    return leadPitch_;
}

int32_t MalleoTuneHarmonyAddOn::SetKey(int32_t key) {
    if (!analysed_) {
        return kAddOnNotReady;
    }
    const int32_t scale = key >= 12 ? kMinorScale : kMajorScale;
    harmony_->SetKey(key % 12);
    harmony_->SetInputScale(scale);
    harmony_->SetOutputScale(scale);
    harmony_->SetQuantize(1);
    harmony_->SetScaleMap(1);
    NoteChange();
    return 0;
}

int32_t MalleoTuneHarmonyAddOn::GetKey() {
    if (!analysed_) {
        return -1;
    }
    return harmony_->GetKey() + (harmony_->GetInputScale() == kMinorScale ? 12 : 0);
}

int32_t MalleoTuneHarmonyAddOn::SetVoiceParameter(int32_t voice, int32_t kind, float value) {
    if (voice < 0 || voice >= activeVoices_) {
        return 0;
    }
    if (kind < 0 || kind >= kVoiceParameters) {
        return kAddOnVoiceRefused;
    }
    return synthesizers_[voice]->SetGlobalParameter(kind + GlobalFormantShift, value) == 0
               ? 0
               : kAddOnVoiceRefused;
}

float MalleoTuneHarmonyAddOn::GetVoiceParameter(int32_t voice, int32_t kind) {
    if (voice < 0 || voice >= activeVoices_ || kind < 0 || kind >= kVoiceParameters) {
        return -1.0f;
    }
    return synthesizers_[voice]->GetGlobalParameter(kind + GlobalFormantShift);
}

// Must follow each change of the segmentation of synthesizer 0.
void MalleoTuneHarmonyAddOn::RebuildLead() {
    CMELODORPitchSynthesizerIf& lead = *synthesizers_[0];
    const int32_t count = lead.GetSegmentCount();
    melody_.assign(static_cast<std::size_t>(count), {});
    leadPitch_.clear();
    latestEnd_.clear();
    float latest = -std::numeric_limits<float>::infinity();
    for (int32_t i = 0; i < count; ++i) {
        melody_[i].pitch = NoteTowardsZero(lead.GetSegmentParameter(i, SegmentTargetPitch));
        SegmentInfo info;
        lead.GetSegmentInfo(i, &info);
        leadPitch_.emplace_back(static_cast<float>(info.sourceStart), info.detectedPitch,
                                static_cast<float>(info.noteEnd - info.sourceStart), info.level);
        latest = std::max(latest, leadPitch_.back().GetEnd());
        latestEnd_.push_back(latest);
    }

    const bool manual = harmonyMode_ == kManualMode;
    if (manual) {
        harmony_->SetChordCount(count);
    }
    ChoiralizerV2::NoteList melody;
    melody.items = melody_.data();
    melody.count = count;
    harmony_->SetMelody(&melody, manual ? 0 : 1);
}

// Entering the manual mode: voice 0 sings the lead, the others rest.
void MalleoTuneHarmonyAddOn::ResetVoicesToLead() {
    chordTails_.Clear();
    pushed_ = false;
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        voicePitch_[v] = leadPitch_;
        if (v == 0) {
            continue;
        }
        for (PitchElement& element : voicePitch_[v]) {
            element.SetPitch(kMuted);
        }
    }
}

// The first element of the lead that `time` lies strictly inside of, else 0. The starts rise, so that
// the first element to end later than `time` is the only candidate that can hold it.
int32_t MalleoTuneHarmonyAddOn::FindLeadElementAt(float time) const {
    const auto found = std::upper_bound(latestEnd_.begin(), latestEnd_.end(), time);
    if (found == latestEnd_.end()) {
        return 0;
    }
    const auto index = found - latestEnd_.begin();
    return leadPitch_[static_cast<std::size_t>(index)].GetStart() < time ? static_cast<int32_t>(index) : 0;
}

// In the automatic modes Update puts the engine's rows over all that a chord could write.
int32_t MalleoTuneHarmonyAddOn::ApplyChord(ChordElement chord) {
    if (!analysed_) {
        return 0;
    }
    if (harmonyMode_ == kManualMode) {
        const int32_t first = FindLeadElementAt(static_cast<float>(synthesizers_[0]->GetPosition()));
        VoicePitches pitches;
        for (int32_t v = 0; v < kVoiceCount; ++v) {
            pitches[v] = static_cast<float>(chord.GetNotes()[v]);
        }
        chordTails_.Assign(first, pitches);
        if (pushed_) {
            pushed_ = false;  // should memory run out on the way
            PushChordToSynthesizers(pitches, first);
            pushed_ = true;
        }
    }
    Update();
    dirty_ = true;
    return 0;
}

int32_t MalleoTuneHarmonyAddOn::SetChordVector(ChordVector chords) {
    if (!analysed_) {
        return kAddOnNotReady;
    }
    if (chords.empty() || harmonyMode_ == kManualMode) {
        return kAddOnBadArgument;
    }
    for (int32_t v = 0; v < activeVoices_; ++v) {
        synthesizers_[v]->Reset();
    }

    // The elements looked up are those of before the loop, while the segments are already split: a chord
    // after a split in the same call tests the times of a neighbour.
    for (const ChordElement& chord : chords) {
        SplitSegmentsAt(chord.GetTime());
    }
    const int32_t count = synthesizers_[0]->GetSegmentCount();
    harmony_->SetChordCount(count);
    RebuildLead();

    int32_t next = 0;
    for (std::size_t k = 0; k + 1 < chords.size(); ++k) {
        next = FindLeadElementAt(chords[k + 1].GetTime());
        SetChordOfSegments(chords[k], FindLeadElementAt(chords[k].GetTime()), next);
    }
    SetChordOfSegments(chords.back(), next, count);
    NoteChange();
    return 0;
}

float MalleoTuneHarmonyAddOn::GetChordSplitThreshold() { return chordSplitThreshold_; }

void MalleoTuneHarmonyAddOn::SetChordSplitThreshold(float seconds) { chordSplitThreshold_ = seconds; }

void MalleoTuneHarmonyAddOn::SplitSegmentsAt(float time) {
    const int32_t index = FindLeadElementAt(time);
    SegmentInfo info;
    if (synthesizers_[0]->GetSegmentInfo(index, &info) != 0) {
        return;
    }
    const float sinceStart = static_cast<float>(time - info.sourceStart);
    const float sinceEnd = static_cast<float>(time - info.sourceEnd);
    if (!(sinceStart > chordSplitThreshold_)) {
        return;
    }

    // Early enough that the voice has arrived when the chord comes; less early near the segment's end.
    double offset;
    if (std::fabs(sinceEnd) > std::fabs(sinceStart)) {
        offset = sinceStart - 0.1;
    } else if (-chordSplitThreshold_ > sinceEnd) {
        offset = (time - info.sourceStart) - 0.01;
    } else {
        return;
    }
    for (auto& synthesizer : synthesizers_) {
        synthesizer->SplitSegment(index, offset);
    }
}

void MalleoTuneHarmonyAddOn::SetChordOfSegments(const ChordElement& chord, int32_t first, int32_t end) {
    for (int32_t s = first; s < end; ++s) {
        int32_t notes[4];  // recognition reorders them
        std::copy_n(chord.GetNotes(), 4, notes);
        ChoiralizerV2::ChordInfo info;
        harmony_->ChordFromPitches(&info, notes);
        harmony_->SetChordAt(s, info);
    }
}

void MalleoTuneHarmonyAddOn::NoteChange() {
    dirty_ = true;
    calculated_ = false;
    settled_ = false;
}

// True when calculating again would give the same: what the engine makes depends on its settings and on its
// chords, which it rewrites, and this was a repetition that left them alone.
bool MalleoTuneHarmonyAddOn::Calculate() {
    ChoiralizerV2::ChordInfo* chords = nullptr;
    std::vector<ChoiralizerV2::ChordInfo> before;
    if (calculated_) {
        harmony_->GetChords(&chords);
        before.assign(chords, chords + harmony_->GetChordCount());
    }
    harmony_->Calculate();
    harmony_->GetVoices(&harmonyRows_);
    if (!calculated_) {
        calculated_ = true;
        return false;
    }
    harmony_->GetChords(&chords);
    return std::equal(before.begin(), before.end(), chords, chords + harmony_->GetChordCount(), AreEqual);
}

int32_t MalleoTuneHarmonyAddOn::Update() {
    if (!analysed_) {
        return 0;
    }
    if (settled_) {  // chords that come in an automatic mode change nothing
        dirty_ = false;
        return 0;
    }
    bool settles = false;
    if (dirty_) {
        if (harmonyMode_ == kManualMode) {
            activeVoices_ = kVoiceCount;
        } else {
            settles = Calculate();
        }
        voicesReady_ = true;
        dirty_ = false;
    }
    AssignRows();
    PushToSynthesizers();
    settled_ = settles;
    return 0;
}

void MalleoTuneHarmonyAddOn::AssignRows() {
    if (harmonyMode_ == kManualMode) {
        activeVoices_ = kVoiceCount;
        for (int32_t v = 0; v < kVoiceCount; ++v) {
            voiceRow_[v] = v;
        }
        return;
    }
    chordTails_.Clear();
    pushed_ = false;
    // Where memory ran out between lead and rows they differ in length; what has no entry rests.
    const auto pitchAt = [this](int32_t row, std::size_t i) {
        const ChoiralizerV2::NoteList& list = harmonyRows_[row];
        return i < static_cast<std::size_t>(list.count) ? list.items[i].pitch : -1;
    };
    // A row whose first note is silent is taken for absent as a whole.
    voiceRow_[0] = kLeadRow;
    activeVoices_ = 1;
    for (int32_t r = 0; r < kVoiceCount; ++r) {
        if (r != kLeadRow && pitchAt(r, 0) != -1) {
            voiceRow_[activeVoices_++] = r;
        }
    }
    // Voices that are not active follow whatever row they had before.
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        voicePitch_[v].clear();
        for (std::size_t i = 0; i < leadPitch_.size(); ++i) {
            const PitchElement& lead = leadPitch_[i];
            voicePitch_[v].emplace_back(lead.GetStart(), static_cast<float>(pitchAt(voiceRow_[v], i)),
                                        lead.GetDuration(), lead.GetLevel());
        }
    }
}

void MalleoTuneHarmonyAddOn::SettleVoices() {
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        const auto size = static_cast<int32_t>(voicePitch_[v].size());
        chordTails_.ForEach(size, [&](int32_t i, const VoicePitches& pitches) {
            voicePitch_[v][static_cast<std::size_t>(i)].SetPitch(pitches[v]);
        });
    }
    chordTails_.Clear();
}

// How many segments of a voice sing its elements. One that was not active when chords split the others may
// have more segments than elements.
int32_t MalleoTuneHarmonyAddOn::CountSungSegments(int32_t voice) const {
    const auto elements = static_cast<int32_t>(voicePitch_[voice].size());
    return std::min(synthesizers_[voice]->GetSegmentCount(), elements);
}

void MalleoTuneHarmonyAddOn::PushToSynthesizers() {
    if (pushed_) {
        return;
    }
    SettleVoices();
    for (int32_t v = 0; v < activeVoices_; ++v) {
        CMELODORPitchSynthesizerIf& synthesizer = *synthesizers_[v];
        const int32_t count = CountSungSegments(v);
        for (int32_t i = 0; i < count; ++i) {
            const float pitch = voicePitch_[v][static_cast<std::size_t>(i)].GetPitch();
            const bool muted = pitch == kMuted;
            // Muting leaves the target pitch, towards which the neighbours glide.
            if (!muted) {
                synthesizer.SetSegmentParameter(i, SegmentTargetPitch, pitch);
            }
            synthesizer.SetSegmentParameter(i, SegmentGain, muted ? 0.0f : 1.0f);
        }
    }
    pushed_ = harmonyMode_ == kManualMode;
}

// The same where all segments from `first` on sing one chord of the manual mode.
void MalleoTuneHarmonyAddOn::PushChordToSynthesizers(const VoicePitches& pitches, int32_t first) {
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        CMELODORPitchSynthesizerIf& synthesizer = *synthesizers_[v];
        const int32_t end = CountSungSegments(v);
        if (first >= end) {
            continue;
        }
        const bool muted = pitches[v] == kMuted;
        if (!muted) {
            synthesizer.SetSegmentParameters(first, end, SegmentTargetPitch, pitches[v]);
        }
        synthesizer.SetSegmentParameters(first, end, SegmentGain, muted ? 0.0f : 1.0f);
    }
}

}  // namespace mlh
