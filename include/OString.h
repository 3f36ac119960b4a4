// The one text type of the suite: UTF-16 units in a counted block that is shared until it is written to.
//
//  * One pointer wide; always zero-terminated; never null. Lengths, indexes and rooms are units, the closing zero not counted.
//  * Allocation is exact: no growth factor. Make room with GetBuffer before many small appends.
//  * Literals: u"text" serves wherever units are asked for (and L"text" where wchar_t has 16 bits).
//  * Throws CMemoryException* when memory is exhausted, and nothing else.
//  * One thread at a time for an object; objects that share a block may be used from different threads.
#pragma once

#include "Platform.h"

#include "CString.h"

#include <cstdarg>

// The header in front of the units: references (-1: locked, or the shared empty block), length, allocated length.
using OStringData = TTextData<unsigned short>;

class OString
{
public:
    OString() noexcept { Init(); }
    // A locked or empty source is copied up to its first zero; any other is shared.
    OString(const OString& sSource);
    // Null: empty. Below 0x10000: not a text but the id of one in the resource library.
    OString(const unsigned short* pText);
    // Takes iCount units as they are, zeros included.
    OString(const unsigned short* pText, int iCount);
    OString(unsigned short cFill, int iRepeat);
    // 8-bit text in the process's code page; null: empty.
    OString(const char* pText);
    OString(const unsigned char* pText);
    template <OWideChar T> OString(const T* pText) : OString(AsUnits(pText)) {}
    template <OWideChar T> OString(const T* pText, int iCount) : OString(AsUnits(pText), iCount) {}
    ~OString() { GetData()->Release(); }

    OString& operator=(const OString& sSource);
    OString& operator=(const unsigned short* pText);
    OString& operator=(unsigned short cText);
    // The byte is sign-extended, not converted: 0xE9 becomes 0xFFE9.
    OString& operator=(char cText) { return *this = Widened(cText); }
    // A null text leaves an unshared string as it is.
    OString& operator=(const char* pText);
    OString& operator=(const unsigned char* pText) { return *this = reinterpret_cast<const char*>(pText); }
    template <OWideChar T> OString& operator=(const T* pText) { return *this = AsUnits(pText); }
    template <OWideChar T> OString& operator=(T cText) { return *this = static_cast<unsigned short>(cText); }
    void Empty();

    int GetLength() const { return GetData()->lLength; }
    int GetAllocLength() const { return GetData()->lAllocated; }
    int IsEmpty() const { return GetLength() == 0; }
    OStringData* GetData() const { return OStringData::Of(mpText); }
    unsigned short operator[](int iIndex) const { return mpText[iIndex]; } // no bounds check
    operator const unsigned short*() const { return mpText; }
    void SetAt(int iIndex, unsigned short cText); // no bounds check

    OString& operator+=(const OString& sText) { return ConcatInPlace(sText.GetLength(), sText.mpText), *this; }
    OString& operator+=(const unsigned short* pText) { return ConcatInPlace(SafeStrlen(pText), pText), *this; }
    OString& operator+=(unsigned short cText) { return ConcatInPlace(1, &cText), *this; }
    OString& operator+=(char cText) { return *this += Widened(cText); } // sign-extended
    template <OWideChar T> OString& operator+=(const T* pText) { return *this += AsUnits(pText); }
    template <OWideChar T> OString& operator+=(T cText) { return *this += static_cast<unsigned short>(cText); }

    // Negative, 0 or positive; by unit value, without case, by the locale's order.
    int Compare(const unsigned short* pText) const;
    int CompareNoCase(const unsigned short* pText) const;
    int Collate(const unsigned short* pText) const;
    template <OWideChar T> int Compare(const T* pText) const { return Compare(AsUnits(pText)); }
    template <OWideChar T> int CompareNoCase(const T* pText) const { return CompareNoCase(AsUnits(pText)); }
    template <OWideChar T> int Collate(const T* pText) const { return Collate(AsUnits(pText)); }

