#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include "Errors.h"
#include "Progress.h"
#include "Say.h"
#include "choir/core/CoreChoir.h"
#include "choir/document/Reports.h"
#include "choir/mix/Mix.h"
#include "choir/score/Arrangement.h"
#include "choir/score/Music.h"
#include "choir/score/Tables.h"
#include "commands/Commands.h"
#include "commands/StyleOptions.h"
#include "files/AudioFile.h"
#include "files/ChordFile.h"
#include "files/MidiFile.h"
#include "files/OutputFile.h"
#include "files/Paths.h"
#include "picture/Picture.h"

namespace mlh::cli {

namespace {

namespace fs = std::filesystem;

struct HarmonizeOptions {
    std::string lead;
    std::string output;
    std::string stems;
    std::string format = "16";
    std::string chords;
    double bpm = 0.0;
    int beatsPerBar = 4;
    std::string midi;
    int voices = 4;
    bool voicesGiven = false;
    bool aboveGiven = false;
    bool spreadGiven = false;
    int above = 1;
    double spread = 0.5;
    StyleOptions style;
    std::string gains;
    bool mono = false;
    std::string picture;
    std::string report;
    bool quiet = false;
};

// The style that the add-on sings by itself.
constexpr const char* kChordStyle = "chords";

constexpr const char* kExamples = R"(Examples:
  mlh harmonize lead.wav
  mlh harmonize lead.wav --chords "0 C, 2.5 Am, 5 F, 7.5 G" --voices 3 -o choir.wav
  mlh harmonize lead.wav --bpm 96 --chords "C | Am F | G | C" --picture choir.svg
  mlh harmonize lead.wav --midi voices.mid --stems stems/ --format 24
  mlh harmonize lead.wav --style four-part --lead tenor --key "D dorian" --picture choir.svg)";

// A monotonic clock, for the figures told at the end.
class Stopwatch {
  public:
    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

SampleFormat ToFormat(const std::string& name) {
    if (name == "16") return SampleFormat::Int16;
    if (name == "24") return SampleFormat::Int24;
    return SampleFormat::Float;
}

void CheckVoices(const HarmonizeOptions& options) {
    const int least = options.midi.empty() ? 2 : 1;
    if (options.voices < least || options.voices > 4) {
        throw UsageError("--voices: " + std::to_string(options.voices) + " is not from " +
                         std::to_string(least) + " to 4; voice 1 sings the lead's own line");
    }
}

// Options of the chord modes mean nothing to the styles that find their voices in the notes alone.
void CheckStyle(const HarmonizeOptions& options) {
    ToSettings(options.style);  // complains of options of other styles
    if (options.style.style == kChordStyle) {
        if (!options.style.key.empty()) ParseKey(options.style.key);
        if (!options.style.scale.empty()) throw UsageError("--scale is for every --style but chords");
        return;
    }
    GivenKey(options.style);
    const auto refuse = [&](bool given, const char* option) {
        if (given) throw UsageError(std::string(option) + " is for --style chords");
    };
    refuse(!options.midi.empty(), "--midi");
    refuse(!options.chords.empty(), "--chords");
    refuse(options.voicesGiven, "--voices");
    refuse(options.aboveGiven, "--above");
    refuse(options.spreadGiven, "--spread");
}

// The lead and each voice in the folder of the stems.
std::vector<std::string> StemPaths(const HarmonizeOptions& options, int voices) {
    std::vector<std::string> paths;
    for (int v = 0; v <= voices; ++v) {
        const std::string name = v == 0 ? "lead.wav" : "voice" + std::to_string(v) + ".wav";
        paths.push_back(NameOf(PathOf(options.stems) / name));
    }
    return paths;
}

std::string MixPath(const HarmonizeOptions& options) {
    if (!options.output.empty()) return options.output;
    return NameOf(PathOf(options.lead).stem()) + "-choir.wav";
}

void CheckFiles(const HarmonizeOptions& options) {
    CheckPicture(options.picture);
    CheckAudioOutput(MixPath(options), ToFormat(options.format));
    std::vector<std::string> outputs = {MixPath(options), options.picture, options.report};
    std::error_code ignored;
    if (fs::is_directory(PathOf(options.stems), ignored)) {
        const auto stems = StemPaths(options, options.voices);
        outputs.insert(outputs.end(), stems.begin(), stems.end());
    }
    CheckOutputs({options.lead, options.chords, options.midi}, outputs);
}

// The notes that were found, arranged, and sung by their singer. Seconds serve as beats.
Arrangement SingArrangement(CoreChoir& choir, const Take& take, const HarmonizeOptions& options) {
    const mlh::ArrangeSettings settings = ToSettings(options.style);
    const Melody melody = MelodyOf(take, 60.0);
    if (melody.notes.empty()) throw Failure(options.lead + ": no note was found in it");
    Arrangement arrangement =
        ArrangeMelody(melody, KeyFor(options.style, melody), settings, options.style.style);
    std::vector<std::vector<int>> rows;
    for (const ArrangedVoice& voice : arrangement.voices) rows.push_back(voice.pitches);
    choir.SingRows(rows, arrangement.ChordChanges());
    return arrangement;
}

void SingChords(CoreChoir& choir, const HarmonizeOptions& options, const std::vector<TimedChord>& chords) {
    CoreSettings settings;
    settings.voices = options.voices;
    settings.voicesAbove = options.above;
    settings.spread = options.spread;
    if (!options.style.key.empty()) settings.key = ParseKey(options.style.key);
    choir.SingChords(settings, chords);
}

// Writes the mix and the stems while they are rendered, so that no voice is held in memory.
class Outputs {
  public:
    Outputs(const HarmonizeOptions& options, const Audio& lead, int voices)
        : leadChannels_(lead.channels),
          mixChannels_(options.mono ? 1 : 2),
          voices_(voices),
          gains_(ParseGains(options.gains)),
          mixPath_(MixPath(options)),
          mix_(mixPath_, ToFormat(options.format), mixChannels_, lead.sampleRate) {
        if (options.stems.empty()) return;
        std::error_code error;
        fs::create_directories(PathOf(options.stems), error);
        if (error) throw Failure("cannot make the folder " + options.stems + ": " + error.message());
        stemPaths_ = StemPaths(options, voices);
        for (const std::string& path : stemPaths_) {
            stems_.push_back(std::make_unique<AudioWriter>(path, ToFormat(options.format), leadChannels_,
                                                           lead.sampleRate));
        }
    }

