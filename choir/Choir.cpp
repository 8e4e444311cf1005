#include "choir/Choir.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "choir/Errors.h"
#include "choir/core/CoreChoir.h"
#include "choir/melody/MelodyTracker.h"
#include "choir/melody/SungMelody.h"
#include "choir/mix/Mix.h"
#include "choir/mix/Presets.h"
#include "choir/plan/Plan.h"
#include "choir/plan/SettingsOfPlan.h"
#include "choir/score/Music.h"

namespace mlh::choir {

namespace {

constexpr int32_t kBlock = 4096;  // [frames]

void Check(bool good, const char* complaint) {
    if (!good) {
        throw UsageError(complaint);
    }
}

void CheckSettings(const Settings& settings) {
    const int least = settings.tracks.empty() ? 2 : 1;
    Check(settings.voices >= least && settings.voices <= 4, "voices: from 2 to 4, with tracks from 1");
    Check(settings.above.value_or(0) >= 0 && settings.above.value_or(0) <= 3, "above: from 0 to 3");
    Check(settings.edits.empty() || (settings.style == Style::Choir && settings.tracks.empty()),
          "edits: only of style choir");
    Check(settings.chordsFrom != ChordSource::Given || !settings.chords.empty(),
          "chords_from: a recording comes with no chords");
    Check(settings.spread >= 0.0 && settings.spread <= 1.0, "spread: from 0 to 1");
}

// The key of the core's automatic way has two modes.
int ToKeyIndex(const MelodyKey& key) {
    Check(key.scale == kMajor || key.scale == kMinor, "key: style core takes major and minor keys");
    return key.tonic + (key.scale == kMinor ? 12 : 0);
}

VoicePart PartOf(const std::vector<VoiceNote>& notes, const std::vector<SungNote>& lead) {
    double sum = 0.0;
    int count = 0;
    for (const VoiceNote& note : notes) {
        if (note.lead < 0) {
            continue;
        }
        sum += note.pitch - lead[static_cast<std::size_t>(note.lead)].pitch;
        ++count;
    }
    const double mean = count > 0 ? sum / count : 0.0;
    return mean > 0.75 ? VoicePart::Above : mean < -0.75 ? VoicePart::Below : VoicePart::Doubling;
}

}  // namespace

Choir::Choir(Take& take, Settings settings, const ProgressCallback& progress) : take_(take) {
    Change(std::move(settings), progress);
}

Choir::~Choir() = default;

void Choir::Change(Settings settings, const ProgressCallback& progress) {
    CheckSettings(settings);
    Decided decided;
    std::unique_ptr<Singers> singers;
    if (!settings.tracks.empty()) {
        singers = SingTracks(settings, decided, progress);
    } else if (settings.style == Style::Core) {
        singers = SingCore(settings, decided, progress);
    } else if (!IsPlanned(settings)) {
        singers = SingArrangement(settings, decided, progress);
    } else {
        DecideTuning(settings, decided);
        DecideKeyAndChords(settings, decided);
        DecideVoices(settings, decided);
        ApplyEdits(settings, decided);
        DecidePeople(settings, decided);
    }
    DecideMix(settings, decided);
    if (take_.notes().empty()) {
        decided.warnings.emplace_back(kNoVoice);
    }
    std::vector<float> scratch((1 + decided.voices.size()) *
                               static_cast<std::size_t>(take_.audio().channels) * kBlock);
    if (singers == nullptr) {
        TellSingers(settings, decided, progress);
    }
    settings_ = std::move(settings);
    decided_ = std::move(decided);
    singers_ = std::move(singers);
    scratch_ = std::move(scratch);
    kept_ = {};
}

const std::vector<SungNote>& Choir::lead() const {
    if (decided_.tuning) {
        return take_.measuredNotes();
    }
    const bool core = settings_.style == Style::Core || !settings_.tracks.empty();
    return core ? take_.coreNotes() : take_.notes();
}

void Choir::DecideTuning(const Settings& settings, Decided& decided) const {
    decided.tuning = settings.tuning == TuningGrid::Singer ? Tuning::OfSinger(take_.measuredNotes())
                                                           : Tuning::OfReference(settings.referenceHz);
}

void Choir::DecideKeyAndChords(const Settings& settings, Decided& decided) const {
    const std::vector<MelodyNote> melody = SungMelody(take_, *decided.tuning);
    TrackOptions options;
    options.tuning = 0.0;  // it is taken off, with its drift
    if (settings.bpm > 0.0) {
        options.bpm = settings.bpm;
    }
    std::optional<MelodyKey> given = settings.key;
    if (given && settings.scale) {
        given->scale = *settings.scale;
    }
    if (given) {
        options.key = ModeKey(*given);
    }
    const MelodyTrack track = TrackMelody(melody, options);
    decided.keyEstimate = track.key;
    if (given) {
        decided.key = SignatureKey(*given);
        decided.keyName = ScaleKeyName(*given);
    } else if (!melody.empty()) {
        decided.key = track.usedKey;
        decided.keyName = KeyName(track.usedKey);
        if (!track.key.Sure()) {
            decided.warnings.push_back(KeyDoubt(track.key));
        }
    }
    if (!settings.chords.empty()) {
        decided.chords = settings.chords;
    } else if (settings.chordsFrom == ChordSource::Core) {
        const auto addOn = std::make_unique<CoreChoir>(take_);
        CoreSettings core;
        if (given) {
            core.key = ModeKey(*given);
        }
        addOn->SingChords(core, {});
        decided.chords = addOn->Chords();
    } else {
        for (const HeardChord& heard : track.chords) {
            Chord chord;
            chord.root = heard.root;
            chord.intervals = TonesOf(heard.kind);
            chord.name = ChordName(chord.root, chord.intervals, -1, KeyUsesFlats(decided.key));
            decided.chords.push_back({heard.time, std::move(chord)});
        }
    }
}

void Choir::DecideVoices(const Settings& settings, Decided& decided) const {
    PlanSettings plan =
        ToPlanSettings(settings, GridNotes(take_.measuredNotes(), *decided.tuning, std::nullopt));
    // Who asks for a pitch of A wants the voices there, and not as far off as the singer.
    const bool fixedGrid = settings.tuning == TuningGrid::Reference;
    plan.correction = settings.correction.value_or(fixedGrid ? 1.0 : plan.correction);
    const bool sure = settings.key || (decided.keyEstimate && decided.keyEstimate->Sure());
    if (settings.snap == Snap::Scale && sure && decided.key >= 0) {
        MelodyKey key = settings.key.value_or(MelodyKey{});
        key.scale = settings.scale.value_or(key.scale);
        plan.snapToKey = settings.key ? ModeKey(key) : decided.key;
    }
    decided.voices = PlanChoir(take_.measuredNotes(), *decided.tuning, decided.chords, plan).voices;
    NameParts(settings, decided.voices);
}

void Choir::ApplyEdits(const Settings& settings, Decided& decided) const {
    for (const Edit& edit : settings.edits) {
        Check(edit.voice < static_cast<int>(decided.voices.size()),
              "edits: there is no voice of this number");
        std::vector<VoiceNote>& notes = decided.voices[static_cast<std::size_t>(edit.voice)].notes;
        auto note = notes.end();
        if (edit.note) {
            Check(*edit.note < static_cast<int>(notes.size()), "edits: the voice has no note of this number");
            note = notes.begin() + *edit.note;
        } else {
            note = std::find_if(notes.begin(), notes.end(), [&](const VoiceNote& n) {
                return n.start <= *edit.time && *edit.time < n.end;
            });
            Check(note != notes.end(), "edits: the voice has no note at this time");
        }
        if (edit.mute) {
            note->note = -1;
            continue;
        }
        if (edit.pitch) {
            const double offset = decided.tuning->OffsetAt(note->start);
            note->note = static_cast<int>(std::lround(*edit.pitch));
            note->pitch = *edit.pitch + offset;
        }
        Check(note->note >= 0 || edit.delta == 0.0, "edits: the note rests; give it a pitch_midi");
        note->pitch += edit.delta;
        note->note =
            note->note < 0 ? -1 : std::clamp(note->note + static_cast<int>(std::lround(edit.delta)), 0, 127);
        note->level *= std::pow(10.0, edit.levelDb / 20.0);
    }
}

void Choir::DecidePeople(const Settings& settings, Decided& decided) const {
    // A voice stays the same person when others come or go.
    int above = 1;
    int below = 1 + kMaxHarmonyVoices;
    const std::vector<double> glides = GlidesOf(take_.measuredNotes(), take_.measuredPeriods());
    std::vector<LeadTraits> lead;
    for (std::size_t i = 0; i < glides.size(); ++i) {
        lead.push_back({glides[i], take_.measuredNotes()[i].level});
    }
    for (Voice& voice : decided.voices) {
        const int person = voice.part == VoicePart::Doubling ? 0
                           : voice.part == VoicePart::Above  ? above++
                                                             : below++;
        decided.manners.push_back(Humanize(voice.notes, person, {settings.humanize, settings.seed}, lead));
        // What a note is reported to sound like is what is sung.
        for (std::size_t i = 0; i < voice.notes.size(); ++i) {
            if (voice.notes[i].note >= 0) {
                voice.notes[i].pitch += decided.manners.back()[i].detune;
            }
            decided.manners.back()[i].detune = 0.0;
        }
    }
}

namespace {

double PerVoice(const std::vector<double>& values, std::size_t voice, double otherwise) {
    if (values.size() == 1) {
        return values[0];
    }
    return voice < values.size() ? values[voice] : otherwise;
}

}  // namespace

void Choir::TellSingers(const Settings& settings, const Decided& decided, const ProgressCallback& progress) {
    double highest = 0.0;
    for (const Voice& voice : decided.voices) {
        for (const VoiceNote& note : voice.notes) {
            highest = note.note >= 0 ? std::max(highest, note.pitch) : highest;
        }
    }
    const int oversampling = OversamplingFor(settings.quality, take_.audio().sampleRate, highest);
    if (renderer_ == nullptr || renderer_->oversampling() != oversampling) {
        renderer_ = std::make_unique<Renderer>(take_.audio(), take_.measuredNotes(), take_.measuredPeriods(),
                                               oversampling, progress);
    }
    renderer_->SetVoiceCount(static_cast<int>(decided.voices.size()));
    for (std::size_t v = 0; v < decided.voices.size(); ++v) {
        VoiceOrder order;
        order.notes = decided.voices[v].notes;
        order.manners = decided.manners[v];
        order.vibrato = PerVoice(settings.vibrato, v, 1.0);
        order.glide = PerVoice(settings.glide, v, 1.0);
        order.formant = PerVoice(settings.formant, v, 0.0);
        // Four people who hiss at once are a storm; one of them says it for all.
        constexpr double kThinned = 0.35;
        order.consonants = settings.thinConsonants && v > 0 ? kThinned : 1.0;
        renderer_->SetVoice(static_cast<int>(v), order);
    }
}

void Choir::DecideMix(const Settings& settings, Decided& decided) const {
    const bool placed = !settings.mix.empty() || !settings.pan.empty() || !settings.levelDb.empty();
    const bool own = settings.gains || (!placed && !IsPlanned(settings));
    if (own) {
        decided.gains = settings.gains.value_or(DefaultGains());
        return;
    }
    decided.preset = true;
    MixSettings mix;
    mix.preset = ReadMixPreset(settings.mix).value_or(MixPreset::Choir);
    mix.pans = settings.pan;
    mix.levels = settings.levelDb;
    for (const StereoGain& gain : GainsOf(mix, static_cast<int>(decided.voices.size()))) {
        decided.gains.push_back({gain.left, gain.right});
    }
}

std::unique_ptr<Singers> Choir::SingCore(const Settings& settings, Decided& decided,
                                         const ProgressCallback& progress) const {
    auto core = std::make_unique<CoreChoir>(take_, progress);
    CoreSettings wanted;
    wanted.voices = settings.voices;
    wanted.voicesAbove = settings.above.value_or(1);
    wanted.spread = settings.spread;
    if (settings.key) {
        wanted.key = ToKeyIndex(*settings.key);
    }
    core->SingChords(wanted, settings.chords);
    decided.key = core->key();
    decided.keyName = KeyName(decided.key);
    decided.chords = core->Chords();
    TakeLines(core->Lines(), decided);
    return core;
}

std::unique_ptr<Singers> Choir::SingTracks(const Settings& settings, Decided& decided,
                                           const ProgressCallback& progress) const {
    auto core = std::make_unique<CoreChoir>(take_, progress);
    core->SingTracks(settings.tracks, settings.voices);
    decided.key = core->key();
    decided.keyName = KeyName(decided.key);
    TakeLines(core->Lines(), decided);
    return core;
}

// The notes that were found, arranged. Seconds serve as beats.
std::unique_ptr<Singers> Choir::SingArrangement(const Settings& settings, Decided& decided,
                                                const ProgressCallback& progress) const {
    Melody melody = MelodyOf(take_, 60.0);
    if (melody.notes.empty()) {
        for (int v = 1; v <= settings.voices; ++v) {
            decided.voices.push_back({VoicePart::Doubling, "Voice " + std::to_string(v), {}});
        }
        decided.manners.resize(decided.voices.size());
        return nullptr;
    }
    const MelodyKey key = KeyFor(settings, melody);
    decided.arrangement = ArrangeMelody(std::move(melody), key, ToArrangeSettings(settings),
                                        StyleNames()[static_cast<std::size_t>(settings.style)]);
    std::vector<std::vector<int>> rows;
    for (const ArrangedVoice& voice : decided.arrangement->voices) {
        rows.push_back(voice.pitches);
    }
    auto core = std::make_unique<CoreChoir>(take_, progress);
    core->SingRows(rows, decided.arrangement->ChordChanges());
    decided.key = SignatureKey(decided.arrangement->key);
    decided.keyName = ScaleKeyName(decided.arrangement->key);
    decided.chords = core->Chords();
    std::vector<NoteLine> lines = core->Lines();
    for (std::size_t v = 0; v < lines.size(); ++v) {
        lines[v].name = decided.arrangement->voices[v].name;
    }
    TakeLines(lines, decided);
    return core;
}

void Choir::TakeLines(const std::vector<NoteLine>& lines, Decided& decided) const {
    const std::vector<SungNote>& lead = take_.coreNotes();
    for (const NoteLine& line : lines) {
        Voice voice;
        voice.name = line.name;
        std::size_t sung = 0;
        for (const TimedNote& note : line.notes) {
            while (sung < lead.size() && lead[sung].end <= note.start) {
                ++sung;
            }
            VoiceNote sings;
            sings.lead = sung < lead.size() ? static_cast<int>(sung) : -1;
            sings.start = note.start;
            sings.end = note.end;
            sings.note = static_cast<int>(std::lround(note.pitch));
            sings.pitch = note.pitch;
            voice.notes.push_back(sings);
        }
        voice.part = PartOf(voice.notes, lead);
        decided.voices.push_back(std::move(voice));
    }
}

Performance Choir::ToPerformance() const {
    Performance performance;
    if (arrangement()) {
        performance = choir::ToPerformance(*arrangement());
        performance.voices.clear();
    }
    performance.key = keyName();
    performance.duration = take_.audio().Seconds();
    performance.curve = take_.curve();
    performance.lead = lead();
    performance.chords = chords();
    for (const Voice& voice : voices()) {
        NoteLine line{voice.name, {}};
        for (const VoiceNote& note : voice.notes) {
            if (note.note < 0) {
                continue;
            }
            const double level = note.lead < 0 ? 1.0 : lead()[static_cast<std::size_t>(note.lead)].level;
            line.notes.push_back({note.start, note.end, note.pitch, level * note.level});
        }
        performance.voices.push_back(std::move(line));
    }
    return performance;
}

void Choir::Render(int64_t first, int64_t count, float* const* rows, float* mix, int32_t mixChannels,
                   const ProgressCallback& progress) {
    const AudioView& audio = take_.audio();
    const auto channels = static_cast<std::size_t>(audio.channels);
    std::vector<float*>& block = block_;
    block.resize(Rows());
    for (int64_t done = 0; done < count;) {
        const int64_t at = first + done;
        const auto frames = static_cast<int32_t>(std::min<int64_t>(kBlock, count - done));
        for (std::size_t r = 0; r < block.size(); ++r) {
            float* own = rows != nullptr && rows[r] != nullptr ? rows[r] + done : nullptr;
            block[r] = own != nullptr ? own : scratch_.data() + r * kBlock;
        }
        if (at >= audio.frames) {
            for (float* row : block) {
                std::fill_n(row, frames, 0.0f);
            }
        } else {
            audio.Read(static_cast<int32_t>(at), frames, block.data());
            if (singers_ != nullptr) {
                singers_->Render(static_cast<int32_t>(at), frames, block.data() + channels);
            } else {
                for (std::size_t v = 0; v < voices().size(); ++v) {
                    const bool wanted =
                        mix != nullptr ||
                        (rows != nullptr && std::any_of(rows + (1 + v) * channels, rows + (2 + v) * channels,
                                                        [](const float* row) { return row != nullptr; }));
                    if (wanted) {
                        renderer_->Render(static_cast<int>(v), static_cast<int32_t>(at), frames,
                                          block.data() + (1 + v) * channels);
                    }
                }
            }
        }
        if (mix != nullptr && mixChannels == 1 && decided_.preset) {
            MixToMono(block.data(), audio.channels, static_cast<int32_t>(voices().size()), frames, gains(),
                      mix + done);
        } else if (mix != nullptr) {
            MixVoices(block.data(), audio.channels, static_cast<int32_t>(voices().size()), frames, gains(),
                      mixChannels, mix + done * mixChannels);
        }
        done += frames;
        if (progress) {
            progress(static_cast<double>(done) / static_cast<double>(count));
        }
    }
}

void Choir::RenderKept(int64_t first, int64_t count, float* const* rows, float* mix, int32_t mixChannels,
                       const ProgressCallback& progress) {
    const bool keeps = settings_.clip == Clip::Scale || settings_.clip == Clip::Limit;
    if (mix == nullptr || count == 0 || !keeps) {
        Render(first, count, rows, mix, mixChannels, progress);
        return;
    }
    std::optional<FullScale>& kept = kept_[static_cast<std::size_t>(mixChannels - 1)];
    const double looked = kept ? 0.0 : 0.5;  // the share of the work that looking is
    if (!kept) {
        PeakCurve peaks(take_.audio().sampleRate);
        std::vector<float> block(static_cast<std::size_t>(kBlock) * static_cast<std::size_t>(mixChannels));
        for (int64_t at = 0; at < take_.audio().frames; at += kBlock) {
            const int64_t frames = std::min<int64_t>(kBlock, take_.audio().frames - at);
            Render(at, frames, nullptr, block.data(), mixChannels);
            peaks.Add(block.data(), static_cast<int32_t>(frames), mixChannels);
            if (progress) {
                progress(looked * static_cast<double>(at) / take_.audio().frames);
            }
        }
        kept = settings_.clip == Clip::Scale ? FullScale(peaks.Peak()) : FullScale(peaks);
    }
    const auto report = [&](double share) { progress(looked + (1.0 - looked) * share); };
    Render(first, count, rows, mix, mixChannels, progress ? ProgressCallback(report) : nullptr);
    kept->Apply(first, static_cast<int32_t>(count), mixChannels, mix);
}

}  // namespace mlh::choir
