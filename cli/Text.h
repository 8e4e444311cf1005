// Small things done with text.
#pragma once

#include <cstdio>
#include <string>

// As printf, at most 255 bytes.
inline std::string Format(const char* format, auto... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// Without the blanks and tabs at both ends.
inline std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}
