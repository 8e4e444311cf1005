// The chord-tone search written out plainly: every rule looks at every cell on its own, builds its list again
// and asks everything itself. Slow, without any of the engine's code; the engine must agree bit for bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "classic/ScaleTable.h"

namespace mlh {

struct PlainCandidateSearch {
    enum Rule : uint32_t {
        kOrderPenalty = 1,
        kChordFit = 2,
        kBassDegree = 4,
        kVoiceInterval = 8,
        kVoiceLeading = 16,
        kSpreadFit = 32,
        kParallelMotion = 64,
        kStepBonus = 128,
        kSpacingPenalty = 256,
        kStepMomentum = 512,
    };

    int key = 0;
    int row = 0;
    int mode = 0;  // 0, 1, 2 for three, two, one voice; another mode searches as 0 does
    int voiceCount = 3;
    int voicesAbove = 1;
    float spread = 0.5f;
    uint32_t leaveOut = 0;  // rules not to run

    std::vector<int> P = {-1, -1, -1, -1};
    int stepDirection = 0;
    std::vector<int> cand;
    std::vector<std::vector<std::vector<float>>> C;

    int low() const {
        const int below = voiceCount - voicesAbove;
        return below == 0 ? 0 : below == 1 ? -12 : -16;
    }
    int high() const { return voicesAbove == 0 ? 0 : voicesAbove == 1 ? 12 : 16; }

    bool tone(int position) const { return ChoiralizerClassic::ScaleTable[row][(position + 1200) % 12] == 1; }
    bool parentTone(int position) const {
        const int parent = row == 11 ? 0 : row == 12 ? 5 : row;
        return ChoiralizerClassic::ScaleTable[parent][(position + 1200) % 12] == 1;
    }
    int pos(int x) const { return (x - key % 12 + 156) % 12; }

    int countSteps(int from, int delta) const {
        int tones = 0;
        if (delta >= 0) {
            for (int p = pos(from); p <= pos(from) + delta; ++p) {
                tones += tone(p) ? 1 : 0;
            }
            return tones - 1;
        }
        for (int p = pos(from) + delta; p <= pos(from); ++p) {
            tones += tone(p) ? 1 : 0;
        }
        return -(tones - 1);
    }

    void collect(int lead, int chordRoot, int noteCount) {
        const int r = (chordRoot - key % 12 + 156) % 12;
        std::vector<int> chordTones = {r};
        for (int offset = 2; offset <= 6; offset += 2) {
            int p = r, seen = parentTone(p) ? 1 : 0;
            while (seen < offset + 1) {
                ++p;
                if (parentTone(p)) {
                    ++seen;
                }
            }
            chordTones.push_back(p % 12);
        }
        chordTones.resize(static_cast<size_t>(noteCount));
        cand.clear();
        for (int p = lead + low(); p <= lead + high(); ++p) {
            if (std::count(chordTones.begin(), chordTones.end(), pos(p)) > 0) {
                cand.push_back(p);
            }
        }
    }

    std::vector<int> merge(int lead, int i, int j, int k, int voices) const {
        const int a = cand[static_cast<size_t>(i)], b = cand[static_cast<size_t>(j)],
                  c = cand[static_cast<size_t>(k)];
        std::vector<int> L;
        bool placed = false;
        if (voices > 0) {
            if (lead <= a) {
                L.push_back(lead), placed = true;
            }
            L.push_back(a);
        }
        if (voices > 1) {
            if (!placed && a < lead && lead <= b) {
                L.push_back(lead), placed = true;
            }
            L.push_back(b);
        }
        if (voices > 2) {
            if (!placed && b < lead && lead <= c) {
                L.push_back(lead), placed = true;
            }
            L.push_back(c);
        }
        if (!placed) {
            L.push_back(lead);
        }
        return L;
    }

    // Returns false when there is no candidate. `result` is written as the engine writes it.
    bool run(int lead, int chordRoot, int noteCount, int32_t* result) {
        const int m = mode == 1 || mode == 2 ? mode : 0;
        collect(lead, chordRoot, noteCount);
        const int n = static_cast<int>(cand.size());
        if (n == 0) {
            return false;
        }
        const auto N = static_cast<size_t>(n);
        C.assign(N, std::vector<std::vector<float>>(N, std::vector<float>(N, 1.0f)));

        // The list by which a rule judges a cell: idle indices stand at candidate 0.
        auto listFor = [&](int i, int j, int k) {
            return merge(lead, i, m == 2 ? 0 : j, m == 0 ? k : 0, voiceCount);
        };
        auto eachCell = [&](auto rule) {
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < n; ++j) {
                    for (int k = 0; k < n; ++k) {
                        rule(C[static_cast<size_t>(i)][static_cast<size_t>(j)][static_cast<size_t>(k)], i, j,
                             k);
                    }
                }
            }
        };
        auto runs = [&](Rule rule, bool when = true) { return when && (leaveOut & rule) == 0; };
        auto at = [&](int index) { return cand[static_cast<size_t>(index)]; };
        auto degree = [&](int x) { return countSteps(chordRoot, (x - chordRoot + 156) % 12); };
        const int A = voiceCount - voicesAbove, B = 3 - A;
        const bool history = P[0] >= 0;
        const bool many = noteCount > 3;

