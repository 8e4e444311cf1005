// The search of the chord styles.
//
// The chord tones within the voice range are the candidates, n of them, ascending. A cube of n * n * n scores
// holds one cell for every way to give a candidate to each of three voices, (i, j, k) from the lowest voice
// up. Rule after rule multiplies its factors into the cube, and the best cell is taken. There is no branch
// for a forbidden voicing: it merely carries a very small factor, or zero.
//
// With fewer voices the cube stays as it is and the unused indices idle: a rule then finds one factor for a
// whole block of cells, the row C[i][j] with two voices and the plane C[i] with one. OrderPenalty and the
// rules on the first cell of a block still tell the cells of a block apart; of equals the last one wins, and
// its idle indices go into the history with the others.
//
// Cost: at most 11 candidates, so 1331 cells for each rule and note.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "classic/Choiralizer.h"
#include "classic/SearchTables.h"

namespace mlh {

namespace ChoiralizerClassic {

namespace {

constexpr int32_t kNoResult = 9999999;

// A count of -1 arises when a pitch out of the scale is measured against itself; it counts as none.
template <int32_t size>
float Factor(const float (&table)[size], int32_t steps) {
    return steps < 0 ? table[0] : steps < size ? table[steps] : 0.0f;
}

// The lead and the voices of a cell in one row that ascends when the voices do. Formed by insertion, so
// voices in another order show as a descent.
struct MergedList {
    int32_t pitch[4];
    int32_t count = 0;

    MergedList(int32_t lead, const int32_t* voices, int32_t voiceCount) {
        bool placed = false;
        for (int32_t v = 0; v < voiceCount; ++v) {
            if (!placed && lead <= voices[v]) {
                pitch[count++] = lead;
                placed = true;
            }
            pitch[count++] = voices[v];
        }
        if (!placed) {
            pitch[count++] = lead;
        }
    }

    int32_t operator[](int32_t slot) const { return pitch[slot]; }
    int32_t Last() const { return pitch[count - 1]; }

    bool IsSorted() const {
        for (int32_t slot = 1; slot < count; ++slot) {
            if (pitch[slot] < pitch[slot - 1]) {
                return false;
            }
        }
        return true;
    }
};

// What the rules look at.
struct Scene {
    int32_t searchMode;  // 0, 1, 2: the block of cells that share a factor is a cell, a row, a plane
    int32_t lead;
    ClassicChord chord;
    KeyedScale scale;
    int32_t voiceCount;
    int32_t voicesBelow;
    int32_t range;  // semitones from the lowest to the highest candidate allowed
    float spreadTarget;
    const int32_t* previous;  // the last voicing with its lead, ascending; first entry below 0 for none
    int32_t stepDirection;
};

// The cube of one note, and the rules in the order in which they run.
class ScoreCube {
  public:
    ScoreCube(const Scene& scene, const int32_t* candidates, int32_t n, float* cells)
        : scene_(scene), candidates_(candidates), n_(n), cells_(cells) {
        for (int32_t cell = 0; cell < n * n * n; ++cell) {
            cells_[cell] = 1.0f;
        }
    }

    // Voices on the wrong side of the lead, and indices out of order.
    void OrderPenalty() {
        constexpr float kPenalty = 1e-5f;
        for (int32_t i = 0; i < n_; ++i) {
            for (int32_t j = 0; j < n_; ++j) {
                for (int32_t k = 0; k < n_; ++k) {
                    float& cell = cells_[(i * n_ + j) * n_ + k];
                    const int32_t index[3] = {i, j, k};
                    for (int32_t position = 0; position < 3; ++position) {
                        const int32_t pitch = candidates_[index[position]];
                        if (position < scene_.voicesBelow ? pitch > scene_.lead : pitch < scene_.lead) {
                            cell *= kPenalty;
                        }
                    }
                    if ((i > j && j > k) || (i > k && k > j) || (j > k && k > i)) {
                        cell *= kPenalty;
                    }
                }
            }
        }
    }

    // Doublings and completeness of the chord. Zeroes what is out of order, so that later rules need not ask.
    void ChordFit() {
        ForEachBlock([this](const Block& block) {
            if (!block.list.IsSorted()) {
                Multiply(block, 0.0f);
            } else if (scene_.searchMode != 2) {
                Multiply(block, Fit(block.list));
            } else if ((block.list[1] - block.list[0]) % 12 == 0) {
                Multiply(block, 0.15f);
            }
        });
    }

