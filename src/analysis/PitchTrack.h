#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "audio/SampleQueue.h"
#include "dsp/Autocorrelation.h"
#include "dsp/Eq.h"
#include "dsp/PaddedSpectrum.h"
#include "dsp/Resampler.h"

namespace mlh {

/// What the tracker says about one frame. It persists between frames: the analysis reads the previous pitch
/// from it.
struct PitchTrackResult {
    float pitchHz = 0.0f;        ///< kept through unvoiced frames; 0 without a pitch
    float harmonicityDb = 0.0f;  ///< exactly 0 marks an unvoiced frame (a voiced one can also come out at 0)
    float level = 0.0f;          ///< root mean square of the positive half of the waveform
    float levelChange = 0.0f;    ///< relative to the level of the frame before
    float peakWidth = 0.0f;      ///< large for a flat or wide peak
};

/// The tracker's front end: averages the channels, converts to 11025 Hz and keeps 30 to 4000 Hz.
/// (At 11025 Hz the 30 Hz high-pass lies below its own bypass limit and passes everything.)
class CPTPreProcess {
  public:
    static constexpr int32_t kCapacity = 16384;  ///< frames that one call may bring

    CPTPreProcess(int32_t sampleRate, int32_t channelCount);
    virtual ~CPTPreProcess();
    CPTPreProcess(const CPTPreProcess&) = delete;
    CPTPreProcess& operator=(const CPTPreProcess&) = delete;

    /// Takes 0 to kCapacity interleaved frames. The samples at 11025 Hz are valid until the next call.
    std::span<const float> Process(const float* samples, int32_t frames);
    /// No call gives more samples than that.
    int32_t GetLargestOutput() const { return static_cast<int32_t>(output_.size()); }
    /// Frames that the next call must bring to yield `outFrames` samples.
    int32_t GetRequiredInput(int32_t outFrames) const;
    void Reset();

  private:
    void MixDown(const float* samples, int32_t frames);

    int32_t sampleRate_;
    int32_t channelCount_;
    std::unique_ptr<CResampleBase> resampler_;
    std::unique_ptr<qMELODOR::CEqIf> lowPass_;
    std::unique_ptr<qMELODOR::CEqIf> highPass_;
    std::vector<float> mono_;    // one call at the input rate
    std::vector<float> output_;  // the same at 11025 Hz
};

/// What one frame shows by itself, before the past is asked. Bins are bins of the spectrum.
struct PitchFrame {
    std::vector<float> spectrum;  ///< fftSize: normalised magnitudes in the lower half, 0 above
    std::vector<float> combined;  ///< fftSize: autocorrelation of the spectrum plus a quarter of the spectrum
    std::vector<float> product;   ///< fftSize / 2: harmonic product of `combined`
    std::vector<float> scratch;   ///< fftSize: work space; after MeasureRivals the weighted harmonic sum
    float level = 0.0f;
    int32_t productPeak = 0;  ///< candidate of the harmonic product
    int32_t lowPeak = 0;      ///< greatest bin of `combined` in the low range; by MeasureRivals
    int32_t combPeak = 0;     ///< candidate of the weighted harmonic sum; by MeasureRivals
};

/// The analysis of one frame, in two steps: Measure looks at the frame alone, Decide brings in the past.
/// Between them the harmonic product's rivals are measured if Decide is going to ask for them, which is
/// seldom.
class CPTAnalysisNew {
  public:
    CPTAnalysisNew(int32_t sampleRate, int32_t fftSize, int32_t frameSize);
    virtual ~CPTAnalysisNew();
    CPTAnalysisNew(const CPTAnalysisNew&) = delete;
    CPTAnalysisNew& operator=(const CPTAnalysisNew&) = delete;

    /// Measure, MeasureRivals where they matter, then Decide, on `samples[0 .. frameSize)`.
    void Analyze(const float* samples, PitchTrackResult* result);
    /// Fills GetFrame() from frameSize samples, but for the rivals. Touches nothing of the past.
    void Measure(const float* samples);
    /// Adds the harmonic sum, its candidate and the low peak of the frame last measured.
    void MeasureRivals();
    /// Chooses among the candidates of `frame`. Reads the previous pitch from `result`, writes the new result
    /// there.
    void Decide(const PitchFrame& frame, PitchTrackResult* result);
    /// Forgets the past. The voicing threshold stays.
    void Reset();

    /// Harmonicity [dB] that a pitch of 160 Hz and above must reach to be voiced; initially 0.
    void SetVoicingThreshold(float decibels) { voicingThresholdDb_ = decibels; }
    float GetVoicingThreshold() const { return voicingThresholdDb_; }

    const PitchFrame& GetFrame() const { return frame_; }
    float GetHarmonicRatio() const { return harmonicRatio_; }
    float GetLastPitchHz() const { return lastPitchHz_; }
    bool IsOctaveDown() const { return octaveDown_; }
    /// Pitches [Hz] of the last 11 voiced frames before the present one, newest first.
    std::span<const float, 11> GetPitchHistory() const { return pitchHistory_; }

