// What the first use of a code page costs a process: ColdStart PAGE BASEPATH prints the nanoseconds that
// GetCodePage takes, those of the first character both ways after it, and the bytes by which the process's
// resident memory grew in both.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"
#include "KBase/UTF8Routines.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <unistd.h>

namespace {

long long ResidentBytes() {
    long long size = 0;
    long long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

} // namespace

int main(int count, char** arguments) {
    using KCodePage::CodePage;
    if (count != 3) {
        std::fputs("ColdStart PAGE BASEPATH\n", stderr);
        return 2;
    }
    try {
        const KCodePage::Initializer initializer;
        KCodePage::SetBasePath(KBase::UTF8ToWideChar(arguments[2], false).c_str());
        const auto number =
            KCodePage::GetIANAInfo()->FindCodePage(KBase::UTF8ToWideChar(arguments[1], false).c_str());
        const long long before = ResidentBytes();
        const auto begin = std::chrono::steady_clock::now();
        CodePage* const page = KCodePage::GetCodePage(number);
        const auto got = std::chrono::steady_clock::now();
        if (number != KCodePage::ISO_2022_JP) {
            page->ConvertToUnicode("A", 1, CodePage::THROW_INVALID_CHARACTER);
        }
        const KBase::wchar16 text[] = {'A', 0};
        page->ConvertToMultiByte(text, 1, CodePage::THROW_INVALID_CHARACTER);
        const auto end = std::chrono::steady_clock::now();
        const long long after = ResidentBytes();
        const auto nanoseconds = [](auto duration) {
            return static_cast<long long>(
                std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count());
        };
        std::printf("%lld %lld %lld\n", nanoseconds(got - begin), nanoseconds(end - got), after - before);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "ColdStart: %s\n", failure.what());
        return 1;
    }
}
