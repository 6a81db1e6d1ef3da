#include "Charsets.h"
#include "Commands.h"
#include "Streams.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>

namespace {

std::string YesOrNo(bool value) {
    return value ? "yes" : "no";
}

std::string Bytes(const Charset& charset) {
    const auto length = LengthOfCharacters(charset);
    if (!length) {
        return "-";
    }
    return length->maximum == 1 ? "1" : "1-" + std::to_string(length->maximum);
}

std::string Row(const std::string& number, const std::string& name, const std::string& windows,
                const std::string& bytes, const std::string& decodes, const std::string& encodes,
                const std::string& aliases) {
    char columns[128];
    std::snprintf(columns, sizeof columns, "%6s %-14s %7s %5s %-7s %-7s", number.c_str(), name.c_str(),
                  windows.c_str(), bytes.c_str(), decodes.c_str(), encodes.c_str());
    std::string row = columns + (aliases.empty() ? "" : " " + aliases);
    row.erase(row.find_last_not_of(' ') + 1);
    return row + "\n";
}

std::string Table() {
    std::string table = Row("number", "name", "Windows", "bytes", "decodes", "encodes", "aliases");
    for (const Charset& charset : Catalogue()) {
        std::string aliases;
        for (const std::string& alias : AliasesOf(charset)) {
            aliases += (aliases.empty() ? "" : ", ") + alias;
        }
        table += Row(std::to_string(static_cast<int>(charset.codePage)), charset.name,
                     std::to_string(charset.windowsCodePage), Bytes(charset), YesOrNo(charset.Decodes()),
                     YesOrNo(charset.Encodes()), aliases);
    }
    return table;
}

std::string Json() {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Charset& charset : Catalogue()) {
        nlohmann::ordered_json row;
        row["number"] = static_cast<int>(charset.codePage);
        row["name"] = charset.name;
        row["windows"] = charset.windowsCodePage;
        const auto length = LengthOfCharacters(charset);
        row["minimumBytes"] = length ? nlohmann::ordered_json(length->minimum) : nullptr;
        row["maximumBytes"] = length ? nlohmann::ordered_json(length->maximum) : nullptr;
        row["decodes"] = charset.Decodes();
        row["encodes"] = charset.Encodes();
        row["aliases"] = AliasesOf(charset);
        list.push_back(std::move(row));
    }
    return list.dump(2) + "\n";
}

} // namespace

void AddListCommand(CLI::App& app) {
    const auto json = std::make_shared<bool>(false);
    CLI::App* command = app.add_subcommand("list", "Show the character sets");
    command->add_flag("--json", *json, "The same as JSON");
    command->footer("Each with its number, IANA name, Windows code page number and bytes per\n"
                    "character, whether convert takes it in --from (decodes) and --to (encodes), and\n"
                    "its aliases. Besides these, convert takes utf-16le, utf-16be and utf-16, and in\n"
                    "--from every character set that ICU knows.\n"
                    "\n"
                    "Example: kcodepage list --json");
    command->callback([json] {
        Output output{std::string(standardStream)};
        output.Write(*json ? Json() : Table());
        output.Commit();
    });
}
