#include "files/MusicXml.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <pugixml.hpp>
#include <sstream>

#include "Errors.h"
#include "choir/chords/HarmonyElement.h"
#include "choir/score/Grid.h"
#include "choir/score/Music.h"
#include "files/OutputFile.h"
#include "mlh/arrange.h"

namespace mlh::cli {

namespace {

using pugi::xml_node;

struct NoteValue {
    int length;  // [divisions]
    const char* type;
    int dots;
    bool triplet;
};

// Largest first; straight values before triplets.
constexpr std::array<NoteValue, 18> kValues = {{{144, "whole", 1, false},
                                                {96, "whole", 0, false},
                                                {72, "half", 1, false},
                                                {48, "half", 0, false},
                                                {36, "quarter", 1, false},
                                                {24, "quarter", 0, false},
                                                {18, "eighth", 1, false},
                                                {12, "eighth", 0, false},
                                                {9, "16th", 1, false},
                                                {6, "16th", 0, false},
                                                {3, "32nd", 0, false},
                                                {64, "whole", 0, true},
                                                {32, "half", 0, true},
                                                {16, "quarter", 0, true},
                                                {8, "eighth", 0, true},
                                                {4, "16th", 0, true},
                                                {2, "32nd", 0, true},
                                                {1, "64th", 0, true}}};

const NoteValue* ValueOf(int length) {
    const auto found = std::find_if(kValues.begin(), kValues.end(),
                                    [&](const NoteValue& value) { return value.length == length; });
    return found == kValues.end() ? nullptr : &*found;
}

// The fewest note values that make up a length, longest first: one or two, else the longest and so on.
std::vector<NoteValue> ValuesFor(int length) {
    std::vector<NoteValue> values;
    while (length > 0) {
        if (const NoteValue* whole = ValueOf(length)) {
            values.push_back(*whole);
            break;
        }
        const NoteValue* longest = nullptr;
        const NoteValue* ofPair = nullptr;
        for (const NoteValue& value : kValues) {
            if (value.length > length) {
                continue;
            }
            if (longest == nullptr) {
                longest = &value;
            }
            if (ofPair == nullptr && ValueOf(length - value.length) != nullptr) {
                ofPair = &value;
            }
        }
        values.push_back(ofPair ? *ofPair : *longest);
        length -= values.back().length;
    }
    return values;
}

struct Bar {
    int start = 0;  // [divisions]
    int end = 0;
    TempoChange metre;
    bool upbeat = false;
};

// Whole divisions, or the whole note of a metre that has none.
int BarLength(const TempoChange& metre) {
    const double length = metre.BarLength() * kDivisions;
    return length == std::floor(length) ? static_cast<int>(length) : 4 * kDivisions;
}

std::vector<Bar> BarsOf(const Score& score, int end) {
    std::vector<Bar> bars;
    const int upbeat = static_cast<int>(std::lround(score.upbeat * kDivisions));
    for (int start = 0; start < end || bars.empty();) {
        Bar bar;
        for (const TempoChange& change : score.tempo) {
            if (change.beat * kDivisions <= start + 0.5) {
                bar.metre = change;
            }
        }
        bar.upbeat = bars.empty() && upbeat > 0 && upbeat < BarLength(bar.metre);
        bar.start = start;
        bar.end = start + (bar.upbeat ? upbeat : BarLength(bar.metre));
        start = bar.end;
        bars.push_back(bar);
    }
    return bars;
}

void Add(xml_node parent, const char* name, const std::string& text) {
    parent.append_child(name).text().set(text.c_str());
}
void Add(xml_node parent, const char* name, int value) { parent.append_child(name).text().set(value); }

std::string Decimal(double value) {
    std::ostringstream text;
    text << std::round(value * 1000.0) / 1000.0;
    return text.str();
}

// A note or, with pitch -1, a rest of one staff.
struct StaffNote {
    GridNote at;
    int pitch = -1;
    std::optional<Spelling> spelling = {};
};

// A voice on the grid of the melody. What the melody has a note for and the voice has none is a rest of its
// own.
std::vector<StaffNote> StaffOf(const Score& score, const ScoreVoice& voice,
                               const std::vector<GridNote>& melody) {
    std::vector<StaffNote> staff;
    std::size_t next = 0;
    const auto restUntil = [&](std::size_t lead) {
        for (; next < lead; ++next) {
            staff.push_back({melody[next]});
        }
    };
    for (const ScoreNote& note : voice.notes) {
        const auto lead = static_cast<std::size_t>(note.lead);
        restUntil(lead);
        next = lead + 1;
        const ScoreNote& with = score.melody[lead];
        const GridNote& at = melody[lead];
        const double withEnd = with.onset + with.length;
        const double end = note.onset + note.length;
        const int from = note.onset == with.onset ? at.start : NearestDivision(note.onset);
        const int to = end == withEnd ? at.end : NearestDivision(end);
        staff.push_back({{std::clamp(from, at.start, at.end), std::clamp(to, at.start, at.end)},
                         note.note,
                         note.spelling});
    }
    restUntil(melody.size());
    return staff;
}

// Parts of a note or rest as they are read at sight: one that starts off the beat ends with it, but for a
// quarter note between eighths; one on a beat is as long as one sign can be. `beat` is the length of what is
// counted, `middle` that of half a bar, where there is one [divisions]; times count from the bar's start.
std::vector<int> PartsAtSight(int from, int to, int beat, int middle) {
    std::vector<int> parts;
    for (int at = from; at < to;) {
        const int off = at % beat;
        const int left = to - at;
        int length = left;
        if (off != 0) {
            const int toBeat = beat - off;
            const bool syncopated = beat == kDivisions && off == beat / 2 && left == beat &&
                                    (middle == 0 || (at + toBeat) % middle != 0);
            length = syncopated ? left : std::min(left, toBeat);
        } else if (left > beat && left != beat * 3 / 2) {
            const int beats = left / beat;
            length = beat * (beats >= 4 ? 4 : beats == 3 && beat == kDivisions ? 3 : std::min(beats, 2));
        } else if (left == beat * 3 / 2 && beat != kDivisions) {
            length = beat;
        }
        parts.push_back(length);
        at += length;
    }
    return parts;
}

class ScoreWriter {
  public:
    explicit ScoreWriter(const Score& score) : score_(score), key_(score.key ? SignatureKey(*score.key) : 0) {
        std::vector<BeatSpan> spans;
        for (const ScoreNote& note : score.melody) {
            spans.push_back({note.onset, note.length});
        }
        grid_ = PutOnGrid(spans);
        for (const ScoreVoice& voice : score.voices) {
            staves_.push_back(StaffOf(score, voice, grid_));
        }
        bars_ = BarsOf(score, grid_.empty() ? 0 : grid_.back().end);
        for (const ScoreChord& symbol : score.symbols) {
            symbolTimes_.push_back(TimeOf(symbol.beat));
        }
    }

