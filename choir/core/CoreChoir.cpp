#include "choir/core/CoreChoir.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "base/Numbering.h"
#include "choir/chords/CoreTones.h"
#include "choir/chords/Placement.h"
#include "choir/score/Music.h"

namespace mlh::choir {

namespace {

using AddOnIf = MalleoTuneHarmonyAddOnIf;

constexpr int32_t kManualMode = NumberOf(AddOnMode::Manual);
constexpr int32_t kMiddleC = 60;

// The library takes the tones from the scale, on the chord's root.
AddOnIf::ChordElement ToElement(const TimedChord& chord) {
    const auto time = static_cast<float>(chord.time);
    if (chord.chord.root < 0) {
        return AddOnIf::ChordElement(time);
    }
    const int32_t root = kMiddleC + chord.chord.root;
    const CoreTones tones = ReduceChord(chord.chord.intervals);
    return AddOnIf::ChordElement(time, root, root + tones.third, root + tones.fifth,
                                 tones.seventh < 0 ? -1 : root + tones.seventh);
}

}  // namespace

CoreChoir::CoreChoir(Take& take, const ProgressCallback& progress)
    : take_(take), addOn_(take.ReleaseAddOn(progress)) {}

int32_t CoreChoir::FrameOf(double seconds) const {
    const double frame = std::floor(seconds * take_.audio().sampleRate + 0.5);
    return static_cast<int32_t>(std::clamp(frame, 0.0, static_cast<double>(take_.audio().frames)));
}

void CoreChoir::SingChords(const CoreSettings& settings, const std::vector<TimedChord>& chords) {
    voices_ = settings.voices;
    addOn()->SetHarmonyMode(NumberOf(ModeOfVoices(settings.voices)));
    addOn()->SetSpread(static_cast<float>(settings.spread));
    addOn()->SetVoicesAbove(settings.voicesAbove);
    if (settings.key) {
        addOn()->SetKey(*settings.key);
    }

    chords_ = chords;
    AddOnIf::ChordVector elements;
    for (const TimedChord& chord : PlaceChords(addOn()->GetLeadPitchVector(), chords)) {
        elements.push_back(ToElement(chord));
    }
    if (!elements.empty()) {
        addOn()->SetChordVector(elements);
    }
    addOn()->Update();
    if (chords_.empty()) {
        chords_ = Chords();
    }
}

void CoreChoir::SingTracks(const std::vector<NoteLine>& tracks, int voices) {
    voices_ = voices;
    changes_ = DealNotes(tracks, voices);
    manual_ = true;
    addOn()->SetHarmonyMode(kManualMode);
    // Everybody rests until the first note.
    Apply({-1.0, std::vector<double>(static_cast<std::size_t>(voices), -1.0)});
}

void CoreChoir::SingRows(const std::vector<std::vector<int>>& rows, const std::vector<TimedChord>& chords) {
    voices_ = static_cast<int>(rows.size());
    chords_ = chords;
    manual_ = true;
    addOn()->SetHarmonyMode(kManualMode);
    for (int32_t v = 0; v < kVoiceCount; ++v) {
        auto pitches = addOn()->GetVoicePitchVector(v);
        // The first element leads in to the first note, so there is one more of them than notes.
        for (std::size_t i = 0; i < pitches.size(); ++i) {
            const std::size_t note = i == 0 ? 0 : i - 1;
            const bool sings = v < voices_ && note < rows[v].size();
            pitches[i].SetPitch(sings ? static_cast<float>(rows[v][note]) : -1.0f);
        }
        addOn()->SetVoicePitchVector(v, std::move(pitches));
    }
    addOn()->Update();
}

void CoreChoir::Apply(const PitchChange& change) {
    const auto lead = addOn()->GetLeadPitchVector();
    const auto next = std::upper_bound(
        lead.begin(), lead.end(), change.time,
        [](double time, const AddOnIf::PitchElement& note) { return time < note.GetStart(); });
    const auto first = next == lead.begin() ? 0 : next - lead.begin() - 1;
    for (std::size_t v = 0; v < change.pitches.size(); ++v) {
        auto pitches = addOn()->GetVoicePitchVector(static_cast<int32_t>(v));
        for (std::size_t i = static_cast<std::size_t>(first); i < pitches.size(); ++i) {
            pitches[i].SetPitch(static_cast<float>(change.pitches[v]));
        }
        addOn()->SetVoicePitchVector(static_cast<int32_t>(v), std::move(pitches));
    }
    addOn()->Update();
}

std::vector<TimedChord> CoreChoir::Chords() const {
    if (!chords_.empty()) {
        return chords_;
    }
    std::vector<TimedChord> chords;
    if (manual_) {
        return chords;
    }
    for (const mlh::SegmentChord& segment : GetAnalysis(*addOn()).chords) {
        Chord chord;
        chord.intervals = TonesOf({segment.triadType, segment.seventhType});
        if (segment.root < 0 || chord.intervals.empty()) {
            continue;
        }
        chord.root = segment.root % 12;
        chord.bass = chord.root;
        chord.name = ChordName(chord.root, chord.intervals, -1, KeyUsesFlats(key()));
        if (!chords.empty() && chords.back().chord.name == chord.name) {
            continue;
        }
        chords.push_back({segment.start, std::move(chord)});
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
            if (sung.start > note.start || note.start >= sung.end) {
                continue;
            }
            sum += note.pitch - sung.pitch;
            ++count;
        }
    }
    if (count == 0) {
        return name + " (silent)";
    }
    const double mean = sum / count;
    if (mean > 0.75) {
        return name + " (above)";
    }
    if (mean < -0.75) {
        return name + " (below)";
    }
    return name + " (melody)";
}

}  // namespace

