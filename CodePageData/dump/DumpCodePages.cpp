// Asks the Windows API about every byte, pair of bytes and code unit of the code pages and writes the answers
// to text files in the current directory: codepage-NUMBER.txt for each code page, and shift-jis-to-jis.txt.
// They are the sources of the tables in CodePageData/generated.
//
// Built for Windows:   x86_64-w64-mingw32-g++-posix -std=c++20 -O2 -static DumpCodePages.cpp -o dump.exe
//
// Everything is ASCII with LF line ends, numbers of bytes and units are upper-case hexadecimal, code pages
// and counts decimal. Fields are separated by one space. Lines that begin with "#" are remarks. The same API
// gives the same files byte for byte. An answer that the format cannot express ends the program with an
// error.
//
// codepage-NUMBER.txt
//   codepage NUMBER
//   lead RANGE...         The bytes for which IsDBCSLeadByteEx answers yes, as ranges such as 81-9F; "-" for
//   none. byte B0 U*16          MultiByteToWideChar(flags 0) for the 16 texts of one byte from B0 on: the one
//   unit
//                         that each gives. A lead byte is asked about too (it then stands at the end of a
//                         text).
//   pair LL A*256         MultiByteToWideChar(flags 0) for the 256 texts of two bytes whose first is the lead
//                         byte LL: UUUU for one unit, UUUU+UUUU for two.
//   unit UUU0 A*16        WideCharToMultiByte(flags 0, default character "?", used-default asked for) for the
//   16
//                         texts of one unit from UUU0 on: BB or BBBB, or "-" where the default character was
//                         used. A line of nothing but "-" is left out.
//
// shift-jis-to-jis.txt
//   codepage 932          The code page set with _setmbcp.
//   character CCC0 A*16   _mbcjmstojis for the 16 characters from CCC0 on: JJJJ, or "-" for 0. A line of
//   nothing
//                         but "-" is left out.
//   unchanged NUMBER...   The other code pages that were set and for which all 65,536 characters came back
//                         unchanged; "-" for none.

#include <windows.h>

#include <mbctype.h>
#include <mbstring.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

const unsigned codePages[] = {874, 932, 936, 949, 950, 1250, 1252, 1253, 1254, 1255, 1256, 1257, 20866};
const int otherCodePages[] = {0, 437, 936, 949, 950, 1252};

[[noreturn]] void Fail(const char* what, unsigned codePage, unsigned input) {
    std::fprintf(stderr, "Code page %u, input %04X: %s\n", codePage, input, what);
    std::exit(1);
}

// A text file in the current directory. Binary mode keeps the line ends LF.
class Output {
public:
    explicit Output(const char* name) : file_(std::fopen(name, "wb")), name_(name) {
        if (file_ == nullptr)
            Stop();
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    __attribute__((format(gnu_printf, 2, 3))) void Print(const char* format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        const int printed = std::vfprintf(file_, format, arguments);
        va_end(arguments);
        if (printed < 0)
            Stop();
    }

    void Close() {
        if (std::fclose(file_) != 0)
            Stop();
    }

private:
    [[noreturn]] void Stop() const {
        std::fprintf(stderr, "Cannot write %s\n", name_);
        std::exit(1);
    }

    std::FILE* file_;
    const char* name_;
};

// The units that the bytes give: 1 or 2.
int Decode(unsigned codePage, const unsigned char* bytes, int length, WCHAR (&units)[2]) {
    const unsigned input = length == 1 ? bytes[0] : bytes[0] * 0x100u + bytes[1];
    WCHAR answer[4] = {};
    const int count =
        MultiByteToWideChar(codePage, 0, reinterpret_cast<const char*>(bytes), length, answer, 4);
    if (count < 1 || count > 2)
        Fail("MultiByteToWideChar gives no unit or more than two", codePage, input);
    if (count != MultiByteToWideChar(codePage, 0, reinterpret_cast<const char*>(bytes), length, nullptr, 0))
        Fail("MultiByteToWideChar asks for another number of units than it gives", codePage, input);
    units[0] = answer[0];
    units[1] = answer[1];
    return count;
}

void DumpLeadBytes(Output& output, unsigned codePage, bool (&isLead)[0x100]) {
    output.Print("lead");
    bool any = false;
    for (unsigned byte = 0; byte < 0x100; ++byte)
        isLead[byte] = IsDBCSLeadByteEx(codePage, static_cast<BYTE>(byte)) != 0;
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        if (!isLead[byte])
            continue;
        const unsigned first = byte;
        while (byte < 0xFF && isLead[byte + 1])
            ++byte;
        output.Print(" %02X-%02X", first, byte);
        any = true;
    }
    output.Print(any ? "\n" : " -\n");
}

