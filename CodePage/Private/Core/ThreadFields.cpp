#include "CodePage/Private/Core/ThreadFields.h"

#include "CodePage/Private/Characters/AtThreadEnd.h"

#include <utility>

namespace KCodePage::ThreadFields {

constinit thread_local Entries entries{};

namespace {

void Close() noexcept {
    entries.closed = true;
    for (const CodePageFields*& fields : entries.fields) {
        KBase::SmartPtrI<const CodePageFields>::Adopt(std::exchange(fields, nullptr));
    }
}

} // namespace

KBase::SmartPtrI<const CodePageFields> Hold(KBase::SmartPtrI<const CodePageFields> fields) {
    thread_local const AtThreadEnd<Close> closing;
    if (entries.closed) {
        return fields;
    }
    const auto next = [] {
        return (entries.oldest + 1) % capacity;
    };
    if (entries.pinned != nullptr && entries.fields[entries.oldest] == entries.pinned) {
        entries.oldest = next();
    }
    const CodePageFields*& oldest = entries.fields[entries.oldest];
    entries.oldest = next();
    // The reference goes when this returns.
    const auto replaced =
        KBase::SmartPtrI<const CodePageFields>::Adopt(std::exchange(oldest, fields.Detach()));
    return nullptr;
}

void Drop(const CodePageFields* fields) noexcept {
    for (const CodePageFields*& held : entries.fields) {
        if (held == fields) {
            KBase::SmartPtrI<const CodePageFields>::Adopt(std::exchange(held, nullptr));
        }
    }
}

} // namespace KCodePage::ThreadFields
