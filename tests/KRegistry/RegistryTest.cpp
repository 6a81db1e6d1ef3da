#include "KRegistry/Registry.h"

#include "FileSystem/TestDirectory.h"
#include "KRegistry/RegistryFile.h"

#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace KRegistry {

namespace {

using FileTests::Narrow;
using FileTests::Wide;
using FileTests::WideString;

constexpr const char* header = "Windows Registry Editor Version 5.00\n\n";
const std::u16string_view product = u"SOFTWARE\\Varnick\\Tessel Suite";

class Registry : public FileTests::FileTest {
protected:
    Registry() {
        if (const char* const old = std::getenv("KREGISTRY_FILE")) {
            before = old;
        }
        ::setenv("KREGISTRY_FILE", directory.Native(u"test.reg").c_str(), 1);
    }
    ~Registry() override {
        if (before) {
            ::setenv("KREGISTRY_FILE", before->c_str(), 1);
        } else {
            ::unsetenv("KREGISTRY_FILE");
        }
    }

    void Put(const std::string& bytes) { directory.Make(u"test.reg", bytes); }
    void PutValues(const std::string& lines) {
        Put(std::string(header) + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\n" + lines);
    }

    static KBase::ReturnPtr<Key> Open(std::u16string_view path = product) {
        return OpenKeyFromRoot(ROOT_HIVE_LOCAL_MACHINE, Wide(path).c_str(), false);
    }

    static std::string Value(std::u16string_view name) {
        return Narrow(Open()->ReadString(Wide(name).c_str()));
    }

    // What opening the key says when it fails.
    static std::string OpeningFailure(std::u16string_view path = product) {
        try {
            Open(path);
        } catch (const KeyException& failure) {
            return failure.what();
        }
        return "no failure";
    }

    std::string Malformed(int line) const {
        return "The registry file '" + Narrow(WideString(RegistryFileName())) + "' is malformed in line " +
               std::to_string(line) + ".";
    }

private:
    std::optional<std::string> before;
};

const char* const noKey = "There is no registry key 'SOFTWARE\\Varnick\\Tessel Suite'.";

TEST_F(Registry, AStringValueIsRead) {
    PutValues("\"Common Path\"=\"/usr/share/tables\"\n");
    const KBase::ReturnPtr<Key> key = Open();
    EXPECT_TRUE(key->HasValue(Wide(u"Common Path").c_str()));
    EXPECT_FALSE(key->HasValue(Wide(u"Common").c_str()));
    EXPECT_EQ("/usr/share/tables", Value(u"Common Path"));
}

TEST_F(Registry, WithoutAFileThereAreNoKeys) {
    EXPECT_EQ(noKey, OpeningFailure());
    ::setenv("KREGISTRY_FILE", (directory.Native() / "none" / "test.reg").c_str(), 1);
    EXPECT_EQ(noKey, OpeningFailure());
}

TEST_F(Registry, AKeyThatTheFileDoesNotNameIsNone) {
    Put(header);
    EXPECT_EQ(noKey, OpeningFailure());
    PutValues("");
    EXPECT_EQ("There is no registry key 'SOFTWARE\\Other'.", OpeningFailure(u"SOFTWARE\\Other"));
    EXPECT_EQ("There is no registry key 'SOFTWARE\\Varnick\\Tessel'.",
              OpeningFailure(u"SOFTWARE\\Varnick\\Tessel"));
    EXPECT_THROW(OpenKeyFromRoot(static_cast<RootHives>(2), Wide(product).c_str(), false), KeyException);
}

TEST_F(Registry, AKeyThatHasOnlyKeysBelowItIsThere) {
    PutValues("\"a\"=\"1\"\n");
    EXPECT_FALSE(Open(u"SOFTWARE\\Varnick")->HasValue(Wide(u"a").c_str()));
}

TEST_F(Registry, AMissingValueIsAKeyException) {
    PutValues("\"a\"=\"1\"\n");
    try {
        Value(u"b");
        ADD_FAILURE();
    } catch (const KeyException& failure) {
        EXPECT_STREQ("There is no registry value 'b'.", failure.what());
    }
}

TEST_F(Registry, KeysAndNamesAreComparedWithoutCase) {
    Put(std::string(header) +
        "[hkey_local_machine\\Software\\VARNICK\\tessel suite]\n\"COMMON path\"=\"Kept As It Is\"\n");
    EXPECT_EQ("Kept As It Is", Value(u"Common Path"));
}

TEST_F(Registry, ValuesOfOtherKeysAreNotTaken) {
    Put(std::string(header) +
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick]\n\"a\"=\"above\"\n"
        "[HKEY_CURRENT_USER\\SOFTWARE\\Varnick\\Tessel Suite]\n\"a\"=\"user\"\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\n\"a\"=\"right\"\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite\\Below]\n\"a\"=\"below\"\n");
    EXPECT_EQ("right", Value(u"a"));
}

TEST_F(Registry, EveryLineHasItsMeaning) {
    struct Row {
        const char* lines;
        const char* value; // of "a"
    };
    const Row rows[] = {
        {"\"a\"=\"C:\\\\data\\\\x\"\n", "C:\\data\\x"},
        {"\"a\"=\"say \\\"x\\\"\"\n", "say \"x\""},
        {"\"a\"=\"\"\n", ""},
        {"\"a\"=\"x\"", "x"}, // no line feed at the end
        {"  \"a\" = \"x\"  \n", "x"},
        {"\"a\"=\"x\" ; why\n", "x"},
        {"; \"a\"=\"no\"\n\"a\"=\"x\"\n;\n\n", "x"},
        {"\"a\"=\"x\"\n\"a\"=\"y\"\n", "y"},
        {"\"b\"=hex:01,02,\\\n  03,\\\n  04\n\"a\"=\"x\"\n", "x"},
        {"\"b\"=hex(7):61,\\\r\n  00\r\n\"a\"=\"x\"\r\n", "x"},
        {"\"b\"=dword:0000002a\n\"a\"=\"x\"\n", "x"},
        {"@=\"default\"\n\"a\"=\"x\"\n", "x"},
        {"\"a\"=\"[key]\"\n", "[key]"},
        {"\"a\"=\"x;y\"\n", "x;y"},
        {"\"\\\"q\\\\\"=\"1\"\n\"a\"=\"x\"\n", "x"},
        {"\"a\"=\"\xE8\xA1\xA8\xF0\x9F\x98\x80\"\n", "\xE8\xA1\xA8\xF0\x9F\x98\x80"},
        {"\"a\"=\"x\"\n[HKEY_LOCAL_MACHINE\\Other]\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\n",
         "x"},
        {"\"a\"=\"x\"\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel]\n", "x"}, // no key above this one
        {"\"a\"=-\n\"a\"=\"x\"\n", "x"},
        {"\"a\"=\"one\ntwo\"\n", "one\ntwo"},
        {"\"a\"=\"one\r\n\r\n[two]\r\n; \"\r\n", "one\r\n\r\n[two]\r\n; "},
        {"\"one\r\ntwo\"=\"y\"\n\"a\"=\"x\"\n", "x"},
        {"[HKEY_LOCAL_MACHINE\\Other] ; why\n\"a\"=\"y\"\n"
         "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]; see [2]\n\"a\"=\"x\"\n",
         "x"},
        {"[HKEY_LOCAL_MACHINE\\a]b];]\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\n\"a\"=\"x\"\n",
         "x"},
        {"\"b\"=hex:01,\\\n\n; between\n  02 ; last\n\"a\"=\"x\"\n", "x"},
        {"\"b\"=hex:01,\\ ; goes on\n02\n\"a\"=\"x\"\n", "x"},
        {"\"b\"=dword:1 ; not C:\\\n\"a\"=\"x\"\n", "x"},
        {"\"b\"=hex(0):\n\"a\"=\"x\"\n", "x"},
        {"\"b\"=HEX(B):0A,ff\n\"a\"=\"x\"\n", "x"},
    };
    for (const Row& row : rows) {
        PutValues(row.lines);
        EXPECT_EQ(row.value, Value(u"a")) << row.lines;
    }
}

TEST_F(Registry, TheValueWithoutANameHasAnEmptyName) {
    PutValues("@=\"default\"\n");
    EXPECT_EQ("default", Value(u""));
}

TEST_F(Registry, AValueTakenBackIsGone) {
    PutValues("\"a\"=\"x\"\n\"a\"=-\n");
    EXPECT_FALSE(Open()->HasValue(Wide(u"a").c_str()));
}

TEST_F(Registry, AKeyTakenBackIsGoneWithAllBelowIt) {
    for (const std::string path :
         {"", "\\SOFTWARE", "\\SOFTWARE\\Varnick", "\\software\\varnick\\tessel suite"}) {
        PutValues("\"a\"=\"x\"\n[-HKEY_LOCAL_MACHINE" + path + "]\n");
        EXPECT_EQ(noKey, OpeningFailure()) << path;
    }
}

TEST_F(Registry, AValueOfAnotherKindIsThereButNoString) {
    PutValues("\"a\"=dword:1\n\"b\"=hex(2):61,\\\n00\n");
    EXPECT_TRUE(Open()->HasValue(Wide(u"a").c_str()));
    EXPECT_TRUE(Open()->HasValue(Wide(u"b").c_str()));
    EXPECT_THROW(Value(u"a"), KeyException);
}

TEST_F(Registry, AMalformedLineIsNamed) {
    struct Row {
        const char* bytes;
        int line;
    };
    const Row rows[] = {
        {"", 1},
        {"REGEDIT4\n", 1},
        {"Windows Registry Editor Version 5.000\n", 1},
        {"\nWindows Registry Editor Version 5.00\n", 1},
        {"Windows Registry Editor Version 5.00\n\"a\"=\"x\"\n", 2}, // outside a key
        {"Windows Registry Editor Version 5.00\n\n[k\n", 3},
        {"Windows Registry Editor Version 5.00\n\n[]\n", 3},
        {"Windows Registry Editor Version 5.00\n\n[-]\n", 3},
        {"Windows Registry Editor Version 5.00\n\n[k]\nrubbish\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a=\"x\"\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\\\"\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\\n\"\n", 4}, // no such escape
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\"y\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=word:1\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=-x\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\n\"a\"=\"\xFF\"\n", 5},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:1,\\\n2\n!\n", 6},
        {"Windows Registry Editor Version 5.00\n\n[k]x\n", 3},
        {"Windows Registry Editor Version 5.00\n\n[k] ; \"a\"\n\"a\"=\"x\n\n\n", 4}, // not closed
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\n\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\n\ny\"z\n", 6},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"a\"=\"x\n\ny\"\n!\n", 7},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\", 4}, // cut off
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\\n02,\\\n\n", 5},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\\n[HKEY_LOCAL_MACHINE\\Other]\n", 5},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\\n\"a\"=\"x\"\n", 5},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex:01,\\ 02\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=dword:zz junk\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex():01\n", 4},
        {"Windows Registry Editor Version 5.00\n\n[k]\n\"b\"=hex(x):01\n", 4},
        {"\xFE\xFF", 1}, // the other byte order
    };
    for (const Row& row : rows) {
        Put(row.bytes);
        EXPECT_EQ(Malformed(row.line), OpeningFailure()) << row.bytes;
    }
    Put(std::string(header) + "[k]\n\"a\"=\"" + std::string(1, '\0') + "\"\n");
    EXPECT_EQ(Malformed(4), OpeningFailure());
}

