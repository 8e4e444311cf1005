#include "choir/score/SungSong.h"

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "choir/Text.h"
#include "choir/score/Music.h"
#include "choir/score/Tables.h"

namespace mlh::choir {

namespace {

struct SoundingNote {
    TimedNote sounds;
    int note = 0;  // on the choir's grid
};

struct SoundingLine {
    std::string name;
    std::vector<SoundingNote> notes = {};
};

// The lead first.
std::vector<SoundingLine> LinesOf(const Choir& choir) {
    std::vector<SoundingLine> lines = {{"Lead"}};
    const std::vector<SungNote>& lead = choir.lead();
    for (const SungNote& sung : lead) {
        const double middle = 0.5 * (sung.start + sung.end);
        const int note = choir.tuning() ? choir.tuning()->NearestNote(sung.pitch, middle)
                                        : static_cast<int>(std::lround(sung.pitch));
        lines[0].notes.push_back({sung, note});
    }
    for (const Voice& voice : choir.voices()) {
        SoundingLine line{voice.name};
        for (const VoiceNote& note : voice.notes) {
            if (note.note < 0) {
                continue;
            }
            const double level = note.lead < 0 ? 1.0 : lead[static_cast<std::size_t>(note.lead)].level;
            line.notes.push_back({{note.start, note.end, note.pitch, level * note.level}, note.note});
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace

Song ToSungSong(const Choir& choir, double bpm) {
    Song song;
    song.tempo[0].bpm = bpm;
    song.tempo[0].beatsPerBar = choir.settings().beatsPerBar;
    if (choir.key() >= 0) {
        song.key = choir.key();
    }
    for (const SoundingLine& line : LinesOf(choir)) {
        NoteLine track{line.name, {}};
        std::vector<double> bends;
        for (const SoundingNote& note : line.notes) {
            track.notes.push_back(note.sounds);
            track.notes.back().pitch = note.note;
            bends.push_back(note.sounds.pitch - note.note);
        }
        song.tracks.push_back(std::move(track));
        song.bends.push_back(std::move(bends));
    }
    for (const TimedChord& chord : choir.chords()) {
        song.markers.push_back({chord.time, chord.chord.name});
    }
    return song;
}

std::string SungNotesAsCsv(const Choir& choir) {
    const bool flats = KeyUsesFlats(choir.key());
    std::string csv = "voice,start_s,end_s,note_midi,note,cents,pitch_midi,frequency_hz,level\n";
    for (const SoundingLine& line : LinesOf(choir)) {
        for (const SoundingNote& note : line.notes) {
            const TimedNote& sounds = note.sounds;
            csv += Format("%s,%.6f,%.6f,%d,%s,%.1f,%.4f,%.3f,%.4f\n", line.name.c_str(), sounds.start,
                          sounds.end, note.note, NoteName(note.note, flats).c_str(),
                          100.0 * (sounds.pitch - note.note), sounds.pitch, Frequency(sounds.pitch),
                          sounds.level);
        }
    }
    return csv;
}

}  // namespace mlh::choir
