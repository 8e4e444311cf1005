#include "choir/score/Transcribe.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "choir/chords/Chord.h"
#include "choir/melody/MelodyTracker.h"
#include "choir/score/Music.h"
#include "choir/score/Quantize.h"

namespace mlh::choir {

namespace {

constexpr double kSplinter = 0.14;      // [s] what is shorter may be the way to a note ...
constexpr double kLonger = 2.0;         // ... if that note is so many times longer
constexpr double kTouching = 0.03;      // [s] between notes of one breath
constexpr double kScoop = 3.5;          // [semitones] from where singers reach for a note
constexpr double kSlowestBeat = 1.0;    // [s]
constexpr double kSteadyTempo = 0.01;   // changes below this share are not written
constexpr double kLongestUpbeat = 0.5;  // [bars] more is a bar that begins with a rest

double LengthOf(const SungNote& note) { return note.end - note.start; }

// What one counts, and how it is written.
struct Counting {
    int perHalf = 2;  // beats in a half bar
    double quartersPerBeat = 1.0;
    int upper = 4;
    int lower = 4;
    int halvesPerBar = 2;

    BeatDivision Division() const {
        return quartersPerBeat == 1.5 ? BeatDivision::Thirds : BeatDivision::Halves;
    }
    int BeatsPerBar() const { return perHalf * halvesPerBar; }
};

// Half bars of so many quarter notes.
Counting CountingOf(double quarters, int halves) {
    if (quarters == 1.5) {
        return {1, 1.5, 3 * halves, 8, halves};
    }
    const int beats = static_cast<int>(quarters);
    return {beats, 1.0, beats * halves, 4, halves};
}

Counting CountingOf(const MelodyPulse& pulse, const TranscribeOptions& options) {
    const double half = pulse.clock.Half();
    int halves = std::max(pulse.metre.halves, 1);
    double quarters = 0.0;
    if (options.bpm > 0.0) {
        quarters = 2.0;
        for (const double count : {1.0, 1.5, 2.0, 3.0, 4.0}) {
            const double quarter = 60.0 / options.bpm;
            if (std::abs(std::log(half / (count * quarter))) <
                std::abs(std::log(half / (quarters * quarter)))) {
                quarters = count;
            }
        }
    } else {
        const WrittenMetre written = WrittenMetreOf(pulse.metre, half);
        quarters = written.lower == 8 ? 1.5 : static_cast<double>(written.upper) / halves;
        // What would be counted too slowly has twice the notes in it.
        const bool slow = half / std::max(std::floor(quarters), 1.0) > kSlowestBeat;
        quarters = slow && quarters == 1.5 ? 3.0 : slow && quarters <= 2.0 ? 2.0 * quarters : quarters;
    }
    if (quarters > 2.0) {
        halves = 1;  // half a bar that long is a bar
    }
    if (quarters == 1.0 && halves == 1) {
        halves = 2;  // there is no metre of one quarter note
    }
    return CountingOf(quarters, halves);
}

// Times of counted beats, and the index of one with a bar line.
struct Beats {
    std::vector<double> times;
    int barLine = 0;
};

Beats BeatsAround(const MelodyPulse& pulse, const Counting& counting, double from, double to) {
    constexpr double kNear = 0.2;  // [beats] a first note so much too early is on the line
    const auto first =
        static_cast<int>(std::floor(pulse.clock.HalvesAt(from) * counting.perHalf - kNear)) - 1;
    const auto last = static_cast<int>(std::ceil(pulse.clock.HalvesAt(to) * counting.perHalf)) + 1;
    Beats beats;
    for (int beat = first; beat <= std::max(last, first + 1); ++beat) {
        beats.times.push_back(pulse.clock.TimeAt(static_cast<double>(beat) / counting.perHalf));
    }
    beats.barLine = -first;
    return beats;
}

// Tempo from the bars' lengths, so that what is played from paper follows the singer. `origin` is the beat
// that is written first.
TempoMap TempoOf(const Beats& beats, const Counting& counting, double origin, int lastBeat, double upbeat) {
    const auto bpmOver = [&](double from, double to) {
        return 60.0 * (to - from) * counting.quartersPerBeat /
               (SecondsAt(beats.times, to) - SecondsAt(beats.times, from));
    };
    TempoChange change;
    change.beatsPerBar = counting.upper;
    change.beatUnit = counting.lower;
    change.bpm = bpmOver(origin, std::max(origin + 1.0, static_cast<double>(lastBeat)));
    TempoMap tempo = {change};
    const double bar = counting.BeatsPerBar();
    bool steady = true;
    std::vector<TempoChange> bars;
    for (double at = origin + (upbeat > 0.0 ? upbeat : 0.0); at < lastBeat; at += bar) {
        TempoChange next = change;
        next.beat = (at - origin) * counting.quartersPerBeat;
        next.bpm = bpmOver(at, at + bar);
        steady = steady && std::abs(next.bpm / change.bpm - 1.0) < kSteadyTempo;
        bars.push_back(next);
    }
    if (steady || bars.empty()) {
        return tempo;
    }
    if (bars[0].beat == 0.0) {
        tempo.clear();
    } else {
        tempo[0].bpm = bars[0].bpm;
    }
    tempo.insert(tempo.end(), bars.begin(), bars.end());
    return tempo;
}

}  // namespace

std::vector<MeantNote> JoinSplinters(const std::vector<SungNote>& notes) {
    std::vector<MeantNote> joined;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double start = notes[i].start;
        // Several splinters in a row lead to one note.
        for (; i + 1 < notes.size(); ++i) {
            const SungNote& note = notes[i];
            const SungNote& next = notes[i + 1];
            const bool leads = LengthOf(note) < kSplinter && LengthOf(next) > kLonger * LengthOf(note) &&
                               next.start - note.end < kTouching &&
                               std::abs(next.pitch - note.pitch) < kScoop;
            if (!leads) {
                break;
            }
        }
        SungNote note = notes[i];
        note.start = start;
        if (!joined.empty() && LengthOf(note) < kSplinter) {
            SungNote& before = joined.back().note;
            if (note.start - before.end < kTouching && LengthOf(before) > kLonger * LengthOf(note)) {
                before.end = note.end;
                continue;
            }
        }
        joined.push_back({note, static_cast<int>(i)});
    }
    return joined;
}

