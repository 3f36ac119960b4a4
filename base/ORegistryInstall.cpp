// What is installed on the machine: the instrument family, and the security switches.
#include "ORegistry.h"

namespace
{
struct OFamily
{
    int (ORegistry::*pIsInstalled)();
    const char* pBasePath;
};
constexpr OFamily kFamilies[] = {
    {&ORegistry::IsInstTypeCedar, "Software\\Tarvek\\Lum\\ES\\Cedar\\"},
    {&ORegistry::IsInstTypeBirch, "Software\\Tarvek\\Lum\\ES\\Birch\\"},
    {&ORegistry::IsInstTypeAlder, "Software\\Tarvek\\Lum\\ES\\Alder\\"},
};

enum { kiLoginSecurity = 1, kiCfrSecurity = 2 };
} // namespace

void ORegistry::InitRegistryWithCedarBasePath()
{
    if (!mBasePath.IsEmpty()) return;
    ORegistry reg;
    reg.InitAccess(KEY_READ);
    for (const OFamily& family : kFamilies)
        if ((reg.*family.pIsInstalled)()) mBasePath = family.pBasePath;
}

int ORegistry::IsInstType(const char* pFamily)
{
    constexpr int kiMostBytes = 10;
    char acFamily[kiMostBytes + 1] = {}; // a name that fills its ten bytes comes without a terminator
    ORegistry reg;
    reg.InitAccess(KEY_READ);
    reg.SetRoot(HKEY_LOCAL_MACHINE);
    if (reg.OpenKeyEx("Software\\Tarvek\\Lum\\General", OPEN_ONLY))
        reg.ReadPChar("InstrumentType", acFamily, kiMostBytes, acFamily);
    return _stricmp(acFamily, pFamily) == 0;
}

int ORegistry::IsInstTypeCedar()
try
{
    return IsInstType("Cedar");
}
catch (...) { LogCaught("ORegistry::IsInstTypeCedar"); throw; }

int ORegistry::IsInstTypeBirch()
try
{
    return IsInstType("Birch");
}
catch (...) { LogCaught("ORegistry::IsInstTypeBirch"); throw; }

int ORegistry::IsInstTypeAlder()
try
{
    return IsInstType("Alder");
}
catch (...) { LogCaught("ORegistry::IsInstTypeAlder"); throw; }

int ORegistry::IsSecuritySwitch(int iNumber)
{
    OpenKey("GALP", OPEN_ONLY);
    return ReadInteger("Enabled", 0) == iNumber;
}

int ORegistry::IsCFRSecurityEnabled()
try
{
    return IsSecuritySwitch(kiCfrSecurity);
}
catch (...) { LogCaught("ORegistry::IsCFRSecurityEnabled"); throw; }

int ORegistry::IsLoginSecurityEnabled()
try
{
    return IsSecuritySwitch(kiLoginSecurity);
}
catch (...) { LogCaught("ORegistry::IsLoginSecurityEnabled"); throw; }
