// StringImpl: the one implementation of MultiByteString and UnicodeString.
//
// A short text stands behind the object, in the one block of memory that both share; a longer one, and one
// that Append made outgrow its place, has a block of its own. The memory of the first is that of a string
// which the thread let go, where it has such. Of those, longer texts begin with a cache line, so that no
// store of a whole vector, from the beginning on, lies in two. There is always room for one zero character
// more than the string occupies, and everything from the text's end to there is zero. Only what must read as
// zero is written as zero. Thread safety: as for the interfaces.

#pragma once

#include "CodePage/MultiByteString.h"
#include "CodePage/Private/Characters/SpareMemory.h"
#include "CodePage/UnicodeString.h"
#include "KSynch/AtomicLong.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>

namespace KCodePage {

// Sizes of texts of up to 2^32 - 1 characters are calculated without looking for an overflow.
static_assert(sizeof(std::size_t) >= 8);

template <class Interface>
class StringImpl final : public Interface {
public:
    using Character = std::remove_cvref_t<decltype(*std::declval<const Interface&>().Get())>;

    // A string that holds a copy of `count` characters of `text`, with `references` on it.
    static StringImpl* Create(const Character* text, unsigned count, std::int32_t references) {
        StringImpl* const string = CreateEmpty(count, references, filledInPlaceLimit);
        string->Append(text, count); // into the room that was made: it does not throw
        return string;
    }

    // An empty string into which up to `capacity` characters can be written before Finish.
    static KBase::ReturnPtrI<StringImpl> CreateForWriting(std::size_t capacity) {
        return KBase::ReturnPtrI<StringImpl>::Adopt(CreateEmpty(capacity, 1, inPlaceLimit));
    }

    // The same for a block of a longer text, which will fill the capacity.
    static KBase::ReturnPtrI<StringImpl> CreateForBlock(std::size_t capacity) {
        return KBase::ReturnPtrI<StringImpl>::Adopt(CreateEmpty(capacity, 1, filledInPlaceLimit));
    }

    StringImpl(const StringImpl&) = delete; // shared by reference
    StringImpl& operator=(const StringImpl&) = delete;

    ~StringImpl() override {
        if (hasBlock) {
            delete[] characters;
        }
    }

    Character* WritingPlace() noexcept { return characters; }

    // Makes the first `count` characters written the text. Requires: not above the capacity asked for.
    void Finish(std::size_t count) {
        if (count > maximumLength) {
            throw std::length_error("string too long");
        }
        if (hasBlock && count < capacity / 2 && capacity * sizeof(Character) <= shrinkingLimit) {
            std::unique_ptr<Character[]> exact(new Character[count + 1]);
            std::memcpy(exact.get(), characters, count * sizeof(Character));
            delete[] characters;
            characters = exact.release();
            capacity = count;
        }
        length = size = static_cast<unsigned>(count);
        characters[count] = 0;
    }

    const Character* Get() const noexcept override { return characters; }

    unsigned Length() const noexcept override { return length; }

    bool IsEqual(const Character* text, unsigned count) const override {
        return size == count && (count == 0 || std::memcmp(characters, text, count * sizeof(Character)) == 0);
    }

    void Append(const Character* text, unsigned count) override {
        if (count == 0) {
            return;
        }
        if (count > maximumLength - size) {
            throw std::length_error("string too long");
        }
        const std::size_t newSize = std::size_t{size} + count;
        // The old block stays until the copy is done: `text` may lie in it.
        const std::unique_ptr<Character[]> old = Reserve(newSize);
        std::size_t end = length;
        if (text != nullptr) {
            std::memmove(characters + length, text, count * sizeof(Character));
            length += count;
            end = length;
        }
        std::fill(characters + std::max<std::size_t>(end, size), characters + newSize + 1, Character{0});
        size = static_cast<unsigned>(newSize);
    }

    std::int32_t AddRef() const override { return ++referenceCount; }

    std::int32_t Release() const override {
        // Whoever holds the only reference need not write the count to give it up: nobody else can copy it.
        const std::int32_t count = referenceCount.IsOne() ? 0 : --referenceCount;
        if (count == 0) {
            Destroy();
        }
        return count;
    }

private:
    static constexpr std::size_t maximumLength = std::numeric_limits<unsigned>::max();

