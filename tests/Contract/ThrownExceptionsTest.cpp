// What the library throws is caught by a client of the shared library, by the class itself and by each base.

#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/EncodingConverter.h"
#include "CodePage/EncodingDetector.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Initializer.h"
#include "KBase/UTF8Routines.h"
#include "KSerialization/Streams.h"

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <string>
#include <typeinfo>

namespace {

using namespace KCodePage;
using KBase::operator""_w;

template <class Class>
bool CaughtAs(const std::function<void()>& call) {
    try {
        call();
    } catch (const Class& caught) {
        // The object itself must be whole on this side of the boundary.
        return std::string(caught.what()).size() > 1;
    } catch (...) {
        return false;
    }
    return false;
}

// The call that throws each class.

void ThrowUserError() {
    GetCodePage(3);
}

void ThrowInvalidCharacter() {
    GetCodePage(15)->ConvertToMultiByte(u"\u3042"_w, 1, CodePage::THROW_INVALID_CHARACTER);
}

void ThrowConversionError() {
    SetBasePath(u"no such directory"_w);
    GetCodePage(15);
}

void ThrowMessageFromACodePage() {
    GetCodePage(20)->ConvertToUnicode("\xFF", 1, CodePage::THROW_INVALID_CHARACTER);
}

void ThrowMessageFromAStream() {
    KSerialization::ConvertBinary2ReadDataStream(KDataType::CreateBinary(0, nullptr), nullptr)->ReadByte();
}

void ThrowMessageFromARoutine() {
    KBase::UTF8ToWideChar("\xFF", false);
}

void ThrowDetectException() {
    CreateEncodingDetector()->Detect("x", 1);
}

void ThrowStreamConversionException() {
    CreateMemoryEncodingConverter(nullptr, nullptr, "utf-8")->ConvertAll();
}

class ThrownExceptionsTest : public testing::Test {
protected:
    ThrownExceptionsTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

TEST_F(ThrownExceptionsTest, AUserErrorIsCaughtByEachOfItsClasses) {
    EXPECT_TRUE(CaughtAs<KBase::ExceptionImpl<UserErrorException>>(ThrowUserError));
    EXPECT_TRUE(CaughtAs<UserErrorException>(ThrowUserError));
    EXPECT_TRUE(CaughtAs<CodePageConversionException>(ThrowUserError));
    EXPECT_TRUE(CaughtAs<KBase::Message>(ThrowUserError));
    EXPECT_TRUE(CaughtAs<std::exception>(ThrowUserError));
    EXPECT_FALSE(CaughtAs<InvalidCharacterException>(ThrowUserError));
}

TEST_F(ThrownExceptionsTest, AnInvalidCharacterIsCaughtByEachOfItsClasses) {
    EXPECT_TRUE(CaughtAs<KBase::ExceptionImpl<InvalidCharacterException>>(ThrowInvalidCharacter));
    EXPECT_TRUE(CaughtAs<InvalidCharacterException>(ThrowInvalidCharacter));
    EXPECT_TRUE(CaughtAs<CodePageConversionException>(ThrowInvalidCharacter));
    EXPECT_TRUE(CaughtAs<KBase::Message>(ThrowInvalidCharacter));
    EXPECT_TRUE(CaughtAs<std::exception>(ThrowInvalidCharacter));
    EXPECT_FALSE(CaughtAs<UserErrorException>(ThrowInvalidCharacter));
}

TEST_F(ThrownExceptionsTest, AConversionErrorIsCaughtByEachOfItsClasses) {
    EXPECT_TRUE(CaughtAs<KBase::ExceptionImpl<CodePageConversionException>>(ThrowConversionError));
    EXPECT_TRUE(CaughtAs<CodePageConversionException>(ThrowConversionError));
    EXPECT_TRUE(CaughtAs<KBase::Message>(ThrowConversionError));
    EXPECT_TRUE(CaughtAs<std::exception>(ThrowConversionError));
    EXPECT_FALSE(CaughtAs<UserErrorException>(ThrowConversionError));
    EXPECT_FALSE(CaughtAs<InvalidCharacterException>(ThrowConversionError));
}

TEST_F(ThrownExceptionsTest, AMessageIsCaughtByEachOfItsClasses) {
    for (const auto& call : {ThrowMessageFromACodePage, ThrowMessageFromAStream, ThrowMessageFromARoutine}) {
        EXPECT_TRUE(CaughtAs<KBase::ExceptionImpl<KBase::Message>>(call));
        EXPECT_TRUE(CaughtAs<KBase::Message>(call));
        EXPECT_TRUE(CaughtAs<std::exception>(call));
        EXPECT_FALSE(CaughtAs<CodePageConversionException>(call));
    }
}

TEST_F(ThrownExceptionsTest, FailuresOfDetectionAndOfStreamConvertersAreThrownAsThemselves) {
    EXPECT_TRUE(CaughtAs<EncodingDetectException>(ThrowDetectException));
    EXPECT_TRUE(CaughtAs<KBase::Message>(ThrowDetectException));
    EXPECT_FALSE(CaughtAs<EncodingConversionException>(ThrowDetectException));
    EXPECT_FALSE(CaughtAs<CodePageConversionException>(ThrowDetectException));
    EXPECT_TRUE(CaughtAs<EncodingConversionException>(ThrowStreamConversionException));
    EXPECT_TRUE(CaughtAs<KBase::Message>(ThrowStreamConversionException));
    EXPECT_FALSE(CaughtAs<EncodingDetectException>(ThrowStreamConversionException));
    EXPECT_FALSE(CaughtAs<CodePageConversionException>(ThrowStreamConversionException));
    try {
        ThrowStreamConversionException();
    } catch (const std::exception& caught) {
        EXPECT_EQ(typeid(caught), typeid(EncodingConversionException));
    }
}

// The class that the client compiles and the one that the library throws are one, so that clients may throw
// and catch the library's classes themselves.
TEST_F(ThrownExceptionsTest, TheClientsClassesAreTheLibrarys) {
    try {
        ThrowUserError();
        FAIL() << "nothing was thrown";
    } catch (const std::exception& caught) {
        EXPECT_EQ(typeid(caught), typeid(KBase::ExceptionImpl<UserErrorException>));
        EXPECT_NE(dynamic_cast<const UserErrorException*>(&caught), nullptr);
    }
    EXPECT_TRUE(CaughtAs<CodePageConversionException>([] {
        throw KBase::ExceptionImpl<UserErrorException>(
            UserErrorException(KBase::Message(KBase::MESSAGE_DOMAIN_SERVER, 1, u"a client's"_w)));
    }));
}

TEST_F(ThrownExceptionsTest, StandardErrorsPassTheBoundary) {
    EXPECT_TRUE(CaughtAs<std::bad_alloc>([] { KDataType::CreateBinary(~0ull, nullptr); }));
}

TEST_F(ThrownExceptionsTest, ObjectsOfTheLibraryAreCastToTheClientsClasses) {
    const auto codePage = GetCodePageReference(20);
    EXPECT_NE(dynamic_cast<CodePageImpl*>(codePage.Get()), nullptr);
    EXPECT_NE(dynamic_cast<KSerialization::SerializableObject*>(codePage.Get()), nullptr);
    EXPECT_NE(dynamic_cast<KBase::ReferenceCounted*>(codePage.Get()), nullptr);
}

} // namespace
