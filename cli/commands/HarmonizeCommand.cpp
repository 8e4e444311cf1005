#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Errors.h"
#include "Progress.h"
#include "Say.h"
#include "choir/Choir.h"
#include "choir/document/Document.h"
#include "choir/document/SettingsDocument.h"
#include "choir/mix/FullScale.h"
#include "choir/plan/SettingsOfPlan.h"
#include "choir/score/Score.h"
#include "choir/score/SungSong.h"
#include "choir/voicing/NoteDealing.h"
#include "commands/Commands.h"
#include "commands/StyleOptions.h"
#include "files/AudioFile.h"
#include "files/ChordFile.h"
#include "files/InputFile.h"
#include "files/MidiFile.h"
#include "files/MusicXml.h"
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
    int beatsPerBar = 0;  // 0: not given
    std::string notes;    // to read
    int voices = 4;
    bool voicesGiven = false;
    bool aboveGiven = false;
    bool spreadGiven = false;
    int above = 1;
    double spread = 0.5;
    StyleOptions style;
    std::string settings;
    std::map<std::string, std::string> typed;  // further settings by name
    std::string gains;
    bool mono = false;
    std::string midiOut;
    bool bends = false;
    std::string musicXml;
    std::string csv;
    std::string picture;
    std::string report;
    bool acceptDamage = false;
    bool quiet = false;
};

constexpr const char* kExamples = R"(Examples:
  mlh harmonize lead.wav
  mlh harmonize lead.wav --chords "0 C, 2.5 Am, 5 F, 7.5 G" --voices 3 -o choir.wav
  mlh harmonize lead.wav --bpm 96 --chords "C | Am F | G | C" --picture choir.svg
  mlh harmonize lead.wav --notes voices.mid --stems stems/ --format 24
  mlh harmonize lead.wav --midi-out choir.mid --bends --musicxml choir.musicxml --csv choir.csv
  mlh harmonize lead.wav --style four-part --lead tenor --key "D dorian" --picture choir.svg)";

