#include "CString.h"

#include <algorithm>

// A text between GetBuffer and ReleaseBuffer is owned by one object, so a plain count of 1 is all that "unshared" needs here.

static CString Joined(const char* pLeft, int iLeft, const char* pRight, int iRight)
{
    CString sResult;
    const int iBoth = TextLength(static_cast<std::size_t>(iLeft) + static_cast<std::size_t>(iRight));
    char* pText = sResult.GetBuffer(iBoth);
    std::memcpy(pText, pLeft, static_cast<std::size_t>(iLeft));
    std::memcpy(pText + iLeft, pRight, static_cast<std::size_t>(iRight));
    sResult.ReleaseBuffer(iBoth);
    return sResult;
}

static int LengthOf(const char* pText) { return pText ? TextLength(std::strlen(pText)) : 0; }

CString::CString(const char* pText, int iLength) : CString()
{
    if (iLength <= 0) return;
    mpText = Data::Create(iLength)->Text();
    std::memcpy(mpText, pText, static_cast<std::size_t>(iLength));
}

CString::CString(char cFill, int iRepeat) : CString()
{
    if (iRepeat < 1) return;
    mpText = Data::Create(iRepeat)->Text();
    std::memset(mpText, cFill, static_cast<std::size_t>(iRepeat));
}

CString& CString::operator=(const CString& sSource) noexcept
{
    if (mpText == sSource.mpText) return *this;
    if (!sSource.GetData()->IsEmptyBlock()) sSource.GetData()->Share();
    Adopt(sSource.GetData());
    return *this;
}

CString& CString::operator=(CString&& sSource) noexcept
{
    std::swap(mpText, sSource.mpText);
    return *this;
}

CString& CString::operator=(const char* pText)
{
    const int iLength = LengthOf(pText);
    Data* pData = GetData();
    if (iLength > 0 && pData->Refs() == 1 && iLength <= pData->lAllocated)
    {
        std::memmove(mpText, pText, static_cast<std::size_t>(iLength));
        SetLength(iLength);
        return *this;
    }
    return *this = CString(pText, iLength); // made before the old block goes: pText may point into it
}

CString& CString::operator=(char cText) { return *this = CString(cText, 1); }

void CString::Empty() { Adopt(Data::Empty()); }

void CString::SetAt(int iIndex, char cText) { GetBuffer(0)[iIndex] = cText; }

void CString::Adopt(Data* pData)
{
    GetData()->Release();
    mpText = pData->Text();
}

CString& CString::Append(const char* pText, int iLength)
{
    if (iLength == 0) return *this;
    Data* pData = GetData();
    const int iOld = pData->lLength;
    if (pData->Refs() == 1 && iLength <= pData->lAllocated - iOld)
    {
        std::memmove(mpText + iOld, pText, static_cast<std::size_t>(iLength));
        SetLength(iOld + iLength);
        return *this;
    }
    return *this = Joined(mpText, iOld, pText, iLength);
}

int CString::CompareNoCase(const char* pText) const { return _stricmp(mpText, pText); }

int CString::Find(char cText, int iStart) const
{
    if (iStart < 0 || iStart > GetLength()) return -1;
    const char* pFound = std::strchr(mpText + iStart, cText);
    return pFound ? static_cast<int>(pFound - mpText) : -1;
}

int CString::Find(const char* pText, int iStart) const
{
    if (iStart < 0 || iStart > GetLength()) return -1;
    const char* pFound = std::strstr(mpText + iStart, pText);
    return pFound ? static_cast<int>(pFound - mpText) : -1;
}

int CString::ReverseFind(char cText) const
{
    const char* pFound = std::strrchr(mpText, cText);
    return pFound ? static_cast<int>(pFound - mpText) : -1;
}

int CString::FindOneOf(const char* pSet) const
{
    const char* pFound = std::strpbrk(mpText, pSet);
    return pFound ? static_cast<int>(pFound - mpText) : -1;
}

CString CString::Mid(int iFirst, int iCount) const
{
    iFirst = std::clamp(iFirst, 0, GetLength());
    iCount = std::clamp(iCount, 0, GetLength() - iFirst);
    if (iCount == GetLength()) return *this;
    return CString(mpText + iFirst, iCount);
}

