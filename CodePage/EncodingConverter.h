// EncodingConverter: converts a file or a range of memory from any charset that ICU knows to UTF-16, forward
// only, in pieces or all at once.
//
// Kept: what does not convert is passed over as ICU does by itself (mostly U+FFFD), a character cut off by
// the end of the input gives nothing, and an unknown charset converts to nothing; none of it is reported.
// TextDecoder is exact instead.
// Thread safety: one thread at a time per converter; converters are independent of each other.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"
#include "KDataType/Binary.h"

#include <cstddef>

namespace KCodePage {

class KCODEPAGE_EXPORT EncodingConverter {
public:
    // Writes up to `capacity` code units to `target` and returns their number; below `capacity` only when the
    // input is used up. Throws what reading the file throws, a KBase::Message.
    virtual std::size_t Convert(unsigned short* target, std::size_t capacity) = 0;

    // The rest of the input as UTF-16 in the machine's byte order (little-endian on every target), without a
    // byte order mark in front. Throws EncodingConversionException, an empty message, where nothing comes
    // out; what reading the file throws; std::bad_alloc.
    virtual KBase::ReturnPtr<KDataType::Binary> ConvertAll() = 0;

    // Ends the object. Requires: nobody else ends it, so a holder has released it before.
    virtual void Delete() = 0;

    // Bytes of input taken so far. ICU may hold some of them back, and code units too.
    virtual std::size_t GetPosition() = 0;

    // What Convert takes its input from: the next bytes, at most 40,960, that were not taken; an empty range
    // at the end. Valid until the next call on the object. Throws what reading the file throws.
    virtual void GetInputChunk(const char*& begin, const char*& end) = 0;

    // Takes `count` bytes, or those that are left.
    virtual void Advance(std::size_t count) = 0;

    virtual ~EncodingConverter() = default;

    // A converter owns its state in ICU, so it has no copies.
    EncodingConverter(const EncodingConverter&) = delete;
    EncodingConverter& operator=(const EncodingConverter&) = delete;

protected:
    EncodingConverter() = default;
};

// A converter of the file at `path` (zero-terminated UTF-16, backslashes separate). `charset`: as ICU names
// charsets, for example what EncodingDetector answers; null for ICU's default; used in this call only.
// Kept: the size is looked up once, here, and modulo 2^32: of a file of 4 GiB and 1 byte, 1 byte converts.
// Null when memory fails; throws a KBase::Message where the file does not open.
KCODEPAGE_EXPORT KBase::ReturnPtr<EncodingConverter, KBase::DeleteOperatorGeneric<EncodingConverter>>
CreateFileEncodingConverter(const unsigned short* path, const char* charset);

// A converter of the bytes from `begin` up to `end`, which the caller keeps unchanged while it lives. Null
// pointers and an end before the beginning make an empty range. `charset`: as above. Null when memory fails.
KCODEPAGE_EXPORT KBase::ReturnPtr<EncodingConverter, KBase::DeleteOperatorGeneric<EncodingConverter>>
CreateMemoryEncodingConverter(const char* begin, const char* end, const char* charset);

} // namespace KCodePage
