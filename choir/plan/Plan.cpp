#include "choir/plan/Plan.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "choir/voicing/Pieces.h"
#include "choir/voicing/Ranges.h"
#include "theory/KeyedScale.h"

namespace mlh::choir {

namespace {

constexpr std::array<const char*, kMaxHarmonyVoices> kNamesAbove = {"Above", "High", "Top"};
constexpr std::array<const char*, kMaxHarmonyVoices> kNamesBelow = {"Below", "Low", "Bass"};

struct Division {
    int above = 0;
    int below = 0;
    int count() const { return above + below; }
};

Division DivideVoices(const PlanSettings& settings, const std::vector<int>& leads) {
    const int harmony = std::clamp(settings.voices - 1, 0, kMaxHarmonyVoices);
    const Room room = RoomBeside(leads);
    const bool byRoom = !settings.above && settings.ranges.empty();
    const int least = byRoom ? harmony - std::min(room.below, harmony) : 0;
    const int most = byRoom ? std::max(room.above, least) : harmony;
    const int above =
        std::clamp(settings.above.value_or(1), std::min(least, harmony), std::min(most, harmony));
    return {above, harmony - above};
}

// The row of a setting, from the top down, that harmony voice `voice` sings: nearest to the lead first.
int RowOf(const Division& division, int voice) {
    return voice < division.above ? division.above - 1 - voice : voice;
}

// In minor the raised seventh belongs to the scale, too.
bool IsInScale(int note, int key) {
    const bool minor = key >= 12;
    const theory::KeyedScale scale(key % 12, minor ? theory::ScaleMinor : theory::ScaleMajor);
    return scale.InScale(note) || (minor && scale.Position(note) == 11);
}

int SnapToScale(int note, double pitch, int key) {
    for (int distance = 0; distance < 3; ++distance) {
        const bool down = IsInScale(note - distance, key), up = IsInScale(note + distance, key);
        if (down && up) {
            return pitch > note ? note + distance : note - distance;
        }
        if (down || up) {
            return down ? note - distance : note + distance;
        }
    }
    return note;
}

std::array<PitchRange, kMaxHarmonyVoices> RangesOf(const PlanSettings& settings, const Division& division,
                                                   const std::vector<int>& leads) {
    std::array<PitchRange, kMaxHarmonyVoices> ranges;
    for (int voice = 0; voice < division.count(); ++voice) {
        PitchRange range = RangeBeside(leads, voice < division.above);
        if (static_cast<std::size_t>(voice) < settings.ranges.size()) {
            range = settings.ranges[static_cast<std::size_t>(voice)].value_or(range);
        }
        ranges[static_cast<std::size_t>(RowOf(division, voice))] = range;
    }
    return ranges;
}

// What the singer's note is off the grid, as far as it is not corrected.
double KeptDeviation(const SungNote& sung, int note, const Tuning& tuning, double correction) {
    const double deviation = sung.pitch - tuning.PitchOf(note, 0.5 * (sung.start + sung.end));
    // A melody that was moved to a scale no longer has its own pitch.
    return std::abs(deviation) > 0.5 ? 0.0 : (1.0 - correction) * deviation;
}

Voice MakeDoubling(const std::vector<SungNote>& notes, const std::vector<int>& leadNotes,
                   const Tuning& tuning, double correction) {
    Voice voice = {VoicePart::Doubling, "Doubling", {}};
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const SungNote& sung = notes[i];
        const double place = tuning.PitchOf(leadNotes[i], 0.5 * (sung.start + sung.end));
        const double pitch = place + KeptDeviation(sung, leadNotes[i], tuning, correction);
        voice.notes.push_back({static_cast<int>(i), sung.start, sung.end, leadNotes[i], pitch, 1.0});
    }
    return voice;
}

}  // namespace

std::vector<int> GridNotes(const std::vector<SungNote>& notes, const Tuning& tuning,
                           std::optional<int> snapToKey) {
    std::vector<int> grid;
    for (const SungNote& sung : notes) {
        const double middle = 0.5 * (sung.start + sung.end);
        const int note = tuning.NearestNote(sung.pitch, middle);
        grid.push_back(snapToKey ? SnapToScale(note, sung.pitch - tuning.OffsetAt(middle), *snapToKey)
                                 : note);
    }
    return grid;
}

ChoirPlan PlanChoir(const std::vector<SungNote>& notes, const Tuning& tuning,
                    const std::vector<TimedChord>& chords, const PlanSettings& settings) {
    ChoirPlan plan;
    plan.leadNotes = GridNotes(notes, tuning, settings.snapToKey);
    plan.voices.push_back(MakeDoubling(notes, plan.leadNotes, tuning, settings.correction));

    std::vector<NoteSpan> spans;
    for (const SungNote& note : notes) {
        spans.push_back({note.start, note.end});
    }
    std::vector<double> changes;
    std::vector<VoicingChord> voicingChords;
    for (const TimedChord& chord : chords) {
        changes.push_back(chord.time);
        voicingChords.push_back(
            chord.chord.root < 0
                ? VoicingChord{}
                : MakeVoicingChord(chord.chord.root, chord.chord.intervals, chord.chord.bass));
    }
    const std::vector<Piece> pieces = CutAtChords(spans, changes);
    std::vector<VoicingStretch> stretches;
    for (const Piece& piece : pieces) {
        stretches.push_back({plan.leadNotes[static_cast<std::size_t>(piece.note)], piece.chord,
                             piece.end - piece.start, piece.afterPause});
    }

    const Division division = DivideVoices(settings, plan.leadNotes);
    VoicingSettings voicing;
    voicing.above = division.above;
    voicing.below = division.below;
    voicing.spread = settings.spread;
    voicing.manner = settings.manner;
    voicing.ranges = RangesOf(settings, division, plan.leadNotes);
    const auto rows = VoiceChords(stretches, voicingChords, voicing);

    for (int v = 0; v < division.count(); ++v) {
        const bool above = v < division.above;
        const auto place = static_cast<std::size_t>(above ? v : v - division.above);
        Voice voice = {
            above ? VoicePart::Above : VoicePart::Below, above ? kNamesAbove[place] : kNamesBelow[place], {}};
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            const Piece& piece = pieces[i];
            const SungNote& sung = notes[static_cast<std::size_t>(piece.note)];
            const int note = rows[i][static_cast<std::size_t>(RowOf(division, v))];
            double pitch = -1.0;
            if (note != kRest) {
                const int root = chords[static_cast<std::size_t>(piece.chord)].chord.root;
                const int lead = plan.leadNotes[static_cast<std::size_t>(piece.note)];
                pitch = PitchOfHarmony(tuning, settings.intonation, note, root, piece.start, piece.end) +
                        KeptDeviation(sung, lead, tuning, settings.correction);
            }
            voice.notes.push_back({piece.note, piece.start, piece.end, note, pitch, 1.0});
        }
        plan.voices.push_back(std::move(voice));
    }
    return plan;
}

}  // namespace mlh::choir
