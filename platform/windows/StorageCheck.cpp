// A look at a compound file from outside: everything is opened and read.
#include "PlatformPrivate.h"

#include <memory>
#include <string>

namespace
{
constexpr ULONG kulPiece = 1 << 18;

std::string Utf8(const std::wstring& sText)
{
    const int iUnits = static_cast<int>(sText.size());
    std::string sUtf8(3 * sText.size(), '\0');
    sUtf8.resize(sText.empty() ? 0
                               : WideCharToMultiByte(CP_UTF8, 0, sText.data(), iUnits, sUtf8.data(), static_cast<int>(sUtf8.size()),
                                                     nullptr, nullptr));
    return sUtf8;
}

class Checker
{
public:
    Checker(LumStorageDamage pTell, LumStorageProgress pAt, void* pContext, ULONGLONG ullBytes)
        : mpTell(pTell), mpAt(pAt), mpContext(pContext), mullBytes(ullBytes)
    {
    }

    void Storage(IStorage* pStorage, const std::wstring& sPath, size_t uDepth)
    {
        const std::wstring sWhere = sPath.empty() ? L"root" : L"storage " + sPath;
        IEnumSTATSTG* pList = nullptr;
        if (uDepth > kuDeepestStorage) return;
        HRESULT hResult = pStorage->EnumElements(0, nullptr, 0, &pList);
        for (STATSTG stat{}; SUCCEEDED(hResult) && (hResult = pList->Next(1, &stat, nullptr)) == S_OK; CoTaskMemFree(stat.pwcsName))
            Element(pStorage, stat, sPath.empty() ? stat.pwcsName : sPath + L"/" + stat.pwcsName, uDepth);
        if (FAILED(hResult)) Tell(sWhere, Reason("cannot be listed", hResult));
        if (pList) pList->Release();
    }

private:
    // Storages that share what they hold would be walked without end.
    bool HasRoom()
    {
        constexpr ULONGLONG kullEntryBytes = 128; // in the file's directory, for each element
        const ULONGLONG ullMost = mullBytes / kullEntryBytes;
        if (mullMet > ullMost) return false;
        if (++mullMet > ullMost) Tell(L"directory", "leads to more elements than it can have: some are met again and again");
        return mullMet <= ullMost;
    }

    void Element(IStorage* pParent, const STATSTG& stat, const std::wstring& sPath, size_t uDepth)
    {
        constexpr DWORD kulMode = STGM_READ | STGM_SHARE_EXCLUSIVE;
        if (!HasRoom()) return;
        if (stat.type == STGTY_STORAGE)
        {
            IStorage* pStorage = nullptr;
            const HRESULT hResult = pParent->OpenStorage(stat.pwcsName, nullptr, kulMode, nullptr, 0, &pStorage);
            if (FAILED(hResult)) return Tell(L"storage " + sPath, Reason("cannot be opened", hResult));
            Storage(pStorage, sPath, uDepth + 1);
            pStorage->Release();
            return;
        }
        IStream* pStream = nullptr;
        const HRESULT hResult = pParent->OpenStream(stat.pwcsName, nullptr, kulMode, 0, &pStream);
        if (FAILED(hResult)) return Tell(L"stream " + sPath, Reason("cannot be opened", hResult));
        Stream(pStream, L"stream " + sPath, stat.cbSize.QuadPart);
        pStream->Release();
    }

    void Stream(IStream* pStream, const std::wstring& sWhere, ULONGLONG ullBytes)
    {
        ULONGLONG ullDone = 0;
        for (ULONG ulRead = 1; ulRead > 0; ullDone += ulRead)
        {
            ulRead = 0;
            const HRESULT hResult = pStream->Read(maBytes.get(), kulPiece, &ulRead);
            if (FAILED(hResult))
                return Tell(sWhere, Reason("cannot be read from byte " + std::to_string(ullDone) + " on", hResult));
            if (ulRead > ullBytes - ullDone) break; // more than it has: told below
            mullDone += ulRead;
            mpAt(mpContext, mullDone, mullBytes);
        }
        if (ullDone != ullBytes)
            Tell(sWhere, "does not end after the " + std::to_string(ullBytes) + " bytes that it should have, but after " +
                             std::to_string(ullDone));
    }

    static std::string Reason(const std::string& sWhat, HRESULT hResult)
    {
        char acNumber[16];
        snprintf(acNumber, sizeof acNumber, " (0x%08X)", static_cast<unsigned>(hResult));
        return sWhat + acNumber;
    }
    void Tell(const std::wstring& sWhere, const std::string& sWhat) const
    {
        mpTell(mpContext, Utf8(sWhere).c_str(), sWhat.c_str());
    }

    const LumStorageDamage mpTell;
    const LumStorageProgress mpAt;
    void* const mpContext;
    const ULONGLONG mullBytes;
    ULONGLONG mullDone = 0, mullMet = 0; // elements
    const std::unique_ptr<BYTE[]> maBytes{new BYTE[kulPiece]};
};
} // namespace

HRESULT LumCheckStorage(LPCWSTR pFile, LumStorageDamage pTell, LumStorageProgress pAt, void* pContext)
{
    IStorage* pRoot = nullptr;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    const HRESULT hResult = StgOpenStorage(pFile, nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &pRoot);
    if (FAILED(hResult)) return hResult;
    GetFileAttributesExW(pFile, GetFileExInfoStandard, &data);
    Checker checker(pTell, pAt, pContext, static_cast<ULONGLONG>(data.nFileSizeHigh) << 32 | data.nFileSizeLow);
    checker.Storage(pRoot, {}, 0);
    pRoot->Release();
    return S_OK;
}
