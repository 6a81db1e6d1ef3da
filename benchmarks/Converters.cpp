// ConvertAll of the stream converters: a new converter for each text, as it is meant to be used.

#include "CodePage/EncodingConverter.h"
#include "Groups.h"
#include "Peers.h"

namespace Benchmarks {

void RegisterConverters(const std::vector<Text>& texts) {
    for (const Text& text : texts) {
        const auto measure = [&](const char* side, auto make) {
            Register("convert-all/" + text.name + side, text.bytes.size(), 1, make);
        };
        measure("/kcodepage", [&text] {
            return [&text] {
                const auto converter = KCodePage::CreateMemoryEncodingConverter(
                    text.bytes.data(), text.bytes.data() + text.bytes.size(), text.page->icu);
                benchmark::DoNotOptimize(converter->ConvertAll());
            };
        });
        measure("/icu", [&text] {
            return [icu = IcuConverter(text.page->icu), &text]() mutable {
                benchmark::DoNotOptimize(icu.Decode(text.bytes).bytes.get());
            };
        });
        measure("/iconv", [&text] {
            return [iconv = std::make_unique<IconvConverter>(text.page->iconv, iconvUTF16), &text] {
                benchmark::DoNotOptimize(iconv->Convert(text.bytes, sizeof(KBase::wchar16)).bytes.get());
            };
        });
        measure("/memcpy", [&text] {
            return [&text] {
                benchmark::DoNotOptimize(Copy(BytesOf(text.units)).bytes.get());
            };
        });
    }
}

} // namespace Benchmarks
