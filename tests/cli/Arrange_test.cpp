// mlh arrange and the styles of harmonize, as their users meet them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "AudioFile.h"
#include "support/Shell.h"
#include "support/SungTunes.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Json = nlohmann::json;

struct Struck {
    int start;  // [24ths of a quarter note]
    int end;
    int pitch;
    auto operator<=>(const Struck&) const = default;
};
using Part = std::vector<Struck>;

// A reader of Standard MIDI files by their bytes, for what the command may write: one status byte per event.
std::vector<Part> PartsOfMidi(const std::string& bytes) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes.at(at)); };
    const auto big = [&](std::size_t at, int count) {
        std::size_t value = 0;
        for (int i = 0; i < count; ++i) value = 256 * value + byte(at + i);
        return value;
    };
    const int ticks = static_cast<int>(big(12, 2)) / 24;
    std::vector<Part> parts;
    for (std::size_t chunk = 14; chunk < bytes.size(); chunk += 8 + big(chunk + 4, 4)) {
        Part part;
        std::map<int, int> started;
        std::size_t at = chunk + 8;
        int status = 0;
        int time = 0;
        while (at < chunk + 8 + big(chunk + 4, 4)) {
            int delta = 0;
            do delta = 128 * delta + (byte(at) & 127);
            while (byte(at++) & 128);
            time += delta;
            if (byte(at) & 128) status = byte(at++);
            if (status == 0xFF) {
                at += 2 + byte(at + 1);
                continue;
            }
            const int key = byte(at);
            if ((status & 0xF0) == 0x90 && byte(at + 1) > 0)
                started[key] = time;
            else
                part.push_back({started[key] / ticks, time / ticks, key});
            at += 2;
        }
        if (!part.empty()) parts.push_back(part);
    }
    return parts;
}

// Joins ties, and checks that each bar is as long as its metre says.
std::vector<Part> PartsOfMusicXml(const std::string& path) {
    pugi::xml_document document;
    EXPECT_TRUE(document.load_file(path.c_str()));
    std::vector<Part> parts;
    for (const auto partNode : document.child("score-partwise").children("part")) {
        Part part;
        int time = 0;
        int bar = 0;
        for (const auto measure : partNode.children("measure")) {
            if (const auto metre = measure.child("attributes").child("time")) {
                bar = 96 * metre.child("beats").text().as_int() / metre.child("beat-type").text().as_int();
            }
            const int start = time;
            for (const auto note : measure.children("note")) {
                const int length = note.child("duration").text().as_int();
                const auto pitch = note.child("pitch");
                bool goesOn = false;
                for (const auto tie : note.children("tie")) {
                    goesOn |= std::string(tie.attribute("type").value()) == "stop";
                }
                if (goesOn) {
                    part.back().end += length;
                } else if (pitch) {
                    static const std::map<std::string, int> steps = {{"C", 0}, {"D", 2}, {"E", 4}, {"F", 5},
                                                                     {"G", 7}, {"A", 9}, {"B", 11}};
                    const int midi = steps.at(pitch.child("step").text().get()) +
                                     pitch.child("alter").text().as_int() +
                                     12 * (pitch.child("octave").text().as_int() + 1);
                    part.push_back({time, time + length, midi});
                }
                time += length;
            }
            if (!measure.attribute("implicit")) EXPECT_EQ(time - start, bar) << path;
        }
        parts.push_back(part);
    }
    return parts;
}

std::vector<Part> PartsOfJson(const Json& json) {
    std::vector<Part> parts;
    for (const Json& name : json["voices"]) {
        Part part;
        for (const Json& note : json["notes"]) {
            const Json& pitch = note["voices_midi"][name.get<std::string>()];
            if (pitch.is_null()) continue;
            const double onset = note["onset_beats"];
            const double length = note["length_beats"];
            part.push_back({static_cast<int>(std::lround(24 * onset)),
                            static_cast<int>(std::lround(24 * (onset + length))), pitch});
        }
        parts.push_back(part);
    }
    return parts;
}

