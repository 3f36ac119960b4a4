#include "AfxMessage.h"

#include <string>

static std::string ReadAppName()
{
    char acPath[4 * MAX_PATH];
    std::string sName(acPath, GetModuleFileNameA(nullptr, acPath, sizeof acPath));
    const std::size_t ulFolder = sName.find_last_of("\\/");
    if (ulFolder != std::string::npos) sName.erase(0, ulFolder + 1);
    const std::size_t ulExtension = sName.rfind('.');
    if (ulExtension != std::string::npos && ulExtension > 0) sName.erase(ulExtension);
    return sName;
}

const char* AfxGetAppName()
{
    static const std::string sName = ReadAppName();
    return sName.c_str();
}

int AfxMessageBox(const char* pText, UINT, UINT) { return LumMessageBox(pText, AfxGetAppName()); }
