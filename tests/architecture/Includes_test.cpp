// Who may include whom. The arrows keep the rooms of the code apart: signal processing knows no music,
// harmony knows no audio, and only the C interface knows what a host is.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "support/Paths.h"

namespace mlh {

namespace {

namespace fs = std::filesystem;

const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"base", {"base"}},
    {"audio", {"audio", "base"}},
    {"theory", {"theory", "base"}},
    {"dsp", {"dsp", "base"}},
    {"analysis", {"analysis", "audio", "dsp", "theory", "base"}},
    {"synthesis", {"synthesis", "analysis", "audio", "dsp", "base"}},
    {"classic", {"classic", "theory", "base"}},
    {"harmony", {"harmony", "classic", "theory", "base"}},
    {"addon",
     {"addon", "harmony", "classic", "theory", "synthesis", "analysis", "audio", "dsp", "base", "mlh"}},
    {"api", {"api", "addon", "audio", "dsp", "base", "mlh"}},
};

std::set<std::string> ProjectIncludes(const fs::path& file) {
    static const std::regex include(R"re(^\s*#\s*include\s+"([^"]+)")re");
    std::set<std::string> found;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        std::smatch match;
        if (std::regex_search(line, match, include)) found.insert(match[1]);
    }
    return found;
}

std::string RoomOf(const std::string& path) { return path.substr(0, path.find('/')); }

TEST(Includes, FollowTheArrowsBetweenTheRooms) {
    const fs::path src = fs::path(SourceDir()) / "src";
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(src)) {
        if (!entry.is_regular_file()) continue;
        const std::string path = fs::relative(entry.path(), src).generic_string();
        const std::string room = RoomOf(path);
        const auto allowed = kMayInclude.find(room);
        if (allowed == kMayInclude.end()) continue;
        ++files;
        for (const std::string& include : ProjectIncludes(entry.path())) {
            EXPECT_TRUE(allowed->second.count(RoomOf(include)) > 0) << path << " includes " << include;
        }
    }
    EXPECT_GT(files, 40);
}

TEST(Includes, TheCommandSeesThePublicHeadersAlone) {
    const fs::path cli = fs::path(SourceDir()) / "cli";
    for (const auto& entry : fs::recursive_directory_iterator(cli)) {
        for (const std::string& include : ProjectIncludes(entry.path())) {
            EXPECT_TRUE(RoomOf(include) == "mlh" || fs::exists(cli / include))
                << entry.path() << " includes " << include;
        }
    }
}

}  // namespace

}  // namespace mlh
