#include "files/OutputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Errors.h"
#include "files/InputFile.h"
#include "support/CommandFolder.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace mlh::cli {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class OutputFiles : public CommandFolder {
  protected:
    void Make(const std::string& name, const std::string& text) const { std::ofstream(Path(name)) << text; }
    std::size_t Count() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
    }
    // What CheckOutputs says.
    std::string Complaint(const std::vector<std::string>& inputs,
                          const std::vector<std::string>& outputs) const {
        try {
            CheckOutputs(inputs, outputs);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(OutputFiles, AppearWhenTheyAreCommitted) {
    Make("a.txt", "before");
    {
        OutputFile file(Path("a.txt"));
        std::ofstream(file.temporaryPath()) << "after";
        EXPECT_EQ(ReadFile(Path("a.txt")), "before");
        file.Commit();
    }
    EXPECT_EQ(ReadFile(Path("a.txt")), "after");
    EXPECT_EQ(Count(), 1u);
}

TEST_F(OutputFiles, LeaveNothingWhenTheyAreNot) {
    {
        OutputFile file(Path("a.txt"));
        std::ofstream(file.temporaryPath()) << "half";
        EXPECT_EQ(Count(), 1u);
    }
    EXPECT_EQ(Count(), 0u);
}

TEST_F(OutputFiles, MayBeNeitherAnInputNorEachOther) {
    Make("lead.wav", "");
    const std::string other = Path("./lead.wav");
    EXPECT_THAT(Complaint({Path("lead.wav")}, {"", other}), HasSubstr("choose another name"));
    EXPECT_THAT(Complaint({}, {Path("a"), Path("b"), Path("a")}), HasSubstr("choose another name"));
    EXPECT_EQ(Complaint({Path("lead.wav")}, {Path("a"), Path("b"), ""}), "");
}

TEST_F(OutputFiles, AreRefusedWhereNoFileCanBe) {
    EXPECT_THAT(Complaint({}, {Path("")}), HasSubstr("it is a folder"));
    EXPECT_THAT(Complaint({}, {Path("missing/a")}), HasSubstr("there is no folder"));
    EXPECT_THROW(CheckOutputs({}, {"-"}), UsageError);
}

TEST_F(OutputFiles, InThePresentFolderNeedNoPath) {
    EXPECT_EQ(Complaint({}, {"surely-not-there-yet.txt"}), "");
}

#ifndef _WIN32

TEST_F(OutputFiles, BehindALinkReplaceWhatItLeadsTo) {
    Make("place", "before");
    fs::create_symlink(Path("place"), Path("link"));
    WriteTextFile(Path("link"), "after");
    EXPECT_TRUE(fs::is_symlink(Path("link")));
    EXPECT_EQ(ReadFile(Path("place")), "after");
    EXPECT_NE(Complaint({Path("place")}, {Path("link")}), "");
}

TEST_F(OutputFiles, ThatArePipesAreWrittenToAndStay) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const int end = open(Path("pipe").c_str(), O_RDWR);
    EXPECT_EQ(Complaint({}, {Path("pipe"), Path("pipe")}), "");
    WriteTextFile(Path("pipe"), "text");
    char text[5] = "";
    EXPECT_EQ(read(end, text, 4), 4);
    EXPECT_STREQ(text, "text");
    EXPECT_TRUE(fs::is_fifo(Path("pipe")));
    close(end);
}

TEST_F(OutputFiles, ThatAreUnfinishedGoWithASignal) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const pid_t child = fork();
        if (child == 0) {
            RemoveUnfinishedFilesOnSignals();
            OutputFile one(Path("a.txt")), two(Path("b.txt"));
            std::ofstream(one.temporaryPath()) << "half";
            std::ofstream(two.temporaryPath()) << "half";
            std::raise(signal);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        EXPECT_EQ(Count(), 0u) << signal;
    }
}

// As nohup starts programs, and scripts those in the background.
TEST_F(OutputFiles, StayWhenTheSignalWasToBeIgnored) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        const pid_t child = fork();
        if (child == 0) {
            std::signal(signal, SIG_IGN);
            RemoveUnfinishedFilesOnSignals();
            OutputFile file(Path("a.txt"));
            std::ofstream(file.temporaryPath()) << "whole";
            std::raise(signal);
            file.Commit();
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << signal;
        EXPECT_EQ(ReadFile(Path("a.txt")), "whole");
        fs::remove(Path("a.txt"));
    }
}

// 251 bytes leave no room for more in a name of 255. The front that is cut off ends within a character.
TEST_F(OutputFiles, OfTheLongestNamesAreWritten) {
    std::string name;
    for (int i = 0; i < 123; ++i) {
        name += "\u00fc";
    }
    for (const std::string front : {"a", "ab"}) {
        WriteTextFile(Path(front + name + ".txt"), "text");
        EXPECT_EQ(ReadFile(Path(front + name + ".txt")), "text");
    }
    EXPECT_EQ(Count(), 2u);
}

#endif

}  // namespace

}  // namespace mlh::cli
