// IANAInfoImpl: the catalogue of code pages, the single store of their names and Windows numbers.

#pragma once

#include "CodePage/IANAInfo.h"
#include "KSynch/AtomicLong.h"

#include <string>
#include <vector>

namespace KCodePage {

struct IANAEntry {
    CODE_PAGE codePage;
    std::string name;
    KBase::WideString wideName; // the same text as `name`
    std::uint32_t windowsCodePage;
};

class IANAInfoImpl final : public IANAInfo {
public:
    IANAInfoImpl();

    // A list with one reference held.
    static KBase::ReturnPtrI<IANAInfoImpl> Create();

    IANAInfoImpl(const IANAInfoImpl&) = delete; // one list in the process

    const unsigned short* GetIANAName(CODE_PAGE codePage) const override;
    const char* GetIANANameASCII(CODE_PAGE codePage) const override;
    unsigned GetWindowsCodePage(CODE_PAGE codePage) const override;
    CODE_PAGE FindCodePage(const unsigned short* name) const override;
    std::int32_t AddRef() const override;
    std::int32_t Release() const override;

private:
    const IANAEntry* Find(CODE_PAGE codePage) const noexcept;
    void Add(CODE_PAGE codePage, const char* name, KBase::WideView wideName, std::uint32_t windowsCodePage);

    std::vector<IANAEntry> entries;
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
