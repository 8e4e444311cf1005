#include "choir/render/VoicePlan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

constexpr double kSeconds = 6.0;

std::vector<LeadNote> Lead() {
    return {{{0.5, 1.5, 60.1, 1.0}, 60.15}, {{1.5, 2.5, 62.0, 1.0}, 62.0}, {{3.5, 4.5, 64.2, 1.0}, 64.2}};
}

VoiceOrder Order() {
    VoiceOrder order;
    order.notes = {{0, 0.5, 1.5, 64, 64.1, 1.0}, {1, 1.5, 2.5, 65, 65.1, 1.0}, {2, 3.5, 4.5, 67, 67.1, 1.0}};
    return order;
}

const std::vector<Unvoiced> kPauses = {{0.0, 0.4}, {2.7, 3.4}, {4.6, kSeconds}};

const VoiceSegment* SegmentAt(const VoicePlan& plan, double time) {
    for (const VoiceSegment& segment : plan.segments) {
        if (segment.targetStart <= time && time < segment.targetEnd) {
            return &segment;
        }
    }
    return nullptr;
}

void ExpectWhole(const VoicePlan& plan) {
    double target = 0.0, source = 0.0;
    for (const VoiceSegment& segment : plan.segments) {
        EXPECT_EQ(segment.targetStart, target);
        EXPECT_EQ(segment.sourceStart, source);
        EXPECT_GT(segment.targetEnd, segment.targetStart);
        EXPECT_GT(segment.sourceEnd, segment.sourceStart);
        target = segment.targetEnd;
        source = segment.sourceEnd;
    }
    EXPECT_NEAR(source, kSeconds, 1e-9);
    EXPECT_GE(target, kSeconds - 1e-9);
    for (std::size_t i = 0; i + 1 < plan.level.size(); ++i) {
        EXPECT_LT(plan.level[i].time, plan.level[i + 1].time);
    }
}

TEST(VoicePlan, MovesEachNoteFromWhatWasSungToWhatIsWanted) {
    const VoicePlan plan = PlanVoice(Order(), Lead(), kPauses, {}, kSeconds);
    ExpectWhole(plan);
    for (const auto& [time, offset] : {std::pair{1.0, 4.0}, {2.0, 3.1}, {4.0, 2.9}}) {
        const VoiceSegment* segment = SegmentAt(plan, time);
        ASSERT_NE(segment, nullptr);
        EXPECT_NEAR(segment->targetPitch - segment->detectedPitch, offset, 1e-4) << time;
        EXPECT_NEAR(SegmentAt(plan, 1.0)->detectedPitch, 60.15, 1e-4);
    }
}

TEST(VoicePlan, LeavesWhatHasNoPitchAsItIs) {
    const VoicePlan plan = PlanVoice(Order(), Lead(), kPauses, {}, kSeconds);
    for (const double time : {0.2, 3.0, 5.0}) {
        const VoiceSegment* segment = SegmentAt(plan, time);
        EXPECT_EQ(segment->targetPitch, segment->detectedPitch) << time;
    }
    // The voice comes in a little before the note was found, and that is the note's.
    EXPECT_NEAR(SegmentAt(plan, 3.45)->targetPitch - SegmentAt(plan, 3.45)->detectedPitch, 2.9, 1e-4);
    EXPECT_NEAR(SegmentAt(plan, 0.45)->targetPitch - SegmentAt(plan, 0.45)->detectedPitch, 4.0, 1e-4);
}

TEST(VoicePlan, GlidesAsTheSingerBetweenNotesAndShortlyAtChords) {
    auto order = Order();
    order.notes[1].lead = 0;  // a chord cuts the first note
    const VoicePlan cut = PlanVoice(order, Lead(), {}, {}, kSeconds);
    const VoiceSegment* before = SegmentAt(cut, 1.49);
    const VoiceSegment* after = SegmentAt(cut, 1.51);
    EXPECT_NEAR(before->glideOutShare * (before->targetEnd - before->targetStart), 0.035, 1e-6);
    EXPECT_NEAR(after->glideInShare * (after->targetEnd - after->targetStart), 0.035, 1e-6);
    const VoicePlan natural = PlanVoice(Order(), Lead(), {}, {}, kSeconds);
    EXPECT_LT(SegmentAt(natural, 1.49)->glideOutShare, 0.0f);
    EXPECT_LT(SegmentAt(natural, 1.51)->glideInShare, 0.0f);
    EXPECT_EQ(SegmentAt(natural, 1.0)->glideInShare, 0.0f);
}

TEST(VoicePlan, RestsAreSilentAndNotesAsLoudAsAsked) {
    auto order = Order();
    order.notes[1].note = -1;
    order.notes[2].level = 0.5;
    const VoicePlan plan = PlanVoice(order, Lead(), kPauses, {1.0, 1.0, 1.4}, kSeconds);
    EXPECT_NEAR(GainAt(plan.level, 1.0), 1.0, 1e-9);
    EXPECT_NEAR(GainAt(plan.level, 2.0), 0.0, 1e-9);
    EXPECT_NEAR(GainAt(plan.level, 4.0), 0.7, 1e-9);
    EXPECT_NEAR(GainAt(plan.level, 5.9), 0.0, 1e-9);
    // No step that clicks: at most a tenth in a millisecond.
    for (double time = 0.0; time < kSeconds; time += 0.001) {
        EXPECT_LT(std::fabs(GainAt(plan.level, time + 0.001) - GainAt(plan.level, time)), 0.13) << time;
    }
    EXPECT_TRUE(PlanVoice({}, Lead(), kPauses, {}, kSeconds).level.back().gain == 0.0);
}

