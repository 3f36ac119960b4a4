// One storage of a compound file, with exceptions in the place of result codes: the root, which is the file, or one inside it.
//
//  * Error base 12000, log group "FileStorage". Without a storage every call but Commit and DeleteStream raises 1.
//  * A result other than plain success, and so "success, but" as well, is logged under "Error" and raises its own code, or 11.
//  * Create... and Open... raise 2 when the object that is to hold the result holds one already. Then nothing was opened, except
//    that CreateSubStorage and CreateStream have made their element.
//  * Files and storages are created and opened under the configured user's identity, streams under the thread's.
//  * ulMode is the platform's STGM_ flags. Texts of 16-bit units end in zero; ppExclude, of such, in null, and it may be null.
//  * Copies have the same storage; it is closed when the last of them goes. One thread at a time.
#pragma once

#include "Platform.h"

#include "OBase.h"

class OComStream;

class OComStorage : public OBase
{
public:
    OComStorage();
    OComStorage(const OComStorage& source);
    OComStorage& operator=(const OComStorage& source);
    ~OComStorage() override;

    void CreateRootStorage(const unsigned short* pFile, ULONG ulMode);
    void OpenRootStorage(const unsigned short* pFile, ULONG ulMode, unsigned short** ppExclude);
    void CreateSubStorage(const unsigned short* pName, OComStorage& sub, ULONG ulMode);
    void OpenSubStorage(const unsigned short* pName, OComStorage& sub, ULONG ulMode, unsigned short** ppExclude);

    void CreateStream(const unsigned short* pName, OComStream& stream, ULONG ulMode);
    // OpenStream: at its start. Reads and writes as this storage may, whatever ulMode says of that.
    void OpenStream(const unsigned short* pName, OComStream& stream, ULONG ulMode);

    // CopyTo: all but the interfaces and names that are left out; what destination has besides stays.
    void CopyTo(ULONG ulExclude, const GUID* pExclude, unsigned short** ppExclude, OComStorage& destination);

    // Commit, DeleteStream: what they answer is not looked at. Without a storage they do nothing.
    void Commit();
    void DeleteStream(const unsigned short* pName); // a storage with all in it, too

private:
    void CloseStorage();
    void CheckAttached();
    void RefuseFile(const char* pMethod, HRESULT hResult, const unsigned short* pFile);

    IStorage* mpStorage = nullptr; // this object's own reference
};