void DumpBytes(Output& output, unsigned codePage) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const unsigned char text[1] = {static_cast<unsigned char>(byte)};
        WCHAR units[2];
        if (Decode(codePage, text, 1, units) != 1)
            Fail("A single byte gives two units", codePage, byte);
        if (byte % 0x10 == 0)
            output.Print("byte %02X", byte);
        output.Print(" %04X%s", units[0], byte % 0x10 == 0xF ? "\n" : "");
    }
}

void DumpPairs(Output& output, unsigned codePage, const bool (&isLead)[0x100]) {
    for (unsigned lead = 0; lead < 0x100; ++lead) {
        if (!isLead[lead])
            continue;
        output.Print("pair %02X", lead);
        for (unsigned second = 0; second < 0x100; ++second) {
            const unsigned char text[2] = {static_cast<unsigned char>(lead),
                                           static_cast<unsigned char>(second)};
            WCHAR units[2];
            if (Decode(codePage, text, 2, units) == 1)
                output.Print(" %04X", units[0]);
            else
                output.Print(" %04X+%04X", units[0], units[1]);
        }
        output.Print("\n");
    }
}

// The bytes of `unit` as lead byte * 100 + trail byte or as one byte; -1 where the default character was
// used.
int Encode(unsigned codePage, unsigned unit) {
    const WCHAR text[1] = {static_cast<WCHAR>(unit)};
    unsigned char bytes[4] = {};
    BOOL used = 2;
    const int count =
        WideCharToMultiByte(codePage, 0, text, 1, reinterpret_cast<char*>(bytes), 4, "?", &used);
    if (used != 0 && used != 1)
        Fail("WideCharToMultiByte does not say whether the default character was used", codePage, unit);
    if (used == 1) {
        if (count != 1 || bytes[0] != '?')
            Fail("WideCharToMultiByte uses something else than the default character", codePage, unit);
        return -1;
    }
    if (count == 1)
        return bytes[0];
    if (count == 2 && bytes[0] != 0)
        return bytes[0] * 0x100 + bytes[1];
    Fail("WideCharToMultiByte gives no character of one or two bytes", codePage, unit);
}

void DumpUnits(Output& output, unsigned codePage) {
    for (unsigned row = 0; row < 0x10000; row += 0x10) {
        int answers[0x10];
        bool any = false;
        for (unsigned column = 0; column < 0x10; ++column) {
            answers[column] = Encode(codePage, row + column);
            any = any || answers[column] >= 0;
        }
        if (!any)
            continue;
        output.Print("unit %04X", row);
        for (const int answer : answers) {
            if (answer < 0)
                output.Print(" -");
            else
                output.Print(answer < 0x100 ? " %02X" : " %04X", static_cast<unsigned>(answer));
        }
        output.Print("\n");
    }
}

void DumpCodePage(unsigned codePage) {
    char name[32];
    std::snprintf(name, sizeof name, "codepage-%u.txt", codePage);
    Output output(name);
    output.Print(
        "# What IsDBCSLeadByteEx (lead), MultiByteToWideChar (byte, pair) and WideCharToMultiByte (unit)\n"
        "# answer with flags 0 and the default character \"?\". Written by DumpCodePages.\n"
        "codepage %u\n",
        codePage);
    bool isLead[0x100];
    DumpLeadBytes(output, codePage, isLead);
    DumpBytes(output, codePage);
    DumpPairs(output, codePage, isLead);
    DumpUnits(output, codePage);
    output.Close();
}

void DumpShiftJisToJis() {
    Output output("shift-jis-to-jis.txt");
    output.Print("# What _mbcjmstojis answers. Written by DumpCodePages.\n"
                 "codepage 932\n");
    if (_setmbcp(932) != 0)
        Fail("_setmbcp refuses the code page", 932, 0);
    for (unsigned row = 0; row < 0x10000; row += 0x10) {
        unsigned answers[0x10];
        bool any = false;
        for (unsigned column = 0; column < 0x10; ++column) {
            answers[column] = _mbcjmstojis(row + column);
            any = any || answers[column] != 0;
        }
        if (!any)
            continue;
        output.Print("character %04X", row);
        for (const unsigned answer : answers) {
            if (answer == 0)
                output.Print(" -");
            else
                output.Print(" %04X", answer);
        }
        output.Print("\n");
    }
    output.Print("unchanged");
    bool any = false;
    for (const int codePage : otherCodePages) {
        if (_setmbcp(codePage) != 0)
            Fail("_setmbcp refuses the code page", static_cast<unsigned>(codePage), 0);
        bool unchanged = true;
        for (unsigned character = 0; character < 0x10000; ++character)
            unchanged = unchanged && _mbcjmstojis(character) == character;
        if (unchanged)
            output.Print(" %d", codePage);
        any = any || unchanged;
    }
    output.Print(any ? "\n" : " -\n");
    output.Close();
}

} // namespace

int main() {
    for (const unsigned codePage : codePages)
        DumpCodePage(codePage);
    DumpShiftJisToJis();
    return 0;
}
