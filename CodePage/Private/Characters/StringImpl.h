// StringImpl: the one implementation of MultiByteString and UnicodeString.
//
// The buffer's visible size is what the string occupies, its capacity always has room for one zero character
// more, and everything from the text's end to there is zero. Only what must read as zero is written as zero.
// Thread safety: as for the interfaces.

#pragma once

#include "CodePage/MultiByteString.h"
#include "CodePage/UnicodeString.h"
#include "KDataType/Binary.h"
#include "KSynch/AtomicLong.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace KCodePage {

// Sizes of texts of up to 2^32 - 1 characters are calculated without looking for an overflow.
static_assert(sizeof(std::size_t) >= 8);

template <class Interface>
class StringImpl final : public Interface {
public:
    using Character = std::remove_cvref_t<decltype(*std::declval<const Interface&>().Get())>;

    StringImpl(const Character* text, unsigned count) {
        Reserve(count);
        Append(text, count);
    }

    StringImpl(const StringImpl&) = delete; // shared by reference
    StringImpl& operator=(const StringImpl&) = delete;

    // An empty string into which up to `capacity` characters can be written before Finish.
    static KBase::ReturnPtrI<StringImpl> CreateForWriting(std::size_t capacity) {
        KBase::ReturnPtrI<StringImpl> string(new StringImpl(nullptr, 0));
        string->Reserve(capacity);
        return string;
    }

    Character* WritingPlace() noexcept { return reinterpret_cast<Character*>(buffer->GetData()); }

    // Makes the first `count` characters written the text. Requires: not above the capacity asked for.
    void Finish(std::size_t count) {
        if (count > maximumLength) {
            throw std::length_error("string too long");
        }
        length = static_cast<unsigned>(count);
        buffer->SetSize(count * sizeof(Character));
        WritingPlace()[count] = 0;
    }

    const Character* Get() const noexcept override {
        return reinterpret_cast<const Character*>(buffer->GetData());
    }

    unsigned Length() const noexcept override { return length; }

    bool IsEqual(const Character* text, unsigned count) const override {
        return Used() == count && (count == 0 || std::memcmp(Get(), text, count * sizeof(Character)) == 0);
    }

    void Append(const Character* text, unsigned count) override {
        if (count == 0) {
            return;
        }
        const std::size_t used = Used();
        if (count > maximumLength - used) {
            throw std::length_error("string too long");
        }
        // The old buffer stays until the copy is done: `text` may lie in it.
        const KBase::ReturnPtr<KDataType::Binary> old = Reserve(used + count);
        std::size_t end = length;
        if (text != nullptr) {
            std::memmove(WritingPlace() + length, text, count * sizeof(Character));
            length += count;
            end = length;
        }
        buffer->SetSize((used + count) * sizeof(Character));
        std::fill(WritingPlace() + std::max(end, used), WritingPlace() + used + count + 1, Character{0});
    }

    std::int32_t AddRef() const override { return ++referenceCount; }

    std::int32_t Release() const override {
        const std::int32_t count = --referenceCount;
        if (count == 0) {
            delete this;
        }
        return count;
    }

private:
    static constexpr std::size_t maximumLength = std::numeric_limits<unsigned>::max();

    std::size_t Used() const noexcept { return buffer->GetSize() / sizeof(Character); }

    // Makes room for `count` characters and a zero behind them, keeping what is there and its visible size.
    // The first buffer is exact; later ones at least double, so that appending is linear in total. Returns
    // the buffer that was replaced.
    KBase::ReturnPtr<KDataType::Binary> Reserve(std::size_t count) {
        const std::size_t needed = (count + 1) * sizeof(Character);
        if (buffer && needed <= buffer->GetCapacity()) {
            return nullptr;
        }
        auto larger =
            KDataType::CreateBinary(buffer ? std::max(needed, 2 * buffer->GetCapacity()) : needed, nullptr);
        const std::size_t used = buffer ? buffer->GetSize() : 0;
        if (used != 0) {
            std::memcpy(larger->GetData(), buffer->GetData(), used);
        }
        larger->SetSize(used);
        std::memset(larger->GetData() + used, 0, sizeof(Character));
        std::swap(buffer, larger);
        return larger;
    }

    KBase::ReturnPtr<KDataType::Binary> buffer;
    unsigned length = 0; // characters stored with data
    mutable KSynch::AtomicLong referenceCount;
};

using MultiByteStringImpl = StringImpl<MultiByteString>;
using UnicodeStringImpl = StringImpl<UnicodeString>;

// A string of the library's own: throws std::bad_alloc when memory fails.
inline KBase::ReturnPtrI<UnicodeString> MakeUnicodeString(const unsigned short* text, unsigned length) {
    return KBase::ReturnPtrI<UnicodeString>(new UnicodeStringImpl(text, length));
}

inline KBase::ReturnPtrI<MultiByteString> MakeMultiByteString(const char* text, unsigned length) {
    return KBase::ReturnPtrI<MultiByteString>(new MultiByteStringImpl(text, length));
}

} // namespace KCodePage
