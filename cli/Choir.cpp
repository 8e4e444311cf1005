#include "Choir.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "Chords.h"
#include "Errors.h"

namespace {

using AddOnIf = mlh::MalleoTuneHarmonyAddOnIf;

constexpr int32_t kBlock = 4096;  // [frames]
constexpr int32_t kMaxVoices = 4;
constexpr int32_t kManualMode = 3;

// A chord this near to the end of a note is meant for the next one.
constexpr double kChordAnticipation = 0.2;  // [s]
// The library looks for the note that a time lies inside of, so a chord for a note is set just behind its
// start.
constexpr double kInsideNote = 0.001;  // [s]

constexpr int32_t kMiddleC = 60;

// The library takes the tones from the scale, on the chord's root.
AddOnIf::ChordElement ToElement(const TimedChord& chord) {
    const auto time = static_cast<float>(chord.time);
    if (chord.root < 0) return AddOnIf::ChordElement(time);
    const int32_t root = kMiddleC + chord.root;
    const CoreTones tones = ReduceChord(chord.intervals);
    return AddOnIf::ChordElement(time, root, root + tones.third, root + tones.fifth,
                                 tones.seventh < 0 ? -1 : root + tones.seventh);
}

}  // namespace

// The recording as the library pulls it.
class Choir::LeadReader final : public AddOnIf::AudioReader {
  public:
    LeadReader(const Audio& audio, ProgressCallback progress)
        : audio_(audio), progress_(std::move(progress)) {}

    int32_t SetPosition(int32_t frame) override {
        position_ = std::max(frame, 0);
        return 0;
    }
    int32_t Read(float** channels, int32_t frames) override {
        const int32_t present = std::min(frames, audio_.Frames() - position_);
        const int32_t copied = std::max(present, 0);
        for (int32_t c = 0; c < audio_.channels; ++c) {
            if (channels[c] == nullptr) continue;
            const float* in =
                audio_.samples.data() + static_cast<std::ptrdiff_t>(position_) * audio_.channels + c;
            if (audio_.channels == 1) {
                std::copy_n(in, copied, channels[c]);
            } else {
                for (int32_t i = 0; i < copied; ++i)
                    channels[c][i] = in[static_cast<std::ptrdiff_t>(i) * audio_.channels];
            }
            std::fill(channels[c] + copied, channels[c] + frames, 0.0f);
        }
        position_ += present;
        if (progress_) progress_(static_cast<double>(position_) / std::max(audio_.Frames(), 1));
        return present;
    }
    int32_t GetLength() override { return audio_.Frames(); }
    int32_t GetNumChannels() override { return audio_.channels; }
    int32_t GetSampleRate() override { return audio_.sampleRate; }

    void StopProgress() { progress_ = {}; }

  private:
    const Audio& audio_;
    ProgressCallback progress_;
    int32_t position_ = 0;
};

Choir::Choir(const Audio& lead, const ProgressCallback& progress)
    : lead_(lead), reader_(std::make_unique<LeadReader>(lead, progress)) {
    if (AddOnIf::CreateInstance(&addOn_, reader_.get()) != 0 || addOn_->Prepare() != 0) {
        AddOnIf::DestroyInstance(&addOn_);
        throw Failure("the library cannot analyse this recording");
    }
    reader_->StopProgress();
    analysis_ = mlh::GetAnalysis(*addOn_);
}

Choir::~Choir() { AddOnIf::DestroyInstance(&addOn_); }

int32_t Choir::FrameOf(double seconds) const {
    const double frame = std::floor(seconds * lead_.sampleRate + 0.5);
    return static_cast<int32_t>(std::clamp(frame, 0.0, static_cast<double>(lead_.Frames())));
}

// A time in a rest, or at the end of a note, belongs to no note: such a chord is moved into the note that it
// is meant for. Of several chords for the same place the last one counts.
std::vector<TimedChord> Choir::PlaceChords(const std::vector<TimedChord>& chords) const {
    const auto lead = addOn_->GetLeadPitchVector();
    std::vector<TimedChord> placed;
    for (TimedChord chord : chords) {
        if (chord.root < 0 && placed.empty()) continue;  // nothing to hold on to yet
        const auto meant = std::find_if(lead.begin(), lead.end(), [&](const AddOnIf::PitchElement& note) {
            const double length = note.GetDuration();
            const double margin = std::min(kChordAnticipation, 0.5 * length);
            return length > 2 * kInsideNote && note.GetEnd() - margin > chord.time;
        });
        if (meant == lead.end()) break;  // behind the last note
        chord.time = std::max(chord.time, meant->GetStart() + kInsideNote);
        if (placed.empty()) chord.time = std::min(chord.time, meant->GetStart() + kInsideNote);
        if (!placed.empty() && chord.time - placed.back().time < kInsideNote) placed.pop_back();
        placed.push_back(chord);
    }
    return placed;
}