// A monotonic clock, for the figures at the end.
class Stopwatch {
  public:
    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

SampleFormat ToFormat(const std::string& name) {
    if (name == "16") {
        return SampleFormat::Int16;
    }
    if (name == "24") {
        return SampleFormat::Int24;
    }
    return SampleFormat::Float;
}

void CheckVoices(const HarmonizeOptions& options) {
    const int least = options.notes.empty() ? 2 : 1;
    if (options.voices < least || options.voices > 4) {
        throw UsageError("--voices: " + std::to_string(options.voices) + " is not from " +
                         std::to_string(least) + " to 4; voice 1 sings the lead's own line");
    }
}

// Further settings, as options of the same name.
struct TypedOption {
    const char* option;
    const char* setting;
    const char* kind;
};
constexpr TypedOption kTypedOptions[] = {
    {"--tuning", "tuning", "GRID"},     {"--intonation", "intonation", "NAME"},
    {"--snap", "snap", "NAME"},         {"--correction", "correction", "SHARE"},
    {"--vibrato", "vibrato", "LIST"},   {"--glide", "glide", "LIST"},
    {"--formant", "formant", "LIST"},   {"--humanize", "humanize", "SHARE"},
    {"--seed", "seed", "NUMBER"},       {"--consonants", "consonants", "NAME"},
    {"--range", "range", "LIST"},       {"--chords-from", "chords_from", "NAME"},
    {"--mix", "mix", "NAME"},           {"--pan", "pan", "LIST"},
    {"--level-db", "level_db", "LIST"}, {"--clip", "clip", "NAME"},
    {"--quality", "quality", "NAME"},
};

// Options of the styles that sing chords mean nothing to those that find their voices in the notes alone.
void CheckStyle(const HarmonizeOptions& options, const Settings& settings) {
    if (settings.style == Style::Core) {
        if (!options.style.key.empty()) {
            ParseKey(options.style.key);
        }
        if (!options.style.scale.empty()) {
            throw UsageError("--scale is for every --style but core");
        }
    }
    const bool parts = settings.style == Style::FourPart;
    const bool planned = IsPlanned(settings) || (parts && !options.chords.empty());
    for (const TypedOption& option : kTypedOptions) {
        const std::string name = option.setting;
        const bool mixes = name == "mix" || name == "pan" || name == "level_db" || name == "clip";
        if (mixes || options.typed.count(option.setting) == 0) {
            continue;
        }
        const bool source = name == "chords_from" && parts;
        if (!source && (!planned || (name == "range" && settings.style != Style::Choir))) {
            throw UsageError(std::string(option.option) + " is for --style choir" +
                             (name == "range" ? "" : ", and four-part on chords"));
        }
        if (!options.notes.empty()) {
            throw UsageError(std::string(option.option) +
                             " does not go with --notes, which are sung as they are");
        }
    }
    if (settings.style == Style::Core || settings.style == Style::Choir) {
        return;
    }
    const auto refuse = [&](bool given, const char* option) {
        if (given) {
            throw UsageError(std::string(option) + " is for --style core and choir");
        }
    };
    refuse(!options.notes.empty(), "--notes");
    if (!options.chords.empty() && !parts) {
        throw UsageError("--chords is for --style core, choir and four-part");
    }
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
    if (!options.output.empty()) {
        return options.output;
    }
    return NameOf(PathOf(options.lead).stem()) + "-choir.wav";
}

void CheckFiles(const HarmonizeOptions& options) {
    CheckPicture(options.picture);
    CheckAudioOutput(MixPath(options), ToFormat(options.format));
    std::vector<std::string> outputs = {MixPath(options), options.midiOut, options.musicXml,
                                        options.csv,      options.picture, options.report};
    std::error_code ignored;
    if (fs::is_directory(PathOf(options.stems), ignored)) {
        const auto stems = StemPaths(options, options.voices);
        outputs.insert(outputs.end(), stems.begin(), stems.end());
    }
    CheckOutputs({options.lead, options.chords, options.notes, options.settings}, outputs);
}

// All but chords and tracks.
Settings ToSettings(const HarmonizeOptions& options) {
    Settings settings;
    if (!options.settings.empty()) {
        settings = ReadSettings(ReadFile(options.settings), options.settings);
    }
    settings = ToSettings(options.style, settings);
    if (options.voicesGiven) {
        settings.voices = options.voices;
    }
    if (options.aboveGiven) {
        settings.above = options.above;
    }
    if (options.spreadGiven) {
        settings.spread = options.spread;
    }
    if (!options.gains.empty()) {
        settings.gains = WithDashes([&] { return ParseGains(options.gains); });
    }
    for (const TypedOption& option : kTypedOptions) {
        const auto typed = options.typed.find(option.setting);
        if (typed == options.typed.end()) {
            continue;
        }
        try {
            TypeSetting(settings, option.setting, typed->second);
        } catch (const UsageError& error) {  // "setting: why"
            throw UsageError(option.option + std::string(error.what()).substr(std::strlen(option.setting)));
        }
    }
    if (options.bpm > 0.0) {
        settings.bpm = options.bpm;
    }
    if (options.beatsPerBar > 0) {
        settings.beatsPerBar = options.beatsPerBar;
    }
    if (const auto key = GivenKey(options.style)) {
        settings.key = key;
    }
    CheckStyle(options, settings);
    return settings;
}

void AddNotes(const HarmonizeOptions& options, Settings& settings) {
    if (!options.chords.empty()) {
        settings.chords = ReadChordOption(options.chords, settings.bpm, settings.beatsPerBar,
                                          settings.key ? ModeKey(*settings.key) : -1);
    }
    if (options.notes.empty()) {
        return;
    }
    settings.tracks = ReadMidiFile(options.notes).tracks;
    if (settings.tracks.empty()) {
        throw Failure(options.notes + ": there is no note in it");
    }
    if (!options.voicesGiven) {
        settings.voices = CountVoices(settings.tracks);
    }
}

// What is done about samples above full scale. The styles of the core stay as they are.
Clip ClipFor(const Settings& settings, const HarmonizeOptions& options) {
    if (settings.clip != Clip::Auto) {
        return settings.clip;
    }
    const bool integers = ToFormat(options.format) != SampleFormat::Float;
    return integers && IsPlanned(settings) ? Clip::Scale : Clip::None;
}

// Writes the mix and the stems while they are rendered, so that no voice is held in memory. Files that turn
// out to go above full scale are rendered and written again, lowered or limited; what goes into a pipe is
// rendered once before that. The stems are lowered together, so that they keep their balance.
class Outputs {
  public:
    Outputs(const HarmonizeOptions& options, Choir& choir)
        : choir_(choir),
          clip_(ClipFor(choir.settings(), options)),
          format_(ToFormat(options.format)),
          channels_(choir.take().audio().channels),
          mixChannels_(options.mono || choir.settings().mix == "mono" ? 1 : 2) {
        if (!options.stems.empty()) {
            std::error_code error;
            fs::create_directories(PathOf(options.stems), error);
            if (error) {
                throw Failure("cannot make the folder " + options.stems + ": " + error.message());
            }
        }
        AddFile(MixPath(options), mixChannels_);
        if (options.stems.empty()) {
            return;
        }
        for (const std::string& path : StemPaths(options, static_cast<int>(choir.voices().size()))) {
            AddFile(path, channels_);
        }
    }

