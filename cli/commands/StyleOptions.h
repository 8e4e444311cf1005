// The options that say how a melody is set: shared by arrange and harmonize.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "Errors.h"
#include "choir/Settings.h"

namespace mlh::cli {

struct StyleOptions {
    std::string style;  // set to the command's default first
    std::string key;
    std::string scale;
    // Empty where the user left them out.
    std::string lead;
    std::string spacing;
    std::string variant;
    std::string intervals;
    std::optional<int> interval;
};

// Adds --style and what belongs to single styles, except voices, spread and key, which commands have anyway.
void AddStyleOptions(CLI::App& command, StyleOptions& options);

// The settings with what the options ask for. Throws UsageError for a name that the style does not know, and
// for an option of another style.
Settings ToSettings(const StyleOptions& options, Settings settings = {});

// A key name as --key takes it: 0 to 11 major, 12 to 23 minor. Throws UsageError.
int ParseKey(const std::string& text);

// The key of --key, nothing where it is left out. Throws UsageError.
std::optional<MelodyKey> GivenKey(const StyleOptions& options);

}  // namespace mlh::cli
