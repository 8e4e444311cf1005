#include "harmony/ChoiralizerV2.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/Numbering.h"
#include "classic/Choiralizer.h"
#include "harmony/ChordRecognition.h"
#include "harmony/ChordsInFunctions.h"
#include "harmony/ClassicNumbering.h"
#include "harmony/FunctionAssignment.h"
#include "harmony/VoicingRules.h"

namespace mlh::ChoiralizerV2 {

using ChoiralizerClassic::ClassicChord;

namespace {

// Lead in the top row, open spacing.
constexpr HarmonyParams kDefaultParams[4] = {3, 3, 1, 0};

template <class T>
std::unique_ptr<T> Created(int32_t (*create)(T**)) {
    T* instance = nullptr;
    if (create(&instance) != 0) {
        throw std::bad_alloc();
    }
    return std::unique_ptr<T>(instance);
}

// Whatever words a host passes, arithmetic on them wraps.
int32_t Wrapped(int64_t value) { return static_cast<int32_t>(value); }

// Copies a list of chords and ends it with an empty one. Returns how many there are before that.
int32_t CopyList(const std::vector<ChordInfo>& list, ChordInfo* out) {
    *std::copy(list.begin(), list.end(), out) = ChordInfo{};
    return static_cast<int32_t>(list.size());
}

}  // namespace

int32_t CreateChoiralizerV2(CChoiralizerV2If** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = nullptr;
    try {
        *out = new CChoiralizerV2;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

void DestroyChoiralizerV2(CChoiralizerV2If** engine) {
    if (engine != nullptr) {
        delete *engine;
        *engine = nullptr;
    }
}

CChoiralizerV2::CChoiralizerV2()
    : params_(kDefaultParams),
      chordsInFunctions_(Created(CreateChordsInFunctions)),
      verticalRules_(Created(CreateVoicingRules)),
      transitionRules_(Created(CreateVoicingRules)),
      classic_(Created(ChoiralizerClassic::CChoiralizer::Create)) {
    std::copy_n(classic_->GetScaleOffsets(), scaleMap_.size(), scaleMap_.begin());
    verticalRules_->SelectRuleSet(0);
    transitionRules_->SelectRuleSet(1);
    ApplyOwnParams();
    CChoiralizerV2::ResetVoices();
}

CChoiralizerV2::~CChoiralizerV2() = default;

int32_t CChoiralizerV2::SetKey(int32_t key) {
    inputKey_ = key;
    outputKey_ = key;
    verticalRules_->SetKey(key);
    transitionRules_->SetKey(key);
    return classic_->SetKey(key);
}

int32_t CChoiralizerV2::SetInputScale(int32_t row) {
    inputScale_ = row;
    return classic_->SetInputScale(row);
}

int32_t CChoiralizerV2::SetOutputScale(int32_t row) {
    outputScale_ = row;
    chordsInFunctions_->SetMode(row);
    verticalRules_->SetScale(ScaleRow(row));
    transitionRules_->SetScale(ScaleRow(row));
    return classic_->SetOutputScale(row);
}

int32_t CChoiralizerV2::SetQuantize(int32_t flag) {
    quantizeToScale_ = flag;
    return classic_->SetQuantize(flag);
}

int32_t CChoiralizerV2::SetScaleMap(int32_t flag) {
    mapScale_ = flag;
    return classic_->SetScaleMap(flag);
}

int32_t CChoiralizerV2::SetMode(int32_t newMode) {
    mode_ = newMode;
    return 0;
}

int32_t CChoiralizerV2::SetParams(const HarmonyParams* newParams) {
    if (newParams == nullptr) {
        return kBadArgument;
    }
    params_ = newParams;
    if (mode_ == kOwnMode) {
        ApplyOwnParams();
    }
    paramsChanged_ = 1;
    return 0;
}

void CChoiralizerV2::ApplyOwnParams() {
    leadVoice_ = params_[0];
    topVoice_ = 3;
    classic_->SetVoicesAbove(Wrapped(int64_t{3} - leadVoice_));
    for (CVoicingRules* rules : {verticalRules_.get(), transitionRules_.get()}) {
        rules->SetLeadVoice(leadVoice_);
        rules->SetSpacingStyle(params_[2]);
    }
}

int32_t CChoiralizerV2::GetKey() { return mode_ == kOwnMode ? inputKey_ : classic_->GetKey(); }

int32_t CChoiralizerV2::GetInputScale() {
    return mode_ == kOwnMode ? inputScale_ : classic_->GetInputScale();
}

int32_t CChoiralizerV2::GetOutputScale() {
    return mode_ == kOwnMode ? outputScale_ : classic_->GetOutputScale();
}

int32_t CChoiralizerV2::GetQuantize() {
    return mode_ == kOwnMode ? quantizeToScale_ : classic_->GetQuantize();
}

int32_t CChoiralizerV2::GetScaleMap() { return mode_ == kOwnMode ? mapScale_ : classic_->GetScaleMap(); }

int32_t CChoiralizerV2::GetMode() { return mode_; }

int32_t CChoiralizerV2::SetChordCount(int32_t n) {
    if (n < 0) {
        return kBadArgument;
    }
    chords_.assign(static_cast<size_t>(n), ChordInfo{});
    return 0;
}

int32_t CChoiralizerV2::SetChordAt(int32_t index, ChordInfo chord) {
    if (index < 0 || index >= GetChordCount()) {
        return kBadArgument;
    }
    chords_[static_cast<size_t>(index)] = std::move(chord);
    return 0;
}

int32_t CChoiralizerV2::GetChordCount() { return static_cast<int32_t>(chords_.size()); }

int32_t CChoiralizerV2::GetParams(const HarmonyParams** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = params_;
    return 0;
}

int32_t CChoiralizerV2::ResetVoices() {
    const size_t count = NoteCount();
    for (size_t row = 0; row < voices_.size(); ++row) {
        if (voices_[row].count != melody_.count) {
            voiceItems_[row].assign(count, NoteItem{});
            voices_[row].items = voiceItems_[row].data();
            voices_[row].count = melody_.count;
            ClearChosen();
        }
        voices_[row].reservedA = melody_.reservedA;
        voices_[row].reservedB = melody_.reservedB;
        for (size_t i = 0; i < count; ++i) {
            voiceItems_[row][i] = melodyItems_[i];
            voiceItems_[row][i].pitch = -1;
        }
    }
    if (mode_ != kOwnMode) {
        classic_->ResetHistory();
    }
    stateChanged_ = 1;
    return 0;
}

void CChoiralizerV2::ClearChosen() {
    chosen_.assign(NoteCount(), VoicingCandidate{});
    ownVoicing_.assign(NoteCount(), Voicing{-1, -1, -1, -1});
    ownName_.assign(NoteCount(), std::string());
}

int32_t CChoiralizerV2::SetMelody(const NoteList* list, int32_t force) {
    if (list == nullptr || (list->count > 0 && list->items == nullptr)) {
        return kBadArgument;
    }
    if (list->count < 1) {
        return 0;
    }
    const size_t count = static_cast<size_t>(list->count);

    // Everything that can fail comes first; the list may even be one of our own rows.
    std::vector<NoteItem> newItems(list->items, list->items + count);
    MelodyRecord newRecord = MakeMelodyRecord(newItems.data(), count);
    std::vector<int32_t> newLocked(count), newFunction(count);

    const NoteList given = *list;
    melodyItems_ = std::move(newItems);
    melody_ = {melodyItems_.data(), given.count, given.reservedA, given.reservedB};
    melodyRecord_ = std::move(newRecord);
    noteLocked_ = std::move(newLocked);
    noteFunction_ = std::move(newFunction);

    if (melody_.count != GetChordCount() || force != 0) {
        SetChordCount(melody_.count);
        if (mode_ != kOwnMode) {
            std::vector<ClassicChord> tracked(count);
            classic_->TrackChords(melodyRecord_.notePitch.data(), tracked.data(), melody_.count);
            for (int32_t note = 0; note < melody_.count; ++note) {
                RecordResult(nullptr, note, tracked.data());
            }
        }
    }
    return ResetVoices();
}

int32_t CChoiralizerV2::GetVoices(NoteList** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = voices_.data();
    return 0;
}

int32_t CChoiralizerV2::GetChords(ChordInfo** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = chords_.data();
    return 0;
}

int32_t CChoiralizerV2::ConfigureRules(std::string) { return 0; }

int32_t CChoiralizerV2::Calculate() {
    if (melody_.count < 1) {
        return kBadArgument;
    }
    return mode_ == kOwnMode ? CalculateOwn() : CalculateClassic();
}

int32_t CChoiralizerV2::CalculateOwn() {
    if (leadVoice_ < 0 || leadVoice_ > 3) {
        return kBadArgument;
    }
    std::fill(noteFunction_.begin(), noteFunction_.end(), int32_t{FunctionNone});
    if (int32_t code = AnalysePhrases(); code != 0) {
        return code;
    }
    if (int32_t code = AssignFunctions(); code != 0) {
        return code;
    }
    // Every note gets a chord, however few were set. The settings of the last run go with their lists.
    chords_.resize(std::max(chords_.size(), NoteCount()));
    ClearChosen();
    if (int32_t code = BuildVoicingCandidates(); code != 0) {
        return code;
    }
    return SearchVoicing();
}

int32_t CChoiralizerV2::AnalysePhrases() {
    phrases_ = FindPhrases(melodyRecord_, OutputTonality());
    return 0;
}

int32_t CChoiralizerV2::AssignFunctions() {
    return FindFunctions(melodyRecord_, OutputTonality(), phrases_.phraseBoundary, noteLocked_,
                         noteFunction_);
}

int32_t CChoiralizerV2::BuildVoicingCandidates() {
    UseCloseSpacing(12);
    candidateLists_ = BuildVoicingLists(melodyRecord_, noteFunction_, Layout());
    return 0;
}

int32_t CChoiralizerV2::SearchVoicing() {
    if (candidateLists_.empty()) {
        return kBadArgument;
    }
    FindBestPaths(candidateLists_, *transitionRules_);
    for (const PathStep& step : TraceBestPath(candidateLists_)) {
        RecordStep(step);
    }
    return 0;
}

std::vector<ChordCandidate> CChoiralizerV2::BuildChordCandidates(int32_t leadPitch, int32_t function,
                                                                 int32_t capacity) {
    return FindChordCandidates(*chordsInFunctions_, function, outputKey_,
                               {leadPitch, rangeBelow_, rangeAbove_}, capacity);
}

VoicingLayout CChoiralizerV2::Layout() const {
    return {outputKey_,          leadVoice_,      rangeBelow_,      rangeAbove_,
            *chordsInFunctions_, *verticalRules_, *transitionRules_};
}

// Turns to close spacing where the range has at most that many pitches: open spacing takes more than an
// octave.
void CChoiralizerV2::UseCloseSpacing(int32_t widestRange) {
    if (rangeBelow_ + rangeAbove_ + 1 <= widestRange) {
        verticalRules_->SetSpacingStyle(0);
        transitionRules_->SetSpacingStyle(0);
    }
}

// A note that inherits writes its lead into the setting that it shares; rows recorded before keep theirs.
void CChoiralizerV2::RecordStep(const PathStep& step) {
    VoicingCandidate& candidate = candidateLists_[static_cast<size_t>(step.from)].candidates[step.candidate];
    if (!step.isInherited) {
        RecordResult(&candidate, step.note, nullptr);
        return;
    }
    VoicingCandidate inherited = InheritedSetting(candidate);
    inherited.voicing[leadVoice_] = melodyRecord_.notePitch[static_cast<size_t>(step.note)];
    RecordResult(&inherited, step.note, nullptr);
}

int32_t CChoiralizerV2::SetChordAtNote(ChordInfo chord, int32_t note) {
    if (note < 0 || note >= GetChordCount() || note >= melody_.count) {
        return kBadArgument;
    }
    const size_t at = static_cast<size_t>(note);
    const bool run = chosen_[at].voicing != nullptr && chosen_[at].tones != nullptr;  // classic: no tones
    if (!run || leadVoice_ < 0 || leadVoice_ > 3) {
        return kBadArgument;
    }
    UseCloseSpacing(13);
    const CandidateList list =
        BuildListOfChord(chord, {melodyRecord_.notePitch[at], noteFunction_[at], chosen_[at].gap}, Layout());
    if (list.candidates.empty()) {
        return 0;
    }
    const size_t winner = BestInPlace(list, note, chosen_, *transitionRules_);

    ownVoicing_[at] = list.voicings[winner];
    ownName_[at] = chord.name;
    VoicingCandidate record = list.candidates[winner];
    record.voicing = ownVoicing_[at].data();
    record.name = ownName_[at].c_str();
    WriteRows(record, note);
    chords_[at] = std::move(chord);
    if (note + 1 < melody_.count) {
        chosen_[at + 1].gap = 1;
    }
    return 0;
}

int32_t CChoiralizerV2::CalculateClassic() {
    const size_t count = NoteCount();
    if (chords_.size() < count) {
        return kBadArgument;
    }
    const std::vector<int32_t>& pitch = melodyRecord_.notePitch;
    std::vector<ClassicChord> classicChords(count);
    classic_->ResetHistory();
    if (chords_[0].root == -1) {
        classic_->TrackChords(pitch.data(), classicChords.data(), melody_.count);
    } else {
        std::transform(chords_.begin(), chords_.begin() + melody_.count, classicChords.begin(), ToClassic);
    }
    ClassicTask task;
    if (int32_t code = PrepareClassicMode(*classic_, mode_, params_, params_ != kDefaultParams, task);
        code != 0) {
        return code;
    }
    if (mode_ < 0 || mode_ > NumberOf(HarmonyMode::Double)) {
        return 0;
    }

    // One scratch setting serves all notes, so a note without a result gets the one before it (turned over).
    scratchVoicing_.fill(-1);
    VoicingCandidate scratch;
    scratch.voicing = scratchVoicing_.data();
    for (size_t note = 0; note < count; ++note) {
        const int32_t next = note + 1 < count ? pitch[note + 1] : pitch[note];
        VoiceClassicNote(*classic_, task, pitch[note], next, classicChords[note], scratch.voicing);
        RecordResult(&scratch, static_cast<int32_t>(note), classicChords.data());
    }
    return 0;
}

void CChoiralizerV2::RecordResult(VoicingCandidate* candidate, int32_t note,
                                  const ClassicChord* classicChords) {
    if (note < 0 || note >= melody_.count || note >= GetChordCount()) {
        return;
    }
    ChordInfo& chord = chords_[static_cast<size_t>(note)];
    if (mode_ == kOwnMode) {
        chord = ChordOfSetting(*candidate, outputKey_);
        WriteRows(*candidate, note);
        return;
    }
    if (classicChords != nullptr) {
        chord = FromClassic(classicChords[note]);
    } else if (candidate != nullptr) {
        const int32_t* v = candidate->voicing;
        chord = FromClassic(ChoiralizerClassic::CChoiralizer::IdentifyChord(v[0], v[1], v[2], v[3]));
    }
    if (candidate != nullptr) {
        candidate->gap = 1;
        // The lead comes first, its row is the top one.
        std::swap(candidate->voicing[0], candidate->voicing[3]);
        WriteRows(*candidate, note);
    }
}

// Sings a setting in the rows of a note and remembers it. The voicing stays shared.
void CChoiralizerV2::WriteRows(const VoicingCandidate& candidate, int32_t note) {
    for (size_t row = 0; row < voices_.size(); ++row) {
        voices_[row].items[note].pitch = candidate.voicing[row];
    }
    chosen_[static_cast<size_t>(note)] = candidate;
}

int32_t CChoiralizerV2::SetVoiceItem(NoteItem item, int32_t voice, int32_t note) {
    if (voice < 0 || voice >= 4 || note < 0 || note >= melody_.count) {
        return kBadArgument;
    }
    voices_[static_cast<size_t>(voice)].items[note] = item;
    if (voice == leadVoice_) {
        melody_.items[note] = item;
    }
    return 0;
}

int32_t CChoiralizerV2::SetVoiceItemTag(uint32_t tag, int32_t voice, int32_t note) {
    if (voice < 0 || voice >= 4 || note < 0 || note >= melody_.count) {
        return kBadArgument;
    }
    voices_[static_cast<size_t>(voice)].items[note].tagC = tag;
    if (voice == leadVoice_) {
        melody_.items[note].tagC = tag;
    }
    return 0;
}

int32_t CChoiralizerV2::GetReserved() { return 0; }

bool CChoiralizerV2::IsInInputScale(int32_t pitch) {
    return IsScaleTone(pitch, inputKey_, InputTonality().Scale());
}

bool CChoiralizerV2::IsInOutputScale(int32_t pitch) {
    return IsScaleTone(pitch, outputKey_, OutputTonality().Scale());
}

// The single answers are joined by "or" from a start of true; callers count on a chord never being refused
// here.
bool CChoiralizerV2::ChordInInputScale(ChordInfo) { return true; }

bool CChoiralizerV2::ChordInOutputScale(ChordInfo chord) { return IsChordInScale(chord, OutputTonality()); }

bool CChoiralizerV2::ChordContainsPitch(int32_t pitch, ChordInfo chord) { return IsChordTone(pitch, chord); }

int32_t CChoiralizerV2::GetChordPitches(ChordInfo chord, int32_t pitches[4]) {
    if (pitches == nullptr) {
        return kBadArgument;
    }
    const std::array<int32_t, 4> spelt = SpellChord(chord);
    std::copy(spelt.begin(), spelt.end(), pitches);
    return 0;
}

int32_t CChoiralizerV2::ChordFromPitches(ChordInfo* out, int32_t pitches[4]) {
    if (out == nullptr || pitches == nullptr) {
        return kBadArgument;
    }
    *out = RecogniseChord(pitches);
    return 0;
}

int32_t CChoiralizerV2::ListChordsInScale(ChordInfo* out) {
    return out != nullptr ? CopyList(ListChordsOfScale(OutputTonality()), out) : 0;
}

int32_t CChoiralizerV2::ListChordsWithTones(int32_t start, ChordInfo* out) {
    return out != nullptr ? CopyList(ListChordsOfPitch(start, OutputTonality()), out) : 0;
}

void CChoiralizerV2::SetRange(int32_t below, int32_t above) {
    rangeBelow_ = below;
    rangeAbove_ = above;
}

}  // namespace mlh::ChoiralizerV2
