// kcodepage: shows, checks and converts text in legacy character sets.

#include "CodePage/Initializer.h"
#include "Commands.h"

#include <cstdio>
#include <exception>
#include <string>

namespace {

constexpr int exitFailure = 1;

// One line: what failed, without the control characters that a name or an inner message may hold.
void Report(const std::string& what) {
    std::string line = "kcodepage: " + what;
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            c = ' ';
        }
    }
    std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace

int main(int argc, char** argv) {
    try {
        const KCodePage::Initializer initializer;
        CLI::App app(
            "Converts text between legacy character sets and Unicode exactly as the Windows code page "
            "services do.",
            "kcodepage");
        app.require_subcommand(1);
        AddListCommand(app);
        AddConvertCommand(app);
        AddTablesCommand(app);
        try {
            app.parse(argc, argv);
        } catch (const CLI::Success& help) {
            return app.exit(help);
        } catch (const CLI::ParseError& error) {
            Report(std::string(error.what()) + " (kcodepage --help shows what there is)");
            return exitFailure;
        }
        return 0;
    } catch (const std::exception& failure) {
        Report(failure.what());
        return exitFailure;
    }
}
