#include "choir/render/Renderer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/PitchUnits.h"
#include "choir/Errors.h"
#include "choir/render/FineReader.h"
#include "choir/render/Oversampler.h"
#include "choir/take/PeriodMeter.h"
#include "mlh/analysis.h"
#include "mlh/voices.h"

namespace mlh::choir {

namespace {

constexpr double kSilence = 0.3;             // [s] after the recording
constexpr int64_t kHighestRate = 255999;     // [Hz] that the core takes
constexpr int32_t kLowestRate = 32000;       // [Hz] below which the core is coarse
constexpr int32_t kFineRate = 64000;         // [Hz] from which low voices gain nothing
constexpr double kLeastPeriod = 80.0;        // fine samples of a period of the highest note
constexpr double kShortestUnvoiced = 0.025;  // [s]
constexpr double kMeasured = 0.08;           // [s] of a note that its loudness is measured over
constexpr double kShortestMeasured = 0.1;    // [s] shorter notes are as the one before
constexpr int32_t kCoreBlock = 4096;         // fine frames that the core renders at a time
constexpr double kMoved = 0.5;               // [semitones] of pitch from which a voice's loudness changes ...
constexpr double kReshaped = 1.0;            // ... and of formants
constexpr double kSoftestEvening = 0.4, kLoudestEvening = 3.0;
constexpr int32_t kFrames = 4096;  // of a pass

struct VoiceDeleter {
    void operator()(HarmonyVoiceIf* voice) const { HarmonyVoiceIf::DestroyInstance(&voice); }
};
struct AddOnDeleter {
    void operator()(MalleoTuneHarmonyAddOnIf* addOn) const {
        MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);
    }
};

// Reports how far the analysis has come.
class WatchedReader final : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    WatchedReader(FineReader& reader, ProgressCallback progress)
        : reader_(reader), progress_(std::move(progress)) {}
    int32_t SetPosition(int32_t frame) override { return reader_.SetPosition(frame); }
    int32_t Read(float** channels, int32_t frames) override {
        const int32_t present = reader_.Read(channels, frames);
        read_ += std::max(present, 0);
        if (progress_) {
            progress_(std::min(1.0, static_cast<double>(read_) / std::max(GetLength(), 1)));
        }
        return present;
    }
    int32_t GetLength() override { return reader_.GetLength(); }
    int32_t GetNumChannels() override { return reader_.GetNumChannels(); }
    int32_t GetSampleRate() override { return reader_.GetSampleRate(); }
    void StopProgress() { progress_ = {}; }

  private:
    FineReader& reader_;
    ProgressCallback progress_;
    int64_t read_ = 0;
};

// Stretches whose marks are unvoiced and whose waveform does not repeat either: a clean tone can look
// unvoiced to the analysis.
std::vector<Unvoiced> FindUnvoiced(const std::vector<PitchPoint>& curve,
                                   const std::vector<MeasuredPeriod>& periods, double seconds) {
    std::vector<Unvoiced> found;
    std::size_t period = 0;
    for (std::size_t i = 0; i < curve.size();) {
        if (curve[i].voiced) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < curve.size() && !curve[end].voiced) {
            ++end;
        }
        const double start = curve[i].time;
        const double stop = end < curve.size() ? curve[end].time : seconds;
        double agreement = 0.0;
        int count = 0;
        while (period < periods.size() && periods[period].time < start) {
            ++period;
        }
        for (std::size_t k = period; k < periods.size() && periods[k].time < stop; ++k) {
            agreement += periods[k].agreement;
            ++count;
        }
        if (stop - start >= kShortestUnvoiced && (count == 0 || agreement < kSungAgreement * count)) {
            found.push_back({start, stop});
        }
        i = end;
    }
    return found;
}

// Mean of the middle half of the voiced marks' pitches.
double MarkPitchOf(const std::vector<PitchPoint>& curve, const SungNote& note) {
    const auto before = [](const PitchPoint& point, double time) { return point.time < time; };
    const auto first = std::lower_bound(curve.begin(), curve.end(), note.start, before);
    const auto last = std::lower_bound(first, curve.end(), note.end, before);
    std::vector<double> pitches;
    for (auto it = first; it != last; ++it) {
        if (it->voiced && it->pitch > 0.0f) {
            pitches.push_back(it->pitch);
        }
    }
    if (pitches.empty()) {
        return note.pitch;
    }
    std::sort(pitches.begin(), pitches.end());
    const std::size_t skipped = pitches.size() / 4;
    double sum = 0.0;
    for (std::size_t i = skipped; i < pitches.size() - skipped; ++i) {
        sum += pitches[i];
    }
    return sum / static_cast<double>(pitches.size() - 2 * skipped);
}

}  // namespace

