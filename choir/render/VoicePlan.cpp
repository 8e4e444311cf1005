#include "choir/render/VoicePlan.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

namespace {

constexpr double kLeastPace = 0.3;     // target over source time
constexpr double kShortest = 0.004;    // [s] of a segment
constexpr double kConsonant = 0.12;    // [s] before an onset that move with it
constexpr double kTail = 0.05;         // [s] after a release that move with it
constexpr double kRamp = 0.012;        // [s] to each side of a border between levels
constexpr double kChordGlide = 0.035;  // [s] to each side where a chord cuts a note
constexpr float kDriftGlide = 0.3f;    // share of a stretch over which its pitch comes from the one before
constexpr double kLongGap = 0.5;       // [s] from which a voice falls silent between phrases
constexpr double kRelease = 0.15;      // [s] that it takes for it
constexpr double kGoesOn = 0.5;        // [s] that a voice may sound after its note
constexpr double kTouching = 1e-6;     // [s]

double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }

// Notes that neither overlap nor end before they start.
std::vector<VoiceNote> InOrder(const std::vector<VoiceNote>& notes, double seconds) {
    std::vector<VoiceNote> ordered = notes;
    double last = 0.0;
    for (VoiceNote& note : ordered) {
        note.start = std::clamp(note.start, last, seconds);
        note.end = std::clamp(note.end, note.start, seconds);
        last = note.start;
    }
    for (std::size_t i = 0; i + 1 < ordered.size(); ++i) {
        ordered[i].end = std::min(ordered[i].end, ordered[i + 1].start);
    }
    return ordered;
}

NoteManner MannerOf(const VoiceOrder& order, std::size_t i) {
    return i < order.manners.size() ? order.manners[i] : NoteManner{};
}

bool Sounds(const VoiceNote& note, const std::vector<LeadNote>& lead) {
    return note.note >= 0 && note.lead >= 0 && static_cast<std::size_t>(note.lead) < lead.size() &&
           note.end > note.start;
}

// The map from the recording's time to the voice's.
class TimeMap {
  public:
    TimeMap() { pairs_.push_back({0.0, 0.0}); }

    void Add(double source, double target) {
        TimePair& last = pairs_.back();
        if (source <= last.source + kTouching) {
            return;
        }
        const double least = last.target + kLeastPace * (source - last.source);
        pairs_.push_back({source, std::max(target, least)});
    }
    std::vector<TimePair> Take() { return std::move(pairs_); }

  private:
    std::vector<TimePair> pairs_;
};

std::vector<TimePair> MapTimes(const VoiceOrder& order, const std::vector<VoiceNote>& notes, double seconds) {
    TimeMap map;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const VoiceNote& note = notes[i];
        const NoteManner manner = MannerOf(order, i);
        const double before = i > 0 ? notes[i - 1].end : 0.0;
        const double gap = note.start - before;
        if (gap > 2.0 * kShortest) {
            const double consonant = note.start - std::min(kConsonant, 0.5 * gap);
            map.Add(consonant, consonant + manner.onset);
        }
        map.Add(note.start, note.start + manner.onset);
        const double length = note.end - note.start;
        for (std::size_t k = 0; k < manner.inside.size(); ++k) {
            const double time = note.start + length * static_cast<double>(k + 1) /
                                                 static_cast<double>(manner.inside.size() + 1);
            map.Add(time, time + manner.inside[k]);
        }
        map.Add(note.end, note.end + manner.release);
        const double after = (i + 1 < notes.size() ? notes[i + 1].start : seconds) - note.end;
        if (after > 4.0 * kShortest) {
            const double tail = note.end + std::min(kTail, 0.25 * after);
            map.Add(tail, tail + manner.release);
        }
    }
    map.Add(seconds, seconds);
    return map.Take();
}

// Where one note's part of the recording ends and the next one's begins: at the onset, or where the voice
// comes in before it.
std::vector<double> Borders(const std::vector<VoiceNote>& notes, const std::vector<Unvoiced>& unvoiced) {
    std::vector<double> borders;
    std::size_t k = 0;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double gapStart = i > 0 ? notes[i - 1].end : 0.0;
        double border = i > 0 ? notes[i].start : 0.0;
        while (k < unvoiced.size() && unvoiced[k].end <= gapStart) {
            ++k;
        }
        for (std::size_t j = k; j < unvoiced.size() && unvoiced[j].start < notes[i].start; ++j) {
            border = std::min(unvoiced[j].end, notes[i].start);
        }
        borders.push_back(border);
    }
    return borders;
}