    // Index of what was found, or -1. A single unit is reduced to its low 8 bits first; 0 finds the closing zero.
    int Find(unsigned short cText) const;
    int Find(int iText) const { return Find(static_cast<unsigned short>(iText)); }
    int ReverseFind(unsigned short cText) const;
    int Find(const unsigned short* pText) const;
    int FindOneOf(const unsigned short* pSet) const;
    template <OWideChar T> int Find(const T* pText) const { return Find(AsUnits(pText)); }
    template <OWideChar T> int FindOneOf(const T* pSet) const { return FindOneOf(AsUnits(pSet)); }

    // Positions and counts beyond the text are cut to it.
    OString Mid(int iFirst, int iCount) const;
    OString Mid(int iFirst) const;
    OString Left(int iCount) const;
    OString Right(int iCount) const;
    OString SpanIncluding(const unsigned short* pSet) const;
    OString SpanExcluding(const unsigned short* pSet) const;
    template <OWideChar T> OString SpanIncluding(const T* pSet) const { return SpanIncluding(AsUnits(pSet)); }
    template <OWideChar T> OString SpanExcluding(const T* pSet) const { return SpanExcluding(AsUnits(pSet)); }

    void MakeUpper();
    void MakeLower();
    void MakeReverse();
    // White space is what the runtime's multibyte test says of each unit.
    void TrimLeft();
    void TrimRight();

    // GetBuffer: the units, unshared, with room for iMinLength; to be followed by ReleaseBuffer.
    unsigned short* GetBuffer(int iMinLength);
    unsigned short* GetBufferSetLength(int iNewLength);
    void ReleaseBuffer(int iNewLength = -1); // -1: measure
    void FreeExtra();
    // LockBuffer: from here on the block is never shared; copies are made by value.
    unsigned short* LockBuffer();
    void UnlockBuffer();

    // Automation strings: the caller owns what it gets.
    unsigned short* AllocSysString() const;
    unsigned short* SetSysString(unsigned short** ppTarget) const;

    // Format: printf formats of the Windows runtime; %s takes 16-bit text, %S and %hs 8-bit text. A result longer than
    //   the reserved estimate is cut. The id form takes its format from the resource library.
    void Format(const unsigned short* pFormat, ...);
    void Format(unsigned int ulId, ...);
    template <OWideChar T, class... Args> void Format(const T* pFormat, const Args&... args)
    {
        Format(AsUnits(pFormat), AsArgument(args)...);
    }

    // FormatMessageA: inserts such as %1 and %1!d!, of 16-bit text despite the name. A bad format raises CMemoryException*.
    void FormatMessageA(const unsigned short* pFormat, ...);
    void FormatMessageA(unsigned int ulId, ...);
    template <OWideChar T, class... Args> void FormatMessageA(const T* pFormat, const Args&... args)
    {
        FormatMessageA(AsUnits(pFormat), AsArgument(args)...);
    }
    // FormatMessageW: the system's call, its arguments and its result.
    ULONG FormatMessageW(ULONG ulFlags, const void* pSource, ULONG ulMessageId, ULONG ulLanguageId, unsigned short* pBuffer,
                         ULONG ulChars, va_list* pArguments);

    // LoadStringA: text ulId of the resource library; nonzero when there was one. Texts are cut at 256 units.
    int LoadStringA(unsigned int ulId);

    // Substitute: replaces the first sFind at or after ulStart; 1 when there was one.
    int Substitute(OString sFind, OString sReplacement, unsigned int ulStart);

    // ConvertToMultiByte: 8-bit text; a fixed error text when it cannot be converted or is longer than 8,192 bytes.
    CString ConvertToMultiByte() const;

protected:
    void Init() noexcept { mpText = OStringData::Empty()->Text(); }
    static int SafeStrlen(const unsigned short* pText);
    void AllocBuffer(int iLength);
    void Release();
    static void Release(OStringData* pData) { pData->Release(); }
    void CopyBeforeWrite();
    void AllocBeforeWrite(int iLength);
    void AssignCopy(int iLength, const unsigned short* pText);
    void AllocCopy(OString& sTarget, int iCopyLength, int iCopyIndex, int iExtraLength) const;
    void ConcatCopy(int iLength1, const unsigned short* pText1, int iLength2, const unsigned short* pText2);
    void ConcatInPlace(int iLength, const unsigned short* pText);
    void FormatV(const unsigned short* pFormat, va_list args);

private:
    friend OString operator+(const OString& sLeft, const OString& sRight);
    friend OString operator+(const OString& sLeft, const unsigned short* pRight);
    friend OString operator+(const unsigned short* pLeft, const OString& sRight);
    friend OString operator+(const OString& sLeft, unsigned short cRight);
    friend OString operator+(unsigned short cLeft, const OString& sRight);

