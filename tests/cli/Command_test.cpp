// The mlh command as its users meet it: the built program, run on files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "files/AudioFile.h"
#include "files/MidiFile.h"
#include "mlh/analysis.h"
#include "mlh/mlh.h"
#include "support/CommandFolder.h"
#include "support/NotationReaders.h"
#include "support/Paths.h"
#include "support/SungTunes.h"
#include "support/SyntheticSinger.h"

namespace mlh::cli {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::json;

class Command : public CommandFolder {
  protected:
    // A sung phrase as a float file of so many channels.
    void WriteLead(const std::string& name, int channels = 1, double rate = 44100.0) const {
        const SungRecording song = SingPhrase(rate);
        AudioWriter writer(Path(name), SampleFormat::Float, channels, static_cast<int32_t>(rate));
        std::vector<float> samples;
        for (const float s : song.samples) {
            for (int c = 0; c < channels; ++c) {
                samples.push_back(c == 1 ? 0.5f * s : s);
            }
        }
        writer.Write(samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }

    std::vector<std::string> HalfWritten() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const std::string name = entry.path().filename().string();
            if (name.find("unfinished") != std::string::npos) {
                names.push_back(name);
            }
        }
        return names;
    }
};

double Peak(const std::vector<float>& samples) {
    double peak = 0.0;
    for (const float s : samples) {
        peak = std::max(peak, std::fabs(static_cast<double>(s)));
    }
    return peak;
}

TEST_F(Command, TellsItsVersionsAndTheProcessorLevel) {
    const auto result = Run("--version");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr(mlhGetVersionString()));
    EXPECT_THAT(result.output, HasSubstr(mlGetVersionString()));
    EXPECT_THAT(result.output, HasSubstr("processor level"));
}

int BestLevel() { return mlh::GetProcessorLevel(); }

TEST_F(Command, TheLevelAskedForIsInUse) {
    for (const int level : {0, 3, 4, 5, 6}) {
        if (level > BestLevel()) {
            continue;
        }
        const std::string option = "--level " + std::to_string(level);
        const std::string told = "processor level " + std::to_string(level);
        EXPECT_THAT(Run(option + " --version").output, HasSubstr(told));
        EXPECT_THAT(Run("--version " + option).output, HasSubstr(told));
    }
}

TEST_F(Command, ALevelHasAName) {
    for (const int level : {0, 3, 4, 5, 6}) {
        if (level > BestLevel()) {
            continue;
        }
        std::string name = mlh::GetProcessorLevelName(level);
        const std::string expected = "processor level " + std::to_string(level);
        EXPECT_THAT(Run("--version --level " + name).output, HasSubstr(expected));
        for (char& letter : name) {
            letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        }
        EXPECT_THAT(Run("--version --level " + name).output, HasSubstr(expected));
    }
}

TEST_F(Command, EveryCommandTakesALevelBeforeOrBehindItsName) {
    WriteLead("lead.wav");
    for (const std::string command : {"harmonize lead.wav -q", "analyze lead.wav", "arrange lead.wav"}) {
        for (const std::string& call : {"--level 0 " + command, command + " --level 0"}) {
            EXPECT_EQ(Run(call).status, 0) << call;
            EXPECT_THAT(Run(call + " --version").output, HasSubstr("processor level 0")) << call;
        }
    }
}

TEST_F(Command, ALevelThatTheMachineLacksOrThatDoesNotExistIsRefused) {
    WriteLead("lead.wav");
    for (const int level : {-1, 1, 2, 3, 4, 5, 6, 7}) {
        if (level >= 3 && level <= BestLevel()) {
            continue;
        }
        const auto result = Run("analyze lead.wav --level " + std::to_string(level));
        EXPECT_EQ(result.status, 2) << level;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_THAT(result.output, testing::StartsWith("mlh: --level: ")) << level;
    }
    EXPECT_EQ(Run("analyze lead.wav --level six").status, 2);
    EXPECT_EQ(Run("analyze lead.wav --level").status, 2);
}

TEST_F(Command, HelpShowsExamples) {
    for (const std::string command : {"harmonize", "analyze", "arrange"}) {
        const auto result = Run(command + " --help");
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.output, HasSubstr("Examples:\n  mlh " + command));
    }
}

// What stands in the help and in the documents can be typed as it stands.
std::vector<std::string> ExamplesIn(const std::string& text) {
    std::vector<std::string> examples;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto start = line.find_first_not_of(' ');
        if (start == std::string::npos || line.compare(start, 4, "mlh ") != 0) {
            continue;
        }
        const auto comment = line.find("  # ");  // not every system's shell knows them
        examples.push_back(line.substr(start + 4, comment - (start + 4)));
    }
    return examples;
}

TEST_F(Command, ExamplesOfHelpAndDocumentsRun) {
    WriteLead("lead.wav");
    fs::create_directory(Path("examples"));
    fs::copy(SourceDir() + "/examples", Path("examples"));
    std::ofstream(Path("tune.tsv")) << "0 1 62 D:min\n1 1 65\n2 2 69 A:7\n4 1 64\n5 3 62 D:min\n";
    ASSERT_EQ(Run("arrange tune.tsv -q --midi melody.mid").status, 0);
    ASSERT_EQ(Run("arrange tune.tsv -q --midi voices.mid").status, 0);
    std::size_t count = 0;
    const auto run = [&](const std::string& text) {
        for (const std::string& example : ExamplesIn(text)) {
            const auto result = Run(example);
            EXPECT_EQ(result.status, 0) << example << "\n" << result.output;
            ++count;
        }
    };
    for (const std::string command : {"harmonize", "analyze", "arrange"}) {
        run(Run(command + " --help").output);
    }
    EXPECT_GE(count, 10u);
    for (const char* name : {"/README.md", "/docs/guide.md"}) {
        std::ifstream file(SourceDir() + name);
        const std::size_t before = count;
        run(std::string(std::istreambuf_iterator<char>(file), {}));
        EXPECT_GT(count, before) << name;
    }
}

