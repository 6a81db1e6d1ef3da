// The text file that stands for the registry: finding it, reading it, and taking one key out of it.
// Thread safety: pure functions over the file system and the environment.

#pragma once

#include "KBase/WideString.h"

#include <map>
#include <optional>

namespace KRegistry {

// The values of one key by name, in lower-case ASCII letters. A value that is no string has no text.
using Values = std::map<KBase::WideString, std::optional<KBase::WideString>>;

// ASCII letters in lower case, everything else as it is.
KBase::WideString FoldCase(KBase::WideView text);

// The name of the file.
KBase::WideString RegistryFileName();

// The whole text of the file; nothing where there is none. Throws KeyException where it cannot be read, is
// too large or is ill-formed.
std::optional<KBase::WideString> ReadRegistryFile(const KBase::WideString& fileName);

// The values of the key `path` (root included); nothing where the text has no such key. `fileName` is for the
// KeyException that a malformed text throws, also when the malformed line lies outside the key.
std::optional<Values> FindKey(KBase::WideView text, KBase::WideView path, KBase::WideView fileName);

} // namespace KRegistry