class Arrange : public testing::Test {
  protected:
    Arrange() : folder(fs::temp_directory_path() / ("mlh-arrange-" + std::to_string(getpid()))) {
        fs::create_directories(folder);
        // A rest, a note over a bar line, dots and an upbeat.
        std::ofstream(Path("tune.tsv")) << "# title: Tune\n# key: G major\n# meter: 3/4\n# tempo: 90\n"
                                           "0\t1\t67\tG:maj\n1\t1.5\t71\t-\n2.5\t0.5\t69\tD:7\n"
                                           "3 2 67 G\n6,2,72,C\n8;1;71;G\n9\t1\t69\tD7\n10\t3\t67\tG\n";
    }
    ~Arrange() override { fs::remove_all(folder); }
    std::string Path(const std::string& name) const { return (folder / name).string(); }
    ShellResult Run(const std::string& arguments) const {
        return RunShell("cd " + folder.string() + " && " + MLH_BINARY_DIR + "/mlh " + arguments);
    }
    std::string Text(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    fs::path folder;
};

TEST_F(Arrange, EveryStyleWritesTheSameNotesEverywhere) {
    for (const std::string style :
         {"four-part", "four-part --lead bass --spacing close", "four-part --lead tenor --spacing wide",
          "chords", "chords --voices 2", "intervals", "intervals --intervals 0,7,-7,-2", "block",
          "block --variant stack-wide", "block --variant open-passing", "fourths --variant below",
          "fixed --variant fourth-and-fifth", "double --interval -12"}) {
        const auto result =
            Run("arrange tune.tsv --upbeat 1 --midi a.mid --musicxml a.musicxml --json a.json "
                "--picture a.svg --style " +
                style);
        ASSERT_EQ(result.status, 0) << style << result.output;
        const Json json = Json::parse(Text("a.json"));
        EXPECT_EQ(json["schema"], 1);
        EXPECT_EQ(json["key"], "G major");
        const auto parts = PartsOfJson(json);
        EXPECT_EQ(parts[0].size(), 8u) << style;
        EXPECT_EQ(PartsOfMidi(Text("a.mid")), parts) << style;
        EXPECT_EQ(PartsOfMusicXml(Path("a.musicxml")), parts) << style;
        EXPECT_THAT(Text("a.svg"), HasSubstr("<svg"));
    }
}

TEST_F(Arrange, FourPartsKeepTheMelodyInTheVoiceAskedFor) {
    const char* const voices[] = {"Soprano", "Alto", "Tenor", "Bass"};
    const char* const leads[] = {"soprano", "alto", "tenor", "bass"};
    for (int v = 0; v < 4; ++v) {
        ASSERT_EQ(Run(std::string("arrange tune.tsv -q --json a.json --lead ") + leads[v]).status, 0);
        for (const Json& note : Json::parse(Text("a.json"))["notes"]) {
            EXPECT_EQ(note["voices_midi"][voices[v]], note["melody_midi"]);
            for (const char* voice : voices) EXPECT_FALSE(note["voices_midi"][voice].is_null());
        }
    }
}

TEST_F(Arrange, AMidiFileKeepsTempoMetreAndKey) {
    ASSERT_EQ(Run("arrange tune.tsv -q --midi a.mid").status, 0);
    ASSERT_EQ(Run("arrange a.mid -q --json b.json").status, 0);
    const Json json = Json::parse(Text("b.json"));
    EXPECT_EQ(json["key"], "G major");
    EXPECT_NEAR(json["tempo"][0]["bpm"], 90.0, 1e-3);
    EXPECT_EQ(json["tempo"][0]["metre"], "3/4");
    EXPECT_EQ(json["notes"].size(), 8u);
    EXPECT_EQ(json["notes"][1]["length_beats"], 1.5);
}

TEST_F(Arrange, MistakesAreToldInOneLine) {
    std::ofstream(Path("bad.tsv")) << "0 1 60\n1 x 62\n";
    std::ofstream(Path("chord.tsv")) << "0 1 60\n0 1 64\n";
    const std::pair<const char*, int> calls[] = {{"arrange", 2},
                                                 {"arrange tune.tsv --style jazz", 2},
                                                 {"arrange tune.tsv --style block --variant above", 2},
                                                 {"arrange tune.tsv --style block --lead alto", 2},
                                                 {"arrange tune.tsv --voices 3", 2},
                                                 {"arrange tune.tsv --key H", 2},
                                                 {"arrange tune.tsv --scale blues", 2},
                                                 {"arrange tune.tsv --style intervals --intervals 1,2", 2},
                                                 {"arrange tune.tsv --picture a.gif", 2},
                                                 {"arrange bad.tsv", 2},
                                                 {"arrange chord.tsv", 1},
                                                 {"arrange missing.mid", 1},
                                                 {"arrange tune.tsv --musicxml missing/a.musicxml", 1}};
    for (const auto& [call, status] : calls) {
        const auto result = Run(call);
        EXPECT_EQ(result.status, status) << call;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_THAT(result.output, testing::StartsWith("mlh: ")) << call;
    }
}

TEST_F(Arrange, ARecordingIsArrangedAndEveryStyleIsSung) {
    const SungRecording song = SingPhrase();
    {
        AudioWriter writer(Path("lead.wav"), SampleFormat::Float, 1, 44100);
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }
    ASSERT_EQ(Run("arrange lead.wav -q --bpm 100 --json a.json --musicxml a.musicxml").status, 0);
    const Json arranged = Json::parse(Text("a.json"));
    PartsOfMusicXml(Path("a.musicxml"));
    for (const std::string style : {"four-part", "intervals", "block", "fourths", "fixed", "double"}) {
        const auto result = Run("harmonize lead.wav -q -o mix.wav --report r.json --style " + style);
        ASSERT_EQ(result.status, 0) << style << result.output;
        const Json report = Json::parse(Text("r.json"));
        EXPECT_EQ(report["voices"][0]["notes"].size(), 10u) << style;
        if (style != "four-part") continue;
        for (const Json& voice : report["voices"]) {
            for (std::size_t i = 0; i < 10; ++i) {
                EXPECT_EQ(voice["notes"][i]["pitch_midi"],
                          arranged["notes"][i]["voices_midi"][voice["name"].get<std::string>()]);
            }
        }
    }
}

}  // namespace
