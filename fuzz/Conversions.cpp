// Texts through the code pages. The first byte chooses the code page, the second the route (bit 0: decode or
// encode; bit 1: the table or the shared code page object; bit 2: whether to substitute), the third the block
// size; the rest is the text.

#include "FuzzTarget.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/JisTables.h"
#include "CodePage/TableOperations.h"
#include "KBase/UTF8Routines.h"

#include <algorithm>
#include <map>
#include <memory>

namespace {

using namespace KCodePage;
using TableOperations::Require;

struct Page {
    int codePage;
    unsigned windowsCodePage;
    bool isDoubleByte;
};

constexpr Page pages[] = {{0, 0, false},    {1, 1252, false}, {2, 1250, false},   {4, 1257, false},
                          {6, 1256, false}, {7, 1253, false}, {8, 1255, false},   {9, 1254, false},
                          {11, 932, true},  {14, 949, true},  {15, 20866, false}, {16, 936, true},
                          {17, 950, true},  {18, 874, false}, {20, 65001, false}, {12, 932, true}};

// The tables of one page, and the slow ones that hold the same.
struct Tables {
    explicit Tables(const Page& page)
        : decoding(new MultiByteToUnicode(static_cast<CODE_PAGE>(page.codePage), page.windowsCodePage, '?')),
          encoding(new UnicodeToMultiByte(static_cast<CODE_PAGE>(page.codePage), page.windowsCodePage, '?')) {
        decoding->ReadFromWindowsAPI();
        encoding->ReadFromWindowsAPI();
        slowDecoder = *SlowTables::Decoder::Parse(SerializedTables::Written(*decoding));
        slowEncoder = *SlowTables::Encoder::Parse(SerializedTables::Written(*encoding));
    }

    KBase::ReturnPtrI<MultiByteToUnicode> decoding;
    KBase::ReturnPtrI<UnicodeToMultiByte> encoding;
    SlowTables::Decoder slowDecoder;
    SlowTables::Encoder slowEncoder;
};

const Tables& TablesOf(const Page& page) {
    static std::map<int, std::unique_ptr<Tables>> made;
    std::unique_ptr<Tables>& tables = made[page.codePage];
    if (!tables) {
        tables = std::make_unique<Tables>(page);
    }
    return *tables;
}

CodePage& ObjectOf(const Page& page) {
    static const Initializer initializer;
    static const bool fromServices = [] {
        const KBase::WideString path = {'U', 's', 'e', 'W', 'i', 'n', 'd', 'o', 'w', 's', 'A', 'P', 'I'};
        SetBasePath(path.c_str());
        return true;
    }();
    Require(fromServices, "no base path");
    return *GetCodePage(page.codePage);
}

// The whole text in blocks of one size; where a block takes nothing, as far as it went.
KBase::WideString BlocksJoined(CodePage& object, KBase::WideView text, unsigned blockSize, bool substitute,
                               std::string& joined) {
    while (!text.empty()) {
        const ExactBuffer<KBase::wchar16> input(text);
        unsigned consumed = 0;
        const auto block = object.ConvertToMultiByteObservingBlockSize(consumed, blockSize, input.Get(),
                                                                       static_cast<unsigned>(input.Size()),
                                                                       TableResults::Mode(substitute));
        Require(block->Length() <= blockSize, "a block is too long");
        Require(consumed <= text.size(), "more was consumed than there is");
        if (consumed == 0) {
            Require(block->Length() == 0, "bytes came from nothing");
            break;
        }
        joined.append(block->Get(), block->Length());
        text.remove_prefix(consumed);
    }
    return KBase::WideString(text);
}

void ThroughTable(const Page& page, std::string_view bytes, KBase::WideView units, bool decode,
                  bool substitute, unsigned blockSize) {
    const Tables& tables = TablesOf(page);
    if (decode) {
        Require(TableResults::Decode(*tables.decoding, bytes, substitute) ==
                    tables.slowDecoder.Convert(bytes, substitute),
                "a decoded text differs");
    } else {
        Require(TableResults::Encode(*tables.encoding, units, blockSize, substitute) ==
                    tables.slowEncoder.Convert(units, blockSize, substitute),
                "an encoded text differs");
    }
}

void ThroughObject(const Page& page, std::string_view bytes, KBase::WideView units, bool decode,
                   bool substitute, unsigned blockSize) {
    CodePage& object = ObjectOf(page);
    const bool isUTF8 = page.codePage == 20;
    try {
        if (decode) {
            // utf-8 reads up to a zero byte.
            const std::string terminated = isUTF8 ? std::string(bytes) + '\0' : std::string(bytes);
            const ExactBuffer<char> input(terminated);
            const auto decoded = object.ConvertToUnicode(input.Get(), static_cast<unsigned>(bytes.size()),
                                                         TableResults::Mode(substitute));
            if (!isUTF8 && substitute) {
                const KBase::WideString expected = TablesOf(page).slowDecoder.Convert(bytes, true).units;
                Require(decoded->IsEqual(expected.data(), static_cast<unsigned>(expected.size())),
                        "a code page decodes something else");
            }
            return;
        }
        const ExactBuffer<KBase::wchar16> input(units);
        const auto whole = object.ConvertToMultiByte(input.Get(), static_cast<unsigned>(input.Size()),
                                                     TableResults::Mode(substitute));
        std::string joined;
        const auto left = BlocksJoined(object, units, blockSize, substitute, joined);
        const std::string all(whole->Get(), whole->Length());
        // utf-8 in blocks goes unit by unit, which splits pairs of surrogates and ends at a zero unit.
        const bool isPlain = std::none_of(
            units.begin(), units.end(), [](unsigned unit) { return unit == 0 || (unit & 0xF800) == 0xD800; });
        if (isUTF8 && !isPlain) {
            return;
        }
        Require(all.starts_with(joined), "joined blocks are not the beginning of the whole");
        const unsigned least = isUTF8 ? 4 : page.isDoubleByte ? 2 : 1;
        Require(blockSize < least || (left.empty() && joined == all), "joined blocks are not the whole");
    } catch (const KBase::Message&) {
        Require(!substitute || isUTF8, "a substituting conversion throws");
    }
}

// The steps by which iso-2022-jp is made of shift_jis, in a slow form.
const JisTables::Slow& SlowJis() {
    static const JisTables::Slow slow = [] {
        JisTables::Slow made;
        made.Read(*JisTables::Parse(SerializedTables::Written(*ShiftJisToJis::InstanceReference())));
        const auto shiftJis = GetCodePageReference(SHIFT_JIS);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            made.isLeadByte[byte] = shiftJis->IsLeadingByte(static_cast<char>(byte));
        }
        return made;
    }();
    return slow;
}