    void Write(const std::string& path) {
        xml_node declaration = document_.append_child(pugi::node_declaration);
        declaration.append_attribute("version") = "1.0";
        declaration.append_attribute("encoding") = "UTF-8";
        document_.append_child(pugi::node_doctype)
            .set_value(
                "score-partwise PUBLIC \"-//Recordare//DTD MusicXML 4.0 Partwise//EN\" "
                "\"http://www.musicxml.org/dtds/partwise.dtd\"");
        xml_node score = document_.append_child("score-partwise");
        score.append_attribute("version") = "4.0";
        Add(score.append_child("work"), "work-title", score_.title);
        AddPartList(score.append_child("part-list"));
        for (std::size_t v = 0; v < score_.voices.size(); ++v) {
            AddPart(score, v);
        }

        OutputFile file(path);
        if (!document_.save_file(file.temporaryPath().c_str(), "  ")) {
            throw file.CannotWrite();
        }
        file.Commit();
    }

  private:
    static std::string PartName(std::size_t voice) {
        std::string name = "P";
        name += std::to_string(voice + 1);
        return name;
    }

    // The staves of a choir stand in a bracket.
    void AddPartList(xml_node list) {
        xml_node open = list.append_child("part-group");
        open.append_attribute("type") = "start";
        Add(open, "group-symbol", "bracket");
        for (std::size_t v = 0; v < score_.voices.size(); ++v) {
            xml_node part = list.append_child("score-part");
            part.append_attribute("id") = PartName(v).c_str();
            Add(part, "part-name", score_.voices[v].name);
        }
        list.append_child("part-group").append_attribute("type") = "stop";
    }

