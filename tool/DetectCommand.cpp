#include "Arguments.h"
#include "CodePage/CodePageRegistry.h"
#include "Commands.h"
#include "Detection.h"
#include "Failure.h"
#include "Messages.h"
#include "Streams.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using KBase::operator""_w;

struct Options {
    bool all = false;
    bool json = false;
    std::string among; // names, with commas between them; empty for all
    std::vector<std::string> inputs;
};

struct Answer {
    std::string file;
    Detection detection;
};

std::vector<Choice> Choices(const std::string& names) {
    std::vector<Choice> choices;
    for (std::size_t start = 0, comma = 0; !names.empty() && comma != names.npos; start = comma + 1) {
        comma = names.find(',', start);
        const std::string name = names.substr(start, comma - start);
        choices.push_back({name, FindSource(name)});
    }
    return choices;
}

std::vector<Candidate> Shown(const Detection& detection, bool all) {
    return all ? detection.candidates : detection.Likely();
}

class Table {
public:
    void Add(const std::vector<std::string>& row) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Width(row[i]));
        }
        rows.push_back(row);
    }

    std::string Text() const {
        std::string text;
        for (const std::vector<std::string>& row : rows) {
            std::string line;
            for (std::size_t i = 0; i < row.size(); ++i) {
                line += row[i] + std::string(widths[i] - Width(row[i]) + 2, ' ');
            }
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
        }
        return text;
    }

private:
    // In characters: what follows the first byte of one in UTF-8 takes no room.
    static std::size_t Width(const std::string& cell) {
        return static_cast<std::size_t>(std::count_if(cell.begin(), cell.end(), [](char byte) {
            return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
        }));
    }

    std::vector<std::vector<std::string>> rows;
    std::vector<std::size_t> widths;
};

std::string Text(const std::vector<Answer>& answers, bool all) {
    Table table;
    table.Add({"file", "charset", "confidence", "language"});
    for (const Answer& answer : answers) {
        const std::vector<Candidate> shown = Shown(answer.detection, all);
        for (const Candidate& candidate : shown) {
            table.Add({Printable(answer.file), candidate.charset, std::to_string(candidate.confidence),
                       (candidate.language.empty() ? "-" : candidate.language) +
                           (candidate.standard ? "  (convert with --standard)" : "")});
        }
        if (shown.empty()) {
            table.Add({Printable(answer.file), "-", "0", "-"});
        }
    }
    return table.Text();
}

nlohmann::ordered_json Json(const Candidate& candidate) {
    nlohmann::ordered_json row;
    row["charset"] = candidate.charset;
    row["standard"] = candidate.standard;
    row["confidence"] = candidate.confidence;
    row["language"] = candidate.language.empty() ? nlohmann::ordered_json(nullptr)
                                                 : nlohmann::ordered_json(candidate.language);
    return row;
}

std::string Json(const std::vector<Answer>& answers, bool all) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Answer& answer : answers) {
        nlohmann::ordered_json row;
        row["file"] = answer.file;
        row["convincing"] = answer.detection.convincing;
        row["candidates"] = nlohmann::ordered_json::array();
        for (const Candidate& candidate : Shown(answer.detection, all)) {
            row["candidates"].push_back(Json(candidate));
        }
        list.push_back(std::move(row));
    }
    // A file's name may be any bytes, and JSON takes only UTF-8.
    return list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void Detect(const Options& options) {
    KCodePage::SetBasePath(u"UseWindowsAPI"_w);
    const std::vector<Choice> choices = Choices(options.among);
    std::vector<Answer> answers;
    bool failed = false;
    const std::vector<std::string> standardInput{std::string(standardStream)};
    for (const std::string& file : options.inputs.empty() ? standardInput : options.inputs) {
        try {
            Input input(file);
            answers.push_back({file, DetectWhole(input, choices)});
            const Detection& detection = answers.back().detection;
            if (!detection.convincing) {
                Report(input.Name() + ": no character set is convincing; " + detection.Doubt());
                failed = true;
            }
        } catch (const Failure& failure) {
            Report(failure.what());
            failed = true;
        }
    }
    Output output{std::string(standardStream)};
    output.Write(options.json ? Json(answers, options.all) : Text(answers, options.all));
    output.Commit();
    if (failed) {
        throw ReportedFailure("a file has no convincing answer");
    }
}

constexpr const char* notes =
    "Each FILE gets one line: its character set, how sure that is (100 is certain,\n"
    "and below 80 nothing is convincing), and its language where the characters tell.\n"
    "A file without a convincing answer gets a line for each of the best candidates.\n"
    "'-' is standard input.\n"
    "\n"
    "Exit status: 0 each file has a convincing answer, 1 one has none or cannot be\n"
    "read, 2 a wrong command line.\n"
    "\n"
    "Example: kcodepage detect --candidates shift_jis,euc-kr letter.txt";

} // namespace

void AddDetectCommand(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("detect", "Tell which character set texts are in");
    command->add_flag("--all", options->all, "Show every candidate");
    command->add_option("--candidates", options->among, "Choose among these character sets only")
        ->check(NotEmpty())
        ->type_name("NAME,...");
    command->add_flag("--json", options->json, "The same as JSON");
    command->add_option("FILE", options->inputs, "Files to read instead of standard input")
        ->check(NotEmpty())
        ->type_name("");
    command->footer(notes);
    command->callback([options] { Detect(*options); });
}
