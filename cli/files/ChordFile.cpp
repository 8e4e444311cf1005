#include "files/ChordFile.h"

#include <filesystem>

#include "files/InputFile.h"
#include "files/Paths.h"

namespace mlh::cli {

std::vector<TimedChord> ReadChordOption(const std::string& value, double bpm, int beatsPerBar) {
    if (value.empty()) return {};
    std::error_code ignored;
    if (std::filesystem::is_regular_file(PathOf(value), ignored) || IsPipe(value)) {
        return ParseChordSheet(ReadFile(value), value, bpm, beatsPerBar);
    }
    try {
        return ParseChordSheet(value, "--chords", bpm, beatsPerBar);
    } catch (const UsageError& error) {
        if (value.find_first_of(" ,;|\n") != std::string::npos) throw;
        throw UsageError(std::string(error.what()) + " There is no file of this name either");
    }
}

}  // namespace mlh::cli