TEST_F(Command, HarmonizeNeedsNothingButTheLead) {
    WriteLead("my lead.wav");
    const auto result = Run("harmonize 'my lead.wav'");
    ASSERT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("C major"));
    const Audio lead = ReadAudio(Path("my lead.wav"));
    const Audio mix = ReadAudio(Path("my lead-choir.wav"));
    EXPECT_EQ(mix.Frames(), lead.Frames());
    EXPECT_EQ(mix.channels, 2);
    EXPECT_GT(Peak(mix.samples), 0.1);
}

TEST_F(Command, StemsAreAsLongAsTheLeadAndTheLeadIsUntouched) {
    for (const int channels : {1, 2}) {
        WriteLead("lead.wav", channels);
        const auto result = Run("harmonize lead.wav --stems stems --format float --voices 3 -o mix.wav");
        ASSERT_EQ(result.status, 0) << result.output;
        const Audio lead = ReadAudio(Path("lead.wav"));
        EXPECT_EQ(ReadAudio(Path("stems/lead.wav")).samples, lead.samples);
        for (const std::string voice : {"voice1", "voice2", "voice3"}) {
            const Audio stem = ReadAudio(Path("stems/" + voice + ".wav"));
            EXPECT_EQ(stem.Frames(), lead.Frames());
            EXPECT_EQ(stem.channels, channels);
            EXPECT_GT(Peak(stem.samples), 0.05) << voice;
            if (channels == 1) {
                continue;
            }
            // The right side is the left at half the level, in the voices too.
            for (int32_t i = 0; i < stem.Frames(); ++i) {
                ASSERT_NEAR(stem.samples[2 * i + 1], 0.5f * stem.samples[2 * i], 1e-6f) << i;
            }
        }
        EXPECT_FALSE(fs::exists(Path("stems/voice4.wav")));
        fs::remove_all(Path("stems"));
    }
}

TEST_F(Command, TheSingersOwnChoirIsTheDefault) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav -q -o default.wav --report a.json").status, 0);
    ASSERT_EQ(Run("harmonize lead.wav -q -o choir.wav --style choir").status, 0);
    ASSERT_EQ(Run("harmonize lead.wav -q -o core.wav --style core").status, 0);
    EXPECT_EQ(Text("default.wav"), Text("choir.wav"));
    EXPECT_NE(Text("default.wav"), Text("core.wav"));
    EXPECT_EQ(Json::parse(Text("a.json"))["style"], "choir");
    // A settings document may ask for another one, and an option for another one still.
    std::ofstream(Path("core.json")) << "{\"style\": \"core\"}";
    ASSERT_EQ(Run("harmonize lead.wav -q -o document.wav --settings core.json").status, 0);
    EXPECT_EQ(Text("document.wav"), Text("core.wav"));
    ASSERT_EQ(Run("harmonize lead.wav -q -o typed.wav --settings core.json --style choir").status, 0);
    EXPECT_EQ(Text("typed.wav"), Text("choir.wav"));
}

// The 16-bit stereo mix of the core's style is that of the C interface, sample for sample.
TEST_F(Command, TheMixOfTheCoreIsThatOfTheLibrary) {
    WriteLead("lead.wav", 2);
    ASSERT_EQ(Run("harmonize lead.wav --style core -o mix.wav --key C").status, 0);
    const Audio lead = ReadAudio(Path("lead.wav"));
    const Audio mix = ReadAudio(Path("mix.wav"));

    void* mlh = nullptr;
    mlhCreateInstance(&mlh);
    mlhAssignInputData32(mlh, lead.samples.data(), lead.Frames(), 2, lead.sampleRate);
    mlhSetParams(mlh, true, 4, 1, 0.5f, 0, false);
    // The parameters reach the voices with the next update, which an edit of a vector is.
    PitchVector* melody = mlhGetPitchVector(mlh, 1, 0, 0);
    mlhSetPitchVector(mlh, 1, melody);
    mlhDisposePitchVector(melody);
    std::vector<int16_t> out(lead.samples.size());
    mlhProcessOutputData16(mlh, out.data(), lead.Frames(), 2, nullptr);
    mlhDestroyInstance(&mlh);
    for (std::size_t i = 0; i < out.size(); ++i) {
        ASSERT_EQ(mix.samples[i], out[i] / 32768.0f) << i;
    }
}

TEST_F(Command, FormatsHoldTheirBits) {
    WriteLead("lead.wav");
    for (const std::string format : {"16", "24", "float"}) {
        ASSERT_EQ(Run("harmonize lead.wav -o mix" + format + ".wav --format " + format).status, 0);
    }
    const Audio exact = ReadAudio(Path("mixfloat.wav"));
    const std::pair<const char*, double> coarse[] = {{"mix16.wav", 1.0 / 32767},
                                                     {"mix24.wav", 1.0 / 8388607}};
    for (const auto& [name, step] : coarse) {
        const Audio mix = ReadAudio(Path(name));
        ASSERT_EQ(mix.samples.size(), exact.samples.size());
        // A step for the truncation, and the two scales of integers, n - 1 and n, on top.
        for (std::size_t i = 0; i < mix.samples.size(); ++i) {
            ASSERT_NEAR(mix.samples[i], exact.samples[i], 2.0 * step) << name << " " << i;
        }
    }
}

