// An 8-bit text in the process's code page, shared until it is written to.
//
//  * One pointer wide; always zero-terminated; never null. Lengths and indexes are bytes.
//  * A null text counts as an empty one. Throws CMemoryException* when memory is exhausted.
//  * One thread at a time for an object; objects that share a block may be used from different threads.
#pragma once

#include "TextData.h"

#include <cstdarg>
#include <cstring>

class CString
{
public:
    CString() noexcept : mpText(Data::Empty()->Text()) {}
    CString(const CString& sSource) noexcept;
    CString(CString&& sSource) noexcept : mpText(sSource.mpText) { sSource.mpText = Data::Empty()->Text(); }
    CString(const char* pText) : CString(pText, pText ? TextLength(std::strlen(pText)) : 0) {}
    CString(const unsigned char* pText) : CString(reinterpret_cast<const char*>(pText)) {}
    CString(const char* pText, int iLength);
    CString(char cFill, int iRepeat);
    ~CString() { GetData()->Release(); }

    CString& operator=(const CString& sSource) noexcept;
    CString& operator=(CString&& sSource) noexcept;
    CString& operator=(const char* pText);
    CString& operator=(char cText);

    int GetLength() const { return GetData()->lLength; }
    int GetAllocLength() const { return GetData()->lAllocated; }
    bool IsEmpty() const { return GetLength() == 0; }
    void Empty();
    char GetAt(int iIndex) const { return mpText[iIndex]; }
    char operator[](int iIndex) const { return mpText[iIndex]; }
    void SetAt(int iIndex, char cText);
    operator const char*() const { return mpText; }

    CString& operator+=(const CString& sText) { return Append(sText.mpText, sText.GetLength()); }
    CString& operator+=(const char* pText) { return Append(pText, pText ? TextLength(std::strlen(pText)) : 0); }
    CString& operator+=(char cText) { return Append(&cText, 1); }

    int Compare(const char* pText) const { return std::strcmp(mpText, pText); }
    int CompareNoCase(const char* pText) const;

    // Positions are counted from 0; -1 means not found.
    int Find(char cText, int iStart = 0) const;
    int Find(const char* pText, int iStart = 0) const;
    int ReverseFind(char cText) const;
    int FindOneOf(const char* pSet) const;

    // Positions and counts beyond the text are cut to it.
    CString Mid(int iFirst, int iCount) const;
    CString Mid(int iFirst) const { return Mid(iFirst, GetLength()); }
    CString Left(int iCount) const { return Mid(0, iCount); }
    CString Right(int iCount) const;

    void MakeUpper();
    void MakeLower();
    void TrimLeft();
    void TrimRight();
    // Replace: every occurrence of pOld, from the left, by pNew; returns how many there were.
    int Replace(const char* pOld, const char* pNew);

    // Format: printf formats of the Windows runtime.
    void Format(const char* pFormat, ...);
    void FormatV(const char* pFormat, va_list args);

    // GetBuffer: the characters, unshared, with room for iMinLength of them; to be followed by ReleaseBuffer.
    char* GetBuffer(int iMinLength);
    // ReleaseBuffer: sets the length; -1 measures it.
    void ReleaseBuffer(int iNewLength = -1);
    char* GetBufferSetLength(int iNewLength);

private:
    using Data = TTextData<char>;

    Data* GetData() const { return Data::Of(mpText); }
    CString& Append(const char* pText, int iLength);
    void Adopt(Data* pData);
    void SetLength(int iLength); // of a text that is unshared and has the room

    char* mpText;
};
static_assert(sizeof(CString) == sizeof(void*));

CString operator+(const CString& sLeft, const CString& sRight);
CString operator+(const CString& sLeft, const char* pRight);
CString operator+(const char* pLeft, const CString& sRight);
CString operator+(const CString& sLeft, char cRight);
CString operator+(char cLeft, const CString& sRight);

inline bool operator==(const CString& sLeft, const CString& sRight)
{
    return sLeft.GetLength() == sRight.GetLength() && std::memcmp(sLeft, sRight, static_cast<std::size_t>(sLeft.GetLength())) == 0;
}
inline bool operator==(const CString& sLeft, const char* pRight) { return sLeft.Compare(pRight) == 0; }
inline bool operator<(const CString& sLeft, const CString& sRight) { return sLeft.Compare(sRight) < 0; }

inline CString::CString(const CString& sSource) noexcept : mpText(sSource.mpText)
{
    if (!GetData()->IsEmptyBlock()) GetData()->Share();
}
