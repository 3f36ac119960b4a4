#include "FileBytes.h"

#include "Console.h"
#include "Patience.h"
#include "PlatformPrivate.h"
#include "Text.h"

#include <algorithm>
#include <filesystem>
#include <utility>

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

static Stop Failed(const char* pWhat, const std::string& sPath, DWORD ulError = GetLastError())
{
    return Stop(kFailure, Format("%s %s failed: %s", pWhat, sPath.c_str(), SystemText(ulError).c_str()));
}

std::string ReadFileBytes(const std::string& sPath)
{
    OpenFile file(
        CreateFileA(sPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
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

static HANDLE OpenByName(const std::string& sPath)
{
    constexpr DWORD kulShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return CreateFileA(sPath.c_str(), FILE_READ_ATTRIBUTES, kulShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void CheckNoFolder(const std::string& sPath)
{
    const DWORD ulAttributes = GetFileAttributesA(sPath.c_str());
    if (ulAttributes != INVALID_FILE_ATTRIBUTES && (ulAttributes & FILE_ATTRIBUTE_DIRECTORY))
        throw Stop(kFailure, sPath + " is a folder: name a file in it");
}

unsigned long long SizeOfFile(const std::string& sPath)
{
    CheckNoFolder(sPath);
    const OpenFile file(OpenByName(sPath));
    if (!file.IsOpen()) throw Failed("opening", sPath);
    LARGE_INTEGER size{};
    if (GetFileType(file.Handle()) != FILE_TYPE_DISK || !GetFileSizeEx(file.Handle(), &size))
        throw Stop(kFailure, sPath + " is no file on a disk");
    return static_cast<unsigned long long>(size.QuadPart);
}

bool AreOneFile(const std::string& sFirst, const std::string& sSecond)
{
    const OpenFile first(OpenByName(sFirst)), second(OpenByName(sSecond));
    BY_HANDLE_FILE_INFORMATION one{}, other{};
    return first.IsOpen() && second.IsOpen() && GetFileInformationByHandle(first.Handle(), &one) &&
           GetFileInformationByHandle(second.Handle(), &other) && one.dwVolumeSerialNumber == other.dwVolumeSerialNumber &&
           one.nFileIndexHigh == other.nFileIndexHigh && one.nFileIndexLow == other.nFileIndexLow;
}

WriteHold::WriteHold(const std::string& sPath)
{
    const auto open = [&]
    {
        return CreateFileA(sPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    WaitWhile([&] { return (mhFile = open()) == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION; });
    if (mhFile == INVALID_HANDLE_VALUE) throw Failed("opening", sPath);
}

WriteHold::~WriteHold()
{
    if (mhFile != INVALID_HANDLE_VALUE) CloseHandle(mhFile);
}

HANDLE WriteHold::Release() { return std::exchange(mhFile, INVALID_HANDLE_VALUE); }

static void WriteAll(OpenFile& file, std::string_view sBytes, const std::string& sPath)
{
    while (!sBytes.empty())
    {
        const DWORD ulPiece = static_cast<DWORD>(std::min(sBytes.size(), kuPiece));
        DWORD ulWritten = 0;
        if (!WriteFile(file.Handle(), sBytes.data(), ulPiece, &ulWritten, nullptr) || ulWritten == 0)
            throw Failed("writing", sPath);
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

// A link stays one: the file it leads to is replaced, or made.
static std::string BehindLinks(const std::string& sPath)
{
    constexpr int kiMost = 40; // links on the way; more are a circle
    std::error_code error;
    std::filesystem::path path = SystemPath(sPath);
    for (int i = 0; i <= kiMost; ++i)
    {
        if (!std::filesystem::is_symlink(path, error)) return i == 0 ? sPath : Narrow(path.u16string());
        const auto folder = std::filesystem::absolute(path, error).parent_path();
        path = std::filesystem::weakly_canonical(folder, error) / std::filesystem::read_symlink(path, error);
    }
    throw Stop(kFailure, sPath + " is a link that leads back to itself");
}

// The name with that behind it. A long one is cut, not within a character, so that it is no longer than it was: a file that could
// be made can be made again.
static std::string WithEnding(const std::string& sPath, const std::string& sEnding)
{
    constexpr size_t kuLong = 200; // bytes
    const size_t uName = sPath.find_last_of("/\\") + 1;
    std::string sName = sPath.substr(uName);
    if (sName.size() > kuLong)
    {
        sName.resize(sName.size() - sEnding.size());
        while (!Wide(sName)) sName.pop_back();
    }
    return sPath.substr(0, uName) + sName + sEnding;
}

// Makes an empty file of a name that nobody has: neither another lum at work on the same file nor the user.
static std::string MakeBeside(const std::string& sTarget, const std::string& sPath)
{
    for (DWORD ulNumber = GetCurrentProcessId();; ++ulNumber)
    {
        const std::string sNew = WithEnding(sTarget, "." + std::to_string(ulNumber) + ".part");
        if (LumMakePrivateFile(sNew.c_str())) return sNew;
        if (GetLastError() != ERROR_FILE_EXISTS) throw Failed("creating", sPath);
    }
}

NewFile::NewFile(const std::string& sPath, Readers eReaders)
    : msPath(sPath),
      msTarget(BehindLinks(sPath)),
      msNew(IsStream(sPath) ? sPath : MakeBeside(msTarget, sPath)),
      meReaders(eReaders),
      mbBeside(msNew != sPath)
{
    if (mbBeside) LumRemoveAtInterrupt(msNew.c_str());
}

NewFile::~NewFile()
{
    if (!mbBeside) return;
    SetFileAttributesA(msNew.c_str(), FILE_ATTRIBUTE_NORMAL); // as read-only as what it was to replace, perhaps
    DeleteFileA(msNew.c_str());
    LumRemoveAtInterrupt(nullptr);
}

// Flush before rename: after a power cut the name must not lead to a file with no contents.
void NewFile::Complete()
{
    OpenFile file(CreateFileA(msNew.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen() || !FlushFileBuffers(file.Handle())) throw Failed("writing", msPath);
    file.Close();
    if (meReaders == Readers::AsUsual && !LumShareAs(msNew.c_str(), msTarget.c_str())) throw Failed("replacing", msPath);
}

void NewFile::Keep()
{
    mbBeside = false;
    LumRemoveAtInterrupt(nullptr);
}

void NewFile::PutInPlace(WriteHold* pHold)
{
    if (!mbBeside) return;
    Complete();
    if (pHold ? !LumReplaceHeld(pHold->Release(), msNew.c_str(), msTarget.c_str())
              : !MoveFileExA(msNew.c_str(), msTarget.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        throw Failed("replacing", msPath);
    Keep();
}

// Certainly: false also where nobody knows.
static bool HoldsBytes(const std::string& sName)
{
    const OpenFile file(OpenByName(sName));
    LARGE_INTEGER size{};
    return file.IsOpen() && GetFileSizeEx(file.Handle(), &size) && size.QuadPart != 0;
}

// Takes away an empty file, which is waited for; false when there is another one. While it is open here nobody writes to it or
// replaces it, so it is still empty when it goes.
static bool MakeFree(const std::string& sName, const std::string& sPath)
{
    HANDLE hFile = INVALID_HANDLE_VALUE;
    DWORD ulError = NO_ERROR;
    const auto isBusy = [&]
    {
        constexpr DWORD kulShare = FILE_SHARE_READ | FILE_SHARE_DELETE;
        hFile = CreateFileA(sName.c_str(), GENERIC_WRITE, kulShare, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        ulError = hFile == INVALID_HANDLE_VALUE ? GetLastError() : NO_ERROR;
        return ulError == ERROR_SHARING_VIOLATION && !HoldsBytes(sName);
    };
    if (WaitWhile(isBusy)) throw Failed("opening", sPath, ulError);
    const OpenFile file(hFile);
    if (!file.IsOpen()) return ulError == ERROR_FILE_NOT_FOUND;
    LARGE_INTEGER size{};
    return GetFileSizeEx(hFile, &size) && size.QuadPart == 0 && DeleteFileA(sName.c_str());
}

bool NewFile::PutInFreePlace()
{
    if (!mbBeside) return true;
    Complete();
    if (!MakeFree(msTarget, msPath)) return false;
    if (!MoveFileExA(msNew.c_str(), msTarget.c_str(), MOVEFILE_WRITE_THROUGH))
    {
        if (GetLastError() == ERROR_ALREADY_EXISTS) return false;
        throw Failed("creating", msPath);
    }
    Keep();
    return true;
}

void ReplaceFileBytes(const std::string& sPath, std::string_view sBytes, Readers eReaders)
{
    NewFile target(sPath, eReaders);
    {
        const DWORD ulShare = target.Path() == sPath ? FILE_SHARE_READ | FILE_SHARE_WRITE : 0; // a stream is others' too
        OpenFile file(
            CreateFileA(target.Path().c_str(), GENERIC_WRITE, ulShare, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file.IsOpen()) throw Failed("opening", sPath);
        WriteAll(file, sBytes, sPath);
    }
    target.PutInPlace();
}
} // namespace tool
