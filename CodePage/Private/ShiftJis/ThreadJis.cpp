#include "CodePage/Private/ShiftJis/ThreadJis.h"

#include "CodePage/Private/Characters/AtThreadEnd.h"

#include <utility>

namespace KCodePage::ThreadJis {

constinit thread_local Kept kept{};
constinit std::atomic<std::uint64_t> changes = 1;

namespace {

void Drop() noexcept {
    kept.changes = 0;
    KBase::SmartPtrI<const ShiftJisToJis>::Adopt(std::exchange(kept.table, nullptr));
    KBase::SmartPtrI<const MultiByteToUnicode>::Adopt(std::exchange(kept.leads, nullptr));
}

void Close() noexcept {
    kept.closed = true;
    Drop();
}

} // namespace

void Keep(std::uint64_t before, KBase::SmartPtrI<const ShiftJisToJis> table,
          KBase::SmartPtrI<const MultiByteToUnicode> leads) {
    thread_local const AtThreadEnd<Close> closing;
    if (kept.closed) {
        return;
    }
    Drop();
    kept.table = table.Detach();
    kept.leads = leads.Detach();
    kept.changes = before;
}

void NoteChange() noexcept {
    changes.fetch_add(1, std::memory_order_release);
    Drop();
}

} // namespace KCodePage::ThreadJis
