// lum reg: the registry from a shell.
#include "Commands.h"
#include "Console.h"
#include "FileBytes.h"
#include "RegFile.h"
#include "RegStore.h"
#include "RegValueText.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tool
{
// What the user wrote, of all verbs.
struct RegWords
{
    std::string sKey, sName, sFile, sType = "string";
    std::vector<std::string> values;
    bool bJson = false, bRecursive = false, bVersion4 = false;
};

static std::u16string WideWord(const std::string& sWord)
{
    const auto sWide = Wide(sWord);
    if (!sWide) throw Stop(kUsage, "'" + sWord + "' is not valid text in the system's code page");
    return *sWide;
}

static RegKeyName KeyOfWord(const std::string& sWord)
{
    std::u16string sWide = WideWord(sWord);
    // Slashes are easier in a shell; a name that holds one is reached by writing the backslashes.
    if (sWide.find(u'\\') == sWide.npos) std::ranges::replace(sWide, u'/', u'\\');
    while (sWide.ends_with(u'\\')) sWide.pop_back();

    RegKeyName key;
    const std::string sWrong = FindRegKeyName(sWide, key);
    if (!sWrong.empty()) throw Stop(kUsage, "'" + sWord + "' names no key: " + sWrong);
    return key;
}

static std::string Shown(const RegKeyName& key) { return Visible(Narrow(FullName(key))); }

static std::string ShownValueName(const std::u16string& sName)
{
    return sName.empty() ? std::string("(default)") : Visible(Narrow(sName));
}

static Stop NoSuchKey(const RegKeyName& key) { return Stop(kAnswerIsNo, "there is no key " + Shown(key)); }

static RegKey OpenKey(const RegKeyName& key, REGSAM ulAccess)
{
    auto open = FindKey(key, ulAccess);
    if (!open) throw NoSuchKey(key);
    return std::move(*open);
}

// ---- list, get

// Columns count characters, which are more bytes than one where the code page is UTF-8.
static size_t Width(const RegValue& value) { return Wide(ShownValueName(value.sName)).value_or(value.sName).size(); }

static void PrintValues(const std::vector<RegValue>& values)
{
    size_t uNameWidth = 0, uTypeWidth = 0;
    for (const auto& value : values)
    {
        uNameWidth = std::max(uNameWidth, Width(value));
        uTypeWidth = std::max(uTypeWidth, TypeName(value.ulType).size());
    }
    const std::string sIndent(uNameWidth + uTypeWidth + 6, ' ');
    for (const auto& value : values)
    {
        const std::string sType = TypeName(value.ulType);
        std::string sLine = "  " + ShownValueName(value.sName) + std::string(uNameWidth - Width(value) + 2, ' ') + sType;
        sLine.append(uTypeWidth - sType.size() + 2, ' ');
        const auto texts = DataTexts(value);
        for (size_t u = 0; u < texts.size(); ++u) sLine += (u ? "\n" + sIndent : "") + Visible(texts[u]);
        Print(sLine + HexNote(value));
    }
}

static void AddValues(Json& json, const RegKey& key)
{
    json.BeginArray("values");
    for (const auto& value : ReadValues(key))
    {
        json.BeginObject();
        AddJson(json, value);
        json.End();
    }
    json.End();
}

static void ListAsJson(const RegWords& words, const RegKeyName& key)
{
    Json json;
    const auto AddKey = [&](const RegKeyName& name, const RegKey& open) {
        json.BeginObject().Text("key", Utf8(FullName(name)));
        AddValues(json, open);
        json.BeginArray("subkeys");
        for (const auto& sName : ReadSubKeys(open)) json.Text({}, Utf8(sName));
        json.End().End();
    };
    if (!words.bRecursive) AddKey(key, OpenKey(key, KEY_READ));
    else
    {
        json.BeginArray();
        if (!WalkTree(key, AddKey)) throw NoSuchKey(key);
        json.End();
    }
    Print(json.Document());
}

static void List(const RegWords& words)
{
    const RegKeyName key = KeyOfWord(words.sKey);
    if (words.bJson) return ListAsJson(words, key);
    if (!words.bRecursive)
    {
        const RegKey open = OpenKey(key, KEY_READ);
        Print(Inked(Ink::Bold, Shown(key)));
        PrintValues(ReadValues(open));
        for (const auto& sName : ReadSubKeys(open)) Print("  " + Inked(Ink::Bold, Visible(Narrow(sName)) + "\\"));
        return;
    }
    bool bFirst = true;
    const bool bFound = WalkTree(key, [&](const RegKeyName& name, const RegKey& open) {
        if (!bFirst) Print({});
        bFirst = false;
        Print(Inked(Ink::Bold, Shown(name)));
        PrintValues(ReadValues(open));
    });
    if (!bFound) throw NoSuchKey(key);
}

static void Get(const RegWords& words)
{
    const RegKeyName key = KeyOfWord(words.sKey);
    const RegKey open = OpenKey(key, KEY_QUERY_VALUE);
    const auto value = FindValue(open.Handle(), WideWord(words.sName));
    if (!value)
        throw Stop(kAnswerIsNo, "the key " + Shown(key) + " has no value " + ShownValueName(WideWord(words.sName)));
    if (!words.bJson) // as stored, for scripts
    {
        for (const auto& sText : DataTexts(*value)) Print(sText);
        return;
    }

    Json json;
    json.BeginObject().Text("key", Utf8(FullName(key)));
    AddJson(json, *value);
    json.End();
    Print(json.Document());
}

// ---- set, delete

static void Set(const RegWords& words)
{
    const RegKeyName key = KeyOfWord(words.sKey);
    if (key.sPath.empty()) throw Stop(kUsage, "a root key holds no values of its own: name a key below it");
    const std::u16string sName = WideWord(words.sName);
    if (sName.size() > kuMaxValueNameUnits)
        throw Stop(kUsage, "a value's name has " + std::to_string(sName.size()) + " characters, the longest possible is " +
                               std::to_string(kuMaxValueNameUnits));
    const auto pType = std::ranges::find_if(kRegTypes, [&](const RegTypeName& type) { return words.sType == type.pWord; });
    std::vector<std::u16string> wide;
    for (const auto& sValue : words.values) wide.push_back(WideWord(sValue));
    Apply({{RegOperation::Kind::CreateKey, 0, key, {}, 0, {}},
           {RegOperation::Kind::SetValue, 0, {}, sName, pType->ulType, DataOfWords(*pType, wide)}},
          [](size_t) {});
}

static void DeleteWholeKey(const RegKeyName& key, bool bRecursive)
{
    if (key.sPath.empty()) throw Stop(kUsage, "a root key cannot be deleted");
    {
        const RegKey open = OpenKey(key, KEY_READ);
        if (!bRecursive && !ReadSubKeys(open).empty())
            throw Stop(kFailure, "deleting " + Shown(key) + " failed: it has subkeys (--recursive deletes them too)");
    }
    Apply({{RegOperation::Kind::DeleteKey, 0, key, {}, 0, {}}}, [](size_t) {});
}

static void DeleteOneValue(const RegKeyName& key, const std::u16string& sName)
{
    const RegKey open = OpenKey(key, KEY_QUERY_VALUE);
    if (!FindValue(open.Handle(), sName)) throw Stop(kAnswerIsNo, "the key " + Shown(key) + " has no value " + ShownValueName(sName));
    Apply({{RegOperation::Kind::CreateKey, 0, key, {}, 0, {}}, {RegOperation::Kind::DeleteValue, 0, {}, sName, 0, {}}},
          [](size_t) {});
}

// ---- import, export

static void Import(const RegWords& words)
{
    const std::string sBytes = ReadFileBytes(words.sFile);
    try
    {
        const auto operations = ParseRegFile(sBytes);
        Progress progress("importing " + words.sFile, operations.size());
        Apply(operations, [&](size_t uDone) { progress.At(uDone); });
    }
    catch (const RegFileError& error)
    {
        throw Stop(kFailure, words.sFile + ", " + error.what() + "; nothing was changed");
    }
    catch (const Stop& stop)
    {
        throw Stop(stop.Status(), "importing " + words.sFile + " failed, nothing was changed: " + stop.what());
    }
}

static void Export(const RegWords& words)
{
    const RegKeyName key = KeyOfWord(words.sKey);
    RegFileWriter writer(words.bVersion4 ? RegFileVersion::Ansi4 : RegFileVersion::Unicode5);
    const bool bFound = WalkTree(key, [&](const RegKeyName& name, const RegKey& open) {
        writer.AddKey(name);
        for (const auto& value : ReadValues(open)) writer.AddValue(value.sName, value.ulType, value.aubData);
    });
    if (!bFound) throw NoSuchKey(key);
    ReplaceFileBytes(words.sFile, writer.TakeBytes());
}

// ---- the words

static const char* const kpKeyHelp = "a key, such as HKLM\\Software\\Tarvek or HKLM/Software/Tarvek";
static const char* const kpNameHelp = "a value's name; '' is the key's default value";

static CLI::App* AddVerb(CLI::App* pReg, RegWords& words, const char* pName, const char* pHelp, void (*pDo)(const RegWords&))
{
    CLI::App* pVerb = pReg->add_subcommand(pName, pHelp);
    pVerb->callback([&words, pDo] { pDo(words); });
    return pVerb;
}

static void AddKeyWord(CLI::App* pVerb, RegWords& words) { pVerb->add_option("KEY", words.sKey, kpKeyHelp)->required(); }

void AddRegCommands(CLI::App& app)
{
    static RegWords words;
    CLI::App* pReg = app.add_subcommand("reg", "Read and change the registry; import and export .reg files");
    pReg->require_subcommand(1);

    CLI::App* pList = AddVerb(pReg, words, "list", "Show a key's values and subkeys", List);
    AddKeyWord(pList, words);
    pList->add_flag("--recursive,-r", words.bRecursive, "everything below it too");
    pList->add_flag("--json", words.bJson, "as JSON");

    CLI::App* pGet = AddVerb(pReg, words, "get", "Print one value", Get);
    AddKeyWord(pGet, words);
    pGet->add_option("NAME", words.sName, kpNameHelp);
    pGet->add_flag("--json", words.bJson, "as JSON");

    CLI::App* pSet = AddVerb(pReg, words, "set", "Write one value; creates the key when it is missing", Set);
    AddKeyWord(pSet, words);
    pSet->add_option("NAME", words.sName, kpNameHelp)->required();
    pSet->add_option("VALUE", words.values, "the data; several for --type multi; two hexadecimal digits a byte for --type binary")
        ->required();
    std::vector<std::string> types;
    for (const auto& type : kRegTypes) types.push_back(type.pWord);
    pSet->add_option("--type,-t", words.sType, "the value's type")->capture_default_str()->check(CLI::IsMember(types));

    CLI::App* pDelete = pReg->add_subcommand("delete", "Delete one value, or a key when no NAME is given");
    AddKeyWord(pDelete, words);
    CLI::Option* pName = pDelete->add_option("NAME", words.sName, kpNameHelp);
    pDelete->add_flag("--recursive,-r", words.bRecursive, "the key's subkeys too");
    pDelete->callback([pName] {
        const RegKeyName key = KeyOfWord(words.sKey);
        if (pName->count()) DeleteOneValue(key, WideWord(words.sName));
        else DeleteWholeKey(key, words.bRecursive);
    });

    CLI::App* pImport = AddVerb(pReg, words, "import", "Do what a .reg file says: all of it, or nothing when it has an error", Import);
    pImport->add_option("FILE", words.sFile, "a .reg file, version 5 or 4")->required();

    CLI::App* pExport = AddVerb(pReg, words, "export", "Write a key and everything below it to a .reg file", Export);
    AddKeyWord(pExport, words);
    pExport->add_option("FILE", words.sFile, "the file to write or replace")->required();
    pExport->add_flag("--version4,--ansi", words.bVersion4, "version 4, in the system's code page, in place of version 5");
}
} // namespace tool
