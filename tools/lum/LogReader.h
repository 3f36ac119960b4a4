// Reads a log file in big pieces, forward, while programs may be writing it.
//
//  * The file is open only while it is being read: nobody is kept from renaming or deleting it.
//  * Memory does not grow with the file: a line longer than a piece comes in parts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{
class LogReader
{
public:
    // Opens the file. Throws Stop when that fails.
    explicit LogReader(const std::string& sPath);
    ~LogReader() { Close(); }
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;

    // GoToLastRun: begins with the last start of a program; with the file's first line when there is none.
    void GoToLastRun();

    // Next: the next whole lines, with their ends; they stay until the next call. False when the file has no more now.
    bool Next(std::string_view& sLines);

    // Rest: the last line, which has no end yet. Next goes on behind it.
    std::string_view Rest();

    // IsOnDisk: whether it can be read anywhere and may grow; a pipe ends for good.
    bool IsOnDisk() const { return mbOnDisk; }

    // WaitForMore: sleeps until there is more to read. A file that was cut, or replaced by another one of the same name,
    //   is read from its beginning, after the rest of the old one.
    void WaitForMore();

private:
    bool Open();
    void Close();
    void Require(bool bDone, const char* pWhat) const;
    size_t ReadAt(std::uint64_t ullOffset, char* pBuffer, size_t uBytes);
    bool IsOtherFile();
    bool HasMore();
    std::string_view Take(size_t uBytes);

    std::string msPath;
    void* mhFile;
    bool mbOnDisk = true;
    bool mbAnew = false;            // the file is another one now: what is left of the old one comes first
    std::uint64_t mullPosition = 0; // in the file, behind what is in the buffer
    std::vector<char> maBuffer;
    size_t muBegin = 0, muEnd = 0; // of what was read and not yet given out
    std::string msTail;            // the last bytes before mullPosition, to know the file again by
};
} // namespace tool
