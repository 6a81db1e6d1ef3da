// TextDecoder and TextEncoder, made for each text, in chunks of 64 KiB into one buffer that is used again,
// beside the same text in one call into a fresh string.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/TextDecoder.h"
#include "CodePage/TextEncoder.h"
#include "Groups.h"
#include "Peers.h"

#include <algorithm>
#include <stdexcept>

namespace Benchmarks {

using KCodePage::CodePage;

namespace {

constexpr std::size_t chunkBytes = 64 * 1024;

// Converts `text` chunk by chunk; `buffer` has room for what one chunk gives.
template <class Converter, class In, class Out>
void Convert(Converter& converter, std::span<const In> text, std::vector<Out>& buffer) {
    constexpr std::size_t chunk = chunkBytes / sizeof(In);
    while (!text.empty()) {
        const auto piece = text.first(std::min(chunk, text.size()));
        text = text.subspan(piece.size());
        const auto result = converter.Convert(piece, std::span<Out>(buffer), text.empty());
        if (result.stop != KCodePage::TextStop::InputUsedUp) {
            throw std::runtime_error("the stream stopped early");
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

template <class View, class Out, class ConvertPiece>
void ConvertWithIcu(View text, std::vector<Out>& buffer, ConvertPiece convertPiece) {
    constexpr std::size_t chunk = chunkBytes / sizeof(typename View::value_type);
    while (!text.empty()) {
        View piece = text.substr(0, chunk);
        text.remove_prefix(piece.size());
        std::size_t size = 0;
        if (convertPiece(piece, std::span<Out>(buffer), size, text.empty())) {
            throw std::runtime_error("the stream stopped early");
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

void RegisterDecoding(const std::string& name, KCodePage::CODE_PAGE number, const char* charset,
                      const std::string& bytes) {
    Register("stream-decode/" + name + "/whole", bytes.size(), 1, [number, &bytes] {
        return [page = KCodePage::GetCodePageReference(number), &bytes] {
            benchmark::DoNotOptimize(page->ConvertToUnicode(bytes.data(), Length(bytes.size()),
                                                            CodePage::THROW_INVALID_CHARACTER));
        };
    });
    Register("stream-decode/" + name + "/kcodepage", bytes.size(), 1, [number, &bytes] {
        return [number, &bytes, buffer = std::vector<KBase::wchar16>(chunkBytes + 16)]() mutable {
            KCodePage::TextDecoder decoder(number);
            Convert(decoder, std::span<const char>(bytes), buffer);
        };
    });
    Register("stream-decode/" + name + "/icu", bytes.size(), 1, [charset, &bytes] {
        return [icu = IcuConverter(charset), &bytes,
                buffer = std::vector<KBase::wchar16>(chunkBytes + 16)]() mutable {
            ConvertWithIcu(std::string_view(bytes), buffer, [&icu](auto&&... piece) {
                return icu.DecodePiece(std::forward<decltype(piece)>(piece)...);
            });
        };
    });
}

void RegisterEncoding(const std::string& name, KCodePage::CODE_PAGE number, const char* charset,
                      const KBase::WideString& units) {
    Register("stream-encode/" + name + "/whole", BytesIn(units), 1, [number, &units] {
        return [page = KCodePage::GetCodePageReference(number), &units] {
            benchmark::DoNotOptimize(page->ConvertToMultiByte(units.data(), Length(units.size()),
                                                              CodePage::THROW_INVALID_CHARACTER));
        };
    });
    Register("stream-encode/" + name + "/kcodepage", BytesIn(units), 1, [number, &units] {
        return [number, &units, buffer = std::vector<char>(2 * chunkBytes)]() mutable {
            KCodePage::TextEncoder encoder(number);
            Convert(encoder, std::span<const KBase::wchar16>(units), buffer);
        };
    });
    Register("stream-encode/" + name + "/icu", BytesIn(units), 1, [charset, &units] {
        return [icu = IcuConverter(charset), &units, buffer = std::vector<char>(2 * chunkBytes)]() mutable {
            ConvertWithIcu(KBase::WideView(units), buffer, [&icu](auto&&... piece) {
                return icu.EncodePiece(std::forward<decltype(piece)>(piece)...);
            });
        };
    });
}

} // namespace

void RegisterStreams(const std::vector<Text>& texts) {
    for (const Text& text : texts) {
        RegisterDecoding(text.name, text.page->number, text.page->icu, text.bytes);
        RegisterEncoding(text.name, text.page->number, text.page->icu, text.units);
        RegisterDecoding("utf-8:" + text.name, KCodePage::UTF_8, "UTF-8", text.utf8);
        RegisterEncoding("utf-8:" + text.name, KCodePage::UTF_8, "UTF-8", text.units);
        if (text.page->number == KCodePage::SHIFT_JIS) {
            RegisterEncoding("iso-2022-jp:" + text.name, KCodePage::ISO_2022_JP, "ISO-2022-JP",
                             text.jisUnits);
        }
    }
}

} // namespace Benchmarks