    void Write(bool quiet) {
        Render("rendering", quiet);
        std::vector<bool> again = FitIn();
        for (std::size_t f = 0; f < files_.size(); ++f) {
            again[f] = again[f] || files_[f].writer == nullptr;
        }
        for (std::size_t f = 0; f < files_.size(); ++f) {
            if (again[f]) {
                files_[f].writer.reset();  // and with it what is unfinished
                Open(files_[f]);
            } else {
                Finish(files_[f]);
            }
        }
        if (std::find(again.begin(), again.end(), true) == again.end()) {
            return;
        }
        Render("rendering again", quiet);
        for (File& file : files_) {
            if (file.writer != nullptr) {
                Finish(file);
            }
        }
    }

    void Report(OutputInfo& report) const {
        report.mix = files_[0].path;
        report.clip = clip_;
        for (const File& file : files_) {
            if (&file != files_.data()) {
                report.stems.push_back(file.path);
            }
            const double gain = file.kept ? static_cast<double>(file.kept->LeastGain()) : 1.0;
            report.levels.push_back({file.path, file.peaks.Peak(), file.peaks.Above(), gain});
            report.saturated += file.saturated;
        }
    }

  private:
    struct File {
        std::string path;
        int32_t channels;
        PeakCurve peaks;  // of what was rendered first
        std::unique_ptr<AudioWriter> writer = nullptr;
        std::optional<FullScale> kept = std::nullopt;
        int64_t saturated = 0;
    };

    void AddFile(const std::string& path, int32_t channels) {
        files_.push_back({path, channels, PeakCurve(choir_.take().audio().sampleRate)});
        if (clip_ == Clip::None || !IsWrittenOnce(path)) {
            Open(files_.back());
        }
    }

    void Open(File& file) {
        file.writer = std::make_unique<AudioWriter>(file.path, format_, file.channels,
                                                    choir_.take().audio().sampleRate);
    }

    static void Finish(File& file) {
        file.writer->Finish();
        file.saturated = file.writer->Saturated();
        file.writer.reset();
    }

    // Which files change, once all peaks are known.
    std::vector<bool> FitIn() {
        std::vector<bool> changes(files_.size());
        float highest = 0.0f;
        for (std::size_t f = 1; f < files_.size(); ++f) {
            highest = std::max(highest, files_[f].peaks.Peak());
        }
        looked_ = true;
        for (std::size_t f = 0; f < files_.size() && clip_ != Clip::None; ++f) {
            File& file = files_[f];
            const float peak = f == 0 ? file.peaks.Peak() : highest;
            file.kept = clip_ == Clip::Scale ? FullScale(peak) : FullScale(file.peaks);
            changes[f] = file.kept->LeastGain() < 1.0f;
        }
        return changes;
    }

    void Render(const char* what, bool quiet) {
        Progress progress(what, quiet);
        constexpr int32_t kBlock = 4096;  // [frames]
        const int32_t frames = choir_.take().audio().frames;
        std::vector<float> samples(static_cast<std::size_t>(kBlock) * channels_ *
                                   (choir_.voices().size() + 1));
        std::vector<float*> rows;
        for (std::size_t at = 0; at < samples.size(); at += kBlock) {
            rows.push_back(samples.data() + at);
        }
        std::vector<float> block(static_cast<std::size_t>(kBlock) * 2);
        for (int32_t first = 0; first < frames; first += kBlock) {
            const int32_t count = std::min(kBlock, frames - first);
            choir_.Render(first, count, rows.data(), block.data(), mixChannels_);
            Take(files_[0], first, count, block.data());
            for (std::size_t v = 0; v + 1 < files_.size(); ++v) {
                for (int32_t c = 0; c < channels_; ++c) {
                    const float* row =
                        rows[v * static_cast<std::size_t>(channels_) + static_cast<std::size_t>(c)];
                    for (int32_t i = 0; i < count; ++i) {
                        block[static_cast<std::size_t>(i * channels_ + c)] = row[i];
                    }
                }
                Take(files_[v + 1], first, count, block.data());
            }
            progress.Update(static_cast<double>(first + count) / frames);
        }
    }

    void Take(File& file, int32_t first, int32_t count, float* samples) const {
        if (!looked_) {
            file.peaks.Add(samples, count, file.channels);
        } else if (file.kept) {
            file.kept->Apply(first, count, file.channels, samples);
        }
        if (file.writer != nullptr) {
            file.writer->Write(samples, count);
        }
    }

