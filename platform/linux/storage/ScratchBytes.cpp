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
constexpr ULONGLONG kullHeader = 512;
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
    if (mFd >= 0 && ftruncate(mFd, 0) != 0) return STG_E_WRITEFAULT;
    mChanged.clear();
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
    auto i = mChanged.upper_bound(ullFrom);
    if (i != mChanged.begin() && std::prev(i)->second >= ullFrom) --i;
    while (i != mChanged.end() && i->first <= ullEnd)
    {
        ullFrom = std::min(ullFrom, i->first);
        ullEnd = std::max(ullEnd, i->second);
        i = mChanged.erase(i);
    }
    mChanged.emplace(ullFrom, ullEnd);
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
    ULONGLONG ullBelow = 0;
    HRESULT hr = mBelow.Size(ullBelow);
    if (SUCCEEDED(hr) && ullBelow > mullBegun) // what a writer left there who was killed is not the zeros that were seen
    {
        hr = mBelow.SetSize(mullBegun);
        ullBelow = mullBegun;
    }
    for (const auto& [ullFrom, ullEnd] : mChanged)
        if (SUCCEEDED(hr) && ullEnd > kullHeader) hr = Copy(std::max(ullFrom, kullHeader), ullEnd);
    if (SUCCEEDED(hr) && ullBelow < mullSize) hr = mBelow.SetSize(mullSize);
    if (SUCCEEDED(hr)) hr = mBelow.Flush();
    if (FAILED(hr))
    {
        mBelow.SetSize(ullBelow); // a disk that was full has room again; what is behind the end hurts nobody otherwise
        return hr;
    }
    const auto& [ullFirst, ullEnd] = *mChanged.begin();
    if (ullFirst < kullHeader) hr = Copy(ullFirst, std::min(ullEnd, kullHeader));
    if (SUCCEEDED(hr)) hr = mBelow.Flush();
    return SUCCEEDED(hr) ? Begin() : hr;
}
} // namespace lum