void Choir::SingChords(const ChoirSettings& settings, const std::vector<TimedChord>& chords) {
    voices_ = settings.voices;
    addOn_->SetHarmonyMode(kMaxVoices - settings.voices);
    addOn_->SetSpread(static_cast<float>(settings.spread));
    addOn_->SetVoicesAbove(settings.voicesAbove);
    if (settings.key) addOn_->SetKey(*settings.key);

    chords_ = chords;
    AddOnIf::ChordVector elements;
    for (const TimedChord& chord : PlaceChords(chords)) elements.push_back(ToElement(chord));
    if (!elements.empty()) addOn_->SetChordVector(elements);
    addOn_->Update();
    if (chords_.empty()) chords_ = Chords();
}

void Choir::SingTracks(const std::vector<MidiTrack>& tracks, int voices) {
    voices_ = voices;
    changes_ = DealNotes(tracks, voices);
    manual_ = true;
    addOn_->SetHarmonyMode(kManualMode);
    // Everybody rests until the first note.
    Apply({-1.0, std::vector<double>(static_cast<std::size_t>(voices), -1.0)});
}

void Choir::SingRows(const std::vector<std::vector<int>>& rows, const std::vector<TimedChord>& chords) {
    voices_ = static_cast<int>(rows.size());
    chords_ = chords;
    manual_ = true;
    addOn_->SetHarmonyMode(kManualMode);
    for (int32_t v = 0; v < kMaxVoices; ++v) {
        auto pitches = addOn_->GetVoicePitchVector(v);
        // The first element leads in to the first note, so there is one more of them than notes.
        for (std::size_t i = 0; i < pitches.size(); ++i) {
            const std::size_t note = i == 0 ? 0 : i - 1;
            const bool sings = v < voices_ && note < rows[v].size();
            pitches[i].SetPitch(sings ? static_cast<float>(rows[v][note]) : -1.0f);
        }
        addOn_->SetVoicePitchVector(v, std::move(pitches));
    }
    addOn_->Update();
}

void Choir::Apply(const PitchChange& change) {
    const auto lead = addOn_->GetLeadPitchVector();
    const auto next = std::upper_bound(
        lead.begin(), lead.end(), change.time,
        [](double time, const AddOnIf::PitchElement& note) { return time < note.GetStart(); });
    const auto first = next == lead.begin() ? 0 : next - lead.begin() - 1;
    for (std::size_t v = 0; v < change.pitches.size(); ++v) {
        auto pitches = addOn_->GetVoicePitchVector(static_cast<int32_t>(v));
        for (std::size_t i = static_cast<std::size_t>(first); i < pitches.size(); ++i) {
            pitches[i].SetPitch(static_cast<float>(change.pitches[v]));
        }
        addOn_->SetVoicePitchVector(static_cast<int32_t>(v), std::move(pitches));
    }
    addOn_->Update();
}

std::vector<TimedChord> Choir::Chords() const {
    if (!chords_.empty()) return chords_;
    std::vector<TimedChord> chords;
    if (manual_) return chords;
    for (const mlh::SegmentChord& segment : mlh::GetAnalysis(*addOn_).chords) {
        TimedChord chord;
        chord.intervals = TonesOf({segment.triadType, segment.seventhType});
        if (segment.root < 0 || chord.intervals.empty()) continue;
        chord.time = segment.start;
        chord.root = segment.root % 12;
        chord.bass = chord.root;
        chord.name = ChordSymbol(chord.root, chord.intervals, KeyUsesFlats(key()));
        if (!chords.empty() && chords.back().name == chord.name) continue;
        chords.push_back(std::move(chord));
    }
    return chords;
}

namespace {

// The stretches of a line: cut at each note of the lead, where the pitch is asked for.
template <class PitchAt>
std::vector<TimedNote> CutLine(const std::vector<mlh::Note>& notes, const std::vector<double>& cuts,
                               PitchAt pitchAt) {
    std::vector<TimedNote> line;
    for (const mlh::Note& note : notes) {
        double start = note.start;
        auto cut = std::upper_bound(cuts.begin(), cuts.end(), start);
        while (start < note.end) {
            const double end = cut != cuts.end() && *cut < note.end ? *cut++ : note.end;
            const double pitch = pitchAt(start);
            const bool same =
                !line.empty() && line.back().end == start && line.back().pitch == pitch && start > note.start;
            if (same) {
                line.back().end = end;
            } else if (pitch >= 0.0) {
                line.push_back({start, end, pitch, note.energy});
            }
            start = end;
        }
    }
    return line;
}

std::string NameOf(int voice, const std::vector<TimedNote>& line, const std::vector<mlh::Note>& lead) {
    std::string name = "Voice " + std::to_string(voice + 1);
    double sum = 0.0;
    int count = 0;
    for (const TimedNote& note : line) {
        for (const mlh::Note& sung : lead) {
            if (sung.start > note.start || note.start >= sung.end) continue;
            sum += note.pitch - sung.pitch;
            ++count;
        }
    }
    if (count == 0) return name + " (silent)";
    const double mean = sum / count;
    if (mean > 0.75) return name + " (above)";
    if (mean < -0.75) return name + " (below)";
    return name + " (melody)";
}

}  // namespace

