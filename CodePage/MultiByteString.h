// MultiByteString: a reference-counted text of bytes in a multi-byte code page, as conversions return it.
// Thread safety: only the reference count; a string is built by one thread before it is shared, and a string
// that nobody appends to may be read from any thread.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

class KCODEPAGE_EXPORT MultiByteString : public virtual KBase::ReferenceCounted {
public:
    // The first byte of the text; a zero byte follows the text. Valid until the next Append.
    virtual const char* Get() const = 0;

    // Bytes appended with data.
    virtual unsigned Length() const = 0;

    // Whether the string's size is `length` bytes and they equal `text`.
    virtual bool IsEqual(const char* text, unsigned length) const = 0;

    // Appends `length` bytes of `text`, which may lie in this string. Kept: with a null `text` the string's
    // size grows by `length` zero bytes, which IsEqual sees and Length does not.
    // Throws std::bad_alloc, and std::length_error above 2^32 - 1 bytes; the string is then unchanged.
    virtual void Append(const char* text, unsigned length) = 0;
};

// A new string that holds a copy of `length` bytes of `text`, with a reference count of 0. Null when memory
// fails.
KCODEPAGE_EXPORT MultiByteString* CreateMultiByteString(const char* text, unsigned length);

} // namespace KCodePage
