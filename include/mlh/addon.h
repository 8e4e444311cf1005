// The class interface of mlh, for hosts that link the static library and drive the harmony add-on
// without the C functions: a reader of their own, seeking, float output of each voice and channel.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh {

// Everything the add-on offers. Times are seconds, pitches are on the MIDI scale (-1: no note).
//
// Order of use: CreateInstance, Prepare (analyses the whole recording), setters and chords, Update,
// then Process block by block. One thread at a time; the reader is pulled on the caller's thread.
//
// Floating point is computed in the host's own state, which must be as a program starts: to nearest,
// denormals kept, nothing trapped.
//
// Codes: 0 success, 1 something could not be built, 2 bad argument, 3 not analysed yet, 4 a voice
// refused a parameter. std::bad_alloc passes through.
class MalleoTuneHarmonyAddOnIf {
  public:
    // Where the recording comes from. The host implements it; the add-on does not own it, and it must
    // outlive the add-on. Channels and rate must not change.
    class AudioReader {
      public:
        virtual ~AudioReader() = default;
        // Moves to a frame; below 0 counts as 0. Returns 0.
        virtual int32_t SetPosition(int32_t frame) = 0;
        // Fills `frames` samples of each channel, zeros after the end, and moves on. Returns the
        // frames that the recording really had.
        virtual int32_t Read(float** channels, int32_t frames) = 0;
        virtual int32_t GetLength() = 0;
        virtual int32_t GetNumChannels() = 0;
        virtual int32_t GetSampleRate() = 0;
    };

    // One note of a line.
    class PitchElement {
      public:
        PitchElement(float start, float pitch, float duration, float level)
            : start_(start), pitch_(pitch), duration_(duration), level_(level) {}
        PitchElement(const PitchElement&) = default;
        PitchElement& operator=(const PitchElement&) = default;
        virtual ~PitchElement() = default;
        float GetStart() const { return start_; }        // [s]
        float GetPitch() const { return pitch_; }        // MIDI scale, -1 no note
        float GetDuration() const { return duration_; }  // [s]
        float GetLevel() const { return level_; }        // mean root-mean-square value
        float GetEnd() const { return start_ + duration_; }
        void SetPitch(float pitch) { pitch_ = pitch; }

      private:
        float start_;
        float pitch_;
        float duration_;
        float level_;
    };

    // A chord that holds until the next one. Unused notes are -1 and stand at the end.
    class ChordElement {
      public:
        explicit ChordElement(float time, int32_t note0 = -1, int32_t note1 = -1, int32_t note2 = -1,
                              int32_t note3 = -1)
            : time_(time), notes_{note0, note1, note2, note3} {}
        ChordElement(const ChordElement&) = default;
        ChordElement& operator=(const ChordElement&) = default;
        virtual ~ChordElement() = default;
        float GetTime() const { return time_; }  // [s]
        int32_t* GetNotes() { return notes_; }   // four MIDI note numbers
        const int32_t* GetNotes() const { return notes_; }

      private:
        float time_;
        int32_t notes_[4];
    };

    using PitchVector = std::vector<PitchElement>;
    using ChordVector = std::vector<ChordElement>;

    // Creates an add-on over `reader`. *out is null unless the result is 0: 2 for a rate below 11025 Hz
    // or no channel, 1 when it cannot be built (rate of 256000 Hz and up, more than 47 channels).
    static int32_t CreateInstance(MalleoTuneHarmonyAddOnIf** out, AudioReader* reader);
    // Destroys *handle and clears it. 2 for null.
    static int32_t DestroyInstance(MalleoTuneHarmonyAddOnIf** handle);

    // Analyses the recording and builds the voices; only the first call does anything. Returns 0, or 1
    // when the analysis or a voice could not be built.
    virtual int32_t Prepare() = 0;
    // Renders the next `frames` frames: channel c of voice v (from 0) goes to voices[v * channels + c],
    // with the reader's channel count (1 or 2) and four voices; voices that are not active come out
    // silent. Output frame n belongs to input frame n.
    virtual void Process(float** voices, int32_t frames) = 0;
    // Moves all voices to this time.
    virtual void SetPosition(double seconds) = 0;
    // [s] of the next frame, and of the end of the last note's segment; 0 before Prepare.
    virtual double GetPosition() = 0;
    virtual double GetDuration() = 0;
    // 0, 1, 2: four, three, two voices from chords; 3: manual. Dropped before Prepare.
    virtual int32_t SetHarmonyMode(int32_t mode) = 0;
    virtual int32_t GetHarmonyMode() = 0;
    // Width of the voicing, 0 to 1. 2 outside.
    virtual int32_t SetSpread(float spread) = 0;
    virtual float GetSpread() = 0;
    // Harmony voices above the lead, 0 to 3. 2 outside.
    virtual int32_t SetVoicesAbove(int32_t count) = 0;
    virtual int32_t GetVoicesAbove() = 0;
    // Pitches of voice 0 to 3, one element per element of the lead; heard in the manual mode, after
    // Update. 2 for a wrong voice or length.
    virtual int32_t SetVoicePitchVector(int32_t voice, PitchVector pitches) = 0;
    // Copies, one element per segment; empty for a wrong voice and before Prepare.
    virtual PitchVector GetVoicePitchVector(int32_t voice) = 0;
    virtual PitchVector GetLeadPitchVector() = 0;
    // Gives the automatic modes their chords and splits notes at chord changes. A chord holds from the note
    // that its time lies strictly inside of; in a rest it counts from the first note on. 2 for an empty
    // vector or in the manual mode, 3 before Prepare. Heard after Update.
    virtual int32_t SetChordVector(ChordVector chords) = 0;
    // [s] a chord change nearer than this to either end of a note does not split it; initially 0.2.
    virtual float GetChordSplitThreshold() = 0;
    virtual void SetChordSplitThreshold(float seconds) = 0;
    // Writes the chord's notes into the voices from the present position to the end, and updates. Stays, and
    // is heard, in the manual mode only. Returns 0.
    virtual int32_t ApplyChord(ChordElement chord) = 0;
    // 0 to 11 major on that pitch class, 12 to 23 minor. 3 before Prepare; the getter then answers -1.
    virtual int32_t SetKey(int32_t key) = 0;
    virtual int32_t GetKey() = 0;
    // Carries all changes into the voices. Returns 0.
    virtual int32_t Update() = 0;
    // Sound of an active voice: kind 0 formant shift [semitones], 1 pitch correction (0 to 1), 2 share of
    // the pitch movement that stays, 3 scale of the transitions. 4 when refused. A voice that is not active
    // is left alone (0), and its parameters read -1.
    virtual int32_t SetVoiceParameter(int32_t voice, int32_t kind, float value) = 0;
    virtual float GetVoiceParameter(int32_t voice, int32_t kind) = 0;
    virtual ~MalleoTuneHarmonyAddOnIf() = default;
};

}  // namespace mlh