    void Write(const float* const* rows, int32_t count) {
        block_.resize(static_cast<std::size_t>(count) * 2);
        MixVoices(rows, leadChannels_, voices_, count, gains_, mixChannels_, block_.data());
        mix_.Write(block_.data(), count);
        for (std::size_t v = 0; v < stems_.size(); ++v) {
            for (int32_t c = 0; c < leadChannels_; ++c) {
                const float* row = rows[static_cast<int32_t>(v) * leadChannels_ + c];
                for (int32_t i = 0; i < count; ++i) block_[i * leadChannels_ + c] = row[i];
            }
            stems_[v]->Write(block_.data(), count);
        }
    }

    void Finish() {
        mix_.Finish();
        for (auto& stem : stems_) stem->Finish();
    }

    int64_t Saturated() const {
        int64_t sum = mix_.Saturated();
        for (const auto& stem : stems_) sum += stem->Saturated();
        return sum;
    }
    const std::string& mixPath() const { return mixPath_; }
    const std::vector<std::string>& stemPaths() const { return stemPaths_; }

  private:
    int32_t leadChannels_;
    int32_t mixChannels_;
    int32_t voices_;
    std::vector<SideGains> gains_;
    std::string mixPath_;
    AudioWriter mix_;
    std::vector<std::string> stemPaths_;
    std::vector<std::unique_ptr<AudioWriter>> stems_;
    std::vector<float> block_;
};

// The performance of an arrangement brings its key, the names of its voices, phrases and functions.
void Describe(const CoreChoir& choir, const HarmonizeOptions& options, const Take& take,
              Performance& performance) {
    performance.title = AsUtf8(NameOf(PathOf(options.lead).filename()));
    if (performance.key.empty()) performance.key = KeyName(choir.key());
    performance.duration = take.audio().Seconds();
    performance.curve = take.curve();
    performance.lead = take.notes();
    const std::vector<NoteLine> named = std::move(performance.voices);
    performance.voices = choir.Lines();
    for (std::size_t v = 0; v < named.size(); ++v) performance.voices[v].name = named[v].name;
    performance.chords = choir.Chords();
}

void Tell(const HarmonizeOptions& options, const HarmonyReport& report, const Audio& audio,
          const Performance& performance) {
    if (report.saturated > 0) {
        Say(std::to_string(report.saturated) +
            " samples were too loud and limited; use lower --gains or --format float");
    }
    if (options.quiet) return;
    const double seconds = report.analysisSeconds + report.renderingSeconds;
    std::printf("key     %s\n", performance.key.empty() ? "none found" : performance.key.c_str());
    std::printf("notes   %zu in %.1f s\n", performance.lead.size(), audio.Seconds());
    std::printf("voices ");
    for (const NoteLine& voice : performance.voices) std::printf(" %s;", voice.name.c_str());
    std::printf("\nspeed   %.0f times faster than real time\n", audio.Seconds() / std::max(seconds, 1e-9));
    std::printf("mix     %s\n", report.mix.c_str());
    if (!options.stems.empty()) std::printf("stems   %s\n", options.stems.c_str());
    if (!options.picture.empty()) std::printf("picture %s\n", options.picture.c_str());
    if (!options.report.empty()) std::printf("report  %s\n", options.report.c_str());
}

void Run(const HarmonizeOptions& options) {
    CheckVoices(options);
    CheckStyle(options);
    ParseGains(options.gains);
    CheckFiles(options);
    const auto key = GivenKey(options.style);
    const auto chords =
        ReadChordOption(options.chords, options.bpm, options.beatsPerBar, key ? ModeKey(*key) : -1);
    Song song;
    if (!options.midi.empty()) {
        song = ReadMidiFile(options.midi);
        if (song.tracks.empty()) throw Failure(options.midi + ": there is no note in it");
    }
    const Audio audio = ReadAudio(options.lead);

    HarmonyReport report;
    Progress analysing("analysing", options.quiet);
    const Stopwatch analysisWatch;
    Take take(audio.View(), [&](double share) { analysing.Update(share); });
    report.analysisSeconds = analysisWatch.Seconds();
    analysing.Finish();
    CoreChoir choir(take);
    Performance performance;
    if (!options.midi.empty()) {
        choir.SingTracks(song.tracks, options.voicesGiven ? options.voices : CountVoices(song.tracks));
    } else if (options.style.style == kChordStyle) {
        SingChords(choir, options, chords);
    } else {
        // What a picture of notes shows, and whose voices they are.
        performance = ToPerformance(SingArrangement(choir, take, options));
    }
    Describe(choir, options, take, performance);

    Outputs outputs(options, audio, choir.voices());
    {
        Progress progress("rendering", options.quiet);
        const Stopwatch watch;
        choir.Render([&](const float* const* rows, int32_t, int32_t count) { outputs.Write(rows, count); },
                     [&](double share) { progress.Update(share); });
        report.renderingSeconds = watch.Seconds();
    }
    outputs.Finish();
    report.mix = outputs.mixPath();
    report.stems = outputs.stemPaths();
    report.saturated = outputs.Saturated();
    if (!options.picture.empty()) DrawPicture(performance, options.picture);
    if (!options.report.empty())
        WriteTextFile(options.report,
                      HarmonyAsJson(report, {options.lead, audio.fileChannels}, take, performance));
    Tell(options, report, audio, performance);
}

}  // namespace

void AddHarmonizeCommand(CLI::App& app) {
    auto options = std::make_shared<HarmonizeOptions>();
    options->style.style = kChordStyle;
    CLI::App* command = app.add_subcommand("harmonize", "Turn a sung line into a choir of the same singer");
    command->footer(kExamples);
    command->add_option("LEAD", options->lead, "The recording: any file that libsndfile reads")->required();
    command->add_option("--output,-o", options->output, "The mix (default: LEAD-choir.wav in this folder)")
        ->type_name("FILE");
    command->add_option("--stems", options->stems, "Write the lead and each voice into this folder")
        ->type_name("DIR");
    command->add_option("--format", options->format, "Samples of mix and stems: 16, 24 or float (default 16)")
        ->check(CLI::IsMember({"16", "24", "float"}))
        ->type_name("KIND");
    auto* chords = command->add_option("--chords", options->chords,
                                       "Chords, as a file or as text (default: from the melody alone)");
    command->add_option("--bpm", options->bpm, "Tempo of a chord grid, in beats a minute")
        ->check(Between(1.0, 1000.0));
    command->add_option("--beats", options->beatsPerBar, "Beats in a bar of a chord grid (default 4)")
        ->check(Between(1, 32));
    auto* midi =
        command->add_option("--midi", options->midi, "Notes for the voices, a track each, instead of chords")
            ->type_name("FILE");
    midi->excludes(chords);
    auto* voices = command->add_option(
        "--voices", options->voices, "Voices beside the lead, the first on its own line: 2 to 4 (default 4)");
    auto* above =
        command->add_option("--above", options->above, "Harmony voices above the lead: 0 to 3 (default 1)");
    above->check(Between(0, 3))->excludes(midi);
    auto* spread = command->add_option("--spread", options->spread,
                                       "How widely the voices are set: 0 to 1 (default 0.5)");
    spread->check(Between(0.0, 1.0))->excludes(midi);
    command
        ->add_option("--key", options->style.key,
                     "C, F#m, Bb minor ..., for other styles than chords D dorian ... too (default: the one "
                     "that is found)")
        ->excludes(midi);
    AddStyleOptions(*command, options->style);
    command->add_option(
        "--gains", options->gains,
        "Gains of lead and voices, each one or left:right (default 0.5, 0.5:0, 0:0.5, 0.3:0.2, 0.2:0.3)");
    command->add_flag("--mono", options->mono, "Mix to one channel, with the left gains");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_option("--report", options->report, "Write what was found and made as JSON")
        ->type_name("FILE");
    command->add_flag("--quiet,-q", options->quiet, "Print nothing but warnings");
    command->callback([options, voices, above, spread] {
        options->voicesGiven = voices->count() > 0;
        options->aboveGiven = above->count() > 0;
        options->spreadGiven = spread->count() > 0;
        Run(*options);
    });
}

}  // namespace mlh::cli
