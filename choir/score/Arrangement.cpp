#include "choir/score/Arrangement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "choir/Errors.h"
#include "choir/Text.h"
#include "choir/chords/CoreTones.h"
#include "choir/score/Music.h"

namespace mlh::choir {

namespace {

using mlh::ArrangeStyle;

constexpr std::size_t kRows = 4;

// A sung note is meant for a chord that comes this soon.
constexpr double kSungAnticipation = 0.2;  // [s]
constexpr double kSameTime = 0.001;        // [s]

void HoldChords(std::vector<WrittenNote>& notes) {
    const auto first =
        std::find_if(notes.begin(), notes.end(), [](const WrittenNote& n) { return n.chord.root >= 0; });
    if (first == notes.end()) {
        return;
    }
    Chord held = first->chord;
    for (WrittenNote& note : notes) {
        if (note.chord.root < 0) {
            note.chord = held;
        }
        held = note.chord;
    }
}

mlh::ArrangeChord ToLibrary(const Chord& chord) {
    if (chord.root < 0) {
        return {};
    }
    const ChordCodes codes = CodesOf(ReduceChord(chord.intervals));
    return {chord.root, codes.triad, codes.seventh};
}

Chord FromLibrary(const mlh::ArrangeChord& chord, int key) {
    Chord timed;
    timed.intervals = TonesOf({chord.triadType, chord.seventhType});
    if (chord.root < 0 || timed.intervals.empty()) {
        return {};
    }
    timed.root = chord.root % 12;
    timed.name = ChordName(timed.root, timed.intervals, -1, Spell(timed.root, key).alter < 0);
    return timed;
}

// The library's rows as voices. Notes outside of what MIDI can say rest.
std::vector<ArrangedVoice> FourParts(const std::vector<mlh::ArrangedNote>& notes) {
    std::vector<ArrangedVoice> voices = {{"Soprano", {}}, {"Alto", {}}, {"Tenor", {}}, {"Bass", {}}};
    for (const mlh::ArrangedNote& note : notes) {
        for (std::size_t v = 0; v < kRows; ++v) {
            const int pitch = note.rows[kRows - 1 - v];
            voices[v].pitches.push_back(pitch >= 0 && pitch <= 127 ? pitch : -1);
        }
    }
    return voices;
}

std::vector<ArrangedVoice> MelodyAndVoices(const std::vector<mlh::ArrangedNote>& notes) {
    std::vector<ArrangedVoice> voices = FourParts(notes);
    std::erase_if(voices, [](const ArrangedVoice& voice) { return voice.MeanPitch() < 0.0; });
    // Row 3, the melody, is the first; the others from the top down.
    std::stable_sort(voices.begin() + 1, voices.end(), [](const ArrangedVoice& a, const ArrangedVoice& b) {
        return a.MeanPitch() > b.MeanPitch();
    });
    voices[0].name = "Melody";
    for (std::size_t v = 1; v < voices.size(); ++v) {
        voices[v].name = "Voice " + std::to_string(v + 1);
    }
    return voices;
}

}  // namespace

double ArrangedVoice::MeanPitch() const {
    double sum = 0.0;
    int count = 0;
    for (const int pitch : pitches) {
        if (pitch < 0) {
            continue;
        }
        sum += pitch;
        ++count;
    }
    return count > 0 ? sum / count : -1.0;
}

std::vector<TimedChord> Arrangement::ChordChanges() const {
    std::vector<TimedChord> changes;
    for (std::size_t i = 0; i < chords.size(); ++i) {
        if (chords[i].root < 0) {
            continue;
        }
        if (!changes.empty() && changes.back().chord.name == chords[i].name) {
            continue;
        }
        changes.push_back({melody.Start(i), chords[i]});
    }
    return changes;
}

void SetChords(Melody& melody, const std::vector<TimedChord>& chords) {
    const double margin = melody.sung ? kSungAnticipation : kSameTime;
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        const double time = melody.Start(i) + margin;
        const auto next = std::upper_bound(chords.begin(), chords.end(), time,
                                           [](double t, const TimedChord& chord) { return t < chord.time; });
        melody.notes[i].chord = next == chords.begin() ? Chord{} : (next - 1)->chord;
    }
}

