// mlh arrange and the styles of harmonize, as their users meet them.
#include "mlh/arrange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "files/AudioFile.h"
#include "support/CommandFolder.h"
#include "support/NotationReaders.h"
#include "support/SungTunes.h"

namespace mlh::cli {

namespace {

using testing::HasSubstr;
using Json = nlohmann::json;

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
            const bool upbeat = measure.attribute("implicit");
            EXPECT_TRUE(upbeat || time - start == bar) << path;
        }
        parts.push_back(part);
    }
    return parts;
}

std::vector<Part> PartsOfJson(const Json& json) {
    std::vector<Part> parts;
    for (const Json& voice : json["voices"]) {
        Part part;
        for (const Json& note : voice["notes"]) {
            const double onset = note["onset_beats"];
            const double length = note["length_beats"];
            part.push_back({static_cast<int>(std::lround(24 * onset)),
                            static_cast<int>(std::lround(24 * (onset + length))), note["pitch_midi"]});
        }
        parts.push_back(part);
    }
    return parts;
}

// What a voice sings to a note of the melody; null where it rests.
Json PitchOf(const Json& json, const std::string& voice, std::size_t lead) {
    for (const Json& line : json["voices"]) {
        for (const Json& note : line["notes"]) {
            if (line["name"] == voice && note["lead"] == lead) {
                return note["pitch_midi"];
            }
        }
    }
    return nullptr;
}

class Arrange : public CommandFolder {
  protected:
    Arrange() {
        // A rest, a note over a bar line, dots and an upbeat.
        std::ofstream(Path("tune.tsv")) << "# title: Tune\n# key: G major\n# meter: 3/4\n# tempo: 90\n"
                                           "0\t1\t67\tG:maj\n1\t1.5\t71\t-\n2.5\t0.5\t69\tD:7\n"
                                           "3 2 67 G\n6,2,72,C\n8;1;71;G\n9\t1\t69\tD7\n10\t3\t67\tG\n";
    }
};

const std::vector<std::string> kStyles = {"choir",
                                          "choir --voices 3 --above 2 --spread 1",
                                          "four-part",
                                          "four-part --lead bass --spacing close",
                                          "four-part --lead tenor --spacing wide",
                                          "four-part --chords-from given --lead alto",
                                          "four-part --chords-from tracker",
                                          "chords",
                                          "chords --voices 2",
                                          "intervals",
                                          "intervals --intervals 0,7,-7,-2",
                                          "block",
                                          "block --variant stack-wide",
                                          "block --variant open-passing",
                                          "fourths --variant below",
                                          "fixed --variant fourth-and-fifth",
                                          "double --interval -12"};

TEST_F(Arrange, EveryStyleWritesTheSameNotesEverywhere) {
    for (const std::string& style : kStyles) {
        const auto result =
            Run("arrange tune.tsv --upbeat 1 --midi a.mid --musicxml a.musicxml --json a.json "
                "--picture a.svg --style " +
                style);
        ASSERT_EQ(result.status, 0) << style << result.output;
        const Json json = Json::parse(Text("a.json"));
        EXPECT_EQ(json["schema"], 2);
        EXPECT_EQ(json["kind"], "score");
        EXPECT_EQ(json["key"]["name"], "G major");
        const auto parts = PartsOfJson(json);
        EXPECT_EQ(parts[0].size(), 8u) << style;
        EXPECT_TRUE(!HaveMidicsv() || PartsOfMidi(Path("a.mid")) == parts) << style;
        EXPECT_EQ(PartsOfMusicXml(Path("a.musicxml")), parts) << style;
        EXPECT_THAT(Text("a.svg"), HasSubstr("<svg"));
    }
}

