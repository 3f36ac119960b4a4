// The exception classes, the translation of faults, and the texts of errors.
#include "OException.h"

#include "AfxMessage.h"

#include <memory>

namespace
{
constexpr ULONG kulStructuredErrorBase = 34000;
constexpr unsigned int kulStackOverflow = 0xC00000FD;
} // namespace

OAppException::~OAppException() = default;

OAppException& OAppException::operator=(OAppException& source)
{
    m_bAutoDelete = source.m_bAutoDelete;
    mulErrorBase = source.mulErrorBase;
    mulOffset = source.mulOffset;
    mulErrorCode = source.mulErrorCode;
    miApiErrorCode = source.miApiErrorCode;
    mText = source.mText;
    return *this;
}

OStopException& OStopException::operator=(OStopException& source)
{
    OAppException::operator=(source);
    mulStopCode = source.mulStopCode;
    return *this;
}

void OStopException::ReportError() { AfxMessageBox("ReportError: Error=%d", mulStopCode, 0); }

OStructuredException::OStructuredException(unsigned int ulStructuredCode) : mulStructuredCode(ulStructuredCode)
{
    mulErrorCode = 34012;
}

OStructuredException& OStructuredException::operator=(OStructuredException& source)
{
    mulStructuredCode = source.mulStructuredCode;
    OAppException::operator=(source);
    return *this;
}

OSEUnknownException::OSEUnknownException(unsigned int ulStructuredCode) : OStructuredException(ulStructuredCode)
{
    mulErrorBase = kulStructuredErrorBase;
    mulErrorCode = 34010;
}

// By now the stack is unwound, so that the room which a next overflow needs can be set aside again.
OSEUnknownException::~OSEUnknownException()
{
    if (mulStructuredCode == kulStackOverflow) _resetstkoflw();
}

OAccessViolationException::OAccessViolationException(unsigned int ulStructuredCode) : OStructuredException(ulStructuredCode)
{
    mulErrorBase = kulStructuredErrorBase;
    mulErrorCode = 34014;
}

OMathException::OMathException(unsigned int ulStructuredCode) : OStructuredException(ulStructuredCode)
{
    mulErrorBase = kulStructuredErrorBase;
    mulErrorCode = 34011;
}

OFloatException::OFloatException(unsigned int ulStructuredCode) : OMathException(ulStructuredCode)
{
    mulErrorCode = 34013;
    _clearfp(); // or the condition that is still pending would fault again
}

OFloatDivZeroException::OFloatDivZeroException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34003;
}

OFloatInexactException::OFloatInexactException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34004;
}

OFloatInvalidException::OFloatInvalidException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34005;
}

OFloatOverflowException::OFloatOverflowException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34006;
}

OFloatStackException::OFloatStackException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34007;
}

OFloatUnderflowException::OFloatUnderflowException(unsigned int ulStructuredCode) : OFloatException(ulStructuredCode)
{
    mulErrorCode = 34008;
}

OIntException::OIntException(unsigned int ulStructuredCode) : OMathException(ulStructuredCode) { mulErrorCode = 34009; }

OIntDivZeroException::OIntDivZeroException(unsigned int ulStructuredCode) : OIntException(ulStructuredCode)
{
    mulErrorCode = 34001;
}

OIntOverflowException::OIntOverflowException(unsigned int ulStructuredCode) : OIntException(ulStructuredCode)
{
    mulErrorCode = 34002;
}

namespace
{
template <class Exception>
[[noreturn]] void Throw(unsigned int ulCode)
{
    throw new Exception(ulCode);
}

struct OFaultKind
{
    unsigned int ulCode;
    void (*pThrow)(unsigned int);
};

constexpr unsigned int kulFirstCode = 0xC0000005; // access violation
constexpr unsigned int kulLastCode = 0xC0000095;  // integer overflow
constexpr OFaultKind kKinds[] = {
    {kulFirstCode, Throw<OAccessViolationException>},
    // 0xC000008D, a denormal operand, has no class of its own.
    {0xC000008E, Throw<OFloatDivZeroException>},
    {0xC000008F, Throw<OFloatInexactException>},
    {0xC0000090, Throw<OFloatInvalidException>},
    {0xC0000091, Throw<OFloatOverflowException>},
    {0xC0000092, Throw<OFloatStackException>},
    {0xC0000093, Throw<OFloatUnderflowException>},
    {0xC0000094, Throw<OIntDivZeroException>},
    {kulLastCode, Throw<OIntOverflowException>},
};

void ThrowFault(unsigned int ulCode)
{
    if (ulCode - kulFirstCode <= kulLastCode - kulFirstCode)
    {
        for (const OFaultKind& kind : kKinds)
        {
            if (kind.ulCode == ulCode) kind.pThrow(ulCode);
        }
    }
    Throw<OSEUnknownException>(ulCode);
}

OString SystemText(int iApiErrorCode)
{
    constexpr ULONG kulUserDefaultLanguage = 0x400;
    unsigned short* pBuffer = nullptr;
    OString sText;
    const ULONG ulChars = sText.FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                                               static_cast<ULONG>(iApiErrorCode), kulUserDefaultLanguage,
                                               reinterpret_cast<unsigned short*>(&pBuffer), 2, nullptr);
    if (ulChars && pBuffer)
        sText = pBuffer;
    else
        sText = u"Error from BuildExceptionString";
    LocalFree(pBuffer);
    return sText;
}
} // namespace

unsigned int SetupSignal()
{
    // Invalid operation, division by zero, overflow and denormal operand. Written with _control87, because _controlfp
    // never touches the mask of the denormal operand.
    constexpr unsigned int kulTraps = _EM_INVALID | _EM_ZERODIVIDE | _EM_OVERFLOW | _EM_DENORMAL;
    static_assert(kulTraps == 0x0008001C && (_MCW_EM) == 0x0008001F && (_MCW_PC) == 0x00030000);
    _control87(_controlfp(0, 0) & ~kulTraps, _MCW_EM);

    // The precision as it is; a runtime whose unit has no choice of precision ignores it.
    _controlfp(_controlfp(0, 0), _MCW_PC);

    LumSetFaultTranslator(ThrowFault);
    return _clearfp();
}

void BuildExceptionString(OString& sOut, ULONG ulOffset, ULONG ulErrorBase, int iApiErrorCode, const OString*, const OString*)
{
    OString sSystemText;
    if (iApiErrorCode) sSystemText = SystemText(iApiErrorCode);

    const ULONG ulId = ulErrorBase + ulOffset;
    OString sLoaded;
    sLoaded.LoadStringA(ulId);
    if (!sLoaded.IsEmpty())
        sOut.Format(static_cast<const unsigned short*>(sLoaded), ulId);
    else
        sOut.Format(u"Error Code not known : ErrorBase=%d : Offset=%d : ErrorCode=%d : ApiErrorCode=%d", ulErrorBase, ulOffset, ulId,
                    iApiErrorCode);

    if (iApiErrorCode)
    {
        sOut += u" : ";
        sOut += sSystemText;
    }
}

void ThrowString(ULONG ulCode, const OString& sText)
{
    auto pException = std::make_unique<OAppException>();
    pException->mulErrorCode = ulCode;
    pException->mText = sText;
    throw pException.release();
}
