#include "commands/StyleOptions.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "choir/chords/ChordText.h"
#include "choir/score/Music.h"
#include "commands/Commands.h"

namespace mlh::cli {

namespace {

constexpr int kMaxSteps = 21;      // three octaves
constexpr int kMaxSemitones = 36;  // three octaves

int IndexOf(const Names& names, const std::string& name, const std::string& option) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        throw UsageError(option + ": '" + name + "' is none of " + Joined(names));
    }
    return static_cast<int>(found - names.begin());
}

void CheckStyle(bool given, bool fits, const std::string& option, const std::string& style) {
    if (given && !fits) {
        throw UsageError(option + " is for --style " + style);
    }
}

std::array<int32_t, 4> ReadIntervals(const std::string& text) {
    std::array<int32_t, 4> intervals{};
    std::istringstream cells(text);
    std::string cell;
    std::size_t count = 0;
    for (; std::getline(cells, cell, ','); ++count) {
        char* end = nullptr;
        const long value = std::strtol(cell.c_str(), &end, 10);
        if (count >= 4 || cell.empty() || *end != '\0' || std::labs(value) > kMaxSteps) {
            throw UsageError("--intervals: '" + text + "' is not four scale steps, like \"0,2,-2,-3\"");
        }
        intervals[count] = static_cast<int32_t>(value);
    }
    if (count != 4) {
        throw UsageError("--intervals: '" + text + "' is not four scale steps, like \"0,2,-2,-3\"");
    }
    return intervals;
}

}  // namespace

void AddStyleOptions(CLI::App& command, StyleOptions& options) {
    Names names = StyleNames();
    names.emplace_back(kOldNameOfCore);
    command.add_option("--style", options.style, "How the voices are found (default " + options.style + ")")
        ->check(CLI::IsMember(names))
        ->type_name("NAME");
    command.add_option("--scale", options.scale, "Scale of the key (default: the one in --key)")
        ->check(CLI::IsMember(ScaleNames()))
        ->type_name("NAME");
    command
        .add_option("--lead", options.lead,
                    "four-part: who sings the melody, where it lies (default soprano)")
        ->check(CLI::IsMember(LeadRowNames()))
        ->type_name("NAME");
    command
        .add_option("--spacing", options.spacing, "four-part: how far apart the voices lie (default open)")
        ->check(CLI::IsMember(SpacingNames()))
        ->type_name("NAME");
    command
        .add_option("--variant", options.variant,
                    "block: " + Joined(*VariantNames(Style::Block)) +
                        "; fourths: " + Joined(*VariantNames(Style::Fourths)) +
                        "; fixed: " + Joined(*VariantNames(Style::Fixed)) + " (default: the first)")
        ->type_name("NAME");
    command
        .add_option("--intervals", options.intervals,
                    "intervals: scale steps of the four voices from the melody (default \"0,2,-2,-3\")")
        ->type_name("LIST");
    command
        .add_option("--interval", options.interval,
                    "double: semitones from the melody to the other voice (default 12)")
        ->check(Between(-kMaxSemitones, kMaxSemitones));
}

Settings ToSettings(const StyleOptions& options, Settings settings) {
    if (!options.style.empty()) {
        settings.style = options.style == kOldNameOfCore
                             ? Style::Core
                             : static_cast<Style>(IndexOf(StyleNames(), options.style, "--style"));
    }
    const Style style = settings.style;
    const Names* variants = VariantNames(style);
    CheckStyle(!options.lead.empty(), style == Style::FourPart, "--lead", "four-part");
    CheckStyle(!options.spacing.empty(), style == Style::FourPart, "--spacing", "four-part");
    CheckStyle(!options.variant.empty(), variants != nullptr, "--variant", "block, fourths or fixed");
    CheckStyle(!options.intervals.empty(), style == Style::Intervals, "--intervals", "intervals");
    CheckStyle(options.interval.has_value(), style == Style::Double, "--interval", "double");
    if (!options.lead.empty()) {
        settings.leadRow = IndexOf(LeadRowNames(), options.lead, "--lead");
    }
    if (!options.spacing.empty()) {
        settings.spacing = IndexOf(SpacingNames(), options.spacing, "--spacing");
    }
    if (!options.variant.empty()) {
        settings.variant = IndexOf(*variants, options.variant, "--variant");
    }
    if (!options.intervals.empty()) {
        settings.intervals = ReadIntervals(options.intervals);
    }
    if (options.interval) {
        settings.interval = *options.interval;
    }
    if (!options.scale.empty()) {
        settings.scale = IndexOf(ScaleNames(), options.scale, "--scale");
    }
    return settings;
}

int ParseKey(const std::string& text) {
    const int key = ReadKey(text);
    if (key < 0) {
        throw UsageError("--key: cannot read '" + text + "'; write it like C, F#m or Bb minor");
    }
    return key;
}

std::optional<MelodyKey> GivenKey(const StyleOptions& options) {
    if (options.key.empty()) {
        return std::nullopt;
    }
    if (const auto key = ReadKeyAndScale(options.key)) {
        return key;
    }
    try {
        return ReadKeyAndScale(KeyName(ParseKey(options.key)));
    } catch (const UsageError& error) {
        throw UsageError(std::string(error.what()) + ", or with a scale, like D dorian");
    }
}

}  // namespace mlh::cli
