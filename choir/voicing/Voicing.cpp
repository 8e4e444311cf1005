#include "choir/voicing/Voicing.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

#include "choir/voicing/VoicingPrices.h"

namespace mlh::choir {

namespace {

// The voices of a setting from the top down; unused entries are kRest.
using Notes = std::array<int, kMaxHarmonyVoices>;

// All sounding lines from the top down, the lead among them.
struct Lines {
    std::array<int, kMaxHarmonyVoices + 1> notes{};
    int count = 0;
};

struct Setting {
    Notes notes{};
    Lines lines;
    int32_t price = 0;
};

int PitchClassOf(int note) { return ((note % 12) + 12) % 12; }

// Semitones between two notes as a distance of pitch classes upwards, 0 to 11.
int ClassDistance(int note, int other) { return PitchClassOf(note - other); }

const VoicingTone* FindTone(const VoicingChord& chord, int note) {
    for (const VoicingTone& tone : chord.tones) {
        if (tone.pitchClass == PitchClassOf(note)) {
            return &tone;
        }
    }
    return nullptr;
}

// Prices the settings of one stretch.
class Settings {
  public:
    Settings(const VoicingChord& chord, int lead, Length length, const VoicingSettings& settings)
        : chord_(chord),
          lead_(lead),
          length_(length),
          settings_(settings),
          prices_(PricesOf(settings.manner)),
          voices_(settings.above + settings.below),
          leadBelongs_(FindTone(chord, lead) != nullptr),
          wanted_(prices_.closest + prices_.widening * settings.spread) {}

    // The cheapest settings, in rising order of price; equal ones from low to high notes.
    std::vector<Setting> List() const {
        std::vector<Setting> all;
        std::array<std::vector<int>, kMaxHarmonyVoices> candidates;
        for (int v = 0; v < voices_; ++v) {
            candidates[v] = Candidates(v);
        }
        Setting setting;
        setting.notes.fill(kRest);
        Extend(candidates, 0, setting, all);
        if (all.empty()) {
            all.push_back(Nearest(candidates));
        }
        const auto cheaper = [](const Setting& a, const Setting& b) {
            return std::tie(a.price, a.notes) < std::tie(b.price, b.notes);
        };
        const std::size_t kept = std::min<std::size_t>(all.size(), kKeptSettings);
        std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(kept), all.end(), cheaper);
        all.resize(kept);
        return all;
    }

  private:
    bool IsAbove(int voice) const { return voice < settings_.above; }

    // Tones of the chord for a voice on its side of the lead, and the lead's own where it is foreign to the
    // chord.
    std::vector<int> Candidates(int voice) const {
        const PitchRange& range = settings_.ranges[voice];
        const int nearest = IsAbove(voice) ? lead_ + 1 : lead_ - 1;
        const int farthest = IsAbove(voice) ? lead_ + prices_.reachAbove : lead_ - prices_.reachBelow;
        const int low = std::max(range.low, std::min(nearest, farthest));
        const int high = std::min(range.high, std::max(nearest, farthest));
        std::vector<int> notes;
        for (int note = low; note <= high; ++note) {
            if (FindTone(chord_, note) != nullptr || (!leadBelongs_ && ClassDistance(note, lead_) == 0)) {
                notes.push_back(note);
            }
        }
        if (notes.empty()) {
            notes = NearestTones(range);
        }
        return notes;
    }

    // For a range that lies on the wrong side of the lead or is too narrow: the chord's tones in it nearest
    // to the lead, else the nearest ones outside of it.
    std::vector<int> NearestTones(const PitchRange& range) const {
        std::vector<int> notes;
        const int middle = std::clamp(lead_, range.low, std::max(range.low, range.high));
        for (const int reach : {127, 12}) {
            for (int distance = 0; distance <= reach && notes.size() < 3; ++distance) {
                for (const int note : {middle - distance, middle + distance}) {
                    const bool held = reach == 12 || (note >= range.low && note <= range.high);
                    if (held && FindTone(chord_, note) != nullptr) {
                        notes.push_back(note);
                    }
                }
            }
            if (!notes.empty()) {
                break;
            }
        }
        std::sort(notes.begin(), notes.end());
        notes.erase(std::unique(notes.begin(), notes.end()), notes.end());
        return notes;
    }

