// An interface of somebody's object, which is released at the end.
#pragma once

#include <utility>

template <class Interface>
class Held
{
public:
    Held() = default;
    Held(Held&& other) noexcept : mpObject(other.Take()) {}
    Held& operator=(Held&& other) noexcept
    {
        std::swap(mpObject, other.mpObject);
        return *this;
    }
    ~Held() { Reset(); }

    Interface* operator->() const { return mpObject; }
    operator Interface*() const { return mpObject; }

    // Out: room for a call that gives one out. What was there is released before.
    Interface** Out()
    {
        Reset();
        return &mpObject;
    }
    void Reset()
    {
        if (Interface* const pObject = Take()) pObject->Release();
    }
    Interface* Take() { return std::exchange(mpObject, nullptr); } // whoever takes it releases it

private:
    Interface* mpObject = nullptr;
};
