#include "files/ChordFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "choir/score/Song.h"
#include "files/MidiFile.h"
#include "files/NotatedChords.h"

namespace mlh::cli {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A file of this test's own, removed afterwards.
struct TemporaryFile {
    TemporaryFile(const std::string& name, const std::string& content)
        : path((std::filesystem::temp_directory_path() / ("mlh-chords-" + std::to_string(getpid()) + name))
                   .string()) {
        std::ofstream(path, std::ios::binary) << content;
    }
    ~TemporaryFile() { std::remove(path.c_str()); }
    std::string path;
};

struct Found {
    double time;
    std::string name;
    bool operator==(const Found&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Found& f) { return out << f.time << " " << f.name; }

std::vector<Found> List(const std::vector<TimedChord>& chords) {
    std::vector<Found> found;
    for (const TimedChord& chord : chords) {
        found.push_back({chord.time, chord.chord.name});
    }
    return found;
}

std::string Complaint(const std::string& value) {
    try {
        ReadChordOption(value, 0.0, 4);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no complaint";
}

const char* const kScore = R"(<?xml version="1.0"?>
<score-partwise version="4.0"><part-list/>
 <part id="P1">
  <measure number="1">
   <attributes><divisions>2</divisions></attributes>
   <direction><sound tempo="60"/></direction>
   <harmony><root><root-step>C</root-step></root><kind>major-seventh</kind></harmony>
   <note><pitch/><duration>4</duration></note>
   <note><chord/><pitch/><duration>4</duration></note>
   <harmony><root><root-step>B</root-step><root-alter>-1</root-alter></root><kind>dominant</kind>
    <bass><bass-step>D</bass-step></bass>
    <degree><degree-value>9</degree-value><degree-alter>-1</degree-alter><degree-type>add</degree-type></degree></harmony>
   <note><pitch/><duration>4</duration></note>
   <backup><duration>8</duration></backup>
   <note><pitch/><duration>8</duration></note>
  </measure>
  <measure number="2">
   <sound tempo="120"/>
   <note><pitch/><duration>4</duration></note>
   <harmony><root><root-step>F</root-step></root><kind>minor</kind><offset>2</offset></harmony>
   <note><pitch/><duration>4</duration></note>
  </measure>
 </part>
</score-partwise>)";

TEST(ChordFile, SheetMusicHasItsChordsAtTheirPlaces) {
    const TemporaryFile file(".musicxml", kScore);
    EXPECT_THAT(List(ReadChordOption(file.path, 0.0, 4)),
                ElementsAre(Found{0, "Cmaj7"}, Found{2, "Bb7b9/D"}, Found{5.5, "Fm"}));
    EXPECT_THAT(List(ReadChordOption(file.path, 120.0, 4)),
                ElementsAre(Found{0, "Cmaj7"}, Found{1, "Bb7b9/D"}, Found{3.5, "Fm"}));
}

TEST(ChordFile, SheetMusicWithoutChordsOrWithUnknownOnesIsRefused) {
    const auto refused = [](const std::string& xml) {
        const TemporaryFile file(".xml", xml);
        return Complaint(file.path);
    };
    EXPECT_THAT(refused("<score-partwise><part/></score-partwise>"), HasSubstr("no chord"));
    EXPECT_THAT(refused("<html/>"), HasSubstr("partwise"));
    EXPECT_THAT(refused("<score-partwise><part>"), HasSubstr("cannot read it"));
    EXPECT_THAT(refused("<score-partwise><part><measure><harmony><root><root-step>C</root-step></root>"
                        "<kind>French</kind></harmony></measure></part></score-partwise>"),
                HasSubstr("measure 1: cannot read the chord kind 'French'"));
}

TEST(ChordFile, MidiFilesGiveTheChordsThatSound) {
    const TemporaryFile file(".mid", "");
    Song song;
    song.tracks.push_back(
        {"chords", {{0, 2, 60, 1}, {0, 2, 64, 1}, {0, 2, 67, 1}, {2, 4, 65, 1}, {2, 4, 69, 1}}});
    song.tracks.push_back({"bass", {{0, 2, 48, 1}, {2, 4, 38, 1}}});
    WriteMidiFile(file.path, song);
    EXPECT_THAT(List(ReadChordOption(file.path, 0.0, 4)), ElementsAre(Found{0, "C"}, Found{2, "Dm"}));
    song.tracks = {{"melody", {{0, 2, 60, 1}}}};
    WriteMidiFile(file.path, song);
    EXPECT_THAT(Complaint(file.path), HasSubstr("no notes sound together"));
}

TEST(ChordFile, AMissingFileIsNotAMisspeltChord) {
    for (const std::string name : {"none.txt", "songs/no such song.cho", "none.MID", "chords.tsv"}) {
        try {
            ReadChordOption(name, 0.0, 4);
            ADD_FAILURE() << name;
        } catch (const Failure& failure) {
            EXPECT_EQ(std::string(failure.what()), "cannot read " + name + ": No such file or directory");
        }
    }
    EXPECT_THAT(Complaint("0 N.C., 1 Cqq"), HasSubstr("'Cqq'"));
}

TEST(ChordFile, WhatIsMissingNamesItsOption) {
    EXPECT_THAT(Complaint("C | Am"), HasSubstr("--bpm"));
    EXPECT_THAT(Complaint("0 C, 2 IV"), HasSubstr("--key"));
    EXPECT_THAT(Complaint("Cqq"), HasSubstr("There is no file of this name either"));
}

}  // namespace

}  // namespace mlh::cli
