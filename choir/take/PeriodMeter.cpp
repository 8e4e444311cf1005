#include "choir/take/PeriodMeter.h"

#include <algorithm>
#include <cmath>

#include "base/Pi.h"
#include "base/PitchUnits.h"
#include "choir/FourFloats.h"

namespace mlh::choir {

namespace {

constexpr double kHop = 0.008;  // [s]
constexpr double kLag = 0.012;  // [s] at least, if so many periods are alike
constexpr int kMostPeriods = 16;
constexpr double kAlike = 0.2;           // share by which periods of one lag may differ
constexpr double kWindow = 0.005;        // [s] at least
constexpr double kLongestWindow = 0.04;  // [s]
constexpr double kSlack = 0.6;           // samples per period that marks may be off
constexpr double kLean = 0.01;           // share of a period that marks may lean
constexpr double kFurthestPoint = 1.5;   // [semitones] from the median: an octave error, or another note
constexpr double kFurthestPitch = 0.7;   // [semitones] that a refined pitch may differ

double PitchOf(double period) { return HertzToPitch(1.0 / period); }

// Sum of the channels from `first` on, zeros outside the recording.
void ReadSum(const AudioView& audio, int64_t first, std::vector<float>& out) {
    const auto size = static_cast<int64_t>(out.size());
    const int64_t start = std::clamp<int64_t>(-first, 0, size);
    const int64_t end = std::clamp<int64_t>(audio.frames - first, start, size);
    std::fill(out.begin(), out.begin() + start, 0.0f);
    if (start < end) {
        const float* in = audio.samples + (first + start) * audio.channels;
        for (int64_t i = start; i < end; ++i, in += audio.channels) {
            out[static_cast<std::size_t>(i)] = audio.channels == 1 ? in[0] : in[0] + in[1];
        }
    }
    std::fill(out.begin() + end, out.end(), 0.0f);
}

double Dot(const float* x, const float* y, int count) {
    FourFloats a = {}, b = {}, c = {}, d = {};
    int i = 0;
    for (; i + 16 <= count; i += 16) {
        a += LoadFour(x + i) * LoadFour(y + i);
        b += LoadFour(x + i + 4) * LoadFour(y + i + 4);
        c += LoadFour(x + i + 8) * LoadFour(y + i + 8);
        d += LoadFour(x + i + 12) * LoadFour(y + i + 12);
    }
    double sum = 0.0;
    for (; i < count; ++i) {
        sum += static_cast<double>(x[i]) * y[i];
    }
    const FourFloats ab = a + b, cd = c + d;
    for (int k = 0; k < 4; ++k) {
        sum += static_cast<double>(ab[k]) + static_cast<double>(cd[k]);
    }
    return sum;
}

class Correlator {
  public:
    explicit Correlator(const AudioView& audio) : audio_(audio) {}

    // How well `width` samples around `centre` agree with those `lag - slack` to `lag + slack` later: the
    // best lag, between the samples, and its agreement.
    struct Best {
        double lag;
        double agreement;
    };
    Best Search(int64_t centre, int width, int lag, int slack) {
        const int least = std::max(lag - slack, 1);
        const int most = lag + slack;
        const float* x = Samples(centre - width / 2, width + most);
        const double own = Dot(x, x, width);
        double other = Dot(x + least, x + least, width);
        agreements_.clear();
        for (int shift = least; shift <= most; ++shift) {
            const float* y = x + shift;
            const double energy = own * other;
            agreements_.push_back(energy > 1e-20 ? Dot(x, y, width) / std::sqrt(energy) : 0.0);
            if (shift < most) {
                other += static_cast<double>(y[width]) * y[width] - static_cast<double>(y[0]) * y[0];
                other = std::max(other, 0.0);
            }
        }
        const auto best = std::max_element(agreements_.begin(), agreements_.end());
        double offset = 0.0;
        if (best != agreements_.begin() && best + 1 != agreements_.end()) {
            const double left = *(best - 1), right = *(best + 1);
            const double bend = left - 2.0 * *best + right;
            if (bend < 0.0) {
                offset = std::clamp(0.5 * (left - right) / bend, -0.5, 0.5);
            }
        }
        return {least + static_cast<double>(best - agreements_.begin()) + offset, *best};
    }

  private:
    // Where `count` samples of the sum of the channels are, those of a mono recording in their own place.
    const float* Samples(int64_t first, int count) {
        if (audio_.channels == 1 && first >= 0 && first + count <= audio_.frames) {
            return audio_.samples + first;
        }
        samples_.resize(static_cast<std::size_t>(count));
        ReadSum(audio_, first, samples_);
        return samples_.data();
    }

