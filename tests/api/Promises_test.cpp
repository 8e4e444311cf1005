// What the headers promise and what cmake/exports.txt and cmake/classes.txt keep in the installed libraries
// are the same functions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "support/Paths.h"

namespace mlh {

namespace {

std::string TextOf(const std::string& path) {
    std::ifstream file(SourceDir() + "/" + path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::set<std::string> NamesOf(const std::string& list) {
    std::set<std::string> names;
    std::ifstream file(SourceDir() + "/" + list);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line[0] != '#') {
            names.insert(line);
        }
    }
    return names;
}

// Functions that a header in C++ declares without a body: those that begin a line, and static members.
std::set<std::string> DeclaredFunctions(const std::string& header) {
    static const std::regex comment("//[^\n]*");
    static const std::regex part(
        R"(\nclass (\w+)|\n(?:const )?[\w:]+(?:<[^;()\n]*>)?[&* ]+(\w+)\([^;{}]*\);|\n +static [\w:&*<> ]*[&* ](\w+)\([^;{}]*\);)");
    const std::string text = std::regex_replace(TextOf(header), comment, "");
    std::set<std::string> functions;
    std::string currentClass;
    for (std::sregex_iterator at(text.begin(), text.end(), part), end; at != end; ++at) {
        if ((*at)[1].matched) {
            currentClass = (*at)[1];
        }
        if ((*at)[2].matched) {
            functions.insert("mlh::" + (*at)[2].str());
        }
        if ((*at)[3].matched) {
            functions.insert("mlh::" + currentClass + "::" + (*at)[3].str());
        }
    }
    return functions;
}

TEST(Promises, OfTheHeadersInCAreTheExports) {
    static const std::regex exported(R"(\nMLH_EXPORT\s[^;(]*?(\w+)\()");
    const std::string text = TextOf("include/mlh/mlh.h");
    std::set<std::string> functions;
    for (std::sregex_iterator at(text.begin(), text.end(), exported), end; at != end; ++at) {
        functions.insert((*at)[1]);
    }
    EXPECT_EQ(functions, NamesOf("cmake/exports.txt"));
    EXPECT_EQ(functions.size(), 29u);
}

TEST(Promises, OfTheClassHeadersAreTheClassList) {
    std::set<std::string> functions;
    int headers = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SourceDir() + "/include/mlh")) {
        const std::string header = "include/mlh/" + entry.path().filename().string();
        if (TextOf(header).find("\nnamespace mlh {") == std::string::npos) {
            continue;
        }
        functions.merge(DeclaredFunctions(header));
        ++headers;
    }
    EXPECT_GE(headers, 3);
    EXPECT_EQ(functions, NamesOf("cmake/classes.txt"));
}

}  // namespace

}  // namespace mlh
