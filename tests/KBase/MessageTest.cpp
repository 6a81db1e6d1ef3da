#include "KBase/Message.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using KBase::Message;
using KBase::WideView;
using KBase::operator""_w;

KBase::WideString Text(const Message& message) {
    return message.GetMessage();
}

KBase::WideString Wide(std::string_view ascii) {
    return KBase::WideString(ascii.begin(), ascii.end());
}

TEST(Message, StartsEmptyInTheUnknownDomain) {
    const Message message;
    EXPECT_EQ(message.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
    EXPECT_EQ(message.GetID(), 0);
    ASSERT_NE(message.GetMessage(), nullptr);
    EXPECT_EQ(Text(message), Wide(""));
}

TEST(Message, HasThreeDifferentDomains) {
    EXPECT_NE(KBase::MESSAGE_DOMAIN_UNKNOWN, KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_NE(KBase::MESSAGE_DOMAIN_UNKNOWN, KBase::MESSAGE_DOMAIN_WIN32_API);
    EXPECT_NE(KBase::MESSAGE_DOMAIN_SERVER, KBase::MESSAGE_DOMAIN_WIN32_API);
}

TEST(Message, KeepsDomainIdAndText) {
    Message message;
    message.SetDomainAndID(0xFFFF, -1);
    message.SetMessage(u"a text"_w);
    EXPECT_EQ(message.GetDomain(), 0xFFFF);
    EXPECT_EQ(message.GetID(), -1);
    EXPECT_EQ(Text(message), Wide("a text"));
    message.SetMessage(nullptr);
    EXPECT_EQ(Text(message), Wide(""));
    EXPECT_EQ(message.GetID(), -1);
}

TEST(Message, CopiesAreIndependent) {
    Message first(KBase::MESSAGE_DOMAIN_SERVER, 7, u"first"_w);
    Message second(first);
    first.SetMessage(u"changed"_w);
    EXPECT_EQ(Text(second), Wide("first"));
    second = first;
    first.SetDomainAndID(1, 8);
    EXPECT_EQ(second.GetID(), 7);
    EXPECT_EQ(Text(second), Wide("changed"));
    static_assert(std::is_nothrow_copy_constructible_v<Message>);
}

TEST(Message, AWrappedMessageShowsTheOuterTextAndTheCauseBehindALineFeed) {
    Message message(KBase::MESSAGE_DOMAIN_WIN32_API, 5, u"cause"_w);
    EXPECT_EQ(&message.WrapBy(KBase::MESSAGE_DOMAIN_SERVER, 0x12345678, "outer"), &message);
    EXPECT_EQ(message.GetDomain(), KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_EQ(message.GetID(), 305419896);
    EXPECT_EQ(Text(message), Wide("outer\ncause"));
    message.WrapBy(KBase::MESSAGE_DOMAIN_UNKNOWN, 3, "outermost");
    EXPECT_EQ(Text(message), Wide("outermost\nouter\ncause"));
    EXPECT_EQ(message.GetID(), 3);
}

TEST(Message, WrappingAnEmptyMessageLeavesNoBlankLine) {
    Message message;
    message.WrapBy(KBase::MESSAGE_DOMAIN_SERVER, 1, "outer");
    EXPECT_EQ(Text(message), Wide("outer"));
}

TEST(Message, PlaceholdersOfTheOutermostTextAreFilledInOrder) {
    Message message(KBase::MESSAGE_DOMAIN_UNKNOWN, 1, u"cause with %1"_w);
    message.WrapBy(KBase::MESSAGE_DOMAIN_SERVER, 2, "%2 before %1, %1 again");
    message << WideView(u"one"_w) << 2;
    EXPECT_EQ(Text(message), Wide("2 before one, one again\ncause with %1"));
}

TEST(Message, AValueThatLooksLikeAPlaceholderIsNotFilled) {
    Message message(KBase::MESSAGE_DOMAIN_UNKNOWN, 1, u"<%1> <%2>"_w);
    message << WideView(u"%2"_w) << WideView(u"two"_w);
    EXPECT_EQ(Text(message), Wide("<%2> <two>"));
}

TEST(Message, UnfilledPlaceholdersAndOtherPercentSignsStay) {
    Message message(KBase::MESSAGE_DOMAIN_UNKNOWN, 1, u"100% %0 %a %1 %2 %"_w);
    message << WideView(u"one"_w);
    EXPECT_EQ(Text(message), Wide("100% %0 %a one %2 %"));
    message << WideView(u"two"_w) << WideView(u"three has no place"_w);
    EXPECT_EQ(Text(message), Wide("100% %0 %a one two %"));
}

TEST(Message, PrependingPutsAnotherMessageInFront) {
    Message inner(KBase::MESSAGE_DOMAIN_WIN32_API, 2, u"inner"_w);
    const Message outer(KBase::MESSAGE_DOMAIN_SERVER, 9, u"outer"_w);
    EXPECT_EQ(&inner.PrependBy(outer), &inner);
    EXPECT_EQ(Text(inner), Wide("outer\ninner"));
    EXPECT_EQ(inner.GetDomain(), KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_EQ(inner.GetID(), 9);
    EXPECT_EQ(Text(outer), Wide("outer"));
}

TEST(Message, PrependingToOrByAnEmptyMessageGivesTheOtherOne) {
    Message message(KBase::MESSAGE_DOMAIN_SERVER, 9, u"text"_w);
    message.PrependBy(Message());
    EXPECT_EQ(Text(message), Wide("text"));
    EXPECT_EQ(message.GetID(), 9);
    Message empty;
    empty.PrependBy(message);
    EXPECT_EQ(Text(empty), Wide("text"));
    EXPECT_EQ(empty.GetDomain(), KBase::MESSAGE_DOMAIN_SERVER);
}

TEST(Message, CanBePrependedByItself) {
    Message message(KBase::MESSAGE_DOMAIN_SERVER, 9, u"text"_w);
    message.PrependBy(message);
    EXPECT_EQ(Text(message), Wide("text\ntext"));
}

TEST(Message, WhatGivesUTF8WithTheReplacementCharacterForAnUnpairedSurrogate) {
    Message message;
    const KBase::wchar16 text[] = {0xE9, 0x3042, 0xD83D, 0xDE00, 0xD800, 'x', 0xDC00, 0};
    message.SetMessage(text);
    EXPECT_STREQ(message.what(), "\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80\xEF\xBF\xBDx\xEF\xBF\xBD");
    const std::exception& standard = message;
    EXPECT_STREQ(standard.what(), message.what());
}

TEST(Message, WhatOfAnEmptyMessageNamesTheKindOfException) {
    EXPECT_STREQ(Message().what(), "KBase::Message");
    EXPECT_STREQ(KBase::ExceptionImpl<Message>(Message()).what(), "KBase::Message");
    Message withId;
    withId.SetDomainAndID(KBase::MESSAGE_DOMAIN_UNKNOWN, -1);
    EXPECT_STREQ(withId.what(), "KBase::Message");
}

TEST(Message, ASystemErrorWithoutATextShowsItsDescription) {
    const Message message(KBase::MESSAGE_DOMAIN_WIN32_API, 2, nullptr);
    EXPECT_EQ(Text(message), KBase::GetSystemErrorDescription(2));
    EXPECT_FALSE(Text(message).empty());
}

TEST(Message, EveryErrorNumberHasADescriptionAndAnUnknownOneShowsTheNumber) {
    for (unsigned code = 0; code < 20000; ++code) {
        ASSERT_FALSE(KBase::GetSystemErrorDescription(code).empty()) << code;
    }
    const KBase::WideString unknown = KBase::GetSystemErrorDescription(4294967295u);
    EXPECT_NE(unknown.find(Wide("4294967295")), KBase::WideString::npos);
    EXPECT_NE(KBase::GetSystemErrorDescription(2), KBase::GetSystemErrorDescription(3));
}

TEST(Message, AnExceptionIsCaughtByEveryBase) {
    const auto raise = [] {
        throw KBase::ExceptionImpl<Message>(Message(1, 2, u"text"_w));
    };
    EXPECT_THROW(raise(), KBase::ExceptionImpl<Message>);
    EXPECT_THROW(raise(), Message);
    EXPECT_THROW(raise(), std::exception);
}

} // namespace
