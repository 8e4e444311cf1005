#include "files/MelodyFile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Errors.h"
#include "Progress.h"
#include "Say.h"
#include "choir/chords/ChordSymbol.h"
#include "choir/score/Transcribe.h"
#include "files/AudioFile.h"
#include "files/InputFile.h"
#include "files/MidiFile.h"
#include "files/Paths.h"

namespace mlh::cli {

namespace {

// What is longer is a slip, and would fill disks with empty bars; MIDI cannot say it.
constexpr double kLongestMelody = 100000.0;  // [beats]

// Rows overlap by less than that where a player or a rounding let them.
constexpr double kSameTime = 1e-3;  // [beats]

std::string At(double beat) {
    std::ostringstream text;
    text << "beat " << beat;
    return text.str();
}

// Sorts the notes and lets each end where the next one starts.
void MakeMonophonic(std::vector<WrittenNote>& notes, const std::string& source) {
    if (notes.empty()) {
        throw Failure(source + ": there is no note in it");
    }
    std::stable_sort(notes.begin(), notes.end(),
                     [](const WrittenNote& a, const WrittenNote& b) { return a.onset < b.onset; });
    for (std::size_t i = 0; i + 1 < notes.size(); ++i) {
        if (notes[i + 1].onset - notes[i].onset < kSameTime) {
            throw Failure(source + ": two notes start at " + At(notes[i].onset) +
                          "; a melody has one note at a time");
        }
        notes[i].length = std::min(notes[i].length, notes[i + 1].onset - notes[i].onset);
    }
    if (!(notes.back().onset + notes.back().length <= kLongestMelody)) {
        throw Failure(source + ": the last note ends behind beat 100000; are its times in beats?");
    }
}

constexpr const char* kRow = "a row is onset, duration, pitch and, if wanted, chord";

class TableReader {
  public:
    explicit TableReader(const std::string& source) : source_(source) {}

    Melody Read(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            ++line_;
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            const auto first = line.find_first_not_of(" \t");
            if (first == std::string::npos) {
                continue;
            }
            if (line[first] == '#') {
                ReadComment(line.substr(first + 1));
            } else {
                ReadRow(Split(line));
            }
        }
        MakeMonophonic(melody_.notes, source_);
        return std::move(melody_);
    }

  private:
    [[noreturn]] void Complain(const std::string& why) const {
        throw UsageError(source_ + ", line " + std::to_string(line_) + ": " + why);
    }

    static std::vector<std::string> Split(const std::string& line) {
        std::vector<std::string> cells;
        std::string cell;
        for (const char c : line + "\n") {
            if (c != '\t' && c != ' ' && c != ',' && c != ';' && c != '\n') {
                cell += c;
            } else if (!cell.empty()) {
                cells.push_back(std::move(cell));
                cell.clear();
            }
        }
        return cells;
    }

    double Number(const std::string& cell, const std::string& wanted) const {
        char* end = nullptr;
        const double value = std::strtod(cell.c_str(), &end);
        if (*end != '\0' || !std::isfinite(value)) {
            Complain("'" + cell + "' is not a number; " + wanted);
        }
        return value;
    }

    void ReadRow(const std::vector<std::string>& cells) {
        if (melody_.notes.empty() && (cells[0] == "onset" || cells[0] == "start")) {
            return;  // column names
        }
        if (cells.size() < 3) {
            Complain(kRow);
        }
        WrittenNote note;
        note.onset = Number(cells[0], kRow);
        note.length = Number(cells[1], kRow);
        const double pitch = Number(cells[2], kRow);
        if (note.onset < 0.0) {
            Complain("a note cannot start before beat 0");
        }
        if (!(note.length > 0.0)) {
            Complain("a duration must be above 0");
        }
        if (pitch < 0.0 || pitch > 127.0 || pitch != std::floor(pitch)) {
            Complain("'" + cells[2] + "' is not a MIDI note number; middle C is 60");
        }
        note.pitch = static_cast<int>(pitch);
        if (cells.size() > 3 && cells[3] != "-") {
            try {
                note.chord = ReadChordSymbol(cells[3], melody_.key ? ModeKey(*melody_.key) : -1).chord;
            } catch (const UsageError& error) {
                Complain(error.what());
            }
        }
        melody_.notes.push_back(std::move(note));
    }

