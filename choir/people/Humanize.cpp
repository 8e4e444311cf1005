#include "choir/people/Humanize.h"

#include <algorithm>
#include <cmath>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

// Standard deviations at amount 1; half of them by default.
constexpr double kOnset = 0.040;           // [s]
constexpr double kRelease = 0.044;         // [s]
constexpr double kInside = 0.070;          // [s]
constexpr double kDetuneOfPerson = 0.045;  // [semitones]
constexpr double kDetuneOfNote = 0.035;    // [semitones]
constexpr double kDriftInside = 0.08;      // [semitones] from stretch to stretch of a note
constexpr double kLevelOfPhrase = 4.0;     // [dB] at its ends, and by straight lines between them
constexpr double kLevelOfNote = 4.5;       // [dB] that wanders
constexpr double kLevelOfPoint = 4.0;      // [dB] of each point by itself
constexpr double kVibratoOfPerson = 0.40;
constexpr double kVibratoOfNote = 0.30;
constexpr double kFormantOfPerson = 0.8;  // [semitones]
constexpr double kFormantOfNote = 0.2;    // [semitones]

constexpr double kKeptTiming = 0.6;  // share that stays from note to note
constexpr double kKeptLevel = 0.3;
constexpr double kKeptDetune = 0.7;
constexpr double kTouching = 0.06;          // [s] notes nearer than that are sung without a break
constexpr double kInsideDistance = 0.22;    // [s] between the points inside a note
constexpr double kLeastShare = 0.4;         // of its length that a stretch keeps
constexpr double kPhraseGap = 0.35;         // [s] from which a phrase has ended
constexpr double kLevelDistance = 0.4;      // [s] between the points inside a note: no tremolo
constexpr double kSofterConsonants = 6.0;   // [dB] in the mean
constexpr double kConsonantOfPerson = 4.0;  // [dB]
constexpr double kConsonantOfNote = 6.0;    // [dB]
constexpr double kMostLevel = 14.0;         // [dB] at amount 1
constexpr double kStray = 0.18;  // [semitones] that a gliding note may be off by being late or early

enum Draw : uint64_t { kPersonal, kTiming, kLevels, kPitch, kPhrase, kConsonants, kColour };

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

LeadTraits TraitsOf(const VoiceNote& note, const std::vector<LeadTraits>& lead) {
    const auto index = static_cast<std::size_t>(note.lead);
    return note.lead >= 0 && index < lead.size() ? lead[index] : LeadTraits{};
}

// Share of its spread in time [s] that a note is free to have.
double FreedomOf(const VoiceNote& note, const std::vector<LeadTraits>& lead, double spread) {
    const double stray = std::fabs(TraitsOf(note, lead).glide) * 2.0 * spread;
    return stray > kStray ? kStray / stray : 1.0;
}

// The level that belongs to the phrase, at any time of it. [dB]
class PhraseLevels {
  public:
    PhraseLevels(const std::vector<VoiceNote>& notes, const RandomSource& source) : phraseOf_(notes.size()) {
        for (std::size_t first = 0; first < notes.size();) {
            std::size_t end = first + 1;
            while (end < notes.size() && notes[end].start - notes[end - 1].end < kPhraseGap) {
                ++end;
            }
            RandomSource own = source.Of(phrases_.size());
            Phrase phrase;
            phrase.start = notes[first].start;
            phrase.end = std::max(notes[end - 1].end, phrase.start + 1e-3);
            phrase.levelAtStart = kLevelOfPhrase * own.Normal();
            phrase.levelAtEnd = kLevelOfPhrase * own.Normal();
            std::fill(phraseOf_.begin() + static_cast<std::ptrdiff_t>(first),
                      phraseOf_.begin() + static_cast<std::ptrdiff_t>(end), phrases_.size());
            phrases_.push_back(phrase);
            first = end;
        }
    }

    double At(std::size_t note, double time) const {
        const Phrase& phrase = phrases_[phraseOf_[note]];
        const double place = std::clamp((time - phrase.start) / (phrase.end - phrase.start), 0.0, 1.0);
        return phrase.levelAtStart + place * (phrase.levelAtEnd - phrase.levelAtStart);
    }

  private:
    struct Phrase {
        double start, end;
        double levelAtStart, levelAtEnd;
    };
    std::vector<Phrase> phrases_;
    std::vector<std::size_t> phraseOf_;
};

