// The subcommands. Each adds itself to the command line and does its work when it was chosen. They throw
// Failure and KBase::Message.

#pragma once

#include <CLI/CLI.hpp>

void AddListCommand(CLI::App& app);
void AddConvertCommand(CLI::App& app);
void AddDetectCommand(CLI::App& app);
void AddTablesCommand(CLI::App& app);
