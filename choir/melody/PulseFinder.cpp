#include "choir/melody/PulseFinder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include "base/Pi.h"

namespace mlh::choir {

namespace {

#include "choir/melody/tables/PulseTables.inc"

// The comb. scripts/melody/pulses.py has the same numbers; the tables were learned with them.
constexpr int kPeriods = 187;
constexpr int kPhases = 48;
constexpr double kShortestPeriod = 0.3;  // [s]
constexpr double kPeriodStep = 0.01;     // of the logarithm
constexpr double kUsualPeriod = 0.55;    // [s] centre of the prior
constexpr double kPeriodSpread = 0.4;    // of the logarithm
constexpr double kPriorWeight = 0.4;     // a note
constexpr double kStepCost = 0.4;
constexpr double kLongestWeight = 1.0;  // [s] longer notes weigh no more
constexpr double kImpossible = -1e9;

// The clock through the comb's onsets.
constexpr double kNearTooth = 0.13;    // of a period: onsets nearer to a half period count for it
constexpr double kSmoothing = 2.5;     // [periods] standard deviation of the local lines
constexpr double kReach = 10.0;        // [periods]
constexpr double kLeastSpread = 1e-2;  // [periods^2] variance below which onsets give no slope
constexpr double kShortestKnot = 0.05;

// Half bars that are considered.
constexpr double kShortestHalf = 0.38;  // [s]
constexpr double kLongestHalf = 2.3;
constexpr int kTwelfths = 12;
struct Ratio {
    int numerator;
    int denominator;
};
constexpr Ratio kRatios[] = {{1, 3}, {1, 2}, {2, 3}, {3, 4}, {1, 1}, {4, 3}, {3, 2}, {2, 1}, {3, 1}};

constexpr double kUsualHalf = 0.9;  // [s]
constexpr double kNearLine = 0.12;  // of a half bar
constexpr int kPlaces = 5;          // on a line, just off it, a quarter, a third, half between lines

constexpr int kNumbers = kPlaces * (4 + 4 + 4 + 7) + 12 + 6 + 4 + kPlaces + kPlaces + 3;
static_assert(sizeof(kPulseWeights) == kNumbers * sizeof(short) &&
              sizeof(kBarWeights) == sizeof(kPulseWeights) &&
              sizeof(kUpbeatWeights) == 2 * sizeof(kPulseWeights));

struct Hypothesis {
    double ratio;
    double phase;
};

struct CombPath {
    std::vector<double> count;   // periods passed at each onset
    std::vector<double> period;  // [s] there
};

int LengthBin(double length) { return BinOf(length, {0.6, 1.3, 2.4}); }

double Interval(const std::vector<MelodyNote>& notes, size_t i) {
    if (i + 1 < notes.size()) {
        return notes[i + 1].start - notes[i].start;
    }
    return std::max(notes[i].end - notes[i].start, 0.05);
}

// Two bits for each state of each note: where its period came from.
class Steps {
  public:
    explicit Steps(size_t notes) : bits_(notes * kBytes) {}
    void Set(size_t note, int period, const std::array<int, kPhases>& step) {
        uint8_t* row = &bits_[note * kBytes + static_cast<size_t>(period * kPhases / 4)];
        for (size_t m = 0; m < kPhases; m += 4) {
            row[m / 4] = static_cast<uint8_t>((step[m] + 1) | (step[m + 1] + 1) << 2 |
                                              (step[m + 2] + 1) << 4 | (step[m + 3] + 1) << 6);
        }
    }
    int Get(size_t note, int state) const {
        return ((bits_[note * kBytes + static_cast<size_t>(state / 4)] >> (2 * (state % 4))) & 3) - 1;
    }

