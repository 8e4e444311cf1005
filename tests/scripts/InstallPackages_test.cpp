// scripts/install-packages with stand-ins for what it calls: a machine with nothing installed, a user who is
// not root, and a sudo that, like Debian's, hands nothing of the environment on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CommandFolder.h"

namespace mlh {

namespace {

using testing::HasSubstr;
using testing::Not;

class InstallPackages : public CommandFolder {
  protected:
    InstallPackages() {
        Program("dpkg-query", "exit 1");
        Program("id", "echo 1000");
        Program("sudo", "exec env -i PATH=\"$PATH\" \"$@\"");
        Program("apt-get", "echo \"$DEBIAN_FRONTEND: $*\" >>'" + Path("asked") +
                               "'\n[ $1 = install ] || exit 0\n"
                               "echo 'Need to get 12.3 MB of archives.'\necho 'Unpacking cmake (3.25) ...'\n"
                               "echo 'Setting up cmake (3.25) ...'\nexit $(cat '" +
                               Path("status") + "')");
        std::ofstream(Path("status")) << 0;
    }

    void Program(const std::string& name, const std::string& text) {
        std::ofstream(Path(name)) << "#!/bin/bash\n" << text << "\n";
        std::filesystem::permissions(Path(name), std::filesystem::perms::owner_all);
    }

    ShellResult Install(const std::string& names) {
        return RunLine("PATH=\"" + folder.string() + ":$PATH\" " + SourceDir() +
                       "/scripts/install-packages " + names);
    }
};

TEST_F(InstallPackages, AsksNothingOfTheUserThroughSudo) {
    EXPECT_EQ(Install("command").status, 0);
    EXPECT_THAT(Text("asked"), HasSubstr("noninteractive: update"));
    EXPECT_THAT(Text("asked"), HasSubstr("noninteractive: install"));
}

TEST_F(InstallPackages, TakesWhatACommandNeedsAndNoMore) {
    Install("command");
    EXPECT_THAT(Text("asked"), HasSubstr(" build-essential "));
    EXPECT_THAT(Text("asked"), HasSubstr(" libsndfile1-dev "));
    for (const char* other : {"libgtest-dev", "lilypond", "libbenchmark-dev", "emscripten", "valgrind"}) {
        EXPECT_THAT(Text("asked"), Not(HasSubstr(other)));
    }
}

TEST_F(InstallPackages, TakesNamesOfListsAndOfPackages) {
    Install("tests judges hello");
    for (const char* package : {"libgtest-dev", "lilypond", "hello"}) {
        EXPECT_THAT(Text("asked"), HasSubstr(package));
    }
    EXPECT_THAT(Text("asked"), Not(HasSubstr("judges")));
    EXPECT_THAT(Text("asked"), Not(HasSubstr("libsndfile1-dev")));
}

TEST_F(InstallPackages, ShowsHowFarItIs) {
    const std::string output = Install("command").output;
    EXPECT_THAT(output, HasSubstr("Installing: build-essential"));
    EXPECT_THAT(output, HasSubstr("  fetching 12.3 MB of archives\n"));
    EXPECT_THAT(output, HasSubstr("  cmake is ready\n"));
    EXPECT_THAT(output, Not(HasSubstr("Unpacking")));
}

TEST_F(InstallPackages, FailsWhereAptDoes) {
    std::ofstream(Path("status")) << 100;
    EXPECT_NE(Install("command").status, 0);
}

TEST_F(InstallPackages, ChecksWithoutInstalling) {
    const ShellResult checked = Install("--check tests");
    EXPECT_EQ(checked.status, 1);
    EXPECT_THAT(checked.output, HasSubstr("libgtest-dev"));
    EXPECT_EQ(Text("asked"), "");
    Program("dpkg-query", "echo installed");
    EXPECT_EQ(Install("--check tests").status, 0);
}

TEST_F(InstallPackages, NeedsNothingWhereAllIsThere) {
    Program("dpkg-query", "echo installed");
    EXPECT_EQ(Install("command tests").status, 0);
    EXPECT_EQ(Text("asked"), "");
}

}  // namespace

}  // namespace mlh
