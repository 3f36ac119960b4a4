// An open file, unbuffered, and what can be done to files by their names.
//
//  * Failures are thrown as CFileException*, with the file's name; Open alone reports by its result.
//  * Positions and lengths are bytes, 64 bits wide.
//  * One thread at a time.
#pragma once

#include "CFileException.h"
#include "CTime.h"

// What is known of a file without opening it.
struct CFileStatus
{
    CTime m_ctime; // made
    CTime m_mtime; // written
    CTime m_atime; // read
    ULONGLONG m_size = 0;
    BYTE m_attribute = 0; // of CFile::Attribute
    BYTE m_padding = 0;
    char m_szFullName[MAX_PATH] = "";
};

class CFile : public CObject
{
    DECLARE_DYNAMIC(CFile)

public:
    enum OpenFlags : UINT
    {
        modeRead = 0x00000,
        modeWrite = 0x00001,
        modeReadWrite = 0x00002,
        shareCompat = 0x00000, // nobody else, like shareExclusive
        shareExclusive = 0x00010,
        shareDenyWrite = 0x00020,
        shareDenyRead = 0x00030,
        shareDenyNone = 0x00040,
        modeNoInherit = 0x00080,
        modeCreate = 0x01000,     // makes the file, or empties it
        modeNoTruncate = 0x02000, // with modeCreate: keeps what is there
        typeText = 0x04000,       // for CStdioFile
        typeBinary = 0x08000,
        osNoBuffer = 0x10000,
        osWriteThrough = 0x20000,
        osRandomAccess = 0x40000,
        osSequentialScan = 0x80000
    };
    enum Attribute { normal = 0, readOnly = 0x01, hidden = 0x02, system = 0x04, volume = 0x08, directory = 0x10, archive = 0x20 };
    enum SeekPosition { begin, current, end };

    static inline const HANDLE hFileNull = INVALID_HANDLE_VALUE;

    CFile() = default;
    explicit CFile(HANDLE hFile) : m_hFile(hFile) {} // does not close it in the end
    CFile(const char* pFileName, UINT uOpenFlags);   // throws when it does not open
    ~CFile() override;                               // closes what Open opened, and throws nothing
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    operator HANDLE() const { return m_hFile; }

    virtual ULONGLONG GetPosition() const;
    virtual CString GetFileName() const; // the last component of the path
    virtual CString GetFilePath() const; // the whole of it
    virtual void SetFilePath(const char* pNewName);

    // Open: FALSE when that fails, and why in *pError. A file that is open already is closed first.
    virtual BOOL Open(const char* pFileName, UINT uOpenFlags, CFileException* pError = nullptr);

    // Rename, Remove, SetStatus: throw. GetStatus: FALSE when there is no such file, or its whole name is too long for the record.
    // SetStatus: the attributes, and the times that are not 0, unless m_mtime is 0.
    static void Rename(const char* pOldName, const char* pNewName);
    static void Remove(const char* pFileName);
    static BOOL GetStatus(const char* pFileName, CFileStatus& status);
    static void SetStatus(const char* pFileName, const CFileStatus& status);
    BOOL GetStatus(CFileStatus& status) const; // of this open file

    ULONGLONG SeekToEnd() { return Seek(0, end); }
    void SeekToBegin() { Seek(0, begin); }

    virtual CFile* Duplicate() const; // to be deleted by the caller; shares the position
    virtual ULONGLONG Seek(LONGLONG llOffset, UINT uFrom);
    virtual void SetLength(ULONGLONG ullNewLength); // leaves the position at the new end
    virtual ULONGLONG GetLength() const;
    virtual UINT Read(void* pBuffer, UINT uBytes); // fewer than asked for only at the end of the file
    virtual void Write(const void* pBuffer, UINT uBytes);
    virtual void LockRange(ULONGLONG ullPosition, ULONGLONG ullBytes);
    virtual void UnlockRange(ULONGLONG ullPosition, ULONGLONG ullBytes);
    virtual void Abort(); // closes, whatever happens
    virtual void Flush();
    virtual void Close();

    HANDLE m_hFile = hFileNull;

protected:
    [[noreturn]] void ThrowLastError() const;

    CString m_strFileName; // the whole path
    BOOL m_bCloseOnDelete = FALSE;
};
