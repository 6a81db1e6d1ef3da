// What becomes of files: the old one stays until the new one is complete, whatever happens.

#include "Tool/Command.h"
#include "Tool/Shell.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Names = std::vector<std::string>;

const std::string cannotWrite = "kcodepage: cannot write ";

class OutputFileTest : public testing::Test {
protected:
    OutputFileTest() { WriteFile(directory / "out", "old"); }

    Outcome Convert(const Names& more, const std::string& input) {
        Names words = {"convert", "--from", "shift_jis", "--to", "utf-8"};
        words.insert(words.end(), more.begin(), more.end());
        return RunCommand(words, input, directory.Name());
    }

    ShellOutcome Shell(const std::string& line) { return RunShell(directory.Name(), line); }

    void ExpectTheOldFileAndNoDebris() {
        EXPECT_EQ(ReadFile(directory / "out"), "old");
        EXPECT_EQ(NamesIn(directory.Name()), Names{"out"});
    }

    mode_t ModeOf(const std::string& name) {
        struct stat status {};
        EXPECT_EQ(stat((directory / name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    Directory directory;
};

TEST_F(OutputFileTest, ALargeFileIsConvertedOntoItself) {
    std::string shiftJis;
    std::string utf8;
    for (int i = 0; i < 300'000; ++i) {
        shiftJis += "\x93\xFA";
        utf8 += "\xE6\x97\xA5";
    }
    WriteFile(directory / "out", shiftJis);
    EXPECT_EQ(Convert({"-o", "out", "out"}, "").errors, "");
    EXPECT_TRUE(ReadFile(directory / "out") == utf8);
    WriteFile(directory / "out", shiftJis);
    EXPECT_EQ(Shell("\"$K\" convert --from sjis --to utf-8 -o out < out").status, 0);
    EXPECT_TRUE(ReadFile(directory / "out") == utf8);
    EXPECT_EQ(NamesIn(directory.Name()), Names{"out"});
}

TEST_F(OutputFileTest, AFileThatFailsOntoItselfStays) {
    WriteFile(directory / "out", std::string(200'000, 'a') + "\x85\x40");
    EXPECT_EQ(Convert({"-o", "out", "out"}, "").status, 1);
    EXPECT_EQ(ReadFile(directory / "out").size(), 200'002u);
    EXPECT_EQ(NamesIn(directory.Name()), Names{"out"});
}

TEST_F(OutputFileTest, StandardOutputIntoTheInputIsRefused) {
    const ShellOutcome outcome = Shell("\"$K\" convert --from sjis --to utf-8 out 2>&1 >> out");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output,
              "kcodepage: out is standard output's file too; -o FILE converts a file onto itself\n");
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, InputsThatCannotBeReadAreTold) {
    EXPECT_EQ(Convert({"-o", "out", "missing"}, "").errors,
              "kcodepage: cannot open 'missing': No such file or directory\n");
    EXPECT_EQ(Convert({"-o", "out", "."}, "").errors, "kcodepage: cannot read '.': Is a directory\n");
    EXPECT_EQ(Shell("\"$K\" convert --from sjis --to utf-8 -o out < . 2>&1").output,
              "kcodepage: cannot read standard input: Is a directory\n");
    EXPECT_EQ(Shell("\"$K\" convert --from sjis --to utf-8 -o out <&- 2>&1").output,
              "kcodepage: cannot read standard input: Bad file descriptor\n");
    if (geteuid() != 0) {
        WriteFile(directory / "secret", "x");
        chmod((directory / "secret").c_str(), 0);
        EXPECT_EQ(Convert({"-o", "out", "secret"}, "").errors,
                  "kcodepage: cannot open 'secret': Permission denied\n");
        std::filesystem::remove(directory / "secret");
    }
    for (const Names& words : {Names{"-o", "out", "missing"}, Names{"-o", "out", "."}}) {
        EXPECT_EQ(Convert(words, "").status, 1);
    }
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, OutputsThatCannotBeWrittenAreTold) {
    EXPECT_EQ(Convert({"-o", "."}, "a").errors, cannotWrite + "'.': Is a directory\n");
    EXPECT_EQ(Convert({"-o", "no/file"}, "a").errors,
              cannotWrite + "'no/file': cannot create a file beside it: No such file or directory\n");
    EXPECT_EQ(Convert({"-o", "out/file"}, "a").errors, cannotWrite + "'out/file': Not a directory\n");
    EXPECT_EQ(Shell("printf a | \"$K\" convert --from sjis --to utf-8 2>&1 >&-").output,
              cannotWrite + "standard output: Bad file descriptor\n");
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, AFullDiskIsTold) {
    EXPECT_EQ(Shell("printf a | \"$K\" convert --from sjis --to utf-8 2>&1 > /dev/full").output,
              cannotWrite + "standard output: No space left on device\n");
    EXPECT_EQ(Convert({"-o", "/dev/full"}, "a").errors,
              cannotWrite + "'/dev/full': No space left on device\n");
    EXPECT_EQ(Shell("\"$K\" list 2>&1 > /dev/full").output,
              cannotWrite + "standard output: No space left on device\n");
    EXPECT_EQ(Shell("\"$K\" --help 2>&1 > /dev/full").output,
              cannotWrite + "standard output: No space left on device\n");
    // A limit on files has the same effect as a disk that is full after some blocks.
    const ShellOutcome limited =
        Shell("ulimit -f 16; head -c 1000000 /dev/zero | \"$K\" convert --from sjis --to utf-8 -o out 2>&1");
    EXPECT_EQ(limited.status, 1);
    EXPECT_EQ(limited.output, cannotWrite + "'out': File too large\n");
    ExpectTheOldFileAndNoDebris();
    const ShellOutcome tables = Shell("ulimit -f 16; \"$K\" tables . big5 2>&1");
    EXPECT_EQ(tables.status, 1);
    EXPECT_EQ(tables.output, cannotWrite + "'./big5.M2U': File too large\n");
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, AClosedPipeIsTold) {
    const ShellOutcome simple =
        Shell("{ { head -c 10000000 /dev/zero 2>/dev/null | \"$K\" convert --from sjis --to "
              "utf-8 2>err; echo $? >status; } | true; }; "
              "sleep 0.3; cat err status; rm err status");
    EXPECT_EQ(simple.output, cannotWrite + "standard output: Broken pipe\n1\n");
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, AFatalSignalRemovesWhatIsHalfWrittenAndEndsTheCommand) {
    const std::string in = (directory / "in").string();
    const std::string out = (directory / "out").string();
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGXCPU, SIGUSR1, SIGUSR2}) {
        // The pipe never ends: this process holds it open.
        ASSERT_EQ(mkfifo(in.c_str(), 0600), 0);
        const int held = open(in.c_str(), O_RDWR | O_CLOEXEC);
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore = {0, 0}; // some of these signals would leave one
            setrlimit(RLIMIT_CORE, &noCore);
            execl(KCODEPAGE_COMMAND, "kcodepage", "convert", "--from", "sjis", "--to", "utf-8", "-o",
                  out.c_str(), in.c_str(), nullptr);
            _exit(127);
        }
        for (int tries = 0; tries < 3000 && NamesIn(directory.Name()).size() < 3; ++tries) {
            usleep(10'000);
        }
        EXPECT_EQ(NamesIn(directory.Name()).size(), 3u); // in, out, and what is half written
        int status = 0;
        EXPECT_EQ(kill(child, signal), 0);
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << ' ' << status;
        close(held);
        std::filesystem::remove(in);
        ExpectTheOldFileAndNoDebris();
    }
}

TEST_F(OutputFileTest, TheModeOfTheOldFileIsKept) {
    for (const mode_t mode : {0600u, 0640u, 0755u, 0666u}) {
        ASSERT_EQ(chmod((directory / "out").c_str(), mode), 0);
        EXPECT_EQ(Convert({"-o", "out"}, "a").errors, "");
        EXPECT_EQ(ModeOf("out"), mode);
    }
    const ShellOutcome outcome = Shell("umask 027; printf a | \"$K\" convert --from sjis --to utf-8 -o new");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(ModeOf("new"), 0640u);
}

TEST_F(OutputFileTest, ALinkStaysAndItsTargetIsReplaced) {
    std::filesystem::create_directory(directory / "sub");
    WriteFile(directory / "sub" / "target", "old");
    std::filesystem::create_symlink("sub/middle", directory / "link");
    std::filesystem::create_symlink("target", directory / "sub" / "middle");
    EXPECT_EQ(Convert({"-o", "link"}, "new").errors, "");
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "link"));
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "sub" / "middle"));
    EXPECT_EQ(ReadFile(directory / "sub" / "target"), "new");
    std::filesystem::remove(directory / "sub" / "target");
    EXPECT_EQ(Convert({"-o", "link"}, "made").errors, ""); // also where the target is missing
    EXPECT_EQ(ReadFile(directory / "sub" / "target"), "made");
    EXPECT_EQ(NamesIn(directory / "sub"), (Names{"middle", "target"}));
    std::filesystem::create_symlink("loop", directory / "loop");
    EXPECT_EQ(Convert({"-o", "loop"}, "x").errors,
              cannotWrite + "'loop': Too many levels of symbolic links\n");
}

TEST_F(OutputFileTest, WhatIsNoRegularFileIsWrittenDirectly) {
    EXPECT_EQ(Convert({"-o", "/dev/null"}, "a").errors, "");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    const ShellOutcome outcome =
        Shell("mkfifo pipe; printf '\\223\\372' | \"$K\" convert --from sjis --to utf-8 -o pipe & "
              "cat pipe; wait; rm pipe");
    EXPECT_EQ(outcome.output, "\xE6\x97\xA5");
    EXPECT_EQ(Shell("printf a | \"$K\" convert --from sjis --to utf-8 -o /dev/stdout | cat").output, "a");
    ExpectTheOldFileAndNoDebris();
}

TEST_F(OutputFileTest, AHyphenIsTheStandardStream) {
    EXPECT_EQ(Convert({"-o", "-", "-"}, "a").output, "a");
    WriteFile(directory / "more", "b");
    EXPECT_EQ(Convert({"out", "-", "more"}, "in").output, "oldinb");
}

} // namespace
