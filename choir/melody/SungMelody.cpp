#include "choir/melody/SungMelody.h"

#include "choir/score/Music.h"

namespace mlh::choir {

std::vector<MelodyNote> SungMelody(const Take& take, const Tuning& tuning) {
    std::vector<MelodyNote> melody;
    for (const SungNote& note : take.measuredNotes()) {
        melody.push_back({note.start, note.end, note.pitch - tuning.OffsetAt(0.5 * (note.start + note.end))});
    }
    return melody;
}

KeyEstimate KeyOf(const Take& take) {
    return FindKey(OneLine(SungMelody(take, Tuning::OfSinger(take.measuredNotes()))), 0.0);
}

std::string KeyDoubt(const KeyEstimate& key) {
    if (key.confidence == 0.0 || key.Sure()) {
        return "";
    }
    return "not sure of the key: " + KeyName(key.best) + ", or " + KeyName(key.second);
}

}  // namespace mlh::choir