int OversamplingFor(Quality quality, int32_t sampleRate, double highestPitch) {
    const auto allowed = [&](int factor) {
        return static_cast<int64_t>(sampleRate) * factor <= kHighestRate;
    };
    int factor = 1;
    while (factor < 4 && sampleRate * factor < kLowestRate && allowed(2 * factor)) {
        factor *= 2;
    }
    if (quality == Quality::Fast) {
        return factor;
    }
    const double highest = PitchToHertz(highestPitch);
    const auto wantsMore = [&] {
        if (quality == Quality::High) {
            return true;
        }
        if (quality == Quality::Normal) {
            return factor < 2;
        }
        const double rate = static_cast<double>(sampleRate) * factor;
        return rate < kFineRate || rate < kLeastPeriod * highest;
    };
    while (factor < 4 && allowed(2 * factor) && wantsMore()) {
        factor *= 2;
    }
    return factor;
}

class Renderer::Impl {
  public:
    Impl(const AudioView& audio, const std::vector<SungNote>& lead,
         const std::vector<MeasuredPeriod>& periods, int oversampling, const ProgressCallback& progress)
        : audio_(audio),
          oversampler_(oversampling),
          samples_(audio, oversampler_, static_cast<int32_t>(std::ceil(kSilence * audio.sampleRate))),
          analysed_(samples_),
          watched_(analysed_, progress) {
        MalleoTuneHarmonyAddOnIf* addOn = nullptr;
        const int32_t code = MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &watched_);
        addOn_.reset(addOn);
        if (code != 0 || addOn_->Prepare() != 0) {
            throw Failure("the library cannot analyse this recording");
        }
        watched_.StopProgress();

