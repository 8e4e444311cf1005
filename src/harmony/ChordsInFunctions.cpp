#include "harmony/ChordsInFunctions.h"

#include <algorithm>
#include <new>

#include "base/Codes.h"
#include "harmony/ChordModel.h"

namespace mlh::ChoiralizerV2 {

CChordsInFunctions::CChordsInFunctions() {
    for (size_t set = 0; set < lists_.size(); ++set) {
        std::copy(std::begin(FunctionChordTable[set]), std::end(FunctionChordTable[set]),
                  lists_[set].begin());
    }
}

const FunctionChordList* CChordsInFunctions::ListOf(int32_t function) const {
    const bool known = function >= 0 && function < kFunctionCount;
    return known ? &lists_[mode_ == 0 ? 0 : 1][static_cast<size_t>(function)] : nullptr;
}

int32_t CChordsInFunctions::CountChordsWithTone(int32_t function, int32_t pitchClass) const {
    const FunctionChordList* list = ListOf(function);
    if (list == nullptr) {
        return 0;
    }
    return static_cast<int32_t>(
        std::count_if(list->entries, list->entries + list->count,
                      [&](const ChordFunctionEntry& entry) { return HasTone(entry.tones, pitchClass); }));
}

void CChordsInFunctions::CopyChordsWithTone(ChordFunctionEntry* out, int32_t function,
                                            int32_t pitchClass) const {
    const FunctionChordList* list = ListOf(function);
    if (list == nullptr) {
        return;
    }
    std::copy_if(list->entries, list->entries + list->count, out,
                 [&](const ChordFunctionEntry& entry) { return HasTone(entry.tones, pitchClass); });
}

void CChordsInFunctions::GetNoChord(ChordFunctionEntry* out) const {
    *out = lists_[0][FunctionNone].entries[0];
}

int32_t CreateChordsInFunctions(CChordsInFunctions** out) {
    *out = nullptr;
    *out = new (std::nothrow) CChordsInFunctions;
    return *out != nullptr ? 0 : kOutOfMemory;
}

std::vector<ChordCandidate> FindChordCandidates(const CChordsInFunctions& chords, int32_t function,
                                                int32_t key, const LeadRange& range, int32_t capacity) {
    const int32_t leadClass = PitchClassFromKey(key, range.lead);
    const int32_t count = chords.CountChordsWithTone(function, leadClass);
    std::vector<ChordFunctionEntry> entries(static_cast<size_t>(std::max(count, 1)));
    if (count == 0) {
        chords.GetNoChord(entries.data());
    } else {
        chords.CopyChordsWithTone(entries.data(), function, leadClass);
    }

    std::vector<ChordCandidate> candidates;
    candidates.reserve(entries.size());
    for (const ChordFunctionEntry& entry : entries) {
        ChordCandidate candidate{
            entry.tones, entry.bassIndex, std::vector<int32_t>(std::max(capacity, 0), -1),
            0,           entry.weight,    entry.chordType,
            entry.name};
        for (int64_t p = int64_t{range.lead} - range.below; p <= int64_t{range.lead} + range.above; ++p) {
            const int32_t pitch = static_cast<int32_t>(p);
            if (candidate.pitchCount < capacity && HasTone(entry.tones, PitchClassFromKey(key, pitch))) {
                candidate.pitches[candidate.pitchCount++] = pitch;
            }
        }
        candidates.push_back(std::move(candidate));
    }
    if (count == 0) {
        candidates[0].pitchCount = 1;  // the shape by which callers know that no chord fits
    }
    return candidates;
}

}  // namespace mlh::ChoiralizerV2
