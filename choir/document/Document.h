// What was found and made, as JSON. One document serves takes, choirs and scores: members that have nothing
// to say are left out.
//
//     schema, kind        2, "take", "choir" or "score"
//     title, recording    the recording with file, sample_rate_hz, channels, frames, duration_s
//     style               as the setting names it
//     key                 name ("F# minor", null for none), index (0 to 11 major, 12 to 23 minor, -1), given,
//                         confidence (null where nobody measured it), candidates
//     core_key            name and index as the core found it
//     tuning              cents off A = 440 Hz, reference_hz, and for style choir drift_cents; null where
//     nothing was
//                         sung
//     tempo, upbeat_beats of scores: beat, bpm, metre
//     notes               the melody: start_s, end_s, pitch_midi, note_midi, note, level; in scores also
//     onset_beats, length_beats,
//                         chord, engine_chord, and for four parts function, starts_phrase, inherited
//     curve               on request: time_s and pitch_midi, lists of the same length, null where unvoiced
//     chords              time_s, name, tones (pitch classes, 0 is C): where they change
//     voices              name, part, notes: lead (index of the melody's note), start_s, end_s, note_midi,
//     pitch_midi,
//                         note, level; in scores onset_beats, length_beats
//     settings            of choirs, as a settings document has them
//     output              of the command: mix, stems, clip (scale, limit or none), levels (of the mix, then
//     the
//                         stems: file, peak_db, samples_above as rendered, gain_db that it was lowered by),
//                         saturated_samples that were cut off, analysis_seconds, rendering_seconds
//     warnings            lines for people
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "choir/Choir.h"
#include "choir/document/SettingsDocument.h"
#include "choir/score/Arrangement.h"
#include "choir/score/Score.h"
#include "choir/take/Take.h"

namespace mlh::choir {

// What a library cannot know of a recording.
struct RecordingInfo {
    std::string file = {};
    int32_t channels = 0;  // of the file; 0: as the take has
};

// A file that was written of a choir, and how loud it would have been.
struct OutputLevel {
    std::string file = {};
    double peak = 0.0;       // the highest absolute sample, 1 is full scale
    int64_t above = 0;       // how many samples were above full scale
    double leastGain = 1.0;  // what the policy multiplied with at most
};

// Files that were written of a choir.
struct OutputInfo {
    std::string mix = {};
    std::vector<std::string> stems = {};
    Clip clip = Clip::None;                // what was done about samples above full scale
    std::vector<OutputLevel> levels = {};  // the mix first, then the stems
    int64_t saturated = 0;                 // samples of the mix and the stems that were cut off at full scale
    double analysisSeconds = 0.0;
    double renderingSeconds = 0.0;
};

std::string TakeDocument(const Take& take, const RecordingInfo& recording = {}, bool withCurve = false);
std::string ChoirDocument(const Choir& choir, const RecordingInfo& recording = {}, bool withCurve = false,
                          const OutputInfo* output = nullptr);
std::string ScoreDocument(const Arrangement& arrangement);
std::string ScoreDocument(const Score& score);

// A melody for scores: {"kind": "melody", "title", "key", "tempo": [{beat, bpm, metre}], "upbeat_beats",
// "notes":
// [{onset_beats, length_beats, pitch_midi, chord}]}; members of a score document that it does not know are
// passed over. Throws UsageError with one line.
Melody ReadMelodyDocument(const std::string& json, const std::string& source = "melody");

}  // namespace mlh::choir