std::vector<NoteLine> CoreChoir::Lines() const {
    const bool byTime = !changes_.empty();
    std::vector<NoteLine> lines;
    for (int v = 0; v < voices_; ++v) {
        const auto pitches = addOn()->GetVoicePitchVector(v);
        std::vector<double> cuts;
        if (byTime) {
            for (const PitchChange& change : changes_) {
                cuts.push_back(change.time);
            }
        } else {
            for (const auto& element : pitches) {
                cuts.push_back(element.GetStart());
            }
        }
        const auto pitchAt = [&](double time) -> double {
            const auto next = std::upper_bound(cuts.begin(), cuts.end(), time + 1e-4);
            if (next == cuts.begin()) {
                return -1.0;
            }
            const auto index = static_cast<std::size_t>(next - cuts.begin() - 1);
            return byTime ? changes_[index].pitches[static_cast<std::size_t>(v)] : pitches[index].GetPitch();
        };
        NoteLine line;
        line.notes = CutLine(take_.analysis().notes, cuts, pitchAt);
        line.name = NameOf(v, line.notes, take_.analysis().notes);
        lines.push_back(std::move(line));
    }
    return lines;
}

void CoreChoir::MoveTo(int32_t first) {
    addOn()->SetPosition(static_cast<double>(first) / take_.audio().sampleRate);
    if (!changes_.empty()) {
        change_ = 0;
        Apply({-1.0, std::vector<double>(static_cast<std::size_t>(voices_), -1.0)});
    }
    next_ = first;
}

void CoreChoir::Render(int32_t first, int32_t count, float* const* rows) {
    if (first != next_) {
        MoveTo(first);
    }
    const auto sung = static_cast<std::size_t>(voices_) * static_cast<std::size_t>(take_.audio().channels);
    std::vector<float*> pointers(static_cast<std::size_t>(kVoiceCount) *
                                 static_cast<std::size_t>(take_.audio().channels));
    unused_.resize((pointers.size() - sung) * static_cast<std::size_t>(count));
    for (std::size_t r = sung; r < pointers.size(); ++r) {
        pointers[r] = unused_.data() + (r - sung) * static_cast<std::size_t>(count);
    }
    for (int32_t done = 0; done < count;) {
        int32_t frames = count - done;
        for (; change_ < changes_.size(); ++change_) {
            const int32_t at = FrameOf(changes_[change_].time);
            if (at > next_) {
                frames = std::min(frames, at - next_);
                break;
            }
            Apply(changes_[change_]);
        }
        for (std::size_t r = 0; r < sung; ++r) {
            pointers[r] = rows[r] + done;
        }
        addOn()->Process(pointers.data(), frames);
        done += frames;
        next_ += frames;
    }
}

}  // namespace mlh::choir
