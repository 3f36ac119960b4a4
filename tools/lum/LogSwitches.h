// The switches that decide what programs log, as the library reads them at a program's start.
#pragma once

#include "RegStore.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool
{
// A group, a class or an item, with what is below it.
struct LogSwitch
{
    std::u16string sName;
    bool bOn = true;         // a switch that is not stored is on
    bool bWrongType = false; // it is stored, but not as a number: programs fail to start their log
    bool bMissing = false;   // not in the registry at all
    std::vector<LogSwitch> below;
};

// One of those that stand above all groups.
struct GlobalSwitch
{
    const char16_t* pValue; // its name in the registry
    const char* pOption;    // its name for lum
    const char* pOn;        // what it means
    const char* pOff;
};
inline constexpr GlobalSwitch kGlobalSwitches[] = {
    {u"Enabled", "--all", "lines are logged", "nothing is logged, except in errors-only mode"},
    {u"DefaultEnable", "--default", "what was never logged before starts on", "what was never logged before starts off"},
    {u"EnableErrorsOnly", "--errors-only", "only Error, Warning, Debug and Exception... are logged, whatever stands below",
     "groups are logged as the switches below say"},
};
enum { kSwitchAll, kSwitchDefault, kSwitchErrorsOnly };

struct LogSwitches
{
    bool bExist = false; // false: every program starts with the defaults
    LogSwitch globals[std::size(kGlobalSwitches)];
    std::vector<LogSwitch> groups;
};

RegKeyName LogSwitchKey(); // "Debug", below the instrument's base path
LogSwitches ReadLogSwitches();
const LogSwitch* FindSwitch(const std::vector<LogSwitch>& switches, const std::u16string& sName); // in any case; null: none

// SwitchPath: the names of "Comms/OSerial/Item", or with backslashes. Throws Stop (a usage error).
std::vector<std::u16string> SwitchPath(const std::string& sWord);

// SetLogSwitch: sets the switch of a path; off: those below it as well, unless bAlone.
//   What is missing of the path is made, down to an item, since the library takes no group without classes and no class without
//   items. A group that is made leaves the decision to its classes. All of it is done or nothing.
void SetLogSwitch(const std::vector<std::u16string>& path, bool bOn, bool bAlone);
void SetGlobalSwitch(const GlobalSwitch& global, bool bOn);
} // namespace tool
