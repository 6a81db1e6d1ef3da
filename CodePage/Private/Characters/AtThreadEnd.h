// AtThreadEnd: calls a function at the end of the thread in which it was made. What a thread holds in plain
// memory, so that asking for it calls nothing, is given back so.
//
//     thread_local const AtThreadEnd<Close> closing; // where the thread first comes to hold something
//
// After the call, objects of the thread that end later may still ask.

#pragma once

namespace KCodePage {

template <void (*function)() noexcept>
class AtThreadEnd {
public:
    AtThreadEnd() noexcept = default;
    AtThreadEnd(const AtThreadEnd&) = delete; // one for each thread
    AtThreadEnd& operator=(const AtThreadEnd&) = delete;
    ~AtThreadEnd() { function(); }
};

} // namespace KCodePage
