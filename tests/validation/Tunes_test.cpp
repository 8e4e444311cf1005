// Tunes with the chords of their lead sheets through the harmony engine, in the modes that a host
// reaches: four, three and two voices.
#include "support/Tunes.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "classic/ScaleTable.h"
#include "harmony/ChoiralizerV2.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

constexpr int32_t kMiddleC = 60;

// Semitones above the root; -1 at the end of a triad.
const std::map<std::string, std::array<int32_t, 4>> kQualities = {
    {"maj", {0, 4, 7, -1}}, {"min", {0, 3, 7, -1}}, {"dim", {0, 3, 6, -1}},  {"sus4", {0, 5, 7, -1}},
    {"7", {0, 4, 7, 10}},   {"9", {0, 4, 7, 10}},   {"min7", {0, 3, 7, 10}}, {"maj7", {0, 4, 7, 11}},
    {"maj6", {0, 4, 7, 9}}, {"min6", {0, 3, 7, 9}}, {"dim7", {0, 3, 6, 9}}};

// Row by note.
using Setting = std::array<std::vector<int32_t>, 4>;

Setting SetTune(const Tune& tune, int32_t mode, int32_t voicesAbove) {
    CChoiralizerV2 engine;
    const std::array<HarmonyParams, 4> params = {voicesAbove, std::bit_cast<int32_t>(0.5f), 0, 0};
    const int32_t scale =
        tune.keyMode == "minor" ? ChoiralizerClassic::ScaleMinor : ChoiralizerClassic::ScaleMajor;
    engine.SetMode(mode);
    engine.SetKey(tune.keyTonic);
    engine.SetInputScale(scale);
    engine.SetOutputScale(scale);
    engine.SetQuantize(1);
    engine.SetScaleMap(1);
    engine.SetParams(params.data());
    std::vector<NoteItem> items;
    for (const TuneNote& note : tune.notes) {
        items.push_back({note.pitch, note.onset, note.onset + note.duration});
    }
    NoteList melody;
    melody.items = items.data();
    melody.count = static_cast<int32_t>(items.size());
    EXPECT_EQ(engine.SetMelody(&melody, 1), 0);
    for (std::size_t i = 0; i < tune.notes.size(); ++i) {
        if (tune.notes[i].chordRoot < 0) {
            continue;  // keeps the tracked chord
        }
        int32_t pitches[4];
        const auto& quality = kQualities.at(tune.notes[i].chordQuality);
        for (int t = 0; t < 4; ++t) {
            pitches[t] = quality[t] < 0 ? -1 : kMiddleC + tune.notes[i].chordRoot + quality[t];
        }
        ChordInfo chord;
        engine.ChordFromPitches(&chord, pitches);
        EXPECT_EQ(engine.SetChordAt(static_cast<int32_t>(i), chord), 0);
    }
    EXPECT_EQ(engine.Calculate(), 0);
    NoteList* rows = nullptr;
    engine.GetVoices(&rows);
    Setting setting;
    for (int r = 0; r < 4; ++r) {
        for (int32_t i = 0; i < rows[r].count; ++i) {
            setting[r].push_back(rows[r].items[i].pitch);
        }
    }
    return setting;
}

std::vector<Tune> TunesWithChords() {
    std::vector<Tune> tunes;
    for (Tune& tune : AllTunes()) {
        if (tune.HasChords() && tune.keyTonic >= 0) {
            tunes.push_back(std::move(tune));
        }
    }
    return tunes;
}

struct Parallels {
    int32_t moves = 0;  // from one note to the next
    int32_t fifths = 0;
    int32_t octaves = 0;
    int32_t unisons = 0;  // voices that share a line for two notes
};

// Two voices a perfect fifth or octave apart, octaves more or less, that move in the same direction to the
// same again.
void Count(const Setting& setting, Parallels& parallels) {
    for (std::size_t i = 1; i < setting[kLeadRow].size(); ++i) {
        ++parallels.moves;
        for (int a = 0; a < 4; ++a) {
            for (int b = a + 1; b < 4; ++b) {
                if (setting[a][i] < 0 || setting[b][i] < 0) {
                    continue;
                }
                const int32_t moveA = setting[a][i] - setting[a][i - 1];
                const int32_t moveB = setting[b][i] - setting[b][i - 1];
                const int32_t before = std::abs(setting[b][i - 1] - setting[a][i - 1]) % 12;
                const int32_t now = std::abs(setting[b][i] - setting[a][i]) % 12;
                if (moveA * moveB <= 0 || before != now) {
                    continue;
                }
                parallels.fifths += now == 7;
                const bool unison = setting[a][i] == setting[b][i];
                parallels.octaves += now == 0 && !unison;
                parallels.unisons += now == 0 && unison;
            }
        }
    }
}

TEST(Tunes, WithTheirOwnChordsEveryNoteGetsEveryVoice) {
    const auto tunes = TunesWithChords();
    for (int32_t mode = 0; mode < 3; ++mode) {
        for (int32_t voicesAbove = 0; voicesAbove <= 3; ++voicesAbove) {
            for (const Tune& tune : tunes) {
                const Setting setting = SetTune(tune, mode, voicesAbove);
                for (std::size_t i = 0; i < tune.notes.size(); ++i) {
                    int32_t voices = 0;
                    for (int r = 0; r < kLeadRow; ++r) {
                        voices += setting[r][i] >= 0;
                    }
                    ASSERT_EQ(voices, 3 - mode)
                        << tune.name << ", note " << i << ", " << voicesAbove << " above";
                    ASSERT_NEAR(setting[kLeadRow][i], tune.notes[i].pitch, 1) << tune.name << ", note " << i;
                }
            }
        }
    }
}

// Reported rather than judged: block voicing in the lead's rhythm is not counterpoint. The bound is there to
// notice a voice that merely doubles another an octave or a fifth away. With all voices on one side of the
// lead half the spread leaves room for two chord tones, so that two voices often share one.
TEST(Tunes, WithTheirOwnChordsKeepParallelsFew) {
    const auto tunes = TunesWithChords();
    for (int32_t mode = 0; mode < 3; ++mode) {
        for (int32_t voicesAbove = 0; voicesAbove <= 3; ++voicesAbove) {
            Parallels parallels;
            for (const Tune& tune : tunes) {
                Count(SetTune(tune, mode, voicesAbove), parallels);
            }
            const double moves = parallels.moves / 100.0;
            std::printf(
                "%zu tunes, mode %d, %d above: %d moves, per 100 of them %.2f parallel fifths, %.2f octaves, "
                "%.2f unisons\n",
                tunes.size(), mode, voicesAbove, parallels.moves, parallels.fifths / moves,
                parallels.octaves / moves, parallels.unisons / moves);
            EXPECT_LT((parallels.fifths + parallels.octaves) / moves, 10.0);
        }
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
