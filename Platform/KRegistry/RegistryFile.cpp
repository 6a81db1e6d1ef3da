#include "KRegistry/RegistryFile.h"

#include "KBase/WideStream.h"
#include "KRegistry/Registry.h"
#include "OperatingSystem/Environment.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"
#include "UTF8/UTF8.h"

#include <algorithm>
#include <string>

namespace KRegistry {

namespace System = OperatingSystem;

using namespace KBase::Literals;
using KBase::wchar16;
using KBase::WideString;
using KBase::WideView;

namespace {

constexpr std::uint64_t largestFile = 16u << 20;

[[noreturn]] void ThrowFile(WideView fileName, std::string_view what, unsigned int error = 0) {
    KBase::WideStream text;
    text << "The registry file '" << fileName << "' " << what;
    if (error != 0) {
        text << "\n" << KBase::GetSystemErrorDescription(error);
    }
    throw KBase::ExceptionImpl<KeyException>(
        KeyException(KBase::MESSAGE_DOMAIN_UNKNOWN, -1, text.Text().c_str()));
}

[[noreturn]] void ThrowMalformed(WideView fileName, std::size_t line) {
    ThrowFile(fileName, "is malformed in line " + std::to_string(line) + ".");
}

struct OpenFile {
    System::Handle handle;

