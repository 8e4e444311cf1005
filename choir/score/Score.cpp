#include "choir/score/Score.h"

#include <cmath>
#include <cstddef>
#include <utility>

#include "choir/Errors.h"

namespace mlh::choir {

Arrangement Arrange(Melody melody, const Settings& settings) {
    if (settings.style == Style::Choir) {
        throw UsageError("style: choir needs a recording; core sets the chords of a written melody");
    }
    if (!settings.chords.empty()) {
        SetChords(melody, settings.chords);
    }
    const MelodyKey key = KeyFor(settings, melody);
    return ArrangeMelody(std::move(melody), key, ToArrangeSettings(settings),
                         StyleNames()[static_cast<std::size_t>(settings.style)]);
}

Score ToScore(const Arrangement& arrangement) {
    const Melody& melody = arrangement.melody;
    Score score;
    score.title = melody.title;
    score.style = arrangement.style;
    score.key = arrangement.key;
    score.tempo = melody.tempo;
    score.upbeat = melody.upbeat;
    score.sung = melody.sung;
    score.chords = arrangement.ChordChanges();
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        const WrittenNote& note = melody.notes[i];
        score.melody.push_back(
            {note.onset, note.length, melody.Start(i), melody.End(i), note.pitch, static_cast<int>(i)});
    }
    for (const ArrangedVoice& voice : arrangement.voices) {
        ScoreVoice line{voice.name, {}};
        for (std::size_t i = 0; i < voice.pitches.size(); ++i) {
            if (voice.pitches[i] < 0) {
                continue;
            }
            line.notes.push_back(score.melody[i]);
            line.notes.back().note = voice.pitches[i];
        }
        score.voices.push_back(std::move(line));
    }
    return score;
}

Score ToScore(const Choir& choir, double bpm) {
    Score score;
    score.style = StyleNames()[static_cast<std::size_t>(choir.settings().style)];
    if (choir.arrangement()) {
        score.key = choir.arrangement()->key;
    } else if (choir.key() >= 0) {
        score.key = MelodyKey{choir.key() % 12, choir.key() < 12 ? kMajor : kMinor,
                              !choir.settings().key.has_value()};
    }
    score.tempo[0].bpm = bpm;
    score.tempo[0].beatsPerBar = choir.settings().beatsPerBar;
    score.sung = true;
    score.chords = choir.chords();
    const auto add = [&](std::vector<ScoreNote>& notes, double start, double end, int note, int lead) {
        const double onset = BeatAt(score.tempo, start);
        notes.push_back({onset, BeatAt(score.tempo, end) - onset, start, end, note, lead});
    };
    const std::vector<SungNote>& lead = choir.take().notes();
    for (std::size_t i = 0; i < lead.size(); ++i) {
        add(score.melody, lead[i].start, lead[i].end, static_cast<int>(std::lround(lead[i].pitch)),
            static_cast<int>(i));
    }
    for (const Voice& voice : choir.voices()) {
        ScoreVoice line{voice.name, {}};
        for (const VoiceNote& note : voice.notes) {
            if (note.note >= 0) {
                add(line.notes, note.start, note.end, note.note, note.lead);
            }
        }
        score.voices.push_back(std::move(line));
    }
    return score;
}

Song ToSong(const Score& score) {
    Song song;
    song.tempo = score.tempo;
    if (score.key) {
        song.key = SignatureKey(*score.key);
    }
    for (const ScoreVoice& voice : score.voices) {
        NoteLine line{voice.name, {}};
        for (const ScoreNote& note : voice.notes) {
            line.notes.push_back({note.start, note.end, 1.0 * note.note, 1.0});
        }
        song.tracks.push_back(std::move(line));
    }
    for (const TimedChord& chord : score.chords) {
        song.texts.push_back({chord.time, chord.chord.name});
    }
    return song;
}

}  // namespace mlh::choir
