#include "choir/tuning/Tuning.h"

#include <algorithm>
#include <cmath>

#include "base/Pi.h"
#include "base/PitchUnits.h"

namespace mlh::choir {

namespace {

constexpr double kLongestWeight = 1.0;  // [s] a note that is held longer says no more
constexpr double kSteepest = 0.05;      // [semitones per second] that a singer drifts
constexpr double kFurthest = 2.0;       // [semitones] from start to end that a line may go
constexpr double kSlopeStep = 0.02;     // [semitones] over the whole piece between slopes that are tried
constexpr double kLeastSeconds = 8.0;   // below, no drift is looked for
constexpr double kLeastNotes = 8.0;     // weighed
constexpr double kKnotDistance = 4.0;   // [s] of the curve: about a phrase
constexpr double kSlopesTried = 5.0;    // in Schwarz's criterion: one slope of many always fits by chance
constexpr double kHuber = 1.5;          // standard deviations from which a note's pull stays the same
constexpr double kLeastSpread = 0.03;   // [semitones] no singer is steadier
constexpr int kRounds = 8;              // of fitting and weighing again
constexpr double kLongHarmony = 0.3;    // [s] shorter notes are not heard as pure

struct Weighed {
    double time;
    double pitch;
    double weight;  // sums to the effective number of notes
};

double ToNearest(double semitones) { return semitones - std::floor(semitones + 0.5); }

// Longer notes count more, none more than kLongestWeight; in the order of time.
std::vector<Weighed> Weigh(const std::vector<SungNote>& notes) {
    std::vector<Weighed> weighed;
    double sum = 0.0, squares = 0.0;
    for (const SungNote& note : notes) {
        const double weight = std::min(note.end - note.start, kLongestWeight);
        if (!(weight > 0.0) || !std::isfinite(note.pitch) || !std::isfinite(note.start)) {
            continue;
        }
        weighed.push_back({0.5 * (note.start + note.end), note.pitch, weight});
        sum += weight;
        squares += weight * weight;
    }
    std::stable_sort(weighed.begin(), weighed.end(),
                     [](const Weighed& a, const Weighed& b) { return a.time < b.time; });
    for (Weighed& note : weighed) {
        note.weight *= sum / squares;
    }
    return weighed;
}

double WeightOf(const std::vector<Weighed>& notes) {
    double sum = 0.0;
    for (const Weighed& note : notes) {
        sum += note.weight;
    }
    return sum;
}

// The mean place on the circle of a semitone of pitches that a line has been taken from.
struct CircularMean {
    double offset;  // [semitones]
    double length;  // 0 no direction to 1 all the same
};
CircularMean MeanAlong(const std::vector<Weighed>& notes, double slope, double origin) {
    double x = 0.0, y = 0.0, weight = 0.0;
    for (const Weighed& note : notes) {
        const double angle = 2.0 * kPi * (note.pitch - slope * (note.time - origin));
        x += note.weight * std::cos(angle);
        y += note.weight * std::sin(angle);
        weight += note.weight;
    }
    if (!(weight > 0.0)) {
        return {0.0, 0.0};
    }
    return {std::atan2(y, x) / (2.0 * kPi), std::sqrt(x * x + y * y) / weight};
}

// The slope along which the notes line up best.
double BestSlope(const std::vector<Weighed>& notes, double origin) {
    const double seconds = notes.back().time - notes.front().time;
    const double steepest = std::min(kSteepest, kFurthest / seconds);
    const double step = kSlopeStep / seconds;
    const int steps = static_cast<int>(steepest / step);
    double best = 0.0, length = -1.0;
    for (int i = -steps; i <= steps; ++i) {
        const double found = MeanAlong(notes, i * step, origin).length;
        if (found > length) {
            length = found;
            best = i * step;
        }
    }
    return best;
}

// A curve of straight pieces over knots at even distances, of which a line is a special case.
class Spline {
  public:
    Spline(double start, double end)
        : start_(start),
          knots_(std::max(2, static_cast<int>(std::ceil((end - start) / kKnotDistance)) + 1)),
          distance_((end - start) / (knots_ - 1)),
          values_(static_cast<std::size_t>(knots_)) {}

