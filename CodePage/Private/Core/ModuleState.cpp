#include "CodePage/Private/Core/ModuleState.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/ShiftJisToJis.h"
#include "OperatingSystem/Sleep.h"

namespace KCodePage {

namespace {

constexpr std::uint32_t spinWordTaken = 0x12345678;

std::atomic<std::uint32_t> moduleSpinWord = 0; // guards construction and destruction of Initializers
std::int32_t moduleUseCount = 0;               // guarded by moduleSpinWord
std::atomic<ModuleState*> moduleState = nullptr;

// Holds the module spin word.
class SpinWordHolder {
public:
    SpinWordHolder() noexcept {
        while (moduleSpinWord.exchange(spinWordTaken, std::memory_order_acquire) == spinWordTaken) {
            OperatingSystem::Sleep(0);
        }
    }
    SpinWordHolder(const SpinWordHolder&) = delete; // one holder, one release
    SpinWordHolder& operator=(const SpinWordHolder&) = delete;
    ~SpinWordHolder() { moduleSpinWord.store(0, std::memory_order_release); }
};

void CountUse() {
    const SpinWordHolder holder;
    if (moduleUseCount == 0) {
        moduleState = new ModuleState;
    }
    ++moduleUseCount;
}

} // namespace

Initializer::Initializer() {
    CountUse();
}

Initializer::Initializer(const Initializer&) {
    CountUse();
}

Initializer::~Initializer() {
    const SpinWordHolder holder;
    if (--moduleUseCount == 0) {
        ShiftJisToJis::Flush();
        delete moduleState.exchange(nullptr);
    }
}

ModuleState& GetModuleState() {
    ModuleState* state = moduleState;
    if (state == nullptr) {
        Throw<UserErrorException>(
            KBase::WideStream()
            << "KCodePage is not initialised: construct a KCodePage::Initializer before any "
               "other call.");
    }
    return *state;
}

IANAInfo* GetIANAInfo() {
    ModuleState* state = moduleState;
    return state != nullptr ? state->ianaInfo.Get() : nullptr;
}

} // namespace KCodePage