    // Bytes of text, with the zero, that stand behind the object at most: where room is made for the worst
    // case, so that not much is wasted, and where it will be filled.
    static constexpr std::size_t inPlaceLimit = 1024;
    static constexpr std::size_t filledInPlaceLimit = 8192;

    // Bytes of text, with the zero, from which on one behind the object begins at a multiple of `alignment`.
    static constexpr std::size_t alignedFrom = 1024;
    static constexpr std::size_t alignment = 64;

    // Bytes up to which a block that is less than half used is exchanged for one that fits. What a larger one
    // has left was never touched and costs addresses, not memory; copying it would cost time.
    static constexpr std::size_t shrinkingLimit = std::size_t{1} << 17;

    // Behind the object may stand more than its size, which only Destroy knows.
    static void operator delete(void* object) noexcept { ::operator delete(object); }

    static StringImpl* CreateEmpty(std::size_t capacity, std::int32_t references, std::size_t limit) {
        const std::size_t bytes = (capacity + 1) * sizeof(Character);
        if (bytes <= limit) {
            // Not with the address sanitizer, for what is not skipped would lie behind the text.
            const bool isAligned = SpareMemory::keeps && bytes >= alignedFrom;
            const std::size_t mostSkipped = isAligned ? alignment - 1 : 0;
            std::size_t all = sizeof(StringImpl) + mostSkipped + bytes;
            char* const memory = static_cast<char*>(SpareMemory::Take(all));
            const auto behind = reinterpret_cast<std::uintptr_t>(memory) + sizeof(StringImpl);
            const std::size_t begin = sizeof(StringImpl) + ((0 - behind) & mostSkipped);
            const std::size_t room = (all - begin) / sizeof(Character) - 1;
            return ::new (memory)
                StringImpl(reinterpret_cast<Character*>(memory + begin), room, false, references);
        }
        std::unique_ptr<Character[]> block(new Character[capacity + 1]);
        StringImpl* const string = new StringImpl(block.get(), capacity, true, references);
        static_cast<void>(block.release()); // the string's own by now
        return string;
    }

    void Destroy() const noexcept {
        if (hasBlock) {
            delete this;
            return;
        }
        // There is nothing for the destructor to do. The memory itself is not const.
        const auto end = reinterpret_cast<std::uintptr_t>(characters + capacity + 1);
        SpareMemory::Keep(const_cast<StringImpl*>(this), end - reinterpret_cast<std::uintptr_t>(this));
    }

    // `place`: for `room` characters and a zero, in a block of its own or behind the object.
    StringImpl(Character* place, std::size_t room, bool isBlock, std::int32_t references) noexcept
        : characters(place), capacity(room), referenceCount(references), hasBlock(isBlock) {
        characters[0] = 0;
    }

    // Makes room for `count` characters and a zero behind them, keeping what is there. A new block at least
    // doubles the old one, so that appending is linear in total. Returns the block that was replaced.
    std::unique_ptr<Character[]> Reserve(std::size_t count) {
        if (count <= capacity) {
            return nullptr;
        }
        const std::size_t larger = std::max(count, 2 * capacity);
        std::unique_ptr<Character[]> block(new Character[larger + 1]);
        std::memcpy(block.get(), characters, size * sizeof(Character));
        std::unique_ptr<Character[]> old(hasBlock ? characters : nullptr);
        characters = block.release();
        hasBlock = true;
        capacity = larger;
        return old;
    }

    Character* characters;
    std::size_t capacity; // characters, without the zero
    unsigned length = 0;  // characters stored with data
    unsigned size = 0;    // characters that the string occupies
    mutable KSynch::AtomicLong referenceCount;
    bool hasBlock; // whether the characters stand in a block of their own
};

using MultiByteStringImpl = StringImpl<MultiByteString>;
using UnicodeStringImpl = StringImpl<UnicodeString>;

// A string of the library's own: throws std::bad_alloc when memory fails.
inline KBase::ReturnPtrI<UnicodeString> MakeUnicodeString(const unsigned short* text, unsigned length) {
    return KBase::ReturnPtrI<UnicodeString>::Adopt(UnicodeStringImpl::Create(text, length, 1));
}

inline KBase::ReturnPtrI<MultiByteString> MakeMultiByteString(const char* text, unsigned length) {
    return KBase::ReturnPtrI<MultiByteString>::Adopt(MultiByteStringImpl::Create(text, length, 1));
}

} // namespace KCodePage
