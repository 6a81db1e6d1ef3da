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
        WideString text;
        text.reserve(bytes.size() / 2);
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
            text.push_back(static_cast<wchar16>(static_cast<unsigned char>(bytes[i]) |
                                                static_cast<unsigned char>(bytes[i + 1]) << 8));
        }
        if (bytes.size() % 2 != 0) {
            ThrowMalformed(fileName,
                           1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), wchar16{'\n'})));
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

// Throws for the first zero unit and the first unpaired surrogate.
void RequireWellFormed(WideView text, WideView fileName) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
        } else if ((text[i] & 0xFC00u) == 0xD800u && i + 1 < text.size() &&
                   (text[i + 1] & 0xFC00u) == 0xDC00u) {
            ++i;
        } else if (text[i] == 0 || (text[i] & 0xF800u) == 0xD800u) {
            ThrowMalformed(fileName, line);
        }
    }
}

bool IsHexadecimal(wchar16 unit) noexcept {
    return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'f') || (unit >= 'A' && unit <= 'F');
}

bool IsDataUnit(wchar16 unit) noexcept {
    return IsHexadecimal(unit) || unit == ',' || IsBlank(unit);
}

bool IsNothingOrComment(WideView trimmed) noexcept {
    return trimmed.empty() || trimmed.front() == ';';
}

// A text that is read from its start to its end, with the number of the line that reading has come to.
class Reader {
public:
    Reader(WideView text, WideView name) noexcept : rest(text), fileName(name) {}

    bool AtEnd() const noexcept { return rest.empty(); }

    [[noreturn]] void Malformed() const { ThrowMalformed(fileName, line); }

    // What is left of the line, without the blanks around it and the line end.
    WideView RestOfLine() noexcept {
        while (!rest.empty() && IsBlank(rest.front())) {
            rest.remove_prefix(1);
        }
        WideView left = rest.substr(0, rest.find('\n'));
        if (left.ends_with('\r')) {
            left.remove_suffix(1);
        }
        return Trimmed(left);
    }

    void NextLine() noexcept {
        const std::size_t end = rest.find('\n');
        rest.remove_prefix(end == WideView::npos ? rest.size() : end + 1);
        ++line;
    }

    // Goes on to the next line; throws where more than a comment is left of this one.
    void EndLine() {
        if (!IsNothingOrComment(RestOfLine())) {
            Malformed();
        }
        NextLine();
    }

    // Takes `unit` off the line, and the blanks before it; false where it is not there.
    bool Take(wchar16 unit) noexcept {
        const bool isThere = RestOfLine().starts_with(unit);
        if (isThere) {
            rest.remove_prefix(1);
        }
        return isThere;
    }

    // Takes a text in quotes. Line ends within it are part of it.
    WideString TakeQuoted() {
        if (!Take('"')) {
            Malformed();
        }
        const std::size_t first = line;
        WideString text;
        for (std::size_t i = 0; i < rest.size(); ++i) {
            if (rest[i] == '"') {
                rest.remove_prefix(i + 1);
                return text;
            }
            if (rest[i] == '\n') {
                ++line;
            } else if (rest[i] == '\\' && (++i == rest.size() || (rest[i] != '\\' && rest[i] != '"'))) {
                Malformed(); // no such escape
            }
            text.push_back(rest[i]);
        }
        ThrowMalformed(fileName, first);
    }

    // What is between the brackets of a line "[key]". A key may hold brackets itself: it ends at the first
    // one that has nothing but a comment behind it.
    WideView KeyOfLine() {
        const WideView whole = RestOfLine();
        for (std::size_t end = whole.find(']'); end != WideView::npos; end = whole.find(']', end + 1)) {
            if (IsNothingOrComment(Trimmed(whole.substr(end + 1)))) {
                return whole.substr(1, end - 1);
            }
        }
        Malformed();
    }

