// Encoding in blocks of 4 KiB, beside the same text in one call.

#include "CodePage/CodePageRegistry.h"
#include "Groups.h"
#include "Peers.h"

#include <stdexcept>

namespace Benchmarks {

using KCodePage::CodePage;

namespace {

constexpr unsigned blockSize = 4096;

void RegisterPage(const std::string& name, KCodePage::CODE_PAGE number, const char* charset,
                  const char* iconvCharset, const KBase::WideString& text) {
    Register("blocks-encode/" + name + "/whole", BytesIn(text), 1, [number, &text] {
        return [page = KCodePage::GetCodePageReference(number), &text] {
            benchmark::DoNotOptimize(page->ConvertToMultiByte(text.data(), Length(text.size()),
                                                              CodePage::THROW_INVALID_CHARACTER));
        };
    });
    Register("blocks-encode/" + name + "/kcodepage", BytesIn(text), 1, [number, &text] {
        return [page = KCodePage::GetCodePageReference(number), &text] {
            for (std::size_t begin = 0; begin < text.size();) {
                unsigned consumed = 0;
                benchmark::DoNotOptimize(page->ConvertToMultiByteObservingBlockSize(
                    consumed, blockSize, text.data() + begin, Length(text.size() - begin),
                    CodePage::THROW_INVALID_CHARACTER));
                if (consumed == 0) {
                    throw std::runtime_error("a block without progress");
                }
                begin += consumed;
            }
        };
    });
    Register("blocks-encode/" + name + "/icu", BytesIn(text), 1, [charset, &text] {
        return [icu = IcuConverter(charset), &text]() mutable {
            KBase::WideView rest = text;
            for (bool more = true; more;) {
                const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
                std::size_t size = 0;
                more = icu.EncodePiece(rest, {block.get(), blockSize}, size, true);
                benchmark::DoNotOptimize(block.get());
            }
        };
    });
    Register("blocks-encode/" + name + "/iconv", BytesIn(text), 1, [iconvCharset, &text] {
        return [iconv = std::make_unique<IconvConverter>(iconvUTF16, iconvCharset), &text] {
            std::string_view rest = BytesOf(text);
            for (bool more = true; more;) {
                const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
                more = iconv->ConvertPiece(rest, {block.get(), blockSize});
                benchmark::DoNotOptimize(block.get());
            }
        };
    });
}

} // namespace

void RegisterBlocks(const std::vector<Text>& texts) {
    for (const Text& text : texts) {
        RegisterPage(text.name, text.page->number, text.page->icu, text.page->iconv, text.units);
        RegisterPage("utf-8:" + text.name, KCodePage::UTF_8, "UTF-8", "UTF-8", text.units);
        if (text.page->number == KCodePage::SHIFT_JIS) {
            RegisterPage("iso-2022-jp:" + text.name, KCodePage::ISO_2022_JP, "ISO-2022-JP", "ISO-2022-JP",
                         text.jisUnits);
        }
    }
}

} // namespace Benchmarks