    void Extend(const std::array<std::vector<int>, kMaxHarmonyVoices>& candidates, int voice,
                Setting& setting, std::vector<Setting>& all) const {
        if (voice == voices_) {
            setting.lines = LinesOf(setting.notes);
            setting.price = Price(setting);
            all.push_back(setting);
            return;
        }
        for (const int note : candidates[voice]) {
            if (voice > 0 && note > setting.notes[voice - 1]) {
                continue;  // voices do not cross
            }
            setting.notes[voice] = note;
            Extend(candidates, voice + 1, setting, all);
        }
        setting.notes[voice] = kRest;
    }

    // Where ranges leave no setting in order, each voice takes its candidate nearest to the lead.
    Setting Nearest(const std::array<std::vector<int>, kMaxHarmonyVoices>& candidates) const {
        Setting setting;
        setting.notes.fill(kRest);
        for (int v = 0; v < voices_; ++v) {
            for (const int note : candidates[v]) {
                const bool nearer =
                    setting.notes[v] == kRest || std::abs(note - lead_) < std::abs(setting.notes[v] - lead_);
                if (nearer) {
                    setting.notes[v] = note;
                }
            }
        }
        setting.lines = LinesOf(setting.notes);
        setting.price = Price(setting);
        return setting;
    }

    Lines LinesOf(const Notes& notes) const {
        Lines lines;
        for (int v = 0; v <= voices_; ++v) {
            if (v == settings_.above) {
                lines.notes[lines.count++] = lead_;
            }
            if (v < voices_ && notes[v] != kRest) {
                lines.notes[lines.count++] = notes[v];
            }
        }
        return lines;
    }

    int32_t Price(const Setting& setting) const {
        return Friction(setting) + MissingTones(setting.lines) + Doublings(setting.lines) +
               Spacing(setting.lines) + Reach(setting) + Bass(setting.lines);
    }

    // What rubs against the melody, and semitones between neighbours.
    int32_t Friction(const Setting& setting) const {
        int32_t price = 0;
        for (int v = 0; v < voices_; ++v) {
            const int note = setting.notes[v];
            if (note == kRest) {
                continue;
            }
            if (!leadBelongs_ && Rubs(note, lead_)) {
                price += prices_.rub[static_cast<int>(length_)];
            }
            if (!leadBelongs_ && ClassDistance(note, lead_) == 0) {
                price += prices_.foreignDoubled;
            }
        }
        for (int k = 0; k + 1 < setting.lines.count; ++k) {
            const int distance = std::abs(setting.lines.notes[k] - setting.lines.notes[k + 1]);
            price += distance == 1 ? prices_.semitone : distance == 2 ? prices_.wholeTone : 0;
            price += distance == 0 ? prices_.unison : 0;
        }
        for (int a = 0; a < setting.lines.count; ++a) {
            for (int b = a + 1; b < setting.lines.count; ++b) {
                price += setting.lines.notes[a] - setting.lines.notes[b] == 13 ? prices_.minorNinth : 0;
            }
        }
        return price;
    }

    int CountOf(const Lines& lines, int pitchClass) const {
        int count = 0;
        for (int k = 0; k < lines.count; ++k) {
            count += PitchClassOf(lines.notes[k]) == pitchClass ? 1 : 0;
        }
        return count;
    }

    int32_t MissingTones(const Lines& lines) const {
        int32_t price = 0;
        for (const VoicingTone& tone : chord_.tones) {
            if (CountOf(lines, tone.pitchClass) == 0) {
                price += prices_.missing[static_cast<int>(tone.role)];
            }
        }
        return price;
    }

