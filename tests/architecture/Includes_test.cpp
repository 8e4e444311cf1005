// Who may include whom. The arrows keep the rooms of the code apart: signal processing knows no music,
// harmony knows no audio, only the C interface knows what a host is, and guests see the public headers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/Paths.h"

namespace mlh {

namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

// Every room and the rooms that it may include beside itself: folders of src/ by their names, other folders
// of the project by theirs.
const std::map<std::string, Names> kMayInclude = {
    {"base", {}},
    {"audio", {"base"}},
    {"theory", {"base"}},
    {"dsp", {"audio", "base"}},
    {"classic", {"theory", "base"}},
    {"analysis", {"dsp", "audio", "theory", "base"}},
    {"harmony", {"classic", "theory", "base"}},
    {"synthesis", {"analysis", "dsp", "audio", "theory", "base"}},
    {"addon", {"synthesis", "harmony", "analysis", "classic", "dsp", "audio", "theory", "base", "include"}},
    {"api",
     {"addon", "synthesis", "harmony", "analysis", "classic", "dsp", "audio", "theory", "base", "include"}},
    {"include", {}},
    {"choir", {"include", "theory", "base"}},
    {"cli", {"choir", "include"}},
    {"python", {"choir", "include"}},
    {"web", {"choir", "include"}},
    {"plugins", {"choir", "include"}},
};

// Folders whose files may include what they need.
const Names kFree = {"tests", "bench", "examples", "cmake", "docs", "scripts", "build", "out"};

// Headers from outside that are not of the C++ library. A * stands for any.
const std::map<std::string, Names> kOutside = {
    {"base", {"malloc.h"}},
    {"dsp", {"immintrin.h", "xmmintrin.h", "cpuid.h", "intrin.h"}},
    {"api", {"xmmintrin.h"}},
    {"include", {"stdint.h", "stdbool.h"}},
    {"choir", {"nlohmann/json.hpp"}},
    {"cli", {"*"}},
    {"python", {"*"}},
    {"web", {"*"}},
    {"plugins", {"*"}},
};

// The choir has no files, no threads and no clock, so that a page in a browser can have a choir.
const Names kNotInChoir = {"fstream", "filesystem", "thread", "future", "chrono", "ctime", "time.h"};

bool IsSource(const fs::path& path) {
    static const Names endings = {".h",   ".hpp", ".hh",  ".c",   ".cc", ".cpp",
                                  ".cxx", ".inc", ".inl", ".ipp", ".tcc"};
    return endings.count(path.extension().string()) > 0;
}

struct Include {
    std::string text;  // with its quotes or brackets, or what stands in their place
    std::string path;  // empty if it is neither
    bool quoted;
};

std::vector<Include> IncludesOf(const std::string& source) {
    static const std::regex comments(R"(/\*[^]*?\*/)");
    static const std::regex form(
        R"((?:^|\n)[ \t]*(?:#|%:)[ \t]*(?:include|include_next|import)\b[ \t]*([^\n]*))");
    static const std::regex quoted(R"re("([^"]*)".*)re"), angled(R"(<([^>]*)>.*)");
    const std::string code = std::regex_replace(source, comments, " ");
    std::vector<Include> includes;
    for (std::sregex_iterator at(code.begin(), code.end(), form), end; at != end; ++at) {
        const std::string text = (*at)[1];
        std::smatch match;
        if (std::regex_match(text, match, quoted)) {
            includes.push_back({text, match[1], true});
        } else if (std::regex_match(text, match, angled)) {
            includes.push_back({text, match[1], false});
        } else {
            includes.push_back({text, "", false});
        }
    }
    return includes;
}

// The project's file that an include means: with quotes one beside the file, else one below the folders that
// compilers are given. Empty for one from outside.
fs::path Meant(const Include& include, const fs::path& root, const fs::path& file, const std::string& room) {
    std::vector<fs::path> folders = {root / "src", root / "include", root / room, root};
    if (include.quoted) {
        folders.insert(folders.begin(), file.parent_path());
    }
    for (const fs::path& folder : folders) {
        const fs::path path = (folder / include.path).lexically_normal();
        if (fs::is_regular_file(path)) {
            return path;
        }
    }
    return {};
}

// The room of a file of the project: below src/ a folder there, elsewhere a folder of the project. Empty for
// files that are in no room.
std::string RoomOf(const fs::path& path, const fs::path& root) {
    const fs::path relative = path.lexically_relative(root);
    auto part = relative.begin();
    if (part != relative.end() && *part == "src") {
        ++part;
    }
    if (part == relative.end() || std::next(part) == relative.end()) {
        return "";
    }
    return part->string();
}

// What is wrong with the includes of a source that is, or would be, in a file of a room; empty if nothing is.
std::vector<std::string> Faults(const std::string& source, const fs::path& file, const fs::path& root) {
    const std::string room = RoomOf(file, root);
    const auto known = kMayInclude.find(room);
    if (known == kMayInclude.end()) {
        return {"is in a room that this test does not know: " + room};
    }
    std::vector<std::string> faults;
    for (const Include& include : IncludesOf(source)) {
        const fs::path meant = Meant(include, root, file, room);
        if (include.path.empty()) {
            faults.push_back("includes something of a form that this test cannot read: " + include.text);
        } else if (!meant.empty()) {
            const std::string other = RoomOf(meant, root);
            if (other != room && known->second.count(other) == 0) {
                faults.push_back("may not include the room of " + include.text);
            }
        } else {
            const bool standard = include.path.find_first_of("./") == std::string::npos && !include.quoted;
            const auto outside = kOutside.find(room);
            const bool listed = outside != kOutside.end() &&
                                (outside->second.count(include.path) > 0 || outside->second.count("*") > 0);
            if (!standard && !listed) {
                faults.push_back("includes what this test does not know: " + include.text);
            }
        }
        if (room == "choir" && kNotInChoir.count(include.path) > 0) {
            faults.push_back("has no use for " + include.text);
        }
    }
    return faults;
}

TEST(Includes, FollowTheArrowsBetweenTheRooms) {
    const fs::path root = fs::path(SourceDir()).lexically_normal();
    std::map<std::string, int> files;
    for (const auto& folder : fs::directory_iterator(root)) {
        const std::string name = folder.path().filename().string();
        if (!folder.is_directory() || name[0] == '.' || kFree.count(name) > 0) {
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            if (!entry.is_regular_file() || !IsSource(entry.path())) {
                continue;
            }
            std::ifstream in(entry.path());
            const std::string source(std::istreambuf_iterator<char>(in), {});
            for (const std::string& fault : Faults(source, entry.path(), root)) {
                ADD_FAILURE() << entry.path().lexically_relative(root) << " " << fault;
            }
            ++files[name];
        }
    }
    EXPECT_GT(files["src"], 100);
    EXPECT_GE(files["include"], 4);
    EXPECT_GT(files["cli"], 5);
}

TEST(Includes, GoOneWay) {
    for (const auto& [room, others] : kMayInclude) {
        for (const std::string& other : others) {
            ASSERT_EQ(kMayInclude.count(other), 1u) << other;
            EXPECT_NE(other, room);
            for (const std::string& further : kMayInclude.at(other)) {
                EXPECT_NE(further, room) << "a circle by " << other;
                // Nothing comes in by way of another that may not come in itself; guests see no facts but
                // through the choir.
                const bool guest = other == "choir" && (further == "theory" || further == "base");
                EXPECT_TRUE(guest || others.count(further) > 0)
                    << room << ", by way of " << other << ": " << further;
            }
        }
    }
}

class OneInclude : public testing::Test {
  protected:
    // Whether a file would be refused that has nothing but this line.
    bool IsRefused(const std::string& file, const std::string& line) {
        return !Faults(line + "\n", root_ / file, root_).empty();
    }

    const fs::path root_ = fs::path(SourceDir()).lexically_normal();
};

TEST_F(OneInclude, IsReadInEveryForm) {
    for (const char* line :
         {"#include \"addon/HarmonyAddOn.h\"", "#include <addon/HarmonyAddOn.h>",
          "  #  include<addon/HarmonyAddOn.h> // x", "#include \"../addon/HarmonyAddOn.h\"",
          "#include \"../../src/addon/HarmonyAddOn.h\"", "#include <src/addon/HarmonyAddOn.h>",
          "/* a */ #include \"addon/HarmonyAddOn.h\"", "#include /* b */ <addon/HarmonyAddOn.h>",
          "#import <addon/HarmonyAddOn.h>", "#include HEADER_OF_ADDON",
          "%:include \"addon/HarmonyAddOn.h\""}) {
        EXPECT_TRUE(IsRefused("src/harmony/New.cpp", line)) << line;
        EXPECT_TRUE(IsRefused("src/dsp/kernels/New.cpp", line)) << line;
    }
    EXPECT_FALSE(IsRefused("src/api/New.cpp", "#include <addon/HarmonyAddOn.h>"));
    EXPECT_FALSE(IsRefused("src/harmony/New.cpp", "#include <vector>"));
    EXPECT_FALSE(IsRefused("src/harmony/New.cpp", "// Like \"addon/HarmonyAddOn.h\" #include"));
}

TEST_F(OneInclude, IsRefusedInARoomThatIsNotKnown) {
    EXPECT_TRUE(IsRefused("src/newroom/New.cpp", "#include <vector>"));
    EXPECT_TRUE(IsRefused("src/New.cpp", "#include <vector>"));
    EXPECT_TRUE(IsRefused("newguest/New.cpp", "#include <vector>"));
    EXPECT_TRUE(IsRefused("src/newroom/New.cpp", ""));
}

TEST_F(OneInclude, IsRefusedOfAFileThatIsNotKnown) {
    EXPECT_TRUE(IsRefused("src/harmony/New.cpp", "#include \"newroom/New.h\""));
    EXPECT_TRUE(IsRefused("src/harmony/New.cpp", "#include \"vector\""));
    EXPECT_TRUE(IsRefused("src/harmony/New.cpp", "#include <boost/any.hpp>"));
    EXPECT_TRUE(IsRefused("include/mlh/new.h", "#include <nlohmann/json.hpp>"));
    EXPECT_TRUE(IsRefused("include/mlh/new.h", "#include \"base/Truncate.h\""));
}

TEST_F(OneInclude, OfAGuestIsAPublicHeader) {
    for (const char* guest :
         {"cli/New.cpp", "python/New.cpp", "web/New.cpp", "plugins/vamp/New.cpp", "choir/New.cpp"}) {
        EXPECT_FALSE(IsRefused(guest, "#include \"mlh/addon.h\"")) << guest;
        EXPECT_FALSE(IsRefused(guest, "#include <mlh/mlh.h>")) << guest;
        EXPECT_TRUE(IsRefused(guest, "#include \"dsp/Fft.h\"")) << guest;
        EXPECT_TRUE(IsRefused(guest, "#include \"../src/dsp/Fft.h\"")) << guest;
        EXPECT_TRUE(IsRefused(guest, "#include \"tests/support/Paths.h\"")) << guest;
    }
    EXPECT_TRUE(IsRefused("choir/New.cpp", "#include <fstream>"));
    EXPECT_TRUE(IsRefused("choir/New.cpp", "#include <sndfile.h>"));
    EXPECT_FALSE(IsRefused("cli/New.cpp", "#include <sndfile.h>"));
}

TEST_F(OneInclude, OfAGuestIsRefusedInTheCore) {
    int headers = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root_ / "cli")) {
        if (entry.path().extension() != ".h") {
            continue;
        }
        const std::string path = entry.path().lexically_relative(root_).generic_string();
        EXPECT_TRUE(IsRefused("src/api/New.cpp", "#include \"" + path + "\"")) << path;
        EXPECT_TRUE(IsRefused("src/api/New.cpp", "#include <" + path + ">")) << path;
        ++headers;
    }
    EXPECT_GT(headers, 3);
}

}  // namespace

}  // namespace mlh
