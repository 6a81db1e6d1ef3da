// ReferenceCounted: the interface of objects that live as long as references are held on them, and the
// pointers that hold such references.
// Thread safety: AddRef and Release may be called from any thread; a pointer object belongs to one thread at
// a time.

#pragma once

#include "KBase/Export.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace KBase {

// An object's count starts at 0: its first owner must call AddRef. Objects are made with new.
class KCODEPAGE_EXPORT ReferenceCounted {
public:
    ReferenceCounted() = default;
    ReferenceCounted(const ReferenceCounted&) = default;
    ReferenceCounted& operator=(const ReferenceCounted&) = default;
    virtual ~ReferenceCounted();

    // Both return the new count. Release deletes the object when the count reaches 0.
    virtual std::int32_t AddRef() const = 0;
    virtual std::int32_t Release() const = 0;
};

// Holds one reference on a T, or none when null.
template <class T>
class SmartPtrI {
public:
    SmartPtrI() noexcept = default;
    SmartPtrI(std::nullptr_t) noexcept {}

    // Takes a reference of its own on `object` (null allowed).
    explicit SmartPtrI(T* target) noexcept : object(target) {
        if (object != nullptr) {
            object->AddRef();
        }
    }

    // Takes over a reference that the caller holds on `target`: the counterpart of Detach.
    static SmartPtrI Adopt(T* target) noexcept {
        SmartPtrI adopted;
        adopted.object = target;
        return adopted;
    }

    SmartPtrI(const SmartPtrI& other) noexcept : SmartPtrI(other.object) {}
    SmartPtrI(SmartPtrI&& other) noexcept : object(std::exchange(other.object, nullptr)) {}

    template <class Derived>
    SmartPtrI(SmartPtrI<Derived>&& other) noexcept : object(other.Detach()) {}

    SmartPtrI& operator=(SmartPtrI other) noexcept {
        std::swap(object, other.object);
        return *this;
    }

    ~SmartPtrI() {
        if (object != nullptr) {
            object->Release();
        }
    }

    T* Get() const noexcept { return object; }

    // Hands the reference over to the caller.
    T* Detach() noexcept { return std::exchange(object, nullptr); }

    T* operator->() const noexcept { return object; }
    T& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }
    friend bool operator==(const SmartPtrI& a, const SmartPtrI& b) noexcept { return a.object == b.object; }

private:
    T* object = nullptr;
};

// What a function returns that creates a counted object: it holds one reference, which the receiver owns.
template <class T>
using ReturnPtrI = SmartPtrI<T>;

} // namespace KBase
