// A growing row of 32-bit numbers.
//
//  * Indexes are from 0 to GetSize() - 1; they are not checked.
//  * Throws CMemoryException* when memory is exhausted, or for more entries than an int can count; the row is as before then.
//  * One thread at a time.
#pragma once

#include "CObject.h"

#include <cstddef>

class CDWordArray : public CObject
{
    DECLARE_DYNAMIC(CDWordArray)

public:
    CDWordArray() = default;
    ~CDWordArray() override { RemoveAll(); }
    CDWordArray(const CDWordArray&) = delete;
    CDWordArray& operator=(const CDWordArray&) = delete;

    int GetSize() const { return miSize; }
    DWORD GetAt(int iIndex) const { return mpData[iIndex]; }
    DWORD operator[](int iIndex) const { return mpData[iIndex]; }
    DWORD& operator[](int iIndex) { return mpData[iIndex]; }
    void SetAt(int iIndex, DWORD ulElement) { mpData[iIndex] = ulElement; }
    // GetData: the entries, one after another, until the row grows; null while it has no room.
    DWORD* GetData() { return mpData; }
    const DWORD* GetData() const { return mpData; }

    int Add(DWORD ulElement);                                 // returns its index
    void Append(const DWORD* pElements, std::size_t ulCount); // which may be the row's own
    void InsertAt(int iIndex, DWORD ulElement);               // before the entry that is there; GetSize() appends
    void RemoveAll();

    // Reserve: room for ulCount entries in all, which are then added without taking memory.
    void Reserve(std::size_t ulCount);
    void Swap(CDWordArray& other) noexcept;

private:
    void MakeRoom(std::size_t ulCount);

    DWORD* mpData = nullptr;
    int miSize = 0;
    int miRoom = 0;
};