    int32_t Doublings(const Lines& lines) const {
        int32_t price = 0;
        for (const VoicingTone& tone : chord_.tones) {
            const int count = CountOf(lines, tone.pitchClass);
            if (count > 1) {
                price += prices_.doubled[static_cast<int>(tone.role)] * (count - 1);
            }
            if (count > 2) {
                price += prices_.tripled * (count - 2);
            }
        }
        return price;
    }

    int32_t Spacing(const Lines& lines) const {
        int32_t price = 0;
        for (int k = 0; k + 1 < lines.count; ++k) {
            const int distance = lines.notes[k] - lines.notes[k + 1];
            const bool lowest = k + 2 == lines.count && lines.count > 2;
            const double off = std::max(std::abs(distance - wanted_) - prices_.tolerance, 0.0);
            price += static_cast<int32_t>(prices_.spacing * (lowest ? std::max(off - 3.0, 0.0) : off));
            const int most = lowest ? prices_.widestBass : prices_.widest;
            price += distance > most ? prices_.gap + prices_.gapMore * (distance - most) : 0;
            if (distance < 3 && lines.notes[k + 1] < kMuddyBelow) {
                price += prices_.muddy;
            }
            if (distance < 0) {
                price += prices_.crossing;
            }
        }
        return price;
    }

    // Grains carry well near the lead, and a person sings best in the middle of the range.
    int32_t Reach(const Setting& setting) const {
        int32_t price = 0;
        for (int v = 0; v < voices_; ++v) {
            const int note = setting.notes[v];
            if (note == kRest) {
                continue;
            }
            const int distance = std::abs(note - lead_);
            const int near = IsAbove(v) ? prices_.nearAbove : prices_.nearBelow;
            price += distance > near ? prices_.far * (distance - near) : 0;
            const PitchRange& range = settings_.ranges[v];
            const int inside = std::min(note - range.low, range.high - note);
            price += inside < kEdge ? prices_.edge * (kEdge - inside) : 0;
        }
        return price;
    }

    int32_t Bass(const Lines& lines) const {
        if (chord_.bass < 0 || settings_.below == 0) {
            return 0;
        }
        const int lowest = lines.notes[lines.count - 1];
        if (PitchClassOf(lowest) == chord_.bass) {
            return 0;
        }
        if (chord_.slash) {
            return prices_.slashBassMissing;
        }
        const VoicingTone* tone = FindTone(chord_, lowest);
        const bool fifth =
            tone != nullptr && (tone->role == ToneRole::Fifth || tone->role == ToneRole::AlteredFifth);
        return voices_ < 3 ? prices_.inversion / 2 : fifth ? prices_.fifthInBass : prices_.inversion;
    }

    const VoicingChord& chord_;
    int lead_;
    Length length_;
    const VoicingSettings& settings_;
    const VoicingPrices& prices_;
    int voices_;
    bool leadBelongs_;
    double wanted_;  // distance of neighbours [semitones]
};

// Prices the moves from one stretch to the next.
class Moves {
  public:
    Moves(const VoicingChord& from, const VoicingChord& to, bool chordChanges, bool afterPause, int voices,
          const VoicingPrices& prices)
        : from_(from),
          chordChanges_(chordChanges),
          afterPause_(afterPause),
          voices_(voices),
          prices_(prices) {
        toRoot_ = RootOf(to);
        resolves_ =
            chordChanges && RootOf(from) >= 0 && toRoot_ >= 0 && PitchClassOf(toRoot_ - RootOf(from)) == 5;
    }

    int32_t Price(const Setting& a, const Setting& b) const {
        return Motion(a, b) + Parallels(a.lines, b.lines);
    }

  private:
    static int RootOf(const VoicingChord& chord) {
        return chord.tones.empty() || chord.tones.front().role != ToneRole::Root
                   ? -1
                   : chord.tones.front().pitchClass;
    }

