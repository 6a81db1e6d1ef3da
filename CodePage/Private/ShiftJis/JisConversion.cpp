// The conversion of Shift-JIS text, and what is told of JIS text.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Characters/StringImpl.h"
#include "CodePage/Private/ShiftJis/ShiftJisText.h"
#include "CodePage/Private/ShiftJis/ThreadJis.h"
#include "CodePage/Private/Tables/DecodeMap.h"
#include "CodePage/Private/Tables/DecodingTable.h"
#include "CodePage/ShiftJisToJis.h"
#include "Kernels/ShiftJisLoops.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace KCodePage {

namespace {

constexpr char toJIS[] = "\x1B$B";
constexpr char toASCII[] = "\x1B(B";
constexpr std::size_t escapeLength = 3;

// JIS text that grows up to a block. What is appended is counted whether or not it is allowed: callers ask
// Holds or Room first. Behind the text there is the slack of the loops.
class Block {
public:
    Block(char* place, unsigned size) noexcept : output(place), blockSize(size) {}

    // Whether `count` more bytes leave the block below its size.
    bool Holds(std::size_t count) const noexcept { return blockSize == 0 || length + count < blockSize; }

    void Append(const char* bytes, std::size_t count) noexcept {
        std::memcpy(output + length, bytes, count);
        length += count;
    }

    // Appends the first `count` of N bytes, without a branch; the others get into the slack.
    template <std::size_t N>
    void AppendFirst(const char* bytes, std::size_t count) noexcept {
        static_assert(2 * N <= Kernels::jisSlack);
        std::memcpy(output + length, bytes, N);
        length += count;
    }

    std::size_t Length() const noexcept { return length; }

    // Bytes that still leave the block below its size. Requires: it has one and is below it.
    std::size_t Room() const noexcept { return blockSize - 1 - length; }

    // Where a loop appends by itself, and what it has appended.
    unsigned char* Place() const noexcept { return reinterpret_cast<unsigned char*>(output + length); }
    void Advance(std::size_t count) noexcept { length += count; }

private:
    char* output;
    std::size_t blockSize;
    std::size_t length = 0;
};

// Behind a loop that has filled a block up to the room that it keeps for an escape sequence, single bytes may
// still fit, as many as that has. How many they are and what comes next is as good as random: all is told
// without branches, which would be guessed wrongly. Where the loop stopped earlier the result is right, too.
struct EndOfBlock {
    static constexpr std::size_t mostSingles = escapeLength;
    static constexpr std::size_t textLength = mostSingles + 2; // bytes that are looked at

    // Appends single bytes from the beginning of `text`, which has `textLength` or more.
    EndOfBlock(const char* text, const Kernels::JisTable& table, Block& block, bool& inJIS) noexcept {
        const auto byteAt = [&](std::size_t place) {
            return static_cast<unsigned char>(text[place]);
        };
        const auto leadsAt = [&](std::size_t place) {
            return table.shiftJis->rowOf[byteAt(place)] != 0;
        };
        const unsigned noSingles = (leadsAt(0) ? 1u : 0) | (leadsAt(1) ? 2u : 0) | (leadsAt(2) ? 4u : 0) | 8u;
        const std::size_t closing = inJIS ? escapeLength : 0;
        singles = std::min<std::size_t>(static_cast<unsigned>(std::countr_zero(noSingles)),
                                        block.Room() - closing); // room was kept for it
        block.AppendFirst<escapeLength>(toASCII, singles != 0 ? closing : 0);
        block.AppendFirst<mostSingles>(text, singles);
        inJIS = inJIS && singles == 0;

        const bool isPair = leadsAt(singles);
        const std::size_t needed =
            (isPair == inJIS ? 0 : escapeLength) + (isPair ? 2 + escapeLength : std::size_t{1});
        // 0 for a single byte, so that nothing far away is looked up for it.
        const unsigned pair = (byteAt(singles) * 0x100u + byteAt(singles + 1)) * unsigned{isPair};
        isFull = (!isPair | (table.codes[pair] != 0)) & !block.Holds(needed);
    }

