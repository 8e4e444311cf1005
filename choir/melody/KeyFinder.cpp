#include "choir/melody/KeyFinder.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace mlh::choir {

namespace {

#include "choir/melody/tables/KeyTables.inc"

using Degrees = std::array<double, 12>;

// A pitch further than a quarter of a semitone from a whole one counts for both neighbours: its rounding is a
// guess.
void AddTone(Degrees& tones, double pitch, double weight) {
    const int whole = WholePitch(pitch);
    const double off = pitch - whole;
    const double share = std::clamp(2.0 * (std::abs(off) - 0.25), 0.0, 0.5);
    tones[static_cast<size_t>(DegreeOf(whole, 0))] += weight * (1.0 - share);
    tones[static_cast<size_t>(DegreeOf(whole + (off > 0.0 ? 1 : -1), 0))] += weight * share;
}

void Normalize(Degrees& tones) {
    double sum = 0.0;
    for (const double tone : tones) {
        sum += tone;
    }
    for (double& tone : tones) {
        tone /= std::max(sum, 1e-12);
    }
}

// Lengths from which a note counts no more, in medians: a last note held long is one arrival.
constexpr double kLongest = 3.0;

// The intervals by which tones are come to: a fourth up or a fifth down, in any octave, as a dominant's root
// falls; steps.
constexpr size_t kArrivals = 5;
constexpr int kFourth = 5;
constexpr int kSteps[kArrivals - 1] = {1, 2, -1, -2};

// How often each pitch class is come to by each interval: a share of the notes, longer ones counting for
// more.
void CountArrivals(const std::vector<MelodyNote>& notes, double tuning, Degrees* arrivals) {
    std::vector<double> lengths;
    for (const MelodyNote& note : notes) {
        lengths.push_back(note.end - note.start);
    }
    std::sort(lengths.begin(), lengths.end());
    const double median = 0.5 * (lengths[(lengths.size() - 1) / 2] + lengths[lengths.size() / 2]);
    for (size_t i = 1; i < notes.size(); ++i) {
        const int from = WholePitch(notes[i - 1].pitch - tuning);
        const int to = WholePitch(notes[i].pitch - tuning);
        const double weight = std::min((notes[i].end - notes[i].start) / std::max(median, 1e-12), kLongest) /
                              static_cast<double>(notes.size());
        const auto step = std::find(std::begin(kSteps), std::end(kSteps), to - from);
        if (step != std::end(kSteps)) {
            arrivals[1 + (step - std::begin(kSteps))][static_cast<size_t>(DegreeOf(to, 0))] += weight;
        } else if (DegreeOf(to, from) == kFourth) {
            arrivals[0][static_cast<size_t>(DegreeOf(to, 0))] += weight;
        }
    }
}

}  // namespace

KeyEstimate FindKey(const std::vector<MelodyNote>& notes, double tuning) {
    KeyEstimate key;
    key.posterior.fill(1.0 / 24.0);
    if (notes.empty()) {
        return key;
    }
    key.tuning = tuning;
    constexpr size_t kParts = 4 + kArrivals;
    std::array<Degrees, kParts> parts = {};  // all notes, the first, the last, the ending; arrivals
    const size_t tail = std::max<size_t>(1, (notes.size() + 7) / 8);
    for (size_t i = 0; i < notes.size(); ++i) {
        const double pitch = notes[i].pitch - tuning;
        const double duration = notes[i].end - notes[i].start;
        AddTone(parts[0], pitch, duration);
        if (i == 0) {
            AddTone(parts[1], pitch, 1.0);
        }
        if (i + 1 == notes.size()) {
            AddTone(parts[2], pitch, 1.0);
        }
        if (i + tail >= notes.size()) {
            AddTone(parts[3], pitch, duration);
        }
    }
    for (size_t part = 0; part < 4; ++part) {
        Normalize(parts[part]);
    }
    CountArrivals(notes, tuning, &parts[4]);
    static_assert(std::size(kKeyMajor) == 12 * kParts + 1 && std::size(kKeyMinor) == std::size(kKeyMajor));
    for (int k = 0; k < 24; ++k) {
        const short* weight = k < 12 ? kKeyMajor : kKeyMinor;
        double score = weight[12 * kParts];
        for (size_t part = 0; part < parts.size(); ++part) {
            for (size_t degree = 0; degree < 12; ++degree) {
                score += weight[part * 12 + degree] * parts[part][(degree + static_cast<size_t>(k)) % 12];
            }
        }
        key.posterior[static_cast<size_t>(k)] = score / 100.0;  // the tables hold hundredths
    }
    const double top = *std::max_element(key.posterior.begin(), key.posterior.end());
    double sum = 0.0;
    for (double& p : key.posterior) {
        p = std::exp(p - top);
        sum += p;
    }
    for (double& p : key.posterior) {
        p /= sum;
    }
    key.best = static_cast<int>(std::max_element(key.posterior.begin(), key.posterior.end()) -
                                key.posterior.begin());
    key.second = key.best == 0 ? 1 : 0;
    for (int k = 0; k < 24; ++k) {
        if (k != key.best &&
            key.posterior[static_cast<size_t>(k)] > key.posterior[static_cast<size_t>(key.second)]) {
            key.second = k;
        }
    }
    key.confidence = key.posterior[static_cast<size_t>(key.best)];
    return key;
}

KeyEstimate FindKey(const std::vector<MelodyNote>& notes) { return FindKey(notes, TuningOf(notes)); }

}  // namespace mlh::choir
