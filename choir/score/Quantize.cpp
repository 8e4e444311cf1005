#include "choir/score/Quantize.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mlh::choir {

namespace {

constexpr double kSigma = 2.6;       // ticks by which singers miss a line
constexpr int kReach = 11;           // ticks from an onset to the lines that it may take
constexpr int kFinest = 3;           // ticks between lines at their narrowest, a 32nd in a quarter note
constexpr double kMixedBeat = 2.5;   // price of halves and thirds in one beat
constexpr double kLongestGap = 8.0;  // ticks of silence that are closed ...
constexpr double kGapShare = 0.3;    // ... or this share of the distance to the next note
constexpr double kRestLine = 6.0;    // rests end and begin on these lines

int TickInBeat(int64_t tick) {
    return static_cast<int>(((tick % kTicksPerBeat) + kTicksPerBeat) % kTicksPerBeat);
}

bool IsThird(int64_t tick) { return TickInBeat(tick) % 8 == 0 && TickInBeat(tick) != 0; }
bool IsFraction(int64_t tick) { return TickInBeat(tick) % 6 == 0 && TickInBeat(tick) != 0; }

// How hard a line is to read; negative where no line is.
double PriceOfLine(int64_t tick) {
    const int inBeat = TickInBeat(tick);
    if (inBeat == 0) {
        return 0.0;
    }
    if (inBeat == 12) {
        return 0.5;
    }
    if (inBeat % 6 == 0) {
        return 1.3;
    }
    if (inBeat % 8 == 0) {
        return 1.2;
    }
    return inBeat % kFinest == 0 ? 4.0 : -1.0;
}

int64_t BeatOf(int64_t tick) { return (tick - TickInBeat(tick)) / kTicksPerBeat; }

struct Line {
    int64_t tick;
    double price;  // of the cheapest way to here
    int from;
};

std::vector<Line> LinesFor(double onset) {
    std::vector<Line> lines;
    const auto nearest = static_cast<int64_t>(std::llround(onset));
    for (int64_t tick = nearest - kReach; tick <= nearest + kReach; ++tick) {
        const double reading = PriceOfLine(tick);
        if (reading < 0.0) {
            continue;
        }
        const double off = (static_cast<double>(tick) - onset) / kSigma;
        lines.push_back({tick, 0.5 * off * off + reading, 0});
    }
    return lines;
}

double PriceOfMove(const Line& from, const Line& to) {
    const bool mixed = BeatOf(from.tick) == BeatOf(to.tick) && ((IsThird(from.tick) && IsFraction(to.tick)) ||
                                                                (IsFraction(from.tick) && IsThird(to.tick)));
    return mixed ? kMixedBeat : 0.0;
}

// Where more notes come than there are lines within reach, the line after the last one that is taken.
std::vector<Line> LinesAfter(const std::vector<Line>& before) {
    const int64_t after = before.front().tick + kFinest;
    const int64_t tick = after + ((kFinest - after % kFinest) % kFinest);
    return {{tick, std::numeric_limits<double>::infinity(), 0}};
}

std::vector<int64_t> FindOnsets(const std::vector<double>& onsets) {
    std::vector<std::vector<Line>> columns;
    for (const double onset : onsets) {
        std::vector<Line> lines = LinesFor(onset);
        if (!columns.empty()) {
            const std::vector<Line>& before = columns.back();
            std::vector<Line> reached;
            for (Line line : lines) {
                double best = std::numeric_limits<double>::infinity();
                for (std::size_t k = 0; k < before.size() && before[k].tick < line.tick; ++k) {
                    const double price = before[k].price + PriceOfMove(before[k], line);
                    if (price < best) {
                        best = price;
                        line.from = static_cast<int>(k);
                    }
                }
                line.price += best;
                if (best < std::numeric_limits<double>::infinity()) {
                    reached.push_back(line);
                }
            }
            if (reached.empty()) {
                reached = LinesAfter(before);
                reached[0].price = before.front().price + 100.0;
            }
            lines = std::move(reached);
        }
        columns.push_back(std::move(lines));
    }
    std::vector<int64_t> ticks(onsets.size());
    if (columns.empty()) {
        return ticks;
    }
    const auto cheaper = [](const Line& a, const Line& b) { return a.price < b.price; };
    const auto& last = columns.back();
    auto at = static_cast<std::size_t>(std::min_element(last.begin(), last.end(), cheaper) - last.begin());
    for (std::size_t i = columns.size(); i-- > 0;) {
        ticks[i] = columns[i][at].tick;
        at = static_cast<std::size_t>(columns[i][at].from);
    }
    return ticks;
}

}  // namespace

double BeatAt(const std::vector<double>& beats, double seconds) {
    const auto next = std::upper_bound(beats.begin(), beats.end(), seconds) - beats.begin();
    const auto index = std::clamp<std::ptrdiff_t>(next - 1, 0, static_cast<std::ptrdiff_t>(beats.size()) - 2);
    const auto i = static_cast<std::size_t>(index);
    return static_cast<double>(index) + (seconds - beats[i]) / (beats[i + 1] - beats[i]);
}

double SecondsAt(const std::vector<double>& beats, double beat) {
    const double whole = std::clamp(std::floor(beat), 0.0, static_cast<double>(beats.size()) - 2.0);
    const auto i = static_cast<std::size_t>(whole);
    return beats[i] + (beat - whole) * (beats[i + 1] - beats[i]);
}

std::vector<TickSpan> Quantize(const std::vector<SungSpan>& notes, const std::vector<double>& beats) {
    std::vector<double> onsets;
    for (const SungSpan& note : notes) {
        onsets.push_back(kTicksPerBeat * BeatAt(beats, note.start));
    }
    const std::vector<int64_t> starts = FindOnsets(onsets);
    std::vector<TickSpan> spans;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double moved = static_cast<double>(starts[i]) - onsets[i];
        const double end = kTicksPerBeat * BeatAt(beats, notes[i].end) + moved;
        auto tick = static_cast<int64_t>(std::llround(end / kRestLine) * static_cast<int64_t>(kRestLine));
        if (i + 1 < notes.size()) {
            const int64_t next = starts[i + 1];
            const double gap = static_cast<double>(next) - end;
            const double closed = std::max(kLongestGap, kGapShare * static_cast<double>(next - starts[i]));
            if (gap <= closed || tick > next) {
                tick = next;
            }
            tick = std::min(tick, next);
        }
        const int64_t least =
            i + 1 < notes.size() ? std::min<int64_t>(starts[i] + 6, starts[i + 1]) : starts[i] + 6;
        spans.push_back({starts[i], std::max(tick, least)});
    }
    return spans;
}

}  // namespace mlh::choir
