// The nouns of lum: each adds its subcommands, whose callbacks do the work and throw Stop.
#pragma once

namespace CLI
{
class App;
}

namespace tool
{
void AddRegCommands(CLI::App& app);
void AddParamsCommands(CLI::App& app);
void AddMessageCommand(CLI::App& app);
void AddLogCommands(CLI::App& app);
void AddLogSwitchVerbs(CLI::App* pLog); // for AddLogCommands
void AddCrcCommands(CLI::App& app);
void AddCryptCommands(CLI::App& app);
void AddCryptKeysVerbs(CLI::App* pCrypt); // for AddCryptCommands
void AddLoginCommands(CLI::App& app);
void AddSecurityCommands(CLI::App& app);
void AddStorageCommands(CLI::App& app);
void AddTourCommand(CLI::App& app);
} // namespace tool
