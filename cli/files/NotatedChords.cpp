#include "files/NotatedChords.h"

#include <algorithm>
#include <cmath>
#include <pugixml.hpp>
#include <utility>

#include "choir/chords/HarmonyElement.h"
#include "choir/score/Tempo.h"

namespace mlh::cli {

namespace {

using pugi::xml_node;

constexpr double kSlowest = 1.0;  // [beats a minute] what is outside is a slip
constexpr double kFastest = 1000.0;

struct PlacedElement {
    double beat;  // quarter notes
    int measure;  // from 1
    HarmonyElement element;
};

HarmonyDegree DegreeOf(const xml_node& node) {
    const std::string type = node.child_value("degree-type");
    return {node.child("degree-value").text().as_int(), node.child("degree-alter").text().as_int(),
            type == "subtract" ? HarmonyDegree::Change::Subtract
            : type == "alter"  ? HarmonyDegree::Change::Alter
                               : HarmonyDegree::Change::Add};
}

HarmonyElement ElementOf(const xml_node& node) {
    HarmonyElement element;
    element.rootStep = node.child("root").child_value("root-step")[0];
    element.rootAlter = node.child("root").child("root-alter").text().as_int();
    element.kind = node.child_value("kind");
    element.kindText = node.child("kind").attribute("text").value();
    for (const xml_node& degree : node.children("degree")) {
        element.degrees.push_back(DegreeOf(degree));
    }
    element.bassStep = node.child("bass").child_value("bass-step")[0];
    element.bassAlter = node.child("bass").child("bass-alter").text().as_int();
    return element;
}

// Walks through a part: what sounds when, in quarter notes.
class PartReader {
  public:
    void Read(const xml_node& part) {
        for (const xml_node& measure : part.children("measure")) {
            ++measure_;
            double end = start_;
            at_ = start_;
            for (const xml_node& node : measure.children()) {
                ReadNode(node);
                end = std::max(end, at_);
            }
            start_ = end;
        }
    }

    const std::vector<PlacedElement>& elements() const { return elements_; }
    const TempoMap& tempo() const { return tempo_; }

  private:
    double Beats(const xml_node& node) const { return node.text().as_double() / divisions_; }

    void ReadNode(const xml_node& node) {
        const std::string name = node.name();
        if (name == "attributes") {
            const double divisions = node.child("divisions").text().as_double();
            if (divisions > 0.0) {
                divisions_ = divisions;
            }
        } else if (name == "note") {
            if (!node.child("chord") && !node.child("grace")) {
                at_ += Beats(node.child("duration"));
            }
        } else if (name == "backup") {
            at_ = std::max(start_, at_ - Beats(node.child("duration")));
        } else if (name == "forward") {
            at_ += Beats(node.child("duration"));
        } else if (name == "harmony") {
            elements_.push_back({at_ + Beats(node.child("offset")), measure_, ElementOf(node)});
        } else if (name == "sound" || name == "direction") {
            const xml_node sound = name == "sound" ? node : node.child("sound");
            const double bpm = sound.attribute("tempo").as_double();
            if (bpm >= kSlowest && bpm <= kFastest) {
                AddTempo(at_ + Beats(node.child("offset")), bpm);
            }
        }
    }

    void AddTempo(double beat, double bpm) {
        if (beat <= tempo_.back().beat) {
            tempo_.back().bpm = bpm;
        } else {
            tempo_.push_back({beat, bpm, 4, 4});
        }
    }

    int measure_ = 0;
    double divisions_ = 1.0;  // of a quarter note
    double start_ = 0.0;      // of the measure [quarter notes]
    double at_ = 0.0;
    std::vector<PlacedElement> elements_;
    TempoMap tempo_ = {{}};
};

}  // namespace

std::vector<TimedChord> ReadNotatedChords(const std::string& xml, const std::string& source, double bpm) {
    pugi::xml_document document;
    const auto parsed = document.load_buffer(xml.data(), xml.size());
    const xml_node score = document.child("score-partwise");
    if (!parsed || !score) {
        throw UsageError(source + ": cannot read it; sheet music must be partwise MusicXML");
    }

    TempoMap tempo = {{}};
    std::vector<PlacedElement> elements;
    bool first = true;
    for (const xml_node& part : score.children("part")) {
        PartReader reader;
        reader.Read(part);
        if (std::exchange(first, false)) {
            tempo = reader.tempo();  // tempos are in the first part
        }
        elements = reader.elements();
        if (!elements.empty()) {
            break;
        }
    }
    if (elements.empty()) {
        throw UsageError(source + ": there is no chord in it");
    }
    if (bpm > 0.0) {
        tempo = {{0.0, bpm, 4, 4}};
    }

    std::vector<TimedChord> chords;
    for (const PlacedElement& placed : elements) {
        const double time = SecondsAt(tempo, std::max(placed.beat, 0.0));
        if (!std::isfinite(time)) {
            throw UsageError(source + ": a duration is no number");
        }
        try {
            chords.push_back({time, ReadHarmonyElement(placed.element)});
        } catch (const ChordTextError& error) {
            throw UsageError(source + ", measure " + std::to_string(placed.measure) + ": " + error.what());
        }
    }
    std::stable_sort(chords.begin(), chords.end(),
                     [](const TimedChord& a, const TimedChord& b) { return a.time < b.time; });
    return chords;
}

}  // namespace mlh::cli
