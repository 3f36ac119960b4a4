#include "CPtrArray.h"

#include <cstring>
#include <limits>

IMPLEMENT_DYNAMIC(CPtrArray, CObject)

int CPtrArray::Add(void* pElement)
{
    if (miSize == miRoom)
    {
        if (miRoom > std::numeric_limits<int>::max() / 2) AfxThrowMemoryException();
        const int iRoom = miRoom ? miRoom * 2 : 4;
        void** pData = static_cast<void**>(AfxAllocate(static_cast<std::size_t>(iRoom) * sizeof(void*)));
        if (miSize) std::memcpy(pData, mpData, static_cast<std::size_t>(miSize) * sizeof(void*));
        AfxFree(mpData);
        mpData = pData;
        miRoom = iRoom;
    }
    mpData[miSize] = pElement;
    return miSize++;
}

void CPtrArray::RemoveAll()
{
    AfxFree(mpData);
    mpData = nullptr;
    miSize = miRoom = 0;
}
