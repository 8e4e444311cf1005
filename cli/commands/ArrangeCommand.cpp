#include <cstdio>
#include <memory>
#include <string>

#include "Errors.h"
#include "choir/document/Document.h"
#include "choir/score/Arrangement.h"
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
    std::string chords;
    std::optional<int> voices;
    std::optional<int> above;
    std::optional<double> spread;
    std::optional<double> upbeat;
    int octave = 0;
    std::string midi;
    std::string musicXml;
    std::string json;
    std::string picture;
};

constexpr const char* kExamples = R"(Examples:
  mlh arrange melody.mid --musicxml choir.musicxml --midi choir.mid
  mlh arrange tune.tsv --key "D dorian" --spacing close --picture choir.svg
  mlh arrange melody.mid --lead tenor --octave -1 --key A --scale harmonic-minor
  mlh arrange melody.mid --style chords --chords "C | Am F | G | C" --voices 3
  mlh arrange lead.wav --bpm 92 --style block --variant open-passing --json choir.json)";

Settings SettingsFrom(const ArrangeOptions& options) {
    Settings settings = ToSettings(options.style);
    if (settings.style == Style::Choir) {
        throw UsageError("--style choir is for harmonize");
    }
    const bool chords = settings.style == Style::Core;
    const auto check = [&](bool given, const char* option) {
        if (given && !chords) {
            throw UsageError(std::string(option) + " is for --style chords");
        }
    };
    check(!options.chords.empty(), "--chords");
    check(options.voices.has_value(), "--voices");
    check(options.above.has_value(), "--above");
    check(options.spread.has_value(), "--spread");
    settings.voices = options.voices.value_or(settings.voices);
    settings.above = options.above.value_or(settings.above);
    settings.spread = options.spread.value_or(settings.spread);
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

void Tell(const Arrangement& arrangement) {
    std::printf("key     %s%s\n", ScaleKeyName(arrangement.key).c_str(),
                arrangement.key.found ? " (estimated)" : "");
    const TempoChange& start = arrangement.melody.tempo[0];
    std::printf("tempo   %g, %d/%d\n", start.bpm, start.beatsPerBar, start.beatUnit);
    std::printf("style   %s\n", arrangement.style.c_str());
    std::printf("notes   %zu\n\n%s", arrangement.notes.size(), ArrangementTable(arrangement).c_str());
}

void Run(const ArrangeOptions& options) {
    Settings settings = SettingsFrom(options);
    settings.key = GivenKey(options.style);
    CheckPicture(options.picture);
    CheckOutputs({options.source.path, options.chords},
                 {options.midi, options.musicXml, options.json, options.picture});
    Melody melody = ReadMelody(options.source);
    if (options.upbeat) {
        melody.upbeat = *options.upbeat;
    }
    MoveByOctaves(melody, options.octave);
    if (!options.chords.empty()) {
        const TempoChange& start = melody.tempo[0];
        const double beatsPerMinute = start.bpm * start.beatUnit / 4.0;  // of the metre's own beats
        const int key = ModeKey(KeyFor(settings, melody));
        SetChords(melody, ReadChordOption(options.chords, beatsPerMinute, start.beatsPerBar, key));
    }
    const MelodyKey key = KeyFor(settings, melody);
    const Arrangement arrangement =
        ArrangeMelody(std::move(melody), key, ToArrangeSettings(settings), options.style.style);

    if (!options.midi.empty()) {
        WriteMidiFile(options.midi, ToSong(arrangement));
    }
    if (!options.musicXml.empty()) {
        WriteMusicXml(options.musicXml, arrangement);
    }
    if (!options.json.empty()) {
        WriteTextFile(options.json, ScoreDocument(arrangement));
    }
    if (!options.picture.empty()) {
        DrawPicture(ToPerformance(arrangement), options.picture);
    }
    if (!options.source.quiet) {
        Tell(arrangement);
    }
}

}  // namespace

void AddArrangeCommand(CLI::App& app) {
    auto options = std::make_shared<ArrangeOptions>();
    options->style.style = "four-part";
    CLI::App* command = app.add_subcommand("arrange", "Set a melody in voices, as notes");
    command->footer(kExamples);
    command
        ->add_option("MELODY", options->source.path,
                     "A MIDI file, a recording, or a table of onset, duration, pitch and chord")
        ->required();
    AddStyleOptions(*command, options->style);
    command->add_option("--key", options->style.key,
                        "C, F#m, Bb minor, D dorian ... (default: that of MELODY, else estimated)");
    command->add_option("--chords", options->chords,
                        "chords: a file or text, as in harmonize (default: those of a table, else from the "
                        "melody alone)");
    command->add_option("--voices", options->voices, "chords: with the melody, 2 to 4 (default 4)")
        ->check(Between(2, 4));
    command->add_option("--above", options->above, "chords: voices above the melody, 0 to 3 (default 1)")
        ->check(Between(0, 3));
    command->add_option("--spread", options->spread, "chords: how widely they are set, 0 to 1 (default 0.5)")
        ->check(Between(0.0, 1.0));
    command
        ->add_option("--bpm", options->source.bpm,
                     "Quarter notes a minute (default: those of MELODY, else 120)")
        ->check(Between(1.0, 1000.0));
    command->add_option("--upbeat", options->upbeat, "Quarter notes before the first full bar (default 0)")
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
    command->add_option("--json", options->json, "Write everything found as JSON")->type_name("FILE");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_flag("--quiet,-q", options->source.quiet, "Print nothing");
    command->callback([options] { Run(*options); });
}

}  // namespace mlh::cli
