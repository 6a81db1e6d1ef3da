// The registry of shared code page objects, one for each CODE_PAGE value and made on first request, and the
// base path under which their translation files are found.
// Thread safety: any thread may call anything at any time while an Initializer lives, within what "Requires"
// says. A call waits while another thread is making a code page.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/CodePage.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

// The shared object for `codePage`. The registry owns it. Requires: no flush (FlushCodePageCaches,
// SetBasePath, end of the last Initializer) on another thread meanwhile; where one may come, take
// GetCodePageReference instead. A caller that keeps the object beyond the next flush calls AddRef first.
//
// Throws UserErrorException for a number that is no code page (negative, above 21, 3, 5, 10, 13) or has no
// row in the catalogue (19), and CodePageConversionException for a missing or unreadable translation file;
// what a damaged file throws is a KBase::Message. The next request tries again.
KCODEPAGE_EXPORT CodePage* GetCodePage(int codePage);

// The same with a reference of the caller's own, taken in one step that no flush can split.
KCODEPAGE_EXPORT KBase::ReturnPtrI<CodePage> GetCodePageReference(int codePage);

// Drops the registry's objects and the Shift-JIS to JIS table; objects that a caller holds references on
// live on. The next request reads the translation files again; a code page that another thread was making
// meanwhile counts as such a request.
KCODEPAGE_EXPORT void FlushCodePageCaches();

// Flushes, and sets the directory of the translation files. "UseWindowsAPI", in exactly this spelling, takes
// every table from the operating system's services instead. Requires: `path` is zero-terminated.
KCODEPAGE_EXPORT void SetBasePath(const wchar16* path);

} // namespace KCodePage