// How far the pitch has wandered inside a note, at a time of the recording. [semitones]
double DriftAt(const VoiceNote& note, const NoteManner& manner, double time) {
    if (manner.drift.empty() || !(note.end > note.start)) {
        return 0.0;
    }
    const auto count = static_cast<double>(manner.drift.size());
    const double place = std::clamp(count * (time - note.start) / (note.end - note.start), 0.0, count - 1.0);
    return manner.drift[static_cast<std::size_t>(place)];
}

struct Cut {
    double time;
    int rank;  // the lower one stays where two are too near
};

// Cuts in the order of time, none nearer to another than the shortest segment.
std::vector<double> Thin(std::vector<Cut> cuts, double seconds) {
    std::stable_sort(cuts.begin(), cuts.end(), [](const Cut& a, const Cut& b) { return a.time < b.time; });
    std::vector<Cut> kept{{0.0, 0}};
    for (const Cut& cut : cuts) {
        if (cut.time < kShortest || cut.time > seconds - kShortest) {
            continue;
        }
        if (cut.time - kept.back().time >= kShortest) {
            kept.push_back(cut);
        } else if (cut.rank < kept.back().rank) {
            kept.back() = cut;
            while (kept.size() > 1 && kept.back().time - kept[kept.size() - 2].time < kShortest) {
                kept.erase(kept.end() - (kept[kept.size() - 2].rank > cut.rank && kept.size() > 2 ? 2 : 1));
            }
        }
    }
    std::vector<double> times;
    for (const Cut& cut : kept) {
        times.push_back(cut.time);
    }
    times.push_back(seconds);
    return times;
}

}  // namespace

double GainAt(const std::vector<GainPoint>& curve, double time) {
    if (curve.empty()) {
        return 1.0;
    }
    const auto after = std::upper_bound(curve.begin(), curve.end(), time,
                                        [](double t, const GainPoint& point) { return t < point.time; });
    if (after == curve.begin()) {
        return curve.front().gain;
    }
    if (after == curve.end()) {
        return curve.back().gain;
    }
    const GainPoint& a = *(after - 1);
    const GainPoint& b = *after;
    return a.gain + (b.gain - a.gain) * (time - a.time) / (b.time - a.time);
}

double TargetOf(const std::vector<TimePair>& times, double source) {
    const auto after = std::upper_bound(times.begin(), times.end(), source,
                                        [](double t, const TimePair& pair) { return t < pair.source; });
    if (after == times.begin()) {
        return source;
    }
    const TimePair& a = *(after - 1);
    if (after == times.end()) {
        return a.target + (source - a.source);
    }
    const TimePair& b = *after;
    return a.target + (b.target - a.target) * (source - a.source) / (b.source - a.source);
}

double SourceOf(const std::vector<TimePair>& times, double target) {
    const auto after = std::upper_bound(times.begin(), times.end(), target,
                                        [](double t, const TimePair& pair) { return t < pair.target; });
    if (after == times.begin()) {
        return target;
    }
    const TimePair& a = *(after - 1);
    if (after == times.end()) {
        return a.source + (target - a.target);
    }
    const TimePair& b = *after;
    return a.source + (b.source - a.source) * (target - a.target) / (b.target - a.target);
}

