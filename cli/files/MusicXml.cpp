#include "files/MusicXml.h"

#include <algorithm>
#include <array>
#include <cmath>
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

std::vector<Bar> BarsOf(const Melody& melody, int end) {
    std::vector<Bar> bars;
    const int upbeat = static_cast<int>(std::lround(melody.upbeat * kDivisions));
    for (int start = 0; start < end || bars.empty();) {
        Bar bar;
        for (const TempoChange& change : melody.tempo) {
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

class ScoreWriter {
  public:
    explicit ScoreWriter(const Arrangement& arrangement)
        : arrangement_(arrangement),
          grid_(PutOnGrid(arrangement.melody)),
          bars_(BarsOf(arrangement.melody, grid_.empty() ? 0 : grid_.back().end)),
          key_(SignatureKey(arrangement.key)) {}

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
        Add(score.append_child("work"), "work-title", arrangement_.melody.title);
        AddPartList(score.append_child("part-list"));
        for (std::size_t v = 0; v < arrangement_.voices.size(); ++v) {
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
        for (std::size_t v = 0; v < arrangement_.voices.size(); ++v) {
            xml_node part = list.append_child("score-part");
            part.append_attribute("id") = PartName(v).c_str();
            Add(part, "part-name", arrangement_.voices[v].name);
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
            AddClef(attributes, arrangement_.voices[voice]);
        }
    }

    // Church modes have names in the format; other scales go by their third.
    std::string ModeName() const {
        constexpr int kLastChurchMode = 6;
        const int scale = arrangement_.key.scale;
        if (scale <= kLastChurchMode) {
            return mlh::ScaleNames()[static_cast<std::size_t>(scale)];
        }
        return key_ < 12 ? "major" : "minor";
    }

    // The one with the fewest ledger lines: treble, treble an octave down, or bass.
    static void AddClef(xml_node attributes, const ArrangedVoice& voice) {
        const double mean = voice.MeanPitch() < 0.0 ? 71.0 : voice.MeanPitch();
        xml_node clef = attributes.append_child("clef");
        Add(clef, "sign", mean < 53.0 ? "F" : "G");
        Add(clef, "line", mean < 53.0 ? 4 : 2);
        if (mean >= 53.0 && mean < 60.0) {
            Add(clef, "clef-octave-change", -1);
        }
    }

    void AddTempo(xml_node measure, const Bar& bar) {
        for (const TempoChange& change : arrangement_.melody.tempo) {
            const int at = static_cast<int>(std::lround(change.beat * kDivisions));
            if (at < bar.start || at >= bar.end) {
                continue;
            }
            xml_node direction = measure.append_child("direction");
            direction.append_attribute("placement") = "above";
            xml_node metronome = direction.append_child("direction-type").append_child("metronome");
            Add(metronome, "beat-unit", "quarter");
            Add(metronome, "per-minute", Decimal(change.bpm));
            if (at > bar.start) {
                Add(direction, "offset", at - bar.start);
            }
            direction.append_child("sound").append_attribute("tempo") = Decimal(change.bpm).c_str();
        }
    }

    // Notes and rests from the bar's start to its end. `note` is the first that does not end before it.
    void AddBar(xml_node measure, const Bar& bar, std::size_t voice, std::size_t& note) {
        int at = bar.start;
        while (at < bar.end) {
            while (note < grid_.size() && grid_[note].end <= at) {
                ++note;
            }
            const bool rests = note == grid_.size() || grid_[note].start > at;
            const int next = note == grid_.size() ? bar.end : rests ? grid_[note].start : grid_[note].end;
            const int end = std::min(next, bar.end);
            if (rests) {
                AddRest(measure, end - at, end - at == bar.end - bar.start);
            } else {
                if (voice == 0 && at == grid_[note].start) {
                    AddHarmony(measure, note);
                }
                AddNote(measure, note, voice, at, end);
            }
            at = end;
        }
    }

    void AddRest(xml_node measure, int length, bool wholeBar) {
        if (wholeBar) {
            xml_node note = measure.append_child("note");
            note.append_child("rest").append_attribute("measure") = "yes";
            Add(note, "duration", length);
            Add(note, "voice", 1);
            return;
        }
        for (const NoteValue& value : ValuesFor(length)) {
            xml_node note = measure.append_child("note");
            note.append_child("rest");
            Add(note, "duration", value.length);
            AddValue(note, value);
        }
    }

    void AddNote(xml_node measure, std::size_t index, std::size_t voice, int start, int end) {
        const int pitch = arrangement_.voices[voice].pitches[index];
        if (pitch < 0) {
            return AddRest(measure, end - start, false);
        }
        int at = start;
        for (const NoteValue& value : ValuesFor(end - start)) {
            const bool fromBefore = at > grid_[index].start;
            at += value.length;
            const bool goesOn = at < grid_[index].end;
            xml_node note = measure.append_child("note");
            AddPitch(note.append_child("pitch"), pitch);
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

    void AddPitch(xml_node node, int pitch) {
        const Spelling spelling = Spell(pitch % 12, key_);
        Add(node, "step", std::string(1, spelling.step));
        if (spelling.alter != 0) {
            Add(node, "alter", spelling.alter);
        }
        Add(node, "octave", (pitch - spelling.alter + 12) / 12 - 2);
    }

    void AddHarmony(xml_node measure, std::size_t note) {
        const Chord& chord = arrangement_.chords[note];
        if (chord.root < 0) {
            return;
        }
        if (note > 0 && arrangement_.chords[note - 1].name == chord.name) {
            return;
        }
        xml_node harmony = measure.append_child("harmony");
        AddDegree(harmony.append_child("root"), "root-step", "root-alter", chord.root);
        xml_node kind = harmony.append_child("kind");
        kind.text().set(HarmonyKindOf(chord.intervals));
        if (chord.bass < 0 || chord.bass == chord.root) {
            return;
        }
        AddDegree(harmony.append_child("bass"), "bass-step", "bass-alter", chord.bass);
    }

    void AddDegree(xml_node node, const char* step, const char* alter, int pitchClass) {
        const Spelling spelling = Spell(pitchClass, key_);
        Add(node, step, std::string(1, spelling.step));
        if (spelling.alter != 0) {
            Add(node, alter, spelling.alter);
        }
    }

    const Arrangement& arrangement_;
    std::vector<GridNote> grid_;
    std::vector<Bar> bars_;
    int key_;
    pugi::xml_document document_;
};

}  // namespace

void WriteMusicXml(const std::string& path, const Arrangement& arrangement) {
    ScoreWriter(arrangement).Write(path);
}

}  // namespace mlh::cli
