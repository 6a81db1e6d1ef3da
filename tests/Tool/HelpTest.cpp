#include "Tool/Command.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(HelpTest, ShowsTheSubcommandsAndSucceeds) {
    const Outcome outcome = RunCommand({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    for (const char* part : {"kcodepage", "list", "convert", "tables"}) {
        EXPECT_TRUE(Has(outcome.output, part)) << part;
    }
}

TEST(HelpTest, ShowsEachSubcommandsOptions) {
    const Outcome convert = RunCommand({"convert", "--help"});
    EXPECT_EQ(convert.status, 0);
    for (const char* part : {"--from", "--to", "--base-path", "-o", "FILE"}) {
        EXPECT_TRUE(Has(convert.output, part)) << part;
    }
    const Outcome tables = RunCommand({"tables", "--help"});
    EXPECT_EQ(tables.status, 0);
    EXPECT_TRUE(Has(tables.output, "DIR"));
    EXPECT_EQ(RunCommand({"list", "--help"}).status, 0);
}

TEST(HelpTest, AWrongCommandLineIsRefusedOnOneLineThatPointsToTheHelp) {
    const std::vector<std::vector<std::string>> lines = {
        {"translate"},                                          // no such subcommand
        {"--no-such-option"},                                   //
        {"convert"},                                            // options missing
        {"convert", "--from", "utf-8"},                         //
        {"convert", "--to", "utf-8"},                           //
        {"convert", "--from"},                                  // an option's value missing
        {"convert", "--from", "utf-8", "--to", "utf-8", "--x"}, // an option that there is not
        {"tables"},                                             // no directory
        {"list", "more"},                                       //
    };
    for (const std::vector<std::string>& line : lines) {
        const Outcome outcome = RunCommand(line);
        EXPECT_NE(outcome.status, 0) << testing::PrintToString(line);
        EXPECT_LT(outcome.status, 128) << testing::PrintToString(line);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors.substr(0, 11), "kcodepage: ") << outcome.errors;
        EXPECT_TRUE(Has(outcome.errors, "--help")) << outcome.errors;
        EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    }
}

TEST(HelpTest, AnOptionGivenTwiceOrWithoutItsValueIsToldInASentence) {
    const std::string pointer = " (kcodepage --help shows what there is)\n";
    EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--from", "big5", "--to", "utf-8"}).errors,
              "kcodepage: --from is given more than once" + pointer);
    EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--to", "utf-8", "-o"}).errors,
              "kcodepage: --output has no value" + pointer);
}

TEST(HelpTest, WithoutArgumentsItTellsWhereTheHelpIs) {
    const Outcome outcome = RunCommand({});
    EXPECT_TRUE(Has(outcome.output + outcome.errors, "--help") || Has(outcome.output, "convert"))
        << outcome.output << outcome.errors;
}

} // namespace
