// A host's own classes and functions of names that the library has inside, in the global namespace and, where
// the headers promise nothing of that name, in the library's.
#include <cstdint>

namespace {

const char* called = nullptr;

}  // namespace

extern "C" const char* CalledNamesake() { return called; }

#define NAMESAKES                                                                                        \
    struct FFT;                                                                                          \
    struct SynthSegment;                                                                                 \
    struct FrameSearch;                                                                                  \
    struct PitchTrackResult;                                                                             \
    class Autocorrelation {                                                                              \
      public:                                                                                            \
        explicit Autocorrelation(int32_t);                                                               \
        void Compute(float*, const float*);                                                              \
    };                                                                                                   \
    Autocorrelation::Autocorrelation(int32_t) { called = "Autocorrelation"; }                            \
    void Autocorrelation::Compute(float*, const float*) { called = "Autocorrelation::Compute"; }         \
    class AudioSampleBuffer {                                                                            \
      public:                                                                                            \
        AudioSampleBuffer(int32_t, int32_t);                                                             \
        AudioSampleBuffer(float**, int32_t, int32_t);                                                    \
        virtual ~AudioSampleBuffer();                                                                    \
        void Wrap(float**, int32_t, int32_t);                                                            \
        void SetSize(int32_t, int32_t);                                                                  \
        void Clear();                                                                                    \
    };                                                                                                   \
    AudioSampleBuffer::AudioSampleBuffer(int32_t, int32_t) { called = "AudioSampleBuffer"; }             \
    AudioSampleBuffer::AudioSampleBuffer(float**, int32_t, int32_t) { called = "AudioSampleBuffer"; }    \
    AudioSampleBuffer::~AudioSampleBuffer() { called = "~AudioSampleBuffer"; }                           \
    void AudioSampleBuffer::Wrap(float**, int32_t, int32_t) { called = "AudioSampleBuffer::Wrap"; }      \
    void AudioSampleBuffer::SetSize(int32_t, int32_t) { called = "AudioSampleBuffer::SetSize"; }         \
    void AudioSampleBuffer::Clear() { called = "AudioSampleBuffer::Clear"; }                             \
    class FrameWindow {                                                                                  \
      public:                                                                                            \
        void StartAt(const FrameSearch&, int64_t, int32_t);                                              \
        void Align(FrameSearch&, int32_t, int32_t);                                                      \
    };                                                                                                   \
    void FrameWindow::StartAt(const FrameSearch&, int64_t, int32_t) { called = "FrameWindow::StartAt"; } \
    void FrameWindow::Align(FrameSearch&, int32_t, int32_t) { called = "FrameWindow::Align"; }           \
    class CPitchTrack {                                                                                  \
      public:                                                                                            \
        struct Sizes {};                                                                                 \
        CPitchTrack(int32_t, int32_t, Sizes);                                                            \
        virtual ~CPitchTrack();                                                                          \
        void Reset();                                                                                    \
    };                                                                                                   \
    CPitchTrack::CPitchTrack(int32_t, int32_t, Sizes) { called = "CPitchTrack"; }                        \
    CPitchTrack::~CPitchTrack() { called = "~CPitchTrack"; }                                             \
    void CPitchTrack::Reset() { called = "CPitchTrack::Reset"; }                                         \
    template <int32_t level>                                                                             \
    class Kernels {                                                                                      \
      public:                                                                                            \
        static int32_t VecAdd(float*, const float*, int32_t);                                            \
    };                                                                                                   \
    template <int32_t level>                                                                             \
    int32_t Kernels<level>::VecAdd(float*, const float*, int32_t) {                                      \
        called = "Kernels::VecAdd";                                                                      \
        return 0;                                                                                        \
    }                                                                                                    \
    template class Kernels<3>;                                                                           \
    template class Kernels<5>;                                                                           \
    template class Kernels<6>;                                                                           \
    namespace Generic {                                                                                  \
    int32_t VecZero(float*, int32_t);                                                                    \
    int32_t VecZero(float*, int32_t) {                                                                   \
        called = "Generic::VecZero";                                                                     \
        return 0;                                                                                        \
    }                                                                                                    \
    int32_t VecAdd(float*, const float*, int32_t);                                                       \
    int32_t VecAdd(float*, const float*, int32_t) {                                                      \
        called = "Generic::VecAdd";                                                                      \
        return 0;                                                                                        \
    }                                                                                                    \
    }                                                                                                    \
    void FillWindow(float*, int32_t, int32_t);                                                           \
    void FillWindow(float*, int32_t, int32_t) { called = "FillWindow"; }                                 \
    bool IsVoiced(const SynthSegment&, int32_t);                                                         \
    bool IsVoiced(const SynthSegment&, int32_t) {                                                        \
        called = "IsVoiced";                                                                             \
        return false;                                                                                    \
    }                                                                                                    \
    float GainAt(const SynthSegment&, double);                                                           \
    float GainAt(const SynthSegment&, double) {                                                          \
        called = "GainAt";                                                                               \
        return 0.0f;                                                                                     \
    }                                                                                                    \
    void MeasureTransitions(SynthSegment&);                                                              \
    void MeasureTransitions(SynthSegment&) { called = "MeasureTransitions"; }

NAMESAKES

namespace mlh {
NAMESAKES
}
