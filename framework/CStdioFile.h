// A file behind a buffered stream, as lines of text or as bytes.
//
//  * Text (unless typeBinary is asked for): a line feed is written as carriage return and line feed, the pair is read as a
//    line feed, and a Ctrl-Z ends the reading. The same on every system.
//  * The position is that in the file; reading and writing may follow each other in any order.
//  * Failures are thrown as CFileException*, with the file's name; Open alone reports by its result.
#pragma once

#include "CFile.h"

#include <cstdio>

class CStdioFile : public CFile
{
    DECLARE_DYNAMIC(CStdioFile)

public:
    CStdioFile() = default;
    explicit CStdioFile(FILE* pStream) : m_pStream(pStream) {} // as it is: nothing is translated, and it is not closed in the end
    CStdioFile(const char* pFileName, UINT uOpenFlags);        // throws when it does not open
    ~CStdioFile() override;

    BOOL Open(const char* pFileName, UINT uOpenFlags, CFileException* pError = nullptr) override;

    // ReadString: one line. Into a buffer: up to uMaxChars - 1 bytes and a terminator, the line feed included where it fits;
    //   null at the end of the file. Into a CString: without the line feed; FALSE at the end of the file.
    virtual char* ReadString(char* pText, UINT uMaxChars);
    virtual BOOL ReadString(CString& sLine);
    virtual void WriteString(const char* pText); // adds no line feed

    ULONGLONG GetPosition() const override;
    ULONGLONG GetLength() const override;
    ULONGLONG Seek(LONGLONG llOffset, UINT uFrom) override;
    void SetLength(ULONGLONG ullNewLength) override;
    UINT Read(void* pBuffer, UINT uBytes) override;
    void Write(const void* pBuffer, UINT uBytes) override;
    void Flush() override; // to the system, not to the disk
    void Abort() override;
    void Close() override;
    CFile* Duplicate() const override; // a stream cannot be shared: throws

    FILE* m_pStream = nullptr;

private:
    enum class Last : unsigned char { Neither, Read, Write };

    FILE* Stream() const; // throws when there is none
    void TurnTo(Last eNow);
    std::size_t Translate(char* pText, std::size_t ulBytes, bool& bEnd);
    bool TakeLineFeed();
    void ThrowStreamError() const;

    bool mbText = false;
    Last meLast = Last::Neither;
};