    // The inversion, when the first voice is the lowest of all.
    void BassDegree() {
        if (scene_.voicesBelow < 1) {
            return;
        }
        for (int32_t i = 0; i < n_; ++i) {
            MultiplyPlane(i, Factor(kBass, DegreeInChord(candidates_[i])));
        }
    }

    // The interval of a single voice to the lead.
    void VoiceInterval() {
        ForEachBlock([this](const Block& block) {
            const MergedList& list = block.list;
            Multiply(block, Factor(kInterval, scene_.scale.CountSteps(list[0], list[1] - list[0])));
        });
    }

    // Small motions of each voice, half as strict for the lowest, with a premium on semitones.
    void VoiceLeading() {
        if (!HasHistory()) {
            return;
        }
        ForEachBlock([this](const Block& block) {
            const MergedList& list = block.list;
            for (int32_t slot = 0; slot < list.count; ++slot) {
                const bool isLead =
                    scene_.searchMode == 2 ? list[slot] == scene_.lead : slot == scene_.voicesBelow;
                if (isLead) {
                    continue;
                }
                const int32_t interval = list[slot] - Previous(slot);
                int32_t steps = scene_.scale.CountSteps(Previous(slot), interval);
                if (slot == 0) {
                    steps >>= 1;  // arithmetic: -1 stays a step
                }
                float weight = std::ldexp(1.0f, -std::abs(steps));
                if (std::abs(interval) == 1) {
                    weight *= 1.6f;
                }
                Multiply(block, weight);
            }
        });
    }

    // The width of the voicing against the wanted part of the range, as a bell curve.
    void SpreadFit() {
        constexpr float kSigma[3] = {0.1f, 0.2f, 0.3f};
        const float sigma = kSigma[scene_.searchMode];
        ForEachBlock([this, sigma](const Block& block) {
            const float span = static_cast<float>(std::abs(block.list.Last() - block.list[0]));
            const float x = (span / static_cast<float>(scene_.range) - scene_.spreadTarget) / sigma;
            const double square = static_cast<double>(x) * static_cast<double>(x);
            Multiply(block, static_cast<float>(std::fmax(std::exp(-square), 1e-10)));
        });
    }

    // Two voices, the lead among them, that move by the same degree. Motions are taken upward and within the
    // octave, so a seventh down counts as a second up.
    void ParallelMotion() {
        if (!HasHistory()) {
            return;
        }
        ForEachBlock([this](const Block& block) {
            const MergedList& list = block.list;
            int32_t motion[4];
            for (int32_t slot = 0; slot < list.count; ++slot) {
                motion[slot] = Motion(Previous(slot), list[slot]);
            }
            for (int32_t a = 0; a < list.count - 1; ++a) {
                for (int32_t b = a + 1; b < list.count; ++b) {
                    if (motion[a] != kHeld && motion[a] == motion[b]) {
                        Multiply(block, ParallelFactor(list[a], list[b], motion[a]));
                    }
                }
            }
        });
    }

    // Voices that rise by a single step. (An octave less a step downwards counts as a rise, a step down not.)
    void StepBonus() {
        if (!HasHistory()) {
            return;
        }
        ForEachFirstCell([this](float& cell, const MergedList& list) {
            for (int32_t slot = 0; slot < 3 && slot < list.count; ++slot) {
                if (UpwardSteps(Previous(slot), list[slot]) == 1) {
                    cell *= 5.0f;
                }
            }
        });
    }

    // Neighbours a second or a third apart.
    void SpacingPenalty() {
        ForEachFirstCell([this](float& cell, const MergedList& list) {
            for (int32_t slot = 0; slot + 1 < list.count; ++slot) {
                const int32_t steps = scene_.scale.CountSteps(list[slot], (list[slot + 1] - list[slot]) % 12);
                if (steps == 1) {
                    cell *= 0.05f;
                } else if (steps == 2) {
                    cell *= 0.15f;
                }
            }
        });
    }

    // A line that moved a step keeps going that way.
    void StepMomentum() {
        if (!HasHistory() || scene_.stepDirection == 0) {
            return;
        }
        for (int32_t i = 0; i < n_; ++i) {
            const MergedList list = ListOf(i, 0, 0);
            if (list[0] > list[1]) {
                MultiplyPlane(i, 0.0f);
                continue;
            }
            for (int32_t slot = 0; slot < list.count; ++slot) {
                if (list[slot] == scene_.lead) {
                    continue;
                }
                const int32_t steps =
                    scene_.scale.CountSteps(Previous(slot), (list[slot] - Previous(slot)) % 12);
                if ((steps == 1 && scene_.stepDirection == 2) || (steps == -1 && scene_.stepDirection == 1)) {
                    MultiplyPlane(i, 2.0f);
                }
            }
        }
    }

