// Key and chords of the tunes of MLH_MELODIES_DIR against what their sources say. scripts/report-melody
// prints more.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "choir/melody/MelodyTracker.h"
#include "support/Paths.h"
#include "support/Tunes.h"

namespace mlh::choir {
namespace {

TEST(MelodyFolder, KeysAndChordsAreMostlyThoseOfTheSources) {
    std::string why;
    const std::vector<Tune> tunes = LoadTunes(MelodiesDir(), why);
    if (tunes.empty()) {
        GTEST_SKIP() << why;
    }
    int keys = 0;
    int right = 0;
    double time = 0.0;
    double agreed = 0.0;
    double bars = 0.0;
    double changes = 0.0;
    for (const Tune& tune : tunes) {
        if (tune.keyTonic < 0 || (tune.keyMode != "major" && tune.keyMode != "minor") || tune.upper == 0) {
            continue;
        }
        std::vector<MelodyNote> notes;
        for (const TuneNote& note : tune.notes) {
            notes.push_back({note.onset, note.onset + note.duration, static_cast<double>(note.pitch)});
        }
        TrackOptions options;
        options.metre = MetreOf(tune.upper, tune.lower, 1.0);
        const MelodyTrack track = TrackMelody(notes, options);
        ++keys;
        right += track.key.best == tune.keyTonic + (tune.keyMode == "minor" ? 12 : 0) ? 1 : 0;
        if (!tune.HasChords()) {
            continue;
        }
        size_t chord = 0;
        for (size_t i = 0; i < tune.notes.size(); ++i) {
            while (chord + 1 < track.chords.size() && track.chords[chord + 1].time <= notes[i].start + 1e-9) {
                ++chord;
            }
            if (tune.notes[i].chordRoot >= 0) {
                const double length = notes[i].end - notes[i].start;
                time += length;
                agreed += track.chords[chord].root == tune.notes[i].chordRoot ? length : 0.0;
            }
        }
        changes += static_cast<double>(track.chords.size()) - 1.0;
        bars += (notes.back().end - notes.front().start) * tune.lower / (4.0 * tune.upper);
    }
    if (keys < 20 || time == 0.0) {
        GTEST_SKIP() << "fewer than 20 tunes with a key in " << MelodiesDir();
    }
    EXPECT_GT(right, 0.8 * keys) << right << " of " << keys << " keys";
    EXPECT_GT(agreed, 0.55 * time) << 100.0 * agreed / time << " % of the sung time";
    EXPECT_GT(changes / bars, 0.6);
    EXPECT_LT(changes / bars, 1.2);
    RecordProperty("keys_right", right);
    RecordProperty("root_percent", static_cast<int>(100.0 * agreed / time));
}

}  // namespace
}  // namespace mlh::choir
