#include "RegFunctions.h"

#include "CaughtException.h"
#include "ORegistry.h"

// One call of a flat function: a key object of its own, and no exception out. What work() has recorded counts.
template <class Result, class Work>
static Result WithRegistry(Work work)
{
    Result result{};
    try
    {
        ORegistry reg;
        reg.SetRoot(HKEY_LOCAL_MACHINE);
        work(reg, result);
    }
    catch (...) { DropCaught(); }
    return result;
}

// The result is recorded as soon as the key is open; then it is used.
template <class Use>
static int WithKey(const char* pKeyPath, ORegistry::OPEN_MODE eMode, Use use)
{
    return WithRegistry<int>([&](ORegistry& reg, int& iResult)
    {
        iResult = reg.OpenKey(pKeyPath, eMode);
        if (iResult) use(reg);
    });
}

static int IsThere(const char* pKeyPath, const char* pValueName, BYTE* pData, DWORD dwRoom)
{
    return WithRegistry<int>([&](ORegistry& reg, int& iResult)
    {
        if (!reg.OpenKey(pKeyPath, ORegistry::OPEN_ONLY)) return;
        DWORD* pdwSize = pData ? &dwRoom : nullptr;
        iResult = RegQueryValueExA(reg.GetKeyHandle(), pValueName, nullptr, nullptr, pData, pdwSize) == ERROR_SUCCESS;
    });
}

int RegWriteString(const char* pKeyPath, const char* pValueName, const char* pText)
{
    return WithRegistry<int>([&](ORegistry& reg, int& iResult)
    {
        iResult = reg.OpenKey(pKeyPath, ORegistry::OPEN_ONLY);
        if (iResult) reg.WritePChar(pValueName, pText);
        RevertToSelf();
    });
}

int RegCreateAndWriteString(const char* pKeyPath, const char* pValueName, const char* pText)
{
    return WithKey(pKeyPath, ORegistry::OPEN_OR_CREATE, [&](ORegistry& reg) { reg.WritePChar(pValueName, pText); });
}

int RegReadString(const char* pKeyPath, const char* pValueName, char* pBuffer, int iSize)
{
    return WithKey(pKeyPath, ORegistry::OPEN_ONLY, [&](ORegistry& reg) { reg.ReadPChar(pValueName, pBuffer, iSize, nullptr); });
}

int RegWriteDWord(const char* pKeyPath, const char* pValueName, ULONG ulValue)
{
    return WithKey(pKeyPath, ORegistry::OPEN_ONLY, [&](ORegistry& reg) { reg.SetDwordValue(pValueName, ulValue); });
}

int RegCreateAndWriteDWord(const char* pKeyPath, const char* pValueName, ULONG ulValue)
{
    return WithKey(pKeyPath, ORegistry::OPEN_OR_CREATE, [&](ORegistry& reg) { reg.SetDwordValue(pValueName, ulValue); });
}

int RegReadDWord(const char* pKeyPath, const char* pValueName, ULONG* pulValue)
{
    return IsThere(pKeyPath, pValueName, reinterpret_cast<BYTE*>(pulValue), sizeof *pulValue);
}

int RegKeyExist(const char* pKeyPath)
{
    return WithKey(pKeyPath, ORegistry::OPEN_ONLY, [](ORegistry&) {});
}

int RegKeyWithoutBaseExist(const char* pKeyPath)
{
    return WithRegistry<int>([&](ORegistry& reg, int& iResult) { iResult = reg.OpenKeyEx(pKeyPath, ORegistry::OPEN_ONLY); });
}

int RegValueExist(const char* pKeyPath, const char* pValueName) { return IsThere(pKeyPath, pValueName, nullptr, 0); }

int RegKeyCreate(const char* pKeyPath)
{
    return WithKey(pKeyPath, ORegistry::OPEN_OR_CREATE, [](ORegistry&) {});
}

int RegKeyDelete(const char* pKeyPath)
{
    // The object has no key open, so this raises. Callers have long relied on the key staying where it is.
    return WithRegistry<int>([&](ORegistry& reg, int& iResult) { iResult = reg.DeleteKey(pKeyPath); });
}

HKEY RegKeyGetHandle(const char* pKeyPath)
{
    return WithRegistry<HKEY>([&](ORegistry& reg, HKEY& hResult)
    {
        if (reg.OpenKey(pKeyPath, ORegistry::OPEN_ONLY)) hResult = reg.GetKeyHandle();
    });
}

int RegIsInstTypeAlder()
{
    return WithRegistry<int>([](ORegistry& reg, int& iResult) { iResult = reg.IsInstTypeAlder(); });
}

int RegIsInstTypeBirch()
{
    return WithRegistry<int>([](ORegistry& reg, int& iResult) { iResult = reg.IsInstTypeBirch(); });
}

int RegIsInstTypeCedar()
{
    return WithRegistry<int>([](ORegistry& reg, int& iResult) { iResult = reg.IsInstTypeCedar(); });
}