TEST(VoicePlan, MannersMoveTimesPitchAndLevel) {
    auto order = Order();
    order.manners.resize(3);
    order.manners[0].onset = 0.03;
    order.manners[0].release = order.manners[1].onset = -0.02;
    order.manners[2].detune = 0.05;
    order.manners[2].levelsInside = {6.0};
    order.manners[2].vibrato = 0.5;
    order.vibrato = 0.8;
    order.formant = -1.0;
    order.manners[2].formant = 0.25;
    const VoicePlan plan = PlanVoice(order, Lead(), kPauses, {}, kSeconds);
    ExpectWhole(plan);
    EXPECT_NEAR(TargetOf(plan.times, 0.5), 0.53, 1e-9);
    EXPECT_NEAR(TargetOf(plan.times, 1.5), 1.48, 1e-9);
    EXPECT_NEAR(SourceOf(plan.times, 1.48), 1.5, 1e-9);
    EXPECT_NEAR(SegmentAt(plan, 4.0)->targetPitch - SegmentAt(plan, 4.0)->detectedPitch, 2.95, 1e-4);
    EXPECT_NEAR(SegmentAt(plan, 4.0)->modulationKeep, 0.4, 1e-6);
    EXPECT_NEAR(SegmentAt(plan, 4.0)->formantShift, -0.75, 1e-6);
    EXPECT_NEAR(GainAt(plan.level, 0.5 * (plan.notes[2].start + plan.notes[2].end)), std::pow(10.0, 0.3),
                1e-3);
    EXPECT_NEAR(plan.notes[0].start, 0.53, 1e-9);
}

TEST(VoicePlan, PitchWandersInsideANoteByGlides) {
    auto order = Order();
    order.manners.resize(3);
    order.manners[0].inside = {0.0, 0.0};
    order.manners[0].drift = {0.04, -0.01, -0.03};
    const VoicePlan plan = PlanVoice(order, Lead(), kPauses, {}, kSeconds);
    ExpectWhole(plan);
    for (const auto& [time, drift] : {std::pair{0.6, 0.04}, {1.0, -0.01}, {1.4, -0.03}}) {
        const VoiceSegment* segment = SegmentAt(plan, time);
        EXPECT_NEAR(segment->targetPitch - segment->detectedPitch, 4.0 + drift, 1e-4) << time;
    }
    EXPECT_GT(SegmentAt(plan, 1.0)->glideInShare, 0.0f);
    EXPECT_GT(SegmentAt(plan, 1.0)->glideOutShare, 0.0f);
}

TEST(VoicePlan, EachConsonantHasItsOwnLevel) {
    auto order = Order();
    order.manners.resize(3);
    order.manners[2].consonant = -6.0;
    const VoicePlan plan = PlanVoice(order, Lead(), kPauses, {}, kSeconds);
    EXPECT_NEAR(GainAt(plan.consonants, 3.0), std::pow(10.0, -0.3), 1e-9);  // before the third note
    EXPECT_NEAR(GainAt(plan.consonants, 0.2), 1.0, 1e-9);
    EXPECT_NEAR(GainAt(plan.consonants, 4.0), 1.0, 1e-9);
}

TEST(VoicePlan, ConsonantsBecomeSofterWithoutAClick) {
    auto order = Order();
    order.consonants = 0.3;
    const VoicePlan plan = PlanVoice(order, Lead(), kPauses, {}, kSeconds);
    EXPECT_NEAR(GainAt(plan.consonants, 3.0), 0.3, 1e-9);
    EXPECT_NEAR(GainAt(plan.consonants, 2.0), 1.0, 1e-9);
    EXPECT_TRUE(PlanVoice(Order(), Lead(), kPauses, {}, kSeconds).consonants.empty());
}

TEST(VoicePlan, AnyNotesMakeSegmentsWithoutGap) {
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        RandomSource random(seed);
        std::vector<LeadNote> lead;
        VoiceOrder order;
        std::vector<Unvoiced> unvoiced;
        double time = 0.0;
        const int count = static_cast<int>(random.Uniform() * 12.0);
        for (int i = 0; i < count; ++i) {
            const double start = time + 0.3 * random.Uniform() - 0.1,
                         end = start + 0.6 * random.Uniform() - 0.05;
            lead.push_back({{start, end, 60.0, 1.0}, 60.0});
            const int note = random.Uniform() < 0.2 ? -1 : 64;
            order.notes.push_back(
                {static_cast<int>(random.Uniform() * 14.0) - 1, start, end, note, 64.0, 1.0});
            time = end;
        }
        for (double hiss = 0.2 * random.Uniform(); hiss < kSeconds - 0.3; hiss += 0.1 + random.Uniform()) {
            unvoiced.push_back({hiss, hiss + 0.025 + 0.1 * random.Uniform()});
            hiss = unvoiced.back().end;
        }
        order.manners = Humanize(order.notes, 1, {random.Uniform(), seed});
        ExpectWhole(PlanVoice(order, lead, unvoiced, {}, kSeconds));
    }
}

}  // namespace

}  // namespace mlh::choir
