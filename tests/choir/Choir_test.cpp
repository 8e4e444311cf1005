// The steps of style choir together: a synthetic singer, typed chords, and what the voices make of them.
#include "choir/Choir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "choir/Errors.h"
#include "choir/chords/ChordText.h"
#include "choir/document/Document.h"
#include "choir/document/SettingsDocument.h"
#include "support/SungTunes.h"

namespace mlh::choir {

namespace {

// A tune in C major, sung so many semitones off.
class ChoirTest : public testing::Test {
  protected:
    explicit ChoirTest(double off = 0.0)
        : song_(SingScale({60 + off, 64 + off, 67 + off, 65 + off, 62 + off, 60 + off}, 0.6, 3)),
          take_({song_.samples.data(), static_cast<int32_t>(song_.samples.size()), 1, song_.sampleRate}) {}

    static Settings WithChords() {
        Settings settings;
        settings.style = Style::Choir;
        settings.chords = ReadChordSheet("0 C, 1.9 D7, 2.8 G7, 3.4 C", "test").chords;
        return settings;
    }
    std::vector<float> Voice(Choir& choir, std::size_t voice, int64_t first, int64_t count) const {
        std::vector<float> samples(static_cast<std::size_t>(count));
        std::vector<float*> rows(1 + choir.voices().size());
        rows[1 + voice] = samples.data();
        choir.Render(first, count, rows.data(), nullptr, 0);
        return samples;
    }
    int64_t Frames() const { return static_cast<int64_t>(song_.samples.size()); }

