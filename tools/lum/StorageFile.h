// Compound files as lum works with them: opened, walked, and in words what goes wrong. All of it throws Stop.
#pragma once

#include "Platform.h"

#include "Console.h"
#include "Held.h"
#include "StorageNames.h"

#include <string>
#include <vector>

namespace tool
{
inline const WCHAR* WideName(const std::u16string& sName) { return AsWide(AsUnits(sName.c_str())); }

// "what failed: why (0x80030005)".
Stop StorageFailure(const std::string& sWhat, HRESULT hResult);
std::string StorageReason(HRESULT hResult);
bool SaysInUse(HRESULT hResult); // that another program has the file open

// One stream or storage, as its storage's directory has it.
struct StorageElement
{
    std::u16string sName;
    bool bStorage;
    ULONGLONG ullBytes;         // of a stream
    FILETIME created, modified; // zero when nobody noted it, and of streams always
    CLSID clsid;
    DWORD ulStateBits;
};

class StorageFile
{
public:
    enum class For
    {
        Reading,
        Writing
    };
    enum class Missing
    {
        Refused,
        Created
    };

    // For reading: beside others who read, and beside a writer who lets others in. For writing: alone but for readers who let
    // others write, and nothing is done without Commit. Who has the file open otherwise is waited for, a few seconds.
    StorageFile(const std::string& sPath, For eFor);
    // A new file in the place of what is there, which is to have another name in the end.
    StorageFile(const std::string& sPath, ULONG ulSectorBytes, const std::string& sFinalPath);

    IStorage* Root() const { return mRoot; }
    std::string Shown(const StoragePath& path) const; // "Runs/0001 in new.cfb"

    // GoTo: opens the storage of that path, and closes the one before. What is missing is the answer no; a stream where a
    // storage should be is a failure.
    IStorage* GoTo(const StoragePath& path, Missing eMissing = Missing::Refused);
    // OpenStream: the same for a stream, after GoTo its storage.
    Held<IStream> OpenStream(const StoragePath& path);
    // OpenStorage: one in a storage that is open; path is for what goes wrong, and its last name is the one.
    Held<IStorage> OpenStorage(IStorage* pParent, const StoragePath& path) const;

    enum class Kind
    {
        None,
        Stream,
        Storage
    };
    Kind Find(IStorage* pParent, const StoragePath& path) const; // what the last name is

    // ElementsOf: what is in a storage, in the order of the names, letters of either case alike. Storages that share what they hold
    // would be walked without end: whoever meets more than the file has room for is told that it is damaged.
    std::vector<StorageElement> ElementsOf(IStorage* pStorage, const StoragePath& path);

    DWORD ElementMode() const { return mulElement; }
    void Commit();
    void Close();

private:
    void CloseBranch();
    void CheckDepth(const StoragePath& storage) const;
    void CheckRoom(ULONGLONG ullMet);
    Stop CannotOpen(const StoragePath& path, HRESULT hResult) const;

    const std::string msPath;
    DWORD mulElement; // how elements are opened
    Held<IStorage> mRoot;
    std::vector<Held<IStorage>> mOpen; // from the root on
    ULONGLONG mullMet = 0, mullRoom = 0; // elements
};

// The size of a file's sectors, 512 or 4096; 0 when it does not begin as a compound file does.
ULONG SectorBytesOf(const std::string& sPath);
} // namespace tool
