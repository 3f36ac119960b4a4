#include "CrcFile.h"

#include "OCRCFile.h"

#include "FileBytes.h"
#include "LibraryError.h"
#include "Text.h"

#include <exception>

namespace tool
{
static constexpr ULONGLONG kullTrailer = 2;
static constexpr ULONGLONG kullLong = 100'000'000; // bytes from which on it takes long enough to show how far it is

// ---- what the library says

class LongFile
{
public:
    explicit LongFile(const char* pDoing, const std::string& sPath) : msWhat(std::string(pDoing) + " " + Visible(sPath)) {}

    static void At(void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes)
    {
        if (ullBytes < kullLong) return;
        auto& self = *static_cast<LongFile*>(pContext);
        if (!self.mProgress) self.mProgress.emplace(self.msWhat, static_cast<size_t>(ullBytes));
        self.mProgress->At(static_cast<size_t>(ullDone));
    }

private:
    std::string msWhat;
    std::optional<Progress> mProgress;
};

static Stop Failed(const char* pWhat, const std::string& sPath, DWORD ulError)
{
    const std::string sReason = ulError == ERROR_FILE_INVALID ? "it changed while it was read" : SystemText(ulError);
    return Stop(kFailure, Format("%s %s failed: %s", pWhat, sPath.c_str(), sReason.c_str()));
}

static bool Append(const std::string& sPath)
{
    LongFile file("appending the CRC of", sPath);
    if (OCRCFile().AppendCRC(sPath.c_str(), LongFile::At, &file)) return true;
    throw Failed("appending the CRC to", sPath, GetLastError());
}

static bool Matches(const std::string& sPath)
{
    LongFile file("checking", sPath);
    if (OCRCFile().CheckCRC(sPath.c_str(), LongFile::At, &file)) return true;
    const DWORD ulError = GetLastError();
    if (ulError != NO_ERROR) throw Failed("checking", sPath, ulError);
    return false;
}

// False: it is left as it is, its CRC does not match.
static bool Undo(const std::string& sPath, bool bForce)
{
    LongFile file("checking", sPath);
    OCRCFile crc;
    if (bForce ? crc.UndoAppendCRC(sPath.c_str()) : crc.UndoMatchingCRC(sPath.c_str(), LongFile::At, &file)) return true;
    const DWORD ulError = GetLastError();
    if (bForce || ulError != NO_ERROR) throw Failed("cutting the CRC off", sPath, ulError);
    return false;
}

// ---- what must be so before it is asked

static ULONGLONG SizeOf(const std::string& sPath)
{
    // The library takes wide text, and opens the file by its narrow form.
    if (OString(sPath.c_str()).ConvertToMultiByte() != sPath.c_str())
        throw Stop(kFailure, "opening " + sPath + " failed: its name is not valid text in the system's code page");

    return SizeOfFile(sPath);
}

// ---- the answers

static CrcAnswer Answer(ExitStatus eStatus, const char* pResult, const std::string& sPath, const std::string& sText)
{
    return {eStatus, pResult, Visible(sPath) + ": " + Inked(eStatus == kDone ? Ink::Green : Ink::Red, sText)};
}

template <class Work>
static CrcAnswer Answered(Work work)
try
{
    return work();
}
catch (const std::exception& error)
{
    return {kFailure, "failed", Visible(error.what())};
}
catch (...)
{
    return {kFailure, "failed", LibraryErrorText()};
}

CrcAnswer AppendCrc(const std::string& sPath)
{
    return Answered([&] {
        SizeOf(sPath);
        Append(sPath);
        return Answer(kDone, "appended", sPath, "CRC appended");
    });
}

static std::optional<CrcAnswer> TooShort(const std::string& sPath)
{
    const ULONGLONG ullBytes = SizeOf(sPath);
    if (ullBytes >= kullTrailer) return std::nullopt;
    return Answer(kAnswerIsNo, "no CRC", sPath, ullBytes ? "has no CRC, it is one byte long" : "has no CRC, it is empty");
}

CrcAnswer CheckCrc(const std::string& sPath)
{
    return Answered([&] {
        if (const auto tooShort = TooShort(sPath)) return *tooShort; // to the library, an empty file matches
        if (Matches(sPath)) return Answer(kDone, "matches", sPath, "CRC matches");
        return Answer(kAnswerIsNo, "does not match", sPath, "CRC does not match");
    });
}

CrcAnswer UndoCrc(const std::string& sPath, bool bForce)
{
    return Answered([&] {
        if (const auto tooShort = TooShort(sPath)) return *tooShort;
        if (Undo(sPath, bForce)) return Answer(kDone, "cut off", sPath, "CRC cut off");
        return Answer(kAnswerIsNo, "does not match", sPath,
                      "left as it is, its CRC does not match (--force cuts off the last two bytes)");
    });
}
} // namespace tool
