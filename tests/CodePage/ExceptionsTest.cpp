#include "CodePage/Exceptions.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "Raised.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

KBase::Message Sample() {
    return KBase::Message(KBase::MESSAGE_DOMAIN_SERVER, 305419896, u"Failed to open file '%1'."_w);
}

template <class Base, class Thrown>
bool Catches(const Thrown& thrown) {
    try {
        throw thrown;
    } catch (const Base&) {
        return true;
    } catch (...) {
        return false;
    }
}

TEST(ExceptionsTest, TheDomainsAreDistinct) {
    EXPECT_NE(KBase::MESSAGE_DOMAIN_UNKNOWN, KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_NE(KBase::MESSAGE_DOMAIN_UNKNOWN, KBase::MESSAGE_DOMAIN_WIN32_API);
    EXPECT_NE(KBase::MESSAGE_DOMAIN_SERVER, KBase::MESSAGE_DOMAIN_WIN32_API);
}

TEST(ExceptionsTest, AConversionExceptionIsCaughtAsMessageButNotAsAUserErrorOrInvalidCharacter) {
    const KBase::ExceptionImpl<CodePageConversionException> thrown{CodePageConversionException(Sample())};
    EXPECT_TRUE(Catches<CodePageConversionException>(thrown));
    EXPECT_TRUE(Catches<KBase::Message>(thrown));
    EXPECT_TRUE(Catches<std::exception>(thrown));
    EXPECT_FALSE(Catches<UserErrorException>(thrown));
    EXPECT_FALSE(Catches<InvalidCharacterException>(thrown));
}

TEST(ExceptionsTest, AUserErrorIsCaughtAsConversionException) {
    const KBase::ExceptionImpl<UserErrorException> thrown{UserErrorException(Sample())};
    EXPECT_TRUE(Catches<UserErrorException>(thrown));
    EXPECT_TRUE(Catches<CodePageConversionException>(thrown));
    EXPECT_TRUE(Catches<KBase::Message>(thrown));
    EXPECT_TRUE(Catches<std::exception>(thrown));
    EXPECT_FALSE(Catches<InvalidCharacterException>(thrown));
}

TEST(ExceptionsTest, AnInvalidCharacterIsCaughtAsConversionException) {
    const KBase::ExceptionImpl<InvalidCharacterException> thrown{InvalidCharacterException(Sample())};
    EXPECT_TRUE(Catches<InvalidCharacterException>(thrown));
    EXPECT_TRUE(Catches<CodePageConversionException>(thrown));
    EXPECT_TRUE(Catches<KBase::Message>(thrown));
    EXPECT_TRUE(Catches<std::exception>(thrown));
    EXPECT_FALSE(Catches<UserErrorException>(thrown));
}

template <class Exception>
class ExceptionOfTest : public testing::Test {};

using Exceptions = testing::Types<CodePageConversionException, UserErrorException, InvalidCharacterException>;

class ClassNames {
public:
    template <class Exception>
    static std::string GetName(int) {
        if (std::is_same_v<Exception, UserErrorException>) {
            return "UserErrorException";
        }
        return std::is_same_v<Exception, InvalidCharacterException> ? "InvalidCharacterException"
                                                                    : "CodePageConversionException";
    }
};

TYPED_TEST_SUITE(ExceptionOfTest, Exceptions, ClassNames);

TYPED_TEST(ExceptionOfTest, CarriesTheMessageItIsMadeFrom) {
    KBase::Message message = Sample();
    message << KBase::WideView(u"a.M2U"_w);
    const KBase::ExceptionImpl<TypeParam> thrown{TypeParam(message)};
    EXPECT_EQ(Ascii(thrown.GetMessage()), "Failed to open file 'a.M2U'.");
    EXPECT_STREQ(thrown.what(), "Failed to open file 'a.M2U'.");
    EXPECT_EQ(thrown.GetDomain(), KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_EQ(thrown.GetID(), 0x12345678);
}

TYPED_TEST(ExceptionOfTest, NamesItsClassWhereThereIsNoText) {
    const std::string name = "KCodePage::" + ClassNames::GetName<TypeParam>(0);
    EXPECT_EQ(TypeParam().what(), name);
    EXPECT_EQ(KBase::ExceptionImpl<TypeParam>().what(), name);
    EXPECT_EQ(Ascii(TypeParam().GetMessage()), "");
}

TYPED_TEST(ExceptionOfTest, IsCopiedWithoutThrowing) {
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<TypeParam>);
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<KBase::ExceptionImpl<TypeParam>>);
}

TYPED_TEST(ExceptionOfTest, KeepsItsOwnTextWhenACopyChanges) {
    const TypeParam first{Sample()};
    TypeParam second(first);
    second.SetMessage(u"other"_w);
    second.SetDomainAndID(KBase::MESSAGE_DOMAIN_WIN32_API, 2);
    EXPECT_EQ(Ascii(first.GetMessage()), "Failed to open file '%1'.");
    EXPECT_EQ(first.GetDomain(), KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_EQ(Ascii(second.GetMessage()), "other");
    EXPECT_EQ(second.GetID(), 2);
}

TYPED_TEST(ExceptionOfTest, LivesOnInAnExceptionPointer) {
    std::exception_ptr kept;
    try {
        throw KBase::ExceptionImpl<TypeParam>(TypeParam(Sample()));
    } catch (...) {
        kept = std::current_exception();
    }
    EXPECT_EQ(Raised([&] { std::rethrow_exception(kept); }),
              (Failure{ClassNames::GetName<TypeParam>(0), "Failed to open file '%1'.",
                       KBase::MESSAGE_DOMAIN_SERVER, 305419896}));
}

TEST(ExceptionsTest, TheInvalidEnumerationErrorIsCaughtAsConversionException) {
    const Initializer initializer;
    try {
        GetCodePage(3);
        FAIL() << "nothing was thrown";
    } catch (const CodePageConversionException& error) {
        EXPECT_EQ(Ascii(error.GetMessage()),
                  "Error - Cannot create CodePage due to invalid CodePage enumeration");
        EXPECT_EQ(error.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
        EXPECT_EQ(error.GetID(), -1);
    }
}

TEST(ExceptionsTest, TheTextOfAnUnlistedCodePageEndsWithItsNumberAfterOneBlank) {
    const Initializer initializer;
    EXPECT_EQ(Raised([] { GetCodePage(19); }), UserError("The character set is not supported: 19"));
}

TEST(ExceptionsTest, AnErrorOutlivesTheModuleThatThrewIt) {
    std::exception_ptr kept;
    {
        const Initializer initializer;
        try {
            GetCodePage(19);
        } catch (...) {
            kept = std::current_exception();
        }
    }
    EXPECT_EQ(Raised([&] { std::rethrow_exception(kept); }),
              UserError("The character set is not supported: 19"));
}

} // namespace
