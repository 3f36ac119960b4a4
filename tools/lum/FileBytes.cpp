#include "FileBytes.h"

#include "Console.h"
#include "Platform.h"
#include "Text.h"

#include <algorithm>
#include <filesystem>

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

static void WriteAll(OpenFile& file, std::string_view sBytes, const std::string& sPath)
{
    while (!sBytes.empty())
    {
        const DWORD ulPiece = static_cast<DWORD>(std::min(sBytes.size(), kuPiece));
        DWORD ulWritten = 0;
        if (!WriteFile(file.Handle(), sBytes.data(), ulPiece, &ulWritten, nullptr) || ulWritten == 0) throw Failed("writing", sPath);
        sBytes.remove_prefix(ulWritten);
    }
}

static std::filesystem::path SystemPath(const std::string& sPath) { return Wide(sPath).value_or(u""); }

// A pipe or a device: there is nothing to replace, and its name must stay what it is.
static bool IsStream(const std::string& sPath)
{
    using enum std::filesystem::file_type;
    std::error_code error;
    const auto eType = std::filesystem::status(SystemPath(sPath), error).type();
    return eType == character || eType == fifo || eType == socket || eType == block;
}

// A link stays one: the file it leads to is replaced.
static std::string BehindLinks(const std::string& sPath)
{
    std::error_code error;
    if (!std::filesystem::is_symlink(SystemPath(sPath), error)) return sPath;
    const auto target = std::filesystem::canonical(SystemPath(sPath), error);
    return error ? sPath : Narrow(target.u16string());
}

void ReplaceFileBytes(const std::string& sPath, std::string_view sBytes)
{
    if (IsStream(sPath))
    {
        OpenFile stream(CreateFileA(sPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!stream.IsOpen()) throw Failed("opening", sPath);
        return WriteAll(stream, sBytes, sPath);
    }

    const std::string sTarget = BehindLinks(sPath), sNew = sTarget + ".part";
    OpenFile file(CreateFileA(sNew.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen()) throw Failed("creating", sNew);
    try
    {
        WriteAll(file, sBytes, sPath);
        // Flush before rename: after a power cut the name must not lead to a file with no contents.
        if (!FlushFileBuffers(file.Handle())) throw Failed("writing", sPath);
        file.Close();
        if (!MoveFileExA(sNew.c_str(), sTarget.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            throw Failed("replacing", sPath);
    }
    catch (const Stop&)
    {
        file.Close();
        DeleteFileA(sNew.c_str());
        throw;
    }
}
} // namespace tool
