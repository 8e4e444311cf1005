#include "files/ChordFile.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "Say.h"
#include "choir/chords/ChordTrack.h"
#include "choir/score/Music.h"
#include "files/InputFile.h"
#include "files/MidiFile.h"
#include "files/NotatedChords.h"
#include "files/Paths.h"

namespace mlh::cli {

namespace {

// What is missing is an option here.
[[noreturn]] void ComplainOf(const ChordTextError& error, const std::string& more) {
    std::string text = error.what();
    if (error.fault == ChordTextFault::NeedsTempo) {
        text += "; add --bpm, like --bpm 96";
    }
    if (error.fault == ChordTextFault::NeedsKey) {
        text += "; add --key, like --key \"C major\"";
    }
    throw UsageError(text + more);
}

// Played chords: all tracks together.
std::vector<TimedChord> ReadPlayedChords(const std::string& path) {
    const Song song = ReadMidiFile(path);
    std::vector<TimedNote> notes;
    for (const NoteLine& track : song.tracks) {
        notes.insert(notes.end(), track.notes.begin(), track.notes.end());
    }
    std::vector<TimedChord> chords = ChordsOfNotes(notes, song.key && KeyUsesFlats(*song.key));
    if (chords.empty()) {
        throw UsageError(path + ": no notes sound together in it, so there is no chord");
    }
    return chords;
}

bool StartsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

// No chord ends as the names of chord files do.
bool LooksLikeAFileName(const std::string& text) {
    std::string suffix = text.substr(text.find_last_of('.') + 1);
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    const char* const suffixes[] = {"txt", "cho", "chopro", "chordpro", "crd",      "pro", "lab",
                                    "tsv", "csv", "mid",    "midi",     "musicxml", "xml", "mxl"};
    return text.find('.') != std::string::npos && text.find('\n') == std::string::npos &&
           std::find(std::begin(suffixes), std::end(suffixes), suffix) != std::end(suffixes);
}

}  // namespace

std::vector<TimedChord> ReadChordOption(const std::string& value, double bpm, int beatsPerBar, int key) {
    if (value.empty()) {
        return {};
    }
    std::error_code ignored;
    const bool file = std::filesystem::is_regular_file(PathOf(value), ignored) || IsPipe(value);
    const std::string text = file || LooksLikeAFileName(value) ? ReadFile(value) : value;
    if (file && StartsWith(text, "MThd")) {
        if (IsPipe(value)) {
            throw UsageError(value + ": a pipe can only carry text, so make it a file first");
        }
        return ReadPlayedChords(value);
    }
    if (file && (StartsWith(text, "<") || StartsWith(text, "\xEF\xBB\xBF<"))) {
        return ReadNotatedChords(text, value, bpm);
    }
    try {
        const ChordSheet sheet = ReadChordSheet(text, file ? value : "--chords", {bpm, beatsPerBar, key});
        for (const ChordRemark& remark : sheet.remarks) {
            Say(remark.text);
        }
        return sheet.chords;
    } catch (const ChordTextError& error) {
        const bool word = !file && value.find_first_of(" ,;|\n") == std::string::npos;
        ComplainOf(error, word ? " There is no file of this name either" : "");
    }
}

}  // namespace mlh::cli
