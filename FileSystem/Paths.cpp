#include "FileSystem/Paths.h"

namespace KFileSystem {

using KBase::wchar16;
using KBase::WideString;
using KBase::WideView;
using namespace KBase::Literals;

namespace {

bool IsSeparator(wchar16 unit) noexcept {
    return unit == '\\' || unit == '/';
}

bool HasDrive(WideView path) noexcept {
    return path.size() >= 2 && path[1] == ':' &&
           ((path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z'));
}

bool IsNetworkPath(WideView path) noexcept {
    return path.size() >= 2 && path[0] == '\\' && path[1] == '\\';
}

bool IsWhiteSpace(wchar16 unit) noexcept {
    return (unit >= 0x09 && unit <= 0x0D) || unit == ' ' || unit == 0x85;
}

} // namespace

bool IsAbsolutePath(WideView path) noexcept {
    return path.size() >= 3 && HasDrive(path) && IsSeparator(path[2]);
}

WideString CombinePaths(WideView base, WideView name) {
    if (IsAbsolutePath(name) || IsNetworkPath(name) || base.empty()) {
        return NormalizePath(name);
    }
    WideString joined;
    if (name.empty() || !IsSeparator(name.front())) {
        joined = base;
        if (!IsSeparator(base.back())) {
            joined.push_back('\\'); // a second one after the root would make it a network path
        }
    } else if (HasDrive(base)) {
        joined = base.substr(0, 2);
    } else {
        return NormalizePath(name);
    }
    joined += name;
    return joined;
}

WideString NormalizePath(WideView path) {
    WideString result;
    result.reserve(path.size() + 1);
    bool keepDot = false;
    if (IsNetworkPath(path)) {
        result.assign(2, '\\');
        keepDot = true;
    } else if (!path.empty() && IsSeparator(path.front())) {
        result.push_back('\\');
    }
    const std::size_t prefix = result.size();
    const bool hadParts = path.find_first_not_of(WideView(u"\\/"_w)) != WideView::npos;
    for (std::size_t start = 0; start < path.size();) {
        std::size_t end = start;
        while (end < path.size() && !IsSeparator(path[end])) {
            ++end;
        }
        const WideView part = path.substr(start, end - start);
        const bool isFirst = start == 0;
        start = end + 1;
        if (part.empty() || (part == WideView(u"."_w) && !keepDot)) {
            continue;
        }
        keepDot = false;
        if (result.size() > prefix) {
            result.push_back('\\');
        } else if (result.empty() && !isFirst && HasDrive(part)) {
            result.assign(
                WideView(u".\\"_w)); // without the dot that stood here it would be the drive's own path
        }
        result += part;
    }
    if (result.empty() && hadParts) {
        result.push_back('.');
    } else if (result.size() == 2 && HasDrive(result)) {
        result.push_back('\\');
    }
    return result;
}

WideString TrimWhiteSpace(WideView text) {
    while (!text.empty() && IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return WideString(text);
}

} // namespace KFileSystem