TEST_F(Command, FilesDoNotTellWhenTheyWereWritten) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav -o mix.wav --format float").status, 0);
    const std::string header = Text("mix.wav").substr(0, 200);
    EXPECT_THAT(header, HasSubstr("data"));
    EXPECT_THAT(header, Not(HasSubstr("PEAK")));
}

const Json& LevelOf(const Json& report, const std::string& file) {
    for (const Json& level : report["output"]["levels"]) {
        if (level["file"] == file) {
            return level;
        }
    }
    ADD_FAILURE() << file << " is not in the report";
    return report;
}

TEST_F(Command, AMixThatIsTooLoudIsLoweredAsAWholeLimitedOrCutOff) {
    WriteLead("lead.wav");
    const std::string call = "harmonize lead.wav --gains 8 --quiet --format ";
    // Floats hold what is above full scale, so nothing is done unless asked for.
    EXPECT_EQ(Run(call + "float -o loud.wav --report loud.json").output, "");
    const std::vector<float> loud = ReadAudio(Path("loud.wav"), OnDamage::Accept).samples;
    const double peak = Peak(loud);
    const auto above = std::count_if(loud.begin(), loud.end(), [](float s) { return std::fabs(s) > 1.0f; });
    ASSERT_GT(peak, 1.5);
    struct Case {
        const char* options;
        const char* clip;
        const char* said;
    };
    for (const Case& c : {Case{"16", "scale", "lowered to full scale as a whole"},
                          Case{"float --clip scale", "scale", "lowered to full scale as a whole"},
                          Case{"24 --clip limit", "limit", "limited to full scale"},
                          Case{"float --clip limit", "limit", "limited to full scale"},
                          Case{"16 --clip none", "none", "too loud and cut off"}}) {
        const auto result = Run(call + c.options + " -o mix.wav --report r.json");
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.output, HasSubstr(c.said)) << c.options;
        EXPECT_THAT(result.output, HasSubstr("mix.wav " + std::to_string(above) + " samples, peak +"))
            << c.options;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        const std::vector<float> mix = ReadAudio(Path("mix.wav"), OnDamage::Accept).samples;
        EXPECT_LE(Peak(mix), 1.0);
        const Json report = Json::parse(Text("r.json"));
        EXPECT_EQ(report["output"]["clip"], c.clip);
        const Json& level = LevelOf(report, "mix.wav");
        EXPECT_EQ(level["samples_above"], above);
        EXPECT_NEAR(level["peak_db"].get<double>(), 20.0 * std::log10(peak), 0.001);
        const bool scaled = std::string(c.clip) == "scale";
        for (std::size_t i = 0; scaled && i < mix.size(); ++i) {
            ASSERT_NEAR(mix[i] * peak, loud[i], 2.0 * peak / 32767) << c.options << " " << i;
        }
        EXPECT_NEAR(level["gain_db"].get<double>(),
                    c.clip == std::string("none") ? 0.0 : -20.0 * std::log10(peak), 0.5);
        EXPECT_EQ(report["output"]["saturated_samples"] > 0, c.clip == std::string("none"));
    }
    EXPECT_EQ(LevelOf(Json::parse(Text("loud.json")), "loud.wav")["samples_above"], above);
    // The style of the core stays as it is, unless asked otherwise.
    EXPECT_THAT(Run(call + "16 -o mix.wav --style core").output, HasSubstr("too loud and cut off"));
    EXPECT_THAT(Run(call + "16 -o mix.wav --style core --clip scale").output, HasSubstr("lowered"));
    EXPECT_EQ(Run("harmonize lead.wav --clip loud").status, 2);
}

// A lead at full scale, for stems that go above it.
TEST_F(Command, StemsAreLoweredTogetherSoThatTheyKeepTheirBalance) {
    SungRecording song = SingPhrase();
    const auto highest = static_cast<float>(Peak(song.samples));
    {
        AudioWriter writer(Path("lead.wav"), SampleFormat::Float, 1, 44100);
        for (float& sample : song.samples) {
            sample *= 1.25f / highest;
        }
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }
    const std::string call = "harmonize lead.wav -q --voices 2 --gains 0.1 --format float -o m.wav ";
    ASSERT_EQ(Run(call + "--stems none --clip none").output, "");
    const auto result = Run(call + "--stems scale --clip scale --report r.json");
    EXPECT_THAT(result.output, HasSubstr("lead.wav "));
    const Json report = Json::parse(Text("r.json"));
    const double gain = std::pow(10.0, LevelOf(report, "scale/lead.wav")["gain_db"].get<double>() / 20.0);
    EXPECT_LE(gain, 0.8001);
    double peak = 0.0;
    for (const std::string name : {"lead", "voice1", "voice2"}) {
        const std::vector<float> before = ReadAudio(Path("none/" + name + ".wav")).samples;
        const std::vector<float> after = ReadAudio(Path("scale/" + name + ".wav")).samples;
        peak = std::max(peak, Peak(after));
        for (std::size_t i = 0; i < before.size(); ++i) {
            ASSERT_NEAR(after[i], before[i] * gain, 2e-4) << name << i;
        }
    }
    EXPECT_NEAR(peak, 1.0, 1e-6);
}

