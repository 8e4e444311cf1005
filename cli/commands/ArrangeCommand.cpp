#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "Errors.h"
#include "Say.h"
#include "choir/document/Document.h"
#include "choir/document/SettingsDocument.h"
#include "choir/plan/SettingsOfPlan.h"
#include "choir/score/Score.h"
#include "commands/Commands.h"
#include "commands/StyleOptions.h"
#include "files/ChordFile.h"
#include "files/MelodyFile.h"
#include "files/MidiFile.h"
#include "files/MusicXml.h"
#include "files/OutputFile.h"
#include "picture/Picture.h"

namespace mlh::cli {

namespace {

struct ArrangeOptions {
    MelodySource source;
    StyleOptions style;
    bool styleGiven = false;
    std::string chords;
    std::string chordsFrom;
    std::string range;
    std::optional<int> voices;
    std::optional<int> above;
    std::optional<double> spread;
    std::optional<double> upbeat;
    int octave = 0;
    std::string midi;
    std::string musicXml;
    std::string csv;
    std::string json;
    std::string picture;
};

// What harmonize sings by default is what arrange writes.
constexpr const char* kDefaultStyle = "choir";

constexpr const char* kExamples = R"(Examples:
  mlh arrange lead.wav --musicxml choir.musicxml
  mlh arrange melody.mid --style four-part --musicxml parts.musicxml --midi parts.mid
  mlh arrange melody.mid --style four-part --chords "C | Am F | G | C" --musicxml parts.musicxml
  mlh arrange tune.tsv --key "D dorian" --spacing close --picture choir.svg
  mlh arrange melody.mid --lead tenor --octave -1 --key A --scale harmonic-minor
  mlh arrange melody.mid --chords "C | Am F | G | C" --voices 3 --picture choir.svg
  mlh arrange lead.wav --bpm 92 --style block --variant open-passing --json choir.json)";

Settings SettingsFrom(const ArrangeOptions& options) {
    StyleOptions style = options.style;
    // Who names one of four parts wants four parts.
    if (!options.styleGiven && (!style.lead.empty() || !style.spacing.empty())) {
        style.style = "four-part";
    }
    Settings settings = ToSettings(style);
    const bool choir = settings.style == Style::Choir || settings.style == Style::Core;
    const bool chords = choir || settings.style == Style::FourPart;
    const auto check = [](bool given, bool fits, const char* option, const char* styles) {
        if (given && !fits) {
            throw UsageError(std::string(option) + " is for --style " + styles);
        }
    };
    check(!options.chords.empty(), chords, "--chords", "choir, core and four-part");
    check(!options.chordsFrom.empty(), chords && settings.style != Style::Core, "--chords-from",
          "choir and four-part");
    check(options.voices.has_value(), choir, "--voices", "choir and core");
    check(options.above.has_value(), choir, "--above", "choir and core");
    check(options.spread.has_value(), choir, "--spread", "choir and core");
    check(!options.range.empty(), settings.style == Style::Choir, "--range", "choir");
    settings.voices = options.voices.value_or(settings.voices);
    if (options.above) {
        settings.above = options.above;
    }
    settings.spread = options.spread.value_or(settings.spread);
    for (const auto& [name, text] :
         {std::pair{"chords_from", options.chordsFrom}, {"range", options.range}}) {
        if (!text.empty()) {
            WithDashes([&, &name = name, &text = text] { TypeSetting(settings, name, text); });
        }
    }
    settings.key = GivenKey(style);
    return settings;
}

void MoveByOctaves(Melody& melody, int octaves) {
    for (WrittenNote& note : melody.notes) {
        note.pitch += 12 * octaves;
        if (note.pitch < 0 || note.pitch > 127) {
            throw UsageError("--octave: moves notes out of MIDI's range");
        }
    }
    for (CurvePoint& point : melody.curve) {
        point.pitch += 12.0 * octaves;
    }
}

void TellHead(const Score& score) {
    const bool found = score.key && score.key->found;
    std::printf("key     %s%s\n", score.key ? ScaleKeyName(*score.key).c_str() : "none found",
                !found            ? ""
                : score.sureOfKey ? " (estimated)"
                                  : " (not sure)");
    const TempoChange& start = score.tempo[0];
    std::printf("tempo   %g, %d/%d%s\n", score.sung ? std::round(start.bpm) : start.bpm, start.beatsPerBar,
                start.beatUnit, score.sung && score.tempo.size() > 1 ? ", not steady" : "");
    std::printf("style   %s\n", score.style.c_str());
    std::printf("notes   %zu\n\n", score.melody.size());
}

void WriteOutputs(const ArrangeOptions& options, const Score& score) {
    if (!options.midi.empty()) {
        WriteMidiFile(options.midi, ToSong(score));
    }
    if (!options.musicXml.empty()) {
        WriteMusicXml(options.musicXml, score);
    }
    if (!options.csv.empty()) {
        WriteTextFile(options.csv, ScoreAsCsv(score));
    }
}

// What the choir plans, and what the engines set.
void WriteScore(const ArrangeOptions& options, const Score& score) {
    WriteOutputs(options, score);
    if (!options.json.empty()) {
        WriteTextFile(options.json, ScoreDocument(score));
    }
    if (!options.picture.empty()) {
        DrawPicture(ToPerformance(score), options.picture);
    }
    if (!options.source.quiet) {
        TellHead(score);
        std::printf("%s", ScoreTable(score).c_str());
    }
}

void WriteScore(const ArrangeOptions& options, const Arrangement& arrangement) {
    const Score score = ToScore(arrangement);
    WriteOutputs(options, score);
    if (!options.json.empty()) {
        WriteTextFile(options.json, ScoreDocument(arrangement));
    }
    if (!options.picture.empty()) {
        DrawPicture(ToPerformance(arrangement), options.picture);
    }
    if (!options.source.quiet) {
        TellHead(score);
        std::printf("%s", ArrangementTable(arrangement).c_str());
    }
}

void Run(const ArrangeOptions& options) {
    Settings settings = SettingsFrom(options);
    CheckPicture(options.picture);
    CheckOutputs({options.source.path, options.chords},
                 {options.midi, options.musicXml, options.csv, options.json, options.picture});
    MelodySource source = options.source;
    if (settings.key) {
        source.key = KeyFor(settings, {});
    }
    Melody melody = ReadMelody(source);
    if (melody.sung && melody.notes.empty()) {
        Say(choir::kNoVoice);
    }
    if (options.upbeat) {
        melody.upbeat = *options.upbeat;
    }
    MoveByOctaves(melody, options.octave);
    const bool onChords = settings.style == Style::FourPart && !options.chords.empty();
    if (IsPlanned(settings) || onChords) {
        FindMissingKey(melody);
    }
    if (!options.chords.empty()) {
        const TempoChange& start = melody.tempo[0];
        // Of the metre's own beats. The bars of a recording are counted from its start, so they need a tempo.
        const double beatsPerMinute = melody.sung ? options.source.bpm : start.bpm * start.beatUnit / 4.0;
        const int key = ModeKey(KeyFor(settings, melody));
        settings.chords = ReadChordOption(options.chords, beatsPerMinute, start.beatsPerBar, key);
    }
    if (IsPlanned(settings)) {
        WriteScore(options, PlanScore(melody, settings));
    } else {
        WriteScore(options, Arrange(std::move(melody), settings));
    }
}

}  // namespace