        if (runs(kOrderPenalty)) {
            eachCell([&](float& c, int i, int j, int k) {
                const int index[3] = {i, j, k};
                for (int p = 0; p < A; ++p) {
                    if (at(index[p]) > lead) {
                        c *= 1e-5f;
                    }
                }
                for (int p = 3 - B; p < 3; ++p) {
                    if (at(index[p]) < lead) {
                        c *= 1e-5f;
                    }
                }
                for (int x = 0; x < n; ++x) {
                    for (int y = 0; y < x; ++y) {
                        for (int z = 0; z < y; ++z) {
                            if ((i == x && j == y && k == z) || (i == x && j == z && k == y) ||
                                (i == z && j == x && k == y)) {
                                c *= 1e-5f;
                            }
                        }
                    }
                }
            });
        }

        if (runs(kChordFit)) {
            eachCell([&](float& c, int i, int j, int k) {
                const std::vector<int> L = listFor(i, j, k);
                if (!std::is_sorted(L.begin(), L.end())) {
                    c = 0.0f;
                } else if (m == 2) {
                    if ((L[1] - L[0]) % 12 == 0) {
                        c *= 0.15f;
                    }
                } else {
                    c *= fit(L, degree, noteCount);
                }
            });
        }

        if (runs(kBassDegree, A >= 1)) {
            eachCell([&](float& c, int i, int, int) {
                const float bass[12] = {1.0f, 0, 0.7f, 0, 0.6f, 0, 0.7f, 0, 0, 0, 0, 0};
                c *= bass[std::max(degree(at(i)), 0)];
            });
        }

        if (runs(kVoiceInterval, m == 2)) {
            eachCell([&](float& c, int i, int j, int k) {
                const float table[17] = {0.1f, 0.5f, 1, 0.6f, 0.5f, 1,    0.8f, 0,   0.9f,
                                         0,    0.7f, 0, 0.8f, 0,    0.5f, 0,    0.5f};
                const std::vector<int> L = listFor(i, j, k);
                if (std::is_sorted(L.begin(), L.end())) {
                    c *= table[std::max(countSteps(L[0], L[1] - L[0]), 0)];
                } else {
                    c = 0.0f;
                }
            });
        }

        if (runs(kVoiceLeading, history)) {
            eachCell([&](float& c, int i, int j, int k) {
                const std::vector<int> L = listFor(i, j, k);
                if (!std::is_sorted(L.begin(), L.end())) {
                    c = 0.0f;
                    return;
                }
                for (size_t s = 0; s < L.size(); ++s) {
                    if (m == 2 ? L[s] == lead : static_cast<int>(s) == A) {
                        continue;
                    }
                    int steps = countSteps(P[s], L[s] - P[s]);
                    if (s == 0) {
                        steps = static_cast<int>(std::floor(steps / 2.0));
                    }
                    float w = static_cast<float>(std::pow(0.5, std::abs(steps)));
                    if (std::abs(L[s] - P[s]) == 1) {
                        w = w * 1.6f;
                    }
                    c = c * w;
                }
            });
        }

        if (runs(kSpreadFit)) {
            eachCell([&](float& c, int i, int j, int k) {
                const float sigmas[3] = {0.1f, 0.2f, 0.3f};
                const std::vector<int> L = listFor(i, j, k);
                const float span = static_cast<float>(std::abs(L.back() - L.front()));
                const float part = span / static_cast<float>(high() - low());
                const float x = (part - spread) / sigmas[m];
                const double bell = std::exp(-(static_cast<double>(x) * static_cast<double>(x)));
                c *= static_cast<float>(bell > 1e-10 ? bell : 1e-10);
            });
        }

        if (runs(kParallelMotion, history)) {
            eachCell([&](float& c, int i, int j, int k) {
                const std::vector<int> L = listFor(i, j, k);
                if (!std::is_sorted(L.begin(), L.end())) {
                    c = 0.0f;
                    return;
                }
                for (size_t a = 0; a + 1 < L.size(); ++a) {
                    for (size_t b = a + 1; b < L.size(); ++b) {
                        int motionA = countSteps(P[a], (L[a] - P[a] + 156) % 12);
                        int motionB = countSteps(P[b], (L[b] - P[b] + 156) % 12);
                        if ((motionA == 0 && L[a] == P[a]) || (motionB == 0 && L[b] == P[b])) {
                            continue;
                        }
                        if (motionA == 0) {
                            motionA = 7;
                        }
                        if (motionB == 0) {
                            motionB = 7;
                        }
                        if (motionA != motionB) {
                            continue;
                        }
                        int g = countSteps(L[a], (L[b] - L[a] + 156) % 12);
                        if (g <= 0) {
                            if (L[a] == L[b]) {
                                continue;
                            }
                            g = 7;
                        }
                        const float table[12] = {0,      0.001f, 1.4f, 0.05f, 0.001f, 1.4f,
                                                 0.001f, 0.002f, 1,    0,     0.7f,   0};
                        float factor = table[g];
                        if (g == 2 && motionA != 1) {
                            factor = 1.01f;
                        }
                        c *= factor;
                    }
                }
            });
        }

