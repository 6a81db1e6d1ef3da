#include "Arguments.h"
#include "Charsets.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "Commands.h"
#include "Failure.h"
#include "KBase/ReferenceCounted.h"
#include "KSerialization/Streams.h"
#include "LibraryPath.h"
#include "Messages.h"
#include "Streams.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace {

struct Options {
    std::string directory;
    std::vector<std::string> names;
};

// The character sets whose files to write, each once. iso-2022-jp reads the files of shift_jis; it has none
// of its own.
std::vector<Charset> Chosen(const std::vector<std::string>& names) {
    std::vector<Charset> charsets;
    for (const std::string& name : names) {
        charsets.push_back(FindCharset(name));
        if (!charsets.back().HasTables()) {
            throw UsageFailure("the character set " + charsets.back().name +
                               " needs no tables: there are none to write");
        }
    }
    if (names.empty()) {
        charsets = Catalogue();
    }
    std::vector<Charset> chosen;
    for (Charset& charset : charsets) {
        if (charset.codePage == KCodePage::ISO_2022_JP) {
            charset = FindCharset("shift_jis");
        }
        const bool known = std::any_of(chosen.begin(), chosen.end(), [&](const Charset& other) {
            return other.codePage == charset.codePage;
        });
        if (charset.HasTables() && !known) {
            chosen.push_back(charset);
        }
    }
    return chosen;
}

// A progress line, where somebody watches.
class Progress {
public:
    explicit Progress(std::size_t steps) : total(steps), isShown(StandardErrorIsTerminal()) {}
    Progress(const Progress&) = delete; // one line
    Progress& operator=(const Progress&) = delete;
    ~Progress() { Show("\r\x1B[K"); }

    void Step(const std::string& what) {
        ++step;
        Show("\r\x1B[Kkcodepage: " + what + " (" + std::to_string(step) + " of " + std::to_string(total) +
             ")");
    }

private:
    void Show(const std::string& text) const noexcept {
        if (isShown) {
            WriteToStandardError(text);
        }
    }

    std::size_t step = 0;
    std::size_t total;
    bool isShown;
};

template <class Table>
void WriteTable(const Charset& charset, const std::string& path) {
    const KBase::SmartPtrI<Table> table(new Table(charset.codePage, charset.windowsCodePage, '?'));
    table->ReadFromWindowsAPI();
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    table->Serialize(*stream);
    const auto contents = stream->GetContents();
    Output output(path);
    output.Write({contents->GetData(), contents->GetSize()});
    output.Commit();
}

void WriteTables(const Options& options) {
    const std::vector<Charset> charsets = Chosen(options.names);
    LibraryPath(options.directory); // files that convert could not use are of no use
    std::error_code error;
    std::filesystem::create_directories(options.directory, error);
    if (error) {
        throw Failure("cannot create the directory " + Quoted(options.directory) + ": " + error.message());
    }
    Progress progress(charsets.size());
    for (const Charset& charset : charsets) {
        progress.Step(charset.name);
        const std::string path = (std::filesystem::path(options.directory) / charset.name).native();
        WriteTable<KCodePage::MultiByteToUnicode>(charset, path + ".M2U");
        WriteTable<KCodePage::UnicodeToMultiByte>(charset, path + ".U2M");
    }
}

} // namespace

void AddTablesCommand(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("tables", "Write the translation files, for use with convert --base-path");
    command->add_option("DIR", options->directory, "Directory to write into; made if missing")
        ->required()
        ->check(NotEmpty())
        ->type_name("");
    command
        ->add_option("NAME", options->names, "Character sets whose tables to write; all when none is named")
        ->type_name("");
    command->footer("iso-2022-jp has no files of its own: it uses those of shift_jis.\n"
                    "\n"
                    "Example: kcodepage tables ./tables shift_jis big5");
    command->callback([options] { WriteTables(*options); });
}