    static unsigned short Widened(char cText) { return static_cast<unsigned short>(static_cast<signed char>(cText)); }
    static OString Joined(int iLeft, const unsigned short* pLeft, int iRight, const unsigned short* pRight);
    bool MustAllocate(int iLength) const;
    void SetLength(int iLength);
    void ConcatBeyondRoom(int iLength, const unsigned short* pText);
    int LoadResourceText(unsigned int ulId, int iRoom);
    void FormatMessageV(const unsigned short* pFormat, va_list* pArguments);

    static const unsigned short* AsArgument(const OString& sText) { return sText; }
    template <class T> static const T& AsArgument(const T& value) { return value; }

    unsigned short* mpText;
};
static_assert(sizeof(OString) == sizeof(void*));

// AfxGetEmptyOString: the empty string that every empty string shares its block with.
const OString& AfxGetEmptyOString();

OString operator+(const OString& sLeft, const OString& sRight);
OString operator+(const OString& sLeft, const unsigned short* pRight);
OString operator+(const unsigned short* pLeft, const OString& sRight);
OString operator+(const OString& sLeft, unsigned short cRight);
OString operator+(unsigned short cLeft, const OString& sRight);
inline OString operator+(const OString& sLeft, char cRight)
{
    return sLeft + static_cast<unsigned short>(static_cast<signed char>(cRight));
}
inline OString operator+(char cLeft, const OString& sRight)
{
    return static_cast<unsigned short>(static_cast<signed char>(cLeft)) + sRight;
}
template <OWideChar T> OString operator+(const OString& sLeft, const T* pRight) { return sLeft + AsUnits(pRight); }
template <OWideChar T> OString operator+(const T* pLeft, const OString& sRight) { return AsUnits(pLeft) + sRight; }
template <OWideChar T> OString operator+(const OString& sLeft, T cRight) { return sLeft + static_cast<unsigned short>(cRight); }
template <OWideChar T> OString operator+(T cLeft, const OString& sRight) { return static_cast<unsigned short>(cLeft) + sRight; }

// Equal texts, not equal pointers.
inline bool operator==(const OString& sLeft, const OString& sRight)
{
    return sLeft.GetLength() == sRight.GetLength() &&
           std::memcmp(static_cast<const unsigned short*>(sLeft), static_cast<const unsigned short*>(sRight),
                       static_cast<std::size_t>(sLeft.GetLength()) * sizeof(unsigned short)) == 0;
}
inline bool operator==(const OString& sLeft, const unsigned short* pRight) { return sLeft.Compare(pRight) == 0; }
template <OWideChar T> bool operator==(const OString& sLeft, const T* pRight) { return sLeft.Compare(pRight) == 0; }

inline OString::OString(const OString& sSource) : mpText(sSource.mpText)
{
    OStringData* pData = GetData();
    if (pData->Refs() >= 0)
    {
        pData->Share();
        return;
    }
    Init();
    if (!pData->IsEmptyBlock()) *this = static_cast<const unsigned short*>(sSource);
}

inline void OString::ConcatInPlace(int iLength, const unsigned short* pText)
{
    OStringData* pData = GetData();
    const int iOld = pData->lLength;
    // From 1 to the room that is left, in one comparison. Appending nothing takes the long way too: a shared string becomes a
    // copy of its own by it.
    const bool bFits = static_cast<unsigned int>(iLength) - 1u < static_cast<unsigned int>(pData->lAllocated - iOld);
    if (!bFits || pData->Refs() > 1) return ConcatBeyondRoom(iLength, pText);
    if (!pText) __builtin_unreachable(); // there are units
    unsigned short* const pEnd = mpText + iOld;
    pData->lLength = iOld + iLength;
    std::memcpy(pEnd, pText, static_cast<std::size_t>(iLength) * sizeof(unsigned short));
    pEnd[iLength] = 0;
}
