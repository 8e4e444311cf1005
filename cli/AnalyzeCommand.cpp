#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "AudioFile.h"
#include "Choir.h"
#include "Commands.h"
#include "MidiFile.h"
#include "OutputFile.h"
#include "Paths.h"
#include "Picture.h"
#include "Progress.h"
#include "Reports.h"
#include "Text.h"

namespace {

struct AnalyzeOptions {
    std::string lead;
    std::string json;
    std::string csv;
    std::string labels;
    std::string f0;
    std::string midi;
    std::string picture;
    bool quiet = false;
};

constexpr const char* kExamples = R"(Examples:
  mlh analyze lead.wav
  mlh analyze lead.wav --csv notes.csv --f0 pitch.csv
  mlh analyze lead.wav --midi melody.mid --picture lead.svg)";

void Run(const AnalyzeOptions& options) {
    CheckPicture(options.picture);
    CheckOutputs({options.lead},
                 {options.json, options.csv, options.labels, options.f0, options.midi, options.picture});
    const Audio audio = ReadAudio(options.lead);
    mlh::Analysis analysis;
    {
        Progress progress("analysing", options.quiet);
        analysis = Choir(audio, [&](double share) { progress.Update(share); }).analysis();
    }

    const auto notes = ToTimedNotes(analysis.notes);
    const bool flats = KeyUsesFlats(analysis.key);
    if (!options.json.empty()) WriteTextFile(options.json, AnalysisAsJson(options.lead, audio, analysis));
    if (!options.csv.empty()) WriteTextFile(options.csv, NotesAsCsv(notes, flats));
    if (!options.labels.empty()) WriteTextFile(options.labels, NotesAsLabels(notes, flats));
    if (!options.f0.empty()) WriteTextFile(options.f0, CurveAsF0(ToCurve(analysis.curve)));
    if (!options.midi.empty()) {
        MidiSong song;
        song.tracks.push_back({"lead", notes});
        WriteMidiFile(options.midi, song);
    }
    if (!options.picture.empty()) {
        Performance performance;
        performance.title = AsUtf8(NameOf(PathOf(options.lead).filename()));
        performance.key = KeyName(analysis.key);
        performance.duration = audio.Seconds();
        performance.curve = ToCurve(analysis.curve);
        performance.lead = notes;
        DrawPicture(performance, options.picture);
    }
    if (options.quiet) return;
    std::printf("key     %s\n", analysis.key < 0 ? "none found" : KeyName(analysis.key).c_str());
    if (std::isfinite(analysis.tuning)) {
        std::printf("tuning  %+.0f cents (A4 = %.1f Hz)\n", 100.0 * analysis.tuning,
                    ReferencePitch(analysis.tuning));
    } else {
        std::printf("tuning  none found\n");
    }
    std::printf("notes   %zu\n\n%s", notes.size(), NoteTable(notes, flats).c_str());
}

}  // namespace

void AddAnalyzeCommand(CLI::App& app) {
    auto options = std::make_shared<AnalyzeOptions>();
    CLI::App* command = app.add_subcommand("analyze", "Find the notes, key and tuning of a sung line");
    command->footer(kExamples);
    command->add_option("LEAD", options->lead, "The recording: any file that libsndfile reads")->required();
    command->add_option("--json", options->json, "Write everything found as JSON")->type_name("FILE");
    command->add_option("--csv", options->csv, "Write the notes as a table with units in its header")
        ->type_name("FILE");
    command->add_option("--labels", options->labels, "Write the notes as an Audacity label track")
        ->type_name("FILE");
    command->add_option("--f0", options->f0, "Write the pitch curve: seconds, hertz (0 unvoiced)")
        ->type_name("FILE");
    command->add_option("--midi", options->midi, "Write the notes as a MIDI file")->type_name("FILE");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_flag("--quiet,-q", options->quiet, "Print nothing");
    command->callback([options] { Run(*options); });
}
