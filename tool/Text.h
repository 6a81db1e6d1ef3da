// Decoding bytes of a character set to UTF-16, and encoding them back.

#pragma once

#include "Charsets.h"
#include "KBase/WideString.h"

#include <string>

// Both throw Failure or KBase::Message at the first character that does not convert.
KBase::WideString Decode(const Charset& from, const std::string& bytes);
std::string Encode(const Charset& to, const KBase::WideString& text);

// A path given on the command line, which is UTF-8, as the library takes it. Throws Failure where it cannot
// be expressed there.
KBase::WideString LibraryPath(const std::string& path);
