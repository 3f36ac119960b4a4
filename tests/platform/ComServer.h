// The class that ComServer, a module of the tests' own, offers, and what its objects answer.
#pragma once

#include "Platform.h"

inline constexpr CLSID kComServerClass{0x7D3F5A10, 0x52C8, 0x4E5B, {0x9B, 0x1F, 0x60, 0x2E, 0x4A, 0x8C, 0x77, 0x01}};

struct IComServerObject : IUnknown
{
    virtual ULONG STDMETHODCALLTYPE Answer() = 0; // 42
};
inline constexpr IID kComServerInterface{0x7D3F5A11, 0x52C8, 0x4E5B, {0x9B, 0x1F, 0x60, 0x2E, 0x4A, 0x8C, 0x77, 0x01}};
