// The commands of mlh. Each adds itself, with its options and help, and runs when it is parsed.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <sstream>
#include <string>

namespace mlh::cli {

void AddHarmonizeCommand(CLI::App& app);
void AddAnalyzeCommand(CLI::App& app);
void AddArrangeCommand(CLI::App& app);

// Of every command that reads a recording.
inline constexpr const char* kAcceptDamageHelp = "Go on with what can be read of a damaged recording";

// Lets no empty text through, which is a variable without a value more often than a wish.
inline CLI::Validator NotEmpty(const std::string& advice) {
    return CLI::Validator([advice](const std::string& text) { return text.empty() ? advice : std::string(); },
                          "");
}

// Lets numbers from `least` to `most` through; NaN does not pass.
inline CLI::Validator Between(double least, double most) {
    std::ostringstream range;
    range << least << " to " << most;
    const auto check = [least, most, text = range.str()](const std::string& given) {
        const double value = std::strtod(given.c_str(), nullptr);
        return value >= least && value <= most ? std::string() : given + " is not from " + text;
    };
    return CLI::Validator(check, range.str());
}

}  // namespace mlh::cli