    // The indices of the greatest cell, the last of equals. Returns kNoResult when all cells are 0, with the
    // indices of the last cell.
    int32_t Select(int32_t (&index)[3]) const {
        float best = 0.0f;
        int32_t bestCell = 0;
        for (int32_t cell = 0; cell < n_ * n_ * n_; ++cell) {
            if (cells_[cell] >= best) {
                best = cells_[cell];
                bestCell = cell;
            }
        }
        index[0] = bestCell / (n_ * n_);
        index[1] = bestCell / n_ % n_;
        index[2] = bestCell % n_;
        return best > 0.0f ? 0 : kNoResult;
    }

  private:
    static constexpr int32_t kHeld = -2;  // the motion of a voice that does not move

    // The cells that share a factor, next to each other in memory, and their merged list.
    struct Block {
        float* cells;
        int32_t size;
        int32_t j, k;  // of the first cell
        MergedList list;
    };

    // Visits the blocks in index order. A lone cell that is 0 stays so and is passed over.
    template <class Visit>
    void ForEachBlock(Visit visit) {
        const int32_t size = scene_.searchMode == 0 ? 1 : scene_.searchMode == 1 ? n_ : n_ * n_;
        for (int32_t cell = 0; cell < n_ * n_ * n_; cell += size) {
            if (size == 1 && cells_[cell] == 0.0f) {
                continue;
            }
            const int32_t i = cell / (n_ * n_), j = cell / n_ % n_, k = cell % n_;
            visit(Block{cells_ + cell, size, j, k, ListOf(i, j, k)});
        }
    }

    // Visits the blocks that are not 0, with the indices of voices that do not exist at candidate 0.
    template <class Visit>
    void ForEachFirstCell(Visit visit) {
        ForEachBlock([this, visit](const Block& block) {
            const bool idleIndicesAtZero =
                (scene_.voiceCount > 2 || block.k == 0) && (scene_.voiceCount > 1 || block.j == 0);
            if (idleIndicesAtZero && block.cells[0] != 0.0f) {
                visit(block.cells[0], block.list);
            }
        });
    }

    static void Multiply(const Block& block, float factor) {
        for (int32_t cell = 0; cell < block.size; ++cell) {
            block.cells[cell] *= factor;
        }
    }

    void MultiplyPlane(int32_t i, float factor) {
        float* plane = cells_ + i * n_ * n_;
        for (int32_t cell = 0; cell < n_ * n_; ++cell) {
            plane[cell] *= factor;
        }
    }

    MergedList ListOf(int32_t i, int32_t j, int32_t k) const {
        const int32_t voices[3] = {candidates_[i], candidates_[j], candidates_[k]};
        return MergedList(scene_.lead, voices, scene_.voiceCount);
    }

    bool HasHistory() const { return scene_.previous[0] >= 0; }
    int32_t Previous(int32_t slot) const { return scene_.previous[slot]; }

    // Scale steps between two pitches, their interval reduced to an upward one below the octave.
    int32_t UpwardSteps(int32_t from, int32_t to) const {
        return scene_.scale.CountSteps(from, PitchClass(int64_t{to} - from));
    }

    int32_t DegreeInChord(int32_t pitch) const { return UpwardSteps(scene_.chord.root, pitch); }

    // The motion of a voice in upward steps, an octave being 7 of them; kHeld for none.
    int32_t Motion(int32_t from, int32_t to) const {
        const int32_t steps = UpwardSteps(from, to);
        if (steps != 0) {
            return steps;
        }
        return from == to ? kHeld : 7;
    }

    float ParallelFactor(int32_t lower, int32_t upper, int32_t motion) const {
        int32_t interval = UpwardSteps(lower, upper);
        if (interval <= 0 && lower != upper) {
            interval = 7;
        }
        if (interval == 2 && motion != 1) {
            return kParallelThirdsLeaping;
        }
        return Factor(kParallel, interval);
    }

