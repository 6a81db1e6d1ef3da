// What File asks of the system for its open modes and sharing arguments. Pure functions.

#pragma once

#include "FileSystem/File.h"
#include "OperatingSystem/Files.h"

#include <cstdint>

namespace KFileSystem {

struct OpenArguments {
    std::uint32_t access;
    std::uint32_t share;
    std::uint32_t disposition;
    const char* streamMode;
};

constexpr std::uint32_t ShareModeOf(int mode, int sharing) noexcept {
    switch (sharing) {
    case File::ShareByMode:
        return mode == File::ModeRead ? OperatingSystem::ShareRead | OperatingSystem::ShareWrite
                                      : OperatingSystem::ShareRead;
    case File::ShareRead:
        return OperatingSystem::ShareRead;
    case File::ShareReadWrite:
        return OperatingSystem::ShareRead | OperatingSystem::ShareWrite;
    default:
        return 0;
    }
}

// A mode that is none has access and disposition 0, which the system refuses.
constexpr OpenArguments OpenArgumentsOf(int mode, int sharing) noexcept {
    namespace System = OperatingSystem;
    const std::uint32_t share = ShareModeOf(mode, sharing);
    switch (mode) {
    case File::ModeRead:
        return {System::GenericRead, share, System::OpenExisting, "rbc"};
    case File::ModeWrite:
        return {System::GenericWrite, share, System::CreateAlways, "wbc"};
    case File::ModeAppend:
        return {System::GenericWrite, share, System::OpenAlways, "abc"};
    case File::ModeUpdate:
        return {System::GenericRead | System::GenericWrite, share, System::OpenExisting, "rbc+"};
    case File::ModeCreateUpdate:
        return {System::GenericRead | System::GenericWrite, share, System::CreateAlways, "wbc+"};
    case File::ModeAppendUpdate:
        return {System::GenericRead | System::GenericWrite, share, System::OpenAlways, "abc+"};
    case File::ModeCreateWriteOnly:
        return {System::GenericWrite, share, System::CreateAlways, "rbc+"};
    default:
        return {0, share, 0, ""};
    }
}

} // namespace KFileSystem
