// A folder of a test's own, empty at first and gone afterwards with all that is in it.
#pragma once

#include "Platform.h"

#include <atomic>
#include <filesystem>
#include <string>

class TempFolder
{
public:
    TempFolder()
    {
        static std::atomic<int> iNext{0};
        const std::string sName = "lum-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++iNext);
        mPath = std::filesystem::temp_directory_path() / sName;
        std::filesystem::create_directories(mPath);
    }
    ~TempFolder()
    {
        namespace fs = std::filesystem;
        std::error_code ignored;
        for (const auto& entry : fs::recursive_directory_iterator(mPath, ignored))
            fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add, ignored);
        fs::remove_all(mPath, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path() const { return mPath.string(); }
    std::string operator/(const std::string& sName) const { return (mPath / sName).string(); }

private:
    std::filesystem::path mPath;
};
