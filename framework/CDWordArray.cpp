#include "CDWordArray.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

IMPLEMENT_DYNAMIC(CDWordArray, CObject)

static constexpr std::size_t kulMostEntries = std::numeric_limits<int>::max();

void CDWordArray::Reserve(std::size_t ulCount)
{
    if (ulCount <= static_cast<std::size_t>(miRoom)) return;
    if (ulCount > kulMostEntries) AfxThrowMemoryException();
    DWORD* pData = static_cast<DWORD*>(AfxAllocate(ulCount * sizeof(DWORD)));
    if (miSize) std::memcpy(pData, mpData, static_cast<std::size_t>(miSize) * sizeof(DWORD));
    AfxFree(mpData);
    mpData = pData;
    miRoom = static_cast<int>(ulCount);
}

// For so many more entries, with room to spare: adding one after another moves each only now and then.
void CDWordArray::MakeRoom(std::size_t ulCount)
{
    const std::size_t ulRoom = miRoom, ulSize = miSize;
    if (ulCount <= ulRoom - ulSize) return;
    if (ulCount > kulMostEntries - ulSize) AfxThrowMemoryException();
    Reserve(std::max(ulSize + ulCount, std::min(ulRoom ? ulRoom * 2 : 4, kulMostEntries)));
}

int CDWordArray::Add(DWORD ulElement)
{
    MakeRoom(1);
    mpData[miSize] = ulElement;
    return miSize++;
}

void CDWordArray::Append(const DWORD* pElements, std::size_t ulCount)
{
    if (ulCount == 0) return;
    const bool bOwn = pElements >= mpData && pElements < mpData + miSize;
    const std::size_t ulAt = bOwn ? static_cast<std::size_t>(pElements - mpData) : 0;
    MakeRoom(ulCount);
    std::memcpy(mpData + miSize, bOwn ? mpData + ulAt : pElements, ulCount * sizeof(DWORD));
    miSize += static_cast<int>(ulCount);
}

void CDWordArray::InsertAt(int iIndex, DWORD ulElement)
{
    MakeRoom(1);
    DWORD* pPlace = mpData + iIndex;
    std::memmove(pPlace + 1, pPlace, static_cast<std::size_t>(miSize - iIndex) * sizeof(DWORD));
    *pPlace = ulElement;
    ++miSize;
}

void CDWordArray::RemoveAll()
{
    AfxFree(mpData);
    mpData = nullptr;
    miSize = miRoom = 0;
}

void CDWordArray::Swap(CDWordArray& other) noexcept
{
    std::swap(mpData, other.mpData);
    std::swap(miSize, other.miSize);
    std::swap(miRoom, other.miRoom);
}
