#include "Charsets.h"
#include "Commands.h"

#include <cstdio>

namespace {

void List() {
    std::printf("%-6s %-14s %s\n", "number", "name", "Windows");
    for (const Charset& charset : Catalogue()) {
        std::printf("%6d %-14s %7u\n", static_cast<int>(*charset.codePage), charset.name.c_str(),
                    charset.windowsCodePage);
    }
}

} // namespace

void AddListCommand(CLI::App& app) {
    app.add_subcommand("list", "Show the character sets: number, IANA name, Windows code page number")
        ->callback(List);
}