VoicePlan PlanVoice(const VoiceOrder& order, const std::vector<LeadNote>& lead,
                    const std::vector<Unvoiced>& unvoiced, const std::vector<double>& evening,
                    double seconds) {
    VoicePlan plan;
    const auto notes = InOrder(order.notes, seconds);
    plan.times = MapTimes(order, notes, seconds);
    const auto borders = Borders(notes, unvoiced);

    std::vector<Cut> cuts;
    for (const double border : borders) {
        cuts.push_back({border, 0});
    }
    for (const Unvoiced& stretch : unvoiced) {
        cuts.push_back({stretch.start, 1});
        cuts.push_back({stretch.end, 1});
    }
    for (const TimePair& pair : plan.times) {
        cuts.push_back({pair.source, 2});
    }
    const auto times = Thin(cuts, seconds);

    std::size_t owner = 0, hiss = 0;
    double offset = 0.0;  // of the note that sounded last; before the first, of the first
    for (std::size_t i = 0; i < notes.size(); ++i) {
        if (!Sounds(notes[i], lead)) {
            continue;
        }
        const LeadNote& sung = lead[static_cast<std::size_t>(notes[i].lead)];
        offset = notes[i].pitch + MannerOf(order, i).detune - sung.sung.pitch;
        break;
    }
    double markPitch = 60.0;
    std::size_t lastOwner = notes.size();
    bool lastCopied = true;
    double target = TargetOf(plan.times, 0.0);
    for (std::size_t k = 0; k + 1 < times.size(); ++k) {
        const double start = times[k], end = times[k + 1];
        const double middle = 0.5 * (start + end);
        while (owner + 1 < notes.size() && borders[owner + 1] <= middle) {
            ++owner;
        }
        while (hiss < unvoiced.size() && unvoiced[hiss].end <= middle) {
            ++hiss;
        }
        const bool copied = notes.empty() || (hiss < unvoiced.size() && unvoiced[hiss].start <= middle);

        VoiceSegment segment;
        segment.sourceStart = start;
        segment.sourceEnd = end;
        segment.targetStart = target;
        target = TargetOf(plan.times, end);
        segment.targetEnd = target;
        segment.glideInShare = segment.glideOutShare = 0.0f;
        if (!copied) {
            const VoiceNote& note = notes[owner];
            const NoteManner manner = MannerOf(order, owner);
            const bool sounds = Sounds(note, lead);
            if (sounds) {
                const LeadNote& sung = lead[static_cast<std::size_t>(note.lead)];
                offset = note.pitch + manner.detune - sung.sung.pitch;
                markPitch = sung.markPitch;
            }
            segment.detectedPitch = static_cast<float>(markPitch);
            segment.targetPitch =
                static_cast<float>(markPitch + offset + (sounds ? DriftAt(note, manner, middle) : 0.0));
            segment.modulationKeep = static_cast<float>(sounds ? order.vibrato * manner.vibrato : 1.0);
            segment.formantShift = static_cast<float>(order.formant + manner.formant);
            const double length = segment.targetEnd - segment.targetStart;
            const auto chordGlide =
                static_cast<float>(std::min(0.5, order.glide * kChordGlide / std::max(length, kShortest)));
            // At its borders with other notes a note glides as the singer does; where a chord cuts it,
            // shortly.
            const bool first = owner != lastOwner;
            if (first && owner > 0 && Sounds(notes[owner - 1], lead) && sounds) {
                segment.glideInShare =
                    notes[owner - 1].lead == note.lead ? chordGlide : VoiceSegment::kMeasured;
            }
            const bool last = owner + 1 < notes.size() && end >= borders[owner + 1] - kTouching;
            if (last && sounds && Sounds(notes[owner + 1], lead)) {
                segment.glideOutShare =
                    notes[owner + 1].lead == note.lead ? chordGlide : VoiceSegment::kMeasured;
            }
            if (!first && !plan.segments.empty() && !lastCopied &&
                plan.segments.back().targetPitch != segment.targetPitch) {
                plan.segments.back().glideOutShare =
                    std::max(plan.segments.back().glideOutShare, kDriftGlide);
                segment.glideInShare = kDriftGlide;
            }
            lastOwner = owner;
        }
        lastCopied = copied;
        plan.segments.push_back(segment);
    }

    // A voice that goes on after its note's end stays as loud until it stops.
    std::size_t next = 0;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double most =
            std::min(i + 1 < notes.size() ? notes[i + 1].start : seconds, notes[i].end + kGoesOn);
        while (next < unvoiced.size() && unvoiced[next].end <= notes[i].end) {
            ++next;
        }
        const double stops = next < unvoiced.size() ? std::max(unvoiced[next].start, notes[i].end) : seconds;
        VoicePlan::Stretch stretch;
        stretch.start = TargetOf(plan.times, notes[i].start);
        stretch.end = TargetOf(plan.times, std::min(stops, most));
        stretch.sounds = Sounds(notes[i], lead);
        if (stretch.sounds) {
            const NoteManner manner = MannerOf(order, i);
            const double sung = lead[static_cast<std::size_t>(notes[i].lead)].sung.pitch;
            stretch.moved = notes[i].pitch + manner.detune - sung;
            stretch.reshaped = order.formant + manner.formant;
        }
        plan.notes.push_back(stretch);
    }
    plan.level = PlanLevel(order, plan, evening);
    std::size_t nextNote = 0;
    for (const Unvoiced& stretch : unvoiced) {
        // A consonant belongs to the note that it leads into, or is in.
        const double middle = 0.5 * (stretch.start + stretch.end);
        while (nextNote < notes.size() && notes[nextNote].end <= middle) {
            ++nextNote;
        }
        const double gain = order.consonants * FromDecibels(MannerOf(order, nextNote).consonant);
        const double start = TargetOf(plan.times, stretch.start), end = TargetOf(plan.times, stretch.end);
        const double ramp = std::min(kRamp, 0.25 * (end - start));
        if (gain == 1.0 || (!plan.consonants.empty() && start <= plan.consonants.back().time)) {
            continue;
        }
        plan.consonants.push_back({start, 1.0});
        plan.consonants.push_back({start + ramp, gain});
        plan.consonants.push_back({end - ramp, gain});
        plan.consonants.push_back({end, 1.0});
    }
    return plan;
}

