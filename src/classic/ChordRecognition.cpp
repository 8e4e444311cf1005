// Which chord some pitches make, and which chords the scale gives.
#include <algorithm>
#include <iterator>

#include "classic/Choiralizer.h"
#include "classic/ChordShapes.h"

namespace mlh {

namespace ChoiralizerClassic {

namespace {

// The scale's chord on a root: offsets of its root, third, fifth and seventh.
struct ThirdStack {
    int32_t offset[4];

    ThirdStack(const KeyedScale& parent, int32_t root) {
        for (int32_t tone = 0; tone < 4; ++tone) {
            offset[tone] = parent.WalkUp(parent.Position(root), 2 * tone + 1);
        }
    }

    // Whether its first tones all lie in a scale.
    bool LiesIn(const KeyedScale& scale, int32_t root, int32_t tones) const {
        return std::all_of(offset, offset + tones, [&](int32_t o) { return scale.InScale(root + o); });
    }

    // The chord of its first 3 or 4 tones, its root counted from the stack's.
    ClassicChord Identify(int32_t tones) const {
        return CChoiralizer::IdentifyChord(offset[0], offset[1], offset[2],
                                           tones > 3 ? offset[3] : offset[0]);
    }
};

}  // namespace

ClassicChord CChoiralizer::IdentifyChord(int32_t a, int32_t b, int32_t c, int32_t d) {
    ClassicChord chord = {0, 4, TriadNone, SeventhNone};
    int64_t pitch[4] = {a % 12, b % 12, c % 12, d % 12};
    chord.noteCount -= static_cast<int32_t>(std::count(std::begin(pitch), std::end(pitch), -1));

    for (int32_t i = 0; i < chord.noteCount; ++i) {
        for (int32_t j = i + 1; j < chord.noteCount;) {
            if (pitch[j] != pitch[i]) {
                ++j;
                continue;
            }
            std::copy(pitch + j + 1, std::end(pitch), pitch + j);
            --chord.noteCount;
        }
    }
    if (chord.noteCount < 3) {
        return chord;
    }

    StackInThirds(pitch, chord.noteCount);
    chord.root = PitchClass(pitch[0]);
    if (chord.noteCount == 3) {
        chord.triadType = TriadTypeOf(pitch);
    } else {
        chord.seventhType = SeventhTypeOf(pitch);
    }
    return chord;
}

void CChoiralizer::ChordsOfNote(int32_t note, ClassicChord* chords, int32_t n) const {
    const KeyedScale scale = OutputScale();
    const KeyedScale parent = ParentScale();
    const bool pentatonic = IsPentatonic(outputScale_);
    const int32_t pitchClass = PitchClass(note);
    if (!scale.InScale(pitchClass)) {
        std::fill_n(chords, std::max(n, 0), ClassicChord{pitchClass, 0, TriadNone, SeventhNone});
        return;
    }
    for (int32_t i = 0; i < n && i < 7; ++i) {
        // Entry by entry the note is the root, the third, the fifth, and of the seventh chords the seventh.
        const bool isTriad = i < 3;
        const int32_t stepsBelow = 2 * (isTriad ? i : i - 3);
        const int32_t root =
            PitchClass(pitchClass - scale.WalkDown(scale.Position(pitchClass), stepsBelow + 1));
        const ThirdStack stack(parent, root);
        if (isTriad) {
            // A pentatonic scale has only those triads of its parent that do without the missing tones.
            const bool isLacking = pentatonic && !stack.LiesIn(scale, root, 3);
            chords[i] = {root, 3, isLacking ? int32_t{TriadNone} : stack.Identify(3).triadType, SeventhNone};
        } else {
            // Seventh chords are the parent's, whether or not the scale has all their tones.
            chords[i] = {root, 4, TriadNone, stack.Identify(4).seventhType};
        }
    }
}

bool CChoiralizer::IsDiatonic(const ClassicChord& chord) const {
    const KeyedScale scale = OutputScale();
    if (IsEmptyChord(chord) || !scale.InScale(chord.root)) {
        return false;
    }
    const bool isTriad = chord.noteCount <= 3;
    const int32_t root = PitchClass(chord.root);
    const int32_t notes = isTriad ? 3 : 4;
    const ThirdStack stack(ParentScale(), root);
    int32_t foundType = TriadNone;  // also of what a pentatonic scale lacks a tone for
    if (!IsPentatonic(outputScale_) || stack.LiesIn(scale, root, notes)) {
        const ClassicChord found = stack.Identify(notes);
        foundType = found.noteCount < 4 ? found.triadType : found.seventhType;
    }
    return foundType == (isTriad ? chord.triadType : chord.seventhType);
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
