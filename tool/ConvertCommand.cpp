#include "Arguments.h"
#include "Charsets.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/ShiftJisToJis.h"
#include "Commands.h"
#include "Conversion.h"
#include "Detection.h"
#include "Failure.h"
#include "KBase/Message.h"
#include "LibraryPath.h"
#include "Messages.h"
#include "Streams.h"

#include <memory>
#include <string>
#include <vector>

namespace {

using KBase::operator""_w;

constexpr const char* automatic = "auto";

struct Options {
    std::string from;
    std::string to;
    std::string basePath; // empty for the operating system's tables
    std::string output{standardStream};
    std::vector<std::string> inputs;
    bool standard = false;
    Conversion::Policy policy;
};

// Makes the tables of `charset` come from the directory, where the library finds them from then on.
void LoadTables(const Charset& charset, const std::string& directory) {
    try {
        KCodePage::GetCodePageReference(charset.codePage);
        if (charset.codePage == KCodePage::ISO_2022_JP) {
            KCodePage::ShiftJisToJis::InstanceReference();
        }
    } catch (const KBase::Message& cause) {
        throw Failure("the translation files of " + charset.name + " in " + Quoted(directory) +
                      " cannot be used; 'kcodepage tables' writes them: " + cause.what());
    }
}

void SetTables(const Options& options, const Charset& from, const Charset& to) {
    if (options.basePath.empty()) {
        KCodePage::SetBasePath(u"UseWindowsAPI"_w);
        return;
    }
    KCodePage::SetBasePath(LibraryPath(options.basePath).c_str());
    for (const Charset& charset : {from, to}) {
        if (charset.HasTables()) {
            LoadTables(charset, options.basePath);
        }
    }
}

Charset Source(const Options& options) {
    if (options.from == automatic && options.standard) {
        throw UsageFailure("--standard needs a name in --from, not auto");
    }
    // With auto, until the first text is detected.
    Charset charset = FindSource(options.from == automatic ? "utf-8" : options.from);
    if (!options.standard) {
        return charset;
    }
    if (charset.standard.empty()) {
        throw UsageFailure("--standard is for the names in --from that promise a standard and stand for a "
                           "Windows code page (iso-8859-1, -2, -4, -6, -7, -9); " +
                           Quoted(options.from) + " is none of them: leave --standard out");
    }
    return StandardOf(charset);
}

// What `input` is in, which is told. Throws Failure where nothing is convincing.
Charset Detected(Input& input) {
    KCodePage::SetBasePath(u"UseWindowsAPI"_w); // the texts do not tell which tables are to convert them
    const Detection detection = DetectAhead(input);
    if (!detection.convincing) {
        throw Failure(input.Name() + ": no character set is convincing; name one in --from; " +
                      detection.Doubt());
    }
    const Candidate& found = detection.candidates.front();
    Report(input.Name() + ": detected " + found.charset + " (" + found.Sureness() + ")");
    return FindSource(found.source.empty() ? found.charset : found.source);
}

void Convert(const Options& options) {
    const bool detects = options.from == automatic;
    const Charset to = FindTarget(options.to);
    const Charset from = Source(options);
    SetTables(options, from, to);
    Conversion conversion(from, to, options.policy);
    const auto remark = [&] {
        for (const std::string& line : conversion.Remarks()) {
            Report(line);
        }
    };
    Output output(options.output);
    const std::vector<std::string> standardInput{std::string(standardStream)};
    try {
        for (const std::string& file : options.inputs.empty() ? standardInput : options.inputs) {
            Input input(file);
            output.RequireApartFrom(input);
            if (detects) {
                const Charset found = Detected(input);
                SetTables(options, found, to);
                conversion.ReadFrom(found);
            }
            conversion.Convert(input, output);
        }
        output.Commit();
    } catch (...) {
        if (options.output == standardStream) {
            remark(); // what was replaced is out already
        }
        throw;
    }
    remark();
}

constexpr const char* notes =
    "NAME is a name that 'kcodepage list' shows, in any letter case, or utf-16le,\n"
    "utf-16be or utf-16; for --from also any that ICU knows, such as euc-jp. From\n"
    "utf-16 the byte order mark tells the order, without one it is little-endian; to\n"
    "utf-16 is little-endian with a mark. us-ascii is 7-bit. In the other code pages\n"
    "and in utf-8 a mark is text and is kept. iso-2022-jp is read by ICU; written, it\n"
    "is 7-bit: half-width katakana and the IBM extensions have no counterpart.\n"
    "\n"
    "iso-8859-1, -2, -4, -6, -7 and -9 are converted as the Windows code pages 1252,\n"
    "1250, 1257, 1256, 1253 and 1254. Where a text has bytes that the standard reads\n"
    "otherwise, this is said on standard error; --standard decodes by the standard.\n"
    "\n"
    "--from auto detects the character set of each FILE, tells it on standard error, and\n"
    "stops where nothing is convincing ('kcodepage detect' tells more).\n"
    "\n"
    "The first character without an exact counterpart stops the conversion; the\n"
    "message names its file, line, byte offset and bytes. Each FILE is a text of its\n"
    "own; '-' is standard input. -o FILE is replaced only when everything went well,\n"
    "so that a file may be converted onto itself.\n"
    "\n"
    "Lines are counted by the line feeds of the converted text.\n"
    "\n"
    "Exit status: 0 all converted (with --substitute also when something was\n"
    "replaced), 1 a character, file or device failed, 2 a wrong command line.\n"
    "\n"
    "Example: kcodepage convert --from shift_jis --to utf-8 letter.txt -o new.txt";

} // namespace

void AddConvertCommand(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("convert", "Convert texts from one character set to another");
    command->add_option("--from", options->from, "Character set of the input")->required()->type_name("NAME");
    command->add_option("--to", options->to, "Character set of the output")->required()->type_name("NAME");
    command->add_option("--base-path", options->basePath, "Translation files to use, not the system's tables")
        ->check(NotEmpty())
        ->type_name("DIR");
    command->add_option("-o,--output", options->output, "File to write instead of standard output")
        ->check(NotEmpty())
        ->type_name("FILE");
    command->add_flag("--best-fit", options->policy.allowBestFit,
                      "Take the code page's best fit for characters it does not have");
    command->add_flag("--substitute", options->policy.substitute,
                      "Put ? (U+FFFD in Unicode) for what does not convert, and count");
    command->add_flag("--standard", options->standard,
                      "Decode an iso-8859 name by the ISO standard, not as Windows does");
    command->add_option("FILE", options->inputs, "Files to read instead of standard input")
        ->check(NotEmpty())
        ->type_name("");
    command->footer(notes);
    command->callback([options] { Convert(*options); });
}
