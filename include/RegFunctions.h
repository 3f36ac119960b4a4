// The registry for programs that do not use the classes.
//
//  * Roots are HKEY_LOCAL_MACHINE; paths continue the process's base path unless a line says otherwise.
//  * Nothing is raised. The first five answer whether the key is open, even when the write or read after that failed.
#pragma once

#include "Platform.h"

extern "C"
{
int RegWriteString(const char* pKeyPath, const char* pValueName, const char* pText);
int RegCreateAndWriteString(const char* pKeyPath, const char* pValueName, const char* pText);
int RegReadString(const char* pKeyPath, const char* pValueName, char* pBuffer, int iSize); // as strncpy copies
int RegWriteDWord(const char* pKeyPath, const char* pValueName, ULONG ulValue);
int RegCreateAndWriteDWord(const char* pKeyPath, const char* pValueName, ULONG ulValue);

int RegReadDWord(const char* pKeyPath, const char* pValueName, ULONG* pulValue); // any value of up to four bytes
int RegKeyExist(const char* pKeyPath);
int RegKeyWithoutBaseExist(const char* pKeyPath); // the path as it is
int RegValueExist(const char* pKeyPath, const char* pValueName);
int RegKeyCreate(const char* pKeyPath);
int RegKeyDelete(const char* pKeyPath);     // deletes nothing, and answers 0
HKEY RegKeyGetHandle(const char* pKeyPath); // null: no such key. Any other handle is closed already.

int RegIsInstTypeAlder();
int RegIsInstTypeBirch();
int RegIsInstTypeCedar();
}
