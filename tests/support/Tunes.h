// Tunes for tests: tab-separated lead sheets, the project's own and those of a folder that may be missing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mlh {

struct TuneNote {
    float onset = 0.0f;  // beats
    float duration = 0.0f;
    int32_t pitch = 0;
    int32_t chordRoot = -1;    // pitch class of the chord that sounds at the onset, -1 for none
    std::string chordQuality;  // maj min 7 min7 ...
};

struct Tune {
    std::string name;       // file name without folder
    int32_t keyTonic = -1;  // pitch class, -1 for a key unknown
    std::string keyMode;    // major, minor, dorian, ...
    int32_t upper = 0;      // of the time signature, 0 where it is not given
    int32_t lower = 0;
    std::vector<TuneNote> notes;

    bool HasChords() const;
};

// The project's own tunes (tests/data/tunes), followed by those of MelodiesDir() where that is set.
std::vector<Tune> AllTunes();

// All tunes of the folder, sorted by name. Empty, with a reason in `why`, where no tune is.
std::vector<Tune> LoadTunes(const std::string& folder, std::string& why);

}  // namespace mlh
