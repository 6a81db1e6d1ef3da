#include "Arguments.h"
#include "Charsets.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/ShiftJisToJis.h"
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

using KBase::operator""_w;

struct Options {
    std::string directory;
    std::vector<std::string> names;
};

// What to write: the tables of character sets, each once, and whether the Shift-JIS to JIS table. iso-2022-jp
// reads that and the files of shift_jis; it has no others of its own.
struct Choice {
    std::vector<Charset> charsets;
    bool shiftJisToJis = false;
};

Choice Chosen(const std::vector<std::string>& names) {
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
    Choice choice;
    for (Charset& charset : charsets) {
        if (charset.codePage == KCodePage::ISO_2022_JP) {
            choice.shiftJisToJis = true;
            charset = FindCharset("shift_jis");
        }
        const bool known =
            std::any_of(choice.charsets.begin(), choice.charsets.end(),
                        [&](const Charset& other) { return other.codePage == charset.codePage; });
        if (charset.HasTables() && !known) {
            choice.charsets.push_back(charset);
        }
    }
    return choice;
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
void Write(const Table& table, const std::string& path) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    table.Serialize(*stream);
    const auto contents = stream->GetContents();
    Output output(path);
    output.Write({contents->GetData(), contents->GetSize()});
    output.Commit();
}

template <class Table>
void WriteTable(const Charset& charset, const std::string& path) {
    const KBase::SmartPtrI<Table> table(new Table(charset.codePage, charset.windowsCodePage, '?'));
    table->ReadFromWindowsAPI();
    Write(*table, path);
}

void WriteTables(const Options& options) {
    const Choice choice = Chosen(options.names);
    LibraryPath(options.directory); // files that convert could not use are of no use
    std::error_code error;
    std::filesystem::create_directories(options.directory, error);
    if (error) {
        throw Failure("cannot create the directory " + Quoted(options.directory) + ": " + error.message());
    }
    KCodePage::SetBasePath(u"UseWindowsAPI"_w);
    Progress progress(choice.charsets.size() + (choice.shiftJisToJis ? 1 : 0));
    const std::filesystem::path directory(options.directory);
    for (const Charset& charset : choice.charsets) {
        progress.Step(charset.name);
        const std::string path = (directory / charset.name).native();
        WriteTable<KCodePage::MultiByteToUnicode>(charset, path + ".M2U");
        WriteTable<KCodePage::UnicodeToMultiByte>(charset, path + ".U2M");
    }
    if (choice.shiftJisToJis) {
        progress.Step("Shift-JIS to JIS");
        Write(*KCodePage::ShiftJisToJis::InstanceReference(), (directory / "ShiftJisToJis.SJ2J").native());
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
    command->footer("iso-2022-jp uses the files of shift_jis, and ShiftJisToJis.SJ2J, which is\n"
                    "written when it is named or nothing is.\n"
                    "\n"
                    "Example: kcodepage tables ./tables shift_jis big5");
    command->callback([options] { WriteTables(*options); });
}
