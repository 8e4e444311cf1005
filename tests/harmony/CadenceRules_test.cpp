#include "harmony/CadenceRules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "harmony/FunctionTables.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using Functions = std::vector<int32_t>;

constexpr int32_t kMajor = 0, kMinor = 5, kHarmonicMinor = 7;
constexpr int32_t T = FunctionTonic, S = FunctionSubdominant, D = FunctionDominant, kSixth = FunctionSixth;

// A scale degree with its alteration.
struct Note {
    int32_t degree;
    int32_t alteration = 0;
    float duration = 1.0f;
    Note(int32_t d, int32_t a = 0, float length = 1.0f) : degree(d), alteration(a), duration(length) {}
};

CadenceMelody Melody(const std::vector<Note>& notes, int32_t scale) {
    CadenceMelody melody;
    for (const Note& note : notes) {
        melody.degree.push_back(note.degree);
        melody.alteration.push_back(note.alteration);
        melody.duration.push_back(note.duration);
    }
    melody.scale = scale;
    return melody;
}

// Functions after the phrase end at `end`, which is the last note if not given. All are 0 before.
Functions Cadence(const std::vector<Note>& notes, int32_t scale = kMajor, int32_t end = -1,
                  int32_t previousEnd = 0, int32_t previousEndFunction = 0) {
    Functions function(notes.size(), 0);
    function[static_cast<size_t>(previousEnd)] = previousEndFunction;
    AssignCadence(Melody(notes, scale), end < 0 ? static_cast<int32_t>(notes.size()) - 1 : end, previousEnd,
                  function);
    return function;
}

TEST(CadenceRules, TheLeadingNoteIntoTheTonicIsAFullCadence) {
    EXPECT_EQ(Cadence({4, 6, 0}), (Functions{0, D, T}));
    EXPECT_EQ(Cadence({4, 6, 0}, kHarmonicMinor), (Functions{0, D, T}));
    EXPECT_EQ(Cadence({4, 6, 0}, kMinor), (Functions{0, D, T}));
    EXPECT_EQ(Cadence({4, {6, 1}, 0}, kMinor), (Functions{0, D, T}));
    EXPECT_EQ(Cadence({4, {6, -1}, 0}, kMinor), (Functions{0, 0, D}));
    EXPECT_EQ(Cadence({4, {6, -1}, 0}), (Functions{0, 0, S}));
    EXPECT_EQ(Cadence({4, {6, 1}, 0}), (Functions{0, 0, T}));
    EXPECT_EQ(Cadence({4, {6, 1}, 0}, kHarmonicMinor), (Functions{0, 0, 0}));  // no rule speaks
}

TEST(CadenceRules, TheSecondIntoTheTonicIsAFullCadence) {
    EXPECT_EQ(Cadence({4, 1, 0}), (Functions{0, D, T}));
    EXPECT_EQ(Cadence({4, {1, -1}, 0}), (Functions{0, D, T}));                   // at the end of the melody
    EXPECT_EQ(Cadence({4, {1, -1}, 0, 4}, kMajor, 2), (Functions{0, 0, D, 0}));  // inside it
}

TEST(CadenceRules, TheTonicAfterOtherDegreesIsTonic) {
    for (int32_t before : {0, 2, 3, 4, 5}) {
        EXPECT_EQ(Cadence({6, before, 0}), (Functions{0, 0, T})) << before;
    }
    EXPECT_EQ(Cadence({6, 7, 0}), (Functions{0, 0, 0}));
    EXPECT_EQ(Cadence({6, 2, {0, 1}}), (Functions{0, 0, D}));
}