    std::size_t singles;
    bool isFull; // the next character does not fit, and if it is a pair it has a code in the table
};

[[noreturn]] void ThrowNoJISCode(const MultiByteCharacter& pair) {
    Throw<InvalidCharacterException>(
        (KBase::WideStream() << "ShiftJisToJis::Convert - Couldn't convert to JIS code page. Character that "
                                "failed (Win code page 932): ")
            .Hexadecimal(static_cast<unsigned char>(pair.GetByte1()))
            .Hexadecimal(static_cast<unsigned char>(pair.GetByte2())));
}

} // namespace

KBase::ReturnPtrI<MultiByteString> ShiftJisToJis::Convert(const MultiByteString* input) {
    unsigned count = 0;
    return ConvertObservingBlockSize(count, 0, input);
}

// What tells the lead bytes of Shift-JIS text.
struct ShiftJisToJis::Leads {
    KBase::ReturnPtrI<CodePage> shiftJis = GetCodePageReference(SHIFT_JIS);
    KBase::SmartPtrI<const MultiByteToUnicode> decoding = GetDecodingTable(*shiftJis);
};

KBase::ReturnPtrI<MultiByteString>
ShiftJisToJis::ConvertObservingBlockSize(unsigned& count, unsigned blockSize, const MultiByteString* input) {
    count = 0;
    ShiftJisText text({input->Get(), input->Length()});
    if (text.Piece().empty()) {
        return MakeMultiByteString(nullptr, 0);
    }
    const Leads leads;
    return Convert(count, blockSize, text, leads.decoding.Get(), leads.shiftJis.Get());
}

KBase::ReturnPtrI<MultiByteString> ShiftJisToJis::ConvertByInstance(unsigned& count, unsigned blockSize,
                                                                    ShiftJisText& text) {
    count = 0;
    if (ThreadJis::IsCurrent() && !text.Piece().empty()) {
        return ThreadJis::kept.table->Convert(count, blockSize, text, ThreadJis::kept.leads, nullptr);
    }
    const std::uint64_t before = ThreadJis::changes;
    const KBase::ReturnPtrI<ShiftJisToJis> table = InstanceReference();
    if (text.Piece().empty()) {
        return MakeMultiByteString(nullptr, 0);
    }
    const Leads leads;
    if (leads.decoding && DecodeMap::Of(*leads.decoding) != nullptr) {
        ThreadJis::Keep(before, KBase::SmartPtrI<const ShiftJisToJis>(table.Get()), leads.decoding);
    }
    return table->Convert(count, blockSize, text, leads.decoding.Get(), leads.shiftJis.Get());
}