Arrangement ArrangeMelody(Melody melody, const MelodyKey& key, mlh::ArrangeSettings settings,
                          const std::string& style) {
    Arrangement arrangement;
    if (melody.notes.empty()) {
        const bool parts = settings.style == ArrangeStyle::FourPart;
        arrangement.voices = parts ? FourParts({}) : std::vector<ArrangedVoice>{{"Melody", {}}};
        arrangement.melody = std::move(melody);
        arrangement.key = key;
        arrangement.style = style;
        return arrangement;
    }
    settings.key = key.tonic;
    settings.scale = key.scale;
    HoldChords(melody.notes);
    std::vector<mlh::ArrangeNote> notes;
    for (const WrittenNote& note : melody.notes) {
        // As sung, so that a recording is set on paper as it is sung.
        const bool sung = note.start >= 0.0;
        notes.push_back({note.pitch, static_cast<float>(sung ? note.start : note.onset),
                         static_cast<float>(sung ? note.end : note.onset + note.length),
                         ToLibrary(note.chord)});
    }
    arrangement.notes = mlh::Arrange(notes, settings);
    if (arrangement.notes.empty()) {
        throw Failure("the library cannot set this melody");
    }

    const bool own = settings.style == ArrangeStyle::FourPart;
    arrangement.voices = own ? FourParts(arrangement.notes) : MelodyAndVoices(arrangement.notes);
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const bool given = !own && melody.notes[i].chord.root >= 0;
        const bool found = own || settings.style == ArrangeStyle::Chords;
        arrangement.chords.push_back(given   ? melody.notes[i].chord
                                     : found ? FromLibrary(arrangement.notes[i].chord, SignatureKey(key))
                                             : Chord{});
    }
    arrangement.melody = std::move(melody);
    arrangement.key = key;
    arrangement.style = style;
    return arrangement;
}

std::string FunctionName(int function) {
    static constexpr std::array<const char*, 5> kNames = {"", "T", "S", "D", "VI"};
    return function >= 0 && function < 5 ? kNames[static_cast<std::size_t>(function)] : "";
}

Performance ToPerformance(const Arrangement& arrangement) {
    const Melody& melody = arrangement.melody;
    Performance performance;
    performance.title = melody.title;
    performance.key = ScaleKeyName(arrangement.key);
    performance.curve = melody.curve;
    performance.chords = arrangement.ChordChanges();
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        performance.lead.push_back({melody.Start(i), melody.End(i), 1.0 * melody.notes[i].pitch, 1.0});
        performance.duration = std::max(performance.duration, melody.End(i));
        const mlh::ArrangedNote& note = arrangement.notes[i];
        if (note.startsPhrase) {
            performance.phrases.push_back(melody.Start(i));
        }
        const std::string function = note.inherited ? "" : FunctionName(note.function);
        if (!function.empty()) {
            performance.functions.push_back({melody.Start(i), function});
        }
    }
    for (const ArrangedVoice& voice : arrangement.voices) {
        NoteLine line{voice.name, {}};
        for (std::size_t i = 0; i < voice.pitches.size(); ++i) {
            if (voice.pitches[i] < 0) {
                continue;
            }
            line.notes.push_back({melody.Start(i), melody.End(i), 1.0 * voice.pitches[i], 1.0});
        }
        performance.voices.push_back(std::move(line));
    }
    return performance;
}

std::string ArrangementTable(const Arrangement& arrangement) {
    const bool own = arrangement.style == "four-part";
    const int key = SignatureKey(arrangement.key);
    std::string table = "   #     beat   length  chord    ";
    if (own) {
        table += "phrase function ";
    }
    for (const ArrangedVoice& voice : arrangement.voices) {
        table += Format(" %-8s", voice.name.c_str());
    }
    while (table.back() == ' ') {
        table.pop_back();
    }
    table += "\n";
    for (std::size_t i = 0; i < arrangement.notes.size(); ++i) {
        const WrittenNote& note = arrangement.melody.notes[i];
        const Chord& chord = arrangement.chords[i];
        const mlh::ArrangedNote& set = arrangement.notes[i];
        std::string row = Format("%4zu %8.3f %8.3f  %-8s ", i + 1, note.onset, note.length,
                                 chord.root < 0 ? "-" : chord.name.c_str());
        if (own) {
            row += Format("%-6s %-8s ", set.startsPhrase ? "|" : "",
                          set.inherited ? "." : FunctionName(set.function).c_str());
        }
        for (const ArrangedVoice& voice : arrangement.voices) {
            const int pitch = voice.pitches[i];
            row +=
                Format(" %-8s", pitch < 0 ? "-" : NoteName(pitch, Spell(pitch % 12, key).alter < 0).c_str());
        }
        while (row.back() == ' ') {
            row.pop_back();
        }
        table += row + "\n";
    }
    return table;
}

}  // namespace mlh::choir
