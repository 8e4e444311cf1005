// Places the pitch marks of a recording, for pitch-synchronous overlap-add (Moulines and Charpentier,
// 1990).
//
// It walks through the recording one period at a time. The pitch tracker runs ahead and gives the period to
// expect; a cross-correlation of two stretches half a window apart finds the real distance to the next
// period; a peak rule then keeps the marks on the same feature of the waveform. Each mark carries the
// energy since the mark before and the strength of an attack there.
//
//     CMELODORExtendedAnalysis placer(marks, 44100.0f, 2048, 1, true, 0);
//     placer.Initialize();
//     while (...) placer.AnalyzeBlock(channels, frames);   // frames <= placer.GetFreeSpace()
//     placer.Finish();
//
// How the input is cut into blocks has no effect on the marks. One thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "analysis/Kkf.h"
#include "analysis/PitchMarks.h"
#include "analysis/PitchTrack.h"
#include "analysis/SimpleFilters.h"
#include "audio/SampleQueue.h"

namespace mlh {

class CPSOLAAnalysisIf {
  public:
    virtual ~CPSOLAAnalysisIf() = default;

    // Ready for another recording: the list is emptied but for a new mark at 0, the tracker starts again.
    // The voicing threshold stays. Returns 0.
    virtual int32_t Reset() = 0;

    // Takes input and places all the marks it can. The channels are summed, not averaged. Null `channels`
    // adds nothing and works on what is buffered, as if no more input came. Returns 0, or kBadArgument,
    // taking nothing, for a negative count or one above GetFreeSpace(), and kWrongState before Initialize.
    virtual int32_t AnalyzeBlock(const float* const* channels, int32_t frameCount) = 0;

    // Skips a fixed stretch and puts an empty mark after it. Returns 0.
    virtual int32_t InsertHop() = 0;

    // The recording ends here: places the remaining marks and one at the exact end, all of whose other
    // fields are 0. Returns 0, or kWrongState before Initialize.
    virtual int32_t Finish() = 0;

    // How many frames AnalyzeBlock can take now. With the default buffer, blocks of 4096 always fit.
    virtual int32_t GetFreeSpace() const = 0;
};

// The interface of placers that know a pitch tracker.
class CPSOLAAnalysisEnhIf : public CPSOLAAnalysisIf {};

class CPSOLAAnalysis : public CPSOLAAnalysisEnhIf {
  public:
    // marks         the list to fill, borrowed; an empty one gets its first mark at position 0
    // sampleRate    Hz, 8000 and above
    // blockSize     a power of two from 1024 up, to be multiplied by 2, 4 or 8 at rates of 64, 128 and
    //               256 kHz and above; the longest period that can be followed
    // channelCount  1 and above
    // enhanced      with the pitch tracker; without, periods are found by correlation alone
    // bufferSize    samples, at least four times the (multiplied) block; 0 takes the default
    CPSOLAAnalysis(CPitchMarksIf* marks, float sampleRate, int32_t blockSize, int32_t channelCount,
                   bool enhanced, int32_t bufferSize);
    ~CPSOLAAnalysis() override = default;

    // To be called once, before anything else. 0, kOutOfMemory where a part can't be made, kBadArgument for
    // arguments out of the ranges above.
    int32_t Initialize();

    int32_t Reset() override;
    int32_t AnalyzeBlock(const float* const* channels, int32_t frameCount) override;
    int32_t InsertHop() override;
    int32_t Finish() override;
    int32_t GetFreeSpace() const override;

    // Places the marks of one stretch of a finished recording again, at a pitch that the caller knows.
    // `source` holds one array of `length` samples per channel, taken from mark `markIndex` on;
    // `midiPitch` is 69 for 440 Hz. Marks are placed as without a tracker: one that would lie too near to the
    // mark before it comes at the distance before instead. The marks between are replaced, those before and
    // after stay. Feed no more input afterwards without a Reset. Returns 0, or kBadArgument for an index or
    // length out of range.
    int32_t ReanalyzeSegment(const float* const* source, int32_t length, int32_t markIndex, float midiPitch);

