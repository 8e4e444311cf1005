#include "choir/score/Score.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "choir/Errors.h"
#include "choir/chords/ChordText.h"
#include "choir/plan/SettingsOfPlan.h"

namespace mlh::choir {

namespace {

using testing::ElementsAre;

// Eight bars of 4/4 at 120: a quarter note is half a second.
Melody WrittenMelody() {
    Melody melody;
    melody.title = "Tune";
    melody.key = MelodyKey{0, kMajor, false};
    double at = 0.0;
    const std::pair<int, double> notes[] = {{67, 1}, {69, 1}, {67, 1}, {64, 1}, {65, 4}, {62, 1},
                                            {64, 1}, {65, 1}, {62, 1}, {64, 4}, {68, 2}, {71, 2},
                                            {72, 4}, {74, 2}, {71, 2}, {72, 4}};
    for (const auto& [pitch, length] : notes) {
        melody.notes.push_back({at, length, pitch});
        at += length;
    }
    return melody;
}

Settings Of(Style style, const std::string& chords = "") {
    Settings settings;
    settings.style = style;
    if (!chords.empty()) {
        settings.chords = ReadChordSheet(chords, "chords", {120.0, 4, -1}).chords;
    }
    return settings;
}

constexpr const char* kChords = "C | F . G . | Dm | C | E7 | Am | G7 | C";

std::vector<std::string> NamesOf(const Score& score) {
    std::vector<std::string> names;
    for (const ScoreVoice& voice : score.voices) {
        names.push_back(voice.name);
    }
    return names;
}

const Chord& ChordAt(const Score& score, double beat) {
    const Chord* held = &score.symbols.at(0).chord;
    for (const ScoreChord& symbol : score.symbols) {
        if (symbol.beat <= beat + 1e-6) {
            held = &symbol.chord;
        }
    }
    return *held;
}

}  // namespace

TEST(Score, APlannedVoiceSingsTonesOfTheChordOrTheMelodys) {
    for (const Style style : {Style::Choir, Style::FourPart}) {
        const Score score = PlanScore(WrittenMelody(), Of(style, kChords));
        ASSERT_EQ(score.voices.size(), 4u);
        for (const ScoreVoice& voice : score.voices) {
            for (const ScoreNote& note : voice.notes) {
                const int lead = score.melody[static_cast<std::size_t>(note.lead)].note % 12;
                const auto tones = PitchClassesOf(ChordAt(score, note.onset));
                EXPECT_TRUE(((tones >> (note.note % 12)) & 1) != 0 || note.note % 12 == lead)
                    << voice.name << " " << note.onset;
            }
        }
    }
}

TEST(Score, AChordInsideANoteCutsTheOtherVoicesThere) {
    const Score score = PlanScore(WrittenMelody(), Of(Style::FourPart, kChords));
    // F and G7 under the long note of bar 2: what moves does so on its third beat, the melody holds.
    ASSERT_EQ(score.symbols.at(2).beat, 6.0);
    EXPECT_EQ(score.symbols.at(2).chord.name, "G");
    const auto startsAt6 = [](const ScoreVoice& voice) {
        return std::any_of(voice.notes.begin(), voice.notes.end(),
                           [](const ScoreNote& note) { return note.onset == 6.0; });
    };
    EXPECT_FALSE(startsAt6(score.voices[0]));
    EXPECT_TRUE(startsAt6(score.voices[3]));
    for (const ScoreVoice& voice : score.voices) {
        double end = 0.0;
        for (const ScoreNote& note : voice.notes) {
            EXPECT_GE(note.onset, end - 1e-9) << voice.name;
            end = note.onset + note.length;
        }
        EXPECT_EQ(end, 32.0) << voice.name;
    }
}

TEST(Score, VoicesAreNamedAndOrdered) {
    EXPECT_THAT(NamesOf(PlanScore(WrittenMelody(), Of(Style::Choir, kChords))),
                ElementsAre("Melody", "Above", "Below", "Low"));
    Settings settings = Of(Style::FourPart, kChords);
    for (settings.leadRow = 0; settings.leadRow < 4; ++settings.leadRow) {
        Melody melody = WrittenMelody();
        const Score score = PlanScore(melody, settings);
        EXPECT_THAT(NamesOf(score), ElementsAre("Soprano", "Alto", "Tenor", "Bass"));
        const ScoreVoice& lead = score.voices[static_cast<std::size_t>(3 - settings.leadRow)];
        ASSERT_EQ(lead.notes.size(), melody.notes.size());
        for (std::size_t i = 0; i < melody.notes.size(); ++i) {
            EXPECT_EQ(lead.notes[i].note, melody.notes[i].pitch);
        }
    }
}

TEST(Score, ChordsComeFromWhereTheyAreAskedFor) {
    Melody melody = WrittenMelody();
    Settings settings = Of(Style::Choir);
    EXPECT_FALSE(PlanScore(melody, settings).symbols.empty());  // heard in the melody
    settings.chordsFrom = ChordSource::Given;
    EXPECT_THROW(PlanScore(melody, settings), Failure);
    melody.notes[0].chord = ReadChordSymbol("Cmaj7").chord;
    melody.notes[4].chord = ReadChordSymbol("Bb7").chord;
    for (const ChordSource source : {ChordSource::Given, ChordSource::Auto}) {
        settings.chordsFrom = source;
        const Score score = PlanScore(melody, settings);
        ASSERT_EQ(score.symbols.size(), 2u);
        EXPECT_EQ(score.symbols[0].chord.name, "Cmaj7");
        EXPECT_EQ(score.symbols[1].beat, 4.0);
    }
    for (const ChordSource source : {ChordSource::Tracker, ChordSource::Core}) {
        settings.chordsFrom = source;
        for (const ScoreChord& symbol : PlanScore(melody, settings).symbols) {
            EXPECT_NE(symbol.chord.name, "Bb7");
        }
    }
    EXPECT_EQ(PlanScore(melody, Of(Style::Choir, "Am")).symbols.at(0).chord.name, "Am");
}

TEST(Score, FourPartIsTheEnginesOwnUntilChordsAreAskedFor) {
    EXPECT_FALSE(IsPlanned(Of(Style::FourPart)));
    EXPECT_TRUE(IsPlanned(Of(Style::FourPart, "C")));
    EXPECT_TRUE(IsPlanned(Of(Style::Choir)));
    EXPECT_FALSE(IsPlanned(Of(Style::Core, "C")));
    Settings settings = Of(Style::FourPart);
    settings.chordsFrom = ChordSource::Tracker;
    EXPECT_TRUE(IsPlanned(settings));
    settings.chordsFrom = ChordSource::Core;
    EXPECT_FALSE(IsPlanned(settings));
    EXPECT_THROW(Arrange(WrittenMelody(), Of(Style::Choir)), UsageError);
}

TEST(Score, AKeyThatNobodySaidIsFound) {
    Melody melody = WrittenMelody();
    melody.key.reset();
    const Score score = PlanScore(melody, Of(Style::Choir, kChords));
    ASSERT_TRUE(score.key.has_value());
    EXPECT_EQ(score.key->tonic, 0);
    EXPECT_EQ(score.key->scale, kMajor);
    EXPECT_TRUE(score.key->found);
}

TEST(Score, TonesOfAChordAreSpelledByIt) {
    const Score score = PlanScore(WrittenMelody(), Of(Style::Choir, kChords));
    const ScoreNote& note = score.melody[10];  // a G sharp under E7
    ASSERT_EQ(note.note, 68);
    ASSERT_TRUE(note.spelling.has_value());
    EXPECT_EQ(note.spelling->step, 'G');
    EXPECT_EQ(note.spelling->alter, 1);
}

TEST(Score, SongTableAndCsvHaveEveryNote) {
    const Score score = PlanScore(WrittenMelody(), Of(Style::FourPart, kChords));
    const Song song = ToSong(score);
    std::size_t notes = 0;
    ASSERT_EQ(song.tracks.size(), 4u);
    for (std::size_t v = 0; v < 4; ++v) {
        ASSERT_EQ(song.tracks[v].notes.size(), score.voices[v].notes.size());
        notes += score.voices[v].notes.size();
        EXPECT_DOUBLE_EQ(song.tracks[v].notes.back().end, 16.0);
    }
    EXPECT_EQ(song.texts.size(), score.symbols.size());
    const std::string csv = ScoreAsCsv(score);
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), static_cast<std::ptrdiff_t>(notes) + 1);
    const std::string table = ScoreTable(score);
    EXPECT_THAT(table, testing::HasSubstr("G#"));
    EXPECT_THAT(table, testing::HasSubstr("Soprano  Alto"));
}

}  // namespace mlh::choir
