// The runtime's calls on narrow text that C++ does not have.
#include "Text.h"

#include <cerrno>
#include <charconv>
#include <cstring>

namespace
{
int Folded(char c)
{
    const unsigned char ub = static_cast<unsigned char>(c);
    return ub - 'A' + 0u < 26 ? ub + ('a' - 'A') : ub;
}
} // namespace

int lstrlenA(LPCSTR pText) { return pText ? static_cast<int>(std::strlen(pText)) : 0; }

int _stricmp(const char* pA, const char* pB) { return _strnicmp(pA, pB, ~std::size_t{0}); }

int _strnicmp(const char* pA, const char* pB, std::size_t ulBytes)
{
    for (; ulBytes; --ulBytes, ++pA, ++pB)
    {
        if (Folded(*pA) != Folded(*pB) || !*pA) return Folded(*pA) - Folded(*pB);
    }
    return 0;
}

int _mbscmp(const unsigned char* pA, const unsigned char* pB)
{
    const int iOrder = std::strcmp(reinterpret_cast<const char*>(pA), reinterpret_cast<const char*>(pB));
    return (iOrder > 0) - (iOrder < 0);
}

char* _itoa(int iValue, char* pText, int iRadix)
{
    pText[0] = '\0';
    if (iRadix < 2 || iRadix > 36)
    {
        errno = EINVAL;
        return pText;
    }
    char* pEnd = pText + 33; // 32 binary digits and the terminator: what a caller must give
    pEnd = iRadix == 10 ? std::to_chars(pText, pEnd, iValue).ptr
                        : std::to_chars(pText, pEnd, static_cast<unsigned int>(iValue), iRadix).ptr;
    *pEnd = '\0';
    return pText;
}