  private:
    static constexpr size_t kBytes = kPeriods * kPhases / 4;
    std::vector<uint8_t> bits_;
};

CombPath FollowComb(const std::vector<MelodyNote>& notes, double low, double high) {
    constexpr double kTurn = 2.0 * kPi;
    const size_t count = notes.size();
    double meanWeight = 0.0;
    for (size_t i = 0; i < count; ++i) {
        meanWeight += std::min(Interval(notes, i), kLongestWeight);
    }
    meanWeight /= static_cast<double>(count);
    std::array<double, kPeriods> periods;
    std::array<double, kPhases> tooth;
    for (int k = 0; k < kPeriods; ++k) {
        periods[static_cast<size_t>(k)] =
            std::floor(kShortestPeriod * 1e6 * std::exp(kPeriodStep * k) + 0.5) / 1e6;
    }
    for (int m = 0; m < kPhases; ++m) {  // rounded, so that platforms agree
        const double angle = kTurn * m / kPhases;
        tooth[static_cast<size_t>(m)] =
            std::floor(1024.0 * (std::cos(angle) + 0.5 * std::cos(2.0 * angle)) + 0.5) / 1024.0;
    }
    std::vector<double> score(kPeriods * kPhases);
    std::vector<double> moved(score.size());
    std::array<double, kPhases> nowhere;  // beyond the shortest and the longest period
    nowhere.fill(2.0 * kImpossible);
    Steps steps(count);
    const double firstWeight = std::min(Interval(notes, 0), kLongestWeight) / meanWeight;
    for (int k = 0; k < kPeriods; ++k) {
        const double period = periods[static_cast<size_t>(k)];
        const double distance = std::log(period / kUsualPeriod) / kPeriodSpread;
        const bool allowed = period >= low && period <= high;
        const double prior =
            allowed ? -0.5 * distance * distance * static_cast<double>(count) * kPriorWeight : kImpossible;
        for (int m = 0; m < kPhases; ++m) {
            score[static_cast<size_t>(k * kPhases + m)] = prior + firstWeight * tooth[static_cast<size_t>(m)];
        }
    }
    const auto shiftOf = [&](size_t note, int k) {  // phases that pass from the note before
        return std::floor(Interval(notes, note - 1) / periods[static_cast<size_t>(k)] * kPhases + 0.5);
    };
    for (size_t i = 1; i < count; ++i) {
        for (int k = 0; k < kPeriods; ++k) {
            const int shift = static_cast<int>(std::fmod(shiftOf(i, k), kPhases));
            for (int m = 0; m < kPhases; ++m) {
                const int from = m >= shift ? m - shift : m - shift + kPhases;
                moved[static_cast<size_t>(k * kPhases + m)] = score[static_cast<size_t>(k * kPhases + from)];
            }
        }
        const double weight = std::min(Interval(notes, i), kLongestWeight) / meanWeight;
        for (int k = 0; k < kPeriods; ++k) {
            const double* stayed = &moved[static_cast<size_t>(k * kPhases)];
            const double* below = k > 0 ? stayed - kPhases : nowhere.data();
            const double* above = k + 1 < kPeriods ? stayed + kPhases : nowhere.data();
            double* now = &score[static_cast<size_t>(k * kPhases)];
            std::array<int, kPhases> step;
            for (size_t m = 0; m < kPhases; ++m) {
                const double up = below[m] - kStepCost;
                const double down = above[m] - kStepCost;
                const double best = up > stayed[m] ? up : stayed[m];
                now[m] = (down > best ? down : best) + weight * tooth[m];
                step[m] = down > best ? -1 : up > stayed[m] ? 1 : 0;
            }
            steps.Set(i, k, step);
        }
    }
    int state = static_cast<int>(std::max_element(score.begin(), score.end()) - score.begin());
    CombPath path;
    path.count.resize(count);
    path.period.resize(count);
    int k = state / kPhases;
    int m = state % kPhases;
    for (size_t i = count; i-- > 0;) {
        path.period[i] = periods[static_cast<size_t>(k)];
        path.count[i] = 0.0;
        if (i > 0) {
            k -= steps.Get(i, k * kPhases + m);
            path.count[i] = shiftOf(i, k);
            m = ((m - static_cast<int>(std::fmod(path.count[i], kPhases))) % kPhases + kPhases) % kPhases;
        }
    }
    double sum = m;
    for (double& passed : path.count) {
        sum += passed;
        passed = sum / kPhases;
    }
    return path;
}

// Times of whole counts, from a count before the first onset to one past the last: local lines through onsets
// near half periods, weighted by a bell around the knot.
std::vector<double> KnotsThrough(const std::vector<MelodyNote>& notes, const CombPath& path,
                                 double firstKnot) {
    std::vector<double> x;
    std::vector<double> t;
    for (size_t i = 0; i < notes.size(); ++i) {
        const double tooth = std::floor(2.0 * path.count[i] + 0.5) / 2.0;
        if (std::abs(path.count[i] - tooth) < kNearTooth) {
            x.push_back(tooth);
            t.push_back(notes[i].start);
        }
    }
    const size_t knots = static_cast<size_t>(std::ceil(path.count.back()) + 2.0 - firstKnot);
    std::vector<double> times(knots);
    size_t begin = 0;
    size_t end = 0;
    size_t nearest = 0;
    for (size_t j = 0; j < knots; ++j) {
        const double knot = firstKnot + static_cast<double>(j);
        while (begin < x.size() && x[begin] < knot - kReach) {
            ++begin;
        }
        while (end < x.size() && x[end] < knot + kReach + 1e-9) {
            ++end;
        }
        double s = 0.0;
        double sx = 0.0;
        double st = 0.0;
        std::vector<double> weight;
        for (size_t i = begin; i < end; ++i) {
            const double d = (x[i] - knot) / kSmoothing;
            weight.push_back(std::exp(-0.5 * d * d));
            s += weight.back();
            sx += weight.back() * x[i];
            st += weight.back() * t[i];
        }
        double cxx = 0.0;
        double cxt = 0.0;
        if (s > 1e-3) {
            for (size_t i = begin; i < end; ++i) {
                cxx += weight[i - begin] * (x[i] - sx / s) * (x[i] - sx / s);
                cxt += weight[i - begin] * (x[i] - sx / s) * (t[i] - st / s);
            }
        }
        if (s > 1e-3 && cxx / s > kLeastSpread) {
            times[j] = st / s + cxt / cxx * (knot - sx / s);
        } else {
            while (nearest + 1 < notes.size() &&
                   std::abs(path.count[nearest + 1] - knot) <= std::abs(path.count[nearest] - knot)) {
                ++nearest;
            }
            times[j] = notes[nearest].start + (knot - path.count[nearest]) * path.period[nearest];
        }
        if (j > 0) {
            times[j] = std::max(times[j], times[j - 1] + kShortestKnot);
        }
    }
    return times;
}

double MedianStep(const std::vector<double>& times) {
    std::vector<double> steps;
    for (size_t i = 1; i < times.size(); ++i) {
        steps.push_back(times[i] - times[i - 1]);
    }
    std::sort(steps.begin(), steps.end());
    const size_t half = steps.size() / 2;
    return steps.size() % 2 == 1 ? steps[half] : (steps[half - 1] + steps[half]) / 2.0;
}

int PlaceOf(double halves) {
    return BinOf(std::abs(halves - std::floor(halves + 0.5)), {0.11, 0.19, 0.29, 0.4});
}

// What is the same for all hypotheses.
struct Rhythm {
    std::vector<double> u;     // onsets in periods
    std::vector<double> step;  // to the next onset, in periods
    std::vector<int> length;   // bins of the interval to the next onset, to the one before, and of the leap
    std::vector<int> previous;
    std::vector<int> leap;
    std::vector<int> degree;
    double mean;     // interval, seconds
    double seconds;  // of a period
};

// The linear score of one hypothesis; blocks of weights in the order of scripts/melody/pulses.py.
double ScoreOf(const Rhythm& rhythm, const Hypothesis& hypothesis, const short* weights) {
    const size_t count = rhythm.u.size();
    const double each = 1.0 / static_cast<double>(count);
    const double lines = std::max((rhythm.u.back() - rhythm.u.front()) / hypothesis.ratio, 1.0);
    const short* lengths = weights;
    const short* previous = lengths + kPlaces * 4;
    const short* leaps = previous + kPlaces * 4;
    const short* steps = leaps + kPlaces * 4;
    const short* degrees = steps + kPlaces * 7;
    const short* period = degrees + 12;
    const short* shares = period + 6;
    const short* first = shares + 4;
    const short* last = first + kPlaces;
    const short* echoes = last + kPlaces;
    double score = 0.0;
    std::array<int, kPlaces> places = {};
    std::array<int, 3> echo = {};
    std::array<size_t, 3> next = {};
    for (size_t i = 0; i < count; ++i) {
        const int place = PlaceOf((rhythm.u[i] - hypothesis.phase) / hypothesis.ratio);
        ++places[static_cast<size_t>(place)];
        score +=
            each *
            (lengths[place * 4 + rhythm.length[i]] + previous[place * 4 + rhythm.previous[i]] +
             leaps[place * 4 + rhythm.leap[i]] +
             steps[place * 7 + BinOf(rhythm.step[i] / hypothesis.ratio, {0.29, 0.42, 0.58, 0.8, 1.2, 1.8})]);
        if (place == 0) {
            score += each * degrees[rhythm.degree[i]];
        }
        if (i == 0) {
            score += first[place];
        }
        if (i + 1 == count) {
            score += last[place];
        }
        for (size_t e = 0; e < 3; ++e) {
            const double target = rhythm.u[i] + static_cast<double>(1 << e) * hypothesis.ratio;
            while (next[e] < count && rhythm.u[next[e]] < target) {
                ++next[e];
            }
            const size_t k = std::clamp<size_t>(next[e], 1, count - 1);
            const double distance =
                std::min(std::abs(rhythm.u[k] - target), std::abs(rhythm.u[k - 1] - target));
            echo[e] += distance < 0.1 * hypothesis.ratio ? 1 : 0;
        }
    }
    const double length = hypothesis.ratio * rhythm.seconds;
    const double a = std::log(length / kUsualHalf);
    const double b = std::log(length / (3.0 * rhythm.mean));
    const double onsets = static_cast<double>(count) / lines;
    score += period[0] * a + period[1] * a * a + period[2] * b + period[3] * b * b + period[4] * onsets +
             period[5] * onsets * onsets;
    score += (shares[0] * places[0] + shares[1] * places[4] + shares[2] * places[3] + shares[3] * places[2]) /
             lines;
    for (size_t e = 0; e < 3; ++e) {
        score += echoes[e] * (echo[e] * each);
    }
    return score / 100.0;  // the tables hold hundredths
}

Rhythm RhythmOf(const std::vector<MelodyNote>& notes, const HalfBarClock& clock, double seconds, int tonic) {
    Rhythm rhythm;
    rhythm.seconds = seconds;
    std::vector<double> intervals;
    for (size_t i = 0; i < notes.size(); ++i) {
        rhythm.u.push_back(clock.CountAt(notes[i].start));
        intervals.push_back(Interval(notes, i));
        rhythm.degree.push_back(DegreeOf(WholePitch(notes[i].pitch), tonic));
        const int leap = i == 0 ? 0 : std::abs(WholePitch(notes[i].pitch) - WholePitch(notes[i - 1].pitch));
        rhythm.leap.push_back(BinOf(leap, {0.5, 2.5, 5.5}));
    }
    rhythm.mean = MeanInterval(notes);
    for (size_t i = 0; i < notes.size(); ++i) {
        rhythm.step.push_back(i + 1 < notes.size() ? rhythm.u[i + 1] - rhythm.u[i] : intervals[i] / seconds);
        rhythm.length.push_back(LengthBin(intervals[i] / rhythm.mean));
        rhythm.previous.push_back(LengthBin(i == 0 ? 1.0 : intervals[i - 1] / rhythm.mean));
    }
    return rhythm;
}

bool IsCount(double half, double beat) {
    for (const double beats : {1.0, 1.5, 2.0, 3.0}) {
        if (std::abs(half / (beats * beat) - 1.0) < 0.08) {
            return true;
        }
    }
    return false;
}

// The phase at which the onsets near lines are on them, on average: hypotheses are a twelfth apart.
double Refined(const Rhythm& rhythm, Hypothesis hypothesis) {
    for (int round = 0; round < 2; ++round) {
        double sum = 0.0;
        int count = 0;
        for (const double u : rhythm.u) {
            const double halves = (u - hypothesis.phase) / hypothesis.ratio;
            const double off = halves - std::floor(halves + 0.5);
            if (std::abs(off) < kNearLine) {
                sum += off;
                ++count;
            }
        }
        hypothesis.phase += count > 0 ? sum / count * hypothesis.ratio : 0.0;
    }
    return hypothesis.phase;
}

// The best of some hypotheses, and its posterior.
std::pair<size_t, double> Rank(const Rhythm& rhythm, const std::vector<Hypothesis>& hypotheses,
                               const short* weights) {
    std::vector<double> scores;
    for (const Hypothesis& hypothesis : hypotheses) {
        scores.push_back(ScoreOf(rhythm, hypothesis, weights));
    }
    const size_t best = static_cast<size_t>(std::max_element(scores.begin(), scores.end()) - scores.begin());
    double sum = 0.0;
    for (const double score : scores) {
        sum += std::exp(score - scores[best]);
    }
    return {best, 1.0 / sum};
}

// Half bars have three beats, or three parts, when more notes fall on their thirds than on their quarters and
// halves.
int BeatsIn(const Rhythm& rhythm, const Hypothesis& half) {
    int thirds = 0;
    int others = 0;
    for (const double u : rhythm.u) {
        const int place = PlaceOf((u - half.phase) / half.ratio);
        thirds += place == 3 ? 1 : 0;
        others += place == 2 || place == 4 ? 1 : 0;
    }
    return thirds > others ? 3 : 2;
}

// Counts the comb's periods.
HalfBarClock CombClock(const std::vector<MelodyNote>& notes, const std::optional<double>& beat) {
    double low = 0.0;
    double high = 2.0 * kLongestHalf;
    if (beat) {  // doubled or halved until it is an ordinary period
        double period = *beat;
        while (period > 1.1) {
            period /= 2.0;
        }
        while (period < 0.32) {
            period *= 2.0;
        }
        low = period * 0.97;
        high = period * 1.03;
    }
    const CombPath path = FollowComb(notes, low, high);
    const double firstKnot = std::floor(path.count.front()) - 1.0;
    return HalfBarClock(KnotsThrough(notes, path, firstKnot), firstKnot, 1.0, 0.0);
}

// What may be half bars when a period of the comb lasts `seconds`.
std::vector<Hypothesis> HypothesesOf(double seconds, const std::optional<double>& beat) {
    std::vector<Hypothesis> hypotheses;
    const auto add = [&](const Ratio& ratio) {
        for (int k = 0; k < kTwelfths * ratio.numerator / ratio.denominator; ++k) {
            hypotheses.push_back({static_cast<double>(ratio.numerator) / ratio.denominator,
                                  k / static_cast<double>(kTwelfths)});
        }
    };
    for (const Ratio& ratio : kRatios) {
        const double half = seconds * ratio.numerator / ratio.denominator;
        if (kShortestHalf <= half && half <= kLongestHalf && (!beat || IsCount(half, *beat))) {
            add(ratio);
        }
    }
    if (hypotheses.empty()) {  // a tempo out of the ordinary
        for (const Ratio& ratio : kRatios) {
            add(ratio);
        }
    }
    return hypotheses;
}

// Bar lines of a known metre, at any twelfth of a half bar.
MelodyPulse FindUpbeat(const std::vector<MelodyNote>& notes, double half, const HalfBarMetre& metre,
                       int tonic) {
    const HalfBarClock clock(0.0, half);
    const Rhythm rhythm = RhythmOf(notes, clock, half, tonic);
    const int halves = std::max(metre.halves, 1);
    std::vector<double> scores;
    for (int k = 0; k < kTwelfths * halves; ++k) {
        const double phase = k / static_cast<double>(kTwelfths);
        scores.push_back(ScoreOf(rhythm, {1.0, phase}, kUpbeatWeights) +
                         ScoreOf(rhythm, {static_cast<double>(halves), phase}, kUpbeatWeights + kNumbers));
    }
    const size_t best = static_cast<size_t>(std::max_element(scores.begin(), scores.end()) - scores.begin());
    double all = 0.0;
    double sameHalves = 0.0;  // of the hypotheses that differ in the bar line alone
    for (size_t k = 0; k < scores.size(); ++k) {
        const double weight = std::exp(scores[k] - scores[best]);
        all += weight;
        sameHalves += k % kTwelfths == best % kTwelfths ? weight : 0.0;
    }
    double phase = static_cast<double>(best) / kTwelfths;
    phase += std::ceil((rhythm.u.front() - phase - 0.15) / halves) * halves;
    return {clock.With(1.0, phase), metre, sameHalves / all, 1.0 / sameHalves};
}

}  // namespace

HalfBarClock::HalfBarClock(double origin, double half) : times_{origin, origin + half} {}

HalfBarClock::HalfBarClock(std::vector<double> times, double firstCount, double ratio, double phase)
    : times_(std::move(times)), firstCount_(firstCount), ratio_(ratio), phase_(phase) {}

double HalfBarClock::CountAt(double time) const {
    size_t right = static_cast<size_t>(std::upper_bound(times_.begin(), times_.end(), time) - times_.begin());
    right = std::clamp<size_t>(right, 1, times_.size() - 1);
    const double left = times_[right - 1];
    return firstCount_ + static_cast<double>(right - 1) + (time - left) / (times_[right] - left);
}

double HalfBarClock::HalvesAt(double time) const { return (CountAt(time) - phase_) / ratio_; }

double HalfBarClock::TimeAt(double halves) const {
    const double count = halves * ratio_ + phase_ - firstCount_;
    const double left = std::clamp(std::floor(count), 0.0, static_cast<double>(times_.size() - 2));
    const size_t i = static_cast<size_t>(left);
    return times_[i] + (count - left) * (times_[i + 1] - times_[i]);
}

double HalfBarClock::Half() const { return ratio_ * MedianStep(times_); }

HalfBarClock HalfBarClock::With(double ratio, double phase) const {
    return HalfBarClock(times_, firstCount_, ratio, phase);
}

HalfBarClock HalfBarClock::From(double halves) const {
    return HalfBarClock(times_, firstCount_, ratio_, phase_ + halves * ratio_);
}

MelodyPulse FindPulse(const std::vector<MelodyNote>& notes, const PulseOptions& options) {
    if (notes.size() < 2) {
        const double half = options.half ? *options.half : options.beat ? 2.0 * *options.beat : kUsualHalf;
        MelodyPulse pulse = {HalfBarClock(notes.empty() ? 0.0 : notes[0].start, half)};
        pulse.metre = options.metre.value_or(HalfBarMetre{});
        return pulse;
    }
    if (options.half) {
        return FindUpbeat(notes, *options.half, options.metre.value_or(HalfBarMetre{}), options.tonic);
    }
    const HalfBarClock clock = CombClock(notes, options.beat);
    const double seconds = clock.Half();
    const std::vector<Hypothesis> hypotheses = HypothesesOf(seconds, options.beat);
    const Rhythm rhythm = RhythmOf(notes, clock, seconds, options.tonic);
    const auto [best, confidence] = Rank(rhythm, hypotheses, kPulseWeights);
    Hypothesis half = hypotheses[best];
    half.phase = Refined(rhythm, half);
    // Half bar 0 is now where the first note is, or up to one after it; then it becomes a bar line.
    half.phase += std::ceil((rhythm.u.front() - half.phase) / half.ratio - 0.15) * half.ratio;
    std::vector<Hypothesis> bars;
    std::vector<int> halves;
    for (int n = 1; n <= 3; ++n) {
        const int known = options.metre ? std::max(options.metre->halves, 1) : n;
        if (known == n || (known > 3 && n == 1)) {
            for (int j = 0; j < known; ++j) {
                bars.push_back({half.ratio * known, half.phase + j * half.ratio});
                halves.push_back(known);
            }
        }
    }
    const auto [bar, barConfidence] = Rank(rhythm, bars, kBarWeights);
    MelodyPulse pulse = {clock.With(half.ratio, bars[bar].phase)};
    pulse.metre = options.metre.value_or(HalfBarMetre{BeatsIn(rhythm, half), halves[bar]});
    pulse.confidence = confidence;
    pulse.barConfidence = barConfidence;
    return pulse;
}

namespace {

// Beats that one counts in a half bar.
int CountedBeats(const HalfBarMetre& metre, double half) {
    constexpr double kShortestBeat = 0.3;  // [s]
    if (metre.beats % 3 == 0) {
        return metre.halves == 1 ? 3 : 1;  // a found 6/8 has three parts, but is counted in twos
    }
    return metre.beats == 2 && half / 2.0 < kShortestBeat ? 1 : metre.beats;
}

}  // namespace

WrittenMetre WrittenMetreOf(const HalfBarMetre& metre, double half) {
    WrittenMetre written;
    const int counted = CountedBeats(metre, half);
    const bool compound = metre.beats == 1 || (metre.beats % 3 == 0 && metre.halves > 1);
    written.lower = compound ? 8 : 4;
    written.upper = compound ? 3 * metre.halves : counted * metre.halves;
    written.quarter = half / (compound ? 1.5 : counted);
    written.bpm = 60.0 * counted / half;
    return written;
}

std::vector<Beat> BeatsOf(const MelodyPulse& pulse, double from, double to) {
    const int counted = CountedBeats(pulse.metre, pulse.clock.Half());
    const int inBar = counted * std::max(pulse.metre.halves, 1);
    const double last = std::ceil(pulse.clock.HalvesAt(to) * counted - 1e-6);
    std::vector<Beat> beats;
    for (double k = std::floor(pulse.clock.HalvesAt(from) * counted + 1e-6); k <= last; k += 1.0) {
        beats.push_back({pulse.clock.TimeAt(k / counted), std::fmod(k, inBar) == 0.0});
    }
    return beats;
}

}  // namespace mlh::choir