    void AddPart(xml_node score, std::size_t voice) {
        xml_node part = score.append_child("part");
        part.append_attribute("id") = PartName(voice).c_str();
        int number = bars_[0].upbeat ? 0 : 1;
        std::size_t note = 0;
        for (std::size_t b = 0; b < bars_.size(); ++b) {
            xml_node measure = part.append_child("measure");
            measure.append_attribute("number") = number++;
            if (bars_[b].upbeat) {
                measure.append_attribute("implicit") = "yes";
            }
            AddAttributes(measure, b, voice);
            if (voice == 0) {
                AddTempo(measure, bars_[b]);
            }
            AddBar(measure, bars_[b], voice, note);
            BracketTriplets(measure);
            if (b + 1 == bars_.size()) {
                xml_node line = measure.append_child("barline");
                line.append_attribute("location") = "right";
                Add(line, "bar-style", "light-heavy");
            }
        }
    }

    // Divisions, key and clef at the start, the metre where it changes.
    void AddAttributes(xml_node measure, std::size_t b, std::size_t voice) {
        const TempoChange& metre = bars_[b].metre;
        if (b > 0 && metre.beatsPerBar == bars_[b - 1].metre.beatsPerBar &&
            metre.beatUnit == bars_[b - 1].metre.beatUnit) {
            return;
        }
        xml_node attributes = measure.append_child("attributes");
        if (b == 0) {
            Add(attributes, "divisions", kDivisions);
            xml_node key = attributes.append_child("key");
            Add(key, "fifths", KeySharps(key_));
            Add(key, "mode", ModeName());
        }
        const bool writable = metre.BarLength() * kDivisions == BarLength(metre);
        xml_node time = attributes.append_child("time");
        Add(time, "beats", writable ? metre.beatsPerBar : 4);
        Add(time, "beat-type", writable ? metre.beatUnit : 4);
        if (b == 0) {
            AddClef(attributes, score_.voices[voice]);
        }
    }

    // Church modes have names in the format; other scales go by their third.
    std::string ModeName() const {
        constexpr int kLastChurchMode = 6;
        const int scale = score_.key ? score_.key->scale : 0;
        if (scale <= kLastChurchMode) {
            return mlh::ScaleNames()[static_cast<std::size_t>(scale)];
        }
        return key_ < 12 ? "major" : "minor";
    }

    // The one with the fewest ledger lines: treble, treble an octave down, or bass.
    static void AddClef(xml_node attributes, const ScoreVoice& voice) {
        double sum = 0.0;
        for (const ScoreNote& note : voice.notes) {
            sum += note.note;
        }
        const double mean = voice.notes.empty() ? 71.0 : sum / static_cast<double>(voice.notes.size());
        xml_node clef = attributes.append_child("clef");
        Add(clef, "sign", mean < 53.0 ? "F" : "G");
        Add(clef, "line", mean < 53.0 ? 4 : 2);
        if (mean >= 53.0 && mean < 60.0) {
            Add(clef, "clef-octave-change", -1);
        }
    }

    void AddTempo(xml_node measure, const Bar& bar) {
        for (const TempoChange& change : score_.tempo) {
            const int at = static_cast<int>(std::lround(change.beat * kDivisions));
            if (at < bar.start || at >= bar.end) {
                continue;
            }
            // How a singer drifts is played, but nobody reads it.
            if (score_.sung && change.beat > 0.0) {
                measure.append_child("sound").append_attribute("tempo") = Decimal(change.bpm).c_str();
                continue;
            }
            const bool dotted = score_.sung && change.beatUnit == 8;
            const double shown = score_.sung ? std::round(MeanTempo() / (dotted ? 1.5 : 1.0)) : change.bpm;
            xml_node direction = measure.append_child("direction");
            direction.append_attribute("placement") = "above";
            xml_node metronome = direction.append_child("direction-type").append_child("metronome");
            Add(metronome, "beat-unit", "quarter");
            if (dotted) {
                metronome.append_child("beat-unit-dot");
            }
            Add(metronome, "per-minute", Decimal(shown));
            if (at > bar.start) {
                Add(direction, "offset", at - bar.start);
            }
            direction.append_child("sound").append_attribute("tempo") = Decimal(change.bpm).c_str();
        }
    }

