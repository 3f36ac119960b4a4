// Error codes, their texts, and raising.
#include "OBase.h"

#include "OException.h"

#include <memory>

void OBase::Raise(ULONG ulCode)
{
    auto pException = std::make_unique<OAppException>();
    pException->mulErrorBase = mulErrorBase;
    pException->mulOffset = ulCode;
    pException->mulErrorCode = mulErrorBase + ulCode;
    pException->miApiErrorCode = 0;
    BuildExceptionString(pException->mText, ulCode, mulErrorBase, 0, nullptr, nullptr);
    throw pException.release();
}

void OBase::RaiseWithAbsCode(ULONG ulCode)
{
    OString sText;
    BuildErrorString(ulCode, sText, nullptr, nullptr, nullptr);
    ThrowString(ulCode, sText);
}

ULONG OBase::LoadStringA(ULONG ulId, unsigned short* pBuffer, ULONG ulLength)
{
    OString sText;
    sText.LoadStringA(ulId);
    if (!sText.IsEmpty())
    {
        wcsncpy(AsWide(pBuffer), AsWide(static_cast<const unsigned short*>(sText)), ulLength);
        return 1;
    }
    _snwprintf(AsWide(pBuffer), ulLength, AsWide(AsUnits(u"String Id <%u> not found")), ulId);
    return 0;
}

void OBase::BuildErrorString(unsigned int ulId, OString& sOut, const unsigned short*, const unsigned short*, const unsigned short*)
{
    constexpr ULONG kulUnits = 256;
    unsigned short auwText[kulUnits + 1] = {}; // one more: a text that fills the buffer comes without its zero
    LoadStringA(ulId, auwText, kulUnits);

    unsigned short auwResult[kulUnits + 1] = {};
    const unsigned short* pFormat = auwText[0] ? auwText : AsUnits(u"Cannot find string resource for Id=%04d");
    _snwprintf(AsWide(auwResult), kulUnits, AsWide(pFormat), ulId);
    sOut = auwResult;
}
