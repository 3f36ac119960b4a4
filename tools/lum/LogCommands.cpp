// lum log: what programs logged, and the switches that decide what they log.
#include "Commands.h"
#include "Console.h"
#include "LogReader.h"
#include "LogView.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace tool
{
// ---- view

struct ViewWords
{
    std::string sFile;
    LogQuestion question;
    bool bLastRun = false, bFollow = false, bJson = false;
};

static void View(const ViewWords& words)
{
    LogReader reader(words.sFile);
    if (words.bLastRun) reader.GoToLastRun();
    LogView view(words.question, words.bJson);
    for (;;)
    {
        std::string_view sLines;
        while (reader.Next(sLines))
            if (!view.Lines(sLines)) break;
        if (!words.bFollow || !reader.IsOnDisk() || view.HasEnough()) break;
        view.Finish();
        std::fflush(stdout);
        reader.WaitForMore();
    }
    if (!view.HasEnough()) view.Lines(reader.Rest());
    view.Finish();
    if (!view.HasShownAny())
        throw Stop(kAnswerIsNo, words.sFile + (words.question.IsForAll() ? " holds no lines" : " has no line that was asked for"));
}

static void AddView(CLI::App* pLog)
{
    static ViewWords words;
    CLI::App* pView = pLog->add_subcommand("view", "Show a log: seconds since the program began to log, group, class, item, text");
    pView->add_option("FILE", words.sFile, "the log of one or more runs, or its Error.Log")->required();
    pView->add_flag("--errors,-e", words.question.bErrors, "only the groups Error, Warning and those that begin with Exception");
    pView->add_option("--group,-g", words.question.groups, "only this group, in any case; give it again for others")
        ->type_name("GROUP")
        ->allow_extra_args(false);
    pView->add_option("--class,-c", words.question.classes, "only this class, likewise")->type_name("CLASS")->allow_extra_args(false);
    pView->add_option("--since,-s", words.question.fSince, "only from that many seconds after the start of a run on")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber);
    pView->add_flag("--last-run,-l", words.bLastRun, "only from the last start of a program on");
    pView->add_option("--first,-n", words.question.uFirst, "no more than that many entries")
        ->type_name("NUMBER")
        ->check(CLI::PositiveNumber);
    pView->add_flag("--follow,-f", words.bFollow, "go on with what is written, until Ctrl-C; in a new file of that name as well");
    pView->add_flag("--json", words.bJson, "as JSON, an object a line");
    pView->footer("Of several questions a line must answer all. The first failure of the last run: --last-run --errors --first 1.\n"
                  "Lines of a text behind its first stand below it. Exit status: 1 when there is no line to show.");
    pView->callback([] { View(words); });
}

void AddLogCommands(CLI::App& app)
{
    CLI::App* pLog = app.add_subcommand("log", "Look at what programs logged, and decide what they log");
    pLog->require_subcommand(1);
    AddView(pLog);
    AddLogSwitchVerbs(pLog);
}
} // namespace tool
