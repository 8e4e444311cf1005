#include "choir/score/Melody.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>

#include "choir/Errors.h"
#include "choir/chords/ChordText.h"
#include "choir/score/Music.h"
#include "mlh/arrange.h"

namespace mlh::choir {

namespace {

// Fifths between the signature of each scale and that of the major key on the same tonic.
constexpr std::array<int, 14> kSignatureShift = {0, -2, -4, 1, -1, -3, -5, -3, -3, 0, 0, 0, -3, 0};
// Whether a scale's third is minor, and its key named so.
constexpr std::array<bool, 14> kHasMinorThird = {false, true, true,  false, false, true, true,
                                                 true,  true, false, false, false, true, false};

double TimeOnTones(const std::vector<MelodyNote>& notes, int tonic, std::initializer_list<int> tones) {
    double sum = 0.0;
    for (const MelodyNote& note : notes) {
        const int degree = ((note.pitch - tonic) % 12 + 12) % 12;
        if (std::find(tones.begin(), tones.end(), degree) != tones.end()) sum += note.length;
    }
    return sum;
}

}  // namespace

Melody MelodyOf(const Take& take, double bpm) {
    const Analysis& analysis = take.analysis();
    Melody melody;
    melody.sung = true;
    melody.tempo[0].bpm = bpm;
    melody.curve = take.curve();
    if (analysis.key >= 0) melody.key = MelodyKey{analysis.key % 12, analysis.key < 12 ? kMajor : kMinor};
    for (const Note& note : analysis.notes) {
        const double onset = BeatAt(melody.tempo, note.start);
        melody.notes.push_back({onset,
                                BeatAt(melody.tempo, note.end) - onset,
                                static_cast<int>(std::floor(note.pitch + 0.5)),
                                {}});
    }
    return melody;
}

std::optional<MelodyKey> ReadKeyAndScale(const std::string& text) {
    const auto space = text.find(' ');
    if (space != std::string::npos) {
        const auto& names = mlh::ScaleNames();
        const auto scale = std::find(names.begin(), names.end(), text.substr(space + 1));
        if (scale == names.end()) return std::nullopt;
        const auto tonic = ReadKeyAndScale(text.substr(0, space));
        if (!tonic) return std::nullopt;
        return MelodyKey{tonic->tonic, static_cast<int>(scale - names.begin()), false};
    }
    try {
        const int key = ParseKey(text);
        return MelodyKey{key % 12, key < 12 ? kMajor : kMinor, false};
    } catch (const UsageError&) {
        return std::nullopt;
    }
}

MelodyKey EstimateKey(const std::vector<MelodyNote>& notes) {
    struct Fit {
        double onScale;
        bool endsOnTonic;
        double onTriad;
        auto operator<=>(const Fit&) const = default;
    };
    MelodyKey best;
    Fit highest{-1.0, false, 0.0};
    for (int tonic = 0; tonic < 12; ++tonic) {
        for (const int scale : {kMajor, kMinor}) {
            const bool minor = scale == kMinor;
            const Fit fit{
                minor ? TimeOnTones(notes, tonic, {0, 2, 3, 5, 7, 8, 10})
                      : TimeOnTones(notes, tonic, {0, 2, 4, 5, 7, 9, 11}),
                !notes.empty() && (notes.back().pitch - tonic) % 12 == 0,
                minor ? TimeOnTones(notes, tonic, {0, 3, 7}) : TimeOnTones(notes, tonic, {0, 4, 7})};
            if (fit > highest) {
                highest = fit;
                best = {tonic, scale};
            }
        }
    }
    return best;
}

int SignatureKey(const MelodyKey& key) {
    const auto scale = static_cast<std::size_t>(key.scale);
    const int major = ((key.tonic + 7 * kSignatureShift[scale]) % 12 + 12) % 12;
    return kHasMinorThird[scale] ? (major + 9) % 12 + 12 : major;
}

std::string ScaleKeyName(const MelodyKey& key) {
    return PitchClassName(key.tonic, KeyUsesFlats(SignatureKey(key))) + " " +
           mlh::ScaleNames()[static_cast<std::size_t>(key.scale)];
}

}  // namespace mlh::choir
