#include "Text.h"

#include <glib.h>

#include <memory>

std::string AsUtf8(const std::string& text) {
    const std::string line = OneLine(text);
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(line.data(), static_cast<gssize>(line.size())), g_free);
    return valid.get();
}
