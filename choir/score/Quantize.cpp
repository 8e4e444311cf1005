#include "choir/score/Quantize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace mlh::choir {

namespace {

// Ticks by which singers miss a line: usually, and at least and at most after looking at the song.
constexpr double kUsualMiss = 2.6;
constexpr double kLeastMiss = 1.2;
constexpr double kMostMiss = 4.5;
constexpr double kUsualNotes = 16.0;  // as so many notes of the song the usual miss and prices count
constexpr int kRounds = 3;
constexpr int kReach = 11;           // ticks from an onset to the lines that it may take
constexpr double kMixedBeat = 12.0;  // price of halves and thirds in one beat: only where nothing else goes
constexpr double kLongestGap = 9.0;  // ticks of silence that are closed ...
constexpr double kGapShare = 0.3;    // ... or this share of the distance to the next note
constexpr double kUnreachable = std::numeric_limits<double>::infinity();

int TickInBeat(int64_t tick) {
    return static_cast<int>(((tick % kTicksPerBeat) + kTicksPerBeat) % kTicksPerBeat);
}

int64_t BeatOf(int64_t tick) { return (tick - TickInBeat(tick)) / kTicksPerBeat; }

// The lines of a beat, by how far they divide it.
enum LineKind { kBeat, kFirst, kSecond, kTriplet, kFine, kLineKinds };

class Lines {
  public:
    explicit Lines(BeatDivision division) : thirds_(division == BeatDivision::Thirds) {}

    // Ticks between the lines that ends take: 16ths.
    int Usual() const { return thirds_ ? 4 : 6; }

    // kLineKinds where no line is.
    LineKind KindOf(int64_t tick) const {
        const int inBeat = TickInBeat(tick);
        if (inBeat == 0) {
            return kBeat;
        }
        if (thirds_) {
            return inBeat % 8 == 0   ? kFirst
                   : inBeat % 4 == 0 ? kSecond
                   : inBeat % 2 == 0 ? kFine
                                     : kLineKinds;
        }
        return inBeat == 12      ? kFirst
               : inBeat % 6 == 0 ? kSecond
               : inBeat % 8 == 0 ? kTriplet
               : inBeat % 3 == 0 ? kFine
                                 : kLineKinds;
    }

    bool IsTriplet(int64_t tick) const { return KindOf(tick) == kTriplet; }
    bool IsFraction(int64_t tick) const {
        const LineKind kind = KindOf(tick);
        return !thirds_ && (kind == kFirst || kind == kSecond || kind == kFine);
    }

  private:
    bool thirds_;
};

// What a line costs and how far singers are from it: as usual, then as this song has it.
class Habits {
  public:
    double PriceOf(LineKind kind) const { return prices_[kind]; }
    double miss() const { return miss_; }

    // The song's own habits, from the lines that its onsets took.
    void Learn(const std::vector<double>& onsets, const std::vector<int64_t>& ticks, const Lines& lines) {
        std::array<double, kLineKinds> counts;
        double squares = kUsualNotes * kUsualMiss * kUsualMiss;
        double all = kUsualNotes;
        double shares = 0.0;
        for (int kind = 0; kind < kLineKinds; ++kind) {
            shares += std::exp(-kUsualPrices[static_cast<std::size_t>(kind)]);
        }
        for (int kind = 0; kind < kLineKinds; ++kind) {
            counts[static_cast<std::size_t>(kind)] =
                kUsualNotes * std::exp(-kUsualPrices[static_cast<std::size_t>(kind)]) / shares;
        }
        for (std::size_t i = 0; i < onsets.size(); ++i) {
            const double off = std::clamp(onsets[i] - static_cast<double>(ticks[i]), -kMostOff, kMostOff);
            squares += off * off;
            all += 1.0;
            counts[lines.KindOf(ticks[i])] += 1.0;
        }
        miss_ = std::clamp(std::sqrt(squares / all), kLeastMiss, kMostMiss);
        for (int kind = 0; kind < kLineKinds; ++kind) {
            prices_[static_cast<std::size_t>(kind)] =
                std::log(counts[kBeat] / counts[static_cast<std::size_t>(kind)]);
        }
    }

