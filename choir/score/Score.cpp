#include "choir/score/Score.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "choir/Errors.h"
#include "choir/Text.h"
#include "choir/melody/MelodyTracker.h"
#include "choir/plan/SettingsOfPlan.h"
#include "choir/score/ChordSpelling.h"
#include "choir/score/Transcribe.h"

namespace mlh::choir {

namespace {

constexpr double kSame = 1e-6;  // [s]

Score ScoreOf(const Melody& melody, const std::string& style) {
    Score score;
    score.title = melody.title;
    score.style = style;
    score.tempo = melody.tempo;
    score.upbeat = melody.upbeat;
    score.sung = melody.sung;
    score.sureOfKey = melody.sureOfKey;
    score.curve = melody.curve;
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        const WrittenNote& note = melody.notes[i];
        score.melody.push_back(
            {note.onset, note.length, melody.Start(i), melody.End(i), note.pitch, static_cast<int>(i)});
    }
    return score;
}

// A key that was given stays; in nothing, none is found.
std::optional<MelodyKey> KeyOfScore(const Melody& melody, const MelodyKey& key) {
    return melody.notes.empty() && key.found ? std::nullopt : std::optional<MelodyKey>(key);
}

// Where a change inside a note is written: on a beat or an eighth inside it, else at its start or end.
double BeatInside(const ScoreNote& note, double time) {
    const double share = (time - note.start) / std::max(note.end - note.start, kSame);
    const double beat = note.onset + share * note.length;
    for (const double step : {1.0, 0.5}) {
        const double nearest = step * std::round(beat / step);
        if (nearest > note.onset + kSame && nearest < note.onset + note.length - kSame) {
            return nearest;
        }
    }
    return share < 0.5 ? note.onset : note.onset + note.length;
}

double BeatOf(const ScoreNote& note, double time) {
    if (time <= note.start + kSame) {
        return note.onset;
    }
    return time >= note.end - kSame ? note.onset + note.length : BeatInside(note, time);
}

// What a voice sings on beats. `leads` is the melody's note of each sung one, -1 none. Pieces of one note on
// one pitch are one note.
ScoreVoice OnBeats(const Score& score, const Voice& voice, const std::vector<int>& leads) {
    ScoreVoice line{voice.name, {}};
    for (const VoiceNote& note : voice.notes) {
        const bool known = note.lead >= 0 && note.lead < static_cast<int>(leads.size());
        const int index = known ? leads[static_cast<std::size_t>(note.lead)] : -1;
        if (note.note < 0 || index < 0) {
            continue;
        }
        const ScoreNote& lead = score.melody[static_cast<std::size_t>(index)];
        const double onset = BeatOf(lead, note.start);
        const double end = BeatOf(lead, note.end);
        if (end - onset < kSame) {
            continue;
        }
        if (!line.notes.empty()) {
            ScoreNote& before = line.notes.back();
            const bool same = before.lead == index && before.note == note.note;
            if (same && onset <= before.onset + before.length + kSame) {
                before.length = end - before.onset;
                before.end = note.end;
                continue;
            }
        }
        line.notes.push_back({onset, end - onset, note.start, note.end, note.note, index});
    }
    return line;
}

// Chords by beats: a change inside a note where the note is written, one between notes at the next.
std::vector<ScoreChord> SymbolsOf(const Score& score) {
    // Notes are sung a little late or early; what is nearer to a note than this is meant for it, as in plans.
    constexpr double kNear = 0.15;       // [s]
    constexpr double kNearShare = 0.35;  // of the note
    std::vector<ScoreChord> symbols;
    const auto& notes = score.melody;
    for (const TimedChord& chord : score.chords) {
        const auto after = std::upper_bound(notes.begin(), notes.end(), chord.time,
                                            [](double t, const ScoreNote& note) { return t < note.start; });
        double beat = notes.empty() ? 0.0 : notes.front().onset;
        if (after != notes.begin()) {
            const ScoreNote& note = *(after - 1);
            const double next = after == notes.end() ? note.onset + note.length : after->onset;
            const double margin = std::min(kNear, kNearShare * (note.end - note.start));
            beat = chord.time - note.start <= margin ? note.onset
                   : chord.time >= note.end - margin ? next
                                                     : BeatInside(note, chord.time);
        }
        if (!symbols.empty() && symbols.back().beat >= beat - kSame) {
            symbols.pop_back();
        }
        if (symbols.empty() || symbols.back().chord.name != chord.chord.name) {
            symbols.push_back({beat, chord.chord});
        }
    }
    return symbols;
}

void SpellNotes(Score& score) {
    const int key = score.key ? SignatureKey(*score.key) : 0;
    const auto spell = [&](std::vector<ScoreNote>& notes) {
        std::size_t next = 0;
        for (ScoreNote& note : notes) {
            while (next < score.symbols.size() && score.symbols[next].beat <= note.onset + kSame) {
                ++next;
            }
            const Chord& chord =
                score.symbols.empty() ? Chord{} : score.symbols[next > 0 ? next - 1 : 0].chord;
            note.spelling = SpellInChord(note.note % 12, chord, key);
        }
    };
    for (ScoreChord& symbol : score.symbols) {
        if (symbol.chord.root >= 0) {
            symbol.root = SpellInChord(symbol.chord.root, symbol.chord, key);
        }
        if (symbol.chord.bass >= 0) {
            symbol.bass = SpellInChord(symbol.chord.bass, symbol.chord, key);
        }
    }
    spell(score.melody);
    for (ScoreVoice& voice : score.voices) {
        spell(voice.notes);
    }
}

double MeanPitch(const ScoreVoice& voice) {
    double sum = 0.0;
    for (const ScoreNote& note : voice.notes) {
        sum += note.note;
    }
    return voice.notes.empty() ? -1.0 : sum / static_cast<double>(voice.notes.size());
}

// The melody on top of the choir's other voices from the top down; four parts from Soprano to Bass.
void OrderVoices(Score& score, bool parts) {
    const auto higher = [](const ScoreVoice& a, const ScoreVoice& b) { return MeanPitch(a) > MeanPitch(b); };
    if (!parts) {
        std::stable_sort(score.voices.begin() + 1, score.voices.end(), higher);
        return;
    }
    static constexpr std::array<const char*, 4> kOrder = {"Soprano", "Alto", "Tenor", "Bass"};
    const auto place = [](const ScoreVoice& voice) {
        return std::find(kOrder.begin(), kOrder.end(), voice.name) - kOrder.begin();
    };
    std::stable_sort(score.voices.begin(), score.voices.end(),
                     [&](const ScoreVoice& a, const ScoreVoice& b) { return place(a) < place(b); });
}

// Without the symbols where nothing changes, and those that hold for no time.
std::vector<TimedChord> Changes(const std::vector<TimedChord>& chords) {
    std::vector<TimedChord> changes;
    for (const TimedChord& chord : chords) {
        if (changes.empty() || changes.back().chord.name != chord.chord.name) {
            changes.push_back(chord);
        }
    }
    return changes;
}

std::vector<TimedChord> ChordsOfNotes(const Melody& melody) {
    std::vector<TimedChord> chords;
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        if (melody.notes[i].chord.root >= 0) {
            chords.push_back({melody.Start(i), melody.notes[i].chord});
        }
    }
    return Changes(chords);
}

