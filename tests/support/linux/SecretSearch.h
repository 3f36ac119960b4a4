// Secrets in this process's memory, which nothing should have left there.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

inline constexpr std::size_t kulSecret = 24;
inline constexpr std::size_t kulMostOfOneMapping = 64 << 20; // a sanitizer's shadow is larger

// What to look for, without being found itself.
class Secret
{
public:
    explicit Secret(const char* pSecret)
    {
        for (std::size_t i = 0; i < kulSecret; ++i) maubMasked[i] = static_cast<unsigned char>(pSecret[i] ^ kubMask);
    }

    std::size_t Count(std::string_view sMemory) const
    {
        const auto same = [](char cByte, unsigned char ubMasked) { return static_cast<unsigned char>(cByte ^ kubMask) == ubMasked; };
        std::size_t ulFound = 0;
        for (auto at = sMemory.begin();; ++at, ++ulFound)
        {
            at = std::search(at, sMemory.end(), std::begin(maubMasked), std::end(maubMasked), same);
            if (at == sMemory.end()) return ulFound;
        }
    }

private:
    static constexpr unsigned char kubMask = 0x5A;
    unsigned char maubMasked[kulSecret];
};

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kbFreedMemoryIsKept = true;
#else
inline constexpr bool kbFreedMemoryIsKept = false;
#endif

// How often a secret stands in the memory that this process may write to and that is no file's.
inline std::size_t CountInMemory(const Secret& secret)
{
    std::size_t ulFound = 0;
    std::FILE* pMaps = std::fopen("/proc/self/maps", "r");
    const int fdMemory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    char acLine[600];
    while (pMaps && std::fgets(acLine, sizeof acLine, pMaps))
    {
        unsigned long ulStart = 0, ulEnd = 0;
        char cRead = 0, cWrite = 0, acPath[300] = "";
        std::sscanf(acLine, "%lx-%lx %c%c%*s %*s %*s %*s %299s", &ulStart, &ulEnd, &cRead, &cWrite, acPath);
        const std::size_t ulBytes = ulEnd - ulStart;
        if (cRead != 'r' || cWrite != 'w' || acPath[0] == '/' || ulBytes > kulMostOfOneMapping) continue;
        // Shared, and so a file's by its looks: the copy is not searched.
        void* pCopy = mmap(nullptr, ulBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (pread(fdMemory, pCopy, ulBytes, static_cast<off_t>(ulStart)) == static_cast<ssize_t>(ulBytes))
            ulFound += secret.Count({static_cast<const char*>(pCopy), ulBytes});
        munmap(pCopy, ulBytes);
    }
    if (pMaps) std::fclose(pMaps);
    close(fdMemory);
    return ulFound;
}