// Takes from all levels what makes their mean power that of no change, weighed by the lead's energy.
void CentreLevels(const std::vector<VoiceNote>& notes, const std::vector<LeadTraits>& lead,
                  std::vector<NoteManner>& manners) {
    double power = 0.0, weights = 0.0;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        if (notes[i].note < 0) {
            continue;
        }
        const NoteManner& manner = manners[i];
        double sum =
            0.5 * (std::pow(10.0, 0.1 * manner.levelAtStart) + std::pow(10.0, 0.1 * manner.levelAtEnd));
        for (const double level : manner.levelsInside) {
            sum += std::pow(10.0, 0.1 * level);
        }
        const double level = TraitsOf(notes[i], lead).level;
        const double energy = level * level * std::max(notes[i].end - notes[i].start, 0.0);
        power += energy * sum / static_cast<double>(manner.levelsInside.size() + 1);
        weights += energy;
    }
    if (!(weights > 0.0)) {
        return;
    }
    const double mean = 10.0 * std::log10(power / weights);
    for (NoteManner& manner : manners) {
        manner.levelAtStart -= mean;
        manner.levelAtEnd -= mean;
        for (double& level : manner.levelsInside) {
            level -= mean;
        }
    }
}

}  // namespace

std::vector<NoteManner> Humanize(const std::vector<VoiceNote>& notes, int person,
                                 const HumanizeSettings& settings, const std::vector<LeadTraits>& lead) {
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
    const double personalConsonant = kConsonantOfPerson * own.Normal() - kSofterConsonants;

    const PhraseLevels phrases(notes, source.Of(kPhrase));
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
        const double freedom = FreedomOf(note, lead, amount * kOnset);
        const double freedomInside = FreedomOf(note, lead, amount * kInside);
        const double onset = freedom * amount * kOnset * timing.Next(times.Normal());
        const double release = freedom * amount * kRelease * times.Normal();
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
            const double off = freedomInside * amount * kInside * times.Normal();
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
            off = std::min(freedom, FreedomOf(notes[i + 1], lead, amount * kOnset)) * amount * kOnset *
                  peeked.Next(nextTimes.Normal());
        }
        const double after = joins ? notes[i + 1].end : note.end + 0.5;
        const double end = Hold(note.end + off, last, lastMoved, note.end, after);
        manner.release = end - note.end;
        last = note.end;
        lastMoved = end;

        RandomSource levels = ofNote.Of(kLevels);
        const double wandered = kLevelOfNote * level.Next(levels.Normal());
        const auto levelAt = [&](double time) {
            const double free = phrases.At(i, time) + wandered + kLevelOfPoint * levels.Normal();
            return amount * std::clamp(free, -kMostLevel, kMostLevel);
        };
        const double startLevel = levelAt(note.start);
        manner.levelAtStart = joined ? manners[i - 1].levelAtEnd : startLevel;
        const int levelPoints = std::max(1, static_cast<int>((note.end - note.start) / kLevelDistance));
        for (int k = 1; k <= levelPoints; ++k) {
            manner.levelsInside.push_back(
                levelAt(note.start + k * (note.end - note.start) / (levelPoints + 1)));
        }
        manner.levelAtEnd = levelAt(note.end);

        RandomSource consonants = ofNote.Of(kConsonants);
        manner.consonant = amount * (personalConsonant + kConsonantOfNote * consonants.Normal());

        RandomSource pitches = ofNote.Of(kPitch);
        const double wanderedPitch = kDetuneOfNote * pitch.Next(pitches.Normal());
        const double vibrato = personalVibrato + kVibratoOfNote * pitches.Normal();
        const double formant = personalFormant + kFormantOfNote * pitches.Normal();
        manner.detune = amount * (personalDetune + wanderedPitch);
        manner.vibrato = std::clamp(1.0 + amount * vibrato, 0.3, 1.7);
        manner.formant = amount * formant;
        // Inside the note the pitch wanders about the note's own.
        double sum = 0.0;
        for (std::size_t k = 0; inside > 0 && k <= manner.inside.size(); ++k) {
            manner.drift.push_back(amount * kDriftInside * pitches.Normal());
            sum += manner.drift.back();
        }
        for (double& drift : manner.drift) {
            drift -= sum / static_cast<double>(manner.drift.size());
        }
        if (sameNote) {  // a note that a chord cuts stays one note
            manner.detune = manners[i - 1].detune;
            manner.vibrato = manners[i - 1].vibrato;
            manner.formant = manners[i - 1].formant;
        }
    }
    CentreLevels(notes, lead, manners);
    return manners;
}

}  // namespace mlh::choir
