// A directory of its own for each test, with paths and texts in UTF-16.

#pragma once

#include "FileSystem/TemporaryDirectory.h"
#include "KBase/UTF8Routines.h"
#include "KBase/WideString.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace FileTests {

using KBase::wchar16;
using KBase::WideString;
using KBase::WideView;

inline WideString Wide(std::u16string_view text) {
    return WideString(text.begin(), text.end());
}

inline std::string Narrow(WideView text) {
    return KBase::WideCharToUTF8UsingLength(text.data(), text.size(), true);
}

inline WideString WidePath(const std::filesystem::path& path) {
    WideString wide = Wide(path.u16string());
    for (wchar16& unit : wide) {
        if (unit == '/') {
            unit = '\\';
        }
    }
    return wide;
}

class TestDirectory : public TestFiles::TemporaryDirectory {
public:
    using TestFiles::TemporaryDirectory::Native;
    std::filesystem::path Native(std::u16string_view name) const {
        return Native() / std::filesystem::path(name);
    }

    WideString Path() const { return WidePath(Native()); }
    WideString Path(std::u16string_view name) const { return Path() + Wide(u"\\") + Wide(name); }

    // Makes a file with these bytes and returns its path.
    WideString Make(std::u16string_view name, std::string_view bytes) const {
        std::ofstream(Native(name), std::ios::binary) << bytes;
        return Path(name);
    }

    std::string Contents(std::u16string_view name) const {
        std::ifstream file(Native(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    bool Exists(std::u16string_view name) const { return std::filesystem::exists(Native(name)); }
};

class FileTest : public ::testing::Test {
protected:
    TestDirectory directory;
};

} // namespace FileTests