    AudioView audio_;
    std::vector<float> samples_;
    std::vector<double> agreements_;
};

// The first measurement at a time or after it.
std::vector<MeasuredPeriod>::const_iterator FirstFrom(const std::vector<MeasuredPeriod>& periods,
                                                      double time) {
    return std::lower_bound(periods.begin(), periods.end(), time,
                            [](const MeasuredPeriod& period, double at) { return period.time < at; });
}

}  // namespace

std::vector<MeasuredPeriod> MeasurePeriods(const AudioView& audio, const std::vector<CurvePoint>& marks) {
    std::vector<MeasuredPeriod> measured;
    Correlator correlator(audio);
    const double rate = audio.sampleRate;
    double next = 0.0;
    for (std::size_t i = 0; i + 1 < marks.size(); ++i) {
        if (marks[i].time < next) {
            continue;
        }
        const double first = marks[i + 1].time - marks[i].time;
        if (!(first > 0.0)) {
            continue;
        }
        next = marks[i].time + kHop;
        // As many periods as are alike, until the lag is long enough.
        std::size_t last = i + 1;
        while (last + 1 < marks.size() && marks[last].time - marks[i].time < kLag &&
               last - i < static_cast<std::size_t>(kMostPeriods)) {
            const double distance = marks[last + 1].time - marks[last].time;
            if (std::fabs(distance - first) > kAlike * first) {
                break;
            }
            ++last;
        }
        const auto periods = static_cast<double>(last - i);
        const double lag = marks[last].time - marks[i].time;
        const double window = std::min(std::max(2.0 * first, kWindow), kLongestWindow);
        if (lag > 2.0 * kLongestWindow) {
            continue;
        }
        const auto best = correlator.Search(
            std::llround(marks[i].time * rate), static_cast<int>(std::lround(window * rate)),
            static_cast<int>(std::lround(lag * rate)),
            static_cast<int>(std::ceil(kSlack * periods + kLean * lag * rate + 1.5)));
        measured.push_back(
            {marks[i].time + 0.5 * lag, best.lag / rate / periods, lag / periods, best.agreement});
    }
    return measured;
}

double PitchOfStretch(const std::vector<MeasuredPeriod>& periods, double start, double end, double fallback) {
    const auto first = FirstFrom(periods, start);
    const auto last = FirstFrom(periods, end);
    struct Point {
        double time, pitch;
    };
    std::vector<Point> points;
    std::vector<double> pitches;
    for (auto it = first; it != last; ++it) {
        if (!(it->agreement >= kSungAgreement)) {
            continue;  // NaN in the samples, too
        }
        points.push_back({it->time, PitchOf(it->period)});
        pitches.push_back(points.back().pitch);
    }
    if (points.size() < 3) {
        return fallback;
    }
    const auto middle = pitches.begin() + static_cast<std::ptrdiff_t>(pitches.size() / 2);
    std::nth_element(pitches.begin(), middle, pitches.end());
    // A window that rises and falls over the note: vibrato averages out whatever part of a swing is there,
    // and the glides at both ends count little.
    double sum = 0.0, weights = 0.0;
    for (const Point& point : points) {
        if (std::fabs(point.pitch - *middle) > kFurthestPoint) {
            continue;
        }
        const double root = std::sin(kPi * (point.time - start) / (end - start));
        sum += root * root * point.pitch;
        weights += root * root;
    }
    return weights > 1e-9 ? sum / weights : fallback;
}

std::vector<double> GlidesOf(const std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods) {
    std::vector<double> glides;
    for (const SungNote& note : notes) {
        const double middle = 0.5 * (note.start + note.end);
        double count = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0;
        for (auto it = FirstFrom(periods, note.start); it != periods.end() && it->time < note.end; ++it) {
            if (!(it->agreement >= kSungAgreement)) {
                continue;
            }
            const double time = it->time - middle, pitch = PitchOf(it->period) - note.pitch;
            count += 1.0;
            x += time;
            y += pitch;
            xx += time * time;
            xy += time * pitch;
        }
        const double spread = count * xx - x * x;
        glides.push_back(count >= 3.0 && spread > 0.0 ? (count * xy - x * y) / spread : 0.0);
    }
    return glides;
}

void DropUnsungNotes(std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods) {
    const auto unsung = [&](const SungNote& note) {
        int count = 0, agreeing = 0;
        for (auto it = FirstFrom(periods, note.start); it != periods.end() && it->time < note.end; ++it) {
            ++count;
            agreeing += it->agreement >= kSungAgreement ? 1 : 0;
        }
        return count > 0 && 2 * agreeing < count;
    };
    notes.erase(std::remove_if(notes.begin(), notes.end(), unsung), notes.end());
}

void RefinePitches(std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods) {
    for (SungNote& note : notes) {
        const double pitch = PitchOfStretch(periods, note.start, note.end, note.pitch);
        // An octave apart, the marks and the analysis disagree, and it is not for this to judge.
        if (std::fabs(pitch - note.pitch) <= kFurthestPitch) {
            note.pitch = pitch;
        }
    }
}

}  // namespace mlh::choir
