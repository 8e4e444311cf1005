#include "MidiFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Choir.h"
#include "Errors.h"

namespace {

// A file name of this test's own, removed afterwards.
struct TemporaryFile {
    explicit TemporaryFile(const std::string& name)
        : path((std::filesystem::temp_directory_path() / ("mlh-midi-" + std::to_string(getpid()) + name))
                   .string()) {}
    ~TemporaryFile() { std::remove(path.c_str()); }
    std::string path;
};

TEST(MidiFile, WhatIsWrittenIsReadBack) {
    MidiSong song;
    song.tempo = {{0.0, 90.0, 3, 4}, {4.5, 60.0, 6, 8}};
    song.key = 21;  // A minor
    song.tracks.push_back({"melody", {{0.0, 1.0, 60.0, 1.0}, {1.0, 1.5, 62.4, 0.5}, {2.0, 4.0, 59.5, 0.25}}});
    song.tracks.push_back({"below", {{0.5, 3.0, 48.0, 0.8}}});
    TemporaryFile file(".mid");
    WriteMidiFile(file.path, song, {{0.0, "C"}, {2.0, "G7"}});
    const MidiSong read = ReadMidiFile(file.path);
    ASSERT_EQ(read.tempo.size(), 2u);
    EXPECT_NEAR(read.tempo[0].bpm, 90.0, 0.001);
    EXPECT_EQ(read.tempo[0].beatsPerBar, 3);
    EXPECT_EQ(read.tempo[1].beat, 4.5);
    EXPECT_EQ(read.tempo[1].bpm, 60.0);
    EXPECT_EQ(read.tempo[1].beatUnit, 8);
    EXPECT_EQ(read.key, 21);
    ASSERT_EQ(read.tracks.size(), 2u);
    EXPECT_EQ(read.tracks[0].name, "melody");
    ASSERT_EQ(read.tracks[0].notes.size(), 3u);
    const double tick = 60.0 / 60.0 / 480.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const TimedNote& wrote = song.tracks[0].notes[i];
        const TimedNote& got = read.tracks[0].notes[i];
        EXPECT_NEAR(got.start, wrote.start, tick);
        EXPECT_NEAR(got.end, wrote.end, tick);
        EXPECT_EQ(got.pitch, std::round(wrote.pitch));
        EXPECT_NEAR(got.level, wrote.level, 1.0 / 127.0);
    }
    EXPECT_EQ(read.tracks[1].notes[0].pitch, 48.0);
}

TEST(MidiFile, AKeyStruckAgainEndsTheNoteBefore) {
    MidiSong song;
    song.tracks.push_back({"", {{0.0, 2.0, 60.0, 1.0}, {1.0, 3.0, 60.0, 1.0}}});
    TemporaryFile file(".mid");
    WriteMidiFile(file.path, song);
    const auto notes = ReadMidiFile(file.path).tracks.at(0).notes;
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_NEAR(notes[0].end, 1.0, 0.01);
    EXPECT_NEAR(notes[1].end, 2.0, 0.01);
}

TEST(MidiFile, WhatIsNoMidiFileIsRefused) {
    EXPECT_THROW(ReadMidiFile("/nonexistent.mid"), Failure);
    TemporaryFile file(".mid");
    for (const std::string text : {"", "MThd", "not a midi file at all, but long enough to look at"}) {
        std::ofstream(file.path) << text;
        EXPECT_THROW(ReadMidiFile(file.path), Failure) << text;
    }
}

TEST(DealNotes, TracksDriveAVoiceEach) {
    const std::vector<MidiTrack> tracks = {{"", {{0, 1, 60, 1}, {1, 2, 62, 1}}}, {"", {{0.5, 2, 55, 1}}}};
    const auto changes = DealNotes(tracks, 2);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[0].pitches, (std::vector<double>{60, -1}));
    EXPECT_EQ(changes[1].pitches, (std::vector<double>{60, 55}));
    EXPECT_EQ(changes[2].pitches, (std::vector<double>{62, 55}));
    EXPECT_EQ(changes[3].pitches, (std::vector<double>{-1, -1}));
}

TEST(DealNotes, OfOverlappingNotesInATrackTheLastSounds) {
    const auto changes = DealNotes({{"", {{0, 3, 60, 1}, {1, 2, 62, 1}}}, {"", {}}}, 2);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[1].pitches[0], 62.0);
    EXPECT_EQ(changes[2].pitches[0], 60.0);
}

TEST(DealNotes, ALoneTrackIsDealtOutFromTheTop) {
    const std::vector<MidiTrack> chordal = {
        {"", {{0, 2, 60, 1}, {0, 1, 64, 1}, {0, 2, 67, 1}, {1, 2, 65, 1}}}};
    EXPECT_EQ(CountVoices(chordal), 3);
    const auto changes = DealNotes(chordal, 3);
    EXPECT_EQ(changes[0].pitches, (std::vector<double>{67, 64, 60}));
    EXPECT_EQ(changes[1].pitches, (std::vector<double>{67, 65, 60}));
    EXPECT_EQ(changes[2].pitches, (std::vector<double>{-1, -1, -1}));
}

}  // namespace
