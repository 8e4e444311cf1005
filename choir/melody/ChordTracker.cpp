#include "choir/melody/ChordTracker.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "theory/ChordTypes.h"

namespace mlh::choir {

namespace {

#include "choir/melody/tables/ChordTables.inc"

constexpr double kUnit = 10.0;    // the tables hold tenths
constexpr int kPhrase = 8;        // bars after which the place in a phrase repeats
constexpr double kWindow = 4.0;   // mean intervals looked at before and after a piece
constexpr double kOnBeat = 0.2;   // of a beat
constexpr int kMostPieces = 256;  // of one note: longer notes are drones, or no notes

// One mode's tables, at one knowledge of the metre.
struct Table {
    int states;
    const signed char* roots;
    const signed char* kinds;
    const signed char* emission;    // [numbers][states]
    const signed char* change;      // [numbers]
    const signed char* transition;  // [from][to]
    const signed char* start;
    const signed char* end;
};

#define MLH_CHORD_TABLE(name)                                                                          \
    {                                                                                                  \
        static_cast<int>(sizeof(name##Roots)), name##Roots, name##Kinds, name##Emission, name##Change, \
            name##Transition, name##Start, name##End                                                   \
    }

const Table kMetreTables[2] = {MLH_CHORD_TABLE(kMetreMajor), MLH_CHORD_TABLE(kMetreMinor)};
const Table kFreeTables[2] = {MLH_CHORD_TABLE(kFreeMajor), MLH_CHORD_TABLE(kFreeMinor)};

// Places of the numbers in the tables.
constexpr int kAfter = 36;
constexpr int kBefore = 48;
constexpr int kBarInPhrase = 60;
constexpr int kPosition = 1;
constexpr int kPositionFresh = 5;
constexpr int kLength = 13;
constexpr int kPrevious = 17;
constexpr int kLengthPrevious = 21;
constexpr int kLeap = 37;
constexpr int kRest = 41;
constexpr int kPlaceInPhrase = 42;
constexpr size_t kChanges = kPlaceInPhrase + 4 * kPhrase;
constexpr size_t kEmissions = kBarInPhrase + kPhrase;
static_assert(sizeof(kMetreMajorChange) == kChanges && sizeof(kFreeMinorChange) == kChanges);
static_assert(sizeof(kMetreMinorEmission) == kEmissions * sizeof(kMetreMinorRoots));
static_assert(sizeof(kFreeMajorEmission) == kEmissions * sizeof(kFreeMajorRoots));

using Degrees = std::array<double, 12>;

// A note cut at half bars; times in half bars.
struct Piece {
    double start;
    double end;
    size_t note;
    bool fresh;    // begins the note
    int position;  // 0 bar line, 1 half bar, 2 beat, 3 off the beat
    int bar;       // counted from the first whole one
};

// The line of notes in half bars, with what is looked up in it.
struct Line {
    std::vector<double> start;
    std::vector<double> stop;
    std::vector<int> degree;
    std::vector<int> lengthBin;
    std::vector<int> previousBin;
    std::vector<int> leapBin;
    std::vector<bool> rest;     // before it
    std::vector<Degrees> sung;  // time on each degree before note i
    double mean;                // interval
};

Line LineOf(const std::vector<MelodyNote>& notes, int tonic, const HalfBarClock& clock) {
    std::vector<MelodyNote> halves;
    halves.reserve(notes.size());
    for (const MelodyNote& note : notes) {
        halves.push_back({clock.HalvesAt(note.start), clock.HalvesAt(note.end), note.pitch});
    }
    Line line;
    line.mean = MeanInterval(halves);
    Degrees sung = {};
    for (size_t i = 0; i < halves.size(); ++i) {
        const bool last = i + 1 == halves.size();
        line.start.push_back(halves[i].start);
        line.stop.push_back(last ? halves[i].end : std::min(halves[i].end, halves[i + 1].start));
        line.degree.push_back(DegreeOf(WholePitch(halves[i].pitch), tonic));
        const double interval = (last ? halves[i].end : halves[i + 1].start) - halves[i].start;
        const double previous = i == 0 ? line.mean : halves[i].start - halves[i - 1].start;
        line.lengthBin.push_back(BinOf(interval / line.mean, {0.6, 1.3, 2.4}));
        line.previousBin.push_back(BinOf(previous / line.mean, {0.6, 1.3, 2.4}));
        const int leap = i == 0 ? 0 : std::abs(WholePitch(halves[i].pitch) - WholePitch(halves[i - 1].pitch));
        line.leapBin.push_back(BinOf(leap, {0.5, 2.5, 5.5}));
        line.rest.push_back(i > 0 && halves[i].start - halves[i - 1].end > 0.3 * line.mean);
        line.sung.push_back(sung);
        sung[static_cast<size_t>(line.degree.back())] += std::max(line.stop.back() - line.start.back(), 0.0);
    }
    return line;
}

// Adds weight times the sung time on each degree before a time.
void AddSung(const Line& line, double time, double weight, Degrees& degrees) {
    const auto next = std::upper_bound(line.start.begin(), line.start.end(), time);
    if (next == line.start.begin()) {
        return;
    }
    const size_t i = static_cast<size_t>(next - line.start.begin()) - 1;
    for (size_t d = 0; d < 12; ++d) {
        degrees[d] += weight * line.sung[i][d];
    }
    const double longest = std::max(line.stop[i] - line.start[i], 0.0);
    degrees[static_cast<size_t>(line.degree[i])] += weight * std::clamp(time - line.start[i], 0.0, longest);
}

std::vector<Piece> Cut(const Line& line, const HalfBarMetre& metre, MetreSource source) {
    const int beats = std::max(metre.beats, 1);
    const int bars = std::max(metre.halves, 1);
    // How far from a line an onset counts as on it.
    const double grid = source == MetreSource::Known ? 0.2 / std::max(beats, 2) : 0.15;
    std::vector<Piece> pieces;
    double firstBar = 0.0;
    for (size_t i = 0; i < line.start.size(); ++i) {
        double at = line.start[i];
        for (int k = 0;; ++k) {
            const double nearest = std::floor(at + 0.5);
            const double next = at >= nearest - grid ? nearest + 1.0 : nearest;
            const bool last = next >= line.stop[i] - grid || k + 1 == kMostPieces;
            Piece piece = {at, last ? line.stop[i] : next, i, k == 0, 3, 0};
            if (std::abs(at - nearest) < grid) {
                piece.position = std::fmod(nearest, bars) == 0.0 ? 0 : 1;
            } else if (beats > 1 && std::abs(at * beats - std::floor(at * beats + 0.5)) < kOnBeat) {
                piece.position = 2;
            }
            const double bar = std::floor(std::floor(at + grid) / bars);
            if (pieces.empty()) {
                firstBar = bar + (line.start[0] - bar * bars >= bars / 2.0 ? 1.0 : 0.0);
            }
            piece.bar = static_cast<int>(bar - firstBar);
            pieces.push_back(piece);
            if (last) {
                break;
            }
            at = next;
        }
    }
    return pieces;
}

// Scores of the states of each piece [pieces][states], and of leaving the chord before it.
struct Scores {
    std::vector<double> emission;
    std::vector<double> change;
};

Scores ScoresOf(const Line& line, const std::vector<Piece>& pieces, const Table& table) {
    const size_t states = static_cast<size_t>(table.states);
    Scores scores;
    scores.emission.assign(pieces.size() * states, 0.0);
    scores.change.assign(pieces.size(), 0.0);
    const double width = kWindow * line.mean;
    for (size_t j = 0; j < pieces.size(); ++j) {
        const Piece& piece = pieces[j];
        double* emission = &scores.emission[j * states];
        const auto add = [&](int number, double value) {
            if (value != 0.0) {
                const signed char* row = table.emission + static_cast<size_t>(number) * states;
                for (size_t s = 0; s < states; ++s) {
                    emission[s] += value * row[s];
                }
            }
        };
        add(std::max(piece.position - 1, 0) * 12 + line.degree[piece.note], 1.0);
        Degrees after = {};
        AddSung(line, piece.end + width, 1.0 / width, after);
        AddSung(line, piece.end, -1.0 / width, after);
        Degrees before = {};
        AddSung(line, piece.start, 1.0 / width, before);
        AddSung(line, piece.start - width, -1.0 / width, before);
        for (int d = 0; d < 12; ++d) {
            add(kAfter + d, after[static_cast<size_t>(d)]);
            add(kBefore + d, before[static_cast<size_t>(d)]);
        }
        const int lengthBin = line.lengthBin[piece.note];
        const int previousBin = line.previousBin[piece.note];
        int change = table.change[0] + table.change[kPosition + piece.position] +
                     table.change[kPositionFresh + piece.position * 2 + (piece.fresh ? 1 : 0)] +
                     table.change[kLength + lengthBin] + table.change[kPrevious + previousBin] +
                     table.change[kLengthPrevious + lengthBin * 4 + previousBin] +
                     table.change[kLeap + line.leapBin[piece.note]] +
                     (line.rest[piece.note] ? table.change[kRest] : 0);
        const int place = ((piece.bar % kPhrase) + kPhrase) % kPhrase;
        add(kBarInPhrase + place, 1.0);
        change += table.change[kPlaceInPhrase + place * 4 + piece.position];
        scores.change[j] = std::exp(change / kUnit);
        const double top = *std::max_element(emission, emission + states);
        for (size_t s = 0; s < states; ++s) {
            emission[s] = std::exp((emission[s] - top) / kUnit);
        }
    }
    return scores;
}

// Posterior of each state at each piece, by forward-backward, scaled at each piece.
std::vector<double> PosteriorOf(const Scores& scores, const Table& table) {
    const size_t states = static_cast<size_t>(table.states);
    const size_t count = scores.change.size();
    std::vector<double> leave(states * states);  // [from][to], 0 on the diagonal
    std::vector<double> stay(states);
    for (size_t a = 0; a < states; ++a) {
        for (size_t b = 0; b < states; ++b) {
            const double weight = std::exp(table.transition[a * states + b] / kUnit);
            leave[a * states + b] = a == b ? 0.0 : weight;
            stay[a] = a == b ? weight : stay[a];
        }
    }
    std::vector<double> alpha(count * states);
    std::vector<double> scale(count);
    for (size_t j = 0; j < count; ++j) {
        double* now = &alpha[j * states];
        const double* observed = &scores.emission[j * states];
        for (size_t b = 0; b < states; ++b) {
            if (j == 0) {
                now[b] = std::exp(table.start[b] / kUnit) * observed[b];
            } else {
                const double* before = &alpha[(j - 1) * states];
                double sum = 0.0;
                for (size_t a = 0; a < states; ++a) {
                    sum += before[a] * leave[a * states + b];
                }
                now[b] = (sum * scores.change[j] + before[b] * stay[b]) * observed[b];
            }
            scale[j] += now[b];
        }
        for (size_t b = 0; b < states; ++b) {
            now[b] /= scale[j];
        }
    }
    std::vector<double> beta(states);
    for (size_t s = 0; s < states; ++s) {
        beta[s] = std::exp(table.end[s] / kUnit);
    }
    std::vector<double> ahead(states);
    for (size_t j = count; j-- > 0;) {
        double* posterior = &alpha[j * states];
        double sum = 0.0;
        for (size_t s = 0; s < states; ++s) {
            posterior[s] *= beta[s];
            sum += posterior[s];
            ahead[s] = scores.emission[j * states + s] * beta[s] / scale[j];
        }
        for (size_t s = 0; s < states; ++s) {
            posterior[s] /= sum;
            double moved = 0.0;
            for (size_t b = 0; b < states; ++b) {
                moved += leave[s * states + b] * ahead[b];
            }
            beta[s] = moved * scores.change[j] + stay[s] * ahead[s];
        }
    }
    return alpha;
}

}  // namespace

const char* SuffixOf(HeardKind kind) {
    constexpr const char* kSuffixes[] = {"", "7", "m", "dim", "aug"};
    return kSuffixes[static_cast<size_t>(kind)];
}

std::vector<int> TonesOf(HeardKind kind) {
    const theory::ChordType& type = theory::ChordTypeNamed(SuffixOf(kind));
    std::vector<int> tones;
    for (int i = 0; i < type.count; ++i) {
        tones.push_back(type.tones[i].semitones);
    }
    return tones;
}

std::vector<HeardChord> TrackChords(const std::vector<MelodyNote>& notes, int tonic, bool minor,
                                    const HalfBarClock& clock, const HalfBarMetre& metre,
                                    MetreSource source) {
    std::vector<HeardChord> chords;
    if (notes.empty()) {
        return chords;
    }
    const Table& table = (source == MetreSource::Known ? kMetreTables : kFreeTables)[minor ? 1 : 0];
    const size_t states = static_cast<size_t>(table.states);
    const Line line = LineOf(notes, tonic, clock);
    const std::vector<Piece> pieces = Cut(line, metre, source);
    const std::vector<double> posterior = PosteriorOf(ScoresOf(line, pieces, table), table);
    double weight = 0.0;  // of the pieces of the last chord
    for (size_t j = 0; j < pieces.size(); ++j) {
        Degrees roots = {};
        for (size_t s = 0; s < states; ++s) {
            roots[static_cast<size_t>(table.roots[s])] += posterior[j * states + s];
        }
        const size_t root = static_cast<size_t>(std::max_element(roots.begin(), roots.end()) - roots.begin());
        double best = -1.0;
        int kind = 0;
        for (size_t s = 0; s < states; ++s) {
            if (static_cast<size_t>(table.roots[s]) == root && posterior[j * states + s] > best) {
                best = posterior[j * states + s];
                kind = table.kinds[s];
            }
        }
        HeardChord chord = {pieces[j].fresh ? notes[pieces[j].note].start : clock.TimeAt(pieces[j].start),
                            DegreeOf(static_cast<int>(root) + tonic, 0), static_cast<HeardKind>(kind),
                            roots[root]};
        const double duration = std::max(pieces[j].end - pieces[j].start, 1e-9);
        if (!chords.empty() && chords.back().root == chord.root && chords.back().kind == chord.kind) {
            HeardChord& held = chords.back();
            held.confidence = (held.confidence * weight + chord.confidence * duration) / (weight + duration);
            weight += duration;
        } else {
            chords.push_back(chord);
            weight = duration;
        }
    }
    return chords;
}

}  // namespace mlh::choir