    // Takes "dword:", "hex:" or "hex(n):", which open a value that is no string; false where none is there.
    bool TakeOtherKind() {
        const WideView left = RestOfLine();
        const std::size_t length = left.find(':') + 1;
        const WideString folded = FoldCase(left.substr(0, length));
        if (folded != WideView(u"dword:"_w) && folded != WideView(u"hex:"_w)) {
            WideView number = folded;
            if (!number.starts_with(WideView(u"hex("_w)) || !number.ends_with(WideView(u"):"_w))) {
                return false;
            }
            number = number.substr(4, number.size() - 6);
            if (number.empty() || !std::all_of(number.begin(), number.end(), IsHexadecimal)) {
                return false;
            }
        }
        rest.remove_prefix(length);
        return true;
    }

    // Takes the data of such a value with all the lines that it goes on over. Between them there may be blank
    // lines and comments.
    void TakeData() {
        std::size_t continuedIn = 0; // the last line with a backslash at its end
        for (;;) {
            if (continuedIn != 0 && AtEnd()) {
                ThrowMalformed(fileName, continuedIn);
            }
            WideView data = RestOfLine();
            data = Trimmed(data.substr(0, data.find(';')));
            const bool isBetween = data.empty() && continuedIn != 0;
            const bool goesOn = data.ends_with('\\');
            if (goesOn) {
                data.remove_suffix(1);
                continuedIn = line;
            }
            if (!std::all_of(data.begin(), data.end(), IsDataUnit)) {
                Malformed();
            }
            NextLine();
            if (!goesOn && !isBetween) {
                return;
            }
        }
    }

private:
    WideView rest;
    WideView fileName;
    std::size_t line = 1;
};

// Reads "name"=data into `values`.
void ReadValue(Reader& reader, Values& values) {
    const WideString name = reader.Take('@') ? WideString() : FoldCase(reader.TakeQuoted());
    if (!reader.Take('=')) {
        reader.Malformed();
    }
    if (reader.TakeOtherKind()) {
        values.insert_or_assign(name, std::nullopt);
        reader.TakeData();
        return;
    }
    if (reader.Take('-')) {
        values.erase(name);
    } else {
        values.insert_or_assign(name, reader.TakeQuoted());
    }
    reader.EndLine();
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
    if (System::GetFileType(handle) != System::FileTypeDisk) {
        ThrowFile(fileName, "is no regular file."); // reading it might wait
    }
    std::uint64_t size = 0;
    if (!System::GetFileSizeEx(handle, &size)) {
        ThrowFile(fileName, "cannot be read.", System::GetLastError());
    }
    // A size saves reading in vain, but the end is where reading ends: files that the system makes up as they
    // are read tell no size.
    bool isTooLarge = size > largestFile;
    bool isWhole = false;
    std::string bytes;
    while (!isTooLarge && !isWhole) {
        constexpr std::uint32_t piece = 65536;
        const std::size_t before = bytes.size();
        bytes.resize(before + piece);
        std::uint32_t done = 0;
        if (!System::ReadFile(handle, bytes.data() + before, piece, &done)) {
            ThrowFile(fileName, "cannot be read.", System::GetLastError());
        }
        bytes.resize(before + done);
        isTooLarge = bytes.size() > largestFile;
        isWhole = done < piece;
    }
    if (isTooLarge) {
        ThrowFile(fileName, "is larger than 16 MiB.");
    }
    return Decode(bytes, fileName);
}

std::optional<Values> FindKey(WideView text, WideView path, WideView fileName) {
    RequireWellFormed(text, fileName);
    Reader reader(text, fileName);
    if (reader.RestOfLine() != WideView(u"Windows Registry Editor Version 5.00"_w)) {
        reader.Malformed();
    }
    reader.NextLine();
    const WideString wanted = FoldCase(path);
    std::optional<Values> found;
    Values ignored;            // where the values of other keys go
    Values* current = nullptr; // null before the first key
    while (!reader.AtEnd()) {
        const WideView line = reader.RestOfLine();
        if (IsNothingOrComment(line)) {
            reader.NextLine();
        } else if (line.front() != '[') {
            if (current == nullptr) {
                reader.Malformed();
            }
            ReadValue(reader, *current);
        } else {
            const bool takenBack = line.substr(1).starts_with(wchar16{'-'});
            const WideString key = FoldCase(reader.KeyOfLine().substr(takenBack ? 1 : 0));
            if (key.empty()) {
                reader.Malformed();
            }
            reader.NextLine();
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
        }
    }
    return found;
}

} // namespace KRegistry
