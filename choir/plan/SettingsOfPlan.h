// The plan that settings ask for: a choir beside a lead, or four parts.
#pragma once

#include <optional>
#include <vector>

#include "choir/Settings.h"
#include "choir/plan/Plan.h"

namespace mlh::choir {

// Whether the choir's own voicing finds the voices: style choir, and style four-part where chords are given
// or asked for. Without any, four-part is the engine's own harmony.
bool IsPlanned(const Settings& settings);

// `leads` are the notes of the lead (MIDI), beside which four parts lie; the correction is left alone,
// snapping to `settings.snap` is the caller's. Throws UsageError for ranges that nobody can read.
PlanSettings ToPlanSettings(const Settings& settings, const std::vector<int>& leads);

// Of style four-part: Soprano to Bass instead of names by their place beside the lead. The voice of the lead
// stays the first.
void NameParts(const Settings& settings, std::vector<Voice>& voices);

}  // namespace mlh::choir
