// What the commands make their words of.
#pragma once

#include <CLI/CLI.hpp>

namespace tool
{
// AddVerb: a word below a command. It does one thing with what stood on the command line, which words holds.
template <class Words>
CLI::App* AddVerb(CLI::App* pCommand, Words& words, const char* pName, const char* pHelp, void (*pDo)(const Words&))
{
    CLI::App* pVerb = pCommand->add_subcommand(pName, pHelp);
    pVerb->callback([&words, pDo] { pDo(words); });
    return pVerb;
}
} // namespace tool
