// A disk of a few pages of 4,096 bytes, mounted on a folder. False without the right to mount one.
#pragma once

#include "FileHandle.h"

#include <sys/mount.h>

#include <filesystem>
#include <string>

constexpr const char* kpNoDisk = "a small disk needs the right to mount one";

class SmallDisk
{
public:
    explicit SmallDisk(const std::string& sFolder) : msFolder(sFolder)
    {
        mbMounted = mount("none", sFolder.c_str(), "tmpfs", 0, "size=32k") == 0;
    }
    ~SmallDisk()
    {
        if (mbMounted) umount2(msFolder.c_str(), MNT_DETACH);
    }
    explicit operator bool() const { return mbMounted; }

    // Fills it up but for so many pages; makes room again.
    void Fill(int iPagesLeft = 0)
    {
        const FileHandle filler(msFolder + "/filler", kulWrite, kulShareAll, OPEN_ALWAYS);
        const std::string sPage(4096, 'f');
        DWORD ulDone = 0;
        SetFilePointer(filler, 0, nullptr, FILE_END);
        while (WriteFile(filler, sPage.data(), 4096, &ulDone, nullptr)) {}
        SetFilePointer(filler, -4096 * iPagesLeft, nullptr, FILE_END);
        SetEndOfFile(filler);
    }
    void MakeRoom() { std::filesystem::remove(msFolder + "/filler"); }

private:
    const std::string msFolder;
    bool mbMounted;
};
