#include "ScratchBytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace lum
{
namespace
{
constexpr std::size_t kulPiece = 1 << 20;
} // namespace

ScratchBytes::~ScratchBytes()
{
    if (mFd >= 0) close(mFd);
}

HRESULT ScratchBytes::Begin()
{
    ULONGLONG ullBelow = 0;
    const HRESULT hr = mBelow.Size(ullBelow);
    if (FAILED(hr)) return hr;
    mChanged.clear();
    if (mFd >= 0 && ftruncate(mFd, 0) != 0) {} // the room is not given back, and no byte of it is looked at
    mullSize = mullSeen = mullBegun = ullBelow;
    return S_OK;
}

HRESULT ScratchBytes::OpenFile()
{
    const char* pFolder = std::getenv("TMPDIR");
    const std::string sFolder = pFolder && *pFolder ? pFolder : "/tmp";
    mFd = open(sFolder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (mFd < 0)
    {
        std::string sName = sFolder + "/lumXXXXXX";
        mFd = mkostemp(sName.data(), O_CLOEXEC);
        if (mFd >= 0) unlink(sName.c_str());
    }
    if (mFd >= 0) return S_OK;
    return errno == ENOSPC ? STG_E_MEDIUMFULL : errno == EMFILE || errno == ENFILE ? STG_E_TOOMANYOPENFILES : STG_E_WRITEFAULT;
}

// Enters a range, and joins it with those it touches.
void ScratchBytes::Cover(ULONGLONG ullFrom, ULONGLONG ullEnd)
{
    auto here = mChanged.try_emplace(ullFrom, ullEnd).first; // before anything is taken out: memory may end here
    here->second = std::max(here->second, ullEnd);
    if (here != mChanged.begin() && std::prev(here)->second >= ullFrom)
    {
        std::prev(here)->second = std::max(std::prev(here)->second, here->second);
        here = std::prev(mChanged.erase(here));
    }
    for (auto next = std::next(here); next != mChanged.end() && next->first <= here->second; next = mChanged.erase(next))
        here->second = std::max(here->second, next->second);
}

HRESULT ScratchBytes::Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead)
{
    ulRead = 0;
    if (ullAt >= mullSize) return S_OK;
    ulBytes = static_cast<std::size_t>(std::min<ULONGLONG>(ulBytes, mullSize - ullAt));
    BYTE* pHere = static_cast<BYTE*>(pTo);
    std::memset(pHere, 0, ulBytes);
    auto i = mChanged.upper_bound(ullAt);
    if (i != mChanged.begin() && std::prev(i)->second > ullAt) --i;
    while (ulRead < ulBytes)
    {
        const ULONGLONG ullHere = ullAt + ulRead, ullLast = ullAt + ulBytes;
        const bool bChanged = i != mChanged.end() && i->first <= ullHere;
        const ULONGLONG ullEnd = std::min(ullLast, bChanged ? i->second : i != mChanged.end() ? i->first : ullLast);
        const auto ulPiece = static_cast<std::size_t>(ullEnd - ullHere);
        std::size_t ulDone = 0;
        HRESULT hr = S_OK;
        if (bChanged)
            hr = DescriptorBytes(mFd).Read(ullHere, pHere + ulRead, ulPiece, ulDone);
        else if (ullHere < mullSeen)
            hr = mBelow.Read(ullHere, pHere + ulRead, static_cast<std::size_t>(std::min(ullEnd, mullSeen) - ullHere), ulDone);
        if (FAILED(hr)) return hr;
        ulRead += ulPiece;
        if (bChanged) ++i;
    }
    return S_OK;
}

HRESULT ScratchBytes::Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes)
{
    if (ulBytes == 0) return S_OK;
    HRESULT hr = mFd < 0 ? OpenFile() : S_OK;
    if (SUCCEEDED(hr)) hr = DescriptorBytes(mFd).Write(ullAt, pFrom, ulBytes);
    if (FAILED(hr)) return hr;
    Cover(ullAt, ullAt + ulBytes);
    mullSize = std::max(mullSize, ullAt + ulBytes);
    return S_OK;
}

HRESULT ScratchBytes::Size(ULONGLONG& ullBytes)
{
    ullBytes = mullSize;
    return S_OK;
}

