// ExactMaps: the flat look-ups of what is exact in the tables of a code page (ExactTables), for the streams
// that run over them. Building one takes as long as converting a text of a megabyte, so it is built when it
// is first asked for and serves all that ask later.
// Thread safety: any thread may ask at any time; it waits while another builds the same.

#pragma once

#include "CodePage/Private/Tables/DecodeMap.h"
#include "CodePage/Private/Tables/EncodeMap.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace KCodePage {

// Not by std::call_once, which under the thread sanitizer waits forever once building has thrown.
template <class Map>
class BuiltOnce {
public:
    // What `build` returns, which is called once; again where it threw.
    template <class Build>
    const Map& Get(Build build) {
        if (const Map* const found = built.load(std::memory_order_acquire)) {
            return *found;
        }
        const std::lock_guard hold(building);
        if (map == nullptr) {
            map = std::make_unique<const Map>(build());
            built.store(map.get(), std::memory_order_release);
        }
        return *map;
    }

private:
    std::mutex building;
    std::unique_ptr<const Map> map;
    std::atomic<const Map*> built = nullptr; // may be asked without the lock
};

// By policy, as ExactTables counts them.
struct ExactMaps {
    BuiltOnce<DecodeMap> decoding[2]; // whether only 7-bit characters are taken
    BuiltOnce<EncodeMap> encoding[4];
    BuiltOnce<EncodeMap> encodingToJis[4]; // of shift_jis: to what JIS text may be made of
};

} // namespace KCodePage
