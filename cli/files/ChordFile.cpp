#include "files/ChordFile.h"

#include <filesystem>

#include "Say.h"
#include "files/InputFile.h"
#include "files/Paths.h"

namespace mlh::cli {

namespace {

// What is missing is an option here.
[[noreturn]] void ComplainOf(const ChordTextError& error, const std::string& more) {
    std::string text = error.what();
    if (error.fault == ChordTextFault::NeedsTempo) text += "; add --bpm, like --bpm 96";
    if (error.fault == ChordTextFault::NeedsKey) text += "; add --key, like --key \"C major\"";
    throw UsageError(text + more);
}

}  // namespace

std::vector<TimedChord> ReadChordOption(const std::string& value, double bpm, int beatsPerBar, int key) {
    if (value.empty()) return {};
    std::error_code ignored;
    const bool file = std::filesystem::is_regular_file(PathOf(value), ignored) || IsPipe(value);
    try {
        const ChordSheet sheet = ReadChordSheet(file ? ReadFile(value) : value, file ? value : "--chords",
                                                {bpm, beatsPerBar, key});
        for (const ChordRemark& remark : sheet.remarks) Say(remark.text);
        return sheet.chords;
    } catch (const ChordTextError& error) {
        const bool word = !file && value.find_first_of(" ,;|\n") == std::string::npos;
        ComplainOf(error, word ? " There is no file of this name either" : "");
    }
}

}  // namespace mlh::cli
