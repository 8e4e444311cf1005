#include "choir/Choir.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "choir/Errors.h"
#include "choir/core/CoreChoir.h"
#include "choir/mix/Mix.h"
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
    Check(settings.above >= 0 && settings.above <= 3, "above: from 0 to 3");
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

Choir::Choir(Take& take, Settings settings, const ProgressCallback& progress)
    : take_(take), settings_(std::move(settings)) {
    CheckSettings(settings_);
    if (!settings_.tracks.empty()) {
        SingTracks(progress);
    } else if (settings_.style == Style::Core) {
        SingCore(progress);
    } else {
        SingArrangement(progress);
    }
    scratch_.resize(Rows() * kBlock);
}

Choir::~Choir() = default;

void Choir::SingCore(const ProgressCallback& progress) {
    auto core = std::make_unique<CoreChoir>(take_, progress);
    CoreSettings wanted;
    wanted.voices = settings_.voices;
    wanted.voicesAbove = settings_.above;
    wanted.spread = settings_.spread;
    if (settings_.key) {
        wanted.key = ToKeyIndex(*settings_.key);
    }
    core->SingChords(wanted, settings_.chords);
    key_ = core->key();
    keyName_ = KeyName(key_);
    chords_ = core->Chords();
    TakeLines(core->Lines());
    singers_ = std::move(core);
}

void Choir::SingTracks(const ProgressCallback& progress) {
    auto core = std::make_unique<CoreChoir>(take_, progress);
    core->SingTracks(settings_.tracks, settings_.voices);
    key_ = core->key();
    keyName_ = KeyName(key_);
    TakeLines(core->Lines());
    singers_ = std::move(core);
}

// The notes that were found, arranged. Seconds serve as beats.
void Choir::SingArrangement(const ProgressCallback& progress) {
    Melody melody = MelodyOf(take_, 60.0);
    if (melody.notes.empty()) {
        throw Failure("no note was found in it");
    }
    const MelodyKey key = KeyFor(settings_, melody);
    arrangement_ = ArrangeMelody(std::move(melody), key, ToArrangeSettings(settings_),
                                 StyleNames()[static_cast<std::size_t>(settings_.style)]);
    std::vector<std::vector<int>> rows;
    for (const ArrangedVoice& voice : arrangement_->voices) {
        rows.push_back(voice.pitches);
    }
    auto core = std::make_unique<CoreChoir>(take_, progress);
    core->SingRows(rows, arrangement_->ChordChanges());
    key_ = SignatureKey(arrangement_->key);
    keyName_ = ScaleKeyName(arrangement_->key);
    chords_ = core->Chords();
    std::vector<NoteLine> lines = core->Lines();
    for (std::size_t v = 0; v < lines.size(); ++v) {
        lines[v].name = arrangement_->voices[v].name;
    }
    TakeLines(lines);
    singers_ = std::move(core);
}

void Choir::TakeLines(const std::vector<NoteLine>& lines) {
    const std::vector<SungNote>& lead = take_.notes();
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
        voices_.push_back(std::move(voice));
    }
}

Performance Choir::ToPerformance() const {
    Performance performance;
    if (arrangement_) {
        performance = choir::ToPerformance(*arrangement_);
        performance.voices.clear();
    }
    performance.key = keyName_;
    performance.duration = take_.audio().Seconds();
    performance.curve = take_.curve();
    performance.lead = take_.notes();
    performance.chords = chords_;
    for (const Voice& voice : voices_) {
        NoteLine line{voice.name, {}};
        for (const VoiceNote& note : voice.notes) {
            if (note.note < 0) {
                continue;
            }
            const double level =
                note.lead < 0 ? 1.0 : take_.analysis().notes[static_cast<std::size_t>(note.lead)].energy;
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
    std::vector<float*> block(Rows());
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
            singers_->Render(static_cast<int32_t>(at), frames, block.data() + channels);
        }
        if (mix != nullptr) {
            MixVoices(block.data(), audio.channels, static_cast<int32_t>(voices_.size()), frames,
                      settings_.gains, mixChannels, mix + done * mixChannels);
        }
        done += frames;
        if (progress) {
            progress(static_cast<double>(done) / static_cast<double>(count));
        }
    }
}

}  // namespace mlh::choir