        auto firstOfIdle = [&](int j, int k) {
            return (voiceCount >= 3 || k == 0) && (voiceCount >= 2 || j == 0);
        };
        if (runs(kStepBonus, history && (m != 0 || many))) {
            eachCell([&](float& c, int i, int j, int k) {
                if (!firstOfIdle(j, k) || c == 0.0f) {
                    return;
                }
                const std::vector<int> L = listFor(i, j, k);
                for (size_t s = 0; s < 3 && s < L.size(); ++s) {
                    if (countSteps(P[s], (L[s] - P[s] + 156) % 12) == 1) {
                        c *= 5.0f;
                    }
                }
            });
        }

        if (runs(kSpacingPenalty, m != 0 || many)) {
            eachCell([&](float& c, int i, int j, int k) {
                if (!firstOfIdle(j, k) || c == 0.0f) {
                    return;
                }
                const std::vector<int> L = listFor(i, j, k);
                for (size_t s = 0; s < 3 && s + 1 < L.size(); ++s) {
                    const int d = countSteps(L[s], (L[s + 1] - L[s]) % 12);
                    if (d == 1) {
                        c *= 0.05f;
                    }
                    if (d == 2) {
                        c *= 0.15f;
                    }
                }
            });
        }

        if (runs(kStepMomentum, history && m != 0 && stepDirection != 0)) {
            eachCell([&](float& c, int i, int, int) {
                const std::vector<int> L = merge(lead, i, 0, 0, voiceCount);
                if (L[0] > L[1]) {
                    c = 0.0f;
                    return;
                }
                for (size_t s = 0; s < L.size(); ++s) {
                    if (L[s] == lead) {
                        continue;
                    }
                    const int steps = countSteps(P[s], (L[s] - P[s]) % 12);
                    if ((steps == 1 && stepDirection == 2) || (steps == -1 && stepDirection == 1)) {
                        c *= 2.0f;
                    }
                }
            });
        }

        float best = 0.0f;
        int I = 0, J = 0, K = 0;
        eachCell([&](float& c, int i, int j, int k) {
            if (c >= best) {
                best = c, I = i, J = j, K = k;
            }
        });

        result[0] = lead;
        const int chosen[3] = {at(I), at(J), at(K)};
        for (int v = 0; v < 3; ++v) {
            if (v < voiceCount) {
                result[1 + v] = chosen[v];
            } else if (m != 0) {
                result[1 + v] = -1;
            }
        }
        if (m != 0 && P[1] != -1) {
            const int steps = countSteps(P[1], (at(I) - P[1]) % 12);
            stepDirection = steps == 1 ? 2 : steps == -1 ? 1 : 0;
        }
        P = merge(lead, I, J, K, 3);
        return true;
    }

    template <class Degree>
    static float fit(const std::vector<int>& L, Degree degree, int noteCount) {
        const float doubling[16] = {0.9f, 0, 0.7f, 0, 0.8f, 0, 0.5f, 0, 0.5f, 0, 0.4f, 0, 0.1f, 0, 0.7f, 0};
        float f = 1.0f;
        bool unison = false;
        for (size_t a = 0; a < L.size(); ++a) {
            for (size_t b = a + 1; b < L.size(); ++b) {
                if ((L[a] - L[b]) % 12 != 0) {
                    continue;
                }
                if (L[a] == L[b]) {
                    f *= 0.15f;
                    unison = true;
                }
                f *= doubling[std::max(degree(L[a]), 0)];
            }
        }
        if (!unison) {
            f *= 4.0f;
        }
        bool root = false, third = false, fifth = false, seventh = false;
        for (const int x : L) {
            if (degree(x) == 0) {
                root = true;
            }
            if (degree(x) == 2) {
                third = true;
            }
            if (degree(x) == 4) {
                fifth = true;
            }
            if (degree(x) == 6) {
                seventh = true;
            }
        }
        if (noteCount == 3) {
            if (root && third) {
                return fifth || seventh ? f : 0.1f * f;
            }
            return seventh ? f : 0.1f * f;
        }
        float s = 0.0f;
        if (root) {
            s = 0.5f;
        }
        if (third) {
            s += 0.4f;
        }
        if (fifth) {
            s += 0.1f;
        }
        if (seventh) {
            s += 0.7f;
        }
        return f * s;
    }
};

}  // namespace mlh
