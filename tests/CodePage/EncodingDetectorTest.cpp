#include "CodePage/EncodingDetector.h"

#include "CodePage/EncodingCandidates.h"
#include "CodePage/EncodingConverter.h"
#include "CodePage/Exceptions.h"
#include "KBase/WideString.h"
#include "UTF8/ExactBuffer.h"

#include <unicode/ucsdet.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KCodePage;
using namespace std::string_view_literals;

std::string Detected(EncodingDetector& detector, std::string_view bytes) {
    const ExactBuffer<char> exact(bytes);
    return detector.Detect(exact.Get(), static_cast<int>(exact.Size()));
}

void ExpectNotDetected(EncodingDetector& detector, const char* data, int length) {
    try {
        detector.Detect(data, length);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const EncodingDetectException& error) {
        EXPECT_EQ(error.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
        EXPECT_EQ(error.GetID(), 0);
        EXPECT_EQ(error.GetMessage()[0], 0);
        EXPECT_STREQ(error.what(), "KCodePage::EncodingDetectException");
    }
}

// What ICU's own best match is.
struct Best {
    std::string name;
    int confidence = 0;
};

Best BestOfIcu(std::string_view bytes) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&error),
                                                                              &ucsdet_close);
    ucsdet_setText(detector.get(), bytes.data(), static_cast<int>(bytes.size()), &error);
    const UCharsetMatch* const match = ucsdet_detect(detector.get(), &error);
    if (match == nullptr) {
        return {};
    }
    return {ucsdet_getName(match, &error), ucsdet_getConfidence(match, &error)};
}

const std::string english =
    "It was the best of times, it was the worst of times, it was the age of wisdom, it "
    "was the age of foolishness, and all of it was in the plain letters of the day.";

TEST(EncodingDetector, AnswersTheNameThatIcuGives) {
    const auto detector = CreateEncodingDetector();
    EXPECT_EQ(Detected(*detector, "\xEF\xBB\xBFtext"), "UTF-8");
    EXPECT_EQ(Detected(*detector, "\xFE\xFF\0t\0e\0x\0t"sv), "UTF-16BE");
    EXPECT_EQ(Detected(*detector, "\xFF\xFE\0\0t\0\0\0"sv), "UTF-32LE");
    EXPECT_EQ(Detected(*detector, "\x1B$B$\"$$\x1B(B and \x1B$BF|K\\\x1B(B"), "ISO-2022-JP");
    EXPECT_EQ(
        Detected(*detector, "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82, \xD0\xBC\xD0\xB8\xD1\x80"),
        "UTF-8");
}

TEST(EncodingDetector, AcceptsAConfidenceOf80AndRefusesOneBelow) {
    // Prefixes of one text, for every confidence that comes along.
    const auto detector = CreateEncodingDetector();
    const std::string texts[] = {english, "\xC3\xA9\xC3\xA8\xC3\xAA\xC3\xBB",
                                 "\x93\xFA\x96{\x8C\xEA\x82\xCC"};
    bool accepted = false;
    bool refused = false;
    bool exactly80 = false;
    for (const std::string& text : texts) {
        for (std::size_t length = 1; length <= text.size(); ++length) {
            const std::string_view prefix = std::string_view(text).substr(0, length);
            const Best best = BestOfIcu(prefix);
            exactly80 = exactly80 || best.confidence == 80;
            if (best.confidence >= 80) {
                accepted = true;
                EXPECT_EQ(Detected(*detector, prefix), best.name) << prefix;
            } else {
                refused = true;
                ExpectNotDetected(*detector, prefix.data(), static_cast<int>(prefix.size()));
            }
        }
    }
    EXPECT_TRUE(accepted);
    EXPECT_TRUE(refused);
    EXPECT_TRUE(exactly80); // one sequence of UTF-8 is 80 percent for ICU
}

TEST(EncodingDetector, RefusesNothingAndShortText) {
    const auto detector = CreateEncodingDetector();
    ExpectNotDetected(*detector, "", 0);
    ExpectNotDetected(*detector, nullptr, 0);
    ExpectNotDetected(*detector, "x", 1);
}

TEST(EncodingDetector, GoesOnAfterAFailure) {
    const auto detector = CreateEncodingDetector();
    ExpectNotDetected(*detector, "x", 1);
    EXPECT_EQ(Detected(*detector, "\xEF\xBB\xBFtext"), "UTF-8");
    ExpectNotDetected(*detector, nullptr, 5);
    EXPECT_EQ(Detected(*detector, "\xEF\xBB\xBFtext"), "UTF-8");
}

TEST(EncodingDetector, ANegativeLengthReadsUpToTheZeroByte) {
    EXPECT_STREQ(CreateEncodingDetector()->Detect("\xEF\xBB\xBFtext", -1), "UTF-8");
}

TEST(EncodingDetector, WhatItAnswersNamesAConverter) {
    const std::string_view text = "\xE3\x81\x82\xE3\x81\x84, \xE3\x81\x86";
    const auto detector = CreateEncodingDetector();
    const char* const charset = detector->Detect(text.data(), static_cast<int>(text.size()));
    const auto converted =
        CreateMemoryEncodingConverter(text.data(), text.data() + text.size(), charset)->ConvertAll();
    const unsigned short expected[] = {0x3042, 0x3044, ',', ' ', 0x3046};
    ASSERT_EQ(converted->GetSize(), sizeof expected);
    EXPECT_EQ(std::memcmp(converted->GetData(), expected, sizeof expected), 0);
}

TEST(EncodingDetector, DeleteEndsWhatAHolderReleased) {
    CreateEncodingDetector().release()->Delete(); // the leak check sees the rest
}

TEST(EncodingCandidates, AreAllOfIcuTheBestFirst) {
    const ExactBuffer<char> text(english);
    const auto candidates = DetectEncodings(text.Get(), text.Size());
    ASSERT_GT(candidates.size(), 2u);
    EXPECT_EQ(candidates[0].charset, "ISO-8859-1");
    EXPECT_EQ(candidates[0].language, "en");
    EXPECT_EQ(candidates[0].confidence, BestOfIcu(english).confidence);
    bool foundUTF8 = false;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        EXPECT_LE(candidates[i].confidence, i == 0 ? 100 : candidates[i - 1].confidence);
        if (candidates[i].charset == "UTF-8") {
            foundUTF8 = true;
            EXPECT_EQ(candidates[i].language, "");
        }
    }
    EXPECT_TRUE(foundUTF8);
}

TEST(EncodingCandidates, OfNothingAreWhatIcuSaysOfAnEmptyText) {
    EXPECT_EQ(DetectEncodings(nullptr, 0).size(), DetectEncodings("text", 0).size());
    for (const EncodingCandidate& candidate : DetectEncodings(nullptr, 0)) {
        EXPECT_LT(candidate.confidence, 80);
    }
}

TEST(EncodingCandidates, AreRefusedForATextWithoutAnAddress) {
    EXPECT_THROW(DetectEncodings(nullptr, 1), EncodingDetectException);
}

} // namespace
