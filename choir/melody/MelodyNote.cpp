#include "choir/melody/MelodyNote.h"

#include <algorithm>
#include <cmath>

#include "base/Pi.h"

namespace mlh::choir {

namespace {

// Beyond these numbers neither times nor pitches mean anything, and arithmetic on them loses its fractions.
constexpr double kLargestTime = 1e7;
constexpr double kLargestPitch = 1000.0;

std::vector<double> Intervals(const std::vector<MelodyNote>& notes) {
    std::vector<double> intervals;
    intervals.reserve(notes.size());
    for (size_t i = 0; i < notes.size(); ++i) {
        intervals.push_back((i + 1 < notes.size() ? notes[i + 1].start : notes[i].end) - notes[i].start);
    }
    return intervals;
}

}  // namespace

std::vector<MelodyNote> OneLine(const std::vector<MelodyNote>& notes) {
    std::vector<MelodyNote> sorted;
    sorted.reserve(notes.size());
    for (const MelodyNote& note : notes) {
        const bool usable = std::abs(note.start) < kLargestTime && std::abs(note.end) < kLargestTime &&
                            std::abs(note.pitch) < kLargestPitch && note.end > note.start;
        if (usable) {
            sorted.push_back(note);
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const MelodyNote& a, const MelodyNote& b) {
        return a.start < b.start || (a.start == b.start && a.pitch > b.pitch);
    });
    std::vector<MelodyNote> line;
    line.reserve(sorted.size());
    for (const MelodyNote& note : sorted) {
        if (line.empty() || note.start > line.back().start) {
            if (!line.empty()) {
                line.back().end = std::min(line.back().end, note.start);
            }
            line.push_back(note);
        }
    }
    return line;
}

double TuningOf(const std::vector<MelodyNote>& notes) {
    constexpr double kTurn = 2.0 * kPi;
    double x = 0.0;
    double y = 0.0;
    for (const MelodyNote& note : notes) {
        const double angle = kTurn * (note.pitch - std::floor(note.pitch));
        x += (note.end - note.start) * std::cos(angle);
        y += (note.end - note.start) * std::sin(angle);
    }
    // Whole pitches leave rounding errors of the sine alone, which are no tuning.
    if (std::abs(y) < 1e-9 * std::abs(x)) {
        return x < 0.0 ? 0.5 : 0.0;
    }
    return std::atan2(y, x) / kTurn;
}

double MedianInterval(const std::vector<MelodyNote>& notes) {
    std::vector<double> intervals = Intervals(notes);
    if (intervals.empty()) {
        return 0.0;
    }
    std::sort(intervals.begin(), intervals.end());
    const size_t half = intervals.size() / 2;
    return intervals.size() % 2 == 1 ? intervals[half] : (intervals[half - 1] + intervals[half]) / 2.0;
}

double MeanInterval(const std::vector<MelodyNote>& notes) {
    const double limit = 4.0 * MedianInterval(notes);
    double sum = 0.0;
    for (const double interval : Intervals(notes)) {
        sum += std::min(interval, limit);
    }
    return notes.empty() ? 1e-6 : std::max(sum / static_cast<double>(notes.size()), 1e-6);
}

int WholePitch(double pitch) { return static_cast<int>(std::floor(pitch + 0.5)); }

int DegreeOf(int pitch, int tonic) { return ((pitch - tonic) % 12 + 12) % 12; }

}  // namespace mlh::choir
