#include "Texts.h"

#include "CodePage/CodePageRegistry.h"
#include "KBase/UTF8Routines.h"
#include "Peers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Benchmarks {

using KCodePage::CodePage;

const std::vector<Page> pages = {
    {KCodePage::US_ASCII, "us-ascii", "windows-1252", "CP1252", "windows-1252", 1},
    {KCodePage::ISO_8859_1, "iso-8859-1", "windows-1252", "CP1252", "windows-1252", 1},
    {KCodePage::ISO_8859_2, "iso-8859-2", "windows-1250", "CP1250", "windows-1250", 1},
    {KCodePage::ISO_8859_4, "iso-8859-4", "windows-1257", "CP1257", "windows-1257", 1},
    {KCodePage::ISO_8859_6, "iso-8859-6", "windows-1256", "CP1256", "windows-1256", 1},
    {KCodePage::ISO_8859_7, "iso-8859-7", "windows-1253", "CP1253", "windows-1253", 1},
    {KCodePage::WINDOWS_1255, "windows-1255", "windows-1255", "CP1255", "windows-1255", 1},
    {KCodePage::ISO_8859_9, "iso-8859-9", "windows-1254", "CP1254", "windows-1254", 1},
    {KCodePage::SHIFT_JIS, "shift_jis", "ibm-943_P15A-2003", "CP932", "shift_jis", 2},
    {KCodePage::EUC_KR, "euc-kr", "windows-949-2000", "CP949", "euc-kr", 2},
    {KCodePage::KOI8_R, "koi8-r", "ibm-878_P100-1996", "KOI8-R", "koi8-r", 1},
    {KCodePage::GB2312, "gb2312", "windows-936-2000", "CP936", "gbk", 2},
    {KCodePage::BIG5, "big5", "windows-950-2000", "CP950", "big5", 2},
    {KCodePage::WINDOWS_874, "windows-874", "windows-874-2000", "CP874", "windows-874", 1},
};

namespace {

constexpr std::size_t wholeText = 1 << 20;
constexpr std::size_t shortestLine = 10;
constexpr std::size_t longestLine = 100;

std::string ReadBeginning(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string bytes(wholeText, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    // A line ends in the same byte in every code page measured here, and no trail byte is that low.
    bytes.resize(bytes.rfind('\n') + 1);
    if (bytes.empty()) {
        throw std::runtime_error(file.string() + " has no line");
    }
    return bytes;
}

KBase::WideString Decode(CodePage& page, const std::string& bytes) {
    const auto units = page.ConvertToUnicode(bytes.data(), static_cast<unsigned>(bytes.size()),
                                             CodePage::THROW_INVALID_CHARACTER);
    return {units->Get(), units->Length()};
}

void CutIntoLines(Text& text, CodePage& page) {
    for (std::size_t begin = 0; text.bytes.size() - begin >= longestLine;) {
        std::size_t end = begin;
        while (end - begin < longestLine - 1) {
            end += page.GetNumberOfBytesInThisCharacter(text.bytes.data() + end);
            if (end - begin >= shortestLine && text.bytes[end - 1] == '\n') {
                break;
            }
        }
        text.lines.push_back(text.bytes.substr(begin, end - begin));
        text.wideLines.push_back(Decode(page, text.lines.back()));
        begin = end;
    }
}

void KeepJis(Text& text) {
    IconvConverter jis(iconvUTF16, "ISO-2022-JP");
    for (std::size_t i = 0; i < text.lines.size(); ++i) {
        if (jis.Converts(BytesOf(text.wideLines[i]))) {
            text.jisBytes += text.lines[i];
            text.jisUnits += text.wideLines[i];
        }
    }
}

} // namespace

std::vector<Text> LoadTexts(const std::string& directory) {
    std::vector<std::filesystem::path> files;
    std::copy_if(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator(),
                 std::back_inserter(files),
                 [](const std::filesystem::path& file) { return file.extension() == ".txt"; });
    std::sort(files.begin(), files.end());

    std::vector<Text> texts;
    for (const auto& file : files) {
        Text text;
        text.name = file.stem().string();
        if (text.name.ends_with(".utf-8")) {
            continue; // the twin of a text
        }
        const std::string pageName = text.name.substr(0, text.name.find('.'));
        const auto page = std::find_if(pages.begin(), pages.end(),
                                       [&](const Page& candidate) { return candidate.name == pageName; });
        if (page == pages.end()) {
            continue; // of another kind
        }
        text.page = &*page;
        const auto codePage = KCodePage::GetCodePageReference(page->number);
        text.bytes = ReadBeginning(file);
        text.units = Decode(*codePage, text.bytes);
        text.utf8 = KBase::WideCharToUTF8UsingLength(text.units.data(), text.units.size(), false);
        CutIntoLines(text, *codePage);
        if (page->number == KCodePage::SHIFT_JIS) {
            KeepJis(text);
        }
        texts.push_back(std::move(text));
    }
    if (texts.empty()) {
        throw std::runtime_error("no texts in " + directory);
    }
    return texts;
}

} // namespace Benchmarks