    // Of the whole score, in quarter notes a minute.
    double MeanTempo() const {
        const double beats = grid_.empty() ? 0.0 : 1.0 * grid_.back().end / kDivisions;
        const double seconds = SecondsAt(score_.tempo, beats);
        return seconds > 0.0 ? 60.0 * beats / seconds : score_.tempo[0].bpm;
    }

    // Notes and rests from the bar's start to its end. `note` is the first of the staff that does not end
    // before it.
    void AddBar(xml_node measure, const Bar& bar, std::size_t voice, std::size_t& note) {
        const std::vector<StaffNote>& staff = staves_[voice];
        int at = bar.start;
        while (at < bar.end) {
            while (note < staff.size() && staff[note].at.end <= at) {
                ++note;
            }
            const bool rests = note == staff.size() || staff[note].at.start > at;
            const int next = note == staff.size() ? bar.end
                             : rests              ? staff[note].at.start
                                                  : staff[note].at.end;
            const int end = std::min(next, bar.end);
            if (voice == 0) {
                AddHarmonies(measure, at, end);
            }
            if (rests) {
                AddRest(measure, bar, at, end, end - at == bar.end - bar.start);
            } else {
                AddNote(measure, bar, staff[note], at, end);
            }
            at = end;
        }
    }

    // The signs of a stretch of a bar. What was written keeps the fewest signs; what was sung is cut so that
    // it can be read.
    std::vector<NoteValue> Signs(const Bar& bar, int from, int to) const {
        if (!score_.sung) {
            return ValuesFor(to - from);
        }
        const int length = BarLength(bar.metre);
        const int counted = bar.end - length;  // where the bar would start if it were full
        const int beat = bar.metre.beatUnit == 8 ? 3 * kDivisions / 2 : kDivisions;
        const int middle = length == 4 * kDivisions ? length / 2 : 0;
        std::vector<NoteValue> signs;
        for (const int part : PartsAtSight(from - counted, to - counted, beat, middle)) {
            for (const NoteValue& value : ValuesFor(part)) {
                signs.push_back(value);
            }
        }
        return signs;
    }

    void AddRest(xml_node measure, const Bar& bar, int from, int to, bool wholeBar) {
        if (wholeBar) {
            xml_node note = measure.append_child("note");
            note.append_child("rest").append_attribute("measure") = "yes";
            Add(note, "duration", to - from);
            Add(note, "voice", 1);
            return;
        }
        for (const NoteValue& value : Signs(bar, from, to)) {
            xml_node note = measure.append_child("note");
            note.append_child("rest");
            Add(note, "duration", value.length);
            AddValue(note, value);
        }
    }

    void AddNote(xml_node measure, const Bar& bar, const StaffNote& staffNote, int start, int end) {
        if (staffNote.pitch < 0) {
            return AddRest(measure, bar, start, end, false);
        }
        int at = start;
        for (const NoteValue& value : Signs(bar, start, end)) {
            const bool fromBefore = at > staffNote.at.start;
            at += value.length;
            const bool goesOn = at < staffNote.at.end;
            xml_node note = measure.append_child("note");
            AddPitch(note.append_child("pitch"), staffNote);
            Add(note, "duration", value.length);
            if (fromBefore) {
                note.append_child("tie").append_attribute("type") = "stop";
            }
            if (goesOn) {
                note.append_child("tie").append_attribute("type") = "start";
            }
            AddValue(note, value);
            if (!fromBefore && !goesOn) {
                continue;
            }
            xml_node notations = note.append_child("notations");
            if (fromBefore) {
                notations.append_child("tied").append_attribute("type") = "stop";
            }
            if (goesOn) {
                notations.append_child("tied").append_attribute("type") = "start";
            }
        }
    }

