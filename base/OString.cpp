// The string's block: sharing, allocation, assignment, searching and extraction.
#include "OString.h"

#include <algorithm>
#include <new>
#include <utility>

static void CopyUnits(unsigned short* pTo, const unsigned short* pFrom, int iCount)
{
    if (iCount > 0) std::memmove(pTo, pFrom, static_cast<std::size_t>(iCount) * sizeof(unsigned short));
}

const OString& AfxGetEmptyOString()
{
    // Never destroyed: other objects may still ask for it while the program ends.
    alignas(OString) static unsigned char aubPlace[sizeof(OString)];
    static const OString& sEmpty = *new (aubPlace) OString;
    return sEmpty;
}

// Construction ----------------------------------------------------------------------------------------------------------

OString::OString(const unsigned short* pText) : OString()
{
    if (!pText) return;
    const auto ulValue = reinterpret_cast<ULONG_PTR>(pText);
    if (ulValue < 0x10000)
    {
        LoadStringA(static_cast<unsigned int>(ulValue));
        return;
    }
    const int iLength = SafeStrlen(pText);
    AllocBuffer(iLength);
    CopyUnits(mpText, pText, iLength);
}

OString::OString(const unsigned short* pText, int iCount) : OString()
{
    AllocBuffer(iCount);
    CopyUnits(mpText, pText, iCount);
}

OString::OString(unsigned short cFill, int iRepeat) : OString()
{
    if (iRepeat < 1) return;
    AllocBuffer(iRepeat);
    std::fill_n(mpText, iRepeat, cFill);
}

// Converts pText, its closing zero included, into iRoom units.
static void ConvertFromNarrow(unsigned short* pTarget, const char* pText, int iRoom)
{
    const int iUnits = MultiByteToWideChar(CP_ACP, 0, pText, -1, AsWide(pTarget), iRoom);
    if (iUnits > 0) pTarget[iUnits - 1] = 0;
}

static int NarrowLength(const char* pText) { return pText ? TextLength(std::strlen(pText)) : 0; }

OString::OString(const char* pText) : OString()
{
    const int iBytes = NarrowLength(pText);
    if (iBytes == 0) return;
    AllocBuffer(iBytes);
    ConvertFromNarrow(mpText, pText, iBytes + 1);
    ReleaseBuffer(-1);
}

OString::OString(const unsigned char* pText) : OString()
{
    *this = reinterpret_cast<const char*>(pText);
}

// Assignment ------------------------------------------------------------------------------------------------------------

OString& OString::operator=(const OString& sSource)
{
    if (mpText == sSource.mpText) return *this;

    OStringData* pOwn = GetData();
    OStringData* pSource = sSource.GetData();
    const bool bLocked = pOwn->Refs() < 0 && !pOwn->IsEmptyBlock();
    if (bLocked || pSource->Refs() < 0)
    {
        AssignCopy(pSource->lLength, pSource->Text());
        return *this;
    }
    pSource->Share();
    Release(pOwn);
    mpText = pSource->Text();
    return *this;
}

OString& OString::operator=(const unsigned short* pText)
{
    AssignCopy(SafeStrlen(pText), pText);
    return *this;
}

OString& OString::operator=(unsigned short cText)
{
    AssignCopy(1, &cText);
    return *this;
}

OString& OString::operator=(const char* pText)
{
    const int iBytes = NarrowLength(pText);
    AllocBeforeWrite(iBytes);
    if (GetData()->IsEmptyBlock()) return *this;
    ConvertFromNarrow(mpText, pText, iBytes + 1);
    ReleaseBuffer(-1);
    return *this;
}

void OString::Empty()
{
    if (GetData()->Refs() < 0)
        *this = "";
    else
        Release();
}

// Concatenation ---------------------------------------------------------------------------------------------------------

OString OString::Joined(int iLeft, const unsigned short* pLeft, int iRight, const unsigned short* pRight)
{
    OString sResult;
    sResult.ConcatCopy(iLeft, pLeft, iRight, pRight);
    return sResult;
}

OString operator+(const OString& sLeft, const OString& sRight)
{
    return OString::Joined(sLeft.GetLength(), sLeft, sRight.GetLength(), sRight);
}

OString operator+(const OString& sLeft, const unsigned short* pRight)
{
    return OString::Joined(sLeft.GetLength(), sLeft, OString::SafeStrlen(pRight), pRight);
}