KBase::ReturnPtrI<MultiByteString> ShiftJisToJis::Convert(unsigned& count, unsigned blockSize,
                                                          ShiftJisText& text,
                                                          const MultiByteToUnicode* decoding,
                                                          const CodePage* shiftJis) const {
    // Without a map all goes character by character.
    const DecodeMap* const leads = decoding != nullptr ? DecodeMap::Of(*decoding) : nullptr;
    const Kernels::JisTable table = {leads != nullptr ? &leads->Table() : nullptr, codes.data(),
                                     irregularCodes == 0};
    Kernels::JisLoop* const loop = Kernels::ChosenJis().convert;
    const auto isLeadByte = [&](char byte) {
        return leads != nullptr ? table.shiftJis->rowOf[static_cast<unsigned char>(byte)] != 0
                                : shiftJis != nullptr && shiftJis->IsLeadingByte(byte);
    };

    std::string_view piece = text.Piece();
    const std::size_t most = piece.size() + text.Left();
    // At worst pairs and single bytes alternate, which makes nine bytes of three.
    const std::size_t worst = 3 * most + 2 * escapeLength + 2;
    const std::size_t capacity = blockSize != 0 ? std::min<std::size_t>(blockSize, worst) : worst;
    auto result = 2 * most >= capacity ? MultiByteStringImpl::CreateForBlock(capacity + Kernels::jisSlack)
                                       : MultiByteStringImpl::CreateForWriting(capacity + Kernels::jisSlack);
    Block block(result->WritingPlace(), blockSize);
    bool inJIS = false;
    for (std::size_t i = 0;;) {
        // The loop does not close its last run, and a block stays below its size.
        if (const std::size_t end = block.Length() + escapeLength + 1; leads != nullptr && end < capacity) {
            const Kernels::JisRun run =
                loop(table, inJIS, reinterpret_cast<const unsigned char*>(piece.data() + i), piece.size() - i,
                     block.Place(), capacity - end);
            i += run.consumed;
            count += static_cast<unsigned>(run.characters);
            block.Advance(run.written);
            inJIS = run.inJIS;
        }
        if (blockSize != 0 && leads != nullptr && piece.size() - i >= EndOfBlock::textLength) {
            const EndOfBlock end(piece.data() + i, table, block, inJIS);
            i += end.singles;
            count += static_cast<unsigned>(end.singles);
            if (end.isFull) {
                break;
            }
        }
        // A lead byte that ends a piece waits for its second byte.
        const bool isPending = i + 1 == piece.size() && isLeadByte(piece[i]);
        if ((isPending || i == piece.size()) && text.Left() != 0) {
            text.Next(isPending);
            piece = text.Piece();
            i = 0;
            continue;
        }
        if (i == piece.size()) {
            break;
        }
        if (isLeadByte(piece[i])) {
            // A lead byte that ends the text pairs with 00.
            const char trail = i + 1 < piece.size() ? piece[i + 1] : '\0';
            const MultiByteCharacter pair(static_cast<unsigned char>(piece[i]),
                                          static_cast<unsigned char>(trail));
            const MultiByteCharacter jis = ConvertShiftJISToJISCharSeq(pair);
            if (!jis.IsValid()) {
                ThrowNoJISCode(pair);
            }
            // With room for the escape sequence that closes the run, and for the one that opens it.
            if (!block.Holds(inJIS ? 2 + escapeLength : escapeLength + 2 + escapeLength)) {
                break;
            }
            if (!inJIS) {
                block.Append(toJIS, escapeLength);
                inJIS = true;
            }
            const char code[2] = {jis.GetByte1(), jis.GetByte2()};
            block.Append(code, sizeof code);
            i = std::min(i + 2, piece.size());
        } else {
            if (inJIS) {
                block.Append(toASCII, escapeLength); // room was kept for it
                inJIS = false;
            }
            if (!block.Holds(1)) {
                break;
            }
            block.Append(&piece[i], 1);
            i += 1;
        }
        ++count;
    }
    block.AppendFirst<escapeLength>(toASCII, escapeLength * std::size_t{inJIS});
    result->Finish(block.Length());
    return result;
}

MultiByteCharacter ShiftJisToJis::ConvertShiftJISToJISCharSeq(MultiByteCharacter sjis) const {
    if (const std::uint16_t code = codes[sjis.GetMBChar()]; code != 0) {
        return MultiByteCharacter(code, 0, 0);
    }
    const auto found = map.find(sjis.GetMBChar());
    return found != map.end() ? found->second : MultiByteCharacter();
}

bool ShiftJisToJis::IsLeadingByte(char c) const {
    return firstBytes.test(static_cast<unsigned char>(c));
}

unsigned ShiftJisToJis::GetNumberOfBytesInThisCharacter(const char* p) const {
    return IsLeadingByte(*p) ? 2 : 1;
}

bool ShiftJisToJis::IsEscapeSequence(const char* p) const {
    return std::strncmp(p, toJIS, escapeLength) == 0 || std::strncmp(p, toASCII, escapeLength) == 0;
}

unsigned ShiftJisToJis::GetNumberOfBytesInThisEscapeSequence(const char* p) const {
    return IsEscapeSequence(p) ? escapeLength : 0;
}

} // namespace KCodePage
