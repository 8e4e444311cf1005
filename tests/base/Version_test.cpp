#include "base/Version.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "support/Paths.h"

namespace mlh {

namespace {

std::string TextOf(const int32_t (&version)[4], int32_t numbers) {
    std::ostringstream text;
    for (int32_t i = 0; i < numbers; ++i) {
        text << (i > 0 ? "." : "") << version[i];
    }
    return text.str();
}

std::string FileText(const std::string& path) {
    std::ifstream file(std::string(SourceDir()) + "/" + path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(Version, IsThatOfThePackages) { EXPECT_EQ(TextOf(kAddOnVersion, 3), MLH_PROJECT_VERSION); }

TEST(Version, IsThatOfTheNewestChanges) {
    const std::string changes = FileText("CHANGELOG.md");
    std::smatch newest;
    ASSERT_TRUE(std::regex_search(changes, newest, std::regex(R"(\n## \[([0-9.]+)\])")));
    EXPECT_EQ(newest[1], TextOf(kAddOnVersion, 3));
}

TEST(Version, IsWrittenNowhereElse) {
    for (const std::string path : {"CMakeLists.txt", "include/mlh/mlh.h", "src/api/Version.cpp"}) {
        const std::string text = FileText(path);
        ASSERT_FALSE(text.empty()) << path;
        EXPECT_EQ(text.find(TextOf(kAddOnVersion, 3)), std::string::npos) << path;
        EXPECT_EQ(text.find(TextOf(kCoreVersion, 4)), std::string::npos) << path;
    }
}

}  // namespace

}  // namespace mlh
