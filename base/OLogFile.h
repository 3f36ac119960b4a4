// A file that whole lines are appended to, by threads and programs side by side.
//
//  * What there is of a line that did not fit on the disk is overwritten with a line of blanks.
//  * A file that was removed while it is open here is made anew, together with its folder.
//  * Counts lost lines for whoever writes them.
#pragma once

#include "Platform.h"

#include "CString.h"
#include "OApiFile.h"

#include <atomic>
#include <memory>
#include <mutex>

class OLogFile
{
public:
    // Opens as OApiFile does and raises its codes. ulCreation: OPEN_ALWAYS or CREATE_ALWAYS.
    OLogFile(const char* pPath, ULONG ulCreation);

    // Append: writes a line, its end included; false when that is not possible. llSecond: any clock's; the file is looked
    //   for under its name when that changes.
    bool Append(const char* pLine, ULONG ulBytes, LONGLONG llSecond);
    // AppendText: a text, and the line's end.
    bool AppendText(const char* pText, LONGLONG llSecond);

    void AddLost(ULONG ulLines) { mulLost.fetch_add(ulLines, std::memory_order_relaxed); }
    ULONG TakeLost() { return mulLost.load(std::memory_order_relaxed) ? mulLost.exchange(0) : 0; }

private:
    void Adopt(std::unique_ptr<OApiFile> pFile);
    bool IsOpen(LONGLONG llSecond);
    bool IsRemoved() const;
    bool OpenAgain();
    bool Write(const char* pLine, ULONG ulBytes);
    bool BlankFragment();
    void TellOfFailure();

    CString mFullPath; // stays right when the program's working directory changes; empty: not known

    // Held around what follows; nothing that logs, raises, opens or closes is called under it.
    std::mutex mLock;
    std::unique_ptr<OApiFile> mpFile; // null from when it is found removed until it is there again
    HANDLE mhFile = nullptr;          // its handle
    LONGLONG mllLookedFor = 0;
    LONGLONG mllFragment = 0; // where the beginning of a line stands that did not fit
    ULONG mulFragment = 0;    // its bytes; 0 when there is none
    std::atomic<ULONG> mulLost{0};
};

// LogFolder: the path up to its last slash or backslash, one at the very end not counted; "." when there is none.
CString LogFolder(const CString& sPath);
