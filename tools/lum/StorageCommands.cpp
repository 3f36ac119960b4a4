// lum storage: what is in compound files, listed, read, written, removed, copied and checked.
#include "Commands.h"
#include "Console.h"
#include "StorageCheckup.h"
#include "StorageList.h"
#include "StorageWork.h"
#include "Verb.h"

#include <CLI/CLI.hpp>

namespace tool
{
struct StorageWords
{
    std::string sFile, sPath, sSource = "-", sDestination;
    std::vector<std::string> paths, files;
    unsigned long ulSectorBytes = 0; // 0: not said
    bool bJson = false, bRecursive = false, bForce = false;
};

static StoragePath ElementOfWord(const std::string& sWord)
{
    StoragePath path = StoragePathOfWord(sWord);
    if (path.empty()) throw Stop(kUsage, "'" + sWord + "' names the whole file: name a stream or a storage in it");
    return path;
}

static void List(const StorageWords& words) { ListStorage(words.sFile, StoragePathOfWord(words.sPath), words.bJson); }
static void Cat(const StorageWords& words) { CatStream(words.sFile, ElementOfWord(words.sPath)); }
static void Put(const StorageWords& words)
{
    PutStream(words.sFile, ElementOfWord(words.sPath), words.sSource, words.ulSectorBytes);
}
static void Copy(const StorageWords& words) { CopyStorage(words.sFile, words.sDestination, words.bForce, words.ulSectorBytes); }
static void Check(const StorageWords& words) { CheckStorages(words.files, words.bJson); }

static void Remove(const StorageWords& words)
{
    std::vector<StoragePath> paths;
    for (const std::string& sWord : words.paths) paths.push_back(ElementOfWord(sWord));
    RemoveElements(words.sFile, paths, words.bRecursive);
}

// ---- the words

static const char* const kpPathHelp = "names from the root down, such as Runs/0001/Spectrum";

static CLI::App* AddFileVerb(CLI::App* pStorage, StorageWords& words, const char* pName, const char* pHelp,
                             void (*pDo)(const StorageWords&), const char* pExamples)
{
    CLI::App* pVerb = AddVerb(pStorage, words, pName, pHelp, pDo);
    pVerb->add_option("FILE", words.sFile, "a compound file")->required();
    pVerb->footer(std::string("Examples:\n") + pExamples);
    return pVerb;
}

static void AddSectorSize(CLI::App* pVerb, StorageWords& words, const char* pHelp)
{
    pVerb->add_option("--sector-size", words.ulSectorBytes, pHelp)->check(CLI::IsMember({512, 4096}));
}

void AddStorageCommands(CLI::App& app)
{
    static StorageWords words;
    CLI::App* pStorage = app.add_subcommand("storage", "Look into compound files, change and check them");
    pStorage->require_subcommand(1);
    pStorage->footer(
        "A compound file has streams, which are bytes, in storages, which are folders. A path is their names with '/' between "
        "them.\n"
        "Capitals and small letters are alike. A character that cannot be typed is \\x05 or \\u4840, as list shows it. New names\n"
        "cannot have '/', '\\', ':' or '!' in them. No command goes deeper than 500 storages in one another.\n"
        "Exit status: 1 when a path is missing or check finds damage.");

    CLI::App* pList = AddFileVerb(pStorage, words, "list", "Show a file's streams and storages, with sizes and times", List,
                                  "  lum storage list new.cfb\n  lum storage list new.cfb Runs/0001 --json");
    pList->add_option("PATH", words.sPath, "a part of it: names from the root down, such as Runs/0001");
    pList->add_flag("--json", words.bJson, "as JSON");

    CLI::App* pCat = AddFileVerb(pStorage, words, "cat", "Write a stream to the standard output, byte by byte as it is", Cat,
                                 "  lum storage cat new.cfb Runs/0001/Spectrum > spectrum.bin");
    pCat->add_option("PATH", words.sPath, kpPathHelp)->required();

    CLI::App* pPut =
        AddFileVerb(pStorage, words, "put", "Make or replace a stream; makes the file and storages that are missing", Put,
                    "  lum storage put new.cfb Runs/0001/Spectrum < spectrum.bin\n"
                    "  lum storage put new.cfb Runs/0001/Spectrum spectrum.bin\n"
                    "When it fails, is interrupted or killed, what the file holds is as it was.");
    pPut->add_option("PATH", words.sPath, kpPathHelp)->required();
    pPut->add_option("SOURCE", words.sSource, "the file to read; the standard input unless named")->capture_default_str();
    AddSectorSize(pPut, words, "of a new file: 512 (the usual), or 4096, which may become larger than 2 GB");

    CLI::App* pRemove = AddFileVerb(pStorage, words, "remove", "Remove streams, and storages: all that are named, or none", Remove,
                                    "  lum storage remove new.cfb Runs/0001/Spectrum\n  lum storage remove -r new.cfb Runs");
    pRemove->add_option("PATH", words.paths, kpPathHelp)->required();
    pRemove->add_flag("--recursive,-r", words.bRecursive, "a storage with all that is in it");

    CLI::App* pCopy =
        AddFileVerb(pStorage, words, "copy", "Write all that is in a file to a new one, which is as small as can be", Copy,
                    "  lum storage copy old.cfb small.cfb\n"
                    "  lum storage copy --force new.cfb new.cfb      (makes it smaller in its place)\n"
                    "  lum storage copy --sector-size 4096 small.cfb large.cfb");
    pCopy->add_option("NEW", words.sDestination, "the file to write")->required();
    pCopy->add_flag("--force", words.bForce, "replace it when it is there, once the copy is complete");
    AddSectorSize(pCopy, words, "512, or 4096, which may become larger than 2 GB; unless given, as FILE has");

    CLI::App* pCheck =
        AddVerb(pStorage, words, "check", "Tell what is damaged in files, and where; exit status 1 when something is", Check);
    pCheck->add_option("FILE", words.files, "one compound file or several")->required();
    pCheck->add_flag("--json", words.bJson, "as JSON");
    pCheck->footer("Examples:\n  lum storage check new.cfb\n  lum storage check *.cfb --json");
}
} // namespace tool
