// The commands of mlh. Each adds itself, with its options and help, and runs when it is parsed.
#pragma once

#include <CLI/CLI.hpp>

void AddHarmonizeCommand(CLI::App& app);
void AddAnalyzeCommand(CLI::App& app);
void AddArrangeCommand(CLI::App& app);