OString operator+(const unsigned short* pLeft, const OString& sRight)
{
    return OString::Joined(OString::SafeStrlen(pLeft), pLeft, sRight.GetLength(), sRight);
}

OString operator+(const OString& sLeft, unsigned short cRight) { return OString::Joined(sLeft.GetLength(), sLeft, 1, &cRight); }

OString operator+(unsigned short cLeft, const OString& sRight) { return OString::Joined(1, &cLeft, sRight.GetLength(), sRight); }

// Comparison and searching ----------------------------------------------------------------------------------------------

int OString::Compare(const unsigned short* pText) const { return wcscmp(AsWide(mpText), AsWide(pText)); }

int OString::CompareNoCase(const unsigned short* pText) const { return _wcsicmp(AsWide(mpText), AsWide(pText)); }

int OString::Collate(const unsigned short* pText) const { return wcscoll(AsWide(mpText), AsWide(pText)); }

static int IndexOf(const unsigned short* pText, const WCHAR* pFound)
{
    return pFound ? static_cast<int>(pFound - AsWide(pText)) : -1;
}

int OString::Find(unsigned short cText) const { return IndexOf(mpText, wcschr(AsWide(mpText), static_cast<BYTE>(cText))); }

int OString::ReverseFind(unsigned short cText) const
{
    return IndexOf(mpText, wcsrchr(AsWide(mpText), static_cast<BYTE>(cText)));
}

int OString::Find(const unsigned short* pText) const { return IndexOf(mpText, wcsstr(AsWide(mpText), AsWide(pText))); }

int OString::FindOneOf(const unsigned short* pSet) const { return IndexOf(mpText, wcspbrk(AsWide(mpText), AsWide(pSet))); }

// Extraction ------------------------------------------------------------------------------------------------------------

OString OString::Mid(int iFirst, int iCount) const
{
    const int iLength = GetLength();
    iFirst = std::clamp(iFirst, 0, iLength);
    iCount = std::clamp(iCount, 0, iLength - iFirst);

    OString sResult;
    AllocCopy(sResult, iCount, iFirst, 0);
    return sResult;
}

OString OString::Mid(int iFirst) const { return Mid(iFirst, GetLength() - std::max(iFirst, 0)); }

OString OString::Left(int iCount) const { return Mid(0, iCount); }

OString OString::Right(int iCount) const
{
    iCount = std::clamp(iCount, 0, GetLength());
    return Mid(GetLength() - iCount, iCount);
}

OString OString::SpanIncluding(const unsigned short* pSet) const
{
    return Left(static_cast<int>(wcsspn(AsWide(mpText), AsWide(pSet))));
}

OString OString::SpanExcluding(const unsigned short* pSet) const
{
    return Left(static_cast<int>(wcscspn(AsWide(mpText), AsWide(pSet))));
}

// Changing in place -----------------------------------------------------------------------------------------------------

void OString::SetAt(int iIndex, unsigned short cText)
{
    CopyBeforeWrite();
    mpText[iIndex] = cText;
}

void OString::MakeUpper()
{
    CopyBeforeWrite();
    _wcsupr(AsWide(mpText));
}

void OString::MakeLower()
{
    CopyBeforeWrite();
    _wcslwr(AsWide(mpText));
}

void OString::MakeReverse()
{
    CopyBeforeWrite();
    _wcsrev(AsWide(mpText));
}

static bool IsSpace(unsigned short cText) { return _ismbcspace(cText) != 0; }

void OString::TrimRight()
{
    CopyBeforeWrite();
    int iRun = -1; // where the white space began that we are in
    for (int i = 0; mpText[i]; ++i)
    {
        if (!IsSpace(mpText[i])) iRun = -1;
        else if (iRun < 0) iRun = i;
    }
    if (iRun >= 0) SetLength(iRun);
}

void OString::TrimLeft()
{
    CopyBeforeWrite();
    int iFirst = 0;
    while (IsSpace(mpText[iFirst])) ++iFirst;
    if (iFirst == 0) return;

    const int iRest = GetLength() - iFirst;
    CopyUnits(mpText, mpText + iFirst, iRest);
    SetLength(iRest);
}

// Raw buffer access -----------------------------------------------------------------------------------------------------

// The shared empty block is never written to, not even with the zero that it holds.
void OString::SetLength(int iLength)
{
    if (GetData()->IsEmptyBlock()) return;
    GetData()->lLength = iLength;
    mpText[iLength] = 0;
}

