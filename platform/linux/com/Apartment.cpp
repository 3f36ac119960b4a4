#include "Apartment.h"

#include "../kernel/Error.h"
#include "Activation.h"
#include "ClassTable.h"

#include <atomic>

namespace
{
std::atomic<std::uint64_t> gNextApartment{lum::kMultithreaded + 1};
std::atomic<int> gMultithreaded{0}; // threads in that apartment

// A thread's place, given up when it ends.
class ThreadApartment
{
public:
    ~ThreadApartment()
    {
        mulCount = mulCount ? 1 : 0;
        Leave();
    }

    lum::ApartmentId Id() const
    {
        if (mId != lum::kNoApartment) return mId;
        return gMultithreaded > 0 ? lum::kMultithreaded : lum::kNoApartment;
    }

    HRESULT Enter(bool bMultithreaded)
    {
        if (mulCount && (mId == lum::kMultithreaded) != bMultithreaded) return RPC_E_CHANGED_MODE;
        if (mulCount++) return S_FALSE;
        mId = bMultithreaded ? lum::kMultithreaded : gNextApartment++;
        if (bMultithreaded) ++gMultithreaded;
        return S_OK;
    }

    void Leave()
    {
        if (!mulCount || --mulCount) return;
        // Objects that end with the apartment are still in it.
        const bool bLast = mId != lum::kMultithreaded || gMultithreaded == 1;
        if (bLast) lum::RevokeClassesOf(mId);
        if (mId == lum::kMultithreaded) --gMultithreaded;
        mId = lum::kNoApartment;
    }

private:
    ULONG mulCount = 0;
    lum::ApartmentId mId = lum::kNoApartment;
};

thread_local ThreadApartment tApartment;
} // namespace

lum::ApartmentId lum::CurrentApartment() { return tApartment.Id(); }

HRESULT CoInitialize(LPVOID pReserved) { return CoInitializeEx(pReserved, COINIT_APARTMENTTHREADED); }

HRESULT CoInitializeEx(LPVOID, DWORD ulFlags) { return tApartment.Enter(!(ulFlags & COINIT_APARTMENTTHREADED)); }

void CoUninitialize() { tApartment.Leave(); }