    explicit OpenFile(System::Handle opened) noexcept : handle(opened) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { System::CloseHandle(handle); }
};

WideString Decode(const std::string& bytes, WideView fileName) {
    if (bytes.starts_with("\xFF\xFE")) {
        if (bytes.size() % 2 != 0) {
            ThrowMalformed(fileName,
                           1 + static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')));
        }
        WideString text;
        text.reserve(bytes.size() / 2);
        for (std::size_t i = 2; i < bytes.size(); i += 2) {
            text.push_back(static_cast<wchar16>(static_cast<unsigned char>(bytes[i]) |
                                                static_cast<unsigned char>(bytes[i + 1]) << 8));
        }
        return text;
    }
    const std::size_t start = bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    WideString text(bytes.size(), 0);
    const UTF8::Result result =
        UTF8::Decode(bytes.data() + start, bytes.size() - start, text.data(), text.size());
    if (result.stop != UTF8::Stop::InputUsedUp) {
        const auto stop = bytes.begin() + static_cast<std::ptrdiff_t>(start + result.consumed);
        ThrowMalformed(fileName, 1 + static_cast<std::size_t>(std::count(bytes.begin(), stop, '\n')));
    }
    text.resize(result.written);
    return text;
}

bool IsBlank(wchar16 unit) noexcept {
    return unit == ' ' || unit == '\t';
}

WideView Trimmed(WideView text) noexcept {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool HasUnpairedSurrogate(WideView line) noexcept {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if ((line[i] & 0xFC00u) == 0xD800u && i + 1 < line.size() && (line[i + 1] & 0xFC00u) == 0xDC00u) {
            ++i;
        } else if ((line[i] & 0xF800u) == 0xD800u) {
            return true;
        }
    }
    return false;
}

// Takes a quoted text off the front of `rest`; false where it is not closed or holds an unknown escape.
bool TakeQuoted(WideView& rest, WideString& text) {
    if (rest.empty() || rest.front() != '"') {
        return false;
    }
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (rest[i] == '"') {
            rest.remove_prefix(i + 1);
            return true;
        }
        if (rest[i] == '\\') {
            if (++i == rest.size() || (rest[i] != '\\' && rest[i] != '"')) {
                return false;
            }
        }
        text.push_back(rest[i]);
    }
    return false;
}

bool IsEndOfLine(WideView rest) noexcept {
    rest = Trimmed(rest);
    return rest.empty() || rest.front() == ';';
}

// Whether `data` opens a value that is no string: "dword:" or "hex:" or "hex(n):".
bool IsOtherKind(WideView data) {
    const WideString folded = FoldCase(data.substr(0, data.find(':') + 1));
    return folded == WideView(u"dword:"_w) || folded == WideView(u"hex:"_w) ||
           (folded.starts_with(WideView(u"hex("_w)) && folded.ends_with(WideView(u"):"_w)));
}

enum class LineKind { Malformed, Complete, Continued };

// Reads a line "name"=data into `values`.
LineKind ReadValue(WideView line, Values& values) {
    WideString name;
    if (line.front() == '@') {
        line.remove_prefix(1);
    } else if (!TakeQuoted(line, name)) {
        return LineKind::Malformed;
    }
    line = Trimmed(line);
    if (line.empty() || line.front() != '=') {
        return LineKind::Malformed;
    }
    line = Trimmed(line.substr(1));
    name = FoldCase(name);
    if (line.starts_with(WideView(u"\""_w))) {
        WideString text;
        if (!TakeQuoted(line, text) || !IsEndOfLine(line)) {
            return LineKind::Malformed;
        }
        values.insert_or_assign(std::move(name), std::move(text));
        return LineKind::Complete;
    }
    if (line.starts_with(WideView(u"-"_w)) && IsEndOfLine(line.substr(1))) {
        values.erase(name);
        return LineKind::Complete;
    }
    if (!IsOtherKind(line)) {
        return LineKind::Malformed;
    }
    values.insert_or_assign(std::move(name), std::nullopt);
    return line.ends_with('\\') ? LineKind::Continued : LineKind::Complete;
}

// Whether `key` is `path` or lies above it.
bool IsAtOrAbove(WideView key, WideView path) noexcept {
    return path.starts_with(key) && (path.size() == key.size() || path[key.size()] == '\\');
}

} // namespace

WideString FoldCase(WideView text) {
    WideString folded(text);
    for (wchar16& unit : folded) {
        if (unit >= 'A' && unit <= 'Z') {
            unit = static_cast<wchar16>(unit + ('a' - 'A'));
        }
    }
    return folded;
}

WideString RegistryFileName() {
    constexpr const char* variable = "KREGISTRY_FILE";
    WideString name(260, 0);
    for (;;) {
        System::SetLastError(0);
        const std::uint32_t length =
            System::GetEnvironmentVariableW(variable, name.data(), static_cast<std::uint32_t>(name.size()));
        if (length == 0) {
            const System::ErrorNumber error = System::GetLastError();
            if (error != 0 && error != System::ErrorEnvironmentVariableNotFound) {
                ThrowFile(u"KREGISTRY_FILE"_w, "is named by an environment variable that cannot be read.",
                          error);
            }
            return u"/etc/kregistry.reg"_w;
        }
        const bool complete = length < name.size();
        name.resize(length);
        if (complete) {
            return name;
        }
    }
}

std::optional<WideString> ReadRegistryFile(const WideString& fileName) {
    const System::Handle handle = System::CreateFileW(
        fileName.c_str(), System::GenericRead, System::ShareRead | System::ShareWrite | System::ShareDelete,
        System::OpenExisting, System::FileFlagSequentialScan);
    if (handle == System::InvalidHandle) {
        const System::ErrorNumber error = System::GetLastError();
        if (error == System::ErrorFileNotFound || error == System::ErrorPathNotFound) {
            return std::nullopt;
        }
        ThrowFile(fileName, "cannot be opened.", error);
    }
    const OpenFile file(handle);
    std::uint64_t size = 0;
    if (!System::GetFileSizeEx(handle, &size)) {
        ThrowFile(fileName, "cannot be read.", System::GetLastError());
    }
    if (size > largestFile) {
        ThrowFile(fileName, "is larger than 16 MiB.");
    }
    std::string bytes(static_cast<std::size_t>(size), 0);
    std::uint32_t done = 0;
    if (!bytes.empty() &&
        !System::ReadFile(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &done)) {
        ThrowFile(fileName, "cannot be read.", System::GetLastError());
    }
    bytes.resize(done);
    return Decode(bytes, fileName);
}

std::optional<Values> FindKey(WideView text, WideView path, WideView fileName) {
    const WideString wanted = FoldCase(path);
    std::optional<Values> found;
    Values ignored;            // where the values of other keys go
    Values* current = nullptr; // null before the first key
    bool continued = false;
    std::size_t number = 0;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        WideView line = text.substr(start, end - start);
        start = end + 1;
        ++number;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.find(wchar16{0}) != WideView::npos || HasUnpairedSurrogate(line)) {
            ThrowMalformed(fileName, number);
        }
        line = Trimmed(line);
        if (number == 1) {
            if (line != WideView(u"Windows Registry Editor Version 5.00"_w)) {
                ThrowMalformed(fileName, number);
            }
            continue;
        }
        if (continued) {
            continued = line.ends_with('\\');
            continue;
        }
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            if (line.size() < 3 || line.back() != ']') {
                ThrowMalformed(fileName, number);
            }
            const bool takenBack = line[1] == '-';
            const WideString key =
                FoldCase(line.substr(takenBack ? 2 : 1, line.size() - (takenBack ? 3 : 2)));
            if (key.empty()) {
                ThrowMalformed(fileName, number);
            }
            current = &ignored;
            ignored.clear();
            if (takenBack && IsAtOrAbove(key, wanted)) {
                found.reset();
            } else if (!takenBack && key == wanted) {
                if (!found) {
                    found.emplace();
                }
                current = &*found;
            } else if (!takenBack && IsAtOrAbove(wanted, key) && !found) {
                found.emplace(); // a key below makes the key, too
            }
            continue;
        }
        const LineKind kind = current != nullptr ? ReadValue(line, *current) : LineKind::Malformed;
        if (kind == LineKind::Malformed) {
            ThrowMalformed(fileName, number);
        }
        continued = kind == LineKind::Continued;
    }
    return found;
}

} // namespace KRegistry