// iso-2022-jp encodes, and is scanned; it does not decode.
void ThroughJis(const Page& page, const std::string& bytes, KBase::WideView units, bool decode,
                bool substitute, unsigned blockSize) {
    CodePage& object = ObjectOf(page);
    if (decode) {
        for (std::size_t i = 0; i <= bytes.size(); ++i) {
            const ExactBuffer<char> rest(bytes.substr(i) + '\0');
            const std::string_view next(rest.Get());
            const bool isEscape = next.starts_with("\x1B$B") || next.starts_with("\x1B(B");
            Require(object.IsEscapeSequence(rest.Get()) == isEscape, "an escape sequence differs");
            Require(object.GetNumberOfBytesInThisEscapeSequence(rest.Get()) == (isEscape ? 3u : 0u),
                    "the length of an escape sequence differs");
            Require(object.IsLeadingByte(*rest.Get()) ==
                        SlowJis().isFirstByte[static_cast<unsigned char>(*rest.Get())],
                    "a lead byte differs");
        }
        return;
    }
    for (const unsigned limit : {0u, blockSize}) {
        const auto shiftJis = TablesOf(page).slowEncoder.Convert(units, limit, substitute);
        const auto expected = SlowJis().Convert(shiftJis.bytes, limit);
        const ExactBuffer<KBase::wchar16> input(units);
        try {
            unsigned consumed = 0;
            const auto encoded = object.ConvertToMultiByteObservingBlockSize(
                consumed, limit, input.Get(), static_cast<unsigned>(input.Size()),
                TableResults::Mode(substitute));
            Require(!shiftJis.shown && expected.failure.empty(), "a text converts that should not");
            Require(encoded->IsEqual(expected.bytes.data(), static_cast<unsigned>(expected.bytes.size())),
                    "a text becomes something else");
            Require(consumed == (limit == 0 ? 0 : expected.count), "a count differs");
        } catch (const InvalidCharacterException&) {
            Require(shiftJis.shown || !expected.failure.empty(), "a text is refused");
        }
    }
}

void ThroughUTF8Routines(std::string_view bytes) {
    const ExactBuffer<char> input(bytes);
    const KBase::WideString units = KBase::UTF8ToWideCharUsingLength(input.Get(), input.Size(), true);
    const ExactBuffer<KBase::wchar16> exact(units);
    const std::string again = KBase::WideCharToUTF8UsingLength(exact.Get(), exact.Size(), false);
    Require(KBase::UTF8ToWideCharUsingLength(again.data(), again.size(), false) == units,
            "decoded text does not survive a round trip");
    try {
        KBase::UTF8ToWideCharUsingLength(input.Get(), input.Size(), false);
        Require(again == bytes, "well-formed bytes change");
    } catch (const KBase::Message&) {
        Require(again != bytes, "well-formed bytes are refused");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const Page& page = pages[data[0] % std::size(pages)];
    const bool decode = (data[1] & 1) != 0;
    const bool throughTable = (data[1] & 2) != 0;
    const bool substitute = (data[1] & 4) != 0;
    const unsigned blockSize = data[2];
    const std::string bytes(data + 3, data + size);
    KBase::WideString units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units.push_back(static_cast<KBase::wchar16>(static_cast<unsigned char>(bytes[i]) |
                                                    static_cast<unsigned char>(bytes[i + 1]) << 8));
    }
    ThroughUTF8Routines(bytes);
    if (page.codePage == 12) {
        ThroughJis(page, bytes, units, decode, substitute, blockSize == 0 ? 256 : blockSize);
    } else if (throughTable && page.codePage != 20) {
        ThroughTable(page, bytes, units, decode, substitute, blockSize);
    } else {
        ThroughObject(page, bytes, units, decode, substitute, blockSize == 0 ? 256 : blockSize);
    }
    return 0;
}
