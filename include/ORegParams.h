// The base of the parameter blocks: a block is a key below the base path, with its values and further keys inside.
//
//  * A getter opens what it needs, reads one value and closes again; nothing here makes a key.
//  * A missing block or subkey is silent: reads give defaults, plain writes do nothing.
//  * Failures of the registry pass through with the codes of ORegistry; this base has 27500 and raises none itself.
//  * A copy shares the open key: copy closed blocks only.      * One thread at a time.
#pragma once

#include "CString.h"
#include "OBase.h"

class ORegistry;

class ORegParams : public OBase
{
public:
    ORegParams();
    ORegParams(HKEY hRoot, const char* pPath);
    ORegParams(const ORegParams&) = default;
    ORegParams& operator=(const ORegParams&) = default;
    ~ORegParams() override;

    void Init(HKEY hRoot, const char* pPath); // where the block lives; opens nothing
    void SetName(const char* pName);          // the subkey inside the block; null: none
    CString GetFullPathNameA();               // path and name, joined by a backslash
    void Open(const char* pName);             // null: the block's own key
    void Close();

    HKEY GetRootKeyHandle() { return mhRootKey; }
    CString GetPath();
    CString GetName();

protected:
    ORegistry* mpRegistry; // the open key; null: closed
    HKEY mhRootKey;
    CString mPath; // below the base path
    CString mName;

private:
    void RegParamsInit();
};