// Those that the core tracks in the melody.
std::vector<TimedChord> ChordsOfCore(const Melody& melody, const MelodyKey& key) {
    Settings settings;
    settings.style = Style::Core;
    Melody bare = melody;
    for (WrittenNote& note : bare.notes) {
        note.chord = {};
    }
    return ArrangeMelody(std::move(bare), key, ToArrangeSettings(settings), "core").ChordChanges();
}

std::vector<MelodyNote> NotesOnBeats(const Melody& melody) {
    std::vector<MelodyNote> notes;
    for (const WrittenNote& note : melody.notes) {
        notes.push_back({note.onset, note.onset + note.length, 1.0 * note.pitch});
    }
    return notes;
}

std::vector<TimedChord> HeardChords(const Melody& melody, const MelodyKey& key) {
    if (melody.sung) {
        return melody.heard;
    }
    TrackOptions options;
    options.tuning = 0.0;
    options.key = ModeKey(key);
    const TempoChange& start = melody.tempo[0];
    options.metre = MetreOf(start.beatsPerBar, start.beatUnit, 1.0, melody.upbeat);
    std::vector<TimedChord> chords;
    for (const HeardChord& heard : TrackMelody(NotesOnBeats(melody), options).chords) {
        chords.push_back({melody.Seconds(heard.time), ToChord(heard, SignatureKey(key))});
    }
    return chords;
}

