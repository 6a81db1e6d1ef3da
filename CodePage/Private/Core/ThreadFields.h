// ThreadFields: the fields of the code pages that the running thread converted with last, each with a
// reference of the thread's own. A conversion whose object points at fields that its thread holds may use
// them without a lock and without writing anything that another thread reads.
//
// An address that is held here names one set of fields only: what is held is not freed, so that nothing else
// can come to stand at its address.
//
// A thread holds `capacity` sets of fields at most. One that goes idle keeps them, also over a flush, until
// it converts with others or ends; one that itself replaces an object's fields, or destroys the object, lets
// go of them at once. Thread safety: each thread has its own.

#pragma once

#include "CodePage/Private/Core/CodePageFields.h"
#include "KBase/ReferenceCounted.h"

#include <cstddef>

namespace KCodePage::ThreadFields {

inline constexpr std::size_t capacity = 4;

// The thread's own. Neither constructed nor destroyed, so that a thread may ask at any time, also while it
// ends; in the few bytes that every thread of a process has room for, so that asking calls nothing.
struct Entries {
    const CodePageFields* fields[capacity];
    const CodePageFields* pinned; // of these, what Hold leaves; null for none
    std::size_t oldest;
    bool closed; // the thread is ending and holds nothing any more
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Entries entries;

// Whether the thread holds `fields`, an address that may be freed by now.
inline bool Holds(const CodePageFields* fields) noexcept {
    for (const CodePageFields* held : entries.fields) {
        if (held == fields) {
            return true;
        }
    }
    return false;
}

// Holds `fields` from now on, in place of those held longest and not pinned. Gives them back where the thread
// holds nothing any more: the caller keeps its reference then.
KBase::SmartPtrI<const CodePageFields> Hold(KBase::SmartPtrI<const CodePageFields> fields);

// Lets go of `fields`, if they are held.
void Drop(const CodePageFields* fields) noexcept;

// While it lives, others do not take the place of `fields`: for a conversion that asks other code pages
// midway and then goes on with its own. One at a time.
class Pinned {
public:
    explicit Pinned(const CodePageFields* fields) noexcept { entries.pinned = fields; }
    Pinned(const Pinned&) = delete; // one at a time
    Pinned& operator=(const Pinned&) = delete;
    ~Pinned() { entries.pinned = nullptr; }
};

} // namespace KCodePage::ThreadFields
