// A growing row of pointers, which it does not own.
//
//  * Indexes are from 0 to GetSize() - 1.      * Throws CMemoryException* when memory is exhausted; the row is as before then.
#pragma once

#include "CObject.h"

class CPtrArray : public CObject
{
    DECLARE_DYNAMIC(CPtrArray)

public:
    CPtrArray() = default;
    ~CPtrArray() override { RemoveAll(); }
    CPtrArray(const CPtrArray&) = delete;
    CPtrArray& operator=(const CPtrArray&) = delete;

    int GetSize() const { return miSize; }
    void* GetAt(int iIndex) const { return mpData[iIndex]; }
    void* operator[](int iIndex) const { return mpData[iIndex]; }

    int Add(void* pElement); // returns its index
    void RemoveAll();

private:
    void** mpData = nullptr;
    int miSize = 0;
    int miRoom = 0;
};
