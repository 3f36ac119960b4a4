#include "ParamValue.h"

#include "OException.h"
#include "ORegistry.h"
#include "RegFunctions.h"

#include "Console.h"
#include "LibraryError.h"
#include "RegStore.h"
#include "RegValueText.h"
#include "Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace tool
{
// ---- where the values stand

std::string BasePath()
{
    struct Family
    {
        int (*pIsInstalled)();
        const char* pPath;
    };
    static constexpr Family kFamilies[] = {
        {&RegIsInstTypeCedar, "Software\\Tarvek\\Lum\\ES\\Cedar\\"},
        {&RegIsInstTypeBirch, "Software\\Tarvek\\Lum\\ES\\Birch\\"},
        {&RegIsInstTypeAlder, "Software\\Tarvek\\Lum\\ES\\Alder\\"},
    };
    for (const Family& family : kFamilies)
        if (family.pIsInstalled()) return family.pPath;
    return {};
}

std::string FullParamKey(const std::string& sKey) { return "HKLM\\" + BasePath() + sKey; }

// To the library a key that may not be opened is a missing one: the platform is asked as well, and its refusal thrown.
static bool OpenParamKey(ORegistry& registry, const std::string& sKey)
{
    registry.InitAccess(KEY_READ);
    if (registry.OpenKey(sKey.c_str(), ORegistry::OPEN_ONLY)) return true;
    RegKeyName key;
    FindRegKeyName(*Wide(FullParamKey(sKey)), key);
    FindKey(key, KEY_READ);
    return false;
}

void CheckRegistry()
{
    RegKeyName key;
    FindRegKeyName(u"HKLM\\Software\\Tarvek\\Lum\\General", key);
    FindKey(key, KEY_READ);
}

bool ParamKeyExists(const std::string& sKey)
{
    ORegistry registry;
    return OpenParamKey(registry, sKey);
}

static std::optional<RegValue> FindStored(const ParamRow& row, ParamSet eSet)
{
    ORegistry registry;
    if (!OpenParamKey(registry, ParamKey(row, eSet))) return std::nullopt;
    return FindValue(registry.GetKeyHandle(), *Wide(row.pName));
}

// ---- which value is meant

static std::string Known(const char* pBlock, const char* pPhase)
{
    std::string sList;
    const auto Add = [&](const char* pWord) { sList += (sList.empty() ? "" : ", ") + std::string(pWord); };
    if (!pBlock)
        for (const ParamBlock& block : ParamBlocks()) Add(block.pWord);
    else
        for (const ParamRow& row : ParamRows())
            if (EqualNoCase(row.pBlock, pBlock) && EqualNoCase(row.pPhase ? row.pPhase : "", pPhase ? pPhase : "")) Add(row.pName);
    return sList;
}

const ParamRow& FindParam(const std::vector<std::string>& words)
{
    const std::string& sBlock = words.front();
    const std::string sPhase = words.size() > 2 ? words[1] : std::string();
    const std::string& sName = words.back();
    bool bBlock = false, bPhase = false, bPhases = false;
    for (const ParamRow& row : ParamRows())
    {
        if (!EqualNoCase(row.pBlock, sBlock)) continue;
        bBlock = true;
        bPhases = bPhases || row.pPhase;
        if (!EqualNoCase(row.pPhase ? row.pPhase : "", sPhase)) continue;
        bPhase = true;
        if (EqualNoCase(row.pName, sName)) return row;
    }
    if (!bBlock) throw Stop(kUsage, "there is no block '" + sBlock + "': it is one of " + Known(nullptr, nullptr));
    if (!bPhase && !bPhases) throw Stop(kUsage, "the block " + sBlock + " has no phases: leave '" + sPhase + "' out");
    if (!bPhase) throw Stop(kUsage, "there is no phase '" + sPhase + "': it is one of purge, delay, light, run");
    std::string sText = "there is no value '" + sName + "' in " + sBlock + (sPhase.empty() ? "" : " " + sPhase) + ": it is one of " +
                        Known(sBlock.c_str(), sPhase.c_str());
    if (sPhase.empty() && bPhases) sText += "; the other values belong to a phase (purge, delay, light, run), which stands before the name";
    throw Stop(kUsage, sText);
}

// ---- reading

static bool WritesMissingValueBack(const ParamRow& row) { return row.eKind != ParamKind::Number; }

ParamValue ReadParam(const ParamRow& row, ParamSet eSet)
{
    ParamValue value;
    const auto stored = FindStored(row, eSet);
    value.bOtherType = stored && stored->ulType != REG_SZ && !WritesMissingValueBack(row);
    value.bStored = stored && (WritesMissingValueBack(row) || (stored->ulType == REG_SZ && stored->aubData.size() > 2));
    if (!stored && WritesMissingValueBack(row) && ParamKeyExists(ParamKey(row, eSet)))
    {
        value.sText = row.pDefault;
        return value;
    }
    try
    {
        value.sText = row.pRead(eSet);
        if (row.pAnswer) value.sAnswer = Format("%s = %d", row.pAnswerName, row.pAnswer());
    }
    catch (OAppException* pException)
    {
        value.ulError = pException->mulErrorCode;
        value.sText = LibraryErrorText();
    }
    return value;
}

static bool IsJsonNumber(const ParamRow& row, const std::string& sText)
{
    return row.eKind != ParamKind::Text && std::isfinite(std::strtod(sText.c_str(), nullptr)); // "inf" may be stored as text
}

void AddJson(Json& json, const ParamRow& row, const ParamValue& value)
{
    if (row.pPhase) json.Text("phase", row.pPhase);
    json.Text("name", row.pName);
    if (value.ulError) json.Raw("error", std::to_string(value.ulError)).Text("text", Utf8(std::string_view(value.sText)));
    else if (IsJsonNumber(row, value.sText)) json.Raw("value", value.sText);
    else json.Text("value", Utf8(std::string_view(value.sText)));
    json.Flag("stored", value.bStored);
}

// ---- writing

static std::string CheckedNumber(const std::string& sValue)
{
    double dValue = 0;
    const auto result = std::from_chars(sValue.data(), sValue.data() + sValue.size(), dValue);
    if (result.ec != std::errc() || result.ptr != sValue.data() + sValue.size() || !std::isfinite(dValue))
        throw Stop(kUsage, "'" + sValue + "' is not a number: write it with a decimal point, such as 14.5");
    return Format("%.2f", dValue);
}

static std::string CheckedFlag(const std::string& sValue)
{
    std::uint32_t ulValue = 0;
    const auto result = std::from_chars(sValue.data(), sValue.data() + sValue.size(), ulValue);
    if (result.ec != std::errc() || result.ptr != sValue.data() + sValue.size())
        throw Stop(kUsage, "'" + sValue + "' is not a whole number from 0 to 4294967295");
    return std::to_string(ulValue);
}

static std::string CheckedText(const std::string& sValue)
{
    if (!Wide(sValue)) throw Stop(kUsage, "'" + sValue + "' is not valid text in the system's code page");
    return sValue;
}

static std::string Checked(const ParamRow& row, const std::string& sValue)
{
    switch (row.eKind)
    {
    case ParamKind::Number: return CheckedNumber(sValue);
    case ParamKind::Flag: return CheckedFlag(sValue);
    case ParamKind::Text: return CheckedText(sValue);
    }
    return {};
}

void WriteParam(const ParamRow& row, ParamSet eSet, const std::string& sValue)
{
    if (!row.pWrite)
        throw Stop(kUsage, ParamTitle(row) + " cannot be set: the pump rate is read-only by design");
    const std::string sChecked = Checked(row, sValue);
    const std::string sKey = ParamKey(row, eSet);
    if (!ParamKeyExists(sKey))
        throw Stop(kAnswerIsNo, ParamTitle(row) + " was not set: there is no key " + FullParamKey(sKey) +
                                    ", and setting a parameter never creates one (import a .reg file such as examples/cedar.reg)");
    row.pWrite(eSet, sChecked);

    // The library's plain writes do not report a failure: look at what stands there now.
    const auto stored = FindStored(row, eSet);
    if (!stored || DataTexts(*stored) != std::vector{sChecked})
        throw Stop(kFailure, "setting " + ParamTitle(row) + " failed: the registry does not take the value (look at the rights of " +
                                 FullParamKey(sKey) + ")");
    if (row.eKind == ParamKind::Number && std::strtod(sChecked.c_str(), nullptr) != std::strtod(sValue.c_str(), nullptr))
        Note(ParamTitle(row) + " is kept with two decimals: " + sChecked);
}

KeptValue::KeptValue(const ParamRow& row, ParamSet eSet)
    : mRow(row), meSet(eSet), mbHasKey(ParamKeyExists(ParamKey(row, eSet))), mOld(FindStored(row, eSet))
{
}

KeptValue::~KeptValue()
try
{
    ORegistry registry;
    if (!registry.OpenKey(ParamKey(mRow, meSet).c_str(), ORegistry::OPEN_ONLY)) return;
    if (!mOld) RegDeleteValueA(registry.GetKeyHandle(), mRow.pName);
    else StoreValue(registry.GetKeyHandle(), *mOld);
}
catch (const Stop& stop)
{
    Note(stop.what()); // a destructor never throws
    return;
}
} // namespace tool