TEST_F(Command, ChordsComeAsTextOrFile) {
    WriteLead("lead.wav");
    std::ofstream(Path("chords.txt")) << "0 C\n2.5 F:maj\n5 G7\n";
    ASSERT_EQ(Run("harmonize lead.wav --chords chords.txt -o a.wav --report a.json").status, 0);
    ASSERT_EQ(Run("harmonize lead.wav --chords '0 C, 2.5 F, 5 G7' -o b.wav").status, 0);
    EXPECT_EQ(ReadAudio(Path("a.wav")).samples, ReadAudio(Path("b.wav")).samples);
    ASSERT_EQ(Run("harmonize lead.wav -o none.wav").status, 0);
    EXPECT_NE(ReadAudio(Path("a.wav")).samples, ReadAudio(Path("none.wav")).samples);
    const Json report = Json::parse(Text("a.json"));
    EXPECT_EQ(report["chords"][1]["name"], "F");
}

// What the voices sing at a time, by the report.
std::vector<int> SungAt(const Json& report, double seconds) {
    std::vector<int> pitches;
    for (const Json& voice : report["voices"]) {
        for (const Json& note : voice["notes"]) {
            if (note["start_s"] <= seconds && seconds < note["end_s"]) {
                pitches.push_back(static_cast<int>(std::lround(note["pitch_midi"].get<double>())));
            }
        }
    }
    return pitches;
}

TEST_F(Command, AChordHoldsForTheNoteItIsMeantFor) {
    WriteLead("lead.wav");
    // The second phrase starts at 2.7 s; the chord comes in the rest before it.
    ASSERT_EQ(Run("harmonize lead.wav --chords '0 C, 2.55 F' -o a.wav --report a.json").status, 0);
    const Json report = Json::parse(Text("a.json"));
    for (const int pitch : SungAt(report, 0.3)) {
        EXPECT_THAT(pitch % 12, testing::AnyOf(0, 4, 7));
    }
    const auto second = SungAt(report, 4.2);  // E, and the tones of F
    ASSERT_EQ(second.size(), 4u);
    for (std::size_t v = 1; v < 4; ++v) {
        EXPECT_THAT(second[v] % 12, testing::AnyOf(5, 9, 0)) << v;
    }
}

TEST_F(Command, NoChordAtTheStartDoesNotSilenceTheChoir) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav --chords '0 N, 1 C' -o a.wav --stems stems").status, 0);
    EXPECT_GT(Peak(ReadAudio(Path("stems/voice2.wav")).samples), 0.05);
}

TEST_F(Command, MidiNotesDriveTheVoices) {
    WriteLead("lead.wav");
    Song song;
    song.tracks.push_back({"low", {{0.0, 2.0, 48.0, 1.0}}});
    song.tracks.push_back({"high", {{1.0, 2.0, 72.0, 1.0}}});
    WriteMidiFile(Path("voices.mid"), song);
    const auto result =
        Run("harmonize lead.wav --notes voices.mid --stems stems --format float -o mix.wav --report r.json");
    ASSERT_EQ(result.status, 0) << result.output;
    EXPECT_FALSE(fs::exists(Path("stems/voice3.wav")));
    const Audio low = ReadAudio(Path("stems/voice1.wav"));
    const Audio high = ReadAudio(Path("stems/voice2.wav"));
    const auto level = [](const Audio& audio, double from, double to) {
        double sum = 0.0;
        for (int i = static_cast<int>(from * 44100); i < static_cast<int>(to * 44100); ++i) {
            sum += audio.samples[i] * audio.samples[i];
        }
        return std::sqrt(sum);
    };
    EXPECT_GT(level(low, 0.2, 1.9), 1.0);
    EXPECT_EQ(level(high, 0.0, 0.9), 0.0);
    EXPECT_GT(level(high, 1.1, 1.9), 1.0);
    EXPECT_EQ(level(low, 3.0, 6.0), 0.0);
    EXPECT_EQ(SungAt(Json::parse(Text("r.json")), 1.5), (std::vector<int>{48, 72}));
}

