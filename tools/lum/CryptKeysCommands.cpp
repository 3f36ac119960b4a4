// lum crypt keys: the pairs of the user, made, shown, and carried from system to system.
#include "Commands.h"
#include "FileBytes.h"
#include "Json.h"
#include "Text.h"
#include "UserKeys.h"
#include "Verb.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <vector>

namespace tool
{
struct KeysWords
{
    std::string sKind, sFile;
    unsigned uBits = 2048;
    bool bForce = false, bPublic = false, bYes = false, bJson = false;
};

static constexpr size_t kuLongestBlob = 65'536;

static bool Means(const KeysWords& words, const KeyKind& kind) { return words.sKind.empty() || words.sKind == kind.pName; }

static std::string Shown(const KeyKind& kind, const KeyPair& pair)
{
    return Format("%-10s %u bits  ", kind.pName, pair.Bits()) + pair.Fingerprint();
}

static void RefuseToReplace(const UserKeys& keys, const KeyKind& kind)
{
    if (keys.Find(kind))
        throw Stop(kFailure,
                   Format("your %s pair is there already, and what was made with it needs it: export it, then say --force; nothing "
                          "was changed",
                          kind.pName));
}

static void Create(const KeysWords& words)
{
    UserKeys keys(UserKeys::Missing::IsMade);
    if (!words.bForce)
        for (const KeyKind& kind : kKeyKinds)
            if (Means(words, kind)) RefuseToReplace(keys, kind);
    for (const KeyKind& kind : kKeyKinds)
        if (Means(words, kind)) Print(Shown(kind, keys.Make(kind, words.uBits)));
}

static void Show(const KeysWords& words)
{
    const UserKeys keys(UserKeys::Missing::Stays);
    bool bAny = false;
    Json json;
    json.BeginArray();
    for (const KeyKind& kind : kKeyKinds)
    {
        const KeyPair pair = keys.Find(kind);
        if (!pair) continue;
        bAny = true;
        if (!words.bJson)
            Print(Shown(kind, pair));
        else
            json.BeginObject()
                .Text("kind", kind.pName)
                .Raw("bits", std::to_string(pair.Bits()))
                .Text("fingerprint", pair.Fingerprint())
                .End();
    }
    json.End();
    if (words.bJson) Print(json.Document());
    if (!bAny) throw Stop(kAnswerIsNo, "you have no key pairs (lum crypt keys create makes them)");
}

static void Export(const KeysWords& words)
{
    const auto* pKind = std::ranges::find_if(kKeyKinds, [&](const KeyKind& kind) { return Means(words, kind); });
    const UserKeys keys(UserKeys::Missing::Stays);
    const KeyPair pair = keys.Find(*pKind);
    if (!pair) throw Stop(kAnswerIsNo, Format("you have no %s pair (lum crypt keys create makes it)", pKind->pName));
    const Secret blob = pair.Blob(words.bPublic ? PUBLICKEYBLOB : PRIVATEKEYBLOB);
    ReplaceFileBytes(words.sFile, blob.View(), words.bPublic ? Readers::AsUsual : Readers::OwnerAlone);
}

static void Import(const KeysWords& words)
{
    Secret blob = ReadSecretFile(words.sFile, kuLongestBlob);
    if (blob.Size() > kuLongestBlob) throw Stop(kFailure, words.sFile + " is no key pair: it is far too long");
    const KeyKind& kind = KindOfBlob(words.sFile, blob);
    UserKeys keys(UserKeys::Missing::IsMade);
    if (!words.bForce) RefuseToReplace(keys, kind);
    Print(Shown(kind, keys.Import(blob)));
}

static void Remove(const KeysWords& words)
{
    if (!words.bYes)
        throw Stop(kUsage,
                   "whatever was encrypted for your keys is lost with them, unless they were exported: say --yes to remove them");
    UserKeys::Remove();
    Print("your keys are removed");
}

// ---- the words

static CLI::Option* AddKind(CLI::App* pVerb, KeysWords& words, const char* pHelp)
{
    std::vector<std::string> names;
    for (const KeyKind& kind : kKeyKinds) names.push_back(kind.pName);
    return pVerb->add_option("KIND", words.sKind, pHelp)->check(CLI::IsMember(names));
}

static const char* const kpForceHelp =
    "in place of a pair that is there; what was encrypted for that one is lost unless it was exported";

void AddCryptKeysVerbs(CLI::App* pCrypt)
{
    static KeysWords words;
    CLI::App* pKeys = pCrypt->add_subcommand("keys", "Make, show and carry your key pairs");
    pKeys->require_subcommand(1);
    pKeys->footer(
        "You have one pair for exchange, which opens what was encrypted without a password, and one for signatures. A file of\n"
        "an exported pair is not encrypted: whoever can read it has the pair.");

    CLI::App* pCreate = AddVerb(pKeys, words, "create", "Make your pairs", Create);
    AddKind(pCreate, words, "that pair alone, not both");
    pCreate->add_option("--bits,-b", words.uBits, "the length of a pair, a multiple of 8")
        ->capture_default_str()
        ->check(CLI::Range(512, 4096))
        ->check([](const std::string& sBits) { return std::stoul(sBits) % 8 ? "not a multiple of 8" : std::string(); });
    pCreate->add_flag("--force", words.bForce, kpForceHelp);

    AddVerb(pKeys, words, "show", "Show your pairs, each with the fingerprint of its public part", Show)
        ->add_flag("--json", words.bJson, "as JSON");

    CLI::App* pExport = AddVerb(pKeys, words, "export", "Write a pair to a file that you alone can read", Export);
    AddKind(pExport, words, "which pair")->required();
    pExport->add_option("FILE", words.sFile, "the file to write or replace")->required();
    pExport->add_flag("--public", words.bPublic, "the public part alone, which everybody may have");

    CLI::App* pImport = AddVerb(pKeys, words, "import", "Take over a pair that was exported, on this system or another", Import);
    pImport->add_option("FILE", words.sFile, "its file; says itself which pair it is")->required();
    pImport->add_flag("--force", words.bForce, kpForceHelp);

    AddVerb(pKeys, words, "remove", "Remove both pairs for good", Remove)->add_flag("--yes", words.bYes, "yes, I mean it");
}
} // namespace tool
