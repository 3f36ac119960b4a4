// The CRC-16 as its definition has it, bit by bit: what the tables of the library are held against.
#pragma once

#include <string_view>

constexpr unsigned kuCrcPolynomial = 0x11021; // with its highest bit

// A polynomial times x, modulo that one.
constexpr unsigned TimesX(unsigned uValue) { return uValue & 0x8000 ? (uValue << 1) ^ kuCrcPolynomial : uValue << 1; }

constexpr unsigned short PlainCrc(std::string_view sBytes, unsigned uCrc = 0)
{
    for (const char cByte : sBytes)
    {
        uCrc ^= static_cast<unsigned>(static_cast<unsigned char>(cByte)) << 8;
        for (int iBit = 0; iBit < 8; ++iBit) uCrc = TimesX(uCrc);
    }
    return static_cast<unsigned short>(uCrc);
}
static_assert(PlainCrc("123456789") == 0x31C3); // the value that is published for the parameters

// The register after ullBytes of zero: so many bytes are a multiplication by x to the power of eight times that.
constexpr unsigned short PlainCrcOfZeros(unsigned uCrc, unsigned long long ullBytes)
{
    const auto times = [](unsigned uLeft, unsigned uRight)
    {
        unsigned uProduct = 0;
        for (int iBit = 15; iBit >= 0; --iBit) uProduct = TimesX(uProduct) ^ (uRight >> iBit & 1 ? uLeft : 0);
        return uProduct;
    };
    for (unsigned uPower = 0x100; ullBytes > 0; ullBytes >>= 1, uPower = times(uPower, uPower))
        if (ullBytes & 1) uCrc = times(uCrc, uPower);
    return static_cast<unsigned short>(uCrc);
}
static_assert(PlainCrcOfZeros(0x31C3, 5) == PlainCrc({"\0\0\0\0\0", 5}, 0x31C3));
