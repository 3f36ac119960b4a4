// One parameter: found by its words, read with what is stored, written with a look at the result.
#pragma once

#include "Json.h"
#include "ParamTable.h"
#include "RegStore.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tool
{
struct ParamValue
{
    std::string sText;         // what a client gets; the error's text when it gets an error
    bool bStored = false;      // false: sText is the default
    bool bOtherType = false;   // something is stored, but not as text, and does not count
    std::uint32_t ulError = 0; // the code that a client gets instead of a value
    std::string sAnswer;       // "IsAxial = 1", where a getter answers something else than the stored number
};

// FindParam: the row that [BLOCK, PHASE, NAME] or [BLOCK, NAME] means, in any case. Throws Stop that lists what there is.
const ParamRow& FindParam(const std::vector<std::string>& words);

// ReadParam: changes nothing. (Some getters of the library store their default when the value is missing; for those
// the default is taken from the table.)
ParamValue ReadParam(const ParamRow& row, ParamSet eSet);

// WriteParam: throws Stop when the value is not of the row's kind, the row is read-only, the key is missing or the
// registry does not hold the value afterwards.
void WriteParam(const ParamRow& row, ParamSet eSet, const std::string& sValue);

// Remembers what is stored and puts it back when it goes.
class KeptValue
{
public:
    KeptValue(const ParamRow& row, ParamSet eSet);
    ~KeptValue();
    KeptValue(const KeptValue&) = delete;
    KeptValue& operator=(const KeptValue&) = delete;
    bool HasKey() const { return mbHasKey; }

private:
    const ParamRow& mRow;
    ParamSet meSet;
    bool mbHasKey;
    std::optional<RegValue> mOld;
};

void AddJson(Json& json, const ParamRow& row, const ParamValue& value);

// CheckRegistry: throws Stop when the registry cannot be read. To the library all is missing then, and reads as its default.
void CheckRegistry();

// Below the instrument's base path. Throws Stop when the key may not be opened.
bool ParamKeyExists(const std::string& sKey);
std::string FullParamKey(const std::string& sKey); // "HKLM\Software\Tarvek\Lum\ES\Cedar\Ignition"

// The base path of the installed family, with its backslash; empty when no family is installed.
std::string BasePath();
} // namespace tool