std::string UTF16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

TEST_F(Registry, TheFileMayBeUTF16OrBeginWithAByteOrderMark) {
    const std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n"
                                u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\r\n"
                                u"\"Common Path\"=\"C:\\\\\u8868\U0001F600\"\r\n";
    Put(UTF16(text));
    EXPECT_EQ("C:\\\xE8\xA1\xA8\xF0\x9F\x98\x80", Value(u"Common Path"));
    Put("\xEF\xBB\xBF" + Narrow(Wide(text)));
    EXPECT_EQ("C:\\\xE8\xA1\xA8\xF0\x9F\x98\x80", Value(u"Common Path"));
    Put(Narrow(Wide(text)));
    EXPECT_EQ("C:\\\xE8\xA1\xA8\xF0\x9F\x98\x80", Value(u"Common Path"));

    Put(UTF16(text) + "x"); // half a code unit
    EXPECT_EQ(Malformed(5), OpeningFailure());
    for (const std::u16string_view value :
         {u"\u010A\u020A", u"\u0A05\u0A06"}) { // bytes that are no line feeds
        Put(UTF16(text + u"\"a\"=\"" + std::u16string(value) + u"\"\r\n") + "x");
        EXPECT_EQ(Malformed(6), OpeningFailure());
    }
    std::u16string lone = text + u"; ";
    lone.push_back(0xD800);
    Put(UTF16(lone));
    EXPECT_EQ(Malformed(5), OpeningFailure());
}