std::vector<TimedChord> ChordsFor(const Melody& melody, const MelodyKey& key, const Settings& settings) {
    if (!settings.chords.empty()) {
        return settings.chords;
    }
    if (settings.chordsFrom == ChordSource::Core) {
        return ChordsOfCore(melody, key);
    }
    std::vector<TimedChord> own = ChordsOfNotes(melody);
    if (settings.chordsFrom == ChordSource::Given && own.empty()) {
        throw Failure("chords_from: the melody comes with no chords");
    }
    return own.empty() || settings.chordsFrom == ChordSource::Tracker ? HeardChords(melody, key) : own;
}

}  // namespace

void FindMissingKey(Melody& melody) {
    if (melody.key || melody.notes.empty()) {
        return;
    }
    const KeyEstimate estimate = FindKey(OneLine(NotesOnBeats(melody)), 0.0);
    melody.key = MelodyKey{estimate.Tonic(), estimate.Minor() ? kMinor : kMajor};
    melody.sureOfKey = estimate.Sure();
}

Arrangement Arrange(Melody melody, const Settings& settings) {
    if (IsPlanned(settings)) {
        throw UsageError("style: the choir's own voices are planned, not arranged");
    }
    if (!settings.chords.empty()) {
        SetChords(melody, settings.chords);
    }
    const MelodyKey key = KeyFor(settings, melody);
    return ArrangeMelody(std::move(melody), key, ToArrangeSettings(settings),
                         StyleNames()[static_cast<std::size_t>(settings.style)]);
}

Score PlanScore(const Melody& written, const Settings& settings) {
    Melody melody = written;
    FindMissingKey(melody);
    const MelodyKey key = KeyFor(settings, melody);
    Score score = ScoreOf(melody, StyleNames()[static_cast<std::size_t>(settings.style)]);
    score.sureOfKey = settings.key || melody.sureOfKey;
    score.key = KeyOfScore(melody, key);
    score.chords = ChordsFor(melody, key, settings);
    score.symbols = SymbolsOf(score);

    std::vector<SungNote> notes;
    std::vector<int> pitches;
    std::vector<int> leads;
    for (const ScoreNote& note : score.melody) {
        notes.push_back({note.start, note.end, 1.0 * note.note, 1.0});
        pitches.push_back(note.note);
        leads.push_back(note.lead);
    }
    std::vector<Voice> voices =
        PlanChoir(notes, Tuning(), score.chords, ToPlanSettings(settings, pitches)).voices;
    const bool parts = settings.style == Style::FourPart;
    NameParts(settings, voices);
    if (!parts) {
        voices[0].name = "Melody";
    }
    for (const Voice& voice : voices) {
        score.voices.push_back(OnBeats(score, voice, leads));
    }
    OrderVoices(score, parts);
    SpellNotes(score);
    return score;
}

Score ToScore(const Arrangement& arrangement) {
    Score score = ScoreOf(arrangement.melody, arrangement.style);
    score.key = KeyOfScore(arrangement.melody, arrangement.key);
    score.chords = arrangement.ChordChanges();
    for (std::size_t i = 0; i < arrangement.chords.size(); ++i) {
        const Chord& chord = arrangement.chords[i];
        if (chord.root >= 0 && (i == 0 || arrangement.chords[i - 1].name != chord.name)) {
            score.symbols.push_back({score.melody[i].onset, chord});
        }
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
    TranscribeOptions options;
    options.bpm = bpm;
    if (choir.arrangement()) {
        options.key = choir.arrangement()->key;
    } else if (choir.key() >= 0) {
        options.key = MelodyKey{choir.key() % 12, choir.key() < 12 ? kMajor : kMinor,
                                !choir.settings().key.has_value()};
    }
    const Tuning tuning = choir.tuning() ? *choir.tuning() : Tuning::OfSinger(choir.lead());
    Melody melody = Transcribe(choir.lead(), tuning, options);
    melody.curve = choir.take().curve();
    const Settings& settings = choir.settings();
    Score score = ScoreOf(melody, StyleNames()[static_cast<std::size_t>(settings.style)]);
    score.key = options.key;
    score.chords = choir.chords();
    score.symbols = SymbolsOf(score);
    std::vector<int> leads(choir.lead().size(), -1);
    for (std::size_t i = 0; i < melody.notes.size(); ++i) {
        leads[static_cast<std::size_t>(melody.notes[i].lead)] = static_cast<int>(i);
    }
    for (const Voice& voice : choir.voices()) {
        score.voices.push_back(OnBeats(score, voice, leads));
    }
    SpellNotes(score);
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
            line.notes.push_back({SecondsAt(score.tempo, note.onset),
                                  SecondsAt(score.tempo, note.onset + note.length), 1.0 * note.note, 1.0});
        }
        song.tracks.push_back(std::move(line));
    }
    // Chords that were given stand in the file as they were written.
    const auto add = [&](double time, const Chord& chord) {
        song.texts.push_back({time, chord.written.empty() ? chord.name : chord.written});
    };
    for (std::size_t i = 0; !score.sung && i < score.chords.size(); ++i) {
        add(score.chords[i].time, score.chords[i].chord);
    }
    for (std::size_t i = 0; score.sung && i < score.symbols.size(); ++i) {
        add(SecondsAt(score.tempo, score.symbols[i].beat), score.symbols[i].chord);
    }
    return song;
}

