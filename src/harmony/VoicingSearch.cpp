// The four-voice search of mode 7. Not in place yet: mode 7 answers that it has nothing to work with.
#include "harmony/ChoiralizerV2.h"

namespace ChoiralizerV2 {

namespace {
constexpr int32_t kMissingState = 5000003;
}

int32_t CChoiralizerV2::BuildVoicingCandidates() { return kMissingState; }

int32_t CChoiralizerV2::SearchVoicing() { return kMissingState; }

int32_t CChoiralizerV2::SetChordAtNote(ChordInfo, int32_t) { return kMissingState; }

}  // namespace ChoiralizerV2
