// Temporary files. Thread safety: any thread may call anything.

#pragma once

#include "KBase/WideString.h"

namespace KFileSystem {

using KBase::wchar16;

// The directory for temporary files, with a backslash at the end (OperatingSystem::GetTempPathW tells where
// it comes from). Empty where its name has 260 code units or more.
KBase::ReturnWString GetTemporaryDirectory();

// Makes a new, empty file there, whose name begins with the first three characters of `prefix`, and returns
// its path. The caller deletes it. Throws the prefix form; with error 123 where a separator is among the
// three.
KBase::ReturnWString CreateTemporaryFile(const wchar16* prefix);

} // namespace KFileSystem
