// Two programs and one lock. In one terminal: NamedMutex hold torch 20; meanwhile in another: NamedMutex wait torch.
#include "LumBase.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static void Say(const char* pName, const char* pText)
{
    std::printf("%s: %s\n", pName, pText);
    std::fflush(stdout);
}

static constexpr ULONG kulExisted = 153; // Init's answer when another program has the mutex open

static void Take(OMutex& mutex, const char* pName)
{
    if (mutex.Lock(0)) return;
    Say(pName, "another program holds it: waiting");
    while (!mutex.Lock(1000)) Say(pName, "still waiting");
}

static void Release(OMutex& mutex)
{
    mutex.Unlock();
    // When its last owner had ended without releasing it, a Lock that answered 0 took it all the same, uncounted.
    while (ReleaseMutex(mutex.GetHandle())) {}
}

int main(int iCount, char** ppWords)
try
{
    const bool bHold = iCount == 4 && std::strcmp(ppWords[1], "hold") == 0;
    const bool bWait = iCount == 3 && std::strcmp(ppWords[1], "wait") == 0;
    if (!bHold && !bWait)
    {
        std::fputs("usage: NamedMutex hold NAME SECONDS\n       NamedMutex wait NAME\n", stderr);
        return 2;
    }
    OMutex mutex; // its end takes the mutex once more, and so waits while another program holds it
    const char* const pName = ppWords[2];
    Say(pName, mutex.Init(0, pName, nullptr) == kulExisted ? "opened: another program has it too" : "made");
    Take(mutex, pName);
    Say(pName, "held");
    if (bHold) Sleep(static_cast<DWORD>(std::atoi(ppWords[3])) * 1000);
    Release(mutex);
    Say(pName, "released");
    return 0;
}
catch (OAppException* pException)
{
    std::fprintf(stderr, "%s\n", static_cast<const char*>(pException->mText.ConvertToMultiByte()));
    pException->Delete();
    return 1;
}
