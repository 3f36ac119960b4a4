// What the faulting instruction tells: the divisor of a division in every form of operand, and which instructions are privileged.
#include "Platform.h"

#include "FaultCallSite.h"
#include "FaultInstruction.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

enum Register { kRax, kRcx, kRdx, kRbx, kRsp, kRbp, kRsi, kRdi, kR8, kR9, kR10, kR11, kR12, kR13, kR14, kR15 };

// The processor before a division. Every register points into memory that is zero, but for one place each test chooses.
class Division : public testing::Test
{
protected:
    Division()
    {
        for (std::uint64_t& ulRegister : state.aulRegisters) ulRegister = Address(kulMiddle);
    }

    static constexpr std::size_t kulMiddle = 512;
    std::uint64_t Address(std::size_t ulOffset) const { return reinterpret_cast<std::uint64_t>(aubMemory + ulOffset); }

    bool IsZero(const Bytes& instruction)
    {
        state.ulRip = reinterpret_cast<std::uint64_t>(instruction.data());
        return lum::IsDivisionByZero(state);
    }

    // Whether the divisor is found at that place of memory: zero there counts as zero, and anything else does not.
    bool ReadsFrom(const Bytes& instruction, std::size_t ulOffset)
    {
        const bool bZero = IsZero(instruction);
        aubMemory[ulOffset] = 1;
        const bool bOther = IsZero(instruction);
        aubMemory[ulOffset] = 0;
        return bZero && !bOther;
    }

    alignas(16) std::uint8_t aubMemory[1024] = {};
    lum::CpuState state = {};
};

TEST_F(Division, FindsTheDivisorInARegister)
{
    struct { Bytes instruction; int iRegister; } const kForms[] = {
        {{0xF7, 0xF9}, kRcx},             // idiv ecx
        {{0xF7, 0xF1}, kRcx},             // div ecx
        {{0x48, 0xF7, 0xFE}, kRsi},       // idiv rsi
        {{0x41, 0xF7, 0xF8}, kR8},        // idiv r8d
        {{0x49, 0xF7, 0xF7}, kR15},       // div r15
        {{0x66, 0xF7, 0xFB}, kRbx},       // idiv bx
        {{0xF6, 0xF1}, kRcx},             // div cl
        {{0x40, 0xF6, 0xF6}, kRsi},       // div sil
        {{0x2E, 0x66, 0x41, 0xF7, 0xF1}, kR9}, // with a prefix that means nothing: div r9w
    };
    for (const auto& form : kForms)
    {
        state.aulRegisters[form.iRegister] = 7;
        EXPECT_FALSE(IsZero(form.instruction)) << form.iRegister;
        state.aulRegisters[form.iRegister] = 0;
        EXPECT_TRUE(IsZero(form.instruction)) << form.iRegister;
    }
}

TEST_F(Division, TakesOnlyTheDivisorsWidth)
{
    state.aulRegisters[kRcx] = 0xFFFFFFFF00000000;
    EXPECT_TRUE(IsZero({0xF7, 0xF9}));        // idiv ecx
    EXPECT_FALSE(IsZero({0x48, 0xF7, 0xF9})); // idiv rcx
    state.aulRegisters[kRcx] = 0x10000;
    EXPECT_TRUE(IsZero({0x66, 0xF7, 0xF9}));  // idiv cx
    EXPECT_FALSE(IsZero({0xF7, 0xF9}));
    state.aulRegisters[kRcx] = 0x100;
    EXPECT_TRUE(IsZero({0xF6, 0xF1}));        // div cl
    EXPECT_FALSE(IsZero({0xF6, 0xF5}));       // div ch
    state.aulRegisters[kRcx] = 0xFF;
    EXPECT_TRUE(IsZero({0xF6, 0xF5}));
}

TEST_F(Division, FindsTheDivisorInMemory)
{
    state.aulRegisters[kRcx] = 4; // for the forms with an index
    state.aulRegisters[kR9] = 3;
    struct { Bytes instruction; std::size_t ulOffset; } const kForms[] = {
        {{0xF7, 0x3E}, kulMiddle},                                // idiv dword [rsi]
        {{0xF7, 0x7E, 0xF0}, kulMiddle - 16},                     // idiv dword [rsi-16]
        {{0xF7, 0xBE, 0x00, 0x01, 0x00, 0x00}, kulMiddle + 256},  // idiv dword [rsi+256]
        {{0xF7, 0x7D, 0x08}, kulMiddle + 8},                      // idiv dword [rbp+8]
        {{0xF7, 0x3C, 0x24}, kulMiddle},                          // idiv dword [rsp]
        {{0xF7, 0x7C, 0x24, 0x0C}, kulMiddle + 12},               // idiv dword [rsp+12]
        {{0xF7, 0x3C, 0x8E}, kulMiddle + 16},                     // idiv dword [rsi+rcx*4]
        {{0xF7, 0x7C, 0xCE, 0xF8}, kulMiddle + 24},               // idiv dword [rsi+rcx*8-8]
        {{0x42, 0xF7, 0x3C, 0x4E}, kulMiddle + 6},                // idiv dword [rsi+r9*2]
        {{0x43, 0xF7, 0x7C, 0x4D, 0x00}, kulMiddle + 6},          // idiv dword [r13+r9*2]
        {{0x41, 0xF7, 0x3C, 0x24}, kulMiddle},                    // idiv dword [r12]
        {{0x49, 0xF7, 0x7D, 0x00}, kulMiddle},                    // idiv qword [r13]
        {{0xF6, 0x36}, kulMiddle},                                // div byte [rsi]
    };
    for (const auto& form : kForms) EXPECT_TRUE(ReadsFrom(form.instruction, form.ulOffset)) << &form - kForms;
}

