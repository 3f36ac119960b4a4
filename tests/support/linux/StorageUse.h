// Everything that the interfaces of a compound file can do, done to one that may be damaged.
#pragma once

#include "StorageExercise.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

class StorageUse
{
public:
    // False when a call gave an answer that is none.
    static bool Run(const std::vector<BYTE>& bytes)
    {
        StorageUse use;
        for (const DWORD ulMode : {STGM_READ | STGM_SHARE_DENY_WRITE, STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                                   STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED})
        {
            use.Place(bytes);
            use.Open(ulMode);
        }
        return use.mbAnswers;
    }

private:
    static constexpr DWORD kulElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE, kulReading = STGM_READ | STGM_SHARE_EXCLUSIVE;

    StorageUse()
    {
        char acFolder[] = "/tmp/lum-use-XXXXXX";
        if (!mkdtemp(acFolder)) std::abort();
        msFolder = acFolder;
    }
    ~StorageUse()
    {
        unlink((msFolder + "/file").c_str());
        unlink((msFolder + "/copy").c_str());
        rmdir(msFolder.c_str());
    }

    void Place(const std::vector<BYTE>& bytes)
    {
        const int fd = open((msFolder + "/file").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
        close(fd);
    }
    std::u16string Name(const char* pName) const
    {
        const std::string sName = msFolder + "/" + pName;
        return std::u16string(sName.begin(), sName.end());
    }
    static const WCHAR* Wide(const std::u16string& sName) { return reinterpret_cast<const WCHAR*>(sName.c_str()); }

    bool Keep(HRESULT hr)
    {
        const bool bAnswer = IsStorageAnswer(hr) || hr == S_FALSE || hr == STG_E_REVERTED;
        mbAnswers = mbAnswers && bAnswer;
        return SUCCEEDED(hr);
    }

    void Open(DWORD ulMode)
    {
        IStorage* pRoot = nullptr;
        const HRESULT hr = StgOpenStorage(Wide(Name("file")), nullptr, ulMode, nullptr, 0, &pRoot);
        if (hr == STG_E_FILEALREADYEXISTS || !Keep(hr)) return; // the former: not a compound file
        mulElements = 0;
        Walk(pRoot, (ulMode & 3) != STGM_READ, 0);
        Copy(pRoot);
        Keep((ulMode & 3) == STGM_READ ? S_OK : pRoot->Commit(STGC_DEFAULT));
        Keep(pRoot->Revert());
        pRoot->Release();
    }

    void Copy(IStorage* pRoot)
    {
        IStorage* pCopy = nullptr;
        if (!Keep(StgCreateDocfile(Wide(Name("copy")), kulElement | STGM_CREATE, 0, &pCopy))) return;
        Keep(pRoot->CopyTo(0, nullptr, nullptr, pCopy));
        pCopy->Release();
    }

    void Walk(IStorage* pStorage, bool bChange, int iDepth)
    {
        IEnumSTATSTG* pElements = nullptr;
        if (!Keep(pStorage->EnumElements(0, nullptr, 0, &pElements))) return;
        STATSTG stat;
        while (++mulElements < 200 && pElements->Next(1, &stat, nullptr) == S_OK)
        {
            if (stat.type == STGTY_STORAGE) UseStorageElement(pStorage, stat.pwcsName, bChange, iDepth);
            else UseStream(pStorage, stat.pwcsName, bChange);
            CoTaskMemFree(stat.pwcsName);
        }
        pElements->Release();
    }

    void UseStorageElement(IStorage* pStorage, const WCHAR* pName, bool bChange, int iDepth)
    {
        const DWORD ulTransaction = mulElements % 2 ? STGM_TRANSACTED : 0;
        IStorage* pInside = nullptr;
        if (iDepth > 5 || !Keep(pStorage->OpenStorage(pName, nullptr, (bChange ? kulElement : kulReading) | ulTransaction,
                                                      nullptr, 0, &pInside)))
            return;
        Walk(pInside, bChange, iDepth + 1);
        if (bChange)
        {
            Keep(pInside->SetStateBits(mulElements, 0xFF));
            Keep(mulElements % 5 ? pInside->Commit(STGC_DEFAULT) : pInside->Revert());
        }
        pInside->Release();
        if (bChange && mulElements % 7 == 0) Keep(pStorage->DestroyElement(pName));
    }

    void UseStream(IStorage* pStorage, const WCHAR* pName, bool bChange)
    {
        BYTE aubBytes[5000];
        IStream* pStream = nullptr;
        if (!Keep(pStorage->OpenStream(pName, nullptr, bChange ? kulElement : kulReading, 0, &pStream))) return;
        LARGE_INTEGER move{};
        ULARGE_INTEGER size{};
        Keep(pStream->Read(aubBytes, sizeof aubBytes, nullptr));
        if (bChange)
        {
            Keep(pStream->Write(aubBytes, mulElements % 3 ? 100 : sizeof aubBytes, nullptr));
            size.QuadPart = mulElements * 977 % 9000;
            Keep(pStream->SetSize(size));
        }
        Keep(pStream->Seek(move, STREAM_SEEK_SET, nullptr));
        pStream->Release();
        if (!bChange) return;
        const std::u16string sNew(1, static_cast<char16_t>(0x4E00 + mulElements));
        if (mulElements % 4 == 0) Keep(pStorage->RenameElement(pName, Wide(sNew)));
        if (mulElements % 4 == 1) Keep(pStorage->DestroyElement(pName));
        if (mulElements % 4 == 2) Keep(pStorage->MoveElementTo(pName, pStorage, Wide(sNew), STGMOVE_COPY));
    }

    std::string msFolder;
    bool mbAnswers = true;
    ULONG mulElements = 0;
};
