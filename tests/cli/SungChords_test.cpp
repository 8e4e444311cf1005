// From chords as people write them, in any form, to the notes that the choir sings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "choir/score/Song.h"
#include "files/AudioFile.h"
#include "files/MidiFile.h"
#include "support/CommandFolder.h"
#include "support/SungTunes.h"

namespace mlh::cli {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Json = nlohmann::json;
using Classes = std::set<int>;

// A spelling, the pitch classes that sound, and what reports call it.
struct Spelling {
    const char* symbol;
    Classes tones;
    const char* name;
};

const std::vector<Spelling>& Spellings() {
    static const std::vector<Spelling> spellings = {
        {"C", {0, 4, 7}, "C"},
        {"Cm", {0, 3, 7}, "Cm"},
        {"C-", {0, 3, 7}, "Cm"},
        {"Cmin", {0, 3, 7}, "Cm"},
        {"Cmi", {0, 3, 7}, "Cm"},
        {"CM", {0, 4, 7}, "C"},
        {"Cmaj", {0, 4, 7}, "C"},
        {"C\u25B3", {0, 4, 7, 11}, "Cmaj7"},
        {"Cmaj7", {0, 4, 7, 11}, "Cmaj7"},
        {"CM7", {0, 4, 7, 11}, "Cmaj7"},
        {"C\u25B37", {0, 4, 7, 11}, "Cmaj7"},
        {"Cm7", {0, 3, 7, 10}, "Cm7"},
        {"C-7", {0, 3, 7, 10}, "Cm7"},
        {"Cmin7", {0, 3, 7, 10}, "Cm7"},
        {"C7", {0, 4, 7, 10}, "C7"},
        {"C6", {0, 4, 7, 9}, "C6"},
        {"Cm6", {0, 3, 7, 9}, "Cm6"},
        {"C69", {0, 2, 4, 7, 9}, "C69"},
        {"C6/9", {0, 2, 4, 7, 9}, "C69"},
        {"C9", {0, 2, 4, 7, 10}, "C9"},
        {"Cm9", {0, 2, 3, 7, 10}, "Cm9"},
        {"Cmaj9", {0, 2, 4, 7, 11}, "Cmaj9"},
        {"C11", {0, 2, 4, 5, 7, 10}, "C11"},
        {"Cm11", {0, 2, 3, 5, 7, 10}, "Cm11"},
        {"C13", {0, 2, 4, 7, 9, 10}, "C13"},
        {"C7b9", {0, 1, 4, 7, 10}, "C7b9"},
        {"C7#9", {0, 3, 4, 7, 10}, "C7#9"},
        {"C7b5", {0, 4, 6, 10}, "C7b5"},
        {"C7#5", {0, 4, 8, 10}, "C7#5"},
        {"C7alt", {0, 1, 3, 4, 6, 8, 10}, "C7alt"},
        {"Caug", {0, 4, 8}, "Caug"},
        {"C+", {0, 4, 8}, "Caug"},
        {"C+7", {0, 4, 8, 10}, "C7#5"},
        {"Cdim", {0, 3, 6}, "Cdim"},
        {"Co", {0, 3, 6}, "Cdim"},
        {"C\u00B0", {0, 3, 6}, "Cdim"},
        {"Cdim7", {0, 3, 6, 9}, "Cdim7"},
        {"Co7", {0, 3, 6, 9}, "Cdim7"},
        {"Cm7b5", {0, 3, 6, 10}, "Cm7b5"},
        {"C\u00F8", {0, 3, 6, 10}, "Cm7b5"},
        {"C\u00F87", {0, 3, 6, 10}, "Cm7b5"},
        {"C5", {0, 7}, "C5"},
        {"Csus", {0, 5, 7}, "Csus4"},
        {"Csus4", {0, 5, 7}, "Csus4"},
        {"Csus2", {0, 2, 7}, "Csus2"},
        {"C7sus4", {0, 5, 7, 10}, "C7sus4"},
        {"Cadd9", {0, 2, 4, 7}, "Cadd9"},
        {"C2", {0, 2, 7}, "Csus2"},
        {"C4", {0, 5, 7}, "Csus4"},
        {"CmMaj7", {0, 3, 7, 11}, "CmMaj7"},
        {"Cm(maj7)", {0, 3, 7, 11}, "CmMaj7"},
        {"F#m7b5", {6, 9, 0, 4}, "F#m7b5"},
        {"Gb", {6, 10, 1}, "Gb"},
        {"B\u266D", {10, 2, 5}, "Bb"},
        {"F\u266Fm", {6, 9, 1}, "F#m"},
        {"C/E", {0, 4, 7}, "C/E"},
        {"Am/C", {9, 0, 4}, "Am/C"},
        {"D/F#", {2, 6, 9}, "D/F#"},
        {"N.C.", {}, "N.C."},
        {"NC", {}, "N.C."},
        {"N", {}, "N.C."},
        // labels: all shorthands, with extensions and degrees
        {"C:maj", {0, 4, 7}, "C"},
        {"A:min", {9, 0, 4}, "Am"},
        {"C:dim", {0, 3, 6}, "Cdim"},
        {"C:aug", {0, 4, 8}, "Caug"},
        {"C:maj7", {0, 4, 7, 11}, "Cmaj7"},
        {"A:min7", {9, 0, 4, 7}, "Am7"},
        {"C:7", {0, 4, 7, 10}, "C7"},
        {"C:dim7", {0, 3, 6, 9}, "Cdim7"},
        {"C:hdim7", {0, 3, 6, 10}, "Cm7b5"},
        {"C:minmaj7", {0, 3, 7, 11}, "CmMaj7"},
        {"C:maj6", {0, 4, 7, 9}, "C6"},
        {"C:min6", {0, 3, 7, 9}, "Cm6"},
        {"C:9", {0, 2, 4, 7, 10}, "C9"},
        {"C:maj9", {0, 2, 4, 7, 11}, "Cmaj9"},
        {"C:min9", {0, 2, 3, 7, 10}, "Cm9"},
        {"C:11", {0, 2, 4, 5, 7, 10}, "C11"},
        {"C:min11", {0, 2, 3, 5, 7, 10}, "Cm11"},
        {"C:13", {0, 2, 4, 7, 9, 10}, "C13"},
        {"C:sus2", {0, 2, 7}, "Csus2"},
        {"C:sus4", {0, 5, 7}, "Csus4"},
        {"C:sus4(b7)", {0, 5, 7, 10}, "C7sus4"},
        {"C:9(*5)", {0, 2, 4, 10}, "C9(no5)"},
        {"B:aug7", {11, 3, 7, 9}, "B7#5"},
        {"G:7/3", {7, 11, 2, 5}, "G7/B"},
        {"C:(1,b3,5)", {0, 3, 7}, "Cm"},
        // other names of notes
        {"H", {11, 3, 6}, "B"},
        {"Hm7", {11, 2, 6, 9}, "Bm7"},
        {"Do", {0, 4, 7}, "C"},
        {"Rem", {2, 5, 9}, "Dm"},
        {"Solb", {6, 10, 1}, "Gb"},
        // degrees of C major
        {"I", {0, 4, 7}, "C"},
        {"IV", {5, 9, 0}, "F"},
        {"V7", {7, 11, 2, 5}, "G7"},
        {"vi", {9, 0, 4}, "Am"},
        {"ii7", {2, 5, 9, 0}, "Dm7"},
        {"bVII", {10, 2, 5}, "Bb"},
    };
    return spellings;
}

int RootOf(const std::string& name) {
    constexpr int kNaturals[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
    int root = kNaturals[name[0] - 'A'];
    for (std::size_t i = 1; i < name.size() && (name[i] == '#' || name[i] == 'b'); ++i) {
        root += name[i] == '#' ? 1 : 11;
    }
    return root % 12;
}

constexpr double kNote = 0.45;  // [s]

class SungChords : public CommandFolder {
  protected:
    // So many notes without a rest, by turns E and G.
    void Sing(std::size_t notes) const {
        std::vector<double> pitches;
        for (std::size_t i = 0; i < notes; ++i) {
            pitches.push_back(i % 2 == 0 ? 64.0 : 67.0);
        }
        Write(SingScale(pitches, kNote, 0, 22050.0));
    }

    void Write(const SungRecording& song) const {
        AudioWriter writer(Path("lead.wav"), SampleFormat::Float, 1, 22050);
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }

    Json Report(const std::string& options) const {
        const auto result =
            Run("harmonize lead.wav -q --quality fast --humanize 0 -o mix.wav --report r.json " + options);
        EXPECT_EQ(result.status, 0) << result.output;
        return result.status == 0 ? Json::parse(Text("r.json")) : Json();
    }

    // Time and name of the chords of a report.
    static std::vector<std::pair<double, std::string>> ChordsOf(const Json& report) {
        std::vector<std::pair<double, std::string>> chords;
        for (const Json& chord : report["chords"]) {
            chords.emplace_back(chord["time_s"], chord["name"]);
        }
        return chords;
    }

    // The pitch classes of the harmony (all voices but the doubling) at a time.
    static Classes HarmonyAt(const Json& report, double time) {
        Classes classes;
        for (std::size_t v = 1; v < report["voices"].size(); ++v) {
            for (const Json& note : report["voices"][v]["notes"]) {
                if (note["start_s"] <= time && time < note["end_s"]) {
                    classes.insert(note["note_midi"].get<int>() % 12);
                }
            }
        }
        return classes;
    }
};

using Timed = std::pair<double, std::string>;

// Every spelling holds for one note of a recording, which is one of its tones: the report names it and its
// tones, and what the harmony sings there are tones of it and make it whole, as far as three voices can.
TEST_F(SungChords, EverySpellingIsSungWithItsOwnTones) {
    const auto& spellings = Spellings();
    const double step = kNote + 0.3;  // with the rest after it
    std::vector<double> pitches;
    std::ofstream file(Path("chords.txt"));
    for (std::size_t i = 0; i < spellings.size(); ++i) {
        const Classes& tones = spellings[i].tones;
        const auto tone = static_cast<std::ptrdiff_t>(tones.empty() ? 0 : i % tones.size());
        pitches.push_back(60.0 + (tones.empty() ? 0 : *std::next(tones.begin(), tone)));
        file << step * static_cast<double>(i) << " " << spellings[i].symbol << "\n";
    }
    file.close();
    Write(SingScale(pitches, kNote, 1, 22050.0));
    for (const std::string style : {"choir", "four-part"}) {
        const Json report = Report("--key \"C major\" --chords chords.txt --style " + style);
        ASSERT_EQ(report["chords"].size(), spellings.size());
        for (std::size_t i = 0; i < spellings.size(); ++i) {
            const Spelling& spelling = spellings[i];
            const Json& chord = report["chords"][i];
            EXPECT_EQ(chord["name"], spelling.name) << spelling.symbol;
            EXPECT_EQ(chord["tones"].get<Classes>(), spelling.tones) << spelling.symbol;
            Classes sung = HarmonyAt(report, step * static_cast<double>(i) + 0.5 * kNote);
            for (const int tone : sung) {
                EXPECT_EQ(spelling.tones.count(tone), 1u) << spelling.symbol << " sings " << tone;
            }
            if (!spelling.tones.empty()) {
                sung.insert(static_cast<int>(pitches[i]) % 12);
                sung.insert((RootOf(spelling.name) + 7) % 12);  // the tone that may be missing
                EXPECT_GE(sung.size(), std::min<std::size_t>(spelling.tones.size(), 3)) << spelling.symbol;
            }
        }
    }
}

TEST_F(SungChords, WhatNobodyCanReadIsRefusedWithAHint) {
    Sing(2);
    const std::pair<const char*, const char*> cases[] = {{"Cqq", "cannot read the chord 'Cqq'"},
                                                         {"C:foo", "C:foo"},
                                                         {"0 C, 1 V7", "--key"},
                                                         {"C | Am", "--bpm"},
                                                         {"C / Am", "--bpm"},
                                                         {"[C]Sing", "--bpm"}};
    for (const auto& [chords, hint] : cases) {
        const auto result = Run("harmonize lead.wav -q -o mix.wav --chords \"" + std::string(chords) + "\"");
        EXPECT_EQ(result.status, 2) << chords;
        EXPECT_THAT(result.output, HasSubstr(hint));
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
    }
}

TEST_F(SungChords, SlashesAreBeats) {
    Sing(6);
    const Json report = Report("--bpm 120 --chords \"C / Am / F G\"");
    EXPECT_THAT(ChordsOf(report),
                ElementsAre(Timed{0.0, "C"}, Timed{1.0, "Am"}, Timed{2.0, "F"}, Timed{2.5, "G"}));
    EXPECT_THAT(HarmonyAt(report, 2.3), testing::IsSubsetOf({5, 9, 0, 7}));
}

TEST_F(SungChords, WordsWithChordsHoldForABar) {
    Sing(18);
    std::ofstream(Path("song.cho")) << "{title: Song}\n{key: C}\n{tempo: 120}\n{time: 4/4}\n"
                                       "[C]Sing a [Am7]song of\n[A7/C#]six[G]pence\n";
    const Json report = Report("--chords song.cho");
    EXPECT_THAT(ChordsOf(report),
                ElementsAre(Timed{0.0, "C"}, Timed{2.0, "Am7"}, Timed{4.0, "A7/C#"}, Timed{6.0, "G"}));
    EXPECT_EQ(HarmonyAt(report, 5.0).count(1), 1u);  // the bass that was asked for
}

TEST_F(SungChords, SheetMusicGivesChords) {
    Sing(10);
    std::ofstream(Path("sheet.musicxml"))
        << "<?xml version=\"1.0\"?><score-partwise version=\"4.0\"><part-list/><part id=\"P1\">"
           "<measure number=\"1\"><attributes><divisions>1</divisions></attributes>"
           "<direction><sound tempo=\"120\"/></direction>"
           "<harmony><root><root-step>E</root-step></root><kind>dominant</kind></harmony>"
           "<note><pitch/><duration>2</duration></note>"
           "<harmony><root><root-step>B</root-step><root-alter>-1</root-alter></root><kind>major-sixth</kind>"
           "</harmony><note><pitch/><duration>2</duration></note></measure></part></score-partwise>";
    const Json report = Report("--chords sheet.musicxml");
    EXPECT_THAT(ChordsOf(report), ElementsAre(Timed{0.0, "E7"}, Timed{1.0, "Bb6"}));
    EXPECT_EQ(HarmonyAt(report, 0.2).count(8), 1u);  // G sharp, whatever the key
}

TEST_F(SungChords, ATrackOfChordsGivesChords) {
    Sing(10);
    Song song;
    song.tracks.push_back({"chords",
                           {{0, 2, 57, 1},
                            {0, 2, 61, 1},
                            {0, 2, 64, 1},
                            {0, 2, 67, 1},
                            {2, 4, 62, 1},
                            {2, 4, 65, 1},
                            {2, 4, 69, 1}}});
    WriteMidiFile(Path("chords.mid"), song);
    const Json report = Report("--chords chords.mid");
    EXPECT_THAT(ChordsOf(report), ElementsAre(Timed{0.0, "A7"}, Timed{2.0, "Dm"}));
    EXPECT_EQ(HarmonyAt(report, 1.1).count(1), 1u);  // C sharp
}

// What arrange writes, harmonize can be given again.
TEST_F(SungChords, SheetMusicOfTheChoirCarriesItsChords) {
    Sing(12);
    ASSERT_EQ(
        Run("arrange lead.wav -q --bpm 133.333 --chords \"0 C, 1.8 D7/F#, 3.6 Fm6\" --musicxml a.musicxml "
            "--json a.json")
            .status,
        0);
    const Json report = Report("--chords a.musicxml");
    std::vector<std::string> names;
    for (const auto& [time, name] : ChordsOf(report)) {
        names.push_back(name);
    }
    EXPECT_THAT(names, ElementsAre("C", "D7/F#", "Fm6"));
}

}  // namespace

}  // namespace mlh::cli
