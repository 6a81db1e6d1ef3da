#include "Charsets.h"
#include "CodePage/CodePageRegistry.h"
#include "Commands.h"
#include "Files.h"
#include "KBase/WideString.h"
#include "Text.h"

#include <memory>
#include <string>

namespace {

using KBase::operator""_w;

struct Options {
    std::string from;
    std::string to;
    std::string basePath;
    std::string output;
    std::string input;
};

void Convert(const Options& options) {
    const Charset from = FindCharset(options.from);
    const Charset to = FindCharset(options.to);
    KCodePage::SetBasePath(
        (options.basePath.empty() ? KBase::WideString(u"UseWindowsAPI"_w) : LibraryPath(options.basePath))
            .c_str());
    WriteOutput(options.output, Encode(to, Decode(from, ReadInput(options.input))));
}

} // namespace

void AddConvertCommand(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("convert", "Convert a text from one character set to another");
    command->add_option("--from", options->from, "Character set of the input")->required()->type_name("NAME");
    command->add_option("--to", options->to, "Character set of the output")->required()->type_name("NAME");
    command
        ->add_option("--base-path", options->basePath,
                     "Directory of translation files to use instead of the operating system's tables")
        ->type_name("DIR");
    command->add_option("-o,--output", options->output, "File to write instead of standard output")
        ->type_name("FILE");
    command->add_option("FILE", options->input, "File to read instead of standard input")->type_name("");
    command->footer("Example: kcodepage convert --from shift_jis --to utf-8 letter.txt -o letter.utf-8.txt");
    command->callback([options] { Convert(*options); });
}
