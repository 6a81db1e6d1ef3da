// The operating system's registry of settings, read only.
//
// On a system without a registry, one text file stands for it, in the form that registry editors export
// ("Windows Registry Editor Version 5.00"). It is named by the environment variable KREGISTRY_FILE (which is
// not looked at in a process that has rights its caller has not, such as one started from a set-user-id
// file), else it is /etc/kregistry.reg. Where there is no file, there are no keys.
//
// The form of the file (UTF-8 with or without a byte order mark, or UTF-16LE with one; lines end with LF or
// CRLF; at most 16 MiB):
//
//   Windows Registry Editor Version 5.00        the first line
//                                               blank lines, and comments that begin with ";", also behind
//                                               a key or a value
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Maker\Product]       a key; "[-...]" takes it back with all below it
//   "name"="text"                               a string value; \\ and \" stand for \ and ", and line ends
//                                               between the quotes are part of the text
//   @="text"                                    the value without a name
//   "name"=dword:..., "name"=hex(n):...         values of other kinds: hexadecimal digits, commas and blanks,
//                                               over several lines where each but the last ends with a
//                                               backslash; what they hold is not looked at
//   "name"=-                                    takes a value back
//
// What stands later in the file counts. Keys and value names are compared without regard to the case of
// ASCII letters; other letters differ in theirs. The file is a regular one, so that reading it never waits.
//
// Thread safety: OpenKeyFromRoot may be called from any thread; a Key belongs to one thread at a time.

#pragma once

#include "KBase/Message.h"
#include "KBase/ReturnPtr.h"
#include "KBase/WideString.h"

namespace KRegistry {

using KBase::wchar16;

enum RootHives : int { ROOT_HIVE_LOCAL_MACHINE = 3 }; // HKEY_LOCAL_MACHINE: machine-wide settings

// A key or value that is missing or cannot be read, or a file that is malformed: the text then names the
// file and the line, counted from 1.
class KeyException : public KBase::Message {
public:
    using KBase::Message::Message;

protected:
    const char* ClassName() const noexcept override { return "KRegistry::KeyException"; }
};

// Requires of both functions: `name` is not null.
class Key {
public:
    virtual ~Key() = default;

    // Whether there is a value of that name, of whatever kind. An empty name is the value without a name.
    virtual bool HasValue(const wchar16* name) const = 0;

    // The text of a string value; throws KeyException where there is none of that name.
    virtual KBase::ReturnWString ReadString(const wchar16* name) const = 0;
};

// Opens a key, given by its path below the root with backslashes; throws KeyException where there is none.
// Closed by the returned pointer. The key is as the file was when it was opened. Requires: `path` is not
// null, `writable` is false, for nothing can be written.
KBase::ReturnPtr<Key> OpenKeyFromRoot(RootHives root, const wchar16* path, bool writable);

// Keeps the registry library initialised while it lives.
class Initializer {};

} // namespace KRegistry
