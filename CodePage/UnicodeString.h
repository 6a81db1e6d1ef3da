// UnicodeString: a reference-counted text of UTF-16 code units, as conversions return it.
// Thread safety: only the reference count; a string is built by one thread before it is shared, and a string
// that nobody appends to may be read from any thread.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

class KCODEPAGE_EXPORT UnicodeString : public virtual KBase::ReferenceCounted {
public:
    // The first code unit of the text; a zero unit follows the text. Valid until the next Append.
    virtual const unsigned short* Get() const = 0;

    // Code units appended with data.
    virtual unsigned Length() const = 0;

    // Whether the string's size is `length` code units and they equal `text`.
    virtual bool IsEqual(const unsigned short* text, unsigned length) const = 0;

    // Appends `length` code units of `text`, which may lie in this string. Kept: with a null `text` the
    // string's size grows by `length` zero units, which IsEqual sees and Length does not. Throws
    // std::bad_alloc, and std::length_error above 2^32 - 1 code units; the string is then unchanged.
    virtual void Append(const unsigned short* text, unsigned length) = 0;
};

// A new string that holds a copy of `length` code units of `text`, with a reference count of 0. Null when
// memory fails.
KCODEPAGE_EXPORT UnicodeString* CreateUnicodeString(const unsigned short* text, unsigned length);

} // namespace KCodePage