    int32_t Motion(const Setting& a, const Setting& b) const {
        int32_t price = 0;
        for (int v = 0; v < voices_; ++v) {
            if (a.notes[v] == kRest || b.notes[v] == kRest) {
                continue;
            }
            const int move = b.notes[v] - a.notes[v];
            const int size = std::abs(move);
            int32_t motion = prices_.step * size;
            motion += size > 4 ? prices_.skip : 0;
            motion += size > 7 ? prices_.leap : 0;
            motion += size == 6 || size == 10 || size == 11 ? prices_.awkward : 0;
            price += afterPause_ ? motion / 2 : motion;
            price += size > 12 ? prices_.overOctave : 0;
            if (chordChanges_ && !afterPause_) {
                price += Tendency(a.notes[v], move);
            }
            if (v > 0 && a.notes[v - 1] != kRest && b.notes[v - 1] != kRest) {
                const bool overlaps = b.notes[v] > a.notes[v - 1] || b.notes[v - 1] < a.notes[v];
                price += overlaps ? prices_.overlap : 0;
            }
        }
        return price;
    }

    // Sevenths fall by a step or stay; the leading tone of a dominant rises to the root it leads to.
    int32_t Tendency(int note, int move) const {
        const VoicingTone* tone = FindTone(from_, note);
        if (tone == nullptr) {
            return 0;
        }
        if (tone->role == ToneRole::Seventh && (move > 0 || move < -2)) {
            return prices_.seventhUnresolved;
        }
        const bool leading = resolves_ && PitchClassOf(note + 1) == toRoot_;
        return leading && move != 1 && move != 0 ? prices_.leadingToneUnresolved : 0;
    }

    int32_t Parallels(const Lines& a, const Lines& b) const {
        if (a.count != b.count) {
            return 0;
        }
        int32_t price = 0;
        for (int i = 0; i < a.count; ++i) {
            for (int j = i + 1; j < a.count; ++j) {
                const int upper = b.notes[i] - a.notes[i];
                const int lower = b.notes[j] - a.notes[j];
                if (upper == 0 || lower == 0) {
                    continue;
                }
                const int before = ClassDistance(a.notes[i], a.notes[j]);
                const int after = ClassDistance(b.notes[i], b.notes[j]);
                const bool together = (upper > 0) == (lower > 0);
                if (before == after && (after == 0 || after == 7)) {
                    const int32_t full = after == 0 ? prices_.parallelOctave : prices_.parallelFifth;
                    price += together ? full : full / 4;
                } else if (together && i == 0 && j == a.count - 1 && std::abs(upper) > 2 &&
                           (after == 0 || after == 7)) {
                    price += prices_.hidden;
                }
            }
        }
        return price;
    }

    const VoicingChord& from_;
    bool chordChanges_;
    bool afterPause_;
    int voices_;
    const VoicingPrices& prices_;
    int toRoot_ = -1;
    bool resolves_ = false;
};

Length LengthOf(double seconds) {
    return seconds < kShortNote ? Length::Short : seconds < kLongNote ? Length::Middle : Length::Long;
}

// One stretch on the way: its settings, and for each the price of the cheapest path and where it came from.
struct Column {
    const std::vector<Setting>* settings = nullptr;
    std::vector<int64_t> total;
    std::vector<int> from;
};

// The cheapest path through stretches [first, end), which all have a chord.
void FindPath(const std::vector<Column>& columns, std::size_t first, std::size_t end,
              std::vector<std::array<int, kMaxHarmonyVoices>>& result) {
    const auto& last = columns[end - 1].total;
    auto at = static_cast<int>(std::min_element(last.begin(), last.end()) - last.begin());
    for (std::size_t i = end; i-- > first;) {
        result[i] = (*columns[i].settings)[static_cast<std::size_t>(at)].notes;
        at = columns[i].from[static_cast<std::size_t>(at)];
    }
}

}  // namespace

bool Rubs(int note, int other) {
    const int distance = ClassDistance(note, other);
    return distance == 1 || distance == 2 || distance == 6 || distance == 10 || distance == 11;
}