    void ReadComment(const std::string& comment) {
        const auto colon = comment.find(':');
        if (colon == std::string::npos) {
            return;
        }
        const std::string name = Trim(comment.substr(0, colon));
        const std::string value = Trim(comment.substr(colon + 1));
        TempoChange& start = melody_.tempo[0];
        if (name == "title") {
            melody_.title = value;
        }
        if (name == "key") {
            melody_.key = ReadKeyAndScale(value);
        }
        if (name == "tempo") {
            start.bpm = std::clamp(Number(value, "write the tempo like 96"), 1.0, 1000.0);
        }
        if (name == "upbeat") {
            melody_.upbeat = std::max(Number(value, "an upbeat is a count of quarter notes"), 0.0);
        }
        if (name == "meter") {
            ReadMetre(value, start);
        }
    }

    void ReadMetre(const std::string& value, TempoChange& change) const {
        int beats = 0;
        int unit = 0;
        char slash = ' ';
        std::istringstream text(value);
        text >> beats >> slash >> unit;
        const bool power = unit > 0 && unit <= 32 && (unit & (unit - 1)) == 0;
        if (slash != '/' || beats < 1 || beats > 32 || !power) {
            Complain("cannot read the metre '" + value + "'; write it like 3/4");
        }
        change.beatsPerBar = beats;
        change.beatUnit = unit;
    }

    std::string source_;
    int line_ = 0;
    Melody melody_;
};

Melody FromMidi(const MelodySource& source) {
    const Song song = ReadMidiFile(source.path);
    if (song.tracks.empty()) {
        throw Failure(source.path + ": there is no note in it");
    }
    const auto count = static_cast<int>(song.tracks.size());
    if (source.track > count) {
        throw UsageError("--track: " + source.path + " has " + std::to_string(count) +
                         (count == 1 ? " track" : " tracks") + " with notes");
    }
    Melody melody;
    melody.tempo = song.tempo;
    if (song.key) {
        melody.key = MelodyKey{*song.key % 12, *song.key < 12 ? kMajor : kMinor, false};
    }
    for (const TimedNote& note : song.tracks[static_cast<std::size_t>(std::max(source.track - 1, 0))].notes) {
        const double onset = BeatAt(song.tempo, note.start);
        melody.notes.push_back(
            {onset, BeatAt(song.tempo, note.end) - onset, static_cast<int>(std::lround(note.pitch)), {}});
    }
    MakeMonophonic(melody.notes, source.path);
    return melody;
}

Melody FromRecording(const MelodySource& source) {
    const Audio audio = ReadAudio(source.path, ToOnDamage(source.acceptDamage));
    Progress progress("analysing", source.quiet);
    const Take take(audio.View(), [&](double share) { progress.Update(share); });
    TranscribeOptions options;
    options.bpm = source.bpm;
    options.key = source.key;
    return TranscribeTake(take, options);
}

bool LooksLikeText(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\r' && c != '\t';
    });
}

}  // namespace

Melody ReadMelody(const MelodySource& source) {
    std::ifstream file = OpenInput(source.path);
    std::string text(4096, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));

    const bool midi = text.starts_with("MThd");
    if (source.track > 0 && !midi) {
        throw UsageError("--track is for MIDI files; " + source.path + " is none");
    }
    if (!LooksLikeText(text) && IsPipe(source.path)) {
        throw Failure(source.path + ": a pipe can only carry a table, so make it a file first");
    }
    Melody melody;
    if (midi) {
        melody = FromMidi(source);
    } else if (LooksLikeText(text)) {
        text.append(std::istreambuf_iterator<char>(file), {});  // nothing is read twice: it may be a pipe
        melody = ParseMelodyTable(text, source.path);
    } else {
        melody = FromRecording(source);
    }
    if (source.bpm > 0.0 && !melody.sung) {
        for (TempoChange& change : melody.tempo) {
            change.bpm = source.bpm;
        }
    }
    if (melody.title.empty()) {
        melody.title = NameOf(PathOf(source.path).filename());
    }
    melody.title = AsUtf8(melody.title);
    return melody;
}

Melody ParseMelodyTable(const std::string& text, const std::string& source) {
    return TableReader(source).Read(text);
}

}  // namespace mlh::cli
