// A hardware fault that has become an exception, for tests that ask which one.
#pragma once

struct OCaughtFault
{
    unsigned int uCode;
};

inline void ThrowCode(unsigned int uCode) { throw OCaughtFault{uCode}; }

// CodeOf: the code of the fault that ends the function; 0 when none does.
template <class Function>
unsigned int CodeOf(Function function)
{
    try
    {
        function();
    }
    catch (const OCaughtFault& fault)
    {
        return fault.uCode;
    }
    return 0;
}

constexpr unsigned int kuAccessViolation = 0xC0000005;
constexpr unsigned int kuStackOverflow = 0xC00000FD;
