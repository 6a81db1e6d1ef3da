#include "KBase/Message.h"
#include "KBase/UTF8Routines.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace KBase {

namespace {

std::string Text(unsigned int code) {
    return WideCharToUTF8(GetSystemErrorDescription(code).c_str(), false);
}

TEST(SystemErrorDescription, EveryNumberThatTheSystemReportsHasASentenceOfItsOwn) {
    std::set<std::string> texts;
    const unsigned int codes[] = {2,   3,    4,    5,    6,    8,    17,   18,   19,  31,  32,
                                  33,  38,   39,   50,   55,   80,   82,   87,   109, 112, 122,
                                  123, 131,  132,  145,  170,  183,  203,  206,  223, 267, 995,
                                  998, 1004, 1006, 1113, 1117, 1131, 1450, 1460, 1921};
    for (const unsigned int code : codes) {
        const std::string text = Text(code);
        EXPECT_EQ(std::string::npos, text.find(std::to_string(code))) << text;
        EXPECT_GT(text.size(), 10u) << code;
        EXPECT_TRUE(text[0] >= 'A' && text[0] <= 'Z') << text;
        EXPECT_EQ('.', text.back()) << text;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
}

TEST(SystemErrorDescription, AnUnknownNumberStandsInItsText) {
    for (const unsigned int code : {0u, 1u, 7u, 1005u, 1922u, 305419896u, 4294967295u}) {
        EXPECT_NE(std::string::npos, Text(code).find(std::to_string(code))) << Text(code);
    }
}

} // namespace

} // namespace KBase