    static void AddValue(xml_node note, const NoteValue& value) {
        Add(note, "voice", 1);
        Add(note, "type", value.type);
        for (int d = 0; d < value.dots; ++d) {
            note.append_child("dot");
        }
        if (!value.triplet) {
            return;
        }
        xml_node modification = note.append_child("time-modification");
        Add(modification, "actual-notes", 3);
        Add(modification, "normal-notes", 2);
    }

    // Triplets in a row that fill an eighth note or more together stand under a bracket.
    static void BracketTriplets(xml_node measure) {
        std::vector<xml_node> group;
        int length = 0;
        for (xml_node note : measure.children("note")) {
            if (!note.child("time-modification")) {
                group.clear();
                length = 0;
                continue;
            }
            group.push_back(note);
            length += note.child("duration").text().as_int();
            if (length % (kDivisions / 2) != 0) {
                continue;
            }
            if (group.size() > 1) {
                AddTuplet(group.front(), "start");
                AddTuplet(group.back(), "stop");
            }
            group.clear();
            length = 0;
        }
    }

    static void AddTuplet(xml_node note, const char* type) {
        xml_node notations = note.child("notations");
        if (!notations) {
            notations = note.append_child("notations");
        }
        notations.append_child("tuplet").append_attribute("type") = type;
    }

    void AddPitch(xml_node node, const StaffNote& note) {
        const Spelling spelling = note.spelling.value_or(Spell(note.pitch % 12, key_));
        Add(node, "step", std::string(1, spelling.step));
        if (spelling.alter != 0) {
            Add(node, "alter", spelling.alter);
        }
        Add(node, "octave", (note.pitch - spelling.alter + 12) / 12 - 2);
    }

    // A symbol is where its note is.
    int TimeOf(double beat) const {
        const auto& notes = score_.melody;
        const auto note = std::lower_bound(notes.begin(), notes.end(), beat,
                                           [](const ScoreNote& n, double b) { return n.onset < b; });
        const bool starts = note != notes.end() && note->onset == beat;
        return starts ? grid_[static_cast<std::size_t>(note - notes.begin())].start : NearestDivision(beat);
    }

    // The symbols from `from` on and before `to`, from where the element is.
    void AddHarmonies(xml_node measure, int from, int to) {
        for (; nextSymbol_ < symbolTimes_.size() && symbolTimes_[nextSymbol_] < to; ++nextSymbol_) {
            AddHarmony(measure, score_.symbols[nextSymbol_], std::max(symbolTimes_[nextSymbol_] - from, 0));
        }
    }

    void AddHarmony(xml_node measure, const ScoreChord& symbol, int offset) {
        const Chord& chord = symbol.chord;
        if (chord.root < 0) {
            return;
        }
        xml_node harmony = measure.append_child("harmony");
        AddDegree(harmony.append_child("root"), "root-step", "root-alter",
                  symbol.root.value_or(Spell(chord.root, key_)));
        xml_node kind = harmony.append_child("kind");
        const std::string name = HarmonyKindOf(chord.intervals);
        kind.text().set(name.c_str());
        if (name == "other") {
            kind.append_attribute("text") = ChordSuffix(chord.intervals).c_str();
        }
        if (chord.bass >= 0 && chord.bass != chord.root) {
            AddDegree(harmony.append_child("bass"), "bass-step", "bass-alter",
                      symbol.bass.value_or(Spell(chord.bass, key_)));
        }
        if (offset > 0) {
            Add(harmony, "offset", offset);
        }
    }

    static void AddDegree(xml_node node, const char* step, const char* alter, const Spelling& spelling) {
        Add(node, step, std::string(1, spelling.step));
        if (spelling.alter != 0) {
            Add(node, alter, spelling.alter);
        }
    }

    const Score& score_;
    std::vector<GridNote> grid_;                  // of the melody
    std::vector<std::vector<StaffNote>> staves_;  // of the voices
    std::vector<Bar> bars_;
    std::vector<int> symbolTimes_;  // [divisions]
    std::size_t nextSymbol_ = 0;
    int key_;
    pugi::xml_document document_;
};

}  // namespace

void WriteMusicXml(const std::string& path, const Score& score) { ScoreWriter(score).Write(path); }

}  // namespace mlh::cli
