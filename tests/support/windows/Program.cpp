#include "Program.h"

#include <windows.h>

#include <cstdlib>

std::string ProgramPath(const std::string& sName)
{
    char aPath[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, aPath, sizeof aPath);
    std::string sPath = aPath;
    return sPath.substr(0, sPath.rfind('\\') + 1) + sName + ".exe";
}

// As the runtime takes a command line apart again: backslashes count only before a quotation mark.
static std::string Quoted(const std::string& sWord)
{
    std::string sResult = "\"";
    size_t uBackslashes = 0;
    for (char c : sWord)
    {
        if (c == '"') sResult.append(uBackslashes + 1, '\\');
        uBackslashes = c == '\\' ? uBackslashes + 1 : 0;
        sResult += c;
    }
    return sResult.append(uBackslashes, '\\') + '"';
}

class CaptureFile
{
public:
    CaptureFile()
    {
        char aFolder[MAX_PATH] = "", aName[MAX_PATH] = "";
        GetTempPathA(sizeof aFolder, aFolder);
        GetTempFileNameA(aFolder, "lum", 0, aName);
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        mhFile = CreateFileA(aName, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                             CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    }
    ~CaptureFile() { CloseHandle(mhFile); }
    CaptureFile(const CaptureFile&) = delete;
    CaptureFile& operator=(const CaptureFile&) = delete;

    HANDLE Handle() const { return mhFile; }
    std::string Text() const
    {
        std::string sText;
        char aPiece[4096];
        SetFilePointer(mhFile, 0, nullptr, FILE_BEGIN);
        for (DWORD ulRead; ReadFile(mhFile, aPiece, sizeof aPiece, &ulRead, nullptr) && ulRead;) sText.append(aPiece, ulRead);
        std::erase(sText, '\r');
        return sText;
    }

private:
    HANDLE mhFile;
};

ProgramResult RunProgram(const std::string& sPath, const std::vector<std::string>& arguments, const std::string& sInput)
{
    CaptureFile out, err;
    std::string sLine = Quoted(sPath);
    for (const auto& sArgument : arguments) sLine += ' ' + Quoted(sArgument);

    STARTUPINFOA start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    if (!sInput.empty())
        start.hStdInput = CreateFileA(sInput.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      &inherit, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    start.hStdOutput = out.Handle();
    start.hStdError = err.Handle();
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(sPath.c_str(), sLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process))
        return {-1, {}, "cannot start " + sLine};
    if (start.hStdInput) CloseHandle(start.hStdInput);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD ulStatus = 0;
    GetExitCodeProcess(process.hProcess, &ulStatus);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return {static_cast<int>(ulStatus), out.Text(), err.Text()};
}

void SetForPrograms(const char* pName, const char* pValue) { _putenv_s(pName, pValue); }