TEST_F(Division, FindsTheDivisorBesideTheCode)
{
    // idiv dword [rip+2], two bytes, the divisor.
    Bytes code = {0xF7, 0x3D, 0x02, 0x00, 0x00, 0x00, 0x90, 0x90, 0x00, 0x00, 0x00, 0x00};
    EXPECT_TRUE(IsZero(code));
    code[8] = 1;
    EXPECT_FALSE(IsZero(code));
}

TEST_F(Division, FindsTheDivisorInTheThreadsOwnData)
{
    const Bytes instruction = {0x64, 0xF7, 0x3C, 0x25, 0x10, 0x00, 0x00, 0x00}; // idiv dword fs:[16]
    EXPECT_TRUE(IsZero(instruction)); // where that data lies is not known
    state.ulThreadBase = Address(100);
    EXPECT_TRUE(ReadsFrom(instruction, 116));
}

TEST_F(Division, AnythingElseCountsAsZero)
{
    EXPECT_TRUE(IsZero({0xF7, 0xD9}));       // neg ecx
    EXPECT_TRUE(IsZero({0x90, 0x90, 0x90})); // nop
}

TEST(PrivilegedInstructions, AreKnownByTheirBytes)
{
    const Bytes kPrivileged[] = {{0xF4},             {0xFA},             {0xFB},             {0xEC},       {0xE6, 0x20},
                                 {0x66, 0xED},       {0xF3, 0x6E},       {0x0F, 0x30},       {0x0F, 0x32}, {0x0F, 0x20, 0xC0},
                                 {0x44, 0x0F, 0x22, 0xC0}, {0x0F, 0x01, 0x10}, {0x0F, 0x01, 0x38}, {0x0F, 0x00, 0xD0}};
    const Bytes kOthers[] = {{0x90, 0x90, 0x90},       {0x8B, 0x01, 0x00}, {0x0F, 0x28, 0x00}, {0x0F, 0x01, 0x00},
                             {0x0F, 0x01, 0xD0, 0x00}, {0x0F, 0x00, 0x00}, {0xCD, 0x80, 0x00}, {0xC3, 0xF4, 0xF4}};
    for (const Bytes& bytes : kPrivileged) EXPECT_TRUE(lum::IsPrivileged(bytes.data())) << &bytes - kPrivileged;
    for (const Bytes& bytes : kOthers) EXPECT_FALSE(lum::IsPrivileged(bytes.data())) << &bytes - kOthers;
}

TEST(FloatFaultCode, NamesTheMostSeriousCondition)
{
    EXPECT_EQ(lum::FloatFaultCode(0), 0u);
    EXPECT_EQ(lum::FloatFaultCode(0x01), 0xC0000090u);
    EXPECT_EQ(lum::FloatFaultCode(0x41), 0xC0000092u);
    EXPECT_EQ(lum::FloatFaultCode(0x02), 0xC000008Du);
    EXPECT_EQ(lum::FloatFaultCode(0x06), 0xC000008Eu);
    EXPECT_EQ(lum::FloatFaultCode(0x28), 0xC0000091u);
    EXPECT_EQ(lum::FloatFaultCode(0x30), 0xC0000093u);
    EXPECT_EQ(lum::FloatFaultCode(0x20), 0xC000008Fu);
    EXPECT_EQ(lum::RaisedByVectorUnit(0x1F80 | 0x3F), 0u);
    EXPECT_EQ(lum::RaisedByVectorUnit(0x1D80 | 0x3F), 0x04u);
    EXPECT_EQ(lum::RaisedByX87(0x00FF, 0x037E), 0x41u);
}

// Tables as the compiler writes them: landing base, types, encoding, size, rows of beginning, length, landing pad, action.
TEST(ExpectsException, LooksForARowThatCoversTheInstruction)
{
    const Bytes table = {0xFF, 0xFF, 0x01, 9, 0x10, 0x05, 0x00, 0x00, 0x90, 0x01, 0x08, 0x40, 0x01};
    EXPECT_FALSE(lum::ExpectsException(table.data(), 0x0F));
    EXPECT_TRUE(lum::ExpectsException(table.data(), 0x10));
    EXPECT_TRUE(lum::ExpectsException(table.data(), 0x14));
    EXPECT_FALSE(lum::ExpectsException(table.data(), 0x15));
    EXPECT_TRUE(lum::ExpectsException(table.data(), 0x97));
    EXPECT_FALSE(lum::ExpectsException(table.data(), 0x98));
    EXPECT_FALSE(lum::ExpectsException(table.data(), static_cast<std::uint64_t>(-1)));
}

TEST(ExpectsException, ReadsTablesWithTypesAndWithWideNumbers)
{
    const Bytes wide = {0xFF, 0x9B, 0x85, 0x01, 0x03, 13, 0x10, 0, 0, 0, 0x05, 0, 0, 0, 0x20, 0, 0, 0, 0x00};
    EXPECT_FALSE(lum::ExpectsException(wide.data(), 0x0F));
    EXPECT_TRUE(lum::ExpectsException(wide.data(), 0x12));
}

TEST(ExpectsException, AnEmptyTableExpectsNothingAndAStrangeOneEverything)
{
    const Bytes empty = {0xFF, 0xFF, 0x01, 0};
    EXPECT_FALSE(lum::ExpectsException(empty.data(), 0));
    const Bytes strange = {0xFF, 0xFF, 0x05, 4, 1, 2, 3, 4};
    EXPECT_TRUE(lum::ExpectsException(strange.data(), 0));
}
} // namespace
