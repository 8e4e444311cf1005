#include "files/MidiFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Errors.h"
#include "support/NotationReaders.h"

namespace mlh::cli {

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
    Song song;
    song.tempo = {{0.0, 90.0, 3, 4}, {4.5, 60.0, 6, 8}};
    song.key = 21;  // A minor
    song.tracks.push_back({"melody", {{0.0, 1.0, 60.0, 1.0}, {1.0, 1.5, 62.4, 0.5}, {2.0, 4.0, 59.5, 0.25}}});
    song.tracks.push_back({"below", {{0.5, 3.0, 48.0, 0.8}}});
    TemporaryFile file(".mid");
    song.texts = {{0.0, "C"}, {2.0, "G7"}};
    WriteMidiFile(file.path, song);
    const Song read = ReadMidiFile(file.path);
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

TEST(MidiFile, BendsArePlayedToATenthOfACent) {
    if (!HaveMidicsv()) {
        GTEST_SKIP() << "midicsv is not installed";
    }
    Song song;
    song.tracks.push_back({"fine", {{0.0, 1.0, 60.0, 1.0}, {1.0, 2.0, 60.0, 1.0}, {2.0, 3.0, 64.0, 1.0}}});
    song.tracks.push_back({"wide", {{0.0, 1.0, 50.0, 1.0}, {1.5, 2.0, 51.0, 1.0}}});
    song.bends = {{-0.4237, 0.0, 1.999}, {-7.3, 23.9}};
    song.markers = {{0.5, "F#m7b5"}};
    TemporaryFile file(".mid");
    WriteMidiFile(file.path, song, MidiBends::Yes);
    const auto played = PlayedByMidi(file.path);
    ASSERT_EQ(played.size(), 2u);
    for (std::size_t t = 0; t < 2; ++t) {
        for (std::size_t n = 0; n < song.bends[t].size(); ++n) {
            // The wheel has 16384 places.
            const double range = t == 0 ? 2.0 : 24.0;
            EXPECT_NEAR(played[t][n].pitch, song.tracks[t].notes[n].pitch + song.bends[t][n],
                        range / 16384.0 + 1e-9)
                << t << " " << n;
            EXPECT_NEAR(0.5 * played[t][n].start, song.tracks[t].notes[n].start, 0.001);
        }
    }
    EXPECT_EQ(MarkersOfMidi(file.path), std::vector<std::string>{"F#m7b5"});
    WriteMidiFile(file.path, song);
    EXPECT_EQ(PlayedByMidi(file.path)[1][1].pitch, 51.0);
}

TEST(MidiFile, ATempoBelowWhatMidiCanSayBecomesTheLowest) {
    Song song;
    song.tempo = {{0.0, 1.0, 4, 4}};
    song.tracks.push_back({"", {{0.0, 60.0, 60.0, 1.0}}});
    TemporaryFile file(".mid");
    WriteMidiFile(file.path, song);
    EXPECT_NEAR(ReadMidiFile(file.path).tempo.at(0).bpm, 3.576, 0.001);
}

TEST(MidiFile, AKeyStruckAgainEndsTheNoteBefore) {
    Song song;
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

// A file of format 0 whose one track holds `events`.
std::string OneTrack(const std::string& events, const std::string& division = std::string("\0\x60", 2)) {
    const auto length = static_cast<char>(events.size());
    return std::string("MThd\0\0\0\6\0\0\0\1", 12) + division + std::string("MTrk\0\0\0", 7) + length +
           events;
}

Song ReadBytes(const std::string& bytes) {
    TemporaryFile file(".mid");
    std::ofstream(file.path, std::ios::binary) << bytes;
    return ReadMidiFile(file.path);
}

const std::string kNote("\0\x90\x3C\x64\x60\x3C\0", 7);  // a beat long, its end by running status
const std::string kEnd("\0\xFF\x2F\0", 4);

TEST(MidiFile, ReadsRunningStatusAndTextsOfAnyLength) {
    const std::string text = std::string("\0\xFF\1\x81\x10", 5) + std::string(144, 't');
    for (const std::string& before : {std::string(), std::string("\0\xFF\3\4name", 8)}) {
        const Song song = ReadBytes(OneTrack(before + kNote + kEnd));
        ASSERT_EQ(song.tracks.size(), 1u);
        EXPECT_EQ(song.tracks[0].name, before.empty() ? "" : "name");
        ASSERT_EQ(song.tracks[0].notes.size(), 1u);
        EXPECT_EQ(song.tracks[0].notes[0].pitch, 60.0);
        EXPECT_DOUBLE_EQ(song.tracks[0].notes[0].end, 0.5);
    }
    EXPECT_EQ(ReadBytes(OneTrack(text + kNote + kEnd)).tracks.at(0).notes.size(), 1u);
}

TEST(MidiFile, TicksMayBePartsOfASecond) {
    // 25 frames of 40 ticks: a tempo changes nothing.
    const std::string tempo("\0\xFF\x51\3\x0F\x42\x40", 7);
    const Song song = ReadBytes(OneTrack(tempo + kNote + kEnd, "\xE7\x28"));
    EXPECT_DOUBLE_EQ(song.tracks.at(0).notes.at(0).end, 0.096);
}

TEST(MidiFile, OtherChunksAreSkippedAndTheEndMayBeMissing) {
    const std::string file = OneTrack(kNote);
    EXPECT_EQ(
        ReadBytes(file.substr(0, 14) + std::string("odd!\0\0\0\2xy", 10) + file.substr(14)).tracks.size(),
        1u);
}

// A reader that went astray here took the whole command with it.
TEST(MidiFile, DamagedFilesAreRefused) {
    const std::string good = OneTrack(kNote + kEnd);
    ASSERT_EQ(ReadBytes(good).tracks.size(), 1u);
    std::string longer = good;
    longer.replace(18, 4, "\x7F\xFF\xFF\xFF");
    const std::string damaged[] = {
        longer,                                                        // a track longer than the file
        good.substr(0, good.size() - 5),                               // the file is cut
        good.substr(0, 14),                                            // no track
        OneTrack(kNote, std::string(2, '\0')),                         // no time base
        OneTrack(kNote.substr(0, 6)),                                  // an event is cut
        OneTrack(std::string("\0\x3C\x64", 3)),                        // running status of nothing
        OneTrack(std::string("\0\x90\x3C\xFF", 4)),                    // a data byte out of range
        OneTrack(std::string("\0\xF5\0", 3)),                          // no event of a file
        OneTrack(std::string("\0\xFF\1\x7Fx", 5)),                     // a text is cut
        OneTrack(std::string("\xFF\xFF\xFF\xFF\x7F\x90\x3C\x64", 8)),  // a time of five bytes
        "MThd" + std::string("\0\0\0\6\0\2", 6) + good.substr(10),     // format 2
    };
    for (const std::string& bytes : damaged) {
        EXPECT_THROW(ReadBytes(bytes), Failure) << testing::PrintToString(bytes);
    }
}

}  // namespace

}  // namespace mlh::cli
