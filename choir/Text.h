// Small things done with text.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

namespace mlh::choir {

// As printf, at most 255 bytes.
inline std::string Format(const char* format, auto... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// Without the blanks and tabs at both ends.
inline std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Control characters, which file names may have in them, as question marks.
inline std::string OneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text;
}

// As pictures, XML and JSON can hold it: valid UTF-8 without control characters. File names may be any bytes.
std::string AsUtf8(const std::string& text);

}  // namespace mlh::choir
