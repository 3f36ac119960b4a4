// Changes to bytes, kept apart from them until they are published. Internal to platform/linux.
//
//  * What is written goes to a file without a name in the folder for temporary files, made with the first write.
//  * What is below may grow meanwhile; what of it is seen here stays.
#pragma once

#include "StorageBytes.h"
#include "StorageLocks.h"

#include <map>
#include <optional>

namespace lum
{
class ScratchBytes : public StorageBytes
{
public:
    ScratchBytes(StorageBytes& below, const StorageLocks* pLocks) : mBelow(below), mpLocks(pLocks) {}
    ~ScratchBytes() override;
    ScratchBytes(const ScratchBytes&) = delete;
    ScratchBytes& operator=(const ScratchBytes&) = delete;

    // Begin: forgets all changes, and takes what is below as it is now.
    HRESULT Begin();
    // Publish: writes all changes below, the header, which makes them count, last. When it fails, they are still here, and what is
    //   below has its old header, or is given it by Settle, which the next begins with.
    HRESULT Publish();
    // Settle: takes a header back that was to count, and may stand below, whole or in part. Before that nobody can say what has
    //   been committed.
    HRESULT Settle();

    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override;
    HRESULT Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes) override;
    HRESULT Size(ULONGLONG& ullBytes) override;
    HRESULT SetSize(ULONGLONG ullBytes) override;
    HRESULT Flush() override { return S_OK; }
    // What is not published yet is the state below for nobody else: nothing of that one may be used.
    bool MayReuse() override { return mChanged.empty() && MayReuseIn(*this, mpLocks); }

private:
    void Cover(ULONGLONG ullFrom, ULONGLONG ullEnd);
    HRESULT Copy(ULONGLONG ullFrom, ULONGLONG ullEnd);
    HRESULT PublishContents(ULONGLONG ullBelow);
    static constexpr ULONGLONG kullHeader = 512;
    struct Headers
    {
        BYTE aubOld[kullHeader], aubNew[kullHeader];
        std::size_t ulOld = 0, ulNew = 0; // bytes that there are
    };
    HRESULT PublishHeader(const Headers& headers);
    HRESULT PutBack();
    HRESULT OpenFile();

    StorageBytes& mBelow;
    const StorageLocks* const mpLocks; // null when this open is alone
    int mFd = -1;
    std::map<ULONGLONG, ULONGLONG> mChanged; // from, and behind the last
    ULONGLONG mullSize = 0;
    ULONGLONG mullSeen = 0;  // of what is below
    ULONGLONG mullBegun = 0; // the size below, then
    std::optional<Headers> mUnsure; // the new one may be there: writing it failed, and so did putting the old one back
};
} // namespace lum
