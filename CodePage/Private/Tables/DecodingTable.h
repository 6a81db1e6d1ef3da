// The decoding table of a code page. Declared here and defined in the core, where the registry's code pages
// are made.

#pragma once

#include "CodePage/CodePage.h"
#include "CodePage/MultiByteToUnicode.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

// The table that `codePage` decodes with now; null where it has none. Requires: the registry made
// `codePage`. Thread safety: any thread at any time.
KBase::SmartPtrI<const MultiByteToUnicode> GetDecodingTable(const CodePage& codePage);

} // namespace KCodePage