TEST_F(Registry, AFileThatIsTooLargeIsRefusedUnread) {
    Put(header);
    const std::string line = ";" + std::string(65534, 'x') + "\n";
    std::string largest = header;
    while (largest.size() + line.size() <= 16u << 20) {
        largest += line;
    }
    largest.resize(16u << 20, '\n');
    Put(largest);
    EXPECT_EQ(noKey, OpeningFailure());
    std::filesystem::resize_file(directory.Native(u"test.reg"), (16u << 20) + 1);
    EXPECT_EQ("The registry file '" + Narrow(RegistryFileName()) + "' is larger than 16 MiB.",
              OpeningFailure());
}

// Files that the system makes up as they are read have the size 0.
TEST_F(Registry, AFileWithoutASizeIsReadToItsEnd) {
    if (!std::filesystem::is_regular_file("/proc/version")) {
        GTEST_SKIP() << "there is no /proc";
    }
    ::setenv("KREGISTRY_FILE", "/proc/version", 1);
    EXPECT_EQ(Malformed(1), OpeningFailure());
    ::setenv("KREGISTRY_FILE", "/proc/self/pagemap", 1); // 8 bytes for each page of the address space
    EXPECT_EQ("The registry file '/proc/self/pagemap' is larger than 16 MiB.", OpeningFailure());
}

