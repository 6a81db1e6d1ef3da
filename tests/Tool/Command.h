// Command: runs kcodepage as a user does, in a process of its own behind pipes, and tells what came out.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Outcome {
    int status = 0; // the exit status; 1000 and the signal's number where a signal ended it
    std::string output;
    std::string errors;
};

// Runs the command with `arguments`, `input` on its standard input, in `directory` (empty: the current one).
// Input and both outputs may have any size. Throws std::runtime_error where the command cannot be started.
Outcome RunCommand(const std::vector<std::string>& arguments, const std::string& input = {},
                   const std::filesystem::path& directory = {});

// The same without a pipe to its standard output: that is `outputFile`.
Outcome RunCommandInto(const std::filesystem::path& outputFile, const std::vector<std::string>& arguments,
                       const std::string& input = {});

// `errors` without the lines that say where the standard of an iso-8859 name and its code page part.
std::string WithoutRemarks(const std::string& errors);
