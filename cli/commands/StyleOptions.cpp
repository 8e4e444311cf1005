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

using mlh::ArrangeStyle;
using Names = std::vector<std::string>;

// In the order of the library's codes.
const Names kStyles = {"four-part", "chords", "intervals", "block", "fourths", "fixed", "double"};
const Names kRows = {"bass", "tenor", "alto", "soprano"};
const Names kSpacings = {"close", "open", "wide"};
const Names kBlocks = {"closed",       "closed-passing", "octave",       "octave-passing", "open",
                       "open-passing", "stack-narrow",   "stack-octave", "stack-wide"};
const Names kFourths = {"above", "above-perfect", "below", "below-perfect"};
const Names kFixed = {"fourth-above", "fourth-below", "fifth-above",     "fifth-below",
                      "octave-above", "octave-below", "fourth-and-fifth"};

constexpr int kMaxSteps = 21;      // three octaves
constexpr int kMaxSemitones = 36;  // three octaves

std::string Joined(const Names& names) {
    std::string text;
    for (const std::string& name : names) {
        if (!text.empty()) text += ", ";
        text += name;
    }
    return text;
}

int IndexOf(const Names& names, const std::string& name, const std::string& option) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        throw UsageError(option + ": '" + name + "' is none of " + Joined(names));
    }
    return static_cast<int>(found - names.begin());
}

const Names* VariantsOf(ArrangeStyle style) {
    switch (style) {
        case ArrangeStyle::Block:
            return &kBlocks;
        case ArrangeStyle::Fourths:
            return &kFourths;
        case ArrangeStyle::Fixed:
            return &kFixed;
        default:
            return nullptr;
    }
}

void CheckStyle(bool given, bool fits, const std::string& option, const std::string& style) {
    if (given && !fits) throw UsageError(option + " is for --style " + style);
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
    command.add_option("--style", options.style, "How the voices are found (default " + options.style + ")")
        ->check(CLI::IsMember(kStyles))
        ->type_name("NAME");
    command.add_option("--scale", options.scale, "Scale of the key (default: the one in --key)")
        ->check(CLI::IsMember(mlh::ScaleNames()))
        ->type_name("NAME");
    command
        .add_option("--lead", options.lead,
                    "four-part: who sings the melody, where it lies (default soprano)")
        ->check(CLI::IsMember(kRows))
        ->type_name("NAME");
    command
        .add_option("--spacing", options.spacing, "four-part: how far apart the voices lie (default open)")
        ->check(CLI::IsMember(kSpacings))
        ->type_name("NAME");
    command
        .add_option("--variant", options.variant,
                    "block: " + Joined(kBlocks) + "; fourths: " + Joined(kFourths) +
                        "; fixed: " + Joined(kFixed) + " (default: the first)")
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

mlh::ArrangeSettings ToSettings(const StyleOptions& options) {
    mlh::ArrangeSettings settings;
    settings.style = static_cast<ArrangeStyle>(IndexOf(kStyles, options.style, "--style"));
    const ArrangeStyle style = settings.style;
    const Names* variants = VariantsOf(style);
    CheckStyle(!options.lead.empty(), style == ArrangeStyle::FourPart, "--lead", "four-part");
    CheckStyle(!options.spacing.empty(), style == ArrangeStyle::FourPart, "--spacing", "four-part");
    CheckStyle(!options.variant.empty(), variants != nullptr, "--variant", "block, fourths or fixed");
    CheckStyle(!options.intervals.empty(), style == ArrangeStyle::Intervals, "--intervals", "intervals");
    CheckStyle(options.interval.has_value(), style == ArrangeStyle::Double, "--interval", "double");
    if (!options.lead.empty()) settings.leadRow = IndexOf(kRows, options.lead, "--lead");
    if (!options.spacing.empty()) settings.spacing = IndexOf(kSpacings, options.spacing, "--spacing");
    if (!options.variant.empty()) settings.variant = IndexOf(*variants, options.variant, "--variant");
    if (!options.intervals.empty()) settings.intervals = ReadIntervals(options.intervals);
    if (options.interval) settings.interval = *options.interval;
    return settings;
}

int ParseKey(const std::string& text) {
    const int key = ReadKey(text);
    if (key < 0) throw UsageError("--key: cannot read '" + text + "'; write it like C, F#m or Bb minor");
    return key;
}

std::optional<MelodyKey> GivenKey(const StyleOptions& options) {
    if (options.key.empty()) return std::nullopt;
    if (const auto key = ReadKeyAndScale(options.key)) return key;
    try {
        return ReadKeyAndScale(KeyName(ParseKey(options.key)));
    } catch (const UsageError& error) {
        throw UsageError(std::string(error.what()) + ", or with a scale, like D dorian");
    }
}

MelodyKey KeyFor(const StyleOptions& options, const Melody& melody) {
    const auto given = GivenKey(options);
    MelodyKey key = given ? *given : melody.key ? *melody.key : EstimateKey(melody.notes);
    if (!options.scale.empty()) key.scale = IndexOf(mlh::ScaleNames(), options.scale, "--scale");
    return key;
}

}  // namespace mlh::cli
