// Reading the input and writing the output of a conversion. Files are named by their native bytes.

#pragma once

#include <string>

// The whole of a file, or of standard input for an empty name. Throws Failure.
std::string ReadInput(const std::string& file);

// Writes a file, or standard output for an empty name. A file is written beside and renamed into place when
// all of it is there, so that a failure leaves the old one as it was. Throws Failure.
void WriteOutput(const std::string& file, const std::string& bytes);