// A singer 40 cents flat, so that notes and what sounds are well apart.
TEST_F(Command, HarmonizeWritesWhatIsSungAsMidiAndAsATable) {
    const SungRecording song = SingScale({59.6, 63.6, 66.6, 64.6, 61.6, 59.6}, 0.6, 3);
    {
        AudioWriter writer(Path("lead.wav"), SampleFormat::Float, 1, song.sampleRate);
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }
    const std::string call = "harmonize lead.wav -q -o m.wav --chords '0 C, 1.9 G7, 2.9 C' ";
    ASSERT_EQ(Run(call + "--midi-out bent.mid --bends --csv a.csv --report r.json --bpm 90").status, 0);
    ASSERT_EQ(Run(call + "--midi-out plain.mid").status, 0);
    const Json report = Json::parse(Text("r.json"));
    std::vector<std::vector<Json>> lines(1);
    for (const Json& note : report["notes"]) {
        lines[0].push_back(note);
    }
    for (const Json& voice : report["voices"]) {
        lines.emplace_back(voice["notes"].begin(), voice["notes"].end());
    }
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_LT(lines[0][0]["pitch_midi"], 59.7);
    EXPECT_EQ(lines[0][0]["note_midi"], 60);

    // The table has the report's notes, row by row.
    std::istringstream table(Text("a.csv"));
    std::string row;
    ASSERT_TRUE(std::getline(table, row));
    EXPECT_EQ(row, "voice,start_s,end_s,note_midi,note,cents,pitch_midi,frequency_hz,level");
    for (std::size_t v = 0; v < lines.size(); ++v) {
        const std::string name = v == 0 ? "Lead" : report["voices"][v - 1]["name"].get<std::string>();
        for (const Json& note : lines[v]) {
            ASSERT_TRUE(std::getline(table, row));
            std::vector<std::string> cells;
            std::istringstream text(row);
            for (std::string cell; std::getline(text, cell, ',');) {
                cells.push_back(cell);
            }
            ASSERT_EQ(cells.size(), 9u) << row;
            EXPECT_EQ(cells[0], name);
            EXPECT_NEAR(std::stod(cells[1]), note["start_s"], 0.0006);
            EXPECT_NEAR(std::stod(cells[2]), note["end_s"], 0.0006);
            EXPECT_EQ(std::stoi(cells[3]), note["note_midi"]);
            EXPECT_NEAR(std::stod(cells[6]), note["pitch_midi"], 0.0006);
            EXPECT_NEAR(std::stod(cells[5]), 100.0 * (std::stod(cells[6]) - std::stoi(cells[3])), 0.1);
            EXPECT_NEAR(std::stod(cells[7]), 440.0 * std::exp2((std::stod(cells[6]) - 69.0) / 12.0), 0.01);
        }
    }
    EXPECT_FALSE(std::getline(table, row));

    if (!HaveMidicsv()) {
        GTEST_SKIP() << "midicsv is not installed";
    }
    for (const bool bent : {true, false}) {
        const std::string file = Path(bent ? "bent.mid" : "plain.mid");
        const double beat = 60.0 / (bent ? 90.0 : 120.0);  // [s]
        EXPECT_EQ(MarkersOfMidi(file), (std::vector<std::string>{"C", "G7", "C"}));
        const auto played = PlayedByMidi(file);
        ASSERT_EQ(played.size(), lines.size());
        for (std::size_t v = 0; v < lines.size(); ++v) {
            ASSERT_EQ(played[v].size(), lines[v].size()) << v;
            for (std::size_t n = 0; n < lines[v].size(); ++n) {
                const Json& note = lines[v][n];
                EXPECT_NEAR(played[v][n].start * beat, note["start_s"], 0.002);
                EXPECT_NEAR(played[v][n].end * beat, note["end_s"], 0.002);
                const double pitch =
                    bent ? note["pitch_midi"].get<double>() : note["note_midi"].get<double>();
                EXPECT_NEAR(played[v][n].pitch, pitch, bent ? 0.001 : 0.0)
                    << v << " " << n;  // a tenth of a cent
            }
        }
    }
}

TEST_F(Command, HarmonizeWritesSheetMusicThatAnotherProgramReads) {
    WriteLead("lead.wav");
    const std::string call =
        "harmonize lead.wav -q -o m.wav --chords '0 C, 2.6 F, 5.4 C' --musicxml a.musicxml --report r.json";
    ASSERT_EQ(Run(call + " --bpm 100").output, "");
    const std::string sheet = Text("a.musicxml");
    const Json report = Json::parse(Text("r.json"));
    std::vector<std::string> names;
    for (const Json& voice : report["voices"]) {
        names.push_back(voice["name"]);
        EXPECT_THAT(sheet, HasSubstr("<part-name>" + names.back() + "</part-name>"));
    }
    EXPECT_THAT(sheet, HasSubstr("<harmony"));
    EXPECT_THAT(sheet, HasSubstr("<work-title>lead.wav</work-title>"));
    if (!HaveLilyPond()) {
        GTEST_SKIP() << "LilyPond is not installed";
    }
    const auto scores = PartsOfScores({{Path("a.musicxml"), names}});
    ASSERT_EQ(scores.size(), 1u);
    ASSERT_EQ(scores[0].size(), names.size());
    // The doubling sings the melody that was sung, a note each.
    std::vector<int> sung;
    for (const Struck& note : scores[0][0]) {
        sung.push_back(note.pitch);
    }
    EXPECT_EQ(sung, (std::vector<int>{60, 62, 64, 65, 67, 64, 62, 60, 59, 60}));
    for (std::size_t v = 1; v < names.size(); ++v) {
        EXPECT_GE(scores[0][v].size(), 8u) << names[v];
    }
}

TEST_F(Command, NotesAreReadByNotesAndByItsOldNameWithAWord) {
    WriteLead("lead.wav");
    Song song;
    song.tracks.push_back({"low", {{0.0, 2.0, 48.0, 1.0}}});
    WriteMidiFile(Path("voices.mid"), song);
    EXPECT_EQ(Run("harmonize lead.wav -q --notes voices.mid -o a.wav").output, "");
    const auto old = Run("harmonize lead.wav -q --midi voices.mid -o b.wav");
    EXPECT_EQ(old.status, 0);
    EXPECT_THAT(old.output, HasSubstr("write --notes"));
    EXPECT_EQ(std::count(old.output.begin(), old.output.end(), '\n'), 1);
    EXPECT_EQ(Text("a.wav"), Text("b.wav"));
    EXPECT_EQ(Run("harmonize lead.wav --notes voices.mid --midi voices.mid").status, 2);
    // Writing is --midi-out everywhere.
    EXPECT_EQ(Run("analyze lead.wav -q --midi-out c.mid").status, 0);
    EXPECT_EQ(Run("analyze lead.wav -q --midi d.mid").status, 0);
    EXPECT_EQ(Text("c.mid"), Text("d.mid"));
    EXPECT_EQ(Run("arrange lead.wav -q --midi-out e.mid").output, "");
    EXPECT_FALSE(Text("e.mid").empty());
}

