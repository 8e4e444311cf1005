// A take as the melody finders see it: its notes without the singer's tuning and drift.
#pragma once

#include <string>
#include <vector>

#include "choir/melody/KeyFinder.h"
#include "choir/melody/MelodyNote.h"
#include "choir/take/Take.h"
#include "choir/tuning/Tuning.h"

namespace mlh::choir {

std::vector<MelodyNote> SungMelody(const Take& take, const Tuning& tuning);

// The key of what was sung, on the singer's own grid. Without a voice, or notes, its confidence is 0.
KeyEstimate KeyOf(const Take& take);

// "not sure of the key: A minor, or C major" where that is so, else empty. Nothing can be said without notes.
std::string KeyDoubt(const KeyEstimate& key);

}  // namespace mlh::choir
