#include "LogSwitches.h"

#include "Console.h"
#include "ParamValue.h"
#include "Text.h"

#include <algorithm>
#include <cstring>

namespace tool
{
static constexpr size_t kuLevels = 3;
static const std::u16string ksEnabled = u"Enabled";
static const std::u16string ksItem = u"Item";          // what the library calls an item without a name
static const std::u16string ksNoClass = u"(none yet)"; // stands for the classes of a group that nobody has logged

// What the library's own classes log under the groups of theirs.
struct LibraryGroup
{
    const char16_t* pGroup;
    std::vector<const char16_t*> classes;
};
static const LibraryGroup kLibraryGroups[] = {
    {u"Utilities", {u"OBuffer", u"OCriticalSection", u"OEvent", u"OMutex", u"ORegistry", u"OSingleLock"}},
    {u"FileStorage", {u"OApiFile", u"OComStorage", u"OComStream"}},
    {u"CRC", {u"OCRC", u"OCRCFile"}},
};

static bool SameName(const std::u16string& sLeft, const std::u16string& sRight) { return EqualNoCase(Utf8(sLeft), Utf8(sRight)); }

static const LibraryGroup* FindLibraryGroup(const std::u16string& sName)
{
    const auto pFound = std::ranges::find_if(kLibraryGroups, [&](const LibraryGroup& group) { return SameName(group.pGroup, sName); });
    return pFound == std::end(kLibraryGroups) ? nullptr : pFound;
}

RegKeyName LogSwitchKey()
{
    RegKeyName key;
    FindRegKeyName(*Wide(FullParamKey("Debug")), key);
    return key;
}

// ---- reading

static LogSwitch ReadSwitch(const RegKey& key, const std::u16string& sValue, const std::u16string& sName)
{
    LogSwitch result{.sName = sName, .below = {}};
    const auto value = FindValue(key.Handle(), sValue);
    if (!value) return result;
    std::uint32_t ulValue = 0;
    result.bWrongType = value->ulType != REG_DWORD || value->aubData.size() != sizeof ulValue;
    if (result.bWrongType) return result;
    std::memcpy(&ulValue, value->aubData.data(), sizeof ulValue);
    result.bOn = ulValue != 0;
    return result;
}

static std::vector<LogSwitch> ReadBelow(const RegKeyName& name, const RegKey& key, size_t uLevels)
{
    std::vector<LogSwitch> below;
    if (uLevels == 0) return below;
    for (const auto& sName : ReadSubKeys(key))
    {
        const RegKeyName subName = SubKey(name, sName);
        const auto subKey = FindKey(subName, KEY_READ);
        if (!subKey) continue; // deleted meanwhile
        below.push_back(ReadSwitch(*subKey, ksEnabled, sName));
        below.back().below = ReadBelow(subName, *subKey, uLevels - 1);
    }
    return below;
}

LogSwitches ReadLogSwitches()
{
    LogSwitches switches;
    const RegKeyName name = LogSwitchKey();
    const auto key = FindKey(name, KEY_READ);
    switches.bExist = key.has_value();
    if (!key) return switches;
    for (size_t u = 0; u < std::size(kGlobalSwitches); ++u)
        switches.globals[u] = ReadSwitch(*key, kGlobalSwitches[u].pValue, kGlobalSwitches[u].pValue);
    switches.groups = ReadBelow(name, *key, kuLevels);
    return switches;
}

// ---- writing

std::vector<std::u16string> SwitchPath(const std::string& sWord)
{
    const auto sWide = Wide(sWord);
    if (!sWide) throw Stop(kUsage, "'" + sWord + "' is not valid text in the system's code page");
    // A name that holds a slash is reached by writing the backslashes.
    const char16_t cBetween = sWide->find(u'\\') == sWide->npos ? u'/' : u'\\';
    std::vector<std::u16string> path{{}};
    for (char16_t c : *sWide)
    {
        if (c == cBetween) path.emplace_back();
        else path.back() += c;
    }
    if (path.size() > 1 && path.back().empty()) path.pop_back();
    if (path.size() > kuLevels)
        throw Stop(kUsage, "'" + sWord + "' has " + std::to_string(path.size()) + " names, and a switch at most 3: GROUP/CLASS/ITEM");
    for (const auto& sName : path)
        if (sName.empty() || sName.size() > kuMaxKeyNameUnits)
            throw Stop(kUsage, "'" + sWord + "' names no switch: a name has 1 to " + std::to_string(kuMaxKeyNameUnits) + " characters");
    return path;
}

// Collects what is to be done, to do it at once.
class SwitchChange
{
public:
    void Set(const RegKeyName& key, const std::u16string& sValue, bool bOn)
    {
        mOperations.push_back({RegOperation::Kind::CreateKey, 0, key, {}, 0, {}});
        mOperations.push_back({RegOperation::Kind::SetValue, 0, {}, sValue, REG_DWORD, {static_cast<std::uint8_t>(bOn), 0, 0, 0}});
    }
    // What is below a key, on that level: all of it, or what is missing and must be there.
    void SetBelow(const RegKeyName& key, std::vector<LogSwitch> below, size_t uLevel, bool bOn, bool bAll)
    {
        if (uLevel == kuLevels) return;
        if (below.empty()) below.push_back({.sName = uLevel == 1 ? ksNoClass : ksItem, .bMissing = true, .below = {}});
        for (const LogSwitch& one : below)
        {
            const RegKeyName subKey = SubKey(key, one.sName);
            if (one.bMissing || bAll) Set(subKey, ksEnabled, bOn);
            SetBelow(subKey, one.below, uLevel + 1, bOn, bAll);
        }
    }
    void Do() { Apply(mOperations, [](size_t) {}); }

private:
    std::vector<RegOperation> mOperations;
};

const LogSwitch* FindSwitch(const std::vector<LogSwitch>& switches, const std::u16string& sName)
{
    const auto pFound = std::ranges::find_if(switches, [&](const LogSwitch& s) { return SameName(s.sName, sName); });
    return pFound == switches.end() ? nullptr : &*pFound;
}

// Programs compare names exactly: one that is known keeps its spelling.
static std::u16string Spelling(const std::u16string& sName, const LogSwitch* pThere, const LibraryGroup* pLibrary)
{
    return pThere ? pThere->sName : pLibrary ? pLibrary->pGroup : sName;
}

void SetLogSwitch(const std::vector<std::u16string>& path, bool bOn, bool bAlone)
{
    const bool bAll = !bOn && !bAlone; // what is on is so with everything below it, whatever that says
    const LibraryGroup* const pLibrary = FindLibraryGroup(path.front());
    SwitchChange change;
    RegKeyName key = LogSwitchKey();
    std::vector<LogSwitch> level = ReadLogSwitches().groups;
    for (size_t u = 0; u < path.size(); ++u)
    {
        const LogSwitch* pThere = FindSwitch(level, path[u]);
        key = SubKey(key, Spelling(path[u], pThere, u == 0 ? pLibrary : nullptr));
        const bool bLast = u + 1 == path.size();
        if (bLast || !pThere) change.Set(key, ksEnabled, bLast && bOn);
        level = pThere ? std::vector<LogSwitch>(pThere->below) : std::vector<LogSwitch>();
    }
    // A class that was never logged starts with the default: those that are known to come are switched with their group.
    if (path.size() == 1 && pLibrary && (bAll || level.empty()))
        for (const char16_t* pClass : pLibrary->classes)
            if (!FindSwitch(level, pClass)) level.push_back({.sName = pClass, .bMissing = true, .below = {}});
    change.SetBelow(key, level, path.size(), bOn, bAll);
    change.Do();
}

void SetGlobalSwitch(const GlobalSwitch& global, bool bOn)
{
    SwitchChange change;
    change.Set(LogSwitchKey(), global.pValue, bOn);
    change.Do();
}
} // namespace tool
