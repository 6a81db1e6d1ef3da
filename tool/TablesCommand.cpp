#include "Charsets.h"
#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "Commands.h"
#include "Failure.h"
#include "KBase/ReferenceCounted.h"
#include "Text.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace {

struct Options {
    std::string directory;
    std::vector<std::string> names;
};

template <class Table>
void WriteTable(KCodePage::CODE_PAGE codePage, unsigned windowsCodePage) {
    const KBase::SmartPtrI<Table> table(new Table(codePage, windowsCodePage, '?'));
    table->ReadFromWindowsAPI();
    table->WriteToFile(KCodePage::CodePageImpl::CreateFileName(codePage, table.Get()).c_str());
}

void WriteTables(const Options& options) {
    std::vector<Charset> charsets;
    for (const std::string& name : options.names) {
        charsets.push_back(FindCharset(name));
        if (!HasTables(charsets.back())) {
            throw Failure("the character set '" + charsets.back().name + "' has no tables");
        }
    }
    if (options.names.empty()) {
        charsets = Catalogue();
    }
    std::error_code error;
    std::filesystem::create_directories(options.directory, error);
    if (error) {
        throw Failure("cannot create the directory '" + options.directory + "': " + error.message());
    }
    KCodePage::SetBasePath(LibraryPath(options.directory).c_str());
    std::set<KCodePage::CODE_PAGE> written;
    for (const Charset& charset : charsets) {
        if (!HasTables(charset)) {
            continue;
        }
        // iso-2022-jp reads the files of shift_jis; it has none of its own.
        const KCodePage::CODE_PAGE codePage =
            charset.codePage == KCodePage::ISO_2022_JP ? KCodePage::SHIFT_JIS : *charset.codePage;
        if (written.insert(codePage).second) {
            WriteTable<KCodePage::MultiByteToUnicode>(codePage, charset.windowsCodePage);
            WriteTable<KCodePage::UnicodeToMultiByte>(codePage, charset.windowsCodePage);
        }
    }
}

} // namespace

void AddTablesCommand(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("tables", "Write the translation files, for use with convert --base-path");
    command->add_option("DIR", options->directory, "Directory to write into; made if missing")
        ->required()
        ->type_name("");
    command
        ->add_option("NAME", options->names, "Character sets whose tables to write; all when none is named")
        ->type_name("");
    command->footer("Example: kcodepage tables ./tables shift_jis big5");
    command->callback([options] { WriteTables(*options); });
}
