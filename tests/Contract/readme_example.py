#!/usr/bin/env python3
"""The example in the README: readme_example.py extract README DIRECTORY | check PROGRAM EXPECTED

extract writes DIRECTORY/main.cpp, the first fenced block marked "cpp" that holds a main function, and
DIRECTORY/expected.txt, the next block marked "text", which must follow before any other block marked "cpp".
The contents of a block are its lines, each with its line end, and nothing else. check runs the program, which
must succeed, and compares what it prints with the expected text byte for byte.
"""

import os
import re
import subprocess
import sys

OPEN = re.compile(rb"(`{3,}|~{3,})[ \t]*([A-Za-z+]*)[^`]*")


def blocks(text):
    """The fenced blocks as pairs of mark and contents."""
    fence = mark = None
    contents = []
    for line in text.splitlines(keepends=True):
        bare = line.rstrip(b"\r\n")
        if fence is None:
            opened = OPEN.fullmatch(bare)
            if opened:
                fence, mark, contents = opened.group(1), opened.group(2).decode().lower(), []
        elif bare.rstrip().strip(fence[:1]) == b"" and len(bare.rstrip()) >= len(fence):
            yield mark, b"".join(contents)
            fence = None
        else:
            contents.append(line)


def extract(readme, directory):
    if not os.path.exists(readme):
        return f"there is no {os.path.basename(readme)}"
    program = None
    with open(readme, "rb") as file:
        text = file.read()
    for mark, contents in blocks(text):
        if program is None:
            if mark == "cpp" and re.search(rb"\bint\s+main\s*\(", contents):
                program = contents
        elif mark == "cpp":
            break
        elif mark == "text":
            os.makedirs(directory, exist_ok=True)
            write(os.path.join(directory, "main.cpp"), program)
            write(os.path.join(directory, "expected.txt"), contents)
            return None
    if program is None:
        return "the README has no block marked cpp with a main function"
    return "no block marked text with the expected output follows the README's example"


def write(path, contents):
    """Leaves a file with the same contents alone, so that nothing is built again."""
    if os.path.exists(path):
        with open(path, "rb") as file:
            if file.read() == contents:
                return
    with open(path, "wb") as file:
        file.write(contents)


def check(program, expected):
    with open(expected, "rb") as file:
        wanted = file.read()
    run = subprocess.run([program], stdin=subprocess.DEVNULL, capture_output=True, check=False)
    if run.returncode != 0:
        return f"the example ended with status {run.returncode}: {run.stderr.decode(errors='replace')}"
    if run.stderr:
        return f"the example printed errors: {run.stderr.decode(errors='replace')}"
    if run.stdout != wanted:
        return f"the example printed\n{run.stdout!r}\ninstead of\n{wanted!r}"
    return None


def main():
    actions = {"extract": extract, "check": check}
    if len(sys.argv) != 4 or sys.argv[1] not in actions:
        print(__doc__, file=sys.stderr)
        return 2
    failure = actions[sys.argv[1]](*sys.argv[2:])
    if failure:
        print(failure, file=sys.stderr)
    return 1 if failure else 0


if __name__ == "__main__":
    sys.exit(main())
