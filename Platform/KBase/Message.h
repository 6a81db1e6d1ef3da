// Message: the failure that every part of the library throws, and ExceptionImpl, the type most failures are
// thrown as.
//
// A message has a domain, an id and a UTF-16 text, and may wrap the message that caused it. Texts may hold
// the placeholders %1, %2 ... which operator<< fills in order.
// Thread safety: one thread at a time; copies are independent and copying never throws.

#pragma once

#include "KBase/Export.h"
#include "KBase/WideString.h"

#include <concepts>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace KBase {

// Who a message's id belongs to.
inline constexpr unsigned short MESSAGE_DOMAIN_UNKNOWN = 0;
inline constexpr unsigned short MESSAGE_DOMAIN_SERVER = 1;
inline constexpr unsigned short MESSAGE_DOMAIN_WIN32_API = 2; // the id is a Windows error number

class KCODEPAGE_EXPORT Message : public std::exception {
public:
    // An empty message: domain MESSAGE_DOMAIN_UNKNOWN, id 0, no text.
    Message() noexcept;

    // `text`: zero-terminated, may hold placeholders; null for no text. In MESSAGE_DOMAIN_WIN32_API a message
    // without a text shows the description of the error number `id`.
    Message(unsigned short domain, int id, const wchar16* text);

    Message(const Message&) noexcept;
    Message& operator=(const Message&) noexcept;
    ~Message() override;

    void SetDomainAndID(unsigned short domain, int id);

    // Replaces the text, and with it what its placeholders were filled with. Null sets an empty text.
    void SetMessage(const wchar16* text);

    // The text; where this message wraps another, a line feed and the wrapped one's text follow. Valid until
    // this message changes or goes. Never null.
    const wchar16* GetMessage() const noexcept;

    unsigned short GetDomain() const noexcept;
    int GetID() const noexcept;

    // Makes what this message says the cause of a new outer message with the given domain, id and text
    // (`format`: ASCII, may hold placeholders). Returns this message.
    Message& WrapBy(unsigned short domain, int id, const char* format);

    // Puts `message`, with its causes, in front of what this message says: domain and id become those of
    // `message`. Where this message is empty it becomes a copy. Returns this message.
    Message& PrependBy(const Message& message);

    // Fills the next placeholder of the outermost text: the first call fills %1, the second %2. A text
    // without that placeholder stays as it is.
    Message& operator<<(WideView value);
    Message& operator<<(const wchar16* value) { return *this << WideView(value); }
    template <std::size_t N>
    Message& operator<<(const WideLiteral<N>& value) {
        return *this << WideView(value);
    }
    Message& operator<<(std::string_view ascii);
    template <std::integral Integer>
    Message& operator<<(Integer value) {
        return *this << std::string_view(std::to_string(value));
    }

    // GetMessage() as UTF-8 (an unpaired surrogate as U+FFFD); where there is no text, the name of the
    // exception's class. Valid as long as GetMessage()'s text.
    const char* what() const noexcept override;

protected:
    // The name of the class, which stands in for the text of an empty message.
    virtual const char* ClassName() const noexcept;

private:
    struct State;

    template <class Change>
    Message& Modify(Change change);

    std::shared_ptr<const State> state; // null for an empty message; shared by copies, replaced on change
};

// What a failure of class T is thrown as. It adds nothing: a handler catches by any base.
template <class T>
class KCODEPAGE_EXPORT ExceptionImpl final : public T {
public:
    using T::T;
    explicit ExceptionImpl(const T& message) : T(message) {}
};

// The description of a Windows error number. Every number gives a text; one that is not known gives a text
// with the number in it.
KCODEPAGE_EXPORT ReturnWString GetSystemErrorDescription(unsigned int code);

} // namespace KBase
