// Shell: runs a line of the shell, for what needs one: limits, pipelines, signals. $K is the command.

#pragma once

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

struct ShellOutcome {
    int status = 0; // the exit status; 1000 and the signal's number where a signal ended it
    std::string output;
};

inline ShellOutcome RunShell(const std::string& directory, const std::string& line) {
    setenv("K", KCODEPAGE_COMMAND, 1);
    setenv("DIRECTORY", directory.c_str(), 1);
    std::FILE* pipe = popen(("cd \"$DIRECTORY\" && { " + line + "\n}").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot start a shell");
    }
    ShellOutcome outcome;
    char buffer[4096];
    for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        outcome.output.append(buffer, count);
    }
    const int status = pclose(pipe);
    outcome.status = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
    return outcome;
}