Performance ToPerformance(const Score& score) {
    Performance performance;
    performance.title = score.title;
    performance.key = score.key ? ScaleKeyName(*score.key) : "";
    performance.curve = score.curve;
    performance.chords = Changes(score.chords);
    for (const ScoreNote& note : score.melody) {
        performance.lead.push_back({note.start, note.end, 1.0 * note.note, 1.0});
        performance.duration = std::max(performance.duration, note.end);
    }
    for (const ScoreVoice& voice : score.voices) {
        NoteLine line{voice.name, {}};
        for (const ScoreNote& note : voice.notes) {
            line.notes.push_back({note.start, note.end, 1.0 * note.note, 1.0});
        }
        performance.voices.push_back(std::move(line));
    }
    return performance;
}

namespace {

std::string NameOf(const ScoreNote& note, int key) {
    const Spelling spelling = note.spelling.value_or(Spell(note.note % 12, key));
    const std::string accidentals(static_cast<std::size_t>(std::abs(spelling.alter)),
                                  spelling.alter > 0 ? '#' : 'b');
    return spelling.step + accidentals + std::to_string((note.note - spelling.alter + 12) / 12 - 2);
}

}  // namespace

std::string ScoreTable(const Score& score) {
    const int key = score.key ? SignatureKey(*score.key) : 0;
    // A row wherever a voice starts.
    std::vector<double> rows;
    for (const ScoreVoice& voice : score.voices) {
        for (const ScoreNote& note : voice.notes) {
            rows.push_back(note.onset);
        }
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end(), [](double a, double b) { return b - a < kSame; }),
               rows.end());
    std::string table = "    beat  chord    ";
    for (const ScoreVoice& voice : score.voices) {
        table += Format(" %-8s", voice.name.c_str());
    }
    while (table.back() == ' ') {
        table.pop_back();
    }
    table += "\n";
    std::vector<std::size_t> next(score.voices.size(), 0);
    std::size_t symbol = 0;
    for (const double beat : rows) {
        while (symbol < score.symbols.size() && score.symbols[symbol].beat <= beat + kSame) {
            ++symbol;
        }
        std::string row =
            Format("%8.3f  %-8s ", beat, symbol > 0 ? score.symbols[symbol - 1].chord.name.c_str() : "-");
        for (std::size_t v = 0; v < score.voices.size(); ++v) {
            const auto& notes = score.voices[v].notes;
            while (next[v] < notes.size() && notes[next[v]].onset + notes[next[v]].length <= beat + kSame) {
                ++next[v];
            }
            const bool sounds = next[v] < notes.size() && notes[next[v]].onset <= beat + kSame;
            const bool starts = sounds && notes[next[v]].onset >= beat - kSame;
            row += Format(" %-8s", starts ? NameOf(notes[next[v]], key).c_str() : sounds ? "." : "-");
        }
        while (row.back() == ' ') {
            row.pop_back();
        }
        table += row + "\n";
    }
    return table;
}

std::string ScoreAsCsv(const Score& score) {
    const int key = score.key ? SignatureKey(*score.key) : 0;
    std::string csv = "voice,onset_beats,length_beats,start_s,end_s,pitch_midi,note\n";
    for (const ScoreVoice& voice : score.voices) {
        for (const ScoreNote& note : voice.notes) {
            csv += Format("%s,%.6g,%.6g,%.6f,%.6f,%d,%s\n", voice.name.c_str(), note.onset, note.length,
                          note.start, note.end, note.note, NameOf(note, key).c_str());
        }
    }
    return csv;
}

}  // namespace mlh::choir
