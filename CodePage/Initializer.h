// Initializer: the use of the library by one client.

#pragma once

#include "KBase/Export.h"

namespace KCodePage {

// Construct one before any other call to the library and destroy it when done. The first one builds the
// state that all share; when the last one goes the state goes: registry, tables, list of names, base path.
// Copying one counts a use of its own.
// Thread safety: may be constructed and destroyed on any thread at any time.
class KCODEPAGE_EXPORT Initializer {
public:
    // Throws what building the state throws; nothing is then counted.
    Initializer();
    Initializer(const Initializer&);
    Initializer& operator=(const Initializer&) = default;
    ~Initializer();
};

} // namespace KCodePage