    int knots() const { return knots_; }
    double TimeOf(int knot) const { return start_ + knot * distance_; }
    double& operator[](int knot) { return values_[static_cast<std::size_t>(knot)]; }

    double At(double time) const {
        const auto [knot, share] = Place(time);
        const auto k = static_cast<std::size_t>(knot);
        return values_[k] + share * (values_[k + 1] - values_[k]);
    }

    // The values with the least weighted squares plus `stiffness` times the squares of the bends. Returns
    // the effective number of free parameters: the trace of what makes fitted pitches of given ones.
    double Fit(const std::vector<Weighed>& notes, double stiffness) {
        const auto n = static_cast<std::size_t>(knots_);
        // Symmetric, two bands beside the diagonal: diagonal_[0] is it.
        std::vector<double> band[3] = {std::vector<double>(n, 1e-9), std::vector<double>(n),
                                       std::vector<double>(n)};
        std::vector<double> right(n);
        for (const Weighed& note : notes) {
            const auto [knot, share] = Place(note.time);
            const auto k = static_cast<std::size_t>(knot);
            band[0][k] += note.weight * (1.0 - share) * (1.0 - share);
            band[1][k] += note.weight * share * (1.0 - share);
            band[0][k + 1] += note.weight * share * share;
            right[k] += note.weight * (1.0 - share) * note.pitch;
            right[k + 1] += note.weight * share * note.pitch;
        }
        for (std::size_t k = 0; k + 2 < n; ++k) {
            band[0][k] += stiffness;
            band[0][k + 1] += 4.0 * stiffness;
            band[0][k + 2] += stiffness;
            band[1][k] -= 2.0 * stiffness;
            band[1][k + 1] -= 2.0 * stiffness;
            band[2][k] += stiffness;
        }
        Factorise(band);
        values_ = Solve(band, right);

        double freedom = 0.0;
        std::vector<double> column(n);
        for (int knot = 0; knot + 1 < knots_; ++knot) {
            // The notes of one piece share two columns of the inverse.
            const auto k = static_cast<std::size_t>(knot);
            double a = 0.0, b = 0.0, c = 0.0;
            for (const Weighed& note : notes) {
                const auto [place, share] = Place(note.time);
                if (place != knot) {
                    continue;
                }
                a += note.weight * (1.0 - share) * (1.0 - share);
                b += note.weight * share * (1.0 - share);
                c += note.weight * share * share;
            }
            if (a + b + c == 0.0) {
                continue;
            }
            std::fill(column.begin(), column.end(), 0.0);
            column[k] = 1.0;
            const auto first = Solve(band, column);
            column[k] = 0.0;
            column[k + 1] = 1.0;
            const auto second = Solve(band, column);
            freedom += a * first[k] + 2.0 * b * first[k + 1] + c * second[k + 1];
        }
        return freedom;
    }

  private:
    struct At_ {
        int knot;
        double share;
    };
    At_ Place(double time) const {
        const double position = std::clamp((time - start_) / distance_, 0.0, knots_ - 1.0);
        const int knot = std::min(static_cast<int>(position), knots_ - 2);
        return {knot, position - knot};
    }