TEST_F(Arrange, NotationSoftwareReadsTheSameNotes) {
    if (!HaveLilyPond() || !HaveMidicsv()) {
        GTEST_SKIP() << "lilypond or midicsv is missing";
    }
    // Triplets, a dotted eighth, notes over bar lines, a whole bar of rest and a change of metre in the
    // upbeat's wake.
    std::ofstream(Path("rhythm.tsv"))
        << "# key: A harmonic-minor\n# meter: 4/4\n# upbeat: 0.5\n"
           "0 0.5 69\n0.5 0.333333 71\n0.833333 0.333333 72\n1.166667 0.333333 74\n"
           "1.5 0.75 76\n2.25 0.25 77\n2.5 5 76\n12.5 1.25 80\n13.75 0.75 81\n";
    std::vector<Score> scores;
    std::vector<std::vector<Part>> wanted;
    const auto add = [&](const std::string& arguments) {
        std::string name = "a";
        name += std::to_string(scores.size());
        const auto result = Run("arrange -q " + arguments + " --json " + name + ".json --midi " + name +
                                ".mid --musicxml " + name + ".musicxml");
        ASSERT_EQ(result.status, 0) << result.output;
        const Json json = Json::parse(Text(name + ".json"));
        std::vector<std::string> names;
        for (const Json& voice : json["voices"]) {
            names.push_back(voice["name"]);
        }
        scores.push_back({Path(name + ".musicxml"), names});
        wanted.push_back(PartsOfJson(json));
        EXPECT_EQ(PartsOfMidi(Path(name + ".mid")), wanted.back()) << arguments;
    };
    for (const std::size_t style : {0, 1, 2, 4, 5, 8, 13, 16}) {
        add("tune.tsv --upbeat 1 --style " + kStyles.at(style));
    }
    add("rhythm.tsv");
    add("rhythm.tsv --style four-part");
    add("rhythm.tsv --key 'Eb mixolydian' --style block");
    const auto read = PartsOfScores(scores);
    ASSERT_EQ(read.size(), scores.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        EXPECT_EQ(read[i], wanted[i]) << i;
    }
}

TEST_F(Arrange, FourPartsKeepTheMelodyInTheVoiceAskedFor) {
    const char* const voices[] = {"Soprano", "Alto", "Tenor", "Bass"};
    const char* const leads[] = {"soprano", "alto", "tenor", "bass"};
    for (int v = 0; v < 4; ++v) {
        ASSERT_EQ(Run(std::string("arrange tune.tsv -q --json a.json --lead ") + leads[v]).status, 0);
        const Json json = Json::parse(Text("a.json"));
        for (std::size_t i = 0; i < json["notes"].size(); ++i) {
            EXPECT_EQ(PitchOf(json, voices[v], i), json["notes"][i]["pitch_midi"]);
            for (const char* voice : voices) {
                EXPECT_FALSE(PitchOf(json, voice, i).is_null());
            }
        }
    }
}

TEST_F(Arrange, TheMelodyLiesWhereItIsUnlessItIsMovedByOctaves) {
    ASSERT_EQ(Run("arrange tune.tsv -q --json a.json --lead bass").status, 0);
    ASSERT_EQ(Run("arrange tune.tsv -q --json b.json --lead bass --octave -2").status, 0);
    const Json high = Json::parse(Text("a.json"));
    const Json low = Json::parse(Text("b.json"));
    ASSERT_EQ(high["notes"].size(), 8u);
    for (std::size_t i = 0; i < high["notes"].size(); ++i) {
        EXPECT_EQ(PitchOf(high, "Bass", i), high["notes"][i]["pitch_midi"]);
        for (const char* voice : {"Bass", "Tenor", "Alto", "Soprano"}) {
            EXPECT_EQ(PitchOf(low, voice, i), PitchOf(high, voice, i).get<int>() - 24);
        }
    }
    EXPECT_EQ(Run("arrange tune.tsv --octave 5").status, 2);
}

