#include "analysis/KeyEstimation.h"

#include <cmath>

#include "analysis/KeyProfiles.h"
#include "base/PitchUnits.h"

namespace mlh {

namespace {

// How much of the melody a template holds, laid on `tonic`.
double Match(const std::array<float, 12>& weights, int32_t tonic, const float (&degrees)[12]) {
    double sum = 0.0;
    for (int32_t i = 0; i < 12; ++i) {
        sum += double{weights[(tonic + i) % 12]} * degrees[i];
    }
    return sum;
}

double Sum(const float (&degrees)[12]) {
    double sum = 0.0;
    for (const float degree : degrees) {
        sum += degree;
    }
    return sum;
}

}  // namespace

float EstimateTuning(const std::vector<AnalysisNote>& notes) {
    double total = 0.0;
    double offSemitones = 0.0;
    double offMidpoints = 0.0;
    double distanceToSemitones = 0.0;
    double distanceToMidpoints = 0.0;
    for (const AnalysisNote& note : notes) {
        const float toSemitone = note.pitch - NearestSemitone32(note.pitch);
        const float toMidpoint = note.pitch - (std::floor(note.pitch) + 0.5f);
        const double length = note.length;
        total += length;
        offSemitones += toSemitone * length;
        offMidpoints += toMidpoint * length;
        distanceToSemitones += std::fabs(toSemitone) * length;
        distanceToMidpoints += std::fabs(toMidpoint) * length;
    }
    const double plain = offSemitones / total;
    const double midpoint = offMidpoints / total;
    const double shifted = midpoint > 0.0 ? midpoint - 0.5 : midpoint + 0.5;

    // In hundredths of a semitone.
    const double plainScore = std::floor(distanceToSemitones / total * 100.0 + 0.5);
    const double shiftedScore = std::floor(distanceToMidpoints / total * 100.0 + 0.5);
    const bool isPlain =
        plainScore != shiftedScore ? shiftedScore > plainScore : std::fabs(shifted) > std::fabs(plain);
    return static_cast<float>(isPlain ? plain : shifted);
}

std::array<float, 12> WeighPitchClasses(const std::vector<AnalysisNote>& notes, float tuning,
                                        int32_t transpose) {
    std::array<double, 12> sums{};
    for (const AnalysisNote& note : notes) {
        const float pitch = NearestTunedSemitone32(note.pitch, tuning, transpose);
        if (!std::isfinite(pitch)) {
            continue;
        }
        const int32_t remainder = static_cast<int32_t>(std::fmod(pitch, 12.0f));
        sums[(remainder + 12) % 12] += note.length;
    }
    std::array<float, 12> weights;
    for (size_t i = 0; i < weights.size(); ++i) {
        weights[i] = static_cast<float>(sums[i]);
    }
    return weights;
}

int32_t ChooseKey(const std::array<float, 12>& weights) {
    std::array<double, 24> fits;
    double best = 0.0;
    for (int32_t key = 0; key < 24; ++key) {
        fits[key] = Match(weights, key % 12, key < 12 ? kMajorTemplate : kMinorTemplate);
        if (fits[key] > best) {
            best = fits[key];
        }
    }
    const double limit = 0.95 * best;

    const double majorSum = Sum(kMajorProfile);
    const double minorSum = Sum(kMinorProfile);
    int32_t chosen = -1;
    double chosenMatch = 0.0;
    for (int32_t key = 0; key < 24; ++key) {
        if (!(fits[key] > limit)) {
            continue;
        }
        const double match = key < 12 ? Match(weights, key, kMajorProfile) / majorSum
                                      : Match(weights, key - 12, kMinorProfile) / minorSum;
        if (match > chosenMatch) {
            chosen = key;
            chosenMatch = match;
        }
    }
    return chosen;
}

}  // namespace mlh