    float Fit(const MergedList& list) const {
        float fit = 1.0f;
        bool hasUnison = false;
        for (int32_t a = 0; a < list.count; ++a) {
            for (int32_t b = a + 1; b < list.count; ++b) {
                if (PitchClass(list[a]) != PitchClass(list[b])) {
                    continue;
                }
                if (list[a] == list[b]) {
                    fit *= 0.15f;
                    hasUnison = true;
                }
                fit *= Factor(kDoubling, DegreeInChord(list[a]));
            }
        }
        if (!hasUnison) {
            fit *= 4.0f;
        }

        bool hasRoot = false, hasThird = false, hasFifth = false, hasSeventh = false;
        for (int32_t slot = 0; slot < list.count; ++slot) {
            const int32_t degree = DegreeInChord(list[slot]);
            hasRoot |= degree == 0;
            hasThird |= degree == 2;
            hasFifth |= degree == 4;
            hasSeventh |= degree == 6;
        }
        if (scene_.chord.noteCount <= 3) {
            const bool complete = hasSeventh || (hasRoot && hasThird && hasFifth);
            return complete ? fit : 0.1f * fit;
        }
        float sum = hasRoot ? 0.5f : 0.0f;
        sum += hasThird ? 0.4f : 0.0f;
        sum += hasFifth ? 0.1f : 0.0f;
        sum += hasSeventh ? 0.7f : 0.0f;
        return fit * sum;
    }

    const Scene& scene_;
    const int32_t* candidates_;
    int32_t n_;
    float* cells_;
};

}  // namespace

// Lists the chord tones around the lead. Only the chord's root and number of notes count: its tones are those
// that the scale gives on the root, whatever its quality.
void CChoiralizer::CollectCandidates(int32_t lead, const ClassicChord& chord) {
    const KeyedScale scale = ParentScale();
    const int32_t rootPosition = scale.Position(chord.root);
    bool isChordTone[12] = {};
    for (int32_t tone = 0; tone < 4 && tone < chord.noteCount; ++tone) {
        const int32_t semitones = tone == 0 ? 0 : scale.WalkUp(rootPosition, 2 * tone + 1);
        isChordTone[PitchClass(rootPosition + semitones)] = true;
    }

    std::fill(candidates_.begin(), candidates_.end(), -1);
    candidateCount_ = 0;
    for (int32_t pitch = lead + lowLimit_; pitch <= lead + highLimit_ && candidateCount_ < candidateCapacity_;
         ++pitch) {
        if (isChordTone[scale.Position(pitch)]) {
            candidates_[static_cast<size_t>(candidateCount_++)] = pitch;
        }
    }
}

float CChoiralizer::GetScore(int32_t i, int32_t j, int32_t k) const {
    return scoreCube_[static_cast<size_t>((i * candidateCount_ + j) * candidateCount_ + k)];
}

void CChoiralizer::SearchVoices(int32_t searchMode, int32_t lead, int32_t* result,
                                const ClassicChord& chord) {
    CollectCandidates(lead, chord);
    if (candidateCount_ == 0) {
        return;
    }
    const Scene scene = {.searchMode = searchMode,
                         .lead = lead,
                         .chord = chord,
                         .scale = OutputScale(),
                         .voiceCount = voiceCount_,
                         .voicesBelow = voiceCount_ - voicesAbove_,
                         .range = highLimit_ - lowLimit_,
                         .spreadTarget = spreadTarget_,
                         .previous = lastVoicing_,
                         .stepDirection = stepDirection_};
    const bool oneVoice = searchMode == 2;
    const bool fewVoices = searchMode != 0;
    const bool watchSteps = fewVoices || chord.noteCount > 3;

    ScoreCube cube(scene, candidates_.data(), candidateCount_, scoreCube_.data());
    cube.OrderPenalty();
    cube.ChordFit();
    cube.BassDegree();
    if (oneVoice) {
        cube.VoiceInterval();
    }
    cube.VoiceLeading();
    cube.SpreadFit();
    cube.ParallelMotion();
    if (watchSteps) {
        cube.StepBonus();
        cube.SpacingPenalty();
    }
    if (fewVoices) {
        cube.StepMomentum();
    }

    // A cube of zeros is not an error here: its last cell puts every voice on the highest candidate.
    int32_t index[3];
    cube.Select(index);

    const int32_t chosen[3] = {candidates_[index[0]], candidates_[index[1]], candidates_[index[2]]};
    result[0] = lead;
    for (int32_t voice = 0; voice < 3; ++voice) {
        if (voice < voiceCount_) {
            result[1 + voice] = chosen[voice];
        } else if (fewVoices) {
            result[1 + voice] = -1;
        }
    }
    if (fewVoices && lastVoicing_[1] != -1) {
        const int32_t steps = scene.scale.CountSteps(lastVoicing_[1], (chosen[0] - lastVoicing_[1]) % 12);
        stepDirection_ = steps == 1 ? 2 : steps == -1 ? 1 : 0;
    }
    const MergedList voicing(lead, chosen, 3);
    std::copy(std::begin(voicing.pitch), std::end(voicing.pitch), lastVoicing_);
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