unsigned short* OString::GetBuffer(int iMinLength)
{
    OStringData* pOld = GetData();
    if (pOld->Refs() < 2 && iMinLength <= pOld->lAllocated) return mpText;

    const int iLength = pOld->lLength;
    AllocBuffer(std::max(iMinLength, iLength));
    CopyUnits(mpText, pOld->Text(), iLength);
    SetLength(iLength);
    Release(pOld);
    return mpText;
}

void OString::ReleaseBuffer(int iNewLength)
{
    CopyBeforeWrite();
    SetLength(iNewLength == -1 ? SafeStrlen(mpText) : iNewLength);
}

unsigned short* OString::GetBufferSetLength(int iNewLength)
{
    GetBuffer(iNewLength);
    SetLength(iNewLength);
    return mpText;
}

void OString::FreeExtra()
{
    const int iLength = GetLength();
    if (iLength == GetAllocLength()) return;

    OString sExact;
    AllocCopy(sExact, iLength, 0, 0);
    std::swap(mpText, sExact.mpText);
}

unsigned short* OString::LockBuffer()
{
    unsigned short* pText = GetBuffer(0);
    if (!GetData()->IsEmptyBlock()) GetData()->lRefs = -1;
    return pText;
}

void OString::UnlockBuffer()
{
    if (!GetData()->IsEmptyBlock()) GetData()->lRefs = 1;
}

// Automation strings ----------------------------------------------------------------------------------------------------

unsigned short* OString::AllocSysString() const
{
    BSTR pResult = SysAllocStringLen(AsWide(mpText), static_cast<UINT>(GetLength()));
    if (!pResult) AfxThrowMemoryException();
    return reinterpret_cast<unsigned short*>(pResult);
}

unsigned short* OString::SetSysString(unsigned short** ppTarget) const
{
    if (!SysReAllocStringLen(reinterpret_cast<BSTR*>(ppTarget), AsWide(mpText), static_cast<UINT>(GetLength())))
        AfxThrowMemoryException();
    return *ppTarget;
}

// What the members above are made of ------------------------------------------------------------------------------------

int OString::SafeStrlen(const unsigned short* pText) { return pText ? TextLength(wcslen(AsWide(pText))) : 0; }

void OString::AllocBuffer(int iLength)
{
    if (iLength == 0)
        Init();
    else
        mpText = OStringData::Create(iLength)->Text();
}

void OString::Release()
{
    Release(GetData());
    Init();
}

void OString::CopyBeforeWrite()
{
    OStringData* pOld = GetData();
    if (pOld->Refs() <= 1) return;

    // The old block is given back last: the other owners may let go of it meanwhile.
    AllocBuffer(pOld->lLength);
    CopyUnits(mpText, pOld->Text(), pOld->lLength);
    Release(pOld);
}

bool OString::MustAllocate(int iLength) const { return GetData()->Refs() > 1 || iLength > GetData()->lAllocated; }

void OString::AllocBeforeWrite(int iLength)
{
    if (!MustAllocate(iLength)) return;
    Release();
    AllocBuffer(iLength);
}

void OString::AssignCopy(int iLength, const unsigned short* pText)
{
    if (!MustAllocate(iLength))
    {
        CopyUnits(mpText, pText, iLength);
        SetLength(iLength);
        return;
    }
    OString sCopy; // the old block stays until then: pText may point into it
    sCopy.AllocBuffer(iLength);
    CopyUnits(sCopy.mpText, pText, iLength);
    std::swap(mpText, sCopy.mpText);
}

void OString::AllocCopy(OString& sTarget, int iCopyLength, int iCopyIndex, int iExtraLength) const
{
    sTarget.AllocBuffer(iCopyLength + iExtraLength);
    CopyUnits(sTarget.mpText, mpText + iCopyIndex, iCopyLength);
}

void OString::ConcatCopy(int iLength1, const unsigned short* pText1, int iLength2, const unsigned short* pText2)
{
    const int iBoth = TextLength(static_cast<std::size_t>(iLength1) + static_cast<std::size_t>(iLength2));
    if (iBoth == 0) return;
    AllocBuffer(iBoth);
    CopyUnits(mpText, pText1, iLength1);
    CopyUnits(mpText + iLength1, pText2, iLength2);
}

void OString::ConcatBeyondRoom(int iLength, const unsigned short* pText)
{
    if (iLength == 0 && GetData()->Refs() < 2) return;
    OString sJoined = Joined(GetLength(), mpText, iLength, pText); // the old block stays until then: pText may point into it
    std::swap(mpText, sJoined.mpText);
}
