#!/usr/bin/env python3
"""Fails when a file of the library or the command includes upward: check_includes.py [ROOT].

The floors below are those of docs/architecture.md. Every file stands on the floor of the first pattern
that matches it, and includes its own floor or a lower one. A new file or folder without a floor is an
error, so that nobody forgets to place it.
"""

import fnmatch
import os
import re
import sys

# From the lowest to the highest; `*` in a pattern matches any text, slashes too.
FLOORS = [
    ("0 data", ["CodePageData/*", "Platform/UTF8/*", "Platform/Kernels/*"]),
    ("0 operating system", ["Platform/OperatingSystem/*"]),
    ("1", ["Platform/KBase/*"]),
    ("2", ["Platform/KSynch/*", "Platform/KDataType/*"]),
    ("3", ["Platform/KSerialization/*", "Platform/KRegistry/*", "Platform/KLog/*"]),
    ("4", ["FileSystem/*"]),
    ("5", ["CodePage/" + name + ".*" for name in (
        "CODE_PAGE", "Exceptions", "IANAInfo", "Initializer", "WideCharacters", "MultiByteCharacter",
        "UnicodeCharacter", "MultiByteString", "UnicodeString", "TextConversion")] + ["CodePage/Private/Characters/*"]),
    ("6", ["CodePage/" + name + ".*" for name in (
        "CodePage", "CodePageRegistry", "EncodingCandidates", "EncodingDetector", "EncodingConverter")]
     + ["CodePage/Private/Core/BasePath.h", "CodePage/Private/Core/CodePageLookup.h",
        "CodePage/Private/Icu/*"]),
    ("7", ["CodePage/" + name + ".*" for name in (
        "Table", "UnicodeCharacterMultiByte", "MultiByteToUnicode", "UnicodeToMultiByte", "ShiftJisToJis",
        "TextDecoder", "TextEncoder")] + ["CodePage/Private/Tables/*", "CodePage/Private/ShiftJis/*"]),
    ("8", ["CodePage/CodePageImpl.*"]),
    ("9", ["CodePage/Private/Core/*"]),
    ("the command", ["tool/*"]),
]

FOLDERS = ["CodePage", "FileSystem", "Platform", "CodePageData", "tool"]

# What is installed. A public header may include nothing else of ours, and the command neither, apart from
# its own headers.
PUBLIC = re.compile(r"(CodePage|Platform/(KBase|KSynch|KDataType|KSerialization))/[^/]+\.h")

# The directories that an #include "..." starts from, after that of the including file.
ROOTS = ["", "Platform"]

STANDARD = set("""
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream functional
    future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory
    memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex
    scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
    streambuf string string_view strstream syncstream system_error thread tuple type_traits typeindex
    typeinfo unordered_map unordered_set utility valarray variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef
    cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
""".split())

# Headers that are not the standard library's: where each may be included. What is named nowhere else
# counts as the system's and belongs behind the door.
ELSEWHERE = [
    (re.compile(r"unicode/.*"), ["CodePage/Private/Icu/*"], "ICU"),
    (re.compile(r"CLI/.*"), ["tool/*"], "the command line library"),
    (re.compile(r"immintrin\.h|emmintrin\.h"), ["Platform/Kernels/*"], "the processor's instructions"),
    (re.compile(r"nlohmann/.*"), ["tool/*"], "the JSON library"),
    (re.compile(r".*"),
     ["Platform/OperatingSystem/Posix/*", "Platform/OperatingSystem/Windows/*",
      # The command opens files by their native bytes, which the library does not.
      "tool/Posix/*",
      # The dump program asks the Windows services themselves and is no part of the library.
      "CodePageData/dump/*"], "a system header"),
]

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include\b[ \t]*(?:"([^"\n]*)"|<([^>\n]*)>|(.*))', re.MULTILINE)
BLOCK_COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def matches(path, patterns):
    return any(fnmatch.fnmatchcase(path, pattern) for pattern in patterns)


def floor_of(path):
    """The number of the floor, or None. A pattern without a wildcard goes before one with."""
    fallback = None
    for number, (_, patterns) in enumerate(FLOORS):
        if path in patterns:
            return number
        if fallback is None and matches(path, patterns):
            fallback = number
    return fallback


def includes_of(text):
    """Yields (line number, quoted name, name in angle brackets, anything else)."""
    text = BLOCK_COMMENT.sub(lambda comment: "\n" * comment.group().count("\n"), text)
    for found in INCLUDE.finditer(text):
        yield text.count("\n", 0, found.start()) + 1, found.group(1), found.group(2), found.group(3)


def resolve(root, path, name):
    for start in [os.path.dirname(path)] + ROOTS:
        candidate = os.path.normpath(os.path.join(start, name))
        if not candidate.startswith("..") and os.path.isfile(os.path.join(root, candidate)):
            return candidate.replace(os.sep, "/")
    return None


def sources(root):
    for folder in FOLDERS:
        for directory, folders, files in os.walk(os.path.join(root, folder)):
            folders.sort()
            for name in sorted(files):
                if name.endswith((".h", ".cpp", ".inc")):
                    yield os.path.relpath(os.path.join(directory, name), root).replace(os.sep, "/")


def quoted_error(root, path, name, graph):
    target = resolve(root, path, name)
    if target is None:
        return f'"{name}" is no file of the repository'
    graph.setdefault(path, []).append(target)
    own, other = floor_of(path), floor_of(target)
    if other is None:
        return f'"{name}" has no floor'
    if path.startswith("tool/"):
        if not target.startswith("tool/") and not PUBLIC.fullmatch(target):
            return f'"{name}" is not a public header'
    elif own is not None and other > own:
        return f'"{name}" is on floor {FLOORS[other][0]}, above floor {FLOORS[own][0]}'
    if PUBLIC.fullmatch(path) and not PUBLIC.fullmatch(target):
        return f'"{name}" is not installed, and a public header needs it'
    return None


def angle_error(path, name):
    if name in STANDARD:
        return None
    for pattern, places, kind in ELSEWHERE:
        if pattern.fullmatch(name):
            return None if matches(path, places) else f"<{name}> is {kind}, which has no place here"
    return None


def circle(graph):
    """One circle of includes as a list of files, or None."""
    done, trail = set(), []

    def visit(path):
        if path in trail:
            return trail[trail.index(path):] + [path]
        if path in done:
            return None
        trail.append(path)
        for target in graph.get(path, []):
            found = visit(target)
            if found:
                return found
        done.add(trail.pop())
        return None

    for path in graph:
        found = visit(path)
        if found:
            return found
    return None


def check(root):
    """The list of errors, and the number of files read."""
    errors, graph, count = [], {}, 0
    for path in sources(root):
        count += 1
        if floor_of(path) is None:
            errors.append(f"{path}: has no floor: place it in FLOORS")
        with open(os.path.join(root, path), encoding="utf-8", errors="replace") as file:
            text = file.read()
        for line, quoted, angle, other in includes_of(text):
            if quoted is not None:
                error = quoted_error(root, path, quoted, graph)
            elif angle is not None:
                error = angle_error(path, angle)
            else:
                error = f"an include that cannot be checked: {other.strip()}"
            if error:
                errors.append(f"{path}:{line}: {error}")
    found = circle(graph)
    if found:
        errors.append("a circle of includes: " + " -> ".join(found))
    return errors, count


def main():
    here = os.path.dirname(os.path.realpath(__file__))
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "..")
    errors, count = check(os.path.realpath(root))
    if not count:
        errors.append("no sources found")
    for error in errors:
        print(error)
    print(f"{count} files, {len(errors)} errors")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
