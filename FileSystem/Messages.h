// The two forms of the layer's failure messages, each built in one place.
//
// Every builder takes the number of the last error that its caller took first, before anything else could
// change it.

#pragma once

#include "KBase/Message.h"
#include "KBase/WideStream.h"
#include "OperatingSystem/Types.h"

#include <string_view>

namespace KFileSystem {

// Prefix form: the text "KFileSystem::", `operation`, `suffix`, a line feed and the description of `error`;
// domain MESSAGE_DOMAIN_UNKNOWN, id `error`. Thrown as KBase::ExceptionImpl<KBase::Message>.
[[noreturn]] void ThrowOperationFailure(OperatingSystem::ErrorNumber error, std::string_view operation,
                                        KBase::WideView suffix);
[[noreturn]] void ThrowOperationFailure(OperatingSystem::ErrorNumber error, std::string_view operation,
                                        std::string_view suffix);

// A suffix that names a path: `text`, the path in single quotes, a full stop.
KBase::WideString PathSuffix(std::string_view text, const KBase::wchar16* path);

// A suffix that names a descriptor: `text`, the number, `end`.
KBase::WideString DescriptorSuffix(std::string_view text, int descriptor, std::string_view end = {});

// Wrapped form: the system error `error` in MESSAGE_DOMAIN_WIN32_API, wrapped by MESSAGE_DOMAIN_SERVER,
// failureID and `format`, whose placeholders the caller fills before it throws.
KBase::Message SystemFailure(OperatingSystem::ErrorNumber error, const char* format);

// The same where the system reported no error.
KBase::Message FailureWithoutSystemError(const char* format);

inline constexpr int failureID = 0x12345678;

} // namespace KFileSystem