  private:
    static constexpr double kMostOff = 9.0;  // an onset that is further off says nothing of the others
    static constexpr std::array<double, kLineKinds> kUsualPrices = {0.0, 0.5, 1.3, 1.2, 4.0};
    std::array<double, kLineKinds> prices_ = kUsualPrices;
    double miss_ = kUsualMiss;
};

struct Line {
    int64_t tick;
    double price;  // of the cheapest way to here
    int from;
};

std::vector<Line> LinesFor(double onset, const Lines& lines, const Habits& habits) {
    std::vector<Line> found;
    const auto nearest = static_cast<int64_t>(std::llround(onset));
    for (int64_t tick = nearest - kReach; tick <= nearest + kReach; ++tick) {
        const LineKind kind = lines.KindOf(tick);
        if (kind == kLineKinds) {
            continue;
        }
        const double off = (static_cast<double>(tick) - onset) / habits.miss();
        found.push_back({tick, 0.5 * off * off + habits.PriceOf(kind), 0});
    }
    return found;
}

double PriceOfMove(const Line& from, const Line& to, const Lines& lines) {
    const bool mixed =
        BeatOf(from.tick) == BeatOf(to.tick) && ((lines.IsTriplet(from.tick) && lines.IsFraction(to.tick)) ||
                                                 (lines.IsFraction(from.tick) && lines.IsTriplet(to.tick)));
    return mixed ? kMixedBeat : 0.0;
}

// Where more notes come than there are lines within reach, the line after the last one that is taken.
std::vector<Line> LinesAfter(const std::vector<Line>& before, const Lines& lines) {
    int64_t tick = before.front().tick + 1;
    while (lines.KindOf(tick) == kLineKinds || lines.IsTriplet(tick)) {
        ++tick;
    }
    return {{tick, kUnreachable, 0}};
}

std::vector<int64_t> FindOnsets(const std::vector<double>& onsets, const Lines& lines, const Habits& habits) {
    std::vector<std::vector<Line>> columns;
    for (const double onset : onsets) {
        std::vector<Line> found = LinesFor(onset, lines, habits);
        if (!columns.empty()) {
            const std::vector<Line>& before = columns.back();
            std::vector<Line> reached;
            for (Line line : found) {
                double best = kUnreachable;
                for (std::size_t k = 0; k < before.size() && before[k].tick < line.tick; ++k) {
                    const double price = before[k].price + PriceOfMove(before[k], line, lines);
                    if (price < best) {
                        best = price;
                        line.from = static_cast<int>(k);
                    }
                }
                line.price += best;
                if (best < kUnreachable) {
                    reached.push_back(line);
                }
            }
            if (reached.empty()) {
                reached = LinesAfter(before, lines);
                reached[0].price = before.front().price + 100.0;
            }
            found = std::move(reached);
        }
        columns.push_back(std::move(found));
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

// The line nearest to an end: of thirds where notes of its beat start on thirds, else 16ths for short notes
// and eighths for longer ones. `first` and `last` are the onsets around it.
int64_t LineForEnd(double end, int64_t first, int64_t last, const Lines& lines) {
    const int64_t beat = BeatOf(static_cast<int64_t>(std::floor(end)));
    const bool triplet =
        (BeatOf(first) == beat && lines.IsTriplet(first)) || (BeatOf(last) == beat && lines.IsTriplet(last));
    const bool isShort = end - static_cast<double>(first) < 2.0 * lines.Usual();
    const int step = triplet ? 8 : isShort ? lines.Usual() : 2 * lines.Usual();
    return std::llround(end / step) * step;
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

std::vector<TickSpan> Quantize(const std::vector<SungSpan>& notes, const std::vector<double>& beats,
                               BeatDivision division) {
    const Lines lines(division);
    std::vector<double> onsets;
    for (const SungSpan& note : notes) {
        onsets.push_back(kTicksPerBeat * BeatAt(beats, note.start));
    }
    Habits habits;
    std::vector<int64_t> starts = FindOnsets(onsets, lines, habits);
    for (int round = 1; round < kRounds; ++round) {
        habits.Learn(onsets, starts, lines);
        starts = FindOnsets(onsets, lines, habits);
    }
    std::vector<TickSpan> spans;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double moved = static_cast<double>(starts[i]) - onsets[i];
        const double end = kTicksPerBeat * BeatAt(beats, notes[i].end) + moved;
        const bool last = i + 1 == notes.size();
        int64_t tick = LineForEnd(end, starts[i], last ? starts[i] : starts[i + 1], lines);
        if (!last) {
            const int64_t next = starts[i + 1];
            const double gap = static_cast<double>(next) - end;
            const double closed = std::max(kLongestGap, kGapShare * static_cast<double>(next - starts[i]));
            tick = gap <= closed ? next : std::min(tick, next);
        }
        const int64_t shortest = starts[i] + (lines.IsTriplet(starts[i]) ? 8 : lines.Usual());
        const int64_t least = last ? shortest : std::min(shortest, starts[i + 1]);
        spans.push_back({starts[i], std::max(tick, least)});
    }
    return spans;
}

}  // namespace mlh::choir
