#include "choir/Settings.h"

#include <algorithm>
#include <cstddef>

namespace mlh::choir {

const Names& StyleNames() {
    static const Names& names =
        *new Names{"core", "choir", "four-part", "intervals", "block", "fourths", "fixed", "double"};
    return names;
}

const Names& LeadRowNames() {
    static const Names& names = *new Names{"bass", "tenor", "alto", "soprano"};
    return names;
}

const Names& SpacingNames() {
    static const Names& names = *new Names{"close", "open", "wide"};
    return names;
}

const Names* VariantNames(Style style) {
    static const Names& block =
        *new Names{"closed",       "closed-passing", "octave",       "octave-passing", "open",
                   "open-passing", "stack-narrow",   "stack-octave", "stack-wide"};
    static const Names& fourths = *new Names{"above", "above-perfect", "below", "below-perfect"};
    static const Names& fixed = *new Names{"fourth-above", "fourth-below", "fifth-above",     "fifth-below",
                                           "octave-above", "octave-below", "fourth-and-fifth"};
    switch (style) {
        case Style::Block:
            return &block;
        case Style::Fourths:
            return &fourths;
        case Style::Fixed:
            return &fixed;
        default:
            return nullptr;
    }
}

const Names& QualityNames() {
    static const Names& names = *new Names{"fast", "normal", "high", "auto"};
    return names;
}

const Names& ClipNames() {
    static const Names& names = *new Names{"auto", "scale", "limit", "none"};
    return names;
}

std::string Joined(const Names& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

namespace {

// Edit distance (Levenshtein, 1966).
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t best =
                std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = row[j];
            row[j] = best;
        }
    }
    return row[b.size()];
}

}  // namespace

const std::string& Nearest(const Names& names, const std::string& written) {
    constexpr std::size_t kLongest = 60;  // a name is shorter, and a text of megabytes would take for ever
    const std::string text = written.substr(0, kLongest);
    return *std::min_element(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
        return Distance(text, a) < Distance(text, b);
    });
}

ArrangeStyle ToArrangeStyle(Style style) {
    switch (style) {
        case Style::FourPart:
            return ArrangeStyle::FourPart;
        case Style::Intervals:
            return ArrangeStyle::Intervals;
        case Style::Block:
            return ArrangeStyle::Block;
        case Style::Fourths:
            return ArrangeStyle::Fourths;
        case Style::Fixed:
            return ArrangeStyle::Fixed;
        case Style::Double:
            return ArrangeStyle::Double;
        default:
            return ArrangeStyle::Chords;
    }
}

MelodyKey KeyFor(const Settings& settings, const Melody& melody) {
    MelodyKey key = settings.key ? *settings.key : melody.key ? *melody.key : EstimateKey(melody.notes);
    if (settings.scale) {
        key.scale = *settings.scale;
    }
    return key;
}

ArrangeSettings ToArrangeSettings(const Settings& settings) {
    ArrangeSettings arrange;
    arrange.style = ToArrangeStyle(settings.style);
    arrange.leadRow = settings.leadRow;
    arrange.spacing = settings.spacing;
    arrange.voices = settings.voices;
    arrange.above = settings.above.value_or(1);
    arrange.spread = static_cast<float>(settings.spread);
    arrange.variant = settings.variant;
    arrange.intervals = settings.intervals;
    arrange.interval = settings.interval;
    return arrange;
}

}  // namespace mlh::choir
