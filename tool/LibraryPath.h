// A directory given on the command line, as the library takes it.

#pragma once

#include "KBase/WideString.h"

#include <string>

// Throws Failure where the library cannot express it: it takes UTF-16, and a backslash separates names.
KBase::WideString LibraryPath(const std::string& path);
