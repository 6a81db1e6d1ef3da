#include "Tool/Command.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

TEST(ListTest, ShowsEachCharacterSetWithItsNumberNameAndWindowsNumber) {
    const Outcome outcome = RunCommand({"list"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    const std::vector<std::string> expected = {
        "0 us-ascii 0",        "1 iso-8859-1 1252",  "2 iso-8859-2 1250",   "4 iso-8859-4 1257",
        "6 iso-8859-6 1256",   "7 iso-8859-7 1253",  "8 windows-1255 1255", "9 iso-8859-9 1254",
        "11 shift_jis 932",    "12 iso-2022-jp 932", "14 euc-kr 949",       "15 koi8-r 20866",
        "16 gb2312 936",       "17 big5 950",        "18 windows-874 874",  "20 utf-8 65001",
        "21 unicode-1-1 65535"};
    std::vector<std::string> rows;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string number;
        std::string name;
        std::string windows;
        words >> number >> name >> windows;
        if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos) {
            rows.push_back(number + " " + name + " " + windows);
        }
    }
    EXPECT_EQ(rows, expected);
}

} // namespace
