#include "choir/people/Humanize.h"

#include <algorithm>
#include <cmath>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

// Standard deviations at amount 1; half of them by default.
constexpr double kOnset = 0.034;           // [s]
constexpr double kRelease = 0.044;         // [s]
constexpr double kInside = 0.060;          // [s]
constexpr double kDetuneOfPerson = 0.045;  // [semitones]
constexpr double kDetuneOfNote = 0.035;    // [semitones]
constexpr double kLevel = 2.4;             // [dB] that wanders
constexpr double kLevelOfPoint = 2.0;      // [dB] of each point by itself
constexpr double kVibratoOfPerson = 0.40;
constexpr double kVibratoOfNote = 0.30;
constexpr double kFormantOfPerson = 0.8;  // [semitones]
constexpr double kFormantOfNote = 0.2;    // [semitones]

constexpr double kKeptTiming = 0.6;  // share that stays from note to note
constexpr double kKeptLevel = 0.7;
constexpr double kKeptDetune = 0.7;
constexpr double kTouching = 0.06;       // [s] notes nearer than that are sung without a break
constexpr double kInsideDistance = 0.3;  // [s] between the points inside a note
constexpr double kLeastShare = 0.4;      // of its length that a stretch keeps

enum Draw : uint64_t { kPersonal, kTiming, kLevels, kPitch, kColour };

// A value that wanders from note to note with standard deviation 1.
class Wander {
  public:
    explicit Wander(double kept) : kept_(kept), fresh_(std::sqrt(1.0 - kept * kept)) {}
    double Next(double drawn) {
        value_ = started_ ? kept_ * value_ + fresh_ * drawn : drawn;
        started_ = true;
        return value_;
    }

  private:
    double kept_;
    double fresh_;
    double value_ = 0.0;
    bool started_ = false;
};

bool Touch(const VoiceNote& note, const VoiceNote& next) { return next.start - note.end < kTouching; }

// Moves a point of time so that the stretch since the one before keeps its least share, and that to the next.
double Hold(double moved, double before, double movedBefore, double time, double after) {
    const double least = movedBefore + kLeastShare * (time - before);
    const double most = time + 0.5 * (1.0 - kLeastShare) * (after - time);
    return std::max(std::min(moved, most), least);
}

}  // namespace

std::vector<NoteManner> Humanize(const std::vector<VoiceNote>& notes, int person,
                                 const HumanizeSettings& settings) {
    std::vector<NoteManner> manners(notes.size());
    const double amount = std::clamp(settings.amount, 0.0, 1.0);
    if (!(amount > 0.0)) {
        return manners;
    }

    const RandomSource source = RandomSource(settings.seed).Of(static_cast<uint64_t>(person));
    RandomSource own = source.Of(kPersonal);
    const double personalDetune = kDetuneOfPerson * own.Normal();
    const double personalVibrato = kVibratoOfPerson * own.Normal();
    const double personalFormant = kFormantOfPerson * own.Normal();

    Wander timing(kKeptTiming), level(kKeptLevel), pitch(kKeptDetune);
    double last = 0.0, lastMoved = 0.0;  // [s] the point of time before, as written and as sung
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const VoiceNote& note = notes[i];
        NoteManner& manner = manners[i];
        const bool joined = i > 0 && Touch(notes[i - 1], note);
        const bool joins = i + 1 < notes.size() && Touch(note, notes[i + 1]);
        const bool sameNote = joined && notes[i - 1].lead == note.lead && notes[i - 1].note == note.note;
        const RandomSource ofNote = source.Of(kColour + 1 + i);

        // Points of time, one after the other; each is held between its neighbours.
        RandomSource times = ofNote.Of(kTiming);
        const double onset = amount * kOnset * timing.Next(times.Normal());
        const double release = amount * kRelease * times.Normal();
        if (joined) {
            manner.onset = manners[i - 1].release;
            lastMoved = note.start + manner.onset;
        } else {
            const double start = Hold(note.start + onset, last, lastMoved, note.start, note.end);
            manner.onset = std::max(start, 0.0) - note.start;
            lastMoved = note.start + manner.onset;
        }
        last = note.start;
        const int inside = static_cast<int>((note.end - note.start) / kInsideDistance);
        for (int k = 1; k <= inside; ++k) {
            const double time = note.start + k * (note.end - note.start) / (inside + 1);
            const double off = amount * kInside * times.Normal();
            const double moved = Hold(time + off, last, lastMoved, time, note.end);
            manner.inside.push_back(moved - time);
            last = time;
            lastMoved = moved;
        }
        double off = release;
        if (joins) {
            // The next note draws its own onset from its own source; peek at it here.
            RandomSource nextTimes = source.Of(kColour + 2 + i).Of(kTiming);
            Wander peeked = timing;
            off = amount * kOnset * peeked.Next(nextTimes.Normal());
        }
        const double after = joins ? notes[i + 1].end : note.end + 0.5;
        const double end = Hold(note.end + off, last, lastMoved, note.end, after);
        manner.release = end - note.end;
        last = note.end;
        lastMoved = end;

        RandomSource levels = ofNote.Of(kLevels);
        const double wandered = kLevel * level.Next(levels.Normal());
        manner.levelInside = amount * (wandered + kLevelOfPoint * levels.Normal());
        const double startLevel = amount * (wandered + kLevelOfPoint * levels.Normal());
        manner.levelAtEnd = amount * (wandered + kLevelOfPoint * levels.Normal());
        manner.levelAtStart = joined ? manners[i - 1].levelAtEnd : startLevel;

        RandomSource pitches = ofNote.Of(kPitch);
        const double wanderedPitch = kDetuneOfNote * pitch.Next(pitches.Normal());
        const double vibrato = personalVibrato + kVibratoOfNote * pitches.Normal();
        const double formant = personalFormant + kFormantOfNote * pitches.Normal();
        manner.detune = amount * (personalDetune + wanderedPitch);
        manner.vibrato = std::clamp(1.0 + amount * vibrato, 0.3, 1.7);
        manner.formant = amount * formant;
        if (sameNote) {  // a note that a chord cuts stays one note
            manner.detune = manners[i - 1].detune;
            manner.vibrato = manners[i - 1].vibrato;
            manner.formant = manners[i - 1].formant;
        }
    }
    return manners;
}

}  // namespace mlh::choir
