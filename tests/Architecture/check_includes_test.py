#!/usr/bin/env python3
"""Shows that check_includes.py finds what it is there to find, on small trees made for the purpose."""

import os
import sys
import tempfile
import unittest

# Nothing may be written beside the sources.
sys.dont_write_bytecode = True

import check_includes  # noqa: E402

GOOD = {
    "Platform/UTF8/UTF8.h": "#include <cstdint>\n",
    "Platform/OperatingSystem/Files.h": '#include "UTF8/UTF8.h"\n',
    "Platform/OperatingSystem/Posix/Files.cpp": '#include "OperatingSystem/Files.h"\n#include <fcntl.h>\n',
    "Platform/KBase/Message.h": "#include <string>\n",
    "Platform/KLog/Router.h": '#include "KBase/Message.h"\n',
    "FileSystem/File.cpp": '#include "OperatingSystem/Files.h"\n',
    "CodePage/CodePage.h": '#include "KBase/Message.h"\n',
    "CodePage/CodePageImpl.h": '#include "CodePage/CodePage.h"\n',
    "CodePage/Private/Core/CodePageLookup.h": '#include "CodePage/CodePage.h"\n',
    "CodePage/Private/Core/ModuleState.h": "#include <atomic>\n",
    "CodePage/Private/Tables/Row.cpp": '#include "CodePage/Private/Core/CodePageLookup.h"\n',
    "CodePage/Private/Icu/Detector.cpp": "#include <unicode/ucsdet.h>\n",
    "CodePageData/dump/dump.cpp": "#include <windows.h>\n",
    "tool/main.cpp": '#include "CodePage/CodePage.h"\n#include "Output.h"\n#include <CLI/CLI.hpp>\n',
    "tool/Output.h": '#include "KBase/Message.h"\n',
}


class CheckIncludesTest(unittest.TestCase):
    def errors(self, changes):
        with tempfile.TemporaryDirectory() as root:
            for path, text in {**GOOD, **changes}.items():
                full = os.path.join(root, path)
                os.makedirs(os.path.dirname(full), exist_ok=True)
                with open(full, "w", encoding="ascii") as file:
                    file.write(text)
            return check_includes.check(root)[0]

    def assert_one_error(self, path, text, expected):
        errors = self.errors({path: text})
        self.assertEqual(len(errors), 1, errors)
        self.assertIn(path, errors[0])
        self.assertIn(expected, errors[0])

    def test_a_good_tree_has_no_errors(self):
        self.assertEqual(self.errors({}), [])

    def test_an_include_of_a_higher_floor_fails(self):
        self.assert_one_error("Platform/KBase/X.cpp", '#include "KLog/Router.h"\n', "above floor 1")
        self.assert_one_error("CodePage/CodePageRegistry.h", '#include "CodePage/CodePageImpl.h"\n', "floor 8")

    def test_the_line_of_the_error_is_named(self):
        self.assert_one_error("Platform/KBase/X.cpp", '/* a\nb */\n #  include "KLog/Router.h"\n', "X.cpp:3:")

    def test_the_data_does_not_include_the_operating_system(self):
        self.assert_one_error("CodePageData/Pages.cpp", '#include "OperatingSystem/Files.h"\n', "above floor 0")

    def test_a_file_named_for_a_floor_leaves_that_of_its_folder(self):
        self.assert_one_error("CodePage/Private/Tables/X.cpp",
                              '#include "CodePage/Private/Core/ModuleState.h"\n', "floor 9")

    def test_an_include_that_names_no_file_fails(self):
        self.assert_one_error("CodePage/CodePage.cpp", '#include "CodePage/Nowhere.h"\n', "no file")
        self.assert_one_error("CodePage/CodePage.cpp", '#include "../../../etc/passwd"\n', "no file")

    def test_a_file_without_a_floor_fails(self):
        self.assert_one_error("CodePage/Newcomer.h", "\n", "no floor")

    def test_an_include_by_macro_fails(self):
        self.assert_one_error("CodePage/CodePage.cpp", "#include HEADER\n", "cannot be checked")

    def test_the_command_includes_public_headers_only(self):
        for name in ("CodePage/Private/Core/ModuleState.h", "OperatingSystem/Files.h", "KLog/Router.h"):
            self.assert_one_error("tool/x.cpp", f'#include "{name}"\n', "not a public header")

    def test_a_public_header_includes_public_headers_only(self):
        self.assert_one_error("CodePage/Table.h",
                              '#include "CodePage/Private/Core/CodePageLookup.h"\n', "not installed")
        self.assert_one_error("Platform/KBase/X.h", '#include "OperatingSystem/Files.h"\n', "not installed")

    def test_system_headers_stay_behind_the_door(self):
        for name in ("unistd.h", "windows.h", "sys/stat.h", "fcntl.h", "dirent.h"):
            self.assert_one_error("FileSystem/X.cpp", f"#include <{name}>\n", "a system header")
            self.assert_one_error("Platform/OperatingSystem/X.h", f"#include <{name}>\n", "a system header")
            self.assert_one_error("tool/X.cpp", f"#include <{name}>\n", "a system header")
            self.assertEqual(self.errors({"tool/Posix/X.cpp": f"#include <{name}>\n"}), [])

    def test_icu_and_the_command_line_library_have_one_place_each(self):
        self.assert_one_error("CodePage/CodePage.cpp", "#include <unicode/utypes.h>\n", "ICU")
        self.assert_one_error("tool/x.cpp", "#include <unicode/utypes.h>\n", "ICU")
        self.assert_one_error("CodePage/CodePage.cpp", "#include <CLI/CLI.hpp>\n", "command line")
        self.assert_one_error("CodePage/CodePage.cpp", "#include <nlohmann/json.hpp>\n", "JSON")

    def test_the_instructions_of_a_processor_have_one_place(self):
        for path in ("CodePage/CodePage.cpp", "Platform/UTF8/X.cpp", "Platform/OperatingSystem/Posix/X.cpp"):
            self.assert_one_error(path, "#include <immintrin.h>\n", "instructions")
        self.assertEqual(self.errors({"Platform/Kernels/X.cpp": "#include <immintrin.h>\n"}), [])

    def test_a_circle_of_includes_fails(self):
        errors = self.errors({"Platform/KBase/A.h": '#include "KBase/B.h"\n',
                              "Platform/KBase/B.h": '#include "KBase/A.h"\n'})
        self.assertEqual(len(errors), 1, errors)
        self.assertIn("circle", errors[0])

    def test_an_include_in_a_comment_is_none(self):
        self.assertEqual(self.errors({"FileSystem/X.h": "// #include <unistd.h>\n/*\n#include <x.h>\n*/\n"}), [])


if __name__ == "__main__":
    unittest.main()
