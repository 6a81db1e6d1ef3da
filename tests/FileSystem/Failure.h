// What a failing operation throws, and what the two forms of message must say.

#pragma once

#include "KBase/Message.h"
#include "KBase/WideStream.h"
#include "TestDirectory.h"

#include <ostream>
#include <string>

namespace FileTests {

struct Failure {
    unsigned short domain = 0;
    int id = 0;
    std::string text;

    friend bool operator==(const Failure&, const Failure&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Failure& failure) {
        return out << "domain " << failure.domain << ", id " << failure.id << ", text " << failure.text;
    }
};

inline Failure Seen(const KBase::Message& message) {
    return {message.GetDomain(), message.GetID(), Narrow(message.GetMessage())};
}

// Runs an operation that must throw a KBase::Message and returns what it says.
template <class Operation>
Failure FailureOf(Operation operation) {
    try {
        operation();
    } catch (const KBase::Message& message) {
        return Seen(message);
    }
    return {0, 0, "nothing was thrown"};
}

// The prefix form: the text, a line feed, the description of the system's error.
inline Failure Prefixed(unsigned int error, const std::string& text) {
    return {KBase::MESSAGE_DOMAIN_UNKNOWN, static_cast<int>(error),
            text + "\n" + Narrow(KBase::GetSystemErrorDescription(error))};
}

// The wrapped form: the text wraps the system's error, whose description follows after a line feed.
inline Failure Wrapped(unsigned int error, const std::string& text) {
    return {KBase::MESSAGE_DOMAIN_SERVER, 305419896,
            text + "\n" + Narrow(KBase::GetSystemErrorDescription(error))};
}

} // namespace FileTests