    SungRecording song_;
    Take take_;
};

class FlatSinger : public ChoirTest {
  protected:
    FlatSinger() : ChoirTest(-0.4) {}
};

TEST_F(FlatSinger, TheVoicesStandOnTheSingersGrid) {
    const Choir choir(take_, WithChords());
    ASSERT_TRUE(choir.tuning().has_value());
    EXPECT_NEAR(choir.tuning()->offset(), -0.4, 0.05);
    for (const choir::Voice& voice : choir.voices()) {
        for (const VoiceNote& note : voice.notes) {
            if (note.note >= 0) {
                EXPECT_NEAR(note.pitch - note.note, -0.4, 0.15);
            }
        }
    }
    Settings fixed = WithChords();
    fixed.tuning = TuningGrid::Reference;
    Settings machine = fixed;
    machine.humanize = 0.0;  // people are some cents off, and the notes say so
    const Choir onGrid(take_, machine);
    EXPECT_EQ(onGrid.tuning()->offset(), 0.0);
    for (const choir::Voice& voice : onGrid.voices()) {
        for (const VoiceNote& note : voice.notes) {
            EXPECT_TRUE(note.note < 0 || std::fabs(note.pitch - note.note) < 1e-9) << note.pitch;
        }
    }
    fixed.correction = 0.0;
    EXPECT_NEAR(Choir(take_, fixed).voices()[0].notes[0].pitch, choir.voices()[0].notes[0].pitch, 0.02);
}

TEST_F(ChoirTest, TypedChordsAreSungWithTheirOwnTones) {
    const Choir choir(take_, WithChords());
    ASSERT_EQ(choir.voices().size(), 4u);
    ASSERT_EQ(choir.chords()[1].chord.name, "D7");
    int sung = 0;
    for (std::size_t v = 1; v < 4; ++v) {
        for (const VoiceNote& note : choir.voices()[v].notes) {
            if (note.note < 0) {
                continue;
            }
            const double middle = 0.5 * (note.start + note.end);
            const TimedChord* chord = nullptr;
            for (const TimedChord& candidate : choir.chords()) {
                if (candidate.time <= middle) {
                    chord = &candidate;
                }
            }
            ASSERT_NE(chord, nullptr);
            EXPECT_TRUE((PitchClassesOf(chord->chord) >> (note.note % 12)) & 1)
                << note.note << " at " << middle;
            ++sung;
        }
    }
    EXPECT_GE(sung, 15);
}

TEST_F(ChoirTest, AStretchHasTheBitsOfTheWhole) {
    Choir choir(take_, WithChords());
    const std::vector<float> whole = Voice(choir, 2, 0, Frames());
    const int64_t first = Frames() / 3;
    const std::vector<float> part = Voice(choir, 2, first, 10000);
    EXPECT_EQ(part, std::vector<float>(whole.begin() + first, whole.begin() + first + 10000));
    EXPECT_EQ(Voice(choir, 2, 0, Frames()), whole);
}

TEST_F(ChoirTest, ChangedSettingsGiveWhatANewChoirGives) {
    Settings changed = WithChords();
    changed.voices = 3;
    changed.seed = 7;
    Choir fresh(take_, changed);
    Choir choir(take_, WithChords());
    const std::vector<float> before = Voice(choir, 1, 0, Frames());
    choir.Change(changed);
    EXPECT_EQ(choir.voices().size(), 3u);
    EXPECT_EQ(Voice(choir, 1, 0, Frames()), Voice(fresh, 1, 0, Frames()));
    choir.Change(WithChords());
    EXPECT_EQ(Voice(choir, 1, 0, Frames()), before);
    Settings wrong = WithChords();
    wrong.ranges = {"treble"};
    EXPECT_THROW(choir.Change(wrong), UsageError);
    EXPECT_EQ(Voice(choir, 1, 0, Frames()), before);
}

TEST_F(ChoirTest, TheSameSeedGivesTheSameBitsAndAnotherOneOthers) {
    Choir a(take_, WithChords());
    Choir b(take_, WithChords());
    EXPECT_EQ(Voice(a, 1, 0, Frames()), Voice(b, 1, 0, Frames()));
    Settings other = WithChords();
    other.seed = 2;
    Choir c(take_, other);
    EXPECT_NE(Voice(a, 1, 0, Frames()), Voice(c, 1, 0, Frames()));
}

TEST_F(ChoirTest, EditsMoveNotesByHand) {
    const Choir plain(take_, WithChords());
    Settings settings = WithChords();
    settings.edits.push_back({1, 0, {}, {}, -2.0, 0.0, false});
    settings.edits.push_back({2, 1, {}, {}, 0.0, 0.0, true});
    const Choir edited(take_, settings);
    EXPECT_EQ(edited.voices()[1].notes[0].note, plain.voices()[1].notes[0].note - 2);
    EXPECT_NEAR(edited.voices()[1].notes[0].pitch, plain.voices()[1].notes[0].pitch - 2.0, 1e-9);
    EXPECT_EQ(edited.voices()[2].notes[1].note, -1);
    settings.edits.push_back({1, 9999, {}, {}, 0.0, 0.0, true});
    EXPECT_THROW(Choir(take_, settings), UsageError);
}

TEST(ChoirOfSilence, SingsNothingAndSaysSo) {
    const std::vector<float> silence(60000, 0.0f);
    Take take({silence.data(), 60000, 1, 44100});
    Settings settings;
    settings.style = Style::Choir;
    Choir choir(take, settings);
    ASSERT_EQ(choir.warnings().size(), 1u);
    EXPECT_EQ(choir.warnings()[0], "no voice was found in the recording");
    std::vector<float> mix(120000, 1.0f);
    choir.Render(0, 60000, nullptr, mix.data(), 2);
    for (const float sample : mix) {
        ASSERT_EQ(sample, 0.0f);
    }
}

TEST(SettingsDocument, WhatIsWrittenReadsAsItWas) {
    const std::string text =
        "{\"style\": \"choir\", \"voices\": 3, \"above\": 2, \"key\": \"D dorian\", \"chords\": \"0 Dm, 2 "
        "G7/B\", \"tuning\": "
        "442, \"vibrato\": [1, 0.5], \"pan\": [0, null, -1], \"seed\": 9007199254740991, \"range\": "
        "[\"auto\", \"E2-C5\"], "
        "\"edits\": [{\"voice\": 2, \"time_s\": 1.5, \"pitch_midi\": 55.5, \"mute\": false}]}";
    const Settings settings = ReadSettings(text);
    EXPECT_EQ(settings.style, Style::Choir);
    EXPECT_EQ(settings.referenceHz, 442.0);
    ASSERT_EQ(settings.chords.size(), 2u);
    EXPECT_EQ(settings.chords[1].chord.bass, 11);
    EXPECT_EQ(settings.seed, 9007199254740991u);
    const std::string written = WriteSettings(settings);
    EXPECT_EQ(WriteSettings(ReadSettings(written)), written);
}

TEST(SettingsDocument, OptionsAreTypedAsWordsNumbersAndLists) {
    Settings settings;
    TypeSetting(settings, "tuning", "432");
    TypeSetting(settings, "vibrato", "1, 0.5");
    TypeSetting(settings, "pan", "0,,-1");
    TypeSetting(settings, "range", "alto,E2-C5");
    TypeSetting(settings, "intonation", "just");
    EXPECT_EQ(settings.referenceHz, 432.0);
    EXPECT_EQ(settings.vibrato, (std::vector<double>{1.0, 0.5}));
    EXPECT_FALSE(settings.pan[1].has_value());
    EXPECT_EQ(settings.ranges[1], "E2-C5");
    EXPECT_TRUE(settings.just);
    EXPECT_THROW(TypeSetting(settings, "vibrato", "much"), UsageError);
    EXPECT_THROW(TypeSetting(settings, "nothing", "1"), UsageError);
}

}  // namespace

}  // namespace mlh::choir
