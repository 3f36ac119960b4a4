// One open registry key, with typed reads and writes. A "value" is a named, typed piece of data inside a key.
//
//  * OpenKey's paths continue the process's base path, the branch of the installed instrument family. OpenKeyEx's stand alone.
//  * Plain reads and writes (Read..., Write...) never raise: a missing key or value is the default, a write to it nothing.
//    They know text alone: numbers are kept as their digits.
//  * Checked ones (Query..., Set..., and what concerns keys) raise codes of the base 19000: 3 close failed, 4 no key is open or a
//    name is missing, 5 write failed, 6 null text, 7 read failed, 8 wrong type or size, 9 delete failed, 10 no information,
//    11 enumeration failed. For them a missing value is an answer, not a failure.
//  * Checked value names may have a path in front ("Sub\Key\Value"): that subkey is made when it is missing.
//  * A copy shares the key's handle: only one of the two may outlive its use.      * One thread at a time.
#pragma once

#include "CString.h"
#include "OBase.h"

class OBuffer;

class ORegistry : public OBase
{
public:
    enum OPEN_MODE { OPEN_ONLY = 0, OPEN_OR_CREATE = 1 };

    ORegistry() { Init(); }
    ORegistry(HKEY hRoot, const char* pPath, OPEN_MODE eMode); // whether it opened: GetKeyHandle raises if not
    ORegistry(const ORegistry&) = default;
    ORegistry& operator=(const ORegistry&) = default;
    ~ORegistry() override { Cleanup(); }

    void SetRoot(HKEY hRoot);                                   // closes the key
    void InitAccess(ULONG ulAccess) { mAccessMask = ulAccess; } // for later opens; 15 at first
    static void SetBasePath(const char* pPath);                 // usually with a backslash at its end
    // InitRegistryWithCedarBasePath: the branch of the installed family, unless a base path is set already.
    static void InitRegistryWithCedarBasePath();

    // 1 open, 0 not. Making a key does not change what GetPath says.
    int OpenKey(const char* pPath, OPEN_MODE eMode);
    int OpenKeyEx(const char* pPath, OPEN_MODE eMode); // does not close the key that is open
    void CloseKey();
    // Clone: opens in target, through OpenKey, what this object has open, or pSubPath below it.
    void Clone(ORegistry& target, const char* pSubPath, int iCreate);

    CString& ReadString(const char* pName, CString& sOut, const char* pDefault);       // null default: sOut stays as it is
    void ReadPChar(const char* pName, char* pBuffer, int iSize, const char* pDefault); // as strncpy copies
    int ReadInteger(const char* pName, int iDefault);
    double ReadDouble(const char* pName, double fDefault);
    FILETIME ReadFileTime(const char* pName, const FILETIME* pDefault);

    void WritePChar(const char* pName, const char* pText);
    void WriteString(const char* pName, const CString& sText);
    void WriteInteger(const char* pName, int iValue);
    void WriteDouble(const char* pName, double fValue, int iPrecision);
    void WriteFileTime(const char* pName, const FILETIME* pValue);

    int QueryBinaryValue(const char* lpValueName, OBuffer& Buffer); // 0: missing, Buffer as it was
    // Missing: the default is written to the key and answered.
    ULONG QueryDwordValue(const char* lpValueName, ULONG ulDefault);
    int QueryStringValue(const char* lpValueName, const char* pDefault, CString& sOut); // 1: there, 0: the default
    void SetDwordValue(const char* lpValueName, ULONG ulValue);
    void SetStringValue(const char* lpValueName, const char* pText);

    ULONG GetNumSubKeys();
    ULONG GetMaxSubKeyNameLength();                   // characters, without a terminator
    int EnumerateKeys(ULONG ulIndex, CString& sName); // 0: no such index
    // Null: the open key, which is closed. 0: no such subkey. Ex: with everything below it.
    int DeleteKey(const char* lpSubKey);
    int DeleteKeyEx(const char* lpSubKey);

    HKEY GetRootKeyHandle();
    HKEY GetKeyHandle();
    CString GetPath();              // of the last open that found its key, without the base path
    void GetCurrentPath(char*) {}   // leaves the buffer as it is
    int GetIntValue(CString sText); // "$1F", "0x1F" or "31"; anything else is 0

    int IsInstTypeCedar();
    int IsInstTypeBirch();
    int IsInstTypeAlder();
    // These leave the object with the key "GALP" open.
    int IsCFRSecurityEnabled();
    int IsLoginSecurityEnabled();

protected:
    void Init();
    void Cleanup();

    HKEY mhRootKey;
    HKEY mhKey;
    SECURITY_ATTRIBUTES* mSecurityAttributes;
    ULONG mAccessMask;
    ULONG mCreateOptions;
    CString mPath;

private:
    int OpenOrCreate(const char* pFullPath, const char* pPath, OPEN_MODE eMode);
    int GetPathName(const char* lpValueName, CString& sPath);
    int GetValueName(const char* lpValueName, CString& sValueName);
    bool OpenQualified(const char* lpValueName, ORegistry& target, CString& sValueName);
    void RequireKey(const char* pMethod, const char* pNotice = "Object is not initialised: mhKey=NULL");
    void RequireData(LSTATUS lRetval, DWORD dwType, DWORD dwExpected, const char* pMethod, const char* lpValueName);
    void RequireRead(LSTATUS lRetval, const char* pMethod, const char* lpValueName);
    void RequireWritten(LSTATUS lRetval, const char* pMethod, const char* lpValueName);
    void RequireInfo(LSTATUS lRetval, const char* pMethod);
    static int IsInstType(const char* pFamily);
    int IsSecuritySwitch(int iNumber);

    static CString mBasePath;
};
