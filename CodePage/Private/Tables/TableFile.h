// The frame that the translation files of all tables share: the whole file is one serialized table.
// Thread safety: no shared state; concurrent use of one file is the caller's affair.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "KBase/ReturnPtr.h"
#include "KBase/WideString.h"
#include "KSerialization/Streams.h"

#include <functional>

namespace KCodePage {

// Reads the whole file. A KBase::Message of the file layer becomes a CodePageConversionException with its
// domain and id, whose text is `lead`, a line feed and the message's own text.
KBase::ReturnPtr<KSerialization::ReadDataStream> ReadTableFile(const wchar16* fileName, KBase::WideView lead);

// Writes what `serialize` puts into the stream as the whole file, and commits it to disk. Failures as above;
// the file may then be left partly written.
void WriteTableFile(const wchar16* fileName, KBase::WideView lead,
                    const std::function<void(KSerialization::WriteDataStream&)>& serialize);

// "Can't open the CodePage translation file: " and its sibling, each with the Windows number behind it.
KBase::WideString CannotOpenTableFile(unsigned int windowsCodePage);
KBase::WideString ErrorWhileAccessingTableFile(unsigned int windowsCodePage);

} // namespace KCodePage
