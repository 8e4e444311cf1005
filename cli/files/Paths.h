// File names are UTF-8 throughout the command, on Windows too.
#pragma once

#include <filesystem>
#include <string>

namespace mlh::cli {

inline std::filesystem::path PathOf(const std::string& name) {
    return std::filesystem::path(std::u8string(name.begin(), name.end()));
}

inline std::string NameOf(const std::filesystem::path& path) {
    const std::u8string name = path.u8string();
    return std::string(name.begin(), name.end());
}

}  // namespace mlh::cli
