#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "Progress.h"
#include "Say.h"
#include "choir/Text.h"
#include "choir/document/Document.h"
#include "choir/melody/SungMelody.h"
#include "choir/score/Music.h"
#include "choir/score/Tables.h"
#include "commands/Commands.h"
#include "files/AudioFile.h"
#include "files/MidiFile.h"
#include "files/OutputFile.h"
#include "files/Paths.h"
#include "picture/Picture.h"

namespace mlh::cli {

namespace {

struct AnalyzeOptions {
    std::string lead;
    std::string json;
    std::string csv;
    std::string labels;
    std::string f0;
    std::string midi;
    std::string picture;
    bool acceptDamage = false;
    bool quiet = false;
};

constexpr const char* kExamples = R"(Examples:
  mlh analyze lead.wav
  mlh analyze lead.wav --csv notes.csv --f0 pitch.csv
  mlh analyze lead.wav --midi melody.mid --picture lead.svg)";

// "A minor (0.93), or C major (0.05)"
std::string KeyLine(const KeyEstimate& key) {
    const auto share = [&](int index) { return key.posterior[static_cast<std::size_t>(index)]; };
    return KeyName(key.best) + Format(" (%.2f), or ", share(key.best)) + KeyName(key.second) +
           Format(" (%.2f)", share(key.second));
}

void Run(const AnalyzeOptions& options) {
    CheckPicture(options.picture);
    CheckOutputs({options.lead},
                 {options.json, options.csv, options.labels, options.f0, options.midi, options.picture});
    const Audio audio = ReadAudio(options.lead, ToOnDamage(options.acceptDamage));
    Progress progress("analysing", options.quiet);
    const Take take(audio.View(), [&](double share) { progress.Update(share); });
    progress.Finish();

    const mlh::Analysis& analysis = take.analysis();
    const auto& notes = take.notes();
    const bool flats = KeyUsesFlats(analysis.key);
    if (!options.json.empty()) {
        WriteTextFile(options.json, TakeDocument(take, {options.lead, audio.fileChannels}));
    }
    if (!options.csv.empty()) {
        WriteTextFile(options.csv, NotesAsCsv(notes, flats));
    }
    if (!options.labels.empty()) {
        WriteTextFile(options.labels, NotesAsLabels(notes, flats));
    }
    if (!options.f0.empty()) {
        WriteTextFile(options.f0, CurveAsF0(take.curve()));
    }
    if (!options.midi.empty()) {
        Song song;
        song.tracks.push_back({"lead", notes});
        WriteMidiFile(options.midi, song);
    }
    if (!options.picture.empty()) {
        Performance performance;
        performance.title = AsUtf8(NameOf(PathOf(options.lead).filename()));
        performance.key = KeyName(analysis.key);
        performance.duration = audio.Seconds();
        performance.curve = take.curve();
        performance.lead = notes;
        DrawPicture(performance, options.picture);
    }
    const KeyEstimate key = KeyOf(take);
    if (!take.hasVoice()) {
        Say(kNoVoice);
    } else if (const std::string doubt = KeyDoubt(key); !doubt.empty()) {
        Say(doubt);
    }
    if (options.quiet) {
        return;
    }
    std::printf("key     %s\n", take.hasVoice() ? KeyLine(key).c_str() : "none found");
    std::printf("core    %s\n", analysis.key < 0 ? "none found" : KeyName(analysis.key).c_str());
    if (take.hasVoice() && std::isfinite(analysis.tuning)) {
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
    command->add_option("--midi,--midi-out", options->midi, "Write the notes as a MIDI file")
        ->type_name("FILE");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_flag("--accept-damage", options->acceptDamage, kAcceptDamageHelp);
    command->add_flag("--quiet,-q", options->quiet, "Print nothing");
    command->callback([options] { Run(*options); });
}

}  // namespace mlh::cli