Melody Transcribe(const std::vector<SungNote>& sung, const Tuning& tuning, const TranscribeOptions& options) {
    Melody melody;
    melody.sung = true;
    const std::vector<MeantNote> meant = JoinSplinters(sung);
    std::vector<SungNote> notes;
    for (const MeantNote& one : meant) {
        notes.push_back(one.note);
    }
    if (notes.empty()) {
        melody.tempo[0].bpm = options.bpm > 0.0 ? options.bpm : melody.tempo[0].bpm;
        return melody;
    }
    std::vector<MelodyNote> line;
    std::vector<SungSpan> spans;
    for (const SungNote& note : notes) {
        line.push_back({note.start, note.end, note.pitch - tuning.OffsetAt(0.5 * (note.start + note.end))});
        spans.push_back({note.start, note.end});
    }
    TrackOptions search;
    search.tuning = 0.0;  // it is taken off, with its drift
    if (options.key) {
        search.key = ModeKey(*options.key);
    }
    if (options.bpm > 0.0) {
        search.bpm = options.bpm;
    }
    const MelodyTrack track = TrackMelody(line, search);
    melody.key =
        options.key ? *options.key : MelodyKey{track.key.best % 12, track.key.best < 12 ? kMajor : kMinor};
    melody.sureOfKey = options.key || track.key.Sure();
    for (const HeardChord& heard : track.chords) {
        melody.heard.push_back({heard.time, ToChord(heard, SignatureKey(*melody.key))});
    }

    const Counting counting = CountingOf(track.pulse, options);
    const Beats beats = BeatsAround(track.pulse, counting, notes.front().start, notes.back().end);
    const std::vector<TickSpan> ticks = Quantize(spans, beats.times, counting.Division());

    // The last bar line at the first note or before it; where most of its bar would be rests, the first note.
    const int bar = counting.BeatsPerBar() * kTicksPerBeat;
    const int64_t firstLine = int64_t{beats.barLine} * kTicksPerBeat;
    const int64_t first = ticks.front().start;
    int64_t origin =
        firstLine + static_cast<int64_t>(std::floor(static_cast<double>(first - firstLine) / bar)) * bar;
    const double scale = counting.quartersPerBeat / kTicksPerBeat;
    const int64_t before = origin + bar - first;  // ticks of the first note's bar that are sung
    if (before < bar && static_cast<double>(before) <= kLongestUpbeat * bar) {
        melody.upbeat = static_cast<double>(before) * scale;
        origin = first;
    }
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double middle = 0.5 * (notes[i].start + notes[i].end);
        WrittenNote note;
        note.onset = static_cast<double>(ticks[i].start - origin) * scale;
        note.length = static_cast<double>(ticks[i].end - ticks[i].start) * scale;
        note.pitch = std::clamp(tuning.NearestNote(notes[i].pitch, middle), 0, 127);
        note.start = notes[i].start;
        note.end = notes[i].end;
        note.lead = meant[i].lead;
        melody.notes.push_back(std::move(note));
    }
    const auto lastBeat = static_cast<int>((ticks.back().end + kTicksPerBeat - 1) / kTicksPerBeat);
    melody.tempo = TempoOf(beats, counting, static_cast<double>(origin) / kTicksPerBeat, lastBeat,
                           melody.upbeat / counting.quartersPerBeat);
    if (options.bpm > 0.0) {
        melody.tempo.resize(1);
        melody.tempo[0].bpm = options.bpm;
    }
    return melody;
}

Chord ToChord(const HeardChord& heard, int key) {
    Chord chord;
    chord.root = heard.root;
    chord.intervals = TonesOf(heard.kind);
    chord.name = ChordName(chord.root, chord.intervals, -1, Spell(chord.root, key).alter < 0);
    return chord;
}

Melody TranscribeTake(const Take& take, const TranscribeOptions& options) {
    const std::vector<SungNote>& notes = take.measuredNotes();
    Melody melody = Transcribe(notes, Tuning::OfSinger(notes), options);
    melody.curve = take.curve();
    return melody;
}

}  // namespace mlh::choir