TEST_F(Arrange, EveryScaleIsTakenByNameAndWithTheKey) {
    for (const std::string& scale : mlh::ScaleNames()) {
        ASSERT_EQ(Run("arrange tune.tsv -q --json a.json --key G --scale " + scale).status, 0) << scale;
        ASSERT_EQ(Run("arrange tune.tsv -q --json b.json --key 'G " + scale + "'").status, 0) << scale;
        EXPECT_EQ(Text("a.json"), Text("b.json")) << scale;
        EXPECT_EQ(Json::parse(Text("a.json"))["key"]["name"], "G " + scale);
        EXPECT_THAT(Run("arrange --help").output, HasSubstr(scale));
    }
}

// Signature, mode, metre, clefs, names, bracket, chord symbols and spelling of a score, as notation programs
// take them over.
TEST_F(Arrange, SheetMusicSaysKeyMetreClefsNamesAndChords) {
    ASSERT_EQ(Run("arrange tune.tsv -q --upbeat 1 --style four-part --musicxml a.musicxml").status, 0);
    pugi::xml_document document;
    ASSERT_TRUE(document.load_file(Path("a.musicxml").c_str()));
    const auto score = document.child("score-partwise");
    const std::vector<std::string> names = {"Soprano", "Alto", "Tenor", "Bass"};
    const std::vector<std::string> clefs = {"G", "G", "G", "F"};
    std::size_t v = 0;
    for (const auto part : score.child("part-list").children("score-part")) {
        EXPECT_EQ(part.child("part-name").text().get(), names.at(v++));
    }
    EXPECT_STREQ(score.child("part-list").child("part-group").child("group-symbol").text().get(), "bracket");
    v = 0;
    for (const auto part : score.children("part")) {
        const auto attributes = part.child("measure").child("attributes");
        EXPECT_EQ(attributes.child("key").child("fifths").text().as_int(), 1);
        EXPECT_STREQ(attributes.child("key").child("mode").text().get(), "major");
        EXPECT_EQ(attributes.child("time").child("beats").text().as_int(), 3);
        EXPECT_EQ(attributes.child("clef").child("sign").text().get(), clefs.at(v));
        const std::size_t symbols = part.select_nodes("measure/harmony").size();
        EXPECT_EQ(symbols > 0, v == 0);
        ++v;
    }
    const auto chord = score.child("part").child("measure").child("harmony");
    EXPECT_STREQ(chord.child("root").child("root-step").text().get(), "G");
    EXPECT_STREQ(chord.child("kind").text().get(), "major");
}

TEST_F(Arrange, TripletsThatAreWholeStandUnderABracket) {
    // A triplet of eighths, one of a quarter and an eighth, and two thirds of one, which is no triplet.
    std::ofstream(Path("triplets.tsv"))
        << "# key: C major\n0 0.333333 60\n0.333333 0.333333 62\n0.666667 0.333333 64\n"
           "1 0.666667 65\n1.666667 0.333333 64\n2 0.666667 62\n3 1 60\n";
    ASSERT_EQ(Run("arrange triplets.tsv -q --musicxml a.musicxml").status, 0);
    pugi::xml_document document;
    ASSERT_TRUE(document.load_file(Path("a.musicxml").c_str()));
    std::vector<std::string> brackets;
    for (const auto note : document.child("score-partwise").child("part").child("measure").children("note")) {
        brackets.emplace_back(note.child("notations").child("tuplet").attribute("type").value());
    }
    ASSERT_GE(brackets.size(), 7u);
    brackets.resize(5);
    EXPECT_THAT(brackets, testing::ElementsAre("start", "", "stop", "start", "stop"));
}

