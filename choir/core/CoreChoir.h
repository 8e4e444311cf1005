// The voices that the core's add-on sings by itself: from chords, from notes, or from given rows of pitches.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "choir/Types.h"
#include "choir/render/Singers.h"
#include "choir/score/Performance.h"
#include "choir/take/Take.h"
#include "choir/voicing/NoteDealing.h"

namespace mlh::choir {

struct CoreSettings {
    int voices = 4;          // rendered voices, the first of which sings the lead's own line: 2 to 4
    int voicesAbove = 1;     // 0 to 3
    double spread = 0.5;     // 0 to 1
    std::optional<int> key;  // 0 to 11 major, 12 to 23 minor; else the one that was found
};

// Drives the class interface of the core, which renders float voices for mono and stereo alike. Of
// SingChords, SingTracks and SingRows one is called, once.
class CoreChoir final : public Singers {
  public:
    // Takes the add-on of the take, which must outlive the choir.
    explicit CoreChoir(Take& take, const ProgressCallback& progress = {});

    // The key that the harmony is in: found, or set.
    int key() const { return addOn()->GetKey(); }

    // Voices from chords; without any the melody alone gives them. Chords are moved, by a fifth of a second
    // at most, or out of a rest, to the note that they are meant for.
    void SingChords(const CoreSettings& settings, const std::vector<TimedChord>& chords);

    // Voices from notes, one track for each of up to four voices; a lone track is dealt out to the voices.
    // `voices` 1 to 4.
    void SingTracks(const std::vector<NoteLine>& tracks, int voices);

    // Voices from rows of pitches, one pitch (-1 rests) for each note of the take; up to four rows. What
    // sounds before the first note goes with it.
    void SingRows(const std::vector<std::vector<int>>& rows, const std::vector<TimedChord>& chords);

    int voices() const { return voices_; }
    // What each voice sings, and the chords it sings to. Known once the voices are set.
    std::vector<NoteLine> Lines() const;
    std::vector<TimedChord> Chords() const;

    // Any stretch again and again. A move to another place than where the last call ended seeks, so that the
    // grains lie elsewhere and single samples differ from those of one pass.
    void Render(int32_t first, int32_t count, float* const* rows) override;

  private:
    void MoveTo(int32_t first);
    void Apply(const PitchChange& change);
    int32_t FrameOf(double seconds) const;
    MalleoTuneHarmonyAddOnIf* addOn() const { return &**addOn_; }

    const Take& take_;
    std::unique_ptr<AddOn> addOn_;
    int voices_ = 0;
    bool manual_ = false;
    std::vector<TimedChord> chords_;
    std::vector<PitchChange> changes_;
    std::size_t change_ = 0;     // the next of them to come
    int32_t next_ = 0;           // [frame]
    std::vector<float> unused_;  // what voices that nobody asked for sing
};

}  // namespace mlh::choir