TEST_F(Command, MoreThanTwoChannelsAreMixedDownAndThatIsSaid) {
    WriteLead("surround.wav", 5);
    const auto result = Run("harmonize surround.wav --quiet");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("5 channels"));
}

TEST_F(Command, AnalyzeFindsTheNotesThatWereSung) {
    WriteLead("lead.wav");
    const auto result = Run(
        "analyze lead.wav --json a.json --csv a.csv --labels a.txt --f0 a.f0 --midi a.mid --picture a.svg");
    ASSERT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("key     C major"));
    const Json json = Json::parse(Text("a.json"));
    EXPECT_EQ(json["schema"], 2);
    EXPECT_EQ(json["kind"], "take");
    EXPECT_EQ(json["key"]["name"], "C major");
    EXPECT_EQ(json["core_key"]["name"], "C major");
    ASSERT_EQ(json["key"]["candidates"].size(), 2u);
    EXPECT_EQ(json["key"]["candidates"][0]["confidence"], json["key"]["confidence"]);
    EXPECT_THAT(result.output, HasSubstr("), or ")) << "the runner-up";
    const int sung[] = {60, 62, 64, 65, 67, 64, 62, 60, 59, 60};
    ASSERT_EQ(json["notes"].size(), 10u);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_NEAR(json["notes"][i]["pitch_midi"], sung[i], 0.2) << i;
    }
    EXPECT_THAT(Text("a.csv"), HasSubstr("start_s,end_s,pitch_midi,frequency_hz,note,cents,level\n"));
    EXPECT_THAT(Text("a.txt"), HasSubstr("\tC4\n"));
    EXPECT_THAT(Text("a.f0"), HasSubstr(",0.000\n"));
    const Song song = ReadMidiFile(Path("a.mid"));
    ASSERT_EQ(song.tracks.at(0).notes.size(), 10u);
    EXPECT_EQ(song.tracks[0].notes[4].pitch, 67.0);
    EXPECT_THAT(Text("a.svg"), HasSubstr("<svg"));
}

// A warning, status 0, and no note anywhere.
TEST_F(Command, ARecordingWithoutAVoiceHasNoNotes) {
    AudioWriter writer(Path("noise.wav"), SampleFormat::Float, 1, 44100);
    const std::vector<float> noise = Noise(2 * 44100, 4, 0.3f);
    writer.Write(noise.data(), static_cast<int32_t>(noise.size()));
    writer.Finish();
    const std::string warning = "mlh: no voice was found in the recording\n";

    auto result = Run("analyze noise.wav --json a.json --csv a.csv --labels a.txt --midi a.mid -q");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, warning);
    Json json = Json::parse(Text("a.json"));
    EXPECT_TRUE(json["notes"].empty());
    EXPECT_TRUE(json["key"]["name"].is_null());
    EXPECT_TRUE(json["tuning"].is_null());
    EXPECT_EQ(json["warnings"].size(), 1u);
    EXPECT_EQ(Text("a.csv"), "start_s,end_s,pitch_midi,frequency_hz,note,cents,level\n");
    EXPECT_EQ(Text("a.txt"), "");
    const auto notes = [&](const std::string& name) {
        std::size_t count = 0;
        for (const auto& track : ReadMidiFile(Path(name)).tracks) {
            count += track.notes.size();
        }
        return count;
    };
    EXPECT_EQ(notes("a.mid"), 0u);
    EXPECT_THAT(Run("analyze noise.wav").output, HasSubstr("key     none found\n"));

    for (const std::string style : {"choir", "four-part"}) {
        result = Run("harmonize noise.wav --style " + style + " -o c.wav --report c.json -q");
        EXPECT_EQ(result.status, 0) << style;
        EXPECT_EQ(result.output, warning) << style;
        json = Json::parse(Text("c.json"));
        EXPECT_TRUE(json["notes"].empty());
        for (const Json& voice : json["voices"]) {
            EXPECT_TRUE(voice["notes"].empty());
        }
    }
    result = Run("arrange noise.wav --json d.json --midi d.mid -q");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, warning);
    json = Json::parse(Text("d.json"));
    EXPECT_TRUE(json["notes"].empty());
    EXPECT_TRUE(json["key"]["name"].is_null());
    EXPECT_EQ(notes("d.mid"), 0u);
}

TEST_F(Command, PicturesAreSvgOrPng) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav --picture a.png -q").status, 0);
    EXPECT_EQ(Text("a.png").substr(1, 3), "PNG");
    const auto wrong = Run("harmonize lead.wav --picture a.gif -q");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.output, HasSubstr(".svg or .png"));
}

TEST_F(Command, AFileWhoseNameBeginsWithADashIsExplained) {
    WriteLead("-lead.wav");
    const auto result = Run("analyze -lead.wav");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, testing::EndsWith("; for the file write ./-lead.wav\n"));
    EXPECT_EQ(Run("analyze ./-lead.wav -q").status, 0);
}

