// One lead vocal and the voices that the library makes of it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioFile.h"
#include "MidiFile.h"
#include "Music.h"
#include "mlh/addon.h"
#include "mlh/analysis.h"

struct ChoirSettings {
    int voices = 4;          // rendered voices, the first of which sings the lead's own line: 2 to 4
    int voicesAbove = 1;     // 0 to 3
    double spread = 0.5;     // 0 to 1
    std::optional<int> key;  // 0 to 11 major, 12 to 23 minor; else the one that was found
};

// Told how far a long job has come, 0 to 1.
using ProgressCallback = std::function<void(double)>;

// The pitches of all voices from a time on.
struct PitchChange {
    double time;                  // [s]
    std::vector<double> pitches;  // per voice, -1 rests
};

// The pitch changes that tracks of notes ask of `voices` voices, in order of time. With one track, each note
// takes the first free voice, higher notes first; with more, voice k follows track k, and of overlapping
// notes the one that started last sounds.
std::vector<PitchChange> DealNotes(const std::vector<MidiTrack>& tracks, int voices);

// How many voices, 1 to 4, such tracks can keep busy.
int CountVoices(const std::vector<MidiTrack>& tracks);

// Drives the class interface of the library, which renders float voices for mono and stereo alike.
class Choir {
  public:
    // Analyses the whole recording, which must outlive the choir.
    explicit Choir(const Audio& lead, const ProgressCallback& progress = {});
    ~Choir();

    const mlh::Analysis& analysis() const { return analysis_; }
    // The key that the harmony is in: found, or set.
    int key() const { return addOn_->GetKey(); }

    // Voices from chords; without any the melody alone gives them. Call once. Chords are moved, by a fifth
    // of a second at most, or out of a rest, to the note that they are meant for.
    void SingChords(const ChoirSettings& settings, const std::vector<TimedChord>& chords);

    // Voices from notes, one track for each of up to four voices; a lone track is dealt out to the voices.
    // `voices` 1 to 4.
    void SingTracks(const std::vector<MidiTrack>& tracks, int voices);

    // Voices from rows of pitches, one pitch (-1 rests) for each note of the analysis; up to four rows. What
    // sounds before the first note goes with it.
    void SingRows(const std::vector<std::vector<int>>& rows, const std::vector<TimedChord>& chords);

    int voices() const { return voices_; }
    // What each voice sings, and the chords it sings to. Known once the voices are set.
    std::vector<VoiceLine> Lines() const;
    std::vector<TimedChord> Chords() const;

    // Renders the whole recording, once. Called for each block with rows of `count` samples: channel c of
    // voice v (0 is the dry lead, then voices() voices) is rows[v * channels + c].
    using BlockCallback = std::function<void(const float* const* rows, int32_t first, int32_t count)>;
    void Render(const BlockCallback& block, const ProgressCallback& progress = {});

  private:
    std::vector<TimedChord> PlaceChords(const std::vector<TimedChord>& chords) const;
    void Apply(const PitchChange& change);
    int32_t FrameOf(double seconds) const;

    class LeadReader;
    const Audio& lead_;
    std::unique_ptr<LeadReader> reader_;
    mlh::MalleoTuneHarmonyAddOnIf* addOn_ = nullptr;
    mlh::Analysis analysis_;
    int voices_ = 0;
    bool manual_ = false;
    std::vector<TimedChord> chords_;
    std::vector<PitchChange> changes_;
};
