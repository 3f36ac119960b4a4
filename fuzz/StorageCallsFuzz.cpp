// The interfaces of compound files, given any bytes at all: a mode, a number of steps, the steps, and the file; when nothing is
// left for it, a new one.
#include "../tests/support/linux/StorageCalls.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace
{
// Files in memory, where there are such: each run opens a few.
class Folder
{
public:
    Folder()
    {
        char acShared[] = "/dev/shm/lum-fuzz-XXXXXX", acTemporary[] = "/tmp/lum-fuzz-XXXXXX";
        const char* const pMade = mkdtemp(acShared);
        const char* const pFolder = pMade ? pMade : mkdtemp(acTemporary);
        if (!pFolder) std::abort();
        msPath = pFolder;
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(msPath, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string msPath;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t ulBytes)
{
    static const Folder folder;
    static StorageCalls calls(folder.msPath);
    if (ulBytes < 2) return 0;
    const std::size_t ulScript = pBytes[1] % (StorageCalls::kulMostSteps + 1) * StorageCalls::kulStepBytes;
    if (ulBytes < 2 + ulScript) return 0;
    const std::string sWrong = calls.Run({pBytes + 2 + ulScript, pBytes + ulBytes}, pBytes[0], pBytes + 2, ulScript);
    if (sWrong.empty()) return 0;
    std::fprintf(stderr, "%s\n", sWrong.c_str());
    std::abort();
}
