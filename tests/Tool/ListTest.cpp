#include "Tool/Command.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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

TEST(ListTest, TellsBytesDirectionsAndAliases) {
    const std::string table = RunCommand({"list"}).output;
    for (const char* row :
         {"    11 shift_jis          932   1-2 yes     yes     cp932, windows-932, ms932, windows-31j, "
          "cswindows31j, sjis, x-sjis, ms_kanji, csshiftjis\n",
          "    12 iso-2022-jp        932   1-2 yes     yes\n",
          "    20 utf-8            65001   1-4 yes     yes\n",
          "    21 unicode-1-1      65535     - no      no\n"}) {
        EXPECT_NE(table.find(row), std::string::npos) << row << table;
    }
}

TEST(ListTest, TellsTheSameAsJson) {
    const Outcome outcome = RunCommand({"list", "--json"});
    EXPECT_EQ(outcome.status, 0);
    const nlohmann::json list = nlohmann::json::parse(outcome.output);
    ASSERT_EQ(list.size(), 17u);
    EXPECT_EQ(list[8], nlohmann::json::parse(R"({"number": 11, "name": "shift_jis", "windows": 932,
        "minimumBytes": 1, "maximumBytes": 2, "decodes": true, "encodes": true,
        "aliases": ["cp932", "windows-932", "ms932", "windows-31j", "cswindows31j", "sjis", "x-sjis",
                    "ms_kanji", "csshiftjis"]})"));
    EXPECT_EQ(list[16], nlohmann::json::parse(R"({"number": 21, "name": "unicode-1-1", "windows": 65535,
        "minimumBytes": null, "maximumBytes": null, "decodes": false, "encodes": false, "aliases": []})"));
}

} // namespace