TEST_F(Command, WrongUseIsStatusTwoWithOneLine) {
    WriteLead("lead.wav");
    for (const std::string arguments : {"",
                                        "sing lead.wav",
                                        "harmonize",
                                        "harmonize lead.wav --voices 5",
                                        "harmonize lead.wav --voices 1",
                                        "harmonize lead.wav --above 4",
                                        "harmonize lead.wav --spread 1.5",
                                        "harmonize lead.wav --key H",
                                        "harmonize lead.wav --format 8",
                                        "harmonize lead.wav --gains loud",
                                        "harmonize lead.wav --chords '0 Cx'",
                                        "harmonize lead.wav --chords 'C | F'",
                                        "harmonize lead.wav --chords C --midi a.mid",
                                        "analyze",
                                        "harmonize lead.wav -o mix.xyz",
                                        "harmonize lead.wav -o -",
                                        "harmonize lead.wav --spread nan",
                                        "harmonize lead.wav --bpm nan",
                                        "harmonize lead.wav --chords ''",
                                        "harmonize -",
                                        "arrange lead.wav --track 1",
                                        "arrange lead.wav --key 'D dorain'",
                                        "analyze lead.wav --csv a --json a"}) {
        const auto result = Run(arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_THAT(result.output, testing::StartsWith("mlh: ")) << arguments;
    }
    EXPECT_FALSE(fs::exists(Path("lead-choir.wav")));
    EXPECT_THAT(Run("sing lead.wav").output, HasSubstr("no command 'sing'"));
}

TEST_F(Command, FailuresAreStatusOneWithOneLine) {
    WriteLead("lead.wav");
    std::ofstream(Path("text.wav")) << "this is no sound";
    std::ofstream(Path("empty.wav"));
    WriteLead("slow.wav", 1, 8000.0);
    for (const std::string arguments :
         {"harmonize missing.wav", "harmonize text.wav", "harmonize empty.wav", "harmonize slow.wav",
          "harmonize lead.wav -o missing/folder/mix.wav", "harmonize lead.wav --midi missing.mid",
          "harmonize lead.wav --chords chords.txt", "harmonize lead.wav --midi text.wav",
          "analyze lead.wav --json missing/a.json", "harmonize ."}) {
        const auto result = Run(arguments);
        EXPECT_EQ(result.status, 1) << arguments << "\n" << result.output;
        EXPECT_THAT(result.output, HasSubstr("mlh: ")) << arguments;
    }
    const std::string reason = std::error_code(ENOENT, std::system_category()).message();
    EXPECT_EQ(Run("harmonize missing.wav").output, "mlh: cannot read missing.wav: " + reason + "\n");
}

TEST_F(Command, WhatBeginsWithASlashIsAFileName) {
    for (const std::string name : {"/h", "/help", "/q", "/level:0"}) {
        const auto result = Run("analyze " + name);
        EXPECT_EQ(result.status, 1) << name;
        EXPECT_THAT(result.output, testing::StartsWith("mlh: cannot read " + name + ": "));
    }
}

TEST_F(Command, NoOutputTakesThePlaceOfAnInput) {
    WriteLead("lead.wav");
    std::ofstream(Path("chords.txt"), std::ios::binary) << "0 C\n";
    const std::string before = Text("lead.wav");
    for (const std::string arguments :
         {"harmonize lead.wav -o lead.wav", "harmonize lead.wav --stems .",
          "analyze lead.wav --f0 ./lead.wav", "harmonize lead.wav --chords chords.txt --report chords.txt",
          "arrange lead.wav --midi lead.wav"}) {
        const auto result = Run(arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_THAT(result.output, HasSubstr("choose another name")) << arguments;
    }
    EXPECT_EQ(Text("lead.wav"), before);
    EXPECT_EQ(Text("chords.txt"), "0 C\n");
}

#ifndef _WIN32

// The file under work is a pipe that fills up, so that the command is sure to be at it when the interrupt
// comes.
TEST_F(Command, AnInterruptLeavesNoHalfWrittenFile) {
    const SungRecording song = SingPhrase();
    AudioWriter writer(Path("long.wav"), SampleFormat::Int16, 1, 44100);
    for (int i = 0; i < 8; ++i) {
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
    }
    writer.Finish();
    ASSERT_EQ(Run("analyze long.wav --f0 whole.csv -q").status, 0);
    ASSERT_GT(fs::file_size(Path("whole.csv")), 2u * 65536u);  // what a pipe holds
    const auto result = RunLine(
        "sh -c 'work=.unfinished-$$-pitch.csv; mkfifo $work; "
        "(exec 3<$work; kill -INT $$) >/dev/null 2>&1 & exec " +
        BinaryDir() + "/mlh analyze long.wav --f0 pitch.csv'");
    EXPECT_NE(result.status, 0);
    EXPECT_FALSE(fs::exists(Path("pitch.csv")));
    EXPECT_THAT(HalfWritten(), testing::IsEmpty());
}

// No file may grow: to a program the same as a full disk.
TEST_F(Command, AFullDiskIsAFailureThatNamesTheFile) {
    WriteLead("lead.wav");
    for (const std::string call :
         {"harmonize lead.wav -o full.wav", "harmonize lead.wav -o full.flac",
          "analyze lead.wav --json full.json", "analyze lead.wav --labels full.txt",
          "analyze lead.wav --midi full.mid", "arrange lead.wav --musicxml full.xml",
          "arrange lead.wav --picture full.svg", "arrange lead.wav --picture full.png"}) {
        const auto result = RunLine("trap '' XFSZ && ulimit -f 0 && " + BinaryDir() + "/mlh " + call + " -q");
        EXPECT_EQ(result.status, 1) << call;
        EXPECT_THAT(result.output, testing::StartsWith("mlh: cannot ")) << call;
        EXPECT_THAT(result.output, HasSubstr(" full.")) << call;
        const bool hasReasonOfItsOwn = call.ends_with(".flac") || call.find("--picture") != std::string::npos;
        EXPECT_THAT(result.output, HasSubstr(hasReasonOfItsOwn ? ": " : ": File too large")) << call;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
    }
    EXPECT_THAT(HalfWritten(), testing::IsEmpty());
    for (const auto& entry : fs::directory_iterator(folder)) {
        EXPECT_EQ(entry.path().filename(), "lead.wav");
    }
}

TEST_F(Command, WhatCannotBePrintedIsAFailure) {
    WriteLead("lead.wav");
    for (const std::string call : {"analyze lead.wav", "--version", "analyze --help"}) {
        const auto result = RunLine("(" + BinaryDir() + "/mlh " + call + " >/dev/full)");
        EXPECT_EQ(result.status, 1) << call;
        EXPECT_EQ(result.output, "mlh: cannot write to standard output\n") << call;
    }
    EXPECT_EQ(RunLine("(" + BinaryDir() + "/mlh analyze lead.wav -q >/dev/full)").status, 0);
}

TEST_F(Command, FileNamesMayBeAnyBytes) {
    const std::string name = "l\351ad\001";  // as an old disk has it, and a slip of the keyboard
    const std::string shown = "l\uFFFDad";
    WriteLead(name + ".wav");
    for (const std::string& call :
         {"harmonize '" + name + ".wav' --stems 's\351' --report a.json --picture a.svg",
          "analyze '" + name + ".wav' --json a.json --picture a.svg",
          "arrange '" + name + ".wav' --json a.json --picture a.svg --musicxml a.xml"}) {
        const auto result = Run(call + " -q");
        EXPECT_EQ(result.status, 0) << result.output;
        EXPECT_THAT(Json::parse(Text("a.json")).dump(), HasSubstr(shown)) << call;
        EXPECT_THAT(Text("a.svg"), HasSubstr("</svg>")) << call;
    }
    EXPECT_THAT(Text("a.xml"), HasSubstr("<work-title>" + shown + "?.wav</work-title>"));
    EXPECT_TRUE(fs::exists(Path(name + "-choir.wav")));
}

TEST_F(Command, AMessageIsOneLineWhateverTheNames) {
    for (const std::string call :
         {"analyze 'no\nfile\033[31m.wav'", "'no\ncommand'", "analyze --json 'no\n/a' b"}) {
        const auto result = Run(call);
        EXPECT_NE(result.status, 0) << call;
        EXPECT_EQ(result.output.find_first_of("\n\033"), result.output.size() - 1) << result.output;
    }
}

TEST_F(Command, WhatOnlyFilesCanBeIsNotReadFromPipes) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav -o lead.flac -q").status, 0);
    const auto pipe = [&](const std::string& file, const std::string& call) {
        return RunLine("cat " + file + " | " + BinaryDir() + "/mlh " + call + " -q");
    };
    EXPECT_EQ(pipe("lead.wav", "analyze /dev/stdin --csv a.csv").output, "");
    ASSERT_EQ(Run("analyze lead.wav -q --csv b.csv").status, 0);
    EXPECT_EQ(Text("a.csv"), Text("b.csv"));
    EXPECT_THAT(pipe("lead.flac", "analyze /dev/stdin").output, HasSubstr("a pipe can only carry WAV"));
    EXPECT_THAT(pipe("lead.wav", "arrange /dev/stdin").output, HasSubstr("a pipe can only carry a table"));
}

TEST_F(Command, ChordsMayComeThroughAPipe) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav --chords '0 C, 2.5 F' -o a.wav -q").status, 0);
    const auto piped = RunLine("echo '0 C, 2.5 F' | " + BinaryDir() +
                               "/mlh harmonize lead.wav --chords /dev/stdin -o b.wav -q");
    EXPECT_EQ(piped.output, "");
    EXPECT_EQ(Text("a.wav"), Text("b.wav"));
}

