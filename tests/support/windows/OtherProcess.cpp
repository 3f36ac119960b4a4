#include "OtherProcess.h"

#include <windows.h>

#include <cstdio>

struct OtherProcess::System
{
    HANDLE hProcess, hOrders, hAnswers;
};

static void MakePipe(HANDLE& hRead, HANDLE& hWrite, HANDLE& hInherited)
{
    CreatePipe(&hRead, &hWrite, nullptr, 0);
    SetHandleInformation(hInherited, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

OtherProcess::OtherProcess(const std::string& sRole) : mpSystem(new System{})
{
    char acProgram[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, acProgram, sizeof acProgram);
    HANDLE hOrdersRead = nullptr, hAnswersWrite = nullptr;
    MakePipe(hOrdersRead, mpSystem->hOrders, hOrdersRead);
    MakePipe(mpSystem->hAnswers, hAnswersWrite, hAnswersWrite);

    STARTUPINFOA start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = hOrdersRead;
    start.hStdOutput = hAnswersWrite;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    std::string sLine = "\"" + std::string(acProgram) + "\" --role " + sRole;
    if (!CreateProcessA(acProgram, sLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process))
        std::fprintf(stderr, "cannot start %s\n", sLine.c_str());
    CloseHandle(process.hThread);
    CloseHandle(hOrdersRead);
    CloseHandle(hAnswersWrite);
    mpSystem->hProcess = process.hProcess;
}

OtherProcess::~OtherProcess()
{
    CloseHandle(mpSystem->hOrders);
    WaitForSingleObject(mpSystem->hProcess, INFINITE);
    CloseHandle(mpSystem->hProcess);
    CloseHandle(mpSystem->hAnswers);
    delete mpSystem;
}

void OtherProcess::Tell(const std::string& sOrder)
{
    const std::string sLine = sOrder + "\n";
    DWORD ulDone = 0;
    WriteFile(mpSystem->hOrders, sLine.data(), static_cast<DWORD>(sLine.size()), &ulDone, nullptr);
}

std::string OtherProcess::Answer()
{
    std::string sLine;
    char c = 0;
    for (DWORD ulDone; ReadFile(mpSystem->hAnswers, &c, 1, &ulDone, nullptr) && ulDone && c != '\n';)
        if (c != '\r') sLine += c;
    return sLine;
}

void OtherProcess::Kill()
{
    TerminateProcess(mpSystem->hProcess, 1);
    WaitForSingleObject(mpSystem->hProcess, INFINITE);
}
