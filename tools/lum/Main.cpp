// lum: reads its arguments, calls the library, prints.
#include "Commands.h"
#include "Console.h"
#include "LibraryError.h"
#include "PlatformPrivate.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace tool
{
// An option that has a text of its own is shown as that text alone.
class WordsFormatter : public CLI::Formatter
{
public:
    std::string make_option_usage(const CLI::Option* pOption) const override
    {
        return pOption->get_option_text().empty() ? Formatter::make_option_usage(pOption) : pOption->get_option_text();
    }
    std::string make_option_name(const CLI::Option* pOption, bool bPositional) const override
    {
        return pOption->get_option_text().empty() ? Formatter::make_option_name(pOption, bPositional) : std::string();
    }
};

static void DescribeExitStatus(CLI::App& app)
{
    app.footer("Exit status: 0 done, 1 the answer is no (a key, value or text is missing, a CRC does not match, nor a signature, a\n"
               "compound file is damaged), 2 a usage error, 3 a failure.\n"
               "Words that begin with '-' but are data go behind '--'.");
}

// The command that the words named last, and what they said behind it that it does not know.
static const CLI::App& Innermost(const CLI::App& app)
{
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : Innermost(*commands.back());
}

static std::string UsageText(const CLI::App& app, const CLI::ParseError& error)
{
    const CLI::App& command = Innermost(app);
    const auto known = command.get_subcommands([](const CLI::App*) { return true; });
    const auto unknown = command.remaining();
    if (known.empty() || unknown.empty()) return error.what();
    if (unknown.front().starts_with('-')) return "there is no option " + unknown.front();

    std::string sText = "there is no command '" + unknown.front() + "': it is one of ";
    for (const CLI::App* pKnown : known) sText += (pKnown == known.front() ? "" : ", ") + pKnown->get_name();
    return sText;
}

static int Usage(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error); // --help, --version
    Note(UsageText(app, error));
    std::fputs("Run lum with --help, or with a command and --help, for what it takes.\n", stderr);
    return kUsage;
}

static int Run(CLI::App& app, int iCount, char** ppWords)
try
{
    app.parse(iCount, ppWords);
    return kDone;
}
catch (const CLI::ParseError& error)
{
    return Usage(app, error);
}
catch (const Stop& stop)
{
    if (*stop.what()) Note(stop.what());
    return stop.Status();
}
catch (const std::exception& error)
{
    Note(error.what());
    return kFailure;
}
catch (...)
{
    Note(LibraryErrorText());
    return kFailure;
}
} // namespace tool

int main(int iCount, char** ppWords)
{
    LumOpenStandardStreams(); // before any file
    CLI::App app("Reads and changes what the LumBase library keeps: registry, parameters, logs, data files and logins.", "lum");
    app.set_version_flag("--version", "lum " LUM_VERSION);
    app.formatter(std::make_shared<tool::WordsFormatter>());
    app.allow_windows_style_options(false); // "/a/path" is a path on both systems
    app.require_subcommand(1);
    tool::DescribeExitStatus(app);
    tool::AddTourCommand(app);
    tool::AddRegCommands(app);
    tool::AddParamsCommands(app);
    tool::AddMessageCommand(app);
    tool::AddLogCommands(app);
    tool::AddCrcCommands(app);
    tool::AddCryptCommands(app);
    tool::AddLoginCommands(app);
    tool::AddSecurityCommands(app);
    tool::AddStorageCommands(app);
    int iStatus = tool::Run(app, iCount, ppWords);
    if ((std::fflush(stdout) != 0 || std::ferror(stdout)) && iStatus == tool::kDone) // now, or before
    {
        tool::Note("writing the output failed: look at where it goes");
        iStatus = tool::kFailure;
    }
    return iStatus;
}
