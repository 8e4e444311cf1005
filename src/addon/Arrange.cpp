#include "mlh/arrange.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/Numbering.h"
#include "base/StandardLibrary.h"
#include "harmony/ChoiralizerV2.h"
#include "theory/Scales.h"

namespace mlh {

namespace {

using ChoiralizerV2::CChoiralizerV2;
using ChoiralizerV2::ChordInfo;
using ChoiralizerV2::HarmonyParams;
using ChoiralizerV2::NoteItem;
using ChoiralizerV2::NoteList;

constexpr int32_t kReach = 24;      // semitones that a four-part setting covers around the lead
constexpr int32_t kReachOfRow = 8;  // of which lie above it, for each row above the lead's

HarmonyMode ModeOf(const ArrangeSettings& settings) {
    switch (settings.style) {
        case ArrangeStyle::FourPart:
            return HarmonyMode::FourPart;
        case ArrangeStyle::Chords:
            return ModeOfVoices(settings.voices);
        case ArrangeStyle::Intervals:
            return HarmonyMode::Intervals;
        case ArrangeStyle::Block:
            return HarmonyMode::Block;
        case ArrangeStyle::Fourths:
            return HarmonyMode::OpenFourths;
        case ArrangeStyle::Fixed:
            return HarmonyMode::FixedInterval;
        default:
            return HarmonyMode::Double;
    }
}

bool InRange(int32_t value, int32_t low, int32_t high) { return value >= low && value <= high; }

bool AreValid(const ArrangeSettings& s) {
    const int32_t variants = s.style == ArrangeStyle::Block ? 8 : s.style == ArrangeStyle::Fourths ? 3 : 6;
    return InRange(s.key, 0, 11) && InRange(s.scale, 0, static_cast<int32_t>(ScaleNames().size()) - 1) &&
           InRange(s.leadRow, 0, 3) && InRange(s.spacing, 0, 2) && InRange(s.voices, 2, 4) &&
           InRange(s.above, 0, 3) && s.spread >= 0.0f && s.spread <= 1.0f && InRange(s.variant, 0, variants);
}

// The words that the engine reads in each mode. They must outlive its run.
struct Parameters {
    explicit Parameters(const ArrangeSettings& settings) {
        switch (settings.style) {
            case ArrangeStyle::FourPart:
                words = {settings.leadRow, 0, settings.spacing, 0};
                break;
            case ArrangeStyle::Chords:
                words = {settings.above, BitCast<int32_t>(settings.spread), 0, 0};
                break;
            case ArrangeStyle::Intervals: {
                for (std::size_t i = 0; i < 4; ++i) {
                    signsAndSizes[2 * i] = settings.intervals[i] < 0 ? -1 : 1;
                    signsAndSizes[2 * i + 1] = std::abs(settings.intervals[i]);
                }
                const HarmonyParams* pointer = signsAndSizes.data();
                std::memcpy(words.data(), &pointer, sizeof pointer);
                break;
            }
            case ArrangeStyle::Double:
                words = {std::abs(settings.interval), settings.interval < 0 ? -1 : 1, 0, 0};
                break;
            default:
                words = {settings.variant, 0, 0, 0};
                break;
        }
    }
    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;

    std::array<HarmonyParams, 4> words{};
    std::array<HarmonyParams, 8> signsAndSizes{};
};

ChordInfo ToInfo(const ArrangeChord& chord) {
    ChordInfo info;
    info.root = chord.root;
    info.triadType = chord.triadType;
    info.seventhType = chord.seventhType;
    return info;
}

void SetMelody(CChoiralizerV2& engine, const std::vector<ArrangeNote>& melody) {
    std::vector<NoteItem> items(melody.size());
    for (std::size_t i = 0; i < melody.size(); ++i) {
        items[i].pitch = melody[i].pitch;
        items[i].startTime = melody[i].start;
        items[i].endTime = melody[i].end;
    }
    NoteList list;
    list.items = items.data();
    list.count = static_cast<int32_t>(items.size());
    engine.SetChordCount(list.count);
    engine.SetMelody(&list, 0);
    for (std::size_t i = 0; i < melody.size(); ++i) {
        engine.SetChordAt(static_cast<int32_t>(i), ToInfo(melody[i].chord));
    }
}

// The chord of a four-part setting by its tones: the engine's own record of an inversion has its bass for a
// root.
ArrangeChord ChordOfTones(CChoiralizerV2& engine, const int32_t* tones, int32_t key) {
    std::vector<int32_t> pitches;
    for (int32_t k = 0; k < 4; ++k) {
        const int32_t pitch = 60 + key + tones[k];
        if (std::find(pitches.begin(), pitches.end(), pitch) == pitches.end()) {
            pitches.push_back(pitch);
        }
    }
    pitches.resize(4, -1);
    ChordInfo info;
    engine.ChordFromPitches(&info, pitches.data());
    return {info.root, info.triadType, info.seventhType};
}

}  // namespace

const std::vector<std::string>& ScaleNames() {
    // Never freed: hosts may ask until the process is gone.
    static const auto& names = *[] {
        std::vector<std::string> list;
        for (const theory::Scale& scale : theory::kScales) {
            list.push_back(scale.name);
        }
        return new std::vector<std::string>(std::move(list));
    }();
    return names;
}

std::vector<ArrangedNote> Arrange(const std::vector<ArrangeNote>& melody, const ArrangeSettings& settings) {
    const bool pitched =
        std::all_of(melody.begin(), melody.end(), [](const ArrangeNote& n) { return n.pitch >= 0; });
    if (melody.empty() || !pitched || !AreValid(settings)) {
        return {};
    }

    const Parameters parameters(settings);
    CChoiralizerV2 engine;
    engine.SetKey(settings.key);
    engine.SetInputScale(settings.scale);
    engine.SetOutputScale(settings.scale);
    engine.SetMode(NumberOf(ModeOf(settings)));
    engine.SetParams(parameters.words.data());
    const bool own = settings.style == ArrangeStyle::FourPart;
    if (own) {
        const int32_t above = kReachOfRow * (3 - settings.leadRow);
        engine.SetRange(kReach - above, above);
    }
    SetMelody(engine, melody);
    if (engine.Calculate() != 0) {
        return {};
    }

    NoteList* rows = nullptr;
    ChordInfo* chords = nullptr;
    engine.GetVoices(&rows);
    engine.GetChords(&chords);
    std::vector<ArrangedNote> arranged;
    for (std::size_t i = 0; i < melody.size(); ++i) {
        ArrangedNote note{};
        for (std::size_t r = 0; r < 4; ++r) {
            note.rows[r] = rows[r].items[i].pitch;
        }
        note.chord = {chords[i].root, chords[i].triadType, chords[i].seventhType};
        note.chordName = chords[i].name;
        if (own) {
            const ChoiralizerV2::VoicingCandidate& chosen = engine.GetChosen()[i];
            const bool unknown = chosen.chordType == ChoiralizerV2::ChordUnknownTriad ||
                                 chosen.chordType == ChoiralizerV2::ChordUnknownSeventh;
            note.inherited = unknown;
            if (unknown) {
                note.chord = arranged.empty() ? ArrangeChord{} : arranged.back().chord;
            } else {
                note.chord = ChordOfTones(engine, chosen.tones, settings.key);
            }
            note.function = engine.GetNoteFunctions()[i];
            note.startsPhrase = i == 0 || engine.GetPhraseBoundaries()[i] == 1;
        }
        arranged.push_back(std::move(note));
    }
    return arranged;
}

}  // namespace mlh
