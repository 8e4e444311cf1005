// From the notes of a voice to the segments that sing them, and how loud it is from moment to moment.
//
// A note takes its stretch of the recording, moved in pitch by the distance from the sung note to the wanted
// one, and in time by the singer's manner. Hiss, breath and consonants have no pitch to move: they are cut
// out as segments of their own and stay as they are, since moved noise buzzes. Where the voice was sounding
// already before a note was found, or goes on after it, that belongs to the note too.
//
// Data in, data out; the core's synthesizers and the waveform are the renderer's business.
#pragma once

#include <vector>

#include "choir/Types.h"
#include "choir/people/Humanize.h"
#include "mlh/voices.h"

namespace mlh::choir {

// What one voice is asked for.
struct VoiceOrder {
    std::vector<VoiceNote> notes = {};     // in the order of time; note -1 rests
    std::vector<NoteManner> manners = {};  // one per note, or none at all
    double vibrato = 1.0;                  // share of the singer's own movement that stays, 0 to 2
    double glide = 1.0;                    // length of the glides against the singer's own, 0 to 2
    double formant = 0.0;                  // [semitones]
    double consonants = 1.0;               // level of what is unvoiced, linear
    friend bool operator==(const VoiceOrder&, const VoiceOrder&) = default;
};

// What the marks say about a note of the lead.
struct LeadNote {
    SungNote sung = {};
    double markPitch =
        60.0;  // MIDI scale: mean of the marks' own idea of the pitch, from which movement counts
};

// A stretch of the recording without pitch.
struct Unvoiced {
    double start = 0.0;  // [s]
    double end = 0.0;
};

// A gain at a time; straight lines between them, level outside.
struct GainPoint {
    double time = 0.0;  // [s]
    double gain = 1.0;  // linear
};

// A point of the recording and when a voice sings it.
struct TimePair {
    double source = 0.0;  // [s]
    double target = 0.0;  // [s]
};

struct VoicePlan {
    std::vector<VoiceSegment> segments;  // without gap from 0 to past the end of the recording
    std::vector<TimePair> times;         // rising in both
    std::vector<GainPoint> level;        // rests, manners and levels of notes, gaps between phrases
    std::vector<GainPoint> consonants;   // empty where they stay as they are
    // Target ranges of the notes, one per note of the order: where their levels can be evened.
    struct Stretch {
        double start = 0.0;  // [s]
        double end = 0.0;    // [s]
        bool sounds = false;
        double moved = 0.0;     // [semitones] from the lead's pitch
        double reshaped = 0.0;  // [semitones] from the lead's formants
    };
    std::vector<Stretch> notes;
};

// `evening` has a linear gain per note of the order, or none at all. `seconds` is the length of what the core
// was given.
VoicePlan PlanVoice(const VoiceOrder& order, const std::vector<LeadNote>& lead,
                    const std::vector<Unvoiced>& unvoiced, const std::vector<double>& evening,
                    double seconds);

// The level curve alone, for another evening of the same plan.
std::vector<GainPoint> PlanLevel(const VoiceOrder& order, const VoicePlan& plan,
                                 const std::vector<double>& evening);

// Linear between points that rise in time.
double GainAt(const std::vector<GainPoint>& curve, double time);
double TargetOf(const std::vector<TimePair>& times, double source);
double SourceOf(const std::vector<TimePair>& times, double target);

}  // namespace mlh::choir
