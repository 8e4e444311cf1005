#include "choir/plan/SettingsOfPlan.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "choir/Errors.h"
#include "choir/voicing/Ranges.h"

namespace mlh::choir {

namespace {

constexpr int kParts = 4;
constexpr int kLowestNote = 40;  // E2: what lies lower nobody sings by accident
constexpr int kLeastRange = 12;  // [semitones]

// By row: 0 bass to 3 soprano.
constexpr std::array<const char*, kParts> kPartNames = {"Bass", "Tenor", "Alto", "Soprano"};
constexpr std::array<const char*, kParts> kRangeNames = {"bass", "tenor", "alto", "soprano"};

int RowOfLead(const Settings& settings) { return std::clamp(settings.leadRow, 0, kParts - 1); }

// Rows of the harmony as plans have them: those above the lead from the nearest up, then those below.
std::vector<int> RowsBeside(int lead) {
    std::vector<int> rows;
    for (int row = lead + 1; row < kParts; ++row) {
        rows.push_back(row);
    }
    for (int row = lead - 1; row >= 0; --row) {
        rows.push_back(row);
    }
    return rows;
}

// The ranges of a choir, moved with the lead where it does not lie in its own.
PitchRange RangeOfRow(int row, int moved) {
    PitchRange range = *ReadRange(kRangeNames[static_cast<std::size_t>(row)]);
    range.low = std::max(range.low + moved, kLowestNote);
    range.high = std::min(std::max(range.high + moved, range.low + kLeastRange), 127);
    return range;
}

// Semitones by which the lead's middle half lies outside of its voice's range.
int MoveOf(int row, std::vector<int> leads) {
    if (leads.empty()) {
        return 0;
    }
    std::sort(leads.begin(), leads.end());
    const PitchRange range = *ReadRange(kRangeNames[static_cast<std::size_t>(row)]);
    const int low = leads[leads.size() / 4];
    const int high = leads[leads.size() * 3 / 4];
    return std::max(high - range.high, 0) + std::min(low - range.low, 0);
}

}  // namespace

bool IsPlanned(const Settings& settings) {
    return settings.style == Style::Choir ||
           (settings.style == Style::FourPart &&
            (!settings.chords.empty() || settings.chordsFrom == ChordSource::Tracker ||
             settings.chordsFrom == ChordSource::Given));
}

PlanSettings ToPlanSettings(const Settings& settings, const std::vector<int>& leads) {
    PlanSettings plan;
    plan.intonation = settings.just ? Intonation::Just : Intonation::Equal;
    plan.correction = settings.correction.value_or(plan.correction);
    if (settings.style == Style::FourPart) {
        const int row = RowOfLead(settings);
        const int moved = MoveOf(row, leads);
        plan.manner = VoicingManner::FourPart;
        plan.voices = kParts;
        plan.above = kParts - 1 - row;
        plan.spread = 0.5 * settings.spacing;  // close, open, wide
        for (const int other : RowsBeside(row)) {
            plan.ranges.push_back(RangeOfRow(other, moved));
        }
        return plan;
    }
    plan.voices = settings.voices;
    plan.above = settings.above;
    plan.spread = settings.spread;
    // Ranges are given for the voices, the doubling first; the plan asks for those of the harmony.
    for (int voice = 1; voice < settings.voices && !settings.ranges.empty(); ++voice) {
        const auto at = settings.ranges.size() == 1 ? 0 : static_cast<std::size_t>(voice);
        const std::string text = at < settings.ranges.size() ? settings.ranges[at] : "auto";
        const auto range = ReadRange(text);
        if (!range && text != "auto" && !text.empty()) {
            throw UsageError("range: a voice type like alto, or notes like E2-C5");
        }
        plan.ranges.push_back(range);
    }
    return plan;
}

void NameParts(const Settings& settings, std::vector<Voice>& voices) {
    if (settings.style != Style::FourPart || voices.empty()) {
        return;
    }
    const int lead = RowOfLead(settings);
    const std::vector<int> rows = RowsBeside(lead);
    voices[0].name = kPartNames[static_cast<std::size_t>(lead)];
    for (std::size_t v = 1; v < voices.size() && v <= rows.size(); ++v) {
        voices[v].name = kPartNames[static_cast<std::size_t>(rows[v - 1])];
    }
}

}  // namespace mlh::choir
