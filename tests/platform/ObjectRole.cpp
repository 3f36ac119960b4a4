#include "ObjectHandle.h"

#include "ObjectRole.h"

#include <atomic>
#include <map>
#include <sstream>

namespace
{
std::map<std::string, ObjectHandle> gHandles;

std::string Opened(const std::string& sName, HANDLE hObject, DWORD ulError)
{
    if (!hObject) return "failed " + std::to_string(ulError);
    gHandles[sName] = ObjectHandle(hObject);
    return std::to_string(ulError);
}

// A byte of the mapping, through a view of its own.
std::string InView(HANDLE hMapping, DWORD ulAccess, unsigned uOffset, int iValue)
{
    auto* pView = static_cast<unsigned char*>(MapViewOfFile(hMapping, ulAccess, 0, 0, 0));
    if (!pView) return "failed " + std::to_string(GetLastError());
    if (ulAccess == FILE_MAP_WRITE) pView[uOffset] = static_cast<unsigned char>(iValue);
    const std::string sAnswer = std::to_string(pView[uOffset]);
    UnmapViewOfFile(pView);
    return sAnswer;
}

std::string DoOrder(const std::string& sOrder)
{
    std::istringstream order(sOrder);
    std::string sVerb, sName;
    order >> sVerb >> sName;
    const char* pName = sName.c_str();
    if (sVerb == "waits")
    {
        std::string sOther;
        DWORD ulMilliseconds = 0;
        order >> sOther >> ulMilliseconds;
        const HANDLE aObjects[] = {gHandles[sName], gHandles[sOther]};
        return std::to_string(WaitForMultipleObjects(2, aObjects, FALSE, ulMilliseconds));
    }
    DWORD ulFirst = 0, ulSecond = 0;
    order >> ulFirst >> ulSecond;

    SetLastError(0);
    HANDLE hNew = nullptr;
    if (sVerb == "event") hNew = CreateEventA(nullptr, ulFirst, ulSecond, pName);
    else if (sVerb == "mutex") hNew = CreateMutexA(nullptr, ulFirst, pName);
    else if (sVerb == "mapping") hNew = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, ulFirst, pName);
    else if (sVerb == "open-event") hNew = OpenEventA(ulFirst, FALSE, pName);
    else if (sVerb == "open-mutex") hNew = OpenMutexA(ulFirst, FALSE, pName);
    else if (sVerb == "open-mapping") hNew = OpenFileMappingA(ulFirst, FALSE, pName);
    else
    {
        const HANDLE hObject = gHandles[sName];
        if (sVerb == "wait") return std::to_string(WaitForSingleObject(hObject, ulFirst));
        if (sVerb == "read") return InView(hObject, FILE_MAP_READ, ulFirst, 0);
        if (sVerb == "write") return InView(hObject, FILE_MAP_WRITE, ulFirst, static_cast<int>(ulSecond));
        BOOL bDone = FALSE;
        if (sVerb == "set") bDone = SetEvent(hObject);
        if (sVerb == "reset") bDone = ResetEvent(hObject);
        if (sVerb == "release") bDone = ReleaseMutex(hObject);
        if (sVerb == "close")
        {
            gHandles.erase(sName);
            bDone = TRUE;
        }
        return std::to_string(bDone ? 0 : GetLastError());
    }
    return Opened(sName, hNew, GetLastError());
}
const OtherRole kRole("objects", DoOrder);
} // namespace

std::string ObjectName(const char* pStem)
{
    static std::atomic<int> iNext{0};
    return "LumTest-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++iNext) + "-" + pStem;
}