VoicingChord MakeVoicingChord(int root, const std::vector<int>& semitones, int bass) {
    VoicingChord chord;
    const auto has = [&](int semitone) {
        return std::find(semitones.begin(), semitones.end(), semitone) != semitones.end();
    };
    const bool third = has(3) || has(4);
    const bool fifth = has(7);
    for (const int semitone : semitones) {
        ToneRole role = ToneRole::Extension;
        if (semitone == 0) {
            role = ToneRole::Root;
        } else if (semitone == 4 || semitone == 3 || (!third && (semitone == 5 || semitone == 2))) {
            role = ToneRole::Third;
        } else if (semitone == 7) {
            role = ToneRole::Fifth;
        } else if (!fifth && (semitone == 6 || semitone == 8)) {
            role = ToneRole::AlteredFifth;
        } else if (semitone == 9) {
            role = has(3) && has(6) ? ToneRole::Seventh : ToneRole::Sixth;
        } else if (semitone == 10 || semitone == 11) {
            role = ToneRole::Seventh;
        }
        const int pitchClass = PitchClassOf(root + semitone);
        if (FindTone(chord, pitchClass) == nullptr) {
            chord.tones.push_back({pitchClass, role});
        }
    }
    std::stable_sort(chord.tones.begin(), chord.tones.end(),
                     [](const VoicingTone& a, const VoicingTone& b) { return a.role < b.role; });
    chord.bass = bass < 0 ? PitchClassOf(root) : PitchClassOf(bass);
    chord.slash = chord.bass != PitchClassOf(root);
    if (chord.slash && FindTone(chord, chord.bass) == nullptr) {
        chord.tones.push_back({chord.bass, ToneRole::Extension});
    }
    return chord;
}

std::vector<std::array<int, kMaxHarmonyVoices>> VoiceChords(const std::vector<VoicingStretch>& stretches,
                                                            const std::vector<VoicingChord>& chords,
                                                            const VoicingSettings& settings) {
    std::array<int, kMaxHarmonyVoices> silent;
    silent.fill(kRest);
    std::vector<std::array<int, kMaxHarmonyVoices>> result(stretches.size(), silent);
    const VoicingPrices& prices = PricesOf(settings.manner);
    const int voices = settings.above + settings.below;

    using StretchKind = std::tuple<int, int, Length>;  // chord, lead, length
    std::map<StretchKind, std::vector<Setting>> known;
    std::vector<Column> columns(stretches.size());
    std::size_t first = 0;
    for (std::size_t i = 0; i <= stretches.size(); ++i) {
        const bool sings = i < stretches.size() && stretches[i].chord >= 0 &&
                           !chords[static_cast<std::size_t>(stretches[i].chord)].tones.empty();
        if (!sings) {
            if (i > first) {
                FindPath(columns, first, i, result);
            }
            first = i + 1;
            continue;
        }
        const VoicingStretch& stretch = stretches[i];
        const VoicingChord& chord = chords[static_cast<std::size_t>(stretch.chord)];
        const Length length = LengthOf(stretch.duration);
        auto [entry, isNew] = known.try_emplace({stretch.chord, stretch.lead, length});
        if (isNew) {
            entry->second = Settings(chord, stretch.lead, length, settings).List();
        }
        Column& column = columns[i];
        column.settings = &entry->second;
        column.from.assign(column.settings->size(), 0);
        for (const Setting& setting : *column.settings) {
            column.total.push_back(setting.price);
        }
        if (i == first) {
            continue;
        }
        const Column& before = columns[i - 1];
        const VoicingStretch& previous = stretches[i - 1];
        const Moves moves(chords[static_cast<std::size_t>(previous.chord)], chord,
                          previous.chord != stretch.chord, stretch.afterPause, voices, prices);
        for (std::size_t b = 0; b < column.settings->size(); ++b) {
            int64_t best = INT64_MAX;
            for (std::size_t a = 0; a < before.settings->size(); ++a) {
                if (before.total[a] >= best) {
                    continue;
                }
                const int64_t total =
                    before.total[a] + moves.Price((*before.settings)[a], (*column.settings)[b]);
                if (total < best) {
                    best = total;
                    column.from[b] = static_cast<int>(a);
                }
            }
            column.total[b] += best;
        }
    }
    return result;
}

}  // namespace mlh::choir