  private:
    static constexpr int32_t kHistoryLength = 11;

    // Measure, in this order
    void MeasureLevel(const float* samples);
    void ComputeSpectrum(const float* samples);
    void PruneSpectrum();
    void AutocorrelateSpectrum();
    void CombineWithSpectrum();
    void ClearBelowFirstMinimum();
    void FindProductPeak();

    // MeasureRivals
    void FindLowPeak();
    void FindCombPeak();

    // Decide, in this order
    bool IsLeap(const PitchFrame& frame) const;
    bool KnowsTwoPitches() const;
    int32_t CheckOctave(const PitchFrame& frame);
    float PeakWidth(const PitchFrame& frame, int32_t candidate) const;
    float PeakFlatness(const PitchFrame& frame, int32_t candidate) const;
    float HarmonicRatio(const PitchFrame& frame, int32_t candidate) const;
    bool IsUnvoiced(float harmonicityDb, float candidateHz) const;

    float BinToHz(float bin) const;
    int32_t HzToBin(float hz) const;  // nearest
    int32_t BinOf(int32_t hz) const;  // at or below

    int32_t sampleRate_;
    int32_t fftSize_;
    int32_t frameSize_;
    int32_t minCombBin_;    // the harmonic sum's candidate must lie above this to be taken
    int32_t combStartBin_;  // first bin of the harmonic sum
    std::vector<float> window_;
    std::vector<float> combDivisor_;  // [bin] how many harmonics it is a sum of
    PaddedSpectrum paddedSpectrum_;
    Autocorrelation correlation_;  // of the spectrum's lower half
    PitchFrame frame_;

    float harmonicRatio_;
    float peakWidth_;
    float levelChange_;
    float previousLevel_;
    float pitchHistory_[kHistoryLength];
    float lastPitchHz_;  // of the frame before, voiced or not
    bool octaveDown_;    // the frame before was taken an octave down
    float voicingThresholdDb_ = 0.0f;
};

/// Tracks the fundamental of a signal at a fixed internal rate of 11025 Hz, whatever the input rate.
///
///     CPitchTrack* tracker;
///     CPitchTrack::Create(&tracker, 44100, 1, 1);
///     PitchTrackResult result;
///     tracker->Process(samples, tracker->GetHopInInputSamples(), &result);
///     CPitchTrack::Destroy(&tracker);
///
/// | mode | FFT size | hop | frame | at 11025 Hz                                      |
/// |------|----------|-----|-------|--------------------------------------------------|
/// | 0    | 2048     | 256 | 512   |                                                  |
/// | 1    | 8192     | 128 | 1024  | a frame of 93 ms every 11.6 ms, bins of 1.35 Hz  |
///
/// One thread per tracker. Nothing is allocated after creation, Reset excepted.
class CPitchTrack {
  public:
    /// Input samples that one Process call may bring.
    static constexpr int32_t kMaxInput = CPTPreProcess::kCapacity;

    /// Stores null first. Returns 0, kRateTooLow for a rate below 8000 Hz, kOutOfMemory when memory is out,
    /// kBadArgument for a null `out`, no channel or another mode.
    static int32_t Create(CPitchTrack** out, int32_t sampleRate, int32_t channelCount, int32_t mode);
    /// Deletes the tracker and clears the pointer. Returns 0, or kBadArgument for null.
    static int32_t Destroy(CPitchTrack** tracker);

    virtual ~CPitchTrack();
    CPitchTrack(const CPitchTrack&) = delete;
    CPitchTrack& operator=(const CPitchTrack&) = delete;

    /// Takes 0 to kMaxInput samples per channel, interleaved, and analyses every frame that completes;
    /// `result` is that of the last one and stays as it was when none completed. Returns 0, or kBadArgument
    /// with nothing taken.
    int32_t Process(const float* samples, int32_t count, PitchTrackResult* result);
    /// Input samples that the next call needs to advance by one hop: more for the first, and varying a little
    /// where the rate is no multiple of 11025. A call may complete 0, 1 or 2 frames.
    int32_t GetHopInInputSamples() const;
    void SetVoicingThreshold(float decibels);
    float GetVoicingThreshold() const;
    /// Forgets everything but the voicing threshold.
    void Reset();

    float GetPeakLevel() const { return peakLevel_; }
    const CPTAnalysisNew& GetAnalysis() const { return analysis_; }

  private:
    struct Sizes {
        int32_t fftSize, hop, frameSize;
    };

    CPitchTrack(int32_t sampleRate, int32_t channelCount, Sizes sizes);
    static Sizes SizesOfMode(int32_t mode);
    void AnalyzeNextFrame();

    CPTPreProcess preProcess_;
    CPTAnalysisNew analysis_;
    Sizes sizes_;

    SampleQueue samples_;  // at the tracker's rate, from the start of the next frame on
    float peakLevel_;      // the largest level seen
    PitchTrackResult result_;
};

}  // namespace mlh
