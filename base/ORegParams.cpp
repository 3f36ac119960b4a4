#include "ORegParams.h"

#include "CaughtException.h"
#include "ORegistry.h"

#include <utility>

ORegParams::ORegParams()
{
    try
    {
        RegParamsInit();
    }
    catch (...) { LogCaught("ORegParams::ORegParams"); throw; }
}

ORegParams::ORegParams(HKEY hRoot, const char* pPath)
{
    try
    {
        RegParamsInit();
        Init(hRoot, pPath);
    }
    catch (...) { LogCaught("ORegParams::ORegParams"); throw; }
}

ORegParams::~ORegParams()
{
    try
    {
        delete mpRegistry;
        RegParamsInit();
    }
    catch (...) { LogCaught("ORegParams::"); DropCaught(); }
}

void ORegParams::RegParamsInit()
{
    SetErrorBase(27500);
    mpRegistry = nullptr;
    mhRootKey = nullptr;
}

void ORegParams::Init(HKEY hRoot, const char* pPath)
try
{
    mhRootKey = hRoot;
    mPath = pPath;
}
catch (...) { LogCaught("ORegParams::Init"); throw; }

void ORegParams::SetName(const char* pName)
try
{
    mName = pName;
}
catch (...) { LogCaught("ORegParams::SetName"); throw; }

CString ORegParams::GetFullPathNameA()
try
{
    if (mName.IsEmpty()) return mPath;
    CString sFullPath;
    sFullPath.GetBuffer(mPath.GetLength() + 1 + mName.GetLength());
    sFullPath += mPath;
    sFullPath += '\\';
    sFullPath += mName;
    return sFullPath;
}
catch (...) { LogCaught("ORegParams::GetFullPathName"); throw; }

void ORegParams::Open(const char* pName)
try
{
    Close();
    SetName(pName);
    const CString sFullPath = GetFullPathNameA();
    mpRegistry = new ORegistry;
    mpRegistry->SetRoot(mhRootKey);
    mpRegistry->OpenKey(sFullPath, ORegistry::OPEN_ONLY);
}
catch (...) { LogCaught("ORegParams::Open"); throw; }

void ORegParams::Close()
try
{
    delete std::exchange(mpRegistry, nullptr);
}
catch (...) { LogCaught("ORegParams::Close"); throw; }

CString ORegParams::GetPath()
try
{
    return mPath;
}
catch (...) { LogCaught("ORegParams::GetPath"); throw; }

CString ORegParams::GetName()
try
{
    return mName;
}
catch (...) { LogCaught("ORegParams::GetName"); throw; }
