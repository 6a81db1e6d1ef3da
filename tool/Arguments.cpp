#include "Arguments.h"

#include "Failure.h"
#include "Messages.h"

#include <algorithm>

std::vector<std::string> Arguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    bool options = true;
    for (std::string& argument : arguments) {
        options = options && argument != "--";
        if (options && argument.starts_with("--") && argument.ends_with('=')) {
            throw UsageFailure(Quoted(argument) + " has no value");
        }
        // CLI11 takes "[a,b]" for the list of a and b. To everybody else this is the same file.
        if (argument.starts_with('[')) {
            argument.insert(0, "./");
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

CLI::Validator NotEmpty() {
    return CLI::Validator([](std::string& value) { return value.empty() ? "is empty" : ""; }, "");
}