    // The tracker's threshold for voices from 160 Hz up, in dB; initially 0. Without a tracker it is 0.
    void SetVoicingThreshold(float decibels);
    float GetVoicingThreshold() const;

    // What depends on the sample rate. Counts are samples.
    struct RateSettings {
        float belowRate;  // Hz; the settings hold for rates below it
        int32_t blockFactor;
        int32_t minPeriodUnitEnhanced;
        int32_t minPeriodUnitPlain;
        int32_t fallbackHop;
        int32_t tailFill;
        int32_t bufferSize;
    };
    // The stretch that is compared with itself, and how far around the expectation a period is looked for.
    struct Windows {
        int32_t window;
        int32_t halfWindow;
        int32_t quarterWindow;
        int32_t searchRadius;
    };

    // The block size times the factor of the rate, and half the shortest window that a pitch can ask for.
    int32_t GetBlockSize() const { return blockSize_; }
    int32_t GetMinPeriodUnit() const { return minPeriodUnit_; }
    const RateSettings& GetRateSettings() const { return settings_; }
    const Windows& GetWindows() const { return windows_; }

  private:
    // A mark as found and measured, for the caller to store.
    struct Measured {
        int64_t position;
        float energy;
        float transient;
        float period;
    };
    enum class Step { starved, skipped, marked };
    // What becomes of a mark that lies too near to the one stored last: none is placed there, or one at the
    // distance before.
    enum class TooNear { skip, repeatDistance };

    bool ArgumentsAreValid() const;
    Windows FirstWindows() const;
    const float* AppendSum(const float* const* channels, int32_t start, int32_t count);

    bool RunTrackerAhead();
    void FollowTracker();
    void FollowPeriod(float radiusShare);
    void SetPeriod(float hertz);
    void SetSearchRadius(float share);

    Step AdvanceToNextMark(int64_t lastStored, bool align, TooNear tooNear, Measured& mark);
    void SelectCorrelator();
    void FindLag();
    void AlignToPeak();
    void RepeatPreviousDistance();
    void MeasurePeriod(Measured& mark);
    float Transient(float highPeak, float lowPeak) const;
    void MoveToNextMark();

    void PlaceSegmentMarks(const float* const* source, int32_t length, int32_t start, CPitchMarks& placed);
    void ReplaceMarks(int32_t markIndex, const CPitchMarks& placed);

    CPitchMarksIf* marks_;
    float sampleRate_;
    int32_t channelCount_;
    bool enhanced_;
    RateSettings settings_;
    int32_t minPeriodUnit_;  // half the shortest window that a pitch can ask for
    int32_t blockSize_;
    int32_t bufferSize_;
    bool initialized_ = false;

    std::vector<std::unique_ptr<qrtSPAdapter::CKKF>> correlators_;  // by rising size
    qrtSPAdapter::CKKF* currentCorrelator_ = nullptr;
    CSimpleIIRFilter lowPassFilter_;
    CSimpleFIRFilter highPassFilter_;

    Windows windows_;
    int32_t lag_ = 0;           // where the correlation peaks: the next period is halfWindow - lag away
    int32_t predictedLag_ = 0;  // where it is expected; once found, where it was before the alignment
    float period_;              // expected, in samples; -1 without a pitch

    // Samples of the input. Positions count in 64 bits, so that the padding after the longest recording
    // possible does not overflow.
    int64_t lastMark_ = 0;
    int64_t nextMark_ = 0;
    int32_t distance_ = 0;  // from lastMark to nextMark
    int32_t previousDistance_;
    SampleQueue samples_;  // mono, from lastMark on

    std::unique_ptr<CPitchTrack> tracker_;
    PitchTrackResult tracked_;
    SampleQueue trackerInput_;  // mono, from trackerPosition on
    int64_t trackerPosition_ = 0;

    float previousHighPeak_ = 0.0f;
    float previousLowPeak_ = 0.0f;
    bool transientNow_ = false;     // the last mark was a strong transient
    bool transientBefore_ = false;  // the one before it was
};

// What the analysis driver creates.
class CMELODORExtendedAnalysis final : public CPSOLAAnalysis {
  public:
    using CPSOLAAnalysis::CPSOLAAnalysis;
};

}  // namespace mlh
