#include "choir/score/Melody.h"

#include <algorithm>
#include <cmath>

#include "choir/chords/ChordText.h"
#include "choir/score/Music.h"
#include "mlh/arrange.h"
#include "theory/ChordTypes.h"
#include "theory/Keys.h"
#include "theory/Scales.h"

namespace mlh::choir {

namespace {

// Time on the pitches of which `counts` says so, asked for their semitones above the tonic.
template <class Counts>
double TimeOn(const std::vector<WrittenNote>& notes, int tonic, Counts counts) {
    double sum = 0.0;
    for (const WrittenNote& note : notes) {
        if (counts(theory::PitchClass(note.pitch - tonic))) {
            sum += note.length;
        }
    }
    return sum;
}

}  // namespace

double Melody::Start(std::size_t note) const {
    const WrittenNote& written = notes[note];
    return written.start >= 0.0 ? written.start : Seconds(written.onset);
}

double Melody::End(std::size_t note) const {
    const WrittenNote& written = notes[note];
    return written.start >= 0.0 ? written.end : Seconds(written.onset + written.length);
}

Melody MelodyOf(const Take& take, double bpm) {
    const Analysis& analysis = take.analysis();
    Melody melody;
    melody.sung = true;
    melody.tempo[0].bpm = bpm;
    melody.curve = take.curve();
    if (take.hasVoice() && analysis.key >= 0) {
        melody.key = MelodyKey{analysis.key % 12, analysis.key < 12 ? kMajor : kMinor};
    }
    for (const SungNote& note : take.notes()) {
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
        if (scale == names.end()) {
            return std::nullopt;
        }
        const auto tonic = ReadKeyAndScale(text.substr(0, space));
        if (!tonic) {
            return std::nullopt;
        }
        return MelodyKey{tonic->tonic, static_cast<int>(scale - names.begin()), false};
    }
    const int key = ReadKey(text);
    if (key < 0) {
        return std::nullopt;
    }
    return MelodyKey{key % 12, key < 12 ? kMajor : kMinor, false};
}

MelodyKey EstimateKey(const std::vector<WrittenNote>& notes) {
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
            const theory::ChordType& triad = theory::ChordTypeNamed(minor ? "m" : "");
            const Fit fit{
                TimeOn(notes, tonic, [&](int degree) { return theory::kScales[scale].flags[degree] != 0; }),
                !notes.empty() && (notes.back().pitch - tonic) % 12 == 0,
                TimeOn(notes, tonic, [&](int degree) {
                    return std::any_of(triad.tones, triad.tones + triad.count,
                                       [&](const auto& tone) { return tone.semitones == degree; });
                })};
            if (fit > highest) {
                highest = fit;
                best = {tonic, scale};
            }
        }
    }
    return best;
}

int SignatureKey(const MelodyKey& key) {
    const theory::Scale& scale = theory::ScaleOf(key.scale);
    const int major = theory::PitchClass(key.tonic + 7 * scale.signatureShift);
    return scale.HasMinorThird() ? theory::IndexOfKey({theory::PitchClass(major - 3), true}) : major;
}

int ModeKey(const MelodyKey& key) {
    return theory::IndexOfKey({key.tonic, theory::ScaleOf(key.scale).HasMinorThird()});
}

std::string ScaleKeyName(const MelodyKey& key) {
    return PitchClassName(key.tonic, KeyUsesFlats(SignatureKey(key))) + " " +
           mlh::ScaleNames()[static_cast<std::size_t>(key.scale)];
}

}  // namespace mlh::choir
