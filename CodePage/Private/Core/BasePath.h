// The base path as the tables and code pages see it.
// Thread safety: any thread may call anything while an Initializer lives.

#pragma once

#include "KBase/WideString.h"

namespace KCodePage {

// The directory of the translation files, or "UseWindowsAPI", or empty. While it is empty each call asks the
// operating system's registry for it.
KBase::ReturnWString GetBasePath();

// Whether `basePath` is the value that takes every table from the operating system.
bool UsesWindowsAPI(KBase::WideView basePath) noexcept;

} // namespace KCodePage
