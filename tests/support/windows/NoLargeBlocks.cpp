#include "NoLargeBlocks.h"

#include "Platform.h"

#include <cstdlib>
#include <cstring>

// Reserving the address space is nothing for this system: under Wine its page tables alone would take all memory there is.

static void* SmallMalloc(std::size_t ulBytes) { return ulBytes < NoLargeBlocks::kulLarge ? std::malloc(ulBytes) : nullptr; }
static void* SmallRealloc(void* pBlock, std::size_t ulBytes)
{
    return ulBytes < NoLargeBlocks::kulLarge ? std::realloc(pBlock, ulBytes) : nullptr;
}
static void* SmallCalloc(std::size_t ulCount, std::size_t ulBytes)
{
    return ulCount * ulBytes < NoLargeBlocks::kulLarge ? std::calloc(ulCount, ulBytes) : nullptr;
}

// Points what the library imports under a name to another function.
static void Redirect(const char* pName, void* pFunction)
{
    BYTE* pModule = reinterpret_cast<BYTE*>(GetModuleHandleA("LumBase.dll"));
    const auto* pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(pModule);
    const auto* pHeaders = reinterpret_cast<const IMAGE_NT_HEADERS*>(pModule + pDos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports = pHeaders->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* pFrom = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(pModule + imports.VirtualAddress); pFrom->Name; ++pFrom)
    {
        const auto* pNames = reinterpret_cast<const IMAGE_THUNK_DATA*>(pModule + pFrom->OriginalFirstThunk);
        auto* pAddresses = reinterpret_cast<IMAGE_THUNK_DATA*>(pModule + pFrom->FirstThunk);
        for (; pNames->u1.AddressOfData; ++pNames, ++pAddresses)
        {
            if (IMAGE_SNAP_BY_ORDINAL(pNames->u1.Ordinal)) continue;
            const auto* pImport = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(pModule + pNames->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(pImport->Name), pName) != 0) continue;
            DWORD dwOld = 0;
            VirtualProtect(pAddresses, sizeof *pAddresses, PAGE_READWRITE, &dwOld);
            pAddresses->u1.Function = reinterpret_cast<ULONG_PTR>(pFunction);
            VirtualProtect(pAddresses, sizeof *pAddresses, dwOld, &dwOld);
        }
    }
}

NoLargeBlocks::NoLargeBlocks()
{
    Redirect("malloc", reinterpret_cast<void*>(&SmallMalloc));
    Redirect("calloc", reinterpret_cast<void*>(&SmallCalloc));
    Redirect("realloc", reinterpret_cast<void*>(&SmallRealloc));
}

NoLargeBlocks::~NoLargeBlocks()
{
    Redirect("malloc", reinterpret_cast<void*>(&std::malloc));
    Redirect("calloc", reinterpret_cast<void*>(&std::calloc));
    Redirect("realloc", reinterpret_cast<void*>(&std::realloc));
}