HRESULT ScratchBytes::SetSize(ULONGLONG ullBytes)
{
    mChanged.erase(mChanged.lower_bound(ullBytes), mChanged.end());
    if (!mChanged.empty()) mChanged.rbegin()->second = std::min(mChanged.rbegin()->second, ullBytes);
    mullSeen = std::min(mullSeen, ullBytes);
    mullSize = ullBytes;
    return S_OK;
}

HRESULT ScratchBytes::Copy(ULONGLONG ullFrom, ULONGLONG ullEnd)
{
    std::vector<BYTE> piece(static_cast<std::size_t>(std::min<ULONGLONG>(kulPiece, ullEnd - ullFrom)));
    while (ullFrom < ullEnd)
    {
        const auto ulPiece = static_cast<std::size_t>(std::min<ULONGLONG>(piece.size(), ullEnd - ullFrom));
        std::size_t ulRead = 0;
        HRESULT hr = DescriptorBytes(mFd).Read(ullFrom, piece.data(), ulPiece, ulRead);
        if (SUCCEEDED(hr) && ulRead < ulPiece) hr = STG_E_READFAULT;
        if (SUCCEEDED(hr)) hr = mBelow.Write(ullFrom, piece.data(), ulPiece);
        if (FAILED(hr)) return hr;
        ullFrom += ulPiece;
    }
    return S_OK;
}

HRESULT ScratchBytes::Publish()
{
    if (mChanged.empty()) return S_OK;
    Headers headers;
    ULONGLONG ullBelow = 0;
    HRESULT hr = Settle();
    if (SUCCEEDED(hr)) hr = mBelow.Size(ullBelow);
    if (SUCCEEDED(hr)) hr = mBelow.Read(0, headers.aubOld, sizeof headers.aubOld, headers.ulOld);
    if (SUCCEEDED(hr)) hr = Read(0, headers.aubNew, sizeof headers.aubNew, headers.ulNew);
    if (FAILED(hr)) return hr;

    // What a writer left behind the end who was killed is not the zeros that were seen.
    if (ullBelow > mullBegun) hr = mBelow.SetSize(ullBelow = mullBegun);
    if (SUCCEEDED(hr)) hr = PublishContents(ullBelow);
    if (SUCCEEDED(hr)) hr = PublishHeader(headers);
    if (SUCCEEDED(hr)) return Begin();
    // A disk that was full has room again; what is behind the end hurts nobody otherwise.
    if (!mUnsure) mBelow.SetSize(ullBelow);
    return hr;
}

HRESULT ScratchBytes::PublishContents(ULONGLONG ullBelow)
{
    HRESULT hr = S_OK;
    for (const auto& [ullFrom, ullEnd] : mChanged)
        if (SUCCEEDED(hr) && ullEnd > kullHeader) hr = Copy(std::max(ullFrom, kullHeader), ullEnd);
    if (SUCCEEDED(hr) && ullBelow < mullSize) hr = mBelow.SetSize(mullSize);
    return SUCCEEDED(hr) ? mBelow.Flush() : hr;
}

HRESULT ScratchBytes::PublishHeader(const Headers& headers)
{
    const auto& [ullFirst, ullEnd] = *mChanged.begin();
    HRESULT hr = ullFirst < kullHeader ? Copy(ullFirst, std::min(ullEnd, kullHeader)) : S_OK;
    if (SUCCEEDED(hr)) hr = mBelow.Flush();
    if (SUCCEEDED(hr)) return hr;
    mUnsure = headers;
    PutBack();
    return hr;
}

HRESULT ScratchBytes::Settle()
{
    if (!mUnsure) return S_OK;
    BYTE aubThere[kullHeader];
    std::size_t ulThere = 0;
    const HRESULT hr = mBelow.Read(0, aubThere, sizeof aubThere, ulThere);
    if (FAILED(hr)) return hr;
    for (std::size_t i = 0; i < ulThere; ++i)
    {
        const bool bOld = i < mUnsure->ulOld && aubThere[i] == mUnsure->aubOld[i];
        if (bOld || (i < mUnsure->ulNew && aubThere[i] == mUnsure->aubNew[i])) continue;
        mUnsure.reset(); // somebody else has committed since: theirs counts
        return S_OK;
    }
    return PutBack();
}

HRESULT ScratchBytes::PutBack()
{
    HRESULT hr = mBelow.Write(0, mUnsure->aubOld, mUnsure->ulOld);
    if (SUCCEEDED(hr)) hr = mBelow.Flush();
    if (SUCCEEDED(hr)) mUnsure.reset();
    return hr;
}
} // namespace lum
