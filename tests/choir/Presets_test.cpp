#include "choir/mix/Presets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace mlh::choir {

namespace {

double Power(const StereoGain& gain) { return gain.left * gain.left + gain.right * gain.right; }

}  // namespace

TEST(Presets, AreKnownByTheirNames) {
    for (const MixPreset preset : {MixPreset::Choir, MixPreset::Wide, MixPreset::Backing, MixPreset::Mono}) {
        EXPECT_EQ(ReadMixPreset(NameOf(preset)), preset);
    }
    EXPECT_FALSE(ReadMixPreset("Wide"));
    EXPECT_FALSE(ReadMixPreset(""));
}

TEST(Presets, BackingLeavesTheLeadOut) {
    const auto gains = GainsOf({.preset = MixPreset::Backing, .pans = {}, .levels = {}}, 4);
    ASSERT_EQ(gains.size(), 5u);
    EXPECT_EQ(gains[0], (StereoGain{0.0, 0.0}));
    EXPECT_GT(Power(gains[1]), 0.0);
}

TEST(Presets, MonoPutsEveryLineIntoTheMiddle) {
    for (const StereoGain& gain : GainsOf({.preset = MixPreset::Mono, .pans = {}, .levels = {}}, 4)) {
        EXPECT_EQ(gain.left, gain.right);
    }
}

TEST(Presets, PanningKeepsThePower) {
    MixSettings settings;
    const double middle = Power(GainsOf({.preset = MixPreset::Choir, .pans = {0.0}, .levels = {}}, 0)[0]);
    for (double pan = -1.0; pan <= 1.0; pan += 0.125) {
        settings.pans = {pan};
        const StereoGain gain = GainsOf(settings, 0)[0];
        EXPECT_NEAR(Power(gain), middle, 1e-12) << pan;
        EXPECT_EQ(pan<0.0, gain.left> gain.right) << pan;
    }
    settings.pans = {-3.0};
    EXPECT_NEAR(GainsOf(settings, 0)[0].right, 0.0, 1e-12);
}

TEST(Presets, LevelsAreDecibelsOnTopOfThePreset) {
    MixSettings settings;
    const auto plain = GainsOf(settings, 2);
    settings.levels = {std::nullopt, -6.0, -std::numeric_limits<double>::infinity()};
    const auto changed = GainsOf(settings, 2);
    EXPECT_EQ(changed[0], plain[0]);
    EXPECT_NEAR(changed[1].left / plain[1].left, std::pow(10.0, -0.3), 1e-12);
    EXPECT_EQ(changed[2], (StereoGain{0.0, 0.0}));
}

TEST(Presets, LinesAreBalancedBetweenTheSides) {
    for (const MixPreset preset : {MixPreset::Wide, MixPreset::Choir, MixPreset::Backing}) {
        double left = 0.0, right = 0.0;
        for (const StereoGain& gain : GainsOf({.preset = preset, .pans = {}, .levels = {}}, 4)) {
            left += gain.left * gain.left;
            right += gain.right * gain.right;
        }
        EXPECT_LT(std::fabs(10.0 * std::log10(left / right)), 1.5) << NameOf(preset);
    }
}

}  // namespace mlh::choir
