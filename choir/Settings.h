// How a choir is to sing: one value per wish, each with its default.
//
// The same names, as JSON, are the settings document (choir/document/SettingsDocument.h), which says what
// each of them does.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "choir/Types.h"
#include "choir/mix/FullScale.h"
#include "choir/mix/Mix.h"
#include "choir/render/Renderer.h"
#include "choir/score/Melody.h"
#include "choir/score/Performance.h"
#include "mlh/arrange.h"

namespace mlh::choir {

enum class Style {
    Core,      // the core's automatic way, from its chords or those given
    Choir,     // the singer's own grid, exact chords, people: what the rooms of this library decide
    FourPart,  // this and the rest are those of mlh/arrange.h, sung note by note
    Intervals,
    Block,
    Fourths,
    Fixed,
    Double,
};

enum class TuningGrid { Singer, Reference };
enum class Snap { None, Scale };
// Where chords come from when none are typed. Auto: as the style has it, which for the choir is what comes
// with the melody (Given), else what its notes suggest (Tracker), and for four parts the engine's own harmony
// (Core).
enum class ChordSource { Auto, Tracker, Core, Given };

// A change of what one voice sings, by hand.
struct Edit {
    int voice = 0;                // 0 is the first voice beside the lead
    std::optional<int> note;      // index of the voice's note ...
    std::optional<double> time;   // ... or the note that sounds at that time [s]
    std::optional<double> pitch;  // MIDI scale
    double delta = 0.0;           // [semitones] on top
    double levelDb = 0.0;         // [dB] on top
    bool mute = false;
};

struct Settings {
    Style style = Style::Choir;
    int voices = 4;  // beside the lead, the first on the lead's own line: 2 to 4; with tracks 1 to 4
    // Harmony voices above the lead, 0 to 3. Without a number style choir goes by the room that the lead has,
    // the other styles have one.
    std::optional<int> above;
    double spread = 0.5;           // 0 close to 1 wide
    std::optional<MelodyKey> key;  // else the one that is found
    std::optional<int> scale;      // row of ScaleNames(), else that of the key

    std::vector<TimedChord> chords;  // else from the melody alone
    ChordSource chordsFrom = ChordSource::Auto;
    double bpm = 0.0;  // 0 none
    int beatsPerBar = 4;
    std::vector<NoteLine>
        tracks;  // notes for the voices instead of chords: a track each, a lone one is dealt out

    // Single styles, as in mlh/arrange.h.
    int leadRow = 3;
    int spacing = 1;
    int variant = 0;
    std::array<int32_t, 4> intervals = {0, 2, -2, -3};
    int interval = 12;

    TuningGrid tuning = TuningGrid::Singer;
    double referenceHz = 440.0;  // with TuningGrid::Reference
    bool just = false;           // pure intervals on long notes
    Snap snap = Snap::None;
    std::optional<double> correction;  // 0 as sung to 1 on the grid; else 0, with a fixed grid 1
    // One for all voices, or one per voice; none leave each as it is.
    std::vector<double> vibrato;  // share of the singer's pitch movement, 0 to 2
    std::vector<double> glide;    // scale of the glides between notes, 0 to 2
    std::vector<double> formant;  // [semitones] -12 to 12
    double humanize = 0.5;        // 0 to 1
    uint64_t seed = 1;
    bool thinConsonants = false;
    std::vector<std::string> ranges;  // per voice: "auto", a voice type, or notes like E2-C5

    std::string mix;                              // a preset; empty: as the style has it
    std::vector<std::optional<double>> pan;       // per line, the lead first: -1 left to 1 right
    std::vector<std::optional<double>> levelDb;   // per line, the lead first: [dB] on top
    std::optional<std::vector<SideGains>> gains;  // per line, the lead first; instead of a preset
    Clip clip = Clip::Auto;                       // what becomes of what is above full scale
    Quality quality = Quality::Auto;

    std::vector<Edit> edits;
};

// The names that documents and options use, in the order of their enumerators or numbers. They are never
// freed, so that a host may ask until the process is gone.
using Names = std::vector<std::string>;
const Names& StyleNames();  // without the other name of Core, kOldNameOfCore
inline constexpr const char* kOldNameOfCore = "chords";
const Names& LeadRowNames();
const Names& SpacingNames();
// Of Block, Fourths and Fixed; null for the other styles.
const Names* VariantNames(Style style);
const Names& QualityNames();
const Names& ClipNames();

// "a, b, c".
std::string Joined(const Names& names);
// The name that is most like what was written.
const std::string& Nearest(const Names& names, const std::string& written);

ArrangeStyle ToArrangeStyle(Style style);
// The key asked for, else the melody's own, else the one that its notes suggest; with the scale asked for.
MelodyKey KeyFor(const Settings& settings, const Melody& melody);
// What of the settings concerns mlh::Arrange; the key is left alone.
ArrangeSettings ToArrangeSettings(const Settings& settings);

}  // namespace mlh::choir