#endif

TEST_F(Command, ADamagedRecordingIsRefusedOrReadAsFarAsItGoes) {
    WriteLead("lead.wav");
    ASSERT_EQ(Run("harmonize lead.wav --gains 1,0,0,0,0 -o whole.flac -q").output, "");
    EXPECT_EQ(Run("analyze whole.flac -q").output, "");
    const std::string whole = Text("whole.flac");
    const auto damage = [&](std::size_t from, std::size_t to) {
        std::string bytes = whole;
        for (std::size_t i = from; i < to; ++i) {
            bytes[i] = static_cast<char>(~bytes[i]);
        }
        std::ofstream(Path("damaged.flac"), std::ios::binary) << bytes;
        return Run("analyze damaged.flac -q");
    };
    const auto half = damage(whole.size() / 2, whole.size() / 2 + 100);
    EXPECT_EQ(half.status, 1);
    EXPECT_THAT(half.output, testing::StartsWith("mlh: damaged.flac is damaged: "));
    EXPECT_THAT(half.output, testing::HasSubstr("--accept-damage"));
    const auto accepted = Run("analyze damaged.flac -q --accept-damage");
    EXPECT_EQ(accepted.status, 0);
    EXPECT_THAT(accepted.output, testing::StartsWith("mlh: damaged.flac is damaged: "));
    const auto none = damage(200, whole.size());  // all but the header
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "mlh: damaged.flac: it is damaged; nothing of it can be read\n");
}

TEST_F(Command, OnAPipeThereIsNoProgressBar) {
    WriteLead("lead.wav");
    EXPECT_THAT(Run("analyze lead.wav").output, Not(HasSubstr("\r")));
}

}  // namespace

}  // namespace mlh::cli
