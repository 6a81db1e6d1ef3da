#!/usr/bin/env python3
"""Fails when a source of the repository is not plain: check_words.py [ROOT].

Sources are ASCII; no text holds a tab, a blank at a line's end or a carriage return; a header has at most
400 lines and a source at most 900. Looked at are the files that git tracks or would add, or without git all
outside build/.
"""

import os
import re
import subprocess
import sys

SOURCE = re.compile(r".*\.(h|cpp|inc|sh|py|cmake|json)|(.*/)?CMakeLists\.txt")
PLAIN = re.compile(r".*\.(md|clang-format|clang-tidy)|(.*/)?\.[a-z]+")
LIMITS = [(".h", 400), (".cpp", 900)]

# Laid out by their generator, printed by the dump program, or texts whose bytes are the point.
LEFT_OUT = re.compile(r"CodePageData/(generated|sources)/.*\.(h|cpp|inc|txt)|examples/data/.*\.txt")


def files(root):
    listing = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                             capture_output=True, check=False) if has_git(root) else None
    if listing is not None and listing.returncode == 0:
        names = [os.fsdecode(name) for name in listing.stdout.split(b"\0") if name]
    else:
        names = []
        for directory, folders, found in os.walk(root):
            folders[:] = [folder for folder in folders if folder not in ("build", ".git", "__pycache__")]
            names += [os.path.relpath(os.path.join(directory, name), root) for name in found]
    # A deleted file is listed until its deletion is committed.
    return sorted(set(name for name in names if os.path.isfile(os.path.join(root, name))))


def has_git(root):
    if not os.path.exists(os.path.join(root, ".git")):
        return False
    try:
        return subprocess.run(["git", "--version"], capture_output=True, check=False).returncode == 0
    except FileNotFoundError:
        return False


def check_text(name, data):
    """The errors of one file."""
    if LEFT_OUT.fullmatch(name):
        return []
    source = bool(SOURCE.fullmatch(name)) or data.startswith(b"#!")
    if not source and not PLAIN.fullmatch(name):
        return []
    errors = []
    lines = data.split(b"\n")
    for number, line in enumerate(lines, 1):
        if source and not line.isascii():
            errors.append(f"{name}:{number}: a byte outside ASCII")
        if b"\t" in line:
            errors.append(f"{name}:{number}: a tab")
        if b"\r" in line:
            errors.append(f"{name}:{number}: a carriage return")
        elif line.endswith((b" ", b"\t")):
            errors.append(f"{name}:{number}: a blank at the end")
    if data and not data.endswith(b"\n"):
        errors.append(f"{name}: the last line does not end")
    for ending, limit in LIMITS:
        if name.endswith(ending) and data.count(b"\n") > limit:
            errors.append(f"{name}: {data.count(bytes([10]))} lines, at most {limit}")
    return errors


def main():
    here = os.path.dirname(os.path.realpath(__file__))
    root = os.path.realpath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", ".."))
    errors = []
    names = files(root)
    for name in names:
        with open(os.path.join(root, name), "rb") as file:
            errors += check_text(name, file.read())
    for error in errors:
        print(error)
    print(f"{len(names)} files, {len(errors)} errors")
    return 1 if errors or not names else 0


if __name__ == "__main__":
    sys.exit(main())
