// Translation files written by hand, byte for byte: ASCII, but for the letter A, which stands for a mark of
// the test's choice. The mark that a code page shows tells which files it was made from.

#pragma once

#include "CodePage/CodePage.h"
#include "Raised.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace MarkedTables {

inline void Put(std::string& file, unsigned value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        file.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

// The byte 41 means the ASCII character `mark`; bytes from 80 on mean nothing.
inline std::string Decoding(unsigned windowsCodePage, char mark) {
    std::string file;
    Put(file, windowsCodePage, 4);
    Put(file, '?', 1);
    Put(file, 256, 4);
    for (unsigned byte = 0; byte < 256; ++byte) {
        const bool valid = byte < 0x80;
        Put(file, 1, 1); // a character of one byte
        Put(file, valid, 1);
        Put(file, !valid ? 0 : byte == 'A' ? static_cast<unsigned char>(mark) : byte, 2);
        Put(file, 0, 4); // no second bytes
    }
    return file;
}

// U+0041 becomes the byte `mark`.
inline std::string Encoding(unsigned windowsCodePage, char mark) {
    std::string file;
    Put(file, windowsCodePage, 4);
    Put(file, '?', 1);
    Put(file, 128, 4);
    for (unsigned unit = 0; unit < 128; ++unit) {
        Put(file, unit, 2);
        Put(file, 1, 1); // valid
        Put(file, 1, 1); // one byte
        Put(file, unit == 'A' ? static_cast<unsigned char>(mark) : unit, 1);
        Put(file, 0, 1);
    }
    return file;
}

inline void Write(const std::filesystem::path& directory, const std::string& name, unsigned windowsCodePage,
                  char mark) {
    std::filesystem::create_directories(directory);
    WriteFile(directory / (name + ".M2U"), Decoding(windowsCodePage, mark));
    WriteFile(directory / (name + ".U2M"), Encoding(windowsCodePage, mark));
}

// What `codePage` makes of the letter A in both directions: the mark twice.
inline std::string Shown(KCodePage::CodePage& codePage) {
    const KBase::wchar16 unit = 'A';
    const auto decoded = codePage.ConvertToUnicode("A", 1, KCodePage::CodePage::THROW_INVALID_CHARACTER);
    const auto encoded = codePage.ConvertToMultiByte(&unit, 1, KCodePage::CodePage::THROW_INVALID_CHARACTER);
    return CodePageTests::Ascii(KBase::WideView(decoded->Get(), decoded->Length())) +
           std::string(encoded->Get(), encoded->Length());
}

} // namespace MarkedTables
