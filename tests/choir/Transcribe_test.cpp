#include "choir/score/Transcribe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "Melodies.h"
#include "support/Tunes.h"

namespace mlh::choir {

namespace {

std::vector<SungNote> AsSung(const std::vector<MelodyNote>& notes) {
    std::vector<SungNote> sung;
    for (const MelodyNote& note : notes) {
        sung.push_back({note.start, note.end, note.pitch, 0.5});
    }
    return sung;
}

// The share of notes that are where they are written, up to one shift for all.
double ShareOnBeat(const std::vector<MelodyNote>& written, const Melody& melody) {
    std::map<long, int> shifts;
    for (const WrittenNote& note : melody.notes) {
        const auto lead = static_cast<std::size_t>(note.lead);
        ++shifts[std::lround(1000.0 * (note.onset - written[lead].start))];
    }
    int most = 0;
    for (const auto& [shift, count] : shifts) {
        most = std::max(most, count);
    }
    return static_cast<double>(most) / static_cast<double>(written.size());
}

std::vector<MelodyNote> NotesOf(const Tune& tune) {
    std::vector<MelodyNote> notes;
    for (const TuneNote& note : tune.notes) {
        notes.push_back({note.onset, note.onset + note.duration, 1.0 * note.pitch});
    }
    return OneLine(notes);
}

std::vector<Tune> OwnTunes() {
    std::vector<Tune> tunes;
    for (Tune& tune : AllTunes()) {
        if (tunes.size() < 8) {
            tunes.push_back(std::move(tune));
        }
    }
    return tunes;
}

}  // namespace

TEST(Transcribe, ATuneSungUnsteadilyIsWrittenAsItWas) {
    for (const auto& tune : {Line(MajorTune()), Line(MinorTune())}) {
        for (const double drift : {0.0, 0.03}) {
            const Melody melody = Transcribe(AsSung(Sung(tune, 0.02, drift)), {});
            EXPECT_GT(ShareOnBeat(tune, melody), 0.95) << drift;
            EXPECT_EQ(melody.tempo[0].beatsPerBar % 2, 0);
            EXPECT_EQ(melody.tempo[0].beatUnit, 4);
            EXPECT_NEAR(melody.tempo[0].bpm, 120.0, 8.0);
        }
    }
}

// With the tempo given all tunes of the project, in 4/4, 3/4 and 6/8, come out nearly whole; found, most do.
TEST(Transcribe, TunesComeBackOnTheirBeats) {
    double given = 0.0;
    double found = 0.0;
    const std::vector<Tune> tunes = OwnTunes();
    ASSERT_GE(tunes.size(), 8u);
    for (const Tune& tune : tunes) {
        const std::vector<MelodyNote> written = NotesOf(tune);
        const auto sung = AsSung(Sung(written, 0.03, 0.0, 25.0, 7));
        ASSERT_EQ(sung.size(), written.size()) << tune.name;
        TranscribeOptions options;
        found += ShareOnBeat(written, Transcribe(sung, {}, options));
        options.bpm = 120.0;
        given += ShareOnBeat(written, Transcribe(sung, {}, options));
    }
    EXPECT_GT(given / static_cast<double>(tunes.size()), 0.9);
    EXPECT_GT(found / static_cast<double>(tunes.size()), 0.8);
}

TEST(Transcribe, NotesLieInOrderOnSixteenthsOrTripletsAndKeepTheirSeconds) {
    const auto sung = AsSung(Sung(Line(MajorTune()), 0.05, 0.05));
    const Melody melody = Transcribe(sung, {});
    double end = 0.0;
    for (const WrittenNote& note : melody.notes) {
        EXPECT_GE(note.onset, end - 1e-9);
        EXPECT_GT(note.length, 0.0);
        end = note.onset + note.length;
        const double ticks = 24.0 * note.onset;
        EXPECT_NEAR(ticks, std::round(ticks), 1e-9);
        const auto& lead = sung[static_cast<std::size_t>(note.lead)];
        EXPECT_LE(note.start, lead.start);
        EXPECT_GE(note.end, lead.end);
    }
    EXPECT_GE(melody.notes.front().onset, 0.0);
}

TEST(Transcribe, TheSingersGridAndKeyAreRead) {
    auto notes = Sung(Line(MajorTune()), 0.02, 0.0);
    for (MelodyNote& note : notes) {
        note.pitch += 1.6;  // D flat less 40 cents ... or C and 160 cents
    }
    const auto sung = AsSung(notes);
    const Melody melody = Transcribe(sung, Tuning::OfSinger(sung));
    ASSERT_TRUE(melody.key.has_value());
    EXPECT_EQ(melody.key->tonic, 2);
    EXPECT_EQ(melody.notes.front().pitch, 62);
    EXPECT_FALSE(melody.heard.empty());
    EXPECT_NEAR(melody.heard.front().time, melody.notes.front().start, 1e-6);
}

TEST(Transcribe, AnUpbeatIsNotAFullBar) {
    auto tune = Line(MajorTune());
    for (MelodyNote& note : tune) {
        note.start += 1.0;
        note.end += 1.0;
    }
    tune.insert(tune.begin(), {0.0, 1.0, 55.0});
    const Melody melody = Transcribe(AsSung(Sung(tune, 0.01, 0.0)), {});
    EXPECT_GT(ShareOnBeat(tune, melody), 0.95);
    EXPECT_EQ(melody.upbeat, 1.0);
    EXPECT_EQ(melody.notes.front().onset, 0.0);
}

TEST(Transcribe, ScoopsAndFallsBelongToTheirNotes) {
    const auto meant = JoinSplinters({{0.0, 0.06, 58.0, 0.5},
                                      {0.06, 0.5, 60.0, 0.5},
                                      {0.5, 0.58, 57.0, 0.5},
                                      {0.7, 0.78, 62.0, 0.5},  // touches nothing
                                      {1.0, 1.1, 62.0, 0.5},   // a run of equal notes
                                      {1.1, 1.2, 64.0, 0.5},
                                      {1.2, 1.3, 65.0, 0.5}});
    ASSERT_EQ(meant.size(), 5u);
    EXPECT_EQ(meant[0].lead, 1);
    EXPECT_EQ(meant[0].note.start, 0.0);
    EXPECT_EQ(meant[0].note.end, 0.58);
    EXPECT_EQ(meant[0].note.pitch, 60.0);
    EXPECT_EQ(meant[1].note.start, 0.7);
    EXPECT_EQ(meant[4].lead, 6);
}

TEST(Transcribe, FewNotesAndNoneAreTaken) {
    EXPECT_TRUE(Transcribe({}, {}).notes.empty());
    const Melody one = Transcribe({{1.0, 2.0, 60.0, 0.5}}, {});
    ASSERT_EQ(one.notes.size(), 1u);
    EXPECT_GT(one.notes[0].length, 0.0);
    const Melody two = Transcribe({{1.0, 1.5, 60.0, 0.5}, {1.5, 2.5, 62.0, 0.5}}, {});
    ASSERT_EQ(two.notes.size(), 2u);
    EXPECT_GT(two.notes[1].onset, two.notes[0].onset);
}

TEST(Transcribe, TheTempoMapPlaysTheNotesNearWhereTheyWereSung) {
    const auto sung = AsSung(Sung(Line(MajorTune()), 0.01, 0.05));
    const Melody melody = Transcribe(sung, {});
    EXPECT_GT(melody.tempo.size(), 1u);
    const double first = melody.notes.front().start - melody.Seconds(melody.notes.front().onset);
    for (const WrittenNote& note : melody.notes) {
        EXPECT_NEAR(melody.Seconds(note.onset) + first, note.start, 0.12);
    }
}

}  // namespace mlh::choir
