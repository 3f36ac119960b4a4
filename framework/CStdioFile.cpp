#include "CStdioFile.h"

#include <cstring>

IMPLEMENT_DYNAMIC(CStdioFile, CFile)

static constexpr int kiEndOfText = 0x1A; // Ctrl-Z
static constexpr UINT kuMostRoom = 0x7FFFFFFF;

CStdioFile::CStdioFile(const char* pFileName, UINT uOpenFlags)
{
    CFileException error;
    if (!CStdioFile::Open(pFileName, uOpenFlags, &error))
        AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

CStdioFile::~CStdioFile()
{
    if (m_pStream && m_bCloseOnDelete) CStdioFile::Abort();
}

BOOL CStdioFile::Open(const char* pFileName, UINT uOpenFlags, CFileException* pError)
{
    if (m_pStream && m_bCloseOnDelete) CStdioFile::Abort();
    m_pStream = nullptr;
    if (!CFile::Open(pFileName, uOpenFlags, pError)) return FALSE;

    constexpr const char* kModes[] = {"rb", "wb", "r+b", "r+b"};
    mbText = !(uOpenFlags & typeBinary);
    meLast = Last::Neither;
    m_pStream = LumOpenStream(m_hFile, kModes[uOpenFlags & 3]);
    if (m_pStream) return TRUE;

    if (pError)
    {
        pError->m_lOsError = ERROR_TOO_MANY_OPEN_FILES;
        pError->m_cause = CFileException::tooManyOpenFiles;
        pError->m_strFileName = m_strFileName;
    }
    CFile::Abort();
    return FALSE;
}

FILE* CStdioFile::Stream() const
{
    if (!m_pStream) AfxThrowFileException(CFileException::invalidFile, ERROR_INVALID_HANDLE, m_strFileName);
    return m_pStream;
}

// A stream must be positioned between reading and writing.
void CStdioFile::TurnTo(Last eNow)
{
    if (meLast != eNow && meLast != Last::Neither && _fseeki64(Stream(), 0, SEEK_CUR) != 0) ThrowStreamError();
    meLast = eNow;
}

void CStdioFile::ThrowStreamError() const
{
    std::clearerr(Stream());
    const auto lError = static_cast<LONG>(GetLastError());
    AfxThrowFileException(lError ? CFileException::OsErrorToException(lError) : CFileException::generic, lError, m_strFileName);
}

bool CStdioFile::TakeLineFeed()
{
    const int c = std::getc(m_pStream);
    if (c != '\n' && c != EOF) std::ungetc(c, m_pStream);
    return c == '\n';
}

// Turns what was read into text, in its place; returns its length. bEnd: a Ctrl-Z was met, and is where reading goes on.
std::size_t CStdioFile::Translate(char* pText, std::size_t ulBytes, bool& bEnd)
{
    if (const void* pEnd = std::memchr(pText, kiEndOfText, ulBytes))
    {
        const auto ulText = static_cast<std::size_t>(static_cast<const char*>(pEnd) - pText);
        if (_fseeki64(m_pStream, -static_cast<LONGLONG>(ulBytes - ulText), SEEK_CUR) != 0) ThrowStreamError();
        ulBytes = ulText;
        bEnd = true;
    }
    std::size_t ulMade = 0;
    for (std::size_t i = 0; i < ulBytes; ++i)
    {
        const bool bLast = i + 1 == ulBytes;
        if (pText[i] == '\r' && !bLast && pText[i + 1] == '\n') continue;
        const bool bPairCut = pText[i] == '\r' && bLast && !bEnd && TakeLineFeed();
        pText[ulMade++] = bPairCut ? '\n' : pText[i];
    }
    return ulMade;
}

UINT CStdioFile::Read(void* pBuffer, UINT uBytes)
{
    if (uBytes == 0) return 0;
    FILE* pStream = Stream();
    TurnTo(Last::Read);
    SetLastError(ERROR_SUCCESS);

    auto* pBytes = static_cast<char*>(pBuffer);
    std::size_t ulDone = 0;
    for (bool bEnd = false; ulDone < uBytes && !bEnd;)
    {
        const std::size_t ulPart = std::fread(pBytes + ulDone, 1, uBytes - ulDone, pStream);
        if (ulPart == 0) break;
        ulDone += mbText ? Translate(pBytes + ulDone, ulPart, bEnd) : ulPart;
    }
    if (std::ferror(pStream)) ThrowStreamError();
    return static_cast<UINT>(ulDone);
}

void CStdioFile::Write(const void* pBuffer, UINT uBytes)
{
    FILE* pStream = Stream();
    TurnTo(Last::Write);
    SetLastError(ERROR_SUCCESS);

    const auto* pText = static_cast<const char*>(pBuffer);
    const char* pEnd = pText + uBytes;
    while (pText < pEnd)
    {
        const auto ulRest = static_cast<std::size_t>(pEnd - pText);
        const char* pLineFeed = mbText ? static_cast<const char*>(std::memchr(pText, '\n', ulRest)) : nullptr;
        const auto ulPlain = static_cast<std::size_t>((pLineFeed ? pLineFeed : pEnd) - pText);
        if (std::fwrite(pText, 1, ulPlain, pStream) != ulPlain) ThrowStreamError();
        if (pLineFeed && std::fwrite("\r\n", 1, 2, pStream) != 2) ThrowStreamError();
        pText += ulPlain + (pLineFeed ? 1 : 0);
    }
}

char* CStdioFile::ReadString(char* pText, UINT uMaxChars)
{
    FILE* pStream = Stream();
    if (uMaxChars == 0) return nullptr;
    TurnTo(Last::Read);
    SetLastError(ERROR_SUCCESS);

    const int iRoom = uMaxChars > kuMostRoom ? static_cast<int>(kuMostRoom) : static_cast<int>(uMaxChars);
    if (!std::fgets(pText, iRoom, pStream))
    {
        if (std::ferror(pStream)) ThrowStreamError();
        return nullptr;
    }
    if (!mbText) return pText;
    bool bEnd = false;
    const std::size_t ulMade = Translate(pText, std::strlen(pText), bEnd);
    pText[ulMade] = 0;
    return bEnd && ulMade == 0 ? nullptr : pText;
}

BOOL CStdioFile::ReadString(CString& sLine)
{
    sLine.Empty();
    bool bAny = false;
    char acPart[256];
    while (ReadString(acPart, sizeof acPart))
    {
        bAny = true;
        const std::size_t ulLength = std::strlen(acPart);
        const bool bWhole = ulLength > 0 && acPart[ulLength - 1] == '\n';
        if (bWhole) acPart[ulLength - 1] = 0;
        sLine += acPart;
        if (bWhole || ulLength + 1 < sizeof acPart) break; // a zero in a line ends it, too
    }
    return bAny;
}

void CStdioFile::WriteString(const char* pText) { CStdioFile::Write(pText, static_cast<UINT>(std::strlen(pText))); }

ULONGLONG CStdioFile::GetPosition() const
{
    const LONGLONG llPosition = _ftelli64(Stream());
    if (llPosition < 0) ThrowStreamError();
    return static_cast<ULONGLONG>(llPosition);
}

ULONGLONG CStdioFile::Seek(LONGLONG llOffset, UINT uFrom)
{
    constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (uFrom > end) AfxThrowFileException(CFileException::badSeek, ERROR_INVALID_PARAMETER, m_strFileName);
    SetLastError(ERROR_SUCCESS);
    if (_fseeki64(Stream(), llOffset, kWhence[uFrom]) != 0)
    {
        std::clearerr(m_pStream);
        const auto lError = static_cast<LONG>(GetLastError());
        AfxThrowFileException(CFileException::badSeek, lError ? lError : ERROR_NEGATIVE_SEEK, m_strFileName);
    }
    meLast = Last::Neither;
    return CStdioFile::GetPosition();
}

ULONGLONG CStdioFile::GetLength() const
{
    FILE* pStream = Stream();
    const LONGLONG llBefore = _ftelli64(pStream);
    if (llBefore < 0 || _fseeki64(pStream, 0, SEEK_END) != 0) ThrowStreamError();
    const LONGLONG llLength = _ftelli64(pStream);
    if (llLength < 0 || _fseeki64(pStream, llBefore, SEEK_SET) != 0) ThrowStreamError();
    return static_cast<ULONGLONG>(llLength);
}

void CStdioFile::SetLength(ULONGLONG ullNewLength)
{
    Flush();
    CFile::Seek(static_cast<LONGLONG>(ullNewLength), begin); // the system's own position, which the stream need not be at
    if (!SetEndOfFile(m_hFile)) ThrowLastError();
    Seek(0, end);
}

void CStdioFile::Flush()
{
    SetLastError(ERROR_SUCCESS);
    if (m_pStream && std::fflush(m_pStream) != 0) ThrowStreamError();
}

void CStdioFile::Close()
{
    FILE* pStream = m_pStream;
    m_pStream = nullptr;
    m_hFile = hFileNull; // the stream's own, and closed with it
    m_bCloseOnDelete = FALSE;
    SetLastError(ERROR_SUCCESS);
    if (pStream && std::fclose(pStream) != 0)
    {
        const auto lError = static_cast<LONG>(GetLastError());
        const int iCause = lError ? CFileException::OsErrorToException(lError) : CFileException::diskFull;
        AfxThrowFileException(iCause, lError, m_strFileName);
    }
    m_strFileName.Empty();
}

void CStdioFile::Abort()
{
    if (m_pStream) std::fclose(m_pStream);
    m_pStream = nullptr;
    m_hFile = hFileNull;
    m_bCloseOnDelete = FALSE;
    m_strFileName.Empty();
}

CFile* CStdioFile::Duplicate() const { AfxThrowFileException(CFileException::generic, ERROR_NOT_SUPPORTED, m_strFileName); }
