// Operations on path texts. The file system is not asked.
//
// Backslash and slash both separate. Three beginnings of a path are told apart:
//   a drive      a letter A to Z or a to z and ":"; absolute where a separator follows
//   a network    two backslashes (not slashes: "//x" is a rooted path with an empty part)
//   a root       one separator
// Thread safety: pure functions.

#pragma once

#include "KBase/WideString.h"

namespace KFileSystem {

// A drive with a separator behind it.
bool IsAbsolutePath(KBase::WideView path) noexcept;

// Joins a base and a name:
//   an absolute or a network name stands alone, normalised, and so does every name where the base is empty;
//   a name that begins with one separator is put behind the base's drive, and stands alone, normalised,
//   where the base has none (a network base has no drive);
//   any other name, also an empty one, is put behind the base, with a backslash between them unless the base
//   ends with a separator.
// What is put together stays as it was written, so that messages show a base as its owner spelt it:
// "/opt/tables" and "x" give "/opt/tables\x".
KBase::WideString CombinePaths(KBase::WideView base, KBase::WideView name);

// Joins the parts of a path again with one backslash between: empty parts go, and so does a separator at
// the end. The two backslashes of a network path and one separator at the start are kept; a bare drive gets
// a backslash.
//
// A part "." goes; where nothing else is left, "." is the result, and before a drive it stays: ".\C:\x" is a
// relative path and "C:\x" is none. Parts ".." stay: the parent of a symbolic link's target is not the
// directory that the path's text shows. What follows the two backslashes of a network path is a name and
// stays, also when it is ".".
KBase::WideString NormalizePath(KBase::WideView path);

// Without white space at both ends: tab, line feed, vertical tab, form feed, carriage return, space, U+0085.
KBase::WideString TrimWhiteSpace(KBase::WideView text);

} // namespace KFileSystem
