// Memory whose last byte is the last that may be read: for calls that look ahead.
#pragma once

#include <cstddef>
#include <cstring>

class OPageEnd
{
public:
    OPageEnd();
    ~OPageEnd();
    OPageEnd(const OPageEnd&) = delete;
    OPageEnd& operator=(const OPageEnd&) = delete;

    // The last ulCount of them, filled from pFrom.
    template <class T>
    T* Put(const T* pFrom, std::size_t ulCount)
    {
        T* pTo = reinterpret_cast<T*>(static_cast<char*>(mpPages) + kulPage) - ulCount;
        std::memcpy(pTo, pFrom, ulCount * sizeof(T));
        return pTo;
    }

private:
    static constexpr std::size_t kulPage = 4096;
    void* mpPages; // one open, one closed
};