TEST_F(Registry, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
    ASSERT_EQ(0, ::mkfifo(directory.Native(u"test.reg").c_str(), 0600));
    const std::string refused = "The registry file '" + Narrow(RegistryFileName()) + "' is no regular file.";
    EXPECT_EQ(refused, OpeningFailure());
    const int writer = ::open(directory.Native(u"test.reg").c_str(), O_RDWR);
    ASSERT_GE(writer, 0);
    EXPECT_EQ(refused, OpeningFailure()); // a reader would wait for what is written
    ::close(writer);
    ::setenv("KREGISTRY_FILE", "/dev/zero", 1);
    EXPECT_EQ("The registry file '/dev/zero' is no regular file.", OpeningFailure());
}

TEST_F(Registry, AFileOfMoreThanOnePieceIsReadWhole) {
    const std::string comment = ";" + std::string(99998, 'x') + "\n";
    Put(header + comment + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\n" + comment +
        "\"a\"=\"x\"\n");
    EXPECT_EQ("x", Value(u"a"));
}

TEST_F(Registry, AFileThatCannotBeOpenedIsNamedWithTheSystemsReason) {
    std::filesystem::create_directory(directory.Native(u"test.reg"));
    EXPECT_EQ("The registry file '" + Narrow(RegistryFileName()) + "' cannot be opened.\nAccess is denied.",
              OpeningFailure());
}

TEST_F(Registry, TheFileIsNamedByTheEnvironmentElseItIsTheSystems) {
    EXPECT_EQ(Wide(directory.Native(u"test.reg").u16string()), RegistryFileName());
    ::setenv("KREGISTRY_FILE", "", 1);
    EXPECT_EQ("/etc/kregistry.reg", Narrow(RegistryFileName()));
    ::unsetenv("KREGISTRY_FILE");
    EXPECT_EQ("/etc/kregistry.reg", Narrow(RegistryFileName()));
    ::setenv("KREGISTRY_FILE", ("/" + std::string(1000, 'x')).c_str(), 1);
    EXPECT_EQ(1001u, RegistryFileName().size());
    ::setenv("KREGISTRY_FILE", "relative/x.reg", 1);
    EXPECT_EQ("relative/x.reg", Narrow(RegistryFileName()));
    ::setenv("KREGISTRY_FILE", "/\xFF", 1);
    EXPECT_THROW(RegistryFileName(), KeyException);
}

} // namespace

} // namespace KRegistry