    Choir& choir_;
    Clip clip_;
    SampleFormat format_;
    int32_t channels_;
    int32_t mixChannels_;
    bool looked_ = false;      // all peaks are known
    std::vector<File> files_;  // the mix, then the stems
};

std::string InDecibels(double gain) {
    char text[32];
    std::snprintf(text, sizeof text, "%+.1f dB", 20.0 * std::log10(gain));
    return text;
}

// "mix.wav 95 samples, peak +0.6 dB": the files that went above full scale, and what was done about it.
void SayWhatWasTooLoud(const OutputInfo& report) {
    std::string files;
    for (const OutputLevel& level : report.levels) {
        if (level.above > 0) {
            files += (files.empty() ? "" : "; ") + NameOf(PathOf(level.file).filename()) + " " +
                     std::to_string(level.above) + (level.above == 1 ? " sample" : " samples") + ", peak " +
                     InDecibels(level.peak);
        }
    }
    if (report.clip == Clip::None && report.saturated == 0) {
        return;  // floats
    }
    if (files.empty()) {
        return;
    }
    const char* what = report.clip == Clip::Scale ? "lowered to full scale as a whole"
                       : report.clip == Clip::Limit
                           ? "limited to full scale where it was too loud"
                           : "too loud and cut off; try --clip scale or limit, or --format float";
    Say("above full scale: " + files + ": " + what);
}

void Tell(const HarmonizeOptions& options, const OutputInfo& report, const Audio& audio,
          const Performance& performance, const std::vector<std::string>& warnings) {
    SayWhatWasTooLoud(report);
    for (const std::string& warning : warnings) {
        Say(warning);
    }
    if (options.quiet) {
        return;
    }
    const double seconds = report.analysisSeconds + report.renderingSeconds;
    std::printf("key     %s\n", performance.key.empty() ? "none found" : performance.key.c_str());
    std::printf("notes   %zu in %.1f s\n", performance.lead.size(), audio.Seconds());
    std::printf("voices ");
    for (const NoteLine& voice : performance.voices) {
        std::printf(" %s;", voice.name.c_str());
    }
    std::printf("\nspeed   %.0f times faster than real time\n", audio.Seconds() / std::max(seconds, 1e-9));
    std::printf("mix     %s\n", report.mix.c_str());
    if (!options.stems.empty()) {
        std::printf("stems   %s\n", options.stems.c_str());
    }
    for (const auto& [what, file] :
         {std::pair{"midi", options.midiOut}, {"sheet", options.musicXml}, {"table", options.csv}}) {
        if (!file.empty()) {
            std::printf("%-7s %s\n", what, file.c_str());
        }
    }
    if (!options.picture.empty()) {
        std::printf("picture %s\n", options.picture.c_str());
    }
    if (!options.report.empty()) {
        std::printf("report  %s\n", options.report.c_str());
    }
}

void WriteNotes(const HarmonizeOptions& options, const Choir& choir) {
    constexpr double kUsualTempo = 120.0;
    if (!options.midiOut.empty()) {
        const double bpm = choir.settings().bpm > 0.0 ? choir.settings().bpm : kUsualTempo;
        WriteMidiFile(options.midiOut, ToSungSong(choir, bpm),
                      options.bends ? MidiBends::Yes : MidiBends::No);
    }
    if (!options.musicXml.empty()) {
        Score score = ToScore(choir, choir.settings().bpm);
        score.title = AsUtf8(NameOf(PathOf(options.lead).filename()));
        if (score.melody.empty()) {
            Say(options.musicXml + " was not written: there is no note to write");
        } else {
            WriteMusicXml(options.musicXml, score);
        }
    }
    if (!options.csv.empty()) {
        WriteTextFile(options.csv, SungNotesAsCsv(choir));
    }
}

void Run(const HarmonizeOptions& options) {
    CheckVoices(options);
    Settings settings = ToSettings(options);
    CheckFiles(options);
    AddNotes(options, settings);
    const Audio audio = ReadAudio(options.lead, ToOnDamage(options.acceptDamage));

    OutputInfo report;
    Progress analysing("analysing", options.quiet);
    const Stopwatch analysisWatch;
    Take take(audio.View(), [&](double share) { analysing.Update(share); });
    report.analysisSeconds = analysisWatch.Seconds();
    analysing.Finish();
    Choir choir(take, settings);
    Outputs outputs(options, choir);
    const Stopwatch renderingWatch;
    outputs.Write(options.quiet);
    report.renderingSeconds = renderingWatch.Seconds();
    outputs.Report(report);
    Performance performance = choir.ToPerformance();
    performance.title = AsUtf8(NameOf(PathOf(options.lead).filename()));
    WriteNotes(options, choir);
    if (!options.picture.empty()) {
        DrawPicture(performance, options.picture);
    }
    if (!options.report.empty()) {
        WriteTextFile(options.report,
                      ChoirDocument(choir, {options.lead, audio.fileChannels}, false, &report));
    }
    Tell(options, report, audio, performance, choir.warnings());
}

}  // namespace

