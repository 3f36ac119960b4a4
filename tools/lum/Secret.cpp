#include "Secret.h"

#include "PlatformPrivate.h"

#include "Console.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>

namespace tool
{
static constexpr size_t kuLongestPassword = 1023;

Secret::Secret(size_t uRoom) : mpBytes(std::make_unique<char[]>(uRoom + 1)), muRoom(uRoom) {}

Secret::~Secret()
{
    if (mpBytes) SecureZeroMemory(mpBytes.get(), muRoom + 1);
}

void Secret::Resize(size_t uSize)
{
    muSize = uSize;
    mpBytes[uSize] = 0;
}

Secret ReadSecretFile(const std::string& sPath, size_t uMost)
{
    const HANDLE hFile =
        CreateFileA(sPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
        throw Stop(kFailure, Format("opening %s failed: %s", sPath.c_str(), SystemText(GetLastError()).c_str()));

    Secret bytes(uMost + 1);
    DWORD ulError = NO_ERROR, ulRead = 1;
    while (ulRead && bytes.Size() < bytes.Room())
    {
        if (!ReadFile(hFile, bytes.Data() + bytes.Size(), static_cast<DWORD>(bytes.Room() - bytes.Size()), &ulRead, nullptr))
        {
            ulError = GetLastError();
            break;
        }
        bytes.Resize(bytes.Size() + ulRead);
    }
    CloseHandle(hFile);
    if (ulError && ulError != ERROR_BROKEN_PIPE) // how a pipe ends
        throw Stop(kFailure, Format("reading %s failed: %s", sPath.c_str(), SystemText(ulError).c_str()));
    return bytes;
}

// ---- passwords

static Secret FromFile(const std::string& sPath)
{
    constexpr size_t kuMost = kuLongestPassword + 2; // with the line's end
    Secret password = ReadSecretFile(sPath, kuMost);
    std::string_view sLine = password.View();
    if (sLine.ends_with('\n')) sLine.remove_suffix(1);
    if (sLine.ends_with('\r')) sLine.remove_suffix(1);
    if (password.Size() > kuMost || sLine.size() > kuLongestPassword)
        throw Stop(kFailure, sPath + " is longer than a password can be, " + std::to_string(kuLongestPassword) + " bytes");
    if (sLine.find_first_of(std::string_view("\0\r\n", 3)) != sLine.npos)
        throw Stop(kFailure, sPath + " has more than one line of text: it is no password");
    if (sLine.empty()) throw Stop(kFailure, sPath + " is empty: there is no password in it");
    password.Resize(sLine.size());
    return password;
}

static Secret Ask(const char* pQuestion)
{
    Secret password(kuLongestPassword);
    if (!LumReadHidden(pQuestion, password.Data(), kuLongestPassword + 1))
    {
        const DWORD ulError = GetLastError();
        if (ulError == ERROR_INVALID_HANDLE) throw Stop(kUsage, "there is no terminal to type a password at: give --password-file");
        if (ulError == ERROR_INSUFFICIENT_BUFFER)
            throw Stop(kFailure, "a password has at most " + std::to_string(kuLongestPassword) + " bytes");
        if (ulError == ERROR_NO_UNICODE_TRANSLATION)
            throw Stop(kFailure, "the password has a character that the system's code page lacks: it would become another one");
        if (ulError == ERROR_HANDLE_EOF) throw Stop(kFailure, "no password was typed");
        throw Stop(kFailure, "reading the password failed: " + SystemText(ulError));
    }
    password.Resize(std::strlen(password.Data()));
    if (password.Size() == 0) throw Stop(kFailure, "no password was typed");
    return password;
}

CLI::Option* PasswordWords::AddFile(CLI::App* pVerb)
{
    options.push_back(
        pVerb->add_option("--password-file", sFile, "a file whose one line is the password; keep it readable for yourself alone")
            ->type_name("FILE"));
    return options.back();
}

bool PasswordWords::IsGiven() const
{
    return std::ranges::any_of(options, [](const CLI::Option* pOption) { return pOption->count() > 0; });
}

Secret PasswordWords::Read(Kind eKind) const
{
    if (IsGiven()) return FromFile(sFile);
    Secret password = Ask("Password: ");
    if (eKind == Kind::New && Ask("The same again: ").View() != password.View())
        throw Stop(kFailure, "the two passwords are not the same: nothing was done");
    return password;
}
} // namespace tool
