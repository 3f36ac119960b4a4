// A decoder for the few instructions whose operands decide what a fault is called.
#include "FaultInstruction.h"

#include <cstring>

namespace lum
{
namespace
{
struct Prefixes
{
    bool bOperand16 = false;
    bool bThreadSegment = false;
    bool bAddress32 = false;
    std::uint8_t ubRex = 0;
};

constexpr std::uint8_t kubRexWide = 8, kubRexIndex = 2, kubRexBase = 1;
constexpr unsigned kuLongestInstruction = 15;

// Returns the first byte behind the prefixes.
const std::uint8_t* SkipPrefixes(const std::uint8_t* p, Prefixes& prefixes)
{
    const std::uint8_t* const pEnd = p + kuLongestInstruction;
    for (; p < pEnd; ++p)
    {
        if (*p == 0x66)
            prefixes.bOperand16 = true;
        else if (*p == 0x67)
            prefixes.bAddress32 = true;
        else if (*p == 0x64 || *p == 0x65)
            prefixes.bThreadSegment = true;
        else if ((*p & 0xF0) == 0x40)
            prefixes.ubRex = *p;
        else if (*p != 0x26 && *p != 0x2E && *p != 0x36 && *p != 0x3E && *p != 0xF0 && *p != 0xF2 && *p != 0xF3)
            break;
    }
    return p;
}

std::int64_t ReadDisplacement(const std::uint8_t*& p, unsigned uBytes)
{
    if (uBytes == 1) return static_cast<std::int8_t>(*p++);
    std::int32_t lValue;
    std::memcpy(&lValue, p, sizeof lValue);
    p += sizeof lValue;
    return lValue;
}

// The address that a mod-r/m byte (at p) and what follows it name. The instruction ends behind it.
std::uint64_t EffectiveAddress(const CpuState& state, const Prefixes& prefixes, const std::uint8_t* p)
{
    const unsigned uMod = *p >> 6;
    unsigned uBase = *p++ & 7;
    std::uint64_t ulAddress = 0;
    bool bBase = true;

    if (uBase == 4) // a scaled index
    {
        const unsigned uIndex = ((*p >> 3) & 7) | ((prefixes.ubRex & kubRexIndex) << 2);
        if (uIndex != 4) ulAddress = state.aulRegisters[uIndex] << (*p >> 6);
        uBase = *p++ & 7;
        bBase = uBase != 5 || uMod != 0;
        if (!bBase) ulAddress += static_cast<std::uint64_t>(ReadDisplacement(p, 4));
    }
    else if (uBase == 5 && uMod == 0) // relative to the next instruction
    {
        bBase = false;
        ulAddress = static_cast<std::uint64_t>(ReadDisplacement(p, 4)) + reinterpret_cast<std::uintptr_t>(p);
    }

    if (bBase) ulAddress += state.aulRegisters[uBase | ((prefixes.ubRex & kubRexBase) << 3)];
    if (uMod == 1) ulAddress += static_cast<std::uint64_t>(ReadDisplacement(p, 1));
    if (uMod == 2) ulAddress += static_cast<std::uint64_t>(ReadDisplacement(p, 4));
    if (prefixes.bAddress32) ulAddress &= 0xFFFFFFFF;
    return prefixes.bThreadSegment ? ulAddress + state.ulThreadBase : ulAddress;
}

std::uint64_t RegisterOperand(const CpuState& state, const Prefixes& prefixes, unsigned uRegister, unsigned uBytes)
{
    // Without a REX prefix the byte registers 4 to 7 are the high halves of the first four.
    if (uBytes == 1 && prefixes.ubRex == 0 && uRegister >= 4) return state.aulRegisters[uRegister - 4] >> 8;
    return state.aulRegisters[uRegister | ((prefixes.ubRex & kubRexBase) << 3)];
}
} // namespace

bool IsDivisionByZero(const CpuState& state)
{
    Prefixes prefixes;
    const std::uint8_t* p = SkipPrefixes(reinterpret_cast<const std::uint8_t*>(state.ulRip), prefixes);
    const std::uint8_t ubOpcode = *p++;
    if ((ubOpcode != 0xF6 && ubOpcode != 0xF7) || ((*p >> 3) & 7) < 6) return true; // neither div nor idiv

    const unsigned uBytes = ubOpcode == 0xF6 ? 1 : (prefixes.ubRex & kubRexWide) ? 8 : prefixes.bOperand16 ? 2 : 4;
    std::uint64_t ulDivisor = 0;
    if ((*p >> 6) == 3)
    {
        ulDivisor = RegisterOperand(state, prefixes, *p & 7, uBytes);
    }
    else
    {
        if (prefixes.bThreadSegment && !state.ulThreadBase) return true;
        std::memcpy(&ulDivisor, reinterpret_cast<const void*>(EffectiveAddress(state, prefixes, p)), uBytes);
    }
    if (uBytes < 8) ulDivisor &= (std::uint64_t{1} << (8 * uBytes)) - 1;
    return ulDivisor == 0;
}

bool IsPrivileged(const std::uint8_t* pInstruction)
{
    // Of one byte: ins, outs; in, out; hlt, cli, sti. Behind 0x0F: clts, sysret, invd, wbinvd; moves to and from control and
    // debug registers; wrmsr, rdmsr, rdpmc, sysexit.
    static constexpr std::uint8_t kaubOneByte[] = {0x6C, 0x6D, 0x6E, 0x6F, 0xE4, 0xE5, 0xE6, 0xE7,
                                                   0xEC, 0xED, 0xEE, 0xEF, 0xF4, 0xFA, 0xFB};
    static constexpr std::uint8_t kaubTwoBytes[] = {0x06, 0x07, 0x08, 0x09, 0x20, 0x21, 0x22, 0x23, 0x30, 0x32, 0x33, 0x35};

    Prefixes prefixes;
    const std::uint8_t* p = SkipPrefixes(pInstruction, prefixes);
    if (*p != 0x0F) return std::memchr(kaubOneByte, *p, sizeof kaubOneByte) != nullptr;

    if (p[1] > 0x01) return std::memchr(kaubTwoBytes, p[1], sizeof kaubTwoBytes) != nullptr;

    const unsigned uVariant = (p[2] >> 3) & 7;
    if (p[1] == 0x00) return uVariant == 2 || uVariant == 3;                    // lldt, ltr
    return p[2] >> 6 != 3 && (uVariant == 2 || uVariant == 3 || uVariant >= 6); // lgdt, lidt, lmsw, invlpg
}

std::uint32_t FloatFaultCode(std::uint32_t ulConditions)
{
    struct Condition
    {
        std::uint32_t ulFlags, ulCode;
    };
    static constexpr Condition kConditions[] = {
        {0x01 | kulFloatStack, 0xC0000092}, // the register stack of the older unit
        {0x01, 0xC0000090},                 // invalid operation
        {0x04, 0xC000008E},                 // division by zero
        {kulFloatDenormal, 0xC000008D},     // denormal operand
        {0x08, 0xC0000091},                 // overflow
        {kulFloatUnderflow, 0xC0000093},    // underflow
        {0x20, 0xC000008F},                 // inexact result
    };
    for (const Condition& condition : kConditions)
    {
        if ((ulConditions & condition.ulFlags) == condition.ulFlags) return condition.ulCode;
    }
    return 0;
}
} // namespace lum
