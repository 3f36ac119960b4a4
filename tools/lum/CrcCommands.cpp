// lum crc: the CRC at the end of data files, appended, checked and cut off again.
#include "Commands.h"
#include "CrcFile.h"
#include "Json.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace tool
{
struct CrcWords
{
    std::vector<std::string> files;
    bool bForce = false, bJson = false;
};

// Every file has its turn, whatever became of those before it, unless nobody can be told any more. The status is the worst of all.
template <class Work>
static void ForEachFile(const CrcWords& words, Work work)
{
    ExitStatus eWorst = kDone;
    Json json;
    json.BeginArray();
    for (const std::string& sFile : words.files)
    {
        const CrcAnswer answer = work(sFile);
        eWorst = std::max(eWorst, answer.eStatus);
        json.BeginObject().Text("file", Utf8(sFile)).Text("result", answer.pResult);
        if (answer.eStatus == kFailure)
        {
            json.Text("error", Utf8(answer.sText));
            Note(answer.sText);
        }
        else if (!words.bJson) Print(answer.sText);
        json.End();
        if (std::fflush(stdout) != 0) // a long file may follow
            throw Stop(kFailure, "writing the output failed: look at where it goes");
    }
    json.End();
    if (words.bJson) Print(json.Document());
    if (eWorst != kDone) throw Stop(eWorst, ""); // all has been said
}

static CLI::App* AddVerb(CLI::App* pCrc, const char* pName, const char* pWhat, CrcWords& words)
{
    CLI::App* pVerb = pCrc->add_subcommand(pName, pWhat);
    pVerb->add_option("FILE", words.files, "one data file or several")->required();
    pVerb->add_flag("--json", words.bJson, "as JSON: each file with its result");
    return pVerb;
}

void AddCrcCommands(CLI::App& app)
{
    static CrcWords words;
    CLI::App* pCrc = app.add_subcommand("crc", "Append, check and cut off the CRC at the end of data files");
    pCrc->require_subcommand(1);
    pCrc->footer("The CRC is the last two bytes of a file. Nobody else may have the file open meanwhile.\n"
                 "Exit status: 1 when a CRC does not match, 3 when a file cannot be read or changed; the others are done all the "
                 "same.\n"
                 "Once it cannot print any more (crc append ... | head -1), it ends there: the files behind are as they were.");

    AddVerb(pCrc, "append", "Add the CRC of all that is in a file to its end", words)->callback([] {
        ForEachFile(words, AppendCrc);
    });
    AddVerb(pCrc, "check", "Tell whether the CRC at the end of a file matches what stands before it", words)->callback([] {
        ForEachFile(words, CheckCrc);
    });
    CLI::App* pUndo = AddVerb(pCrc, "undo", "Cut the CRC off again; a file whose CRC does not match is left as it is", words);
    pUndo->add_flag("--force", words.bForce, "cut off the last two bytes, whatever they are");
    pUndo->callback([] { ForEachFile(words, [](const std::string& sFile) { return UndoCrc(sFile, words.bForce); }); });
}
} // namespace tool
