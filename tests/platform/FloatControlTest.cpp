// The floating-point control and status word: the vector unit's, under the runtime library's names.
#include "Platform.h"

#include "Faulting.h"

#include <gtest/gtest.h>

namespace
{
// Starts with everything masked and nothing met, and leaves it so.
class FloatControl : public testing::Test
{
protected:
    FloatControl() { Reset(); }
    ~FloatControl() override { Reset(); }

    static void Reset()
    {
        _control87(_MCW_EM | _RC_NEAR | _DN_SAVE, _MCW_EM | _MCW_RC | _MCW_DN);
        _clearfp();
    }
};

unsigned short X87Control()
{
    unsigned short uwControl;
    asm volatile("fnstcw %0" : "=m"(uwControl));
    return uwControl;
}

unsigned int VectorControl()
{
    unsigned int uControl;
    asm volatile("stmxcsr %0" : "=m"(uControl));
    return uControl;
}

constexpr unsigned int kuAllMasked = 0x0008001F;

TEST_F(FloatControl, EveryMaskIsSetAndReadByItself)
{
    struct { unsigned int uAbstract, uHardware; } const kMasks[] = {
        {_EM_INVALID, 0x0080},  {_EM_DENORMAL, 0x0100},  {_EM_ZERODIVIDE, 0x0200},
        {_EM_OVERFLOW, 0x0400}, {_EM_UNDERFLOW, 0x0800}, {_EM_INEXACT, 0x1000},
    };
    for (const auto& mask : kMasks)
    {
        EXPECT_EQ(_control87(0, mask.uAbstract), kuAllMasked & ~mask.uAbstract);
        EXPECT_EQ(_control87(0, 0), kuAllMasked & ~mask.uAbstract);
        EXPECT_EQ(VectorControl(), 0x1F80u & ~mask.uHardware);
        EXPECT_EQ(_control87(mask.uAbstract, mask.uAbstract), kuAllMasked);
    }
}

TEST_F(FloatControl, ControlfpNeverTouchesTheDenormalOperand)
{
    EXPECT_EQ(_controlfp(0, _MCW_EM), static_cast<unsigned int>(_EM_DENORMAL));
    EXPECT_EQ(_control87(0, _MCW_EM), 0u);
    EXPECT_EQ(_controlfp(_MCW_EM, _MCW_EM), kuAllMasked & ~_EM_DENORMAL);
}

TEST_F(FloatControl, RoundingAndDenormalNumbersAreHonoured)
{
    for (unsigned int uRounding : {_RC_DOWN, _RC_UP, _RC_CHOP, _RC_NEAR})
    {
        EXPECT_EQ(_controlfp(uRounding, _MCW_RC), kuAllMasked | uRounding);
        EXPECT_EQ(VectorControl(), 0x1F80u | uRounding << 5);
    }
    struct { unsigned int uAbstract, uHardware; } const kDenormals[] = {
        {0x01000000, 0x8040}, {0x02000000, 0x0040}, {0x03000000, 0x8000}, {0x00000000, 0x0000}};
    for (const auto& kind : kDenormals)
    {
        EXPECT_EQ(_controlfp(kind.uAbstract, 0x03000000), kuAllMasked | kind.uAbstract);
        EXPECT_EQ(VectorControl(), 0x1F80u | kind.uHardware);
    }
}

TEST_F(FloatControl, PrecisionAndUnknownBitsAreIgnored)
{
    EXPECT_EQ(_controlfp(0x00010000, _MCW_PC), kuAllMasked);
    EXPECT_EQ(_control87(0xFFFFFFFF, 0xFCF4FCE0), kuAllMasked);
    EXPECT_EQ(VectorControl(), 0x1F80u);
}

TEST_F(FloatControl, TheOlderUnitIsLeftAlone)
{
    const unsigned short uwBefore = X87Control();
    _control87(_RC_UP, _MCW_EM | _MCW_RC);
    EXPECT_EQ(X87Control(), uwBefore);
}

TEST_F(FloatControl, StatusTellsWhatWasMetUntilItIsCleared)
{
    struct { void (*pFunction)(); unsigned int uStatus; } const kConditions[] = {
        {faulting::VectorInvalid, _EM_INVALID},   {faulting::VectorDivideByZero, _EM_ZERODIVIDE},
        {faulting::VectorInexact, _EM_INEXACT},   {faulting::VectorOverflow, _EM_OVERFLOW | _EM_INEXACT},
        {faulting::VectorDenormal, _EM_DENORMAL | _EM_INEXACT}, {faulting::VectorUnderflow, _EM_UNDERFLOW | _EM_INEXACT},
    };
    for (const auto& condition : kConditions)
    {
        condition.pFunction();
        EXPECT_EQ(_statusfp(), condition.uStatus); // whose bits are those of the masks
        EXPECT_EQ(_statusfp(), condition.uStatus);
        EXPECT_EQ(_clearfp(), condition.uStatus);
        EXPECT_EQ(_statusfp(), 0u);
    }
}

TEST_F(FloatControl, AChangeClearsTheStatusAndALookDoesNot)
{
    faulting::VectorDivideByZero();
    _control87(0, 0);
    _controlfp(_MCW_EM, _MCW_EM);
    EXPECT_EQ(_statusfp(), static_cast<unsigned int>(_EM_ZERODIVIDE));
    _controlfp(0, _EM_ZERODIVIDE);
    EXPECT_EQ(_statusfp(), 0u);
}
} // namespace
