#include "CodePage/ShiftJisToJis.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"

namespace KCodePage {

namespace {

[[noreturn]] void ThrowNotSupported() {
    Throw<UserErrorException>(KBase::WideStream() << "The character set is not supported: iso-2022-jp");
}

} // namespace

ShiftJisToJis* ShiftJisToJis::Instance() {
    ThrowNotSupported();
}

void ShiftJisToJis::Flush() {}

KBase::ReturnPtrI<MultiByteString> ShiftJisToJis::ConvertObservingBlockSize(unsigned&, unsigned,
                                                                            const MultiByteString*) {
    ThrowNotSupported();
}

KBase::ReturnPtrI<MultiByteString> ShiftJisToJis::Convert(const MultiByteString*) {
    ThrowNotSupported();
}

bool ShiftJisToJis::IsLeadingByte(char) const {
    ThrowNotSupported();
}

unsigned ShiftJisToJis::GetNumberOfBytesInThisCharacter(const char*) const {
    ThrowNotSupported();
}

bool ShiftJisToJis::IsEscapeSequence(const char*) const {
    ThrowNotSupported();
}

unsigned ShiftJisToJis::GetNumberOfBytesInThisEscapeSequence(const char*) const {
    ThrowNotSupported();
}

} // namespace KCodePage