CString CString::Right(int iCount) const
{
    iCount = std::clamp(iCount, 0, GetLength());
    return Mid(GetLength() - iCount, iCount);
}

void CString::MakeUpper()
{
    char* pText = GetBuffer(0);
    for (int i = 0; i < GetLength(); ++i)
        if (pText[i] >= 'a' && pText[i] <= 'z') pText[i] -= 'a' - 'A';
}

void CString::MakeLower()
{
    char* pText = GetBuffer(0);
    for (int i = 0; i < GetLength(); ++i)
        if (pText[i] >= 'A' && pText[i] <= 'Z') pText[i] += 'a' - 'A';
}

static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void CString::TrimLeft()
{
    int iFirst = 0;
    while (IsBlank(mpText[iFirst])) ++iFirst;
    *this = Mid(iFirst);
}

void CString::TrimRight()
{
    int iLength = GetLength();
    while (iLength > 0 && IsBlank(mpText[iLength - 1])) --iLength;
    *this = Left(iLength);
}

int CString::Replace(const char* pOld, const char* pNew)
{
    const int iOld = LengthOf(pOld);
    if (iOld == 0) return 0;

    int iCount = 0;
    CString sResult;
    const char* pRest = mpText;
    for (const char* pFound; (pFound = std::strstr(pRest, pOld)) != nullptr; pRest = pFound + iOld, ++iCount)
    {
        sResult.Append(pRest, static_cast<int>(pFound - pRest));
        sResult += pNew;
    }
    if (iCount == 0) return 0;
    sResult += pRest;
    *this = std::move(sResult);
    return iCount;
}

void CString::Format(const char* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    FormatV(pFormat, args);
    va_end(args);
}

void CString::FormatV(const char* pFormat, va_list args)
{
    constexpr int kiMostBytes = 1 << 26; // a format that asks for more is broken
    CString sResult;                     // apart from *this, which may be among the arguments
    for (int iRoom = 255; iRoom < kiMostBytes; iRoom *= 2)
    {
        char* pText = sResult.GetBuffer(iRoom);
        va_list again;
        va_copy(again, args);
        const int iWritten = _vsnprintf(pText, static_cast<std::size_t>(iRoom) + 1, pFormat, again);
        va_end(again);
        if (iWritten < 0 || iWritten > iRoom) continue;
        sResult.ReleaseBuffer(iWritten);
        break;
    }
    *this = sResult.Left(sResult.GetLength());
}

char* CString::GetBuffer(int iMinLength)
{
    Data* pData = GetData();
    if (pData->IsEmptyBlock() && iMinLength <= 0) return mpText;
    if (pData->Refs() == 1 && iMinLength <= pData->lAllocated) return mpText;

    Data* pNew = Data::Create(std::max(iMinLength, static_cast<int>(pData->lLength)));
    std::memcpy(pNew->Text(), mpText, static_cast<std::size_t>(pData->lLength) + 1);
    pNew->lLength = pData->lLength;
    Adopt(pNew);
    return mpText;
}

void CString::ReleaseBuffer(int iNewLength)
{
    if (GetData()->IsEmptyBlock()) return;
    GetBuffer(0);
    SetLength(iNewLength == -1 ? LengthOf(mpText) : iNewLength);
}

void CString::SetLength(int iLength)
{
    GetData()->lLength = iLength;
    mpText[iLength] = 0;
}

char* CString::GetBufferSetLength(int iNewLength)
{
    GetBuffer(iNewLength);
    ReleaseBuffer(iNewLength);
    return mpText;
}

CString operator+(const CString& sLeft, const CString& sRight)
{
    return Joined(sLeft, sLeft.GetLength(), sRight, sRight.GetLength());
}

CString operator+(const CString& sLeft, const char* pRight) { return Joined(sLeft, sLeft.GetLength(), pRight, LengthOf(pRight)); }

CString operator+(const char* pLeft, const CString& sRight) { return Joined(pLeft, LengthOf(pLeft), sRight, sRight.GetLength()); }

CString operator+(const CString& sLeft, char cRight) { return Joined(sLeft, sLeft.GetLength(), &cRight, 1); }

CString operator+(char cLeft, const CString& sRight) { return Joined(&cLeft, 1, sRight, sRight.GetLength()); }
