// A client of the installed library: converts a text both ways and catches an error.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"

#include <cstdio>
#include <cstring>

int main() {
    using namespace KCodePage;
    using KBase::operator""_w;
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const auto codePage = GetCodePageReference(GetIANAInfo()->FindCodePage(u"koi8-r"_w));
    const auto text = codePage->ConvertToUnicode("\xC1\xC2", 2, CodePage::THROW_INVALID_CHARACTER);
    if (!text->IsEqual(u"\u0430\u0431"_w, 2)) {
        std::puts("decoding went wrong");
        return 1;
    }
    const auto bytes =
        codePage->ConvertToMultiByte(text->Get(), text->Length(), CodePage::THROW_INVALID_CHARACTER);
    if (bytes->Length() != 2 || std::memcmp(bytes->Get(), "\xC1\xC2", 2) != 0) {
        std::puts("encoding went wrong");
        return 1;
    }
    try {
        codePage->ConvertToMultiByte(u"\u3042"_w, 1, CodePage::THROW_INVALID_CHARACTER);
    } catch (const CodePageConversionException& failure) {
        return std::strncmp(failure.what(), "Invalid character 000", 21) == 0 ? 0 : 1;
    }
    std::puts("nothing was thrown");
    return 1;
}