    // L D L' in place, of a positive matrix.
    static void Factorise(std::vector<double> (&band)[3]) {
        const std::size_t n = band[0].size();
        for (std::size_t k = 0; k < n; ++k) {
            const double one = band[1][k], two = band[2][k], pivot = band[0][k];
            if (k + 1 < n) {
                band[1][k] = one / pivot;
                band[0][k + 1] -= one * band[1][k];
                if (k + 2 < n) {
                    band[1][k + 1] -= two * band[1][k];
                }
            }
            if (k + 2 < n) {
                band[2][k] = two / pivot;
                band[0][k + 2] -= two * band[2][k];
            }
        }
    }
    static std::vector<double> Solve(const std::vector<double> (&band)[3], std::vector<double> x) {
        const std::size_t n = x.size();
        for (std::size_t k = 0; k < n; ++k) {
            if (k + 1 < n) {
                x[k + 1] -= band[1][k] * x[k];
            }
            if (k + 2 < n) {
                x[k + 2] -= band[2][k] * x[k];
            }
        }
        for (std::size_t k = 0; k < n; ++k) {
            x[k] /= band[0][k];
        }
        for (std::size_t k = n; k-- > 0;) {
            if (k + 1 < n) {
                x[k] -= band[1][k] * x[k + 1];
            }
            if (k + 2 < n) {
                x[k] -= band[2][k] * x[k + 2];
            }
        }
        return x;
    }

