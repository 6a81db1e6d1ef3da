#include "Charsets.h"

#include "CodePage/IANAInfo.h"
#include "Failure.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr int highestCodePage = KCodePage::UNICODE_1_1;

bool EqualInAnyCase(const std::string& a, const std::string& b) {
    const auto lower = [](char c) {
        return std::tolower(static_cast<unsigned char>(c));
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

} // namespace

std::vector<Charset> Catalogue() {
    const KCodePage::IANAInfo* list = KCodePage::GetIANAInfo();
    std::vector<Charset> charsets;
    for (int value = 0; value <= highestCodePage; ++value) {
        const auto codePage = static_cast<KCodePage::CODE_PAGE>(value);
        if (const char* name = list->GetIANANameASCII(codePage)) {
            charsets.push_back({name, codePage, list->GetWindowsCodePage(codePage)});
        }
    }
    return charsets;
}

Charset FindCharset(const std::string& name) {
    if (EqualInAnyCase(name, "utf-16le")) {
        return {"utf-16le", std::nullopt, 0};
    }
    for (Charset& charset : Catalogue()) {
        if (EqualInAnyCase(name, charset.name)) {
            return std::move(charset);
        }
    }
    throw Failure("the character set '" + name + "' is not known; 'kcodepage list' shows all");
}

bool HasTables(const Charset& charset) {
    return charset.codePage && charset.codePage != KCodePage::UTF_8 &&
           charset.codePage != KCodePage::UNICODE_1_1;
}