        const Analysis analysis = GetAnalysis(*addOn_);
        seconds_ = static_cast<double>(analysed_.GetLength()) / analysed_.GetSampleRate();
        unvoiced_ = FindUnvoiced(analysis.curve, periods, seconds_);
        for (const SungNote& note : lead) {
            lead_.push_back({note, MarkPitchOf(analysis.curve, note)});
        }
    }

    int oversampling() const { return oversampler_.factor(); }
    const std::vector<Unvoiced>& unvoiced() const { return unvoiced_; }

    void SetVoiceCount(int count) { voices_.resize(static_cast<std::size_t>(std::max(count, 0))); }

    void SetVoice(int index, const VoiceOrder& order) {
        Voice& voice = voices_.at(static_cast<std::size_t>(index));
        if (!voice.voice) {
            voice.reader = std::make_unique<FineReader>(samples_);
            HarmonyVoiceIf* made = nullptr;
            if (HarmonyVoiceIf::CreateInstance(&made, addOn_.get(), voice.reader.get()) != 0) {
                throw Failure("the library cannot make a voice");
            }
            voice.voice.reset(made);
            voice.voice->CarryRounding(true);
        }
        if (voice.isSet && order == voice.order) {
            return;
        }
        voice.isSet = false;
        voice.order = order;
        voice.plan = PlanVoice(order, lead_, unvoiced_, {}, seconds_);
        if (voice.voice->SetSegments(voice.plan.segments) != 0) {
            throw Failure("a voice has impossible times");
        }
        if (order.glide != 1.0) {
            ScaleGlides(voice);
        }
        voice.plan.level = PlanLevel(order, voice.plan, Even(voice));
        voice.isSet = true;
    }

    const VoicePlan& plan(int index) const { return voices_.at(static_cast<std::size_t>(index)).plan; }

    void Render(int index, int32_t first, int32_t count, float* const* rows) {
        Voice& voice = voices_.at(static_cast<std::size_t>(index));
        for (int32_t done = 0; done < count; done += kFrames) {
            const int32_t frames = std::min(kFrames, count - done);
            float* here[2] = {rows[0] + done, audio_.channels > 1 ? rows[1] + done : nullptr};
            if (voice.voice) {
                RenderPass(voice, static_cast<int64_t>(first) + done, frames, here);
            } else {
                for (int32_t c = 0; c < audio_.channels; ++c) {
                    std::fill_n(here[c], frames, 0.0f);
                }
            }
        }
    }

  private:
    struct Voice {
        VoiceOrder order;
        VoicePlan plan;
        std::unique_ptr<FineReader> reader;
        std::unique_ptr<HarmonyVoiceIf, VoiceDeleter> voice;
        bool isSet = false;  // to the order, all of it
    };

    // Glides that the core measured become shorter or longer.
    static void ScaleGlides(Voice& voice) {
        const auto measured = voice.voice->GetSegments();
        auto& segments = voice.plan.segments;
        for (std::size_t i = 0; i < segments.size(); ++i) {
            const auto scale = static_cast<float>(std::max(voice.order.glide, 0.0));
            if (segments[i].glideInShare < 0.0f) {
                segments[i].glideInShare = std::min(scale * measured[i].glideInShare, 0.5f);
            }
            if (segments[i].glideOutShare < 0.0f) {
                segments[i].glideOutShare = std::min(scale * measured[i].glideOutShare, 0.5f);
            }
        }
        voice.voice->SetSegments(segments);
    }

    // Fine samples of a voice as the core makes them, from before the start of the recording on.
    void RenderFine(Voice& voice, int64_t first, int32_t count, std::vector<float> (&fine)[2]) {
        float* rows[2] = {nullptr, nullptr};
        const auto before = static_cast<int32_t>(std::clamp<int64_t>(-first, 0, count));
        for (int32_t c = 0; c < audio_.channels; ++c) {
            fine[c].assign(static_cast<std::size_t>(count), 0.0f);
            rows[c] = fine[c].data() + before;
        }
        const int64_t start = first + before;
        if (start + count < analysed_.GetLength() + static_cast<int64_t>(analysed_.GetSampleRate()) * 2) {
            voice.voice->Render(rows, static_cast<int32_t>(start), count - before);
        }
    }

    void RenderPass(Voice& voice, int64_t first, int32_t frames, float* const* rows) {
        const int factor = oversampler_.factor();
        const int32_t reach = oversampler_.reach();
        RenderFine(voice, first * factor - reach, (frames - 1) * factor + 1 + 2 * reach, fine_);
        for (int32_t c = 0; c < audio_.channels; ++c) {
            oversampler_.Down(fine_[c].data(), frames, rows[c]);
        }

        gains_.assign(static_cast<std::size_t>(frames), 1.0f);
        Apply(voice.plan.level, first, gains_);
        if (!voice.plan.consonants.empty()) {
            Apply(voice.plan.consonants, first, gains_);
        }
        for (int32_t c = 0; c < audio_.channels; ++c) {
            for (int32_t i = 0; i < frames; ++i) {
                rows[c][i] *= gains_[static_cast<std::size_t>(i)];
            }
        }
    }

    // Multiplies by a curve; each value depends on its frame alone.
    void Apply(const std::vector<GainPoint>& curve, int64_t first, std::vector<float>& gains) const {
        const double rate = audio_.sampleRate;
        const auto start = static_cast<double>(first);
        const auto count = static_cast<int32_t>(gains.size());
        auto next = static_cast<std::size_t>(std::upper_bound(curve.begin(), curve.end(), start,
                                                              [&](double frame, const GainPoint& point) {
                                                                  return frame < point.time * rate;
                                                              }) -
                                             curve.begin());
        for (int32_t i = 0; i < count; ++next) {
            const bool isLast = next == curve.size();
            // Up to the first frame at the next point or after it.
            const double left = isLast ? count : std::ceil(curve[next].time * rate) - start;
            const auto end = static_cast<int32_t>(std::clamp<double>(left, i, count));
            double gain = isLast ? curve.back().gain : curve.front().gain, slope = 0.0, from = 0.0;
            if (!isLast && next > 0) {
                const GainPoint& a = curve[next - 1];
                const GainPoint& b = curve[next];
                gain = a.gain;
                slope = (b.gain - a.gain) / ((b.time - a.time) * rate);
                from = a.time * rate;
            }
            for (; i < end; ++i) {
                gains[static_cast<std::size_t>(i)] *= static_cast<float>(gain + slope * ((start + i) - from));
            }
        }
    }

    // What makes each note as loud as the lead: root mean squares over the middle of the note. A voice that
    // sings the lead's own pitch is as loud already.
    std::vector<double> Even(Voice& voice) {
        std::vector<double> evening(voice.plan.notes.size(), 1.0);
        const double fineRate = analysed_.GetSampleRate();
        double last = 1.0;
        for (std::size_t i = 0; i < evening.size(); ++i) {
            const VoicePlan::Stretch& note = voice.plan.notes[i];
            const double length = note.end - note.start;
            if (!note.sounds) {
                continue;
            }
            if (std::fabs(note.moved) < kMoved && std::fabs(note.reshaped) < kReshaped) {
                last = 1.0;
            } else if (length >= kShortestMeasured) {
                const auto [first, count] = StretchToMeasure(note);
                const double source = SourceOf(voice.plan.times, static_cast<double>(first) / fineRate);
                const double sourceEnd =
                    SourceOf(voice.plan.times, static_cast<double>(first + count) / fineRate);
                RenderFine(voice, first, count, fine_);
                const double sung = MeanSquare(fine_);
                const double wanted = MeanSquareOfLead(source, sourceEnd);
                if (sung > 1e-12 && wanted > 1e-12) {
                    last = std::clamp(std::sqrt(wanted / sung), kSoftestEvening, kLoudestEvening);
                }
            }
            evening[i] = last;
        }
        return evening;
    }

    // Fine frames in the middle of a note; where they fit in, whole blocks of the core, which cost least.
    std::pair<int64_t, int32_t> StretchToMeasure(const VoicePlan::Stretch& note) const {
        const double rate = samples_.sampleRate();
        const double measured = std::min(kMeasured, 0.7 * (note.end - note.start));
        const double middle = 0.5 * (note.start + note.end) * rate;
        const double blocks = std::max(std::round(kMeasured * rate / kCoreBlock), 1.0);
        const double aligned = kCoreBlock * std::round(middle / kCoreBlock - 0.5 * blocks);
        const double inset = 0.1 * (note.end - note.start) * rate;
        if (aligned > note.start * rate + inset && aligned + blocks * kCoreBlock < note.end * rate - inset) {
            return {static_cast<int64_t>(aligned), static_cast<int32_t>(blocks) * kCoreBlock};
        }
        return {static_cast<int64_t>(middle - 0.5 * measured * rate), static_cast<int32_t>(measured * rate)};
    }

    double MeanSquareOfLead(double start, double end) const {
        const auto first = std::clamp<int64_t>(std::llround(start * audio_.sampleRate), 0, audio_.frames);
        const auto last = std::clamp<int64_t>(std::llround(end * audio_.sampleRate), first, audio_.frames);
        double sum = 0.0;
        for (int64_t i = first * audio_.channels; i < last * audio_.channels; ++i) {
            sum += static_cast<double>(audio_.samples[i]) * audio_.samples[i];
        }
        return sum / static_cast<double>(std::max<int64_t>(last - first, 1));
    }

    double MeanSquare(const std::vector<float> (&rows)[2]) const {
        double sum = 0.0;
        for (int32_t c = 0; c < audio_.channels; ++c) {
            for (const float x : rows[c]) {
                sum += static_cast<double>(x) * x;
            }
        }
        return sum / static_cast<double>(std::max<std::size_t>(rows[0].size(), 1));
    }

    AudioView audio_;
    Oversampler oversampler_;
    FineSamples samples_;
    FineReader analysed_;
    WatchedReader watched_;
    std::unique_ptr<MalleoTuneHarmonyAddOnIf, AddOnDeleter> addOn_;
    double seconds_ = 0.0;
    std::vector<Unvoiced> unvoiced_;
    std::vector<LeadNote> lead_;
    std::vector<Voice> voices_;
    std::vector<float> fine_[2];
    std::vector<float> gains_;
};

Renderer::Renderer(const AudioView& audio, const std::vector<SungNote>& lead,
                   const std::vector<MeasuredPeriod>& periods, int oversampling,
                   const ProgressCallback& progress)
    : impl_(std::make_unique<Impl>(audio, lead, periods, oversampling, progress)) {}

Renderer::~Renderer() = default;

int Renderer::oversampling() const { return impl_->oversampling(); }
const std::vector<Unvoiced>& Renderer::unvoiced() const { return impl_->unvoiced(); }
void Renderer::SetVoiceCount(int count) { impl_->SetVoiceCount(count); }
void Renderer::SetVoice(int voice, const VoiceOrder& order) { impl_->SetVoice(voice, order); }
const VoicePlan& Renderer::plan(int voice) const { return impl_->plan(voice); }
void Renderer::Render(int voice, int32_t first, int32_t count, float* const* rows) {
    impl_->Render(voice, first, count, rows);
}

}  // namespace mlh::choir
