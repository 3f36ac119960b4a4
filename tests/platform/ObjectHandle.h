// Handles of events, mutexes and mappings for tests, closed in the end, and threads that wait.
#pragma once

#include "Platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <utility>

class ObjectHandle
{
public:
    ObjectHandle(HANDLE hObject = nullptr) : mhObject(hObject) {}
    ObjectHandle(ObjectHandle&& other) noexcept : mhObject(std::exchange(other.mhObject, nullptr)) {}
    ObjectHandle& operator=(ObjectHandle&& other) noexcept
    {
        std::swap(mhObject, other.mhObject);
        return *this;
    }
    ~ObjectHandle() { Close(); }

    void Close()
    {
        if (mhObject) CloseHandle(mhObject);
        mhObject = nullptr;
    }
    operator HANDLE() const { return mhObject; }

private:
    HANDLE mhObject;
};

inline HANDLE NewEvent(bool bManual, bool bSignalled = false) { return CreateEventA(nullptr, bManual, bSignalled, nullptr); }
inline HANDLE NewMutex(bool bOwned = false) { return CreateMutexA(nullptr, bOwned, nullptr); }

// WaitError: the last error of a wait that failed; what it answered otherwise, with a bit that no error has.
inline DWORD WaitError(HANDLE hObject, DWORD ulMilliseconds = 0)
{
    const DWORD ulAnswer = WaitForSingleObject(hObject, ulMilliseconds);
    return ulAnswer == WAIT_FAILED ? GetLastError() : ulAnswer | 0x80000000u;
}

inline DWORD WaitAny(std::initializer_list<HANDLE> objects, DWORD ulMilliseconds = 0)
{
    return WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.begin(), FALSE, ulMilliseconds);
}

// Long enough for every thread that is about to wait to be asleep.
inline void LetThemSleep() { std::this_thread::sleep_for(std::chrono::milliseconds(60)); }

// In a thread of its own that ends behind it.
template <class Call>
auto InAnotherThread(Call call)
{
    decltype(call()) result{};
    std::thread([&] { result = call(); }).join();
    return result;
}
