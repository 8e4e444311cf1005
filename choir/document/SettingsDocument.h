// Settings as JSON: {"schema": 2, "kind": "settings", "voices": 3, "chords": "0 C, 2.5 Am"}.
//
// Everything is optional. The same document is a file of the command, a dictionary of a script, the saved
// session of a page and the state of a plug-in.
#pragma once

#include <string>

#include "choir/Settings.h"

namespace mlh::choir {

// The layout of all documents, settings and reports alike; it grows when a field changes its meaning.
inline constexpr int kSchema = 2;

// Throws UsageError with one line: for broken JSON where, for a name that is not known the nearest one, for a
// value what is asked for. `source` names the text in messages; what the document leaves out is as in
// `defaults`.
Settings ReadSettings(const std::string& json, const std::string& source = "settings",
                      const Settings& defaults = {});

// Each setting as it is, defaults included; read again it gives the same settings.
std::string WriteSettings(const Settings& settings);

// One setting as it is typed: a word, a number, or several with commas between. Throws UsageError with its
// name and what it takes.
void TypeSetting(Settings& settings, const std::string& name, const std::string& text);
// What it does and what it may be, null for an unknown name.
const char* HelpOf(const std::string& name);

// A page for people: each setting with what it does and what it may be.
std::string SettingsHelp();

}  // namespace mlh::choir