    double start_;
    int knots_;
    double distance_;
    std::vector<double> values_;
};

// How a model fares: its curve, and what it costs in Schwarz's criterion.
struct Model {
    Spline curve;
    double price = 0.0;
};

// Fits with one stiffness, starting from a curve near which the notes' semitones are chosen.
Model FitModel(const std::vector<Weighed>& notes, const Spline& from, double stiffness) {
    Model model{from};
    const double count = WeightOf(notes);
    double freedom = 1.0, loss = 0.0, spread = 0.15;
    for (int round = 0; round < kRounds; ++round) {
        auto unwrapped = notes;
        double sum = 0.0;
        loss = 0.0;
        for (Weighed& note : unwrapped) {
            const double place = model.curve.At(note.time);
            const double off = ToNearest(note.pitch - place);
            const double size = std::fabs(off) / spread;
            const double pull = size > kHuber ? kHuber / size : 1.0;
            loss += note.weight * std::min(size, 3.0) * std::min(size, 3.0) * spread * spread;
            sum += note.weight * pull * off * off;
            note.pitch = place + off;
            note.weight *= pull;
        }
        spread = std::max(std::sqrt(sum / count), kLeastSpread);
        freedom = model.curve.Fit(unwrapped, stiffness);
    }
    loss = 0.0;
    for (const Weighed& note : notes) {
        const double off = std::min(std::fabs(ToNearest(note.pitch - model.curve.At(note.time))), 0.35);
        loss += note.weight * off * off;
    }
    const double variance = std::max(loss / count, kLeastSpread * kLeastSpread);
    model.price = count * std::log(variance) + freedom * std::log(count);
    return model;
}

// Holds every piece of a curve to the steepest drift there is, from the middle outwards.
void LimitSlope(std::vector<Tuning::Point>& curve) {
    const std::size_t middle = curve.size() / 2;
    const auto hold = [&](std::size_t from, std::size_t to) {
        const double most = kSteepest * std::fabs(curve[to].time - curve[from].time);
        curve[to].offset = std::clamp(curve[to].offset, curve[from].offset - most, curve[from].offset + most);
    };
    for (std::size_t i = middle; i + 1 < curve.size(); ++i) {
        hold(i, i + 1);
    }
    for (std::size_t i = middle; i > 0; --i) {
        hold(i, i - 1);
    }
}

}  // namespace

Tuning Tuning::OfReference(double hertz) {
    Tuning tuning;
    if (hertz > 0.0 && std::isfinite(hertz)) {
        tuning.offset_ = ToNearest(RatioToSemitones(hertz / kConcertHertz));
    }
    return tuning;
}

Tuning Tuning::OfSinger(const std::vector<SungNote>& sung) {
    Tuning tuning;
    const auto notes = Weigh(sung);
    if (notes.empty()) {
        return tuning;
    }
    const double start = notes.front().time, end = notes.back().time;
    const double origin = 0.5 * (start + end);
    tuning.offset_ = MeanAlong(notes, 0.0, origin).offset;
    if (end - start < kLeastSeconds || WeightOf(notes) < kLeastNotes) {
        return tuning;
    }

    // Each model starts from the one before. A very stiff spline is a line; the constant has the line's
    // criterion with one parameter less.
    Spline level(start, end);
    for (int k = 0; k < level.knots(); ++k) {
        level[k] = tuning.offset_;
    }
    double price = 0.0;
    {
        double loss = 0.0;
        for (const Weighed& note : notes) {
            const double off = std::min(std::fabs(ToNearest(note.pitch - tuning.offset_)), 0.35);
            loss += note.weight * off * off;
        }
        const double count = WeightOf(notes);
        price = count * std::log(std::max(loss / count, kLeastSpread * kLeastSpread)) + std::log(count);
    }
    const double slope = BestSlope(notes, origin);
    const double middle = MeanAlong(notes, slope, origin).offset;
    Spline line(start, end);
    for (int k = 0; k < line.knots(); ++k) {
        line[k] = middle + slope * (line.TimeOf(k) - origin);
    }

    const Spline* from = &line;
    Model best{level, price - kSlopesTried};
    bool drifts = false;
    Model tried{line};
    for (const double stiffness : {1e7, 300.0, 30.0, 3.0}) {
        tried = FitModel(notes, *from, stiffness);
        from = &tried.curve;
        if (tried.price < best.price) {
            best = tried;
            drifts = true;
        }
    }
    if (!drifts) {
        return tuning;
    }

    double sum = 0.0;
    for (const Weighed& note : notes) {
        sum += note.weight * best.curve.At(note.time);
    }
    const double mean = sum / WeightOf(notes);
    tuning.offset_ = ToNearest(mean);
    for (int k = 0; k < best.curve.knots(); ++k) {
        tuning.curve_.push_back({best.curve.TimeOf(k), best.curve[k] - mean + tuning.offset_});
    }
    LimitSlope(tuning.curve_);
    return tuning;
}

double Tuning::OffsetAt(double seconds) const {
    if (curve_.empty()) {
        return offset_;
    }
    if (!(seconds > curve_.front().time)) {
        return curve_.front().offset;
    }
    if (seconds >= curve_.back().time) {
        return curve_.back().offset;
    }
    const auto after = std::upper_bound(curve_.begin(), curve_.end(), seconds,
                                        [](double time, const Point& point) { return time < point.time; });
    const Point& a = *(after - 1);
    const Point& b = *after;
    return a.offset + (b.offset - a.offset) * (seconds - a.time) / (b.time - a.time);
}

double Tuning::drift() const { return curve_.empty() ? 0.0 : curve_.back().offset - curve_.front().offset; }

int Tuning::NearestNote(double pitch, double seconds) const {
    return static_cast<int>(std::floor(pitch - OffsetAt(seconds) + 0.5));
}

double PureOffset(int semitonesAboveRoot) {
    static constexpr double kRatios[12] = {1.0,       16.0 / 15, 9.0 / 8, 6.0 / 5, 5.0 / 4, 4.0 / 3,
                                           45.0 / 32, 3.0 / 2,   8.0 / 5, 5.0 / 3, 9.0 / 5, 15.0 / 8};
    const int tone = ((semitonesAboveRoot % 12) + 12) % 12;
    return RatioToSemitones(kRatios[tone]) - tone;
}

double PitchOfHarmony(const Tuning& tuning, Intonation intonation, int note, int root, double start,
                      double end) {
    const double pitch = tuning.PitchOf(note, 0.5 * (start + end));
    const bool pure = intonation == Intonation::Just && root >= 0 && end - start >= kLongHarmony;
    return pure ? pitch + PureOffset(note - root) : pitch;
}

double PitchOfDoubling(const Tuning& tuning, const SungNote& sung, double correction) {
    const double time = 0.5 * (sung.start + sung.end);
    const double grid = tuning.PitchOf(tuning.NearestNote(sung.pitch, time), time);
    return sung.pitch + correction * (grid - sung.pitch);
}

}  // namespace mlh::choir
