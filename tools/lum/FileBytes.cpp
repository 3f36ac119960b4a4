#include "FileBytes.h"

#include "Console.h"
#include "Platform.h"

#include <algorithm>

namespace tool
{
static constexpr size_t kuPiece = 1 << 20;

// Closes on the way out.
class OpenFile
{
public:
    explicit OpenFile(HANDLE hFile) : mhFile(hFile) {}
    ~OpenFile() { Close(); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool IsOpen() const { return mhFile != INVALID_HANDLE_VALUE; }
    HANDLE Handle() const { return mhFile; }
    void Close()
    {
        if (IsOpen()) CloseHandle(mhFile);
        mhFile = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE mhFile;
};

static Stop Failed(const char* pWhat, const std::string& sPath)
{
    const DWORD ulError = GetLastError();
    return Stop(kFailure, Format("%s %s failed: %s", pWhat, sPath.c_str(), SystemText(ulError).c_str()));
}

std::string ReadFileBytes(const std::string& sPath)
{
    OpenFile file(CreateFileA(sPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen()) throw Failed("opening", sPath);

    std::string sBytes;
    for (;;)
    {
        const size_t uOld = sBytes.size();
        sBytes.resize(uOld + kuPiece);
        DWORD ulRead = 0;
        if (!ReadFile(file.Handle(), sBytes.data() + uOld, kuPiece, &ulRead, nullptr)) throw Failed("reading", sPath);
        sBytes.resize(uOld + ulRead);
        if (ulRead == 0) return sBytes;
    }
}

void ReplaceFileBytes(const std::string& sPath, std::string_view sBytes)
{
    const std::string sNew = sPath + ".part";
    OpenFile file(CreateFileA(sNew.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen()) throw Failed("creating", sNew);

    const auto Abandon = [&](const char* pWhat) {
        const Stop stop = Failed(pWhat, sPath);
        file.Close();
        DeleteFileA(sNew.c_str());
        return stop;
    };
    while (!sBytes.empty())
    {
        const DWORD ulPiece = static_cast<DWORD>(std::min(sBytes.size(), kuPiece));
        DWORD ulWritten = 0;
        if (!WriteFile(file.Handle(), sBytes.data(), ulPiece, &ulWritten, nullptr) || ulWritten == 0) throw Abandon("writing");
        sBytes.remove_prefix(ulWritten);
    }
    // Flush before rename: after a power cut the name must not lead to a file with no contents.
    if (!FlushFileBuffers(file.Handle())) throw Abandon("writing");
    file.Close();
    if (!MoveFileExA(sNew.c_str(), sPath.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) throw Abandon("replacing");
}
} // namespace tool