TEST_F(Arrange, NotesAreSpelledInTheKey) {
    // Leading notes raised, the sixth of a flat key lowered; church modes have their own signature.
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"A harmonic-minor", "0 1 68", 0, "G#"}, {"C minor", "0 1 68", -3, "Ab"},
        {"D dorian", "0 1 61", 0, "C#"},         {"G mixolydian", "0 1 65", 0, "F"},
        {"F lydian", "0 1 71", 0, "B"},          {"E major", "0 1 63", 4, "D#"},
        {"Eb major", "0 1 68", -3, "Ab"},        {"B minor", "0 1 70", 2, "A#"},
        {"Bb major", "0 1 66", -2, "Gb"}};
    for (const auto& [key, row, fifths, name] : cases) {
        std::ofstream(Path("note.tsv")) << row << "\n";
        ASSERT_EQ(
            Run("arrange note.tsv -q --style double --musicxml a.musicxml --key '" + std::string(key) + "'")
                .status,
            0);
        pugi::xml_document document;
        ASSERT_TRUE(document.load_file(Path("a.musicxml").c_str()));
        const auto measure = document.child("score-partwise").child("part").child("measure");
        EXPECT_EQ(measure.child("attributes").child("key").child("fifths").text().as_int(), fifths) << key;
        const auto pitch = measure.child("note").child("pitch");
        const int alter = pitch.child("alter").text().as_int();
        EXPECT_EQ(pitch.child("step").text().get() + std::string(alter > 0   ? "#"
                                                                 : alter < 0 ? "b"
                                                                             : ""),
                  name)
            << key;
    }
}

TEST_F(Arrange, AMidiFileKeepsTempoMetreAndKey) {
    ASSERT_EQ(Run("arrange tune.tsv -q --midi a.mid").status, 0);
    ASSERT_EQ(Run("arrange a.mid -q --json b.json").status, 0);
    const Json json = Json::parse(Text("b.json"));
    EXPECT_EQ(json["key"]["name"], "G major");
    EXPECT_NEAR(json["tempo"][0]["bpm"], 90.0, 1e-3);
    EXPECT_EQ(json["tempo"][0]["metre"], "3/4");
    EXPECT_EQ(json["notes"].size(), 8u);
    EXPECT_EQ(json["notes"][1]["length_beats"], 1.5);
}

TEST_F(Arrange, MistakesAreToldInOneLine) {
    std::ofstream(Path("bad.tsv")) << "0 1 60\n1 x 62\n";
    std::ofstream(Path("bare.tsv")) << "0 1 60\n1 1 62\n";
    std::ofstream(Path("chord.tsv")) << "0 1 60\n0 1 64\n";
    const std::pair<const char*, int> calls[] = {{"arrange", 2},
                                                 {"arrange tune.tsv --style jazz", 2},
                                                 {"arrange tune.tsv --style block --variant above", 2},
                                                 {"arrange tune.tsv --style block --lead alto", 2},
                                                 {"arrange tune.tsv --style block --voices 3", 2},
                                                 {"arrange tune.tsv --style four-part --voices 3", 2},
                                                 {"arrange tune.tsv --style block --chords C", 2},
                                                 {"arrange tune.tsv --chords-from radio", 2},
                                                 {"arrange bare.tsv --chords-from given", 1},
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
    ASSERT_EQ(
        Run("arrange lead.wav -q --style four-part --bpm 100 --json a.json --musicxml a.musicxml").status, 0);
    const Json arranged = Json::parse(Text("a.json"));
    PartsOfMusicXml(Path("a.musicxml"));
    for (const std::string style : {"four-part", "intervals", "block", "fourths", "fixed", "double"}) {
        const auto result = Run("harmonize lead.wav -q -o mix.wav --report r.json --style " + style);
        ASSERT_EQ(result.status, 0) << style << result.output;
        const Json report = Json::parse(Text("r.json"));
        EXPECT_EQ(report["voices"][0]["notes"].size(), 10u) << style;
        if (style != "four-part") {
            continue;
        }
        for (const Json& voice : report["voices"]) {
            for (std::size_t i = 0; i < 10; ++i) {
                EXPECT_EQ(voice["notes"][i]["pitch_midi"],
                          PitchOf(arranged, voice["name"].get<std::string>(), i));
            }
        }
    }
}

}  // namespace

}  // namespace mlh::cli
