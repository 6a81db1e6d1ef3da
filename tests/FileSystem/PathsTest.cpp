#include "FileSystem/Paths.h"

#include "TestDirectory.h"

namespace KFileSystem {

namespace {

using FileTests::Narrow;
using FileTests::Wide;

TEST(Paths, CombiningFollowsTheKindOfTheName) {
    struct Row {
        const char16_t* base;
        const char16_t* name;
        const char16_t* result;
    };
    const Row rows[] = {
        // A name without a separator at its start goes behind the base, and both stay as they are written.
        {u"C:\\data", u"tables\\x.tbl", u"C:\\data\\tables\\x.tbl"},
        {u"C:\\data\\", u"x", u"C:\\data\\x"},
        {u"C:\\data/", u"x", u"C:\\data/x"},
        {u"C:\\data\\\\", u"x", u"C:\\data\\\\x"},
        {u"C:/data", u"a/b", u"C:/data\\a/b"},
        {u"C:\\", u"x", u"C:\\x"},
        {u"C:", u"x", u"C:\\x"},
        {u"data", u"x", u"data\\x"},
        {u"./data", u"x", u"./data\\x"},
        {u".", u"x", u".\\x"},
        {u".", u"./C:", u".\\./C:"},
        {u"\\data", u"x", u"\\data\\x"},
        {u"/opt/tables", u"iso-8859-1", u"/opt/tables\\iso-8859-1"},
        {u"/opt/tables/", u"iso-8859-1", u"/opt/tables/iso-8859-1"},
        {u"//nas/tables", u"big5", u"//nas/tables\\big5"},
        {u"\\", u"x", u"\\x"},
        {u"/", u"x", u"/x"},
        {u"\\\\server\\share", u"x", u"\\\\server\\share\\x"},
        {u"\\\\server\\share\\", u"a\\b", u"\\\\server\\share\\a\\b"},
        {u"C:\\data", u".x", u"C:\\data\\.x"},
        {u"C:\\data", u"..\\x", u"C:\\data\\..\\x"},
        {u"C:\\data", u".\\x", u"C:\\data\\.\\x"},
        {u"C:\\data", u"x\\", u"C:\\data\\x\\"},
        {u"C:\\data", u"a//b", u"C:\\data\\a//b"},
        {u"C:\\data", u"D:x", u"C:\\data\\D:x"}, // a drive without a separator is not absolute
        {u"C:\\data", u"D:", u"C:\\data\\D:"},
        {u"C:\\data", u"1:\\x", u"C:\\data\\1:\\x"}, // no letter, no drive
        {u"C:\\data", u"\u00C4:\\x", u"C:\\data\\\u00C4:\\x"},
        {u"C:\\\u30C6\u30B9\u30C8", u"\u0E44\u0E17\u0E22", u"C:\\\u30C6\u30B9\u30C8\\\u0E44\u0E17\u0E22"},
        // So does an empty name.
        {u"C:\\data", u"", u"C:\\data\\"},
        {u"C:\\data\\", u"", u"C:\\data\\"},
        {u"/usr/share", u"", u"/usr/share\\"},
        {u"/usr/share/", u"", u"/usr/share/"},
        {u"C:", u"", u"C:\\"},
        {u"\\", u"", u"\\"},
        // Where the base is empty the name stands alone, normalised.
        {u"", u"big5.M2U", u"big5.M2U"},
        {u"", u"a//b", u"a\\b"},
        {u"", u"./a/", u"a"},
        {u"", u"\\x", u"\\x"},
        {u"", u"C:", u"C:\\"},
        {u"", u"", u""},
        // An absolute name stands alone, normalised.
        {u"C:\\data", u"D:\\x", u"D:\\x"},
        {u"C:\\data", u"d:/x//y/", u"d:\\x\\y"},
        {u"C:\\data", u"z:\\", u"z:\\"},
        {u"\\\\server\\share", u"A:\\x", u"A:\\x"},
        {u"", u"C:\\x", u"C:\\x"},
        // So does a network name.
        {u"C:\\data", u"\\\\server\\share\\x", u"\\\\server\\share\\x"},
        {u"C:\\data", u"\\\\server/share//x", u"\\\\server\\share\\x"},
        {u"", u"\\\\server", u"\\\\server"},
        // A name that begins with one separator goes behind the base's drive, as it is written.
        {u"C:\\data", u"\\x", u"C:\\x"},
        {u"C:\\data", u"/x/y", u"C:/x/y"},
        {u"C:data", u"\\x\\", u"C:\\x\\"},
        {u"c:", u"\\", u"c:\\"},
        {u"C:\\data", u"/\\x", u"C:/\\x"},
        {u"C:\\data", u"//x", u"C://x"}, // two slashes are no network path
        // Without a drive in the base it stands alone, normalised.
        {u"data", u"\\x", u"\\x"},
        {u"\\data", u"/x", u"\\x"},
        {u"\\\\server\\share", u"\\x", u"\\x"},
        {u"/usr/share", u"/etc//x", u"\\etc\\x"},
        {u"/usr/share", u"//etc/", u"\\etc"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Narrow(Wide(row.result)), Narrow(CombinePaths(Wide(row.base), Wide(row.name))))
            << Narrow(Wide(row.base)) << " and " << Narrow(Wide(row.name));
    }
}

TEST(Paths, NormalisingJoinsThePartsWithOneBackslash) {
    struct Row {
        const char16_t* path;
        const char16_t* result;
    };
    const Row rows[] = {
        {u"", u""},
        {u"a", u"a"},
        {u"a\\b", u"a\\b"},
        {u"a/b", u"a\\b"},
        {u"a//b\\\\c/\\d", u"a\\b\\c\\d"},
        {u"a\\", u"a"},
        {u"a//", u"a"},
        {u"C:", u"C:\\"},
        {u"c:\\", u"c:\\"},
        {u"C:/", u"C:\\"},
        {u"C:\\\\a\\", u"C:\\a"},
        {u"C:a", u"C:a"},
        {u"1:", u"1:"},
        {u"CC:", u"CC:"},
        {u"\\", u"\\"},
        {u"/", u"\\"},
        {u"//", u"\\"},
        {u"\\a", u"\\a"},
        {u"/a/b/", u"\\a\\b"},
        {u"//a", u"\\a"},
        {u"\\/a", u"\\a"},
        {u"/C:", u"\\C:"},
        {u"\\\\server\\share", u"\\\\server\\share"},
        {u"\\\\server/share//a/", u"\\\\server\\share\\a"},
        {u"\\\\\\server", u"\\\\server"},
        {u"\\\\", u"\\\\"},
        {u"\\\\.\\pipe\\x", u"\\\\.\\pipe\\x"}, // a name, not "here"
        {u"\\\\?\\C:\\a", u"\\\\?\\C:\\a"},
        {u"\\\\server\\.\\a", u"\\\\server\\a"},
        {u".", u"."},
        {u"./.", u"."},
        {u".\\a", u"a"},
        {u"./C:/x", u".\\C:\\x"}, // without its dot it would be absolute
        {u".\\C:", u".\\C:"},
        {u".//./C:x", u".\\C:x"},
        {u"./1:", u"1:"},
        {u"\\.\\C:", u"\\C:"},
        {u"a/./C:", u"a\\C:"},
        {u"a\\.\\b\\.", u"a\\b"},
        {u"\\.", u"\\"},
        {u"C:\\.", u"C:\\"},
        {u"..", u".."},
        {u"a\\..\\b", u"a\\..\\b"}, // not taken together: "a" may be a link
        {u"C:\\..", u"C:\\.."},
        {u"...", u"..."},
        {u"a.\\.b", u"a.\\.b"},
        {u" a \\ b ", u" a \\ b "},
        {u"\u4E2D/\u6587", u"\u4E2D\\\u6587"},
    };
    for (const Row& row : rows) {
        const std::string result = Narrow(NormalizePath(Wide(row.path)));
        EXPECT_EQ(Narrow(Wide(row.result)), result) << Narrow(Wide(row.path));
        EXPECT_EQ(result, Narrow(NormalizePath(NormalizePath(Wide(row.path))))) << "a second time";
    }
}

TEST(Paths, AbsoluteIsADriveWithASeparator) {
    struct Row {
        const char16_t* path;
        bool absolute;
    };
    const Row rows[] = {
        {u"C:\\", true},  {u"z:/x", true},  {u"A:\\", true},  {u"a:\\", true},   {u"Z:\\", true},
        {u"C:", false},   {u"C:x", false},  {u"\\x", false},  {u"\\\\s", false}, {u"@:\\", false},
        {u"[:\\", false}, {u"`:\\", false}, {u"{:\\", false}, {u"", false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.absolute, IsAbsolutePath(Wide(row.path))) << Narrow(Wide(row.path));
    }
}

TEST(Paths, TrimmingTakesTheSevenWhiteSpaceCharactersFromBothEnds) {
    struct Row {
        const char16_t* text;
        const char16_t* result;
    };
    const Row rows[] = {
        {u" \tname\u0085", u"name"},
        {u"\t\n\v\f\r \u0085name\u0085 \r\f\v\n\t", u"name"},
        {u"name", u"name"},
        {u" a b ", u"a b"},
        {u"a\tb", u"a\tb"},
        {u"", u""},
        {u" \t ", u""},
        {u"\u0085", u""},
        {u"\u00A0name\u3000", u"\u00A0name\u3000"}, // other spaces stay
        {u"\bname\u000E", u"\bname\u000E"},         // the neighbours of tab and carriage return
        {u"\u0084name\u0086", u"\u0084name\u0086"},
        {u" \u0585 ", u"\u0585"}, // a character whose low byte is that of U+0085
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Narrow(Wide(row.result)), Narrow(TrimWhiteSpace(Wide(row.text)))) << Narrow(Wide(row.text));
    }
}

} // namespace

} // namespace KFileSystem
