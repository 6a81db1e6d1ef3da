#include "Tool/Command.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class ArgumentsTest : public testing::Test {
protected:
    void Put(const std::string& name, const std::string& text) const { WriteFile(directory / name, text); }

    Outcome Convert(std::vector<std::string> more) const {
        more.insert(more.begin(), {"convert", "--from", "utf-8", "--to", "utf-8"});
        return RunCommand(more, "from standard input", directory.Name());
    }

    Directory directory;
};

TEST_F(ArgumentsTest, AFileWhoseNameLooksLikeAListIsThatFile) {
    Put("a", "wrong");
    Put("b", "wrong");
    for (const char* name : {"[a]", "[a,b]", "[]", "[", "{a}", "[a", "a]"}) {
        Put(name, std::string("the text of ") + name);
        const Outcome outcome = Convert({name});
        EXPECT_EQ(outcome.output, std::string("the text of ") + name);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const Outcome written = Convert({"-o", name});
        EXPECT_EQ(written.status, 0) << written.errors;
        EXPECT_EQ(Convert({name}).output, "from standard input");
    }
}

TEST_F(ArgumentsTest, AnEmptyNameIsRefusedAndNotTakenForSomethingElse) {
    const std::vector<std::vector<std::string>> lines = {
        {"--base-path", ""}, {"-o", ""}, {""}, {"--base-path=", "a"}, {"--output=", "a"}};
    Put("a", "text");
    for (const std::vector<std::string>& line : lines) {
        const Outcome outcome = Convert(line);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(line);
        EXPECT_EQ(outcome.output, "") << testing::PrintToString(line);
        EXPECT_EQ(outcome.errors.substr(0, 11), "kcodepage: ");
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    }
    EXPECT_EQ(RunCommand({"tables", ""}, {}, directory.Name()).status, 2);
}

TEST_F(ArgumentsTest, AnUnknownSubcommandIsNamed) {
    const Outcome outcome = RunCommand({"cnvert", "a"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors,
              "kcodepage: 'cnvert' is no subcommand (kcodepage --help shows what there is)\n");
}

TEST_F(ArgumentsTest, AnUnknownOptionIsNamed) {
    EXPECT_EQ(RunCommand({"--x"}).errors,
              "kcodepage: '--x' is no option (kcodepage --help shows what there is)\n");
}

TEST_F(ArgumentsTest, TheVersionIsTold) {
    const Outcome outcome = RunCommand({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output.rfind("kcodepage ", 0), 0u) << outcome.output;
}

TEST_F(ArgumentsTest, WhatWasReplacedBeforeALaterFailureIsReported) {
    Put("a", "a\xFF"
             "b");
    const Outcome outcome = Convert({"--substitute", "a", "missing"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "a\xEF\xBF\xBD"
                              "b");
    EXPECT_EQ(outcome.errors.rfind("kcodepage: replaced 1 by U+FFFD", 0), 0u) << outcome.errors;
    EXPECT_NE(outcome.errors.find("\nkcodepage: cannot open 'missing'"), std::string::npos) << outcome.errors;
}

TEST_F(ArgumentsTest, BehindTwoDashesEverythingIsAFile) {
    Put("--from=", "dashes");
    EXPECT_EQ(Convert({"--", "--from="}).output, "dashes");
}

} // namespace
