// ThreadJis: the two tables that the running thread converted to JIS with last, the process's table from
// Shift-JIS to JIS and what tells the lead bytes of shift_jis, each with a reference of the thread's own.
// While nothing has changed since, a conversion may use them without a lock and without writing anything that
// another thread reads.
//
// A thread that goes idle keeps them, also over a change, until it converts to JIS again or ends; one that
// makes the change lets go of them at once. Thread safety: each thread has its own.

#pragma once

#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/ShiftJisToJis.h"
#include "KBase/ReferenceCounted.h"

#include <atomic>
#include <cstdint>

namespace KCodePage::ThreadJis {

// Neither constructed nor destroyed, so that a thread may ask at any time, also while it ends; in the few
// bytes that every thread of a process has room for, so that asking calls nothing.
struct Kept {
    std::uint64_t changes; // as `changes` was before the thread asked for the tables; 0: nothing is kept
    const ShiftJisToJis* table;
    const MultiByteToUnicode* leads; // has a map
    bool closed;                     // the thread is ending and keeps nothing any more
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Kept kept;

// Counts, from 1 on, what may make either table another one.
extern constinit std::atomic<std::uint64_t> changes;

inline bool IsCurrent() noexcept {
    return kept.changes == changes.load(std::memory_order_acquire);
}

// Keeps these, in place of those kept before. `before`: of `changes`, before they were asked for.
void Keep(std::uint64_t before, KBase::SmartPtrI<const ShiftJisToJis> table,
          KBase::SmartPtrI<const MultiByteToUnicode> leads);

// To be called once the process's table, the registry's code pages or the tables of one are others. What was
// kept is not used again.
void NoteChange() noexcept;

} // namespace KCodePage::ThreadJis
