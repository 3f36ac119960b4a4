// Message boxes: one way in, a hook for programs that show notices themselves.
#include "Platform.h"

#include <atomic>

static std::atomic<LumMessageHook> gpHook{nullptr};

void LumSetMessageHook(LumMessageHook pHook) { gpHook = pHook; }

int LumMessageBox(const char* pText, const char* pCaption)
{
    if (LumMessageHook pHook = gpHook) return pHook(pText, pCaption);
    return MessageBoxA(nullptr, pText, pCaption, MB_OK);
}
