// The command line, before and besides what CLI11 makes of it.

#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

// The arguments behind the program's name, last one first, as CLI11 takes them. Throws UsageFailure for an
// option that ends in "=": CLI11 would take the next argument for its value.
std::vector<std::string> Arguments(int argc, char** argv);

// Refuses an empty value: an empty variable in a script is a mistake, not a name.
CLI::Validator NotEmpty();