TEST(CadenceRules, AnAnchorOnTheTonicMakesTheEndTonic) {
    // Two before the end when there is no room between the phrase ends.
    EXPECT_EQ(Cadence({0, 1, 0}), (Functions{0, 0, T}));
    // Else the last note before the end that is not shorter than the median of those between.
    EXPECT_EQ(Cadence({4, {0, 0, 2.0f}, {1, 0, 1.0f}, 0}), (Functions{0, 0, 0, T}));
    EXPECT_EQ(Cadence({4, {0, 0, 1.0f}, {1, 0, 2.0f}, 0}), (Functions{0, 0, D, T}));
    // Of even counts the mean of the middle two is the median: 1.5, which note 2 misses and note 1 reaches.
    EXPECT_EQ(Cadence({4, {4, 0, 2.0f}, {0, 0, 2.0f}, {1, 0, 1.0f}, {1, 0, 1.0f}, 0}),
              (Functions{0, 0, 0, 0, 0, T}));
}

TEST(CadenceRules, TheSecondWithoutAnchorAtTheSecondNote) {
    EXPECT_EQ(Cadence({1, 0}), (Functions{D, T}));  // nothing lies two before the end
}

TEST(CadenceRules, PhrasesOnTheSecondDegree) {
    EXPECT_EQ(Cadence({4, 3, {1, -1}}).back(), S);
    EXPECT_EQ(Cadence({4, 3, {1, 1}}).back(), D);
    EXPECT_EQ(Cadence({2, 0, 1, 4}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({6, 0, 1, 4}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({4, 0, 1, 4}, kMajor, 2)[2], S);
    EXPECT_EQ(Cadence({4, 0, 1}).back(), D);
    EXPECT_EQ(Cadence({0, 1, 4}, kMajor, 1)[1], S);  // with nothing two before the end
    EXPECT_EQ(Cadence({4, {0, 1}, 1}).back(), S);
    EXPECT_EQ(Cadence({4, {0, -1}, 1}).back(), D);
    EXPECT_EQ(Cadence({4, 1, 1, 4}, kMajor, 2)[2], S);
    EXPECT_EQ(Cadence({4, 1, 1, 3}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({4, 1, 1}).back(), D);
    for (int32_t before : {2, 3, 4, 6}) {
        EXPECT_EQ(Cadence({0, before, 1}).back(), D);
    }
    EXPECT_EQ(Cadence({0, 5, 1}).back(), S);
    EXPECT_EQ(Cadence({0, 7, 1}).back(), 0);
}

TEST(CadenceRules, PhrasesOnTheThirdDegree) {
    EXPECT_EQ(Cadence({4, 3, {2, -1}}).back(), T);
    EXPECT_EQ(Cadence({4, 3, {2, 1}}).back(), D);
    EXPECT_EQ(Cadence({4, 3, {2, -1}}, kMinor).back(), D);
    EXPECT_EQ(Cadence({4, 3, {2, 1}}, kMinor).back(), T);
    for (int32_t before : {0, 1, 2, 3, 4, 5}) {
        EXPECT_EQ(Cadence({4, before, 2}).back(), T);
    }
    EXPECT_EQ(Cadence({4, 6, 2}).back(), T);
    EXPECT_EQ(Cadence({4, 6, 2}, kMinor).back(), D);
    EXPECT_EQ(Cadence({4, 7, 2}).back(), T);
    EXPECT_EQ(Cadence({4, 7, 2, 0}, kMajor, 2)[2], T);
    EXPECT_EQ(Cadence({4, 7, 2, 1}, kMajor, 2)[2], 0);
}

TEST(CadenceRules, PhrasesOnTheFourthDegree) {
    EXPECT_EQ(Cadence({4, 4, {3, 1}}).back(), S);
    EXPECT_EQ(Cadence({4, 4, {3, -1}}).back(), D);
    EXPECT_EQ(Cadence({4, 0, 3, 2}, kMinor, 2)[2], D);
    EXPECT_EQ(Cadence({4, 0, 3, 2}, kMajor, 2)[2], S);
    EXPECT_EQ(Cadence({0, 3, 3}).back(), S);  // the last other degree is the tonic
    EXPECT_EQ(Cadence({4, 3, 3}).back(), D);
    EXPECT_EQ(Cadence({5, 3, 3}).back(), S);
    EXPECT_EQ(Cadence({3, 3, 3}).back(), S);  // there is no other degree
    EXPECT_EQ(Cadence({4, 1, 3}).back(), D);
    EXPECT_EQ(Cadence({4, 2, 3}).back(), S);
    EXPECT_EQ(Cadence({2, 4, 3}).back(), D);
    EXPECT_EQ(Cadence({2, 4, 3, 2}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({2, 4, 3, 1}, kMajor, 2)[2], S);
    EXPECT_EQ(Cadence({2, 5, 3}).back(), S);
    EXPECT_EQ(Cadence({2, 6, 3}).back(), D);
    EXPECT_EQ(Cadence({2, 7, 3}).back(), 0);
}

TEST(CadenceRules, PhrasesOnTheFifthDegreeFromBelow) {
    EXPECT_EQ(Cadence({0, 2, {4, 1}}).back(), S);
    EXPECT_EQ(Cadence({0, 2, {4, -1}}).back(), D);
    EXPECT_EQ(Cadence({2, 0, 4}).back(), D);
    EXPECT_EQ(Cadence({2, 1, 4}).back(), D);
    EXPECT_EQ(Cadence({2, 4}).back(), D);
    EXPECT_EQ(Cadence({0, 2, 4}).back(), T);
    EXPECT_EQ(Cadence({0, 1, 2, 4}).back(), T);
    EXPECT_EQ(Cadence({5, 1, 2, 4}).back(), D);
    EXPECT_EQ(Cadence({1, 2, 4}).back(), D);
    EXPECT_EQ(Cadence({3, 2, 4}).back(), T);
}

TEST(CadenceRules, PhrasesOnTheFifthDegreeFromTheFourth) {
    EXPECT_EQ(Cadence({2, {3, 1}, 4}), (Functions{0, S, D}));
    EXPECT_EQ(Cadence({2, {3, -1}, 4, 0}, kMajor, 2), (Functions{0, 0, D, 0}));
    EXPECT_EQ(Cadence({2, 3, 4}).back(), D);
    EXPECT_EQ(Cadence({2, 3, 4, 4}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({2, 3, 4, 0}, kMajor, 2)[2], T);
    EXPECT_EQ(Cadence({5, 3, 4, 0}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({6, 3, 4, 0}, kMajor, 2)[2], T);
    EXPECT_EQ(Cadence({3, 4, 0}, kMajor, 1)[1], T);
    EXPECT_EQ(Cadence({5, 3, 4, 0}, kMinor, 2, 0, D)[2], T);  // the phrase before ended on the dominant
    EXPECT_EQ(Cadence({5, 3, 4, 0}, kMinor, 2, 0, S)[2], D);
    EXPECT_EQ(Cadence({5, 3, 4, 0}, kMajor, 2, 0, D)[2], D);
}

TEST(CadenceRules, PhrasesOnTheFifthDegreeHeldOrFromTheSixth) {
    EXPECT_EQ(Cadence({2, {4, -1}, 4}), (Functions{0, S, D}));
    EXPECT_EQ(Cadence({2, {4, 1}, 4}), (Functions{0, 0, D}));
    EXPECT_EQ(Cadence({4, 4, 4}).back(), T);
    EXPECT_EQ(Cadence({4, 4, 4, 0}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({{4, 1}, 4, 4, 0}, kMajor, 2)[2], T);
    EXPECT_EQ(Cadence({5, 4, 4, 0}, kMajor, 2)[2], D);
    EXPECT_EQ(Cadence({2, 4, 4, 0}, kMajor, 2)[2], T);

    EXPECT_EQ(Cadence({1, {5, -1}, 4}), (Functions{0, 0, D}));
    EXPECT_EQ(Cadence({3, 5, 4}), (Functions{0, 0, D}));
    EXPECT_EQ(Cadence({0, {5, -1}, 4}), (Functions{0, S, D}));
    EXPECT_EQ(Cadence({0, {5, -1}, 4}, kMinor), (Functions{0, 0, D}));
    EXPECT_EQ(Cadence({0, {5, 1}, 4}, kMinor), (Functions{0, S, D}));
    EXPECT_EQ(Cadence({0, {5, 1}, 4}), (Functions{0, 0, T}));
    EXPECT_EQ(Cadence({0, 5, 4}), (Functions{0, 0, T}));
    EXPECT_EQ(Cadence({0, 5, 4, 0}, kMajor, 2), (Functions{0, S, D, 0}));

    EXPECT_EQ(Cadence({0, 6, 4}).back(), D);
    EXPECT_EQ(Cadence({0, 6, 4}, kMinor).back(), T);
    EXPECT_EQ(Cadence({0, {6, 1}, 4}).back(), 0);
    EXPECT_EQ(Cadence({0, 7, 4}).back(), 0);
}

TEST(CadenceRules, PhrasesOnTheSixthDegree) {
    EXPECT_EQ(Cadence({0, 4, {5, 1}, 0}, kMajor, 2), (Functions{0, 0, T, S}));
    EXPECT_EQ(Cadence({0, 4, {5, 1}}), (Functions{0, 0, T}));
    EXPECT_EQ(Cadence({0, 4, {5, 1}, 0}, kMinor, 2), (Functions{0, 0, S, 0}));
    EXPECT_EQ(Cadence({0, 4, {5, -1}}).back(), D);
    EXPECT_EQ(Cadence({0, 4, {5, -1}, 0}, kMajor, 2)[2], S);
    for (int32_t before : {0, 1, 3}) {
        EXPECT_EQ(Cadence({0, before, 5}).back(), S);
    }
    for (int32_t before : {2, 4, 5}) {
        EXPECT_EQ(Cadence({0, before, 5}).back(), kSixth);
    }
    EXPECT_EQ(Cadence({0, 6, 5}).back(), kSixth);
    for (int32_t next : {1, 4, 6}) {
        EXPECT_EQ(Cadence({0, 6, 5, next}, kMajor, 2)[2], S);
    }
    EXPECT_EQ(Cadence({0, 6, 5, 2}, kMajor, 2)[2], kSixth);
    EXPECT_EQ(Cadence({1, 6, 5, 1}, kMajor, 2)[2], kSixth);
    EXPECT_EQ(Cadence({0, 7, 5}).back(), 0);
}

TEST(CadenceRules, PhrasesOnTheSeventhDegree) {
    EXPECT_EQ(Cadence({0, 1, 6}).back(), D);
    EXPECT_EQ(Cadence({0, 1, {6, 1}}).back(), T);
    EXPECT_EQ(Cadence({0, 1, {6, -1}, 0}, kMajor, 2), (Functions{0, 0, T, S}));
    EXPECT_EQ(Cadence({0, 1, {6, -1}}), (Functions{0, 0, T}));
    EXPECT_EQ(Cadence({0, 1, {6, 1}}, kMinor).back(), D);
    EXPECT_EQ(Cadence({0, 1, {6, -1}, 0}, kMinor, 2), (Functions{0, 0, S, 0}));
    EXPECT_EQ(Cadence({0, {5, 1}, 6}, kMinor).back(), D);
    EXPECT_EQ(Cadence({0, 5, 6}, kMinor).back(), T);
    EXPECT_EQ(Cadence({0, {1, 1}, 6}, kMinor).back(), T);
}

TEST(CadenceRules, AnEighthDegreeIsLeftAlone) {
    Functions function = {0, 0, kSixth};
    AssignCadence(Melody({0, 4, 7}, 13), 2, 0, function);
    EXPECT_EQ(function, (Functions{0, 0, kSixth}));
}

// The same rules as a plain list of tests, tried one after the other.
void PlainCadence(const CadenceMelody& melody, int32_t e, int32_t prevEnd, Functions& f) {
    const auto& degree = melody.degree;
    const auto& alteration = melody.alteration;
    const auto& length = melody.duration;
    const int32_t n = static_cast<int32_t>(degree.size()), m = melody.scale;
    const bool last = e == n - 1;
    const int32_t d = degree[e], a = alteration[e], p = degree[e - 1], pa = alteration[e - 1];
    int32_t w = e;
    while (w > 0 && degree[w] == d) {
        --w;
    }
    const int32_t q = degree[w] != d ? degree[w] : -1;
    int32_t x = e - 2;
    if (e - 2 >= prevEnd + 1) {
        std::vector<float> between(length.begin() + prevEnd + 1, length.begin() + e);
        std::sort(between.begin(), between.end());
        const size_t c = between.size();
        const float median = c % 2 == 1 ? between[c / 2] : (between[c / 2 - 1] + between[c / 2]) / 2;
        x = e - 1;
        while (x > prevEnd + 1 && median > length[x]) {
            --x;
        }
    }
    const int32_t r = x >= 0 ? degree[x] : -1;
    auto end = [&](int32_t function) { f[e] = function; };
    auto both = [&](int32_t before, int32_t function) {
        f[e - 1] = before;
        f[e] = function;
    };
    if (d == 0) {
        if (a != 0) {
            return end(3);
        }
        if (p == 0 || r == 0) {
            return end(1);
        }
        if (p == 2 || p == 3 || p == 4 || p == 5) {
            return end(1);
        }
        if (p == 1) {
            return !last && pa == -1 ? end(3) : both(3, 1);
        }
        if (p != 6) {
            return;
        }
        if ((m == 0 || m == 7) && pa == 0) {
            return both(3, 1);
        }
        if (m == 5 && (pa == 0 || pa == 1)) {
            return both(3, 1);
        }
        if (m == 0) {
            return pa == -1 ? end(2) : end(1);
        }
        if (m == 5 && pa == -1) {
            return end(3);
        }
    } else if (d == 1) {
        if (a == -1) {
            return end(2);
        }
        if (a != 0) {
            return end(3);
        }
        if (p == 0 && pa == 0) {
            if (e > 1 && (degree[e - 2] == 2 || degree[e - 2] == 6)) {
                return end(3);
            }
            return last ? end(3) : end(2);
        }
        if (p == 0) {
            return pa == 1 ? end(2) : end(3);
        }
        if (p == 1) {
            return !last && degree[e + 1] == 4 ? end(2) : end(3);
        }
        if (p == 2 || p == 3 || p == 4 || p == 6) {
            return end(3);
        }
        if (p == 5) {
            return end(2);
        }
    } else if (d == 2) {
        if (a != 0 && m == 0) {
            return a == -1 ? end(1) : end(3);
        }
        if (a != 0) {
            return a == 1 ? end(1) : end(3);
        }
        if (p >= 0 && p <= 5) {
            return end(1);
        }
        if (p == 6) {
            return m != 0 ? end(3) : end(1);
        }
        if (last || degree[e + 1] == 0) {
            return end(1);
        }
    } else if (d == 3) {
        if (a == 1) {
            return end(2);
        }
        if (a != 0) {
            return end(3);
        }
        if (!last && m != 0 && degree[e + 1] == 2) {
            return end(3);
        }
        if (q == 0) {
            return end(2);
        }
        if (p == 1 || p == 6) {
            return end(3);
        }
        if (p == 2 || p == 5) {
            return end(2);
        }
        if (p == 3) {
            return q == 4 ? end(3) : end(2);
        }
        if (p == 4) {
            return last || degree[e + 1] == 2 ? end(3) : end(2);
        }
    } else if (d == 4) {
        if (a == 1) {
            return end(2);
        }
        if (a != 0) {
            return end(3);
        }
        if (p == 0 || p == 1) {
            return end(3);
        }
        if (p == 2) {
            if (e < 2) {
                return end(3);
            }
            const int32_t u = degree[e - 2];
            if (u == 0) {
                return end(1);
            }
            if (u == 1 && e > 2 && degree[e - 3] == 0) {
                return end(1);
            }
            return u == 3 ? end(1) : end(3);
        }
        if (p == 3) {
            if (pa == 1) {
                return both(2, 3);
            }
            if (pa != 0 || last) {
                return end(3);
            }
            if (e >= 2 && degree[e - 2] == 2) {
                return !last && degree[e + 1] == 4 ? end(3) : end(1);
            }
            if (m != 0 && f[prevEnd] == 3) {
                return end(1);
            }
            if (e < 2) {
                return end(1);
            }
            return degree[e - 2] == 5 ? end(3) : end(1);
        }
        if (p == 4) {
            if (pa == -1) {
                return both(2, 3);
            }
            if (pa == 1) {
                return end(3);
            }
            if (last) {
                return end(1);
            }
            if (e >= 2 && degree[e - 2] == 4 && alteration[e - 2] == 0) {
                return end(3);
            }
            return r == 5 ? end(3) : end(1);
        }
        if (p == 5) {
            if (e >= 2 && (degree[e - 2] == 1 || degree[e - 2] == 3)) {
                return end(3);
            }
            if (pa == -1) {
                if (m == 0) {
                    f[e - 1] = 2;
                }
                return end(3);
            }
            if (m != 0 && pa == 1) {
                return both(2, 3);
            }
            return last ? end(1) : both(2, 3);
        }
        if (p == 6 && pa == 0) {
            return m == 0 ? end(3) : end(1);
        }
    } else if (d == 5) {
        if (a == 1) {
            if (m != 0) {
                return end(2);
            }
            if (!last) {
                f[e + 1] = 2;
            }
            return end(1);
        }
        if (a == -1) {
            return last ? end(3) : end(2);
        }
        if (p == 0 || p == 1 || p == 3) {
            return end(2);
        }
        if (p == 2 || p == 4 || p == 5) {
            return end(4);
        }
        if (p != 6) {
            return;
        }
        if (!last && e >= 2 && degree[e - 2] == 0 &&
            (degree[e + 1] == 1 || degree[e + 1] == 4 || degree[e + 1] == 6)) {
            return end(2);
        }
        return end(4);
    } else if (d == 6) {
        if (m == 0) {
            if (a == 0) {
                return end(3);
            }
            if (a == -1 && !last) {
                f[e + 1] = 2;
            }
            return end(1);
        }
        if (a == 1) {
            return end(3);
        }
        if (a == -1) {
            return end(2);
        }
        return p == 5 && pa == 1 ? end(3) : end(1);
    }
}

TEST(CadenceRules, AgreeWithAPlainListOfTests) {
    std::mt19937 random(7);
    for (int round = 0; round < 300000; ++round) {
        const int32_t n = 2 + static_cast<int32_t>(random() % 7);
        std::vector<Note> notes;
        for (int32_t i = 0; i < n; ++i) {
            const int32_t alteration = random() % 3 == 0 ? static_cast<int32_t>(random() % 3) - 1 : 0;
            notes.emplace_back(static_cast<int32_t>(random() % 8), alteration,
                               0.5f * static_cast<float>(random() % 4));
        }
        const int32_t end = 1 + static_cast<int32_t>(random() % static_cast<uint32_t>(n - 1));
        const int32_t previousEnd = static_cast<int32_t>(random() % static_cast<uint32_t>(end));
        const int32_t rows[4] = {0, 5, 7, 2};
        const CadenceMelody melody = Melody(notes, rows[random() % 4]);
        Functions function(static_cast<size_t>(n));
        for (int32_t& value : function) {
            value = static_cast<int32_t>(random() % 5);
        }
        Functions expected = function;
        PlainCadence(melody, end, previousEnd, expected);
        AssignCadence(melody, end, previousEnd, function);
        ASSERT_EQ(function, expected) << "round " << round;
    }
}

TEST(CadenceRules, LengthsThatAreNoNumbersDoNoHarm) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<Note> notes;
    for (int32_t i = 0; i < 100; ++i) {
        notes.emplace_back(i % 7, 0, i % 3 == 0 ? nan : static_cast<float>(i % 5));
    }
    notes.emplace_back(0);
    EXPECT_NE(Cadence(notes).back(), 0);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
