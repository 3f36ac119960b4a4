// A stream and a storage that answer what a test tells them to, and note what they are called with.
#pragma once

#include "ComObject.h"

#include <string>
#include <utility>
#include <vector>

class FakeStream final : public ComObject<IStream>
{
public:
    FakeStream() : ComObject({}) {}

    HRESULT hAnswer = S_OK;
    ULONG ulShort = 0;      // how many bytes fewer than asked are read or written
    ULONGLONG ullPlace = 0; // what Seek and Stat tell
    void (*pBefore)() = nullptr;
    std::vector<std::string> calls;

    HRESULT STDMETHODCALLTYPE Read(void*, ULONG ulBytes, ULONG* pulRead) override
    {
        *pulRead = ulBytes - ulShort;
        return Note("Read " + std::to_string(ulBytes));
    }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG ulBytes, ULONG* pulWritten) override
    {
        *pulWritten = ulBytes - ulShort;
        return Note("Write " + std::to_string(ulBytes));
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD ulOrigin, ULARGE_INTEGER* pPosition) override
    {
        if (pPosition) pPosition->QuadPart = ullPlace;
        return Note("Seek " + std::to_string(move.QuadPart) + " " + std::to_string(ulOrigin));
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override { return Note("SetSize " + std::to_string(size.QuadPart)); }
    HRESULT STDMETHODCALLTYPE Commit(DWORD ulFlags) override { return Note("Commit " + std::to_string(ulFlags)); }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pStat, DWORD ulFlags) override
    {
        pStat->cbSize.QuadPart = ullPlace;
        return Note("Stat " + std::to_string(ulFlags));
    }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return Note("CopyTo"); }
    HRESULT STDMETHODCALLTYPE Revert() override { return Note("Revert"); }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return Note("LockRegion"); }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return Note("UnlockRegion"); }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return Note("Clone"); }

    std::vector<std::string> Calls() { return std::exchange(calls, {}); }

private:
    HRESULT Note(const std::string& sCall)
    {
        calls.push_back(sCall);
        if (pBefore) pBefore();
        return hAnswer;
    }
};

class FakeStorage final : public ComObject<IStorage>
{
public:
    FakeStorage() : ComObject({}) {}

    HRESULT hAnswer = S_OK, hStat = S_OK;
    DWORD ulMode = 0;              // what Stat tells
    FakeStream* pStream = nullptr; // given out as every stream, whatever is answered
    FakeStorage* pStorage = nullptr;
    void (*pBefore)() = nullptr;
    std::vector<std::string> calls;

    HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR*, DWORD ulMode, DWORD, DWORD, IStream** ppStream) override
    {
        return Give(pStream, ppStream, Named("CreateStream", ulMode));
    }
    HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR*, void*, DWORD ulMode, DWORD, IStream** ppStream) override
    {
        return Give(pStream, ppStream, Named("OpenStream", ulMode));
    }
    HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR*, DWORD ulMode, DWORD, DWORD, IStorage** ppStorage) override
    {
        return Give(pStorage, ppStorage, Named("CreateStorage", ulMode));
    }
    HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR*, IStorage*, DWORD ulMode, SNB ppExclude, DWORD,
                                          IStorage** ppStorage) override
    {
        return Give(pStorage, ppStorage, Named(ppExclude ? "OpenStorage without some" : "OpenStorage", ulMode));
    }
    HRESULT STDMETHODCALLTYPE CopyTo(DWORD ulExclude, const IID*, SNB, IStorage*) override
    {
        return Note(Named("CopyTo", ulExclude));
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD ulFlags) override { return Note(Named("Commit", ulFlags)); }
    HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR*) override { return Note("DestroyElement"); }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pStat, DWORD ulFlags) override
    {
        pStat->grfMode = ulMode;
        calls.push_back(Named("Stat", ulFlags));
        return hStat;
    }
    HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR*, IStorage*, const OLECHAR*, DWORD) override
    {
        return Note("MoveElementTo");
    }
    HRESULT STDMETHODCALLTYPE Revert() override { return Note("Revert"); }
    HRESULT STDMETHODCALLTYPE EnumElements(DWORD, void*, DWORD, IEnumSTATSTG**) override { return Note("EnumElements"); }
    HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR*, const OLECHAR*) override { return Note("RenameElement"); }
    HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR*, const FILETIME*, const FILETIME*, const FILETIME*) override
    {
        return Note("SetElementTimes");
    }
    HRESULT STDMETHODCALLTYPE SetClass(REFCLSID) override { return Note("SetClass"); }
    HRESULT STDMETHODCALLTYPE SetStateBits(DWORD, DWORD) override { return Note("SetStateBits"); }

    std::vector<std::string> Calls() { return std::exchange(calls, {}); }

private:
    static std::string Named(const char* pCall, DWORD ulNumber) { return std::string(pCall) + " " + std::to_string(ulNumber); }
    HRESULT Note(const std::string& sCall)
    {
        calls.push_back(sCall);
        if (pBefore) pBefore();
        return hAnswer;
    }
    template <class Fake, class Interface>
    HRESULT Give(Fake* pFake, Interface** ppOut, const std::string& sCall)
    {
        const HRESULT hResult = Note(sCall);
        *ppOut = SUCCEEDED(hResult) ? pFake : nullptr;
        if (*ppOut) pFake->AddRef();
        return hResult;
    }
};