std::vector<VoiceLine> Choir::Lines() const {
    const bool byTime = !changes_.empty();
    std::vector<VoiceLine> lines;
    for (int v = 0; v < voices_; ++v) {
        const auto pitches = addOn_->GetVoicePitchVector(v);
        std::vector<double> cuts;
        if (byTime) {
            for (const PitchChange& change : changes_) cuts.push_back(change.time);
        } else {
            for (const auto& element : pitches) cuts.push_back(element.GetStart());
        }
        const auto pitchAt = [&](double time) -> double {
            const auto next = std::upper_bound(cuts.begin(), cuts.end(), time + 1e-4);
            if (next == cuts.begin()) return -1.0;
            const auto index = static_cast<std::size_t>(next - cuts.begin() - 1);
            return byTime ? changes_[index].pitches[static_cast<std::size_t>(v)] : pitches[index].GetPitch();
        };
        VoiceLine line;
        line.notes = CutLine(analysis_.notes, cuts, pitchAt);
        line.name = NameOf(v, line.notes, analysis_.notes);
        lines.push_back(std::move(line));
    }
    return lines;
}

void Choir::Render(const BlockCallback& block, const ProgressCallback& progress) {
    const int32_t frames = lead_.Frames();
    const int32_t rows = (1 + kMaxVoices) * lead_.channels;
    std::vector<float> scratch(static_cast<std::size_t>(rows) * kBlock);
    std::vector<float*> pointers;
    for (int32_t r = 0; r < rows; ++r)
        pointers.push_back(scratch.data() + static_cast<std::ptrdiff_t>(r) * kBlock);

    auto change = changes_.begin();
    for (int32_t first = 0; first < frames;) {
        int32_t count = std::min(kBlock, frames - first);
        for (; change != changes_.end(); ++change) {
            const int32_t at = FrameOf(change->time);
            if (at > first) {
                count = std::min(count, at - first);
                break;
            }
            Apply(*change);
        }
        reader_->SetPosition(first);
        reader_->Read(pointers.data(), count);
        addOn_->Process(pointers.data() + lead_.channels, count);
        block(pointers.data(), first, count);
        first += count;
        if (progress) progress(static_cast<double>(first) / frames);
    }
}

namespace {

struct NoteEvent {
    double time;
    bool starts;
    std::size_t track;
    std::size_t note;
};

// Ends before starts, and higher notes first.
std::vector<NoteEvent> EventsOf(const std::vector<MidiTrack>& tracks) {
    std::vector<NoteEvent> events;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        for (std::size_t n = 0; n < tracks[t].notes.size(); ++n) {
            events.push_back({tracks[t].notes[n].start, true, t, n});
            events.push_back({tracks[t].notes[n].end, false, t, n});
        }
    }
    std::stable_sort(events.begin(), events.end(), [&](const NoteEvent& a, const NoteEvent& b) {
        if (a.time != b.time) return a.time < b.time;
        if (a.starts != b.starts) return b.starts;
        return tracks[a.track].notes[a.note].pitch > tracks[b.track].notes[b.note].pitch;
    });
    return events;
}

}  // namespace

std::vector<PitchChange> DealNotes(const std::vector<MidiTrack>& tracks, int voices) {
    const auto count = static_cast<std::size_t>(voices);
    const bool lone = tracks.size() == 1;
    // The notes that each voice holds, the one that sounds last.
    std::vector<std::vector<std::size_t>> held(count);
    std::vector<PitchChange> changes;
    for (const NoteEvent& event : EventsOf(tracks)) {
        if (!lone && event.track >= count) continue;
        if (event.starts) {
            std::size_t voice = event.track;
            if (lone) {
                const auto free =
                    std::find_if(held.begin(), held.end(), [](const auto& h) { return h.empty(); });
                if (free == held.end()) continue;
                voice = static_cast<std::size_t>(free - held.begin());
            }
            held[voice].push_back(event.note);
        } else {
            for (std::size_t v = 0; v < count; ++v) {
                if (lone || v == event.track) std::erase(held[v], event.note);
            }
        }
        if (changes.empty() || changes.back().time != event.time) {
            changes.push_back({event.time, std::vector<double>(count, -1.0)});
        }
        for (std::size_t v = 0; v < count; ++v) {
            const auto& track = tracks[lone ? 0 : std::min(v, tracks.size() - 1)];
            changes.back().pitches[v] = held[v].empty() ? -1.0 : track.notes[held[v].back()].pitch;
        }
    }
    return changes;
}

int CountVoices(const std::vector<MidiTrack>& tracks) {
    if (tracks.size() != 1) return std::clamp(static_cast<int>(tracks.size()), 1, kMaxVoices);
    std::ptrdiff_t most = 1;
    for (const PitchChange& change : DealNotes(tracks, kMaxVoices)) {
        most = std::max(most, std::count_if(change.pitches.begin(), change.pitches.end(),
                                            [](double pitch) { return pitch >= 0.0; }));
    }
    return static_cast<int>(most);
}
