#include "Peers.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <stdexcept>
#include <unicode/ucnv.h>

#ifdef KCODEPAGE_HAS_ENCODING_RS
// benchmarks/encoding_rs/lib.rs
extern "C" std::size_t encoding_rs_decode(const char* label, std::size_t labelLength, const char* text,
                                          std::size_t length, KBase::wchar16* room, std::size_t capacity);
extern "C" std::size_t encoding_rs_encode(const char* label, std::size_t labelLength,
                                          const KBase::wchar16* text, std::size_t length, char* room,
                                          std::size_t capacity);
#endif

namespace Benchmarks {

namespace {

FreshText Room(std::size_t bytes) {
    return {std::make_unique_for_overwrite<char[]>(bytes), bytes};
}

void Check(UErrorCode status, const char* operation) {
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string(operation) + ": " + u_errorName(status));
    }
}

bool WantsRoom(UErrorCode status, const char* operation) {
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        return true;
    }
    Check(status, operation);
    return false;
}

} // namespace

void IcuConverter::Closer::operator()(UConverter* closed) const noexcept {
    ucnv_close(closed);
}

IcuConverter::IcuConverter(const char* charset) {
    UErrorCode status = U_ZERO_ERROR;
    converter.reset(ucnv_open(charset, &status));
    Check(status, charset);
}

FreshText IcuConverter::Decode(std::string_view text) {
    // No charset measured here gives more code units than it has bytes.
    FreshText result = Room(text.size() * sizeof(UChar));
    std::size_t size = 0;
    DecodePiece(text, {reinterpret_cast<UChar*>(result.bytes.get()), text.size()}, size, true);
    result.size = size * sizeof(UChar);
    return result;
}

FreshText IcuConverter::Encode(KBase::WideView text) {
    const auto perUnit = static_cast<std::size_t>(ucnv_getMaxCharSize(converter.get()));
    FreshText result = Room((text.size() + 10) * perUnit);
    EncodePiece(text, {result.bytes.get(), result.size}, result.size, true);
    return result;
}

bool IcuConverter::DecodePiece(std::string_view& text, std::span<KBase::wchar16> room, std::size_t& size,
                               bool end) {
    UErrorCode status = U_ZERO_ERROR;
    UChar* to = room.data();
    const char* from = text.data();
    ucnv_toUnicode(converter.get(), &to, to + room.size(), &from, from + text.size(), nullptr, end, &status);
    size = static_cast<std::size_t>(to - room.data());
    text.remove_prefix(static_cast<std::size_t>(from - text.data()));
    return WantsRoom(status, "ucnv_toUnicode");
}

bool IcuConverter::EncodePiece(KBase::WideView& text, std::span<char> room, std::size_t& size, bool end) {
    UErrorCode status = U_ZERO_ERROR;
    char* to = room.data();
    const UChar* from = text.data();
    ucnv_fromUnicode(converter.get(), &to, to + room.size(), &from, from + text.size(), nullptr, end,
                     &status);
    size = static_cast<std::size_t>(to - room.data());
    text.remove_prefix(static_cast<std::size_t>(from - text.data()));
    return WantsRoom(status, "ucnv_fromUnicode");
}

std::string IcuVersion() {
    return U_ICU_VERSION;
}

IconvConverter::IconvConverter(const char* from, const char* to) : descriptor(iconv_open(to, from)) {
    if (reinterpret_cast<std::intptr_t>(descriptor) == -1) {
        throw std::runtime_error(std::string("iconv does not convert ") + from + " to " + to);
    }
}

IconvConverter::~IconvConverter() {
    iconv_close(descriptor);
}

FreshText IconvConverter::Convert(std::string_view text, std::size_t worst) {
    FreshText result = Room(text.size() * worst + 16);
    char* from = const_cast<char*>(text.data()); // iconv only reads it
    char* to = result.bytes.get();
    std::size_t left = text.size();
    std::size_t room = result.size;
    if (iconv(descriptor, &from, &left, &to, &room) == static_cast<std::size_t>(-1) ||
        iconv(descriptor, nullptr, nullptr, &to, &room) == static_cast<std::size_t>(-1)) {
        throw std::runtime_error("iconv stopped at byte " + std::to_string(text.size() - left));
    }
    result.size -= room;
    return result;
}

bool IconvConverter::ConvertPiece(std::string_view& text, std::span<char> output) {
    char* from = const_cast<char*>(text.data()); // iconv only reads it
    char* to = output.data();
    std::size_t left = text.size();
    std::size_t room = output.size();
    const bool isWhole = iconv(descriptor, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
    if (!isWhole && (errno != E2BIG || left == text.size())) {
        throw std::runtime_error("iconv stopped at byte " + std::to_string(text.size() - left));
    }
    text.remove_prefix(text.size() - left);
    return !isWhole;
}

bool IconvConverter::Converts(std::string_view text) {
    try {
        constexpr std::size_t worst = 8;
        Convert(text, worst);
        return true;
    } catch (const std::runtime_error&) {
        iconv(descriptor, nullptr, nullptr, nullptr, nullptr); // back to the beginning
        return false;
    }
}

#ifdef KCODEPAGE_HAS_ENCODING_RS
FreshText DecodeWithEncodingRs(std::string_view label, std::string_view text) {
    const std::size_t capacity = text.size() + 16; // what it asks for beforehand, at most
    FreshText result = Room(capacity * sizeof(KBase::wchar16));
    const std::size_t written =
        encoding_rs_decode(label.data(), label.size(), text.data(), text.size(),
                           reinterpret_cast<KBase::wchar16*>(result.bytes.get()), capacity);
    if (written == static_cast<std::size_t>(-1)) {
        throw std::runtime_error("encoding_rs did not decode");
    }
    result.size = written * sizeof(KBase::wchar16);
    return result;
}

FreshText EncodeWithEncodingRs(std::string_view label, KBase::WideView text) {
    constexpr std::size_t worst = 4;
    FreshText result = Room(text.size() * worst + 32);
    result.size = encoding_rs_encode(label.data(), label.size(), text.data(), text.size(), result.bytes.get(),
                                     result.size);
    if (result.size == static_cast<std::size_t>(-1)) {
        throw std::runtime_error("encoding_rs did not encode");
    }
    return result;
}
#endif

FreshText Copy(std::string_view text) {
    FreshText result = Room(text.size());
    std::memcpy(result.bytes.get(), text.data(), text.size());
    return result;
}

} // namespace Benchmarks
