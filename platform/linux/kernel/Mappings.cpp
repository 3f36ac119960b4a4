#include "Mappings.h"

#include "MappingObject.h"
#include "NamedHandles.h"
#include "Views.h"

#include <sys/mman.h>

#include <bit>
#include <cerrno>

namespace
{
constexpr lum::RightsRow kRights = {0x00020005, 0x00020002, 0x00020008, SECTION_ALL_ACCESS};
constexpr ULONGLONG kullGranularity = 0x10000;
constexpr DWORD kulExecute = PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD kulProtections = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | kulExecute;

// What a handle made with a protection may be used for.
DWORD AccessFor(DWORD ulProtect)
{
    DWORD ulAccess = 0x000F0000 | SECTION_QUERY | SECTION_MAP_READ;
    if (ulProtect & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE)) ulAccess |= SECTION_MAP_WRITE;
    if (ulProtect & kulExecute) ulAccess |= SECTION_MAP_EXECUTE;
    return ulAccess;
}

DWORD FlagError(DWORD ulFlags)
{
    if (ulFlags & SEC_IMAGE) return ERROR_NOT_SUPPORTED;
    constexpr DWORD kulKnown = SEC_FILE | SEC_RESERVE | SEC_COMMIT | SEC_NOCACHE;
    const bool bBoth = (ulFlags & SEC_RESERVE) && (ulFlags & SEC_COMMIT);
    const bool bNeither = (ulFlags & SEC_NOCACHE) && !(ulFlags & (SEC_RESERVE | SEC_COMMIT));
    return bBoth || bNeither || (ulFlags & ~kulKnown) ? ERROR_INVALID_PARAMETER : NO_ERROR;
}

template <class Text>
HANDLE Create(HANDLE hFile, DWORD ulFlags, DWORD ulSizeHigh, DWORD ulSizeLow, Text pName)
{
    const lum::MappingRequest request{hFile, ulFlags & 0xFFFF, static_cast<ULONGLONG>(ulSizeHigh) << 32 | ulSizeLow};
    if (!std::has_single_bit(request.ulProtect) || !(request.ulProtect & kulProtections))
        return lum::Fail(ERROR_INVALID_PARAMETER), nullptr;
    if (const DWORD ulError = FlagError(ulFlags & ~DWORD{0xFFFF})) return lum::Fail(ulError), nullptr;
    if (request.IsMemory() && request.ullBytes == 0) return lum::Fail(ERROR_INVALID_PARAMETER), nullptr;
    if (pName && *pName) return lum::CreateNamed(pName, lum::NamedMappingKind(request), AccessFor(request.ulProtect));

    lum::MappingObject* pMapping = lum::MappingObject::Make(request);
    if (!pMapping) return nullptr;
    const HANDLE hMapping = lum::InsertHandle(pMapping, AccessFor(request.ulProtect));
    SetLastError(hMapping ? NO_ERROR : ERROR_TOO_MANY_OPEN_FILES);
    return hMapping;
}

template <class Text>
HANDLE Open(DWORD ulAccess, Text pName)
{
    const DWORD ulRights = lum::GenericRights(ulAccess == FILE_MAP_COPY ? SECTION_MAP_READ : ulAccess, kRights);
    return lum::OpenExisting(pName, lum::NamedMappingKind({nullptr, PAGE_READWRITE, 0}), ulRights);
}
} // namespace

HANDLE CreateFileMappingA(HANDLE hFile, LPSECURITY_ATTRIBUTES, DWORD ulProtect, DWORD ulSizeHigh, DWORD ulSizeLow, LPCSTR pName)
{
    return Create(hFile, ulProtect, ulSizeHigh, ulSizeLow, pName);
}

HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES, DWORD ulProtect, DWORD ulSizeHigh, DWORD ulSizeLow, LPCWSTR pName)
{
    return Create(hFile, ulProtect, ulSizeHigh, ulSizeLow, pName);
}

HANDLE OpenFileMappingA(DWORD ulAccess, BOOL, LPCSTR pName) { return Open(ulAccess, pName); }
HANDLE OpenFileMappingW(DWORD ulAccess, BOOL, LPCWSTR pName) { return Open(ulAccess, pName); }

LPVOID MapViewOfFile(HANDLE hMapping, DWORD ulAccess, DWORD ulOffsetHigh, DWORD ulOffsetLow, SIZE_T ulBytes)
{
    DWORD ulRights = 0;
    const lum::ObjectRef ref = lum::LookUpHandle(hMapping, lum::ObjectKind::Mapping, &ulRights);
    if (!ref) return lum::Fail(ERROR_INVALID_HANDLE), nullptr;
    const auto& mapping = *ref.As<lum::MappingObject>();

    const bool bWrite = (ulAccess & FILE_MAP_WRITE) != 0;
    const bool bCopy = !bWrite && (ulAccess & FILE_MAP_COPY) != 0;
    const bool bRead = bWrite || bCopy || (ulAccess & FILE_MAP_READ) != 0;
    const bool bMayWrite = (mapping.Protect() & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE)) != 0;
    if (bWrite ? !(ulRights & SECTION_MAP_WRITE) || !bMayWrite : bRead && !(ulRights & SECTION_MAP_READ))
        return lum::Fail(ERROR_ACCESS_DENIED), nullptr;

    const ULONGLONG ullOffset = static_cast<ULONGLONG>(ulOffsetHigh) << 32 | ulOffsetLow;
    if (ullOffset % kullGranularity != 0) return lum::Fail(ERROR_MAPPED_ALIGNMENT), nullptr;
    if (ullOffset >= mapping.Bytes()) return lum::Fail(ERROR_INVALID_PARAMETER), nullptr;
    if (ulBytes > mapping.Bytes() - ullOffset) return lum::Fail(ERROR_ACCESS_DENIED), nullptr;
    if (ulBytes == 0) ulBytes = static_cast<SIZE_T>(mapping.Bytes() - ullOffset);

    const int iProtection = bWrite || bCopy ? PROT_READ | PROT_WRITE : bRead ? PROT_READ : PROT_NONE;
    void* pView = mmap(nullptr, ulBytes, iProtection, bCopy ? MAP_PRIVATE : MAP_SHARED, mapping.Fd(),
                       static_cast<off_t>(mapping.DataAt() + ullOffset));
    if (pView == MAP_FAILED) return lum::FailErrno(), nullptr;
    if (lum::AddView(pView, ulBytes)) return pView;
    munmap(pView, ulBytes);
    return lum::Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}