void AddArrangeCommand(CLI::App& app) {
    auto options = std::make_shared<ArrangeOptions>();
    options->style.style = kDefaultStyle;
    CLI::App* command = app.add_subcommand("arrange", "Set a melody in voices, as notes");
    command->footer(kExamples);
    command
        ->add_option("MELODY", options->source.path,
                     "A MIDI file, a recording, or a table of onset, duration, pitch and chord")
        ->required();
    AddStyleOptions(*command, options->style);
    command->add_option("--key", options->style.key,
                        "C, F#m, Bb minor, D dorian ... (default: that of MELODY, else estimated)");
    command
        ->add_option("--chords", options->chords,
                     "choir, core, four-part: a file or text, as in harmonize (default: as --chords-from "
                     "says)")
        ->check(NotEmpty("it is empty; leave it out, or name chords or a file of chords"));
    command
        ->add_option("--chords-from", options->chordsFrom,
                     "choir, four-part: given (those of a table), tracker (from the melody), core, or auto "
                     "(default: choir takes given, else tracker; four-part finds its own harmony)")
        ->type_name("NAME");
    command->add_option("--range", options->range, HelpOf("range"))->type_name("LIST");
    command->add_option("--voices", options->voices, "choir, core: with the melody, 2 to 4 (default 4)")
        ->check(Between(2, 4));
    command->add_option("--above", options->above, "choir, core: voices above the melody, 0 to 3 (default 1)")
        ->check(Between(0, 3));
    command
        ->add_option("--spread", options->spread,
                     "choir, core: how widely they are set, 0 to 1 (default 0.5)")
        ->check(Between(0.0, 1.0));
    command
        ->add_option("--bpm", options->source.bpm,
                     "Quarter notes a minute (default: those of MELODY, found in a recording, else 120)")
        ->check(Between(1.0, 1000.0));
    command
        ->add_option("--upbeat", options->upbeat,
                     "Quarter notes before the first full bar (default: found in a recording, else 0)")
        ->check(Between(0.0, 64.0));
    command
        ->add_option("--octave", options->octave,
                     "Octaves to move the melody by, for a voice in which it does not lie yet (default 0)")
        ->check(Between(-5, 5));
    command
        ->add_option("--track", options->source.track,
                     "Which of a MIDI file's tracks with notes is the melody (default 1)")
        ->check(Between(1, 1000));
    command->add_option("--midi,--midi-out", options->midi, "Write a MIDI file, a track for each voice")
        ->type_name("FILE");
    command->add_option("--musicxml", options->musicXml, "Write sheet music for notation programs")
        ->type_name("FILE");
    command->add_option("--csv", options->csv, "Write the notes of all voices as a table")->type_name("FILE");
    command->add_option("--json", options->json, "Write everything found as JSON")->type_name("FILE");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_flag("--accept-damage", options->source.acceptDamage, kAcceptDamageHelp);
    command->add_flag("--quiet,-q", options->source.quiet, "Print nothing");
    auto* style = command->get_option("--style");
    command->callback([options, style] {
        options->styleGiven = style->count() > 0;
        Run(*options);
    });
}

}  // namespace mlh::cli
