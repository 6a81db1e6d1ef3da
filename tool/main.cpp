// kcodepage: shows, checks and converts text in legacy character sets.

#include "Arguments.h"
#include "CodePage/Initializer.h"
#include "Commands.h"
#include "Failure.h"
#include "Messages.h"
#include "Streams.h"

#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

void ShowHelp(const CLI::App& app, const CLI::Success& help) {
    std::ostringstream text;
    app.exit(help, text, text);
    Output output{std::string(standardStream)};
    output.Write(text.str());
    output.Commit();
}

// What is wrong with the command line. CLI11 has no sentences for an option that is given twice, or without
// its value.
std::string Told(const CLI::ParseError& error) {
    std::string text = error.what();
    if (error.get_name() == "ArgumentMismatch") {
        const std::string option = text.substr(0, text.find(':'));
        if (text.find("At Most 1 required") != std::string::npos) {
            return option + " is given more than once";
        }
        if (text.find(": 1 required") != std::string::npos) {
            return option + " has no value";
        }
    }
    return text;
}

void Run(int argc, char** argv) {
    const KCodePage::Initializer initializer;
    CLI::App app("Converts text between legacy character sets and Unicode exactly as the Windows code page "
                 "services do, and tells what does not convert and where.",
                 "kcodepage");
    app.require_subcommand(1);
    app.set_version_flag("--version", "kcodepage " KCODEPAGE_VERSION);
    app.footer("Example: kcodepage convert --from shift_jis --to utf-8 letter.txt -o letter.utf-8.txt\n"
               "\n"
               "'kcodepage convert --help' tells more about one of them.");
    AddListCommand(app);
    AddConvertCommand(app);
    AddDetectCommand(app);
    AddTablesCommand(app);
    try {
        app.parse(Arguments(argc, argv));
    } catch (const CLI::Success& help) {
        ShowHelp(app, help);
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> unknown = app.remaining();
        const bool isUnknown = app.get_subcommands().empty() && !unknown.empty();
        const char* kind =
            isUnknown && unknown.front().starts_with('-') ? " is no option" : " is no subcommand";
        const std::string what = isUnknown ? Quoted(unknown.front()) + kind : Told(error);
        throw UsageFailure(what + " (kcodepage --help shows what there is)");
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        PrepareStreams();
        Run(argc, argv);
        return 0;
    } catch (const UsageFailure& failure) {
        Report(failure.what());
        return exitUsage;
    } catch (const ReportedFailure&) {
        return exitFailure;
    } catch (const std::bad_alloc&) {
        Report("there is not enough memory");
        return exitFailure;
    } catch (const std::exception& failure) {
        Report(failure.what());
        return exitFailure;
    }
}
