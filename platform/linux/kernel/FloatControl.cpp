#include "FloatControl.h"

#include <xmmintrin.h>

namespace
{
struct BitPair
{
    unsigned int uHardware, uAbstract;
};

constexpr BitPair kConditions[] = {{0x01, _SW_INVALID},  {0x02, _SW_DENORMAL},  {0x04, _SW_ZERODIVIDE},
                                   {0x08, _SW_OVERFLOW}, {0x10, _SW_UNDERFLOW}, {0x20, _SW_INEXACT}};
constexpr unsigned int kuHardwareFlags = 0x3F;
constexpr unsigned int kuMaskShift = 7; // a condition's mask stands that many bits above its flag
constexpr unsigned int kuHardwareRounding = 0x6000;
constexpr unsigned int kuRoundingShift = 5;
static_assert(kuHardwareRounding >> kuRoundingShift == _MCW_RC);

constexpr unsigned int kuOperandsAreZero = 0x0040, kuResultsAreZero = 0x8000;
constexpr BitPair kDenormals[] = {{0, _DN_SAVE},
                                  {kuOperandsAreZero | kuResultsAreZero, _DN_FLUSH},
                                  {kuOperandsAreZero, _DN_FLUSH_OPERANDS_SAVE_RESULTS},
                                  {kuResultsAreZero, _DN_SAVE_OPERANDS_FLUSH_RESULTS}};

unsigned int ToAbstract(unsigned int uFlags)
{
    unsigned int uResult = 0;
    for (const BitPair& pair : kConditions)
    {
        if (uFlags & pair.uHardware) uResult |= pair.uAbstract;
    }
    return uResult;
}

unsigned int ControlOf(unsigned int uMxCsr)
{
    unsigned int uControl = ToAbstract(uMxCsr >> kuMaskShift) | ((uMxCsr & kuHardwareRounding) >> kuRoundingShift);
    for (const BitPair& pair : kDenormals)
    {
        if ((uMxCsr & (kuOperandsAreZero | kuResultsAreZero)) == pair.uHardware) uControl |= pair.uAbstract;
    }
    return uControl;
}

unsigned int MxCsrOf(unsigned int uControl)
{
    unsigned int uMxCsr = (uControl & _MCW_RC) << kuRoundingShift;
    for (const BitPair& pair : kConditions)
    {
        if (uControl & pair.uAbstract) uMxCsr |= pair.uHardware << kuMaskShift;
    }
    for (const BitPair& pair : kDenormals)
    {
        if ((uControl & _MCW_DN) == pair.uAbstract) uMxCsr |= pair.uHardware;
    }
    return uMxCsr;
}
} // namespace

unsigned int _control87(unsigned int uNew, unsigned int uMask)
{
    constexpr unsigned int kuHonoured = _MCW_EM | _MCW_RC | _MCW_DN;
    const unsigned int uOld = ControlOf(_mm_getcsr());
    const unsigned int uControl = ((uOld & ~uMask) | (uNew & uMask)) & kuHonoured;
    if (uControl != uOld) _mm_setcsr(MxCsrOf(uControl));
    return uControl;
}

unsigned int _controlfp(unsigned int uNew, unsigned int uMask) { return _control87(uNew, uMask & ~_EM_DENORMAL); }

unsigned int _statusfp() { return ToAbstract(_mm_getcsr()); }

unsigned int _clearfp()
{
    const unsigned int uStatus = _statusfp();
    _mm_setcsr(_mm_getcsr() & ~kuHardwareFlags);
    return uStatus;
}