std::vector<GainPoint> PlanLevel(const VoiceOrder& order, const VoicePlan& plan,
                                 const std::vector<double>& evening) {
    std::vector<GainPoint> level;
    const auto add = [&](double time, double gain) {
        if (!level.empty() && time <= level.back().time) {
            time = level.back().time + 1e-6;
        }
        level.push_back({time, gain});
    };
    bool sounded = false;
    double end = 0.0, gain = 0.0;  // of the note before
    for (std::size_t i = 0; i < plan.notes.size(); ++i) {
        const VoicePlan::Stretch& note = plan.notes[i];
        if (!note.sounds) {
            continue;
        }
        const NoteManner manner = MannerOf(order, i);
        const double own = order.notes[i].level * (i < evening.size() ? evening[i] : 1.0);
        const double startGain = own * FromDecibels(manner.levelAtStart);
        const double gap = note.start - end;
        // Rests lie between, or a pause: the voice is gone and comes back with the consonant.
        const bool rested = sounded && i > 0 && !plan.notes[i - 1].sounds;
        if (!sounded || rested || gap > kLongGap) {
            const bool cut = rested && plan.notes[i - 1].start - end < kRelease;
            if (sounded) {
                add(end, gain);
                add(end + (cut ? 2.0 * kRamp : std::min(kRelease, 0.45 * gap)), 0.0);
            }
            // Out of a rest that the lead sings through it comes in where its note starts: what lies before
            // has another pitch.
            if (rested && note.start - plan.notes[i - 1].end < kConsonant) {
                add(note.start, 0.0);
                add(note.start + 2.0 * kRamp, startGain);
            } else {
                const double rise = std::min(kConsonant + 2.0 * kRamp, 0.45 * gap);
                const double start = note.start - rise;
                add(start, sounded || start > 0.0 ? 0.0 : startGain);
                add(std::min(start + 2.0 * kRamp, note.start), startGain);
            }
        }
        const double inset = std::min(0.01, 0.2 * (note.end - note.start));
        if (level.empty() || level.back().time < note.start + inset) {
            add(note.start + inset, startGain);
        }
        const auto points = static_cast<double>(manner.levelsInside.size());
        for (std::size_t k = 0; k < manner.levelsInside.size(); ++k) {
            const double place = static_cast<double>(k + 1) / (points + 1.0);
            add(note.start + place * (note.end - note.start), own * FromDecibels(manner.levelsInside[k]));
        }
        gain = own * FromDecibels(manner.levelAtEnd);
        add(note.end - inset, gain);
        end = note.end;
        sounded = true;
    }
    if (!sounded) {
        return {{0.0, 0.0}};
    }
    // A rest follows, or the end.
    bool rests = false;
    for (std::size_t i = plan.notes.size(); i-- > 0 && !plan.notes[i].sounds;) {
        rests = true;
    }
    add(end + 0.01, gain);
    add(end + (rests ? 2.0 * kRamp : kRelease + kConsonant), 0.0);
    return level;
}

}  // namespace mlh::choir