void AddHarmonizeCommand(CLI::App& app) {
    auto options = std::make_shared<HarmonizeOptions>();
    options->style.style = "choir";
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
    chords->check(NotEmpty("it is empty; leave it out, or name chords or a file of chords"));
    command->add_option("--bpm", options->bpm, "Tempo of a chord grid, in beats a minute")
        ->check(Between(1.0, 1000.0));
    command->add_option("--beats", options->beatsPerBar, "Beats in a bar of a chord grid (default 4)")
        ->check(Between(1, 32));
    auto* notes = command
                      ->add_option("--notes", options->notes,
                                   "Notes for the voices instead of chords: a MIDI file, a "
                                   "track each")
                      ->type_name("FILE");
    notes->excludes(chords);
    auto* midi = command->add_option("--midi", options->notes, "The old name of --notes")->type_name("FILE");
    midi->excludes(chords)->excludes(notes);
    auto* voices = command->add_option(
        "--voices", options->voices, "Voices beside the lead, the first on its own line: 2 to 4 (default 4)");
    auto* above = command->add_option(
        "--above", options->above,
        "Harmony voices above the lead: 0 to 3 (default: as many as the lead leaves room for)");
    above->check(Between(0, 3))->excludes(notes)->excludes(midi);
    auto* spread = command->add_option("--spread", options->spread,
                                       "How widely the voices are set: 0 to 1 (default 0.5)");
    spread->check(Between(0.0, 1.0))->excludes(notes)->excludes(midi);
    command
        ->add_option("--key", options->style.key,
                     "C, F#m, Bb minor ..., for other styles than core D dorian ... too (default: the one "
                     "that is found)")
        ->excludes(notes)
        ->excludes(midi);
    AddStyleOptions(*command, options->style);
    auto* style = command->get_option("--style");
    for (const TypedOption& option : kTypedOptions) {
        command
            ->add_option_function<std::string>(
                option.option,
                [options, &option](const std::string& text) { options->typed[option.setting] = text; },
                HelpOf(option.setting))
            ->type_name(option.kind);
    }
    command
        ->add_option("--settings", options->settings,
                     "A settings document (JSON), for what the other options leave out")
        ->type_name("FILE");
    command->add_option(
        "--gains", options->gains,
        "Gains of lead and voices, each one or left:right (default 0.5, 0.5:0, 0:0.5, 0.3:0.2, 0.2:0.3)");
    command->add_flag("--mono", options->mono,
                      "Mix to one channel, as --mix mono does; of --gains the left ones");
    command
        ->add_option("--midi-out", options->midiOut,
                     "Write what lead and voices sing as MIDI, on the recording's clock")
        ->type_name("FILE");
    command->add_flag("--bends", options->bends,
                      "With --midi-out: pitch bends for what sounds beside the notes");
    command
        ->add_option("--musicxml", options->musicXml,
                     "Write what the voices sing as sheet music, on beats that are found or those of --bpm")
        ->type_name("FILE");
    command->add_option("--csv", options->csv, "Write the notes of lead and voices as a table")
        ->type_name("FILE");
    command->add_option("--picture", options->picture, "Draw a piano roll, .svg or .png")->type_name("FILE");
    command->add_option("--report", options->report, "Write what was found and made as JSON")
        ->type_name("FILE");
    command->add_flag("--accept-damage", options->acceptDamage, kAcceptDamageHelp);
    command->add_flag("--quiet,-q", options->quiet, "Print nothing but warnings");
    command->callback([options, voices, above, spread, style, midi] {
        if (midi->count() > 0) {
            Say("--midi reads notes for the voices; write --notes for that, and --midi-out to write MIDI");
        }
        if (options->bends && options->midiOut.empty()) {
            throw UsageError("--bends is for --midi-out");
        }
        options->voicesGiven = voices->count() > 0;
        // The style of a settings document counts where none is typed.
        if (!options->settings.empty() && style->count() == 0) {
            options->style.style.clear();
        }
        options->aboveGiven = above->count() > 0;
        options->spreadGiven = spread->count() > 0;
        Run(*options);
    });
}

}  // namespace mlh::cli
