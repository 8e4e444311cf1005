#include "harmony/ChoiralizerV2.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "base/Numbering.h"
#include "base/StandardLibrary.h"
#include "classic/Choiralizer.h"
#include "harmony/ChordsInFunctions.h"
#include "harmony/VoicingRules.h"

namespace mlh {

namespace ChoiralizerV2 {

using ChoiralizerClassic::ClassicChord;

namespace {

constexpr int32_t kOwnMode = NumberOf(HarmonyMode::FourPart);

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

// The classic engine numbers seventh chords lower and does not know the augmented major seventh.
ClassicChord ToClassicChord(const ChordInfo& chord) {
    const int32_t seventh = chord.seventhType;
    const bool fourNotes =
        (seventh >= ChordMajor7 && seventh <= ChordMinorMajor7) || seventh >= ChordAugmentedMajor7;
    return {chord.root, fourNotes ? 4 : 3,
            chord.triadType <= ChordSus4 ? chord.triadType : int32_t{ChoiralizerClassic::TriadOther},
            seventh < ChordAugmentedMajor7 ? Wrapped(int64_t{seventh} - kAboveClassicSeventh)
                                           : int32_t{ChoiralizerClassic::SeventhOther}};
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
    : params(kDefaultParams),
      chordsInFunctions(Created(CreateChordsInFunctions)),
      verticalRules(Created(CreateVoicingRules)),
      transitionRules(Created(CreateVoicingRules)),
      classic(Created(ChoiralizerClassic::CChoiralizer::Create)) {
    std::copy_n(classic->GetScaleOffsets(), scaleMap.size(), scaleMap.begin());
    verticalRules->SelectRuleSet(0);
    transitionRules->SelectRuleSet(1);
    ApplyOwnParams();
    CChoiralizerV2::ResetVoices();
}

CChoiralizerV2::~CChoiralizerV2() = default;

int32_t CChoiralizerV2::SetKey(int32_t key) {
    inputKey = key;
    outputKey = key;
    verticalRules->SetKey(key);
    transitionRules->SetKey(key);
    return classic->SetKey(key);
}

int32_t CChoiralizerV2::SetInputScale(int32_t row) {
    inputScale = row;
    return classic->SetInputScale(row);
}

int32_t CChoiralizerV2::SetOutputScale(int32_t row) {
    outputScale = row;
    chordsInFunctions->SetMode(row);
    verticalRules->SetScale(ScaleRow(row));
    transitionRules->SetScale(ScaleRow(row));
    return classic->SetOutputScale(row);
}

int32_t CChoiralizerV2::SetQuantize(int32_t flag) {
    quantizeToScale = flag;
    return classic->SetQuantize(flag);
}

int32_t CChoiralizerV2::SetScaleMap(int32_t flag) {
    mapScale = flag;
    return classic->SetScaleMap(flag);
}

int32_t CChoiralizerV2::SetMode(int32_t newMode) {
    mode = newMode;
    return 0;
}

int32_t CChoiralizerV2::SetParams(const HarmonyParams* newParams) {
    if (newParams == nullptr) {
        return kBadArgument;
    }
    params = newParams;
    if (mode == kOwnMode) {
        ApplyOwnParams();
    }
    paramsChanged = 1;
    return 0;
}

void CChoiralizerV2::ApplyOwnParams() {
    leadVoice = params[0];
    topVoice = 3;
    classic->SetVoicesAbove(Wrapped(int64_t{3} - leadVoice));
    for (CVoicingRules* rules : {verticalRules.get(), transitionRules.get()}) {
        rules->SetLeadVoice(leadVoice);
        rules->SetSpacingStyle(params[2]);
    }
}

int32_t CChoiralizerV2::GetKey() { return mode == kOwnMode ? inputKey : classic->GetKey(); }

int32_t CChoiralizerV2::GetInputScale() { return mode == kOwnMode ? inputScale : classic->GetInputScale(); }

int32_t CChoiralizerV2::GetOutputScale() {
    return mode == kOwnMode ? outputScale : classic->GetOutputScale();
}

int32_t CChoiralizerV2::GetQuantize() { return mode == kOwnMode ? quantizeToScale : classic->GetQuantize(); }

int32_t CChoiralizerV2::GetScaleMap() { return mode == kOwnMode ? mapScale : classic->GetScaleMap(); }

int32_t CChoiralizerV2::GetMode() { return mode; }

int32_t CChoiralizerV2::SetChordCount(int32_t n) {
    if (n < 0) {
        return kBadArgument;
    }
    chords.assign(static_cast<size_t>(n), ChordInfo{});
    return 0;
}

int32_t CChoiralizerV2::SetChordAt(int32_t index, ChordInfo chord) {
    if (index < 0 || index >= GetChordCount()) {
        return kBadArgument;
    }
    chords[static_cast<size_t>(index)] = std::move(chord);
    return 0;
}

int32_t CChoiralizerV2::GetChordCount() { return static_cast<int32_t>(chords.size()); }

int32_t CChoiralizerV2::GetParams(const HarmonyParams** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = params;
    return 0;
}

int32_t CChoiralizerV2::ResetVoices() {
    const size_t count = NoteCount();
    for (size_t row = 0; row < voices.size(); ++row) {
        if (voices[row].count != melody.count) {
            voiceItems[row].assign(count, NoteItem{});
            voices[row].items = voiceItems[row].data();
            voices[row].count = melody.count;
            ClearChosen();
        }
        voices[row].reservedA = melody.reservedA;
        voices[row].reservedB = melody.reservedB;
        for (size_t i = 0; i < count; ++i) {
            voiceItems[row][i] = melodyItems[i];
            voiceItems[row][i].pitch = -1;
        }
    }
    if (mode != kOwnMode) {
        classic->ResetHistory();
    }
    stateChanged = 1;
    return 0;
}

void CChoiralizerV2::ClearChosen() {
    chosen.assign(NoteCount(), VoicingCandidate{});
    ownVoicing.assign(NoteCount(), Voicing{-1, -1, -1, -1});
    ownName.assign(NoteCount(), std::string());
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
    std::vector<float> newStart(count), newEnd(count), newDuration(count);
    std::vector<int32_t> newPitch(count), newLocked(count), newFunction(count);

    for (size_t i = 0; i < count; ++i) {
        newPitch[i] = newItems[i].pitch;
        newStart[i] = newItems[i].startTime;
        newEnd[i] = newItems[i].endTime;
        const float until = i + 1 < count ? newItems[i + 1].startTime : newItems[i].endTime;
        newDuration[i] = until - newItems[i].startTime;
    }
    const NoteList given = *list;
    melodyItems = std::move(newItems);
    melody = {melodyItems.data(), given.count, given.reservedA, given.reservedB};
    notePitch = std::move(newPitch);
    noteStart = std::move(newStart);
    noteEnd = std::move(newEnd);
    noteDuration = std::move(newDuration);
    noteLocked = std::move(newLocked);
    noteFunction = std::move(newFunction);
    totalDuration = noteEnd.back() - noteStart.front();
    meanDuration = totalDuration / static_cast<float>(count);

    if (melody.count != GetChordCount() || force != 0) {
        SetChordCount(melody.count);
        if (mode != kOwnMode) {
            std::vector<ClassicChord> tracked(count);
            classic->TrackChords(notePitch.data(), tracked.data(), melody.count);
            for (int32_t note = 0; note < melody.count; ++note) {
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
    *out = voices.data();
    return 0;
}

int32_t CChoiralizerV2::GetChords(ChordInfo** out) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = chords.data();
    return 0;
}

int32_t CChoiralizerV2::ConfigureRules(std::string) { return 0; }

int32_t CChoiralizerV2::Calculate() {
    if (melody.count < 1) {
        return kBadArgument;
    }
    return mode == kOwnMode ? CalculateOwn() : CalculateClassic();
}

int32_t CChoiralizerV2::CalculateOwn() {
    if (leadVoice < 0 || leadVoice > 3) {
        return kBadArgument;
    }
    std::fill(noteFunction.begin(), noteFunction.end(), int32_t{FunctionNone});
    if (int32_t code = AnalysePhrases(); code != 0) {
        return code;
    }
    if (int32_t code = AssignFunctions(); code != 0) {
        return code;
    }
    // Every note gets a chord, however few were set. The settings of the last run go with their lists.
    chords.resize(std::max(chords.size(), NoteCount()));
    ClearChosen();
    if (int32_t code = BuildVoicingCandidates(); code != 0) {
        return code;
    }
    return SearchVoicing();
}

int32_t CChoiralizerV2::CalculateClassic() {
    const size_t count = NoteCount();
    if (chords.size() < count) {
        return kBadArgument;
    }
    int32_t intervals[4] = {};
    std::vector<ClassicChord> classicChords(count);
    classic->ResetHistory();
    if (chords[0].root == -1) {
        classic->TrackChords(notePitch.data(), classicChords.data(), melody.count);
    } else {
        std::transform(chords.begin(), chords.begin() + melody.count, classicChords.begin(), ToClassicChord);
    }
    if (int32_t code = PrepareClassic(intervals); code != 0) {
        return code;
    }
    if (mode < 0 || mode > NumberOf(HarmonyMode::Double)) {
        return 0;
    }

    // One scratch setting serves all notes, so a note without a result gets the one before it (turned over).
    scratchVoicing.fill(-1);
    VoicingCandidate scratch;
    scratch.voicing = scratchVoicing.data();
    for (size_t note = 0; note < count; ++note) {
        VoiceClassicNote(note, classicChords[note], intervals);
        RecordResult(&scratch, static_cast<int32_t>(note), classicChords.data());
    }
    return 0;
}

// Sets the classic engine up for the mode; in mode 3 reads the intervals.
int32_t CChoiralizerV2::PrepareClassic(int32_t intervals[4]) {
    if (mode >= NumberOf(HarmonyMode::ThreeVoices) && mode <= NumberOf(HarmonyMode::OneVoice)) {
        classic->SetVoiceMode(mode);
        classic->SetSpread(BitCast<float>(params[1]));
        classic->SetVoicesAbove(params[0]);
    } else if (mode == NumberOf(HarmonyMode::Intervals)) {
        const int32_t* pairs = nullptr;
        if (params != kDefaultParams) {  // which holds no pointer
            std::memcpy(&pairs, params, sizeof pairs);
        }
        if (pairs == nullptr) {
            return kBadArgument;
        }
        classic->SetVoiceMode(3);
        for (int32_t i = 0; i < 4; ++i) {
            intervals[i] = Wrapped(int64_t{pairs[2 * i]} * pairs[2 * i + 1]);
        }
    }
    return 0;
}

void CChoiralizerV2::VoiceClassicNote(size_t note, const ClassicChord& chord, const int32_t intervals[4]) {
    const int32_t pitch = notePitch[note];
    int32_t* result = scratchVoicing.data();
    switch (static_cast<HarmonyMode>(mode)) {
        case HarmonyMode::ThreeVoices:
        case HarmonyMode::TwoVoices:
        case HarmonyMode::OneVoice:
            classic->VoiceChord(pitch, result, chord);
            break;
        case HarmonyMode::Intervals:
            classic->VoiceIntervals(pitch, result, intervals);
            break;
        case HarmonyMode::Block:
            classic->VoiceBlock(pitch, note + 1 < NoteCount() ? notePitch[note + 1] : pitch, result,
                                params[0]);
            break;
        case HarmonyMode::OpenFourths:
            classic->VoiceOpenFourths(pitch, result, params[0]);
            break;
        case HarmonyMode::FixedInterval:
            classic->VoiceFixedInterval(pitch, result, params[0]);
            break;
        case HarmonyMode::Double:
            classic->VoiceDouble(pitch, result, params[0], params[1] == 1 ? 2 : params[1] == -1 ? 1 : 0);
            break;
        default:
            break;
    }
}

void CChoiralizerV2::RecordResult(VoicingCandidate* candidate, int32_t note,
                                  const ClassicChord* classicChords) {
    if (note < 0 || note >= melody.count || note >= GetChordCount()) {
        return;
    }
    if (mode != kOwnMode) {
        if (classicChords != nullptr) {
            RecordClassicChord(note, classicChords[note]);
        } else if (candidate != nullptr) {
            const int32_t* v = candidate->voicing;
            RecordClassicChord(note, ChoiralizerClassic::CChoiralizer::IdentifyChord(v[0], v[1], v[2], v[3]));
        }
        if (candidate == nullptr) {
            return;
        }
        candidate->gap = 1;
        std::swap(candidate->voicing[0],
                  candidate->voicing[3]);  // the lead comes first, its row is the top one
    } else {
        RecordOwnChord(note, *candidate);
    }
    for (size_t row = 0; row < voices.size(); ++row) {
        voices[row].items[note].pitch = candidate->voicing[row];
    }
    chosen[static_cast<size_t>(note)] = *candidate;
}

void CChoiralizerV2::RecordClassicChord(int32_t note, const ClassicChord& chord) {
    ChordInfo& record = chords[static_cast<size_t>(note)];
    const bool triad = chord.seventhType == ChoiralizerClassic::SeventhNone;
    record.root = chord.root;
    record.triadType = triad ? chord.triadType : int32_t{ChordNoTriad};
    record.seventhType =
        triad ? int32_t{ChordNoSeventh} : Wrapped(int64_t{chord.seventhType} + kAboveClassicSeventh);
    // Seventh chords are named by the classic code as it stands.
    record.name = ChordName(record.root, triad ? chord.triadType : chord.seventhType, 0);
    record.inversion = -1;
}

void CChoiralizerV2::RecordOwnChord(int32_t note, const VoicingCandidate& candidate) {
    ChordInfo& record = chords[static_cast<size_t>(note)];
    const bool triad = candidate.chordType < ChordMajor7;
    record.triadType = triad ? candidate.chordType : int32_t{ChordNoTriad};
    record.seventhType = triad ? int32_t{ChordNoSeventh} : candidate.chordType;
    const int32_t bassTone = candidate.tones[candidate.bassIndex];
    record.root = bassTone == -1 ? -1 : Wrapped(int64_t{bassTone} + outputKey);
    if (candidate.chordType == ChordUnknownTriad || candidate.chordType == ChordUnknownSeventh) {
        record.inversion = -1;
    } else {
        const int32_t lowest = *std::min_element(candidate.voicing, candidate.voicing + 4);
        record.inversion =
            PositionFromBass(candidate.tones, candidate.bassIndex, PitchClassFromKey(outputKey, lowest));
    }
    record.name = candidate.name;
}

int32_t CChoiralizerV2::SetVoiceItem(NoteItem item, int32_t voice, int32_t note) {
    if (voice < 0 || voice >= 4 || note < 0 || note >= melody.count) {
        return kBadArgument;
    }
    voices[static_cast<size_t>(voice)].items[note] = item;
    if (voice == leadVoice) {
        melody.items[note] = item;
    }
    return 0;
}

int32_t CChoiralizerV2::SetVoiceItemTag(uint32_t tag, int32_t voice, int32_t note) {
    if (voice < 0 || voice >= 4 || note < 0 || note >= melody.count) {
        return kBadArgument;
    }
    voices[static_cast<size_t>(voice)].items[note].tagC = tag;
    if (voice == leadVoice) {
        melody.items[note].tagC = tag;
    }
    return 0;
}

int32_t CChoiralizerV2::GetReserved() { return 0; }

void CChoiralizerV2::SetRange(int32_t below, int32_t above) {
    rangeBelow = below;
    rangeAbove = above;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
