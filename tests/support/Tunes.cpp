#include "support/Tunes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "support/Paths.h"

namespace mlh {

namespace {

// The pitch class of a name like "C", "Bb" or "F#"; -1 for no name.
int32_t PitchClassOfName(const std::string& name) {
    static const std::string kLetters = "C D EF G A B";
    const size_t letter = name.empty() ? std::string::npos : kLetters.find(name[0]);
    if (letter == std::string::npos) {
        return -1;
    }
    int32_t pitchClass = static_cast<int32_t>(letter) + 12;
    for (const char accidental : name.substr(1)) {
        pitchClass += accidental == '#' ? 1 : accidental == 'b' ? -1 : 0;
    }
    return pitchClass % 12;
}

void ReadKey(const std::string& line, Tune& tune) {
    std::istringstream words(line);
    std::string hash, label, tonic;
    words >> hash >> label >> tonic >> tune.keyMode;
    if (tonic != "unknown") {
        tune.keyTonic = PitchClassOfName(tonic);
    }
}

Tune ReadTune(const std::filesystem::path& path) {
    Tune tune;
    tune.name = path.filename().string();
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("# key:", 0) == 0) {
            ReadKey(line, tune);
        } else if (line.rfind("# meter:", 0) == 0) {
            char slash = 0;
            std::istringstream(line.substr(8)) >> tune.upper >> slash >> tune.lower;
        }
        TuneNote note;
        std::string chord;
        std::istringstream columns(line);
        if (line.empty() || line[0] == '#' ||
            !(columns >> note.onset >> note.duration >> note.pitch >> chord)) {
            continue;
        }
        const size_t colon = chord.find(':');
        if (colon != std::string::npos) {
            note.chordRoot = PitchClassOfName(chord.substr(0, colon));
            note.chordQuality = chord.substr(colon + 1);
        }
        tune.notes.push_back(note);
    }
    return tune;
}

}  // namespace

bool Tune::HasChords() const {
    return std::any_of(notes.begin(), notes.end(), [](const TuneNote& note) { return note.chordRoot >= 0; });
}

std::vector<Tune> LoadTunes(const std::string& folder, std::string& why) {
    std::vector<Tune> tunes;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".tsv") {
            tunes.push_back(ReadTune(entry.path()));
        }
    }
    std::sort(tunes.begin(), tunes.end(), [](const Tune& a, const Tune& b) { return a.name < b.name; });
    if (tunes.empty()) {
        why = "no tunes in " + folder;
    }
    return tunes;
}

std::vector<Tune> AllTunes() {
    std::string why;
    std::vector<Tune> tunes = LoadTunes(SourceDir() + "/tests/data/tunes", why);
    if (tunes.empty()) {
        throw std::runtime_error(why);
    }
    for (Tune& tune : LoadTunes(MelodiesDir(), why)) {
        tunes.push_back(std::move(tune));
    }
    return tunes;
}

}  // namespace mlh
