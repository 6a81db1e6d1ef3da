#include "CodePage/Private/Core/IANAInfoImpl.h"

#include <algorithm>

namespace KCodePage {

using KBase::operator""_w;

KBase::ReturnPtrI<IANAInfoImpl> IANAInfoImpl::Create() {
    return KBase::ReturnPtrI<IANAInfoImpl>(new IANAInfoImpl);
}

// Kept: the ISO 8859 rows carry the Windows code page of the same script, iso-2022-jp shares 932 with
// shift_jis, us-ascii has 0 and unicode-1-1 the number 65535, which no converter accepts.
IANAInfoImpl::IANAInfoImpl() {
    Add(US_ASCII, "us-ascii", u"us-ascii"_w, 0);
    Add(ISO_8859_1, "iso-8859-1", u"iso-8859-1"_w, 1252);
    Add(ISO_8859_2, "iso-8859-2", u"iso-8859-2"_w, 1250);
    Add(ISO_8859_4, "iso-8859-4", u"iso-8859-4"_w, 1257);
    Add(ISO_8859_6, "iso-8859-6", u"iso-8859-6"_w, 1256);
    Add(ISO_8859_7, "iso-8859-7", u"iso-8859-7"_w, 1253);
    Add(WINDOWS_1255, "windows-1255", u"windows-1255"_w, 1255);
    Add(ISO_8859_9, "iso-8859-9", u"iso-8859-9"_w, 1254);
    Add(SHIFT_JIS, "shift_jis", u"shift_jis"_w, 932);
    Add(ISO_2022_JP, "iso-2022-jp", u"iso-2022-jp"_w, 932);
    Add(EUC_KR, "euc-kr", u"euc-kr"_w, 949);
    Add(KOI8_R, "koi8-r", u"koi8-r"_w, 20866);
    Add(GB2312, "gb2312", u"gb2312"_w, 936);
    Add(BIG5, "big5", u"big5"_w, 950);
    Add(WINDOWS_874, "windows-874", u"windows-874"_w, 874);
    Add(UTF_8, "utf-8", u"utf-8"_w, 65001);
    Add(UNICODE_1_1, "unicode-1-1", u"unicode-1-1"_w, 65535);
}

void IANAInfoImpl::Add(CODE_PAGE codePage, const char* name, KBase::WideView wideName,
                       std::uint32_t windowsCodePage) {
    entries.push_back({codePage, name, KBase::WideString(wideName), windowsCodePage});
}

const IANAEntry* IANAInfoImpl::Find(CODE_PAGE codePage) const noexcept {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const IANAEntry& entry) { return entry.codePage == codePage; });
    return found != entries.end() ? &*found : nullptr;
}

const unsigned short* IANAInfoImpl::GetIANAName(CODE_PAGE codePage) const {
    const IANAEntry* entry = Find(codePage);
    return entry != nullptr ? entry->wideName.c_str() : nullptr;
}

const char* IANAInfoImpl::GetIANANameASCII(CODE_PAGE codePage) const {
    const IANAEntry* entry = Find(codePage);
    return entry != nullptr ? entry->name.c_str() : nullptr;
}

unsigned IANAInfoImpl::GetWindowsCodePage(CODE_PAGE codePage) const {
    const IANAEntry* entry = Find(codePage);
    return entry != nullptr ? entry->windowsCodePage : 0;
}

CODE_PAGE IANAInfoImpl::FindCodePage(const unsigned short* name) const {
    const KBase::WideView wanted(name);
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const IANAEntry& entry) { return entry.wideName == wanted; });
    return found != entries.end() ? found->codePage : static_cast<CODE_PAGE>(-1);
}

std::int32_t IANAInfoImpl::AddRef() const {
    return ++referenceCount;
}

std::int32_t IANAInfoImpl::Release() const {
    const std::int32_t count = --referenceCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

} // namespace KCodePage
