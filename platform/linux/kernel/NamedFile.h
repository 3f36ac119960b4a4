// The file of a named object, mapped. Internal to platform/linux. docs/format_named_objects.md tells its layout.
//
//  * Each process that has handles to an object holds a shared lock on its file, once, however many handles there are. Who can
//    get the exclusive lock instead knows that nobody has it: the last to close removes the file, and a file that killed
//    processes left is as good as none.
//  * A child of fork shares its parent's lock: the object lives until both have closed it, or ended.
#pragma once

#include "HandleTable.h"

#include <string>

namespace lum
{
struct NamedHeader
{
    char acMagic[8];       // 0x00  kacNamedMagic
    ULONG ulVersion;       // 0x08  kulNamedVersion
    ULONG ulKind;          // 0x0C  ObjectKind
    ULONG ulNameUnits;     // 0x10  length of the name that follows the header
    ULONG ulStateAt;       // 0x14  where the object's state begins, a multiple of 64
    ULONGLONG aullRest[5]; // 0x18  zero
};
static_assert(sizeof(NamedHeader) == 64);
inline constexpr char kacNamedMagic[8] = {'L', 'u', 'm', 'O', 'b', 'j', 'c', '\n'};
constexpr ULONG kulNamedVersion = 1;

class NamedFile
{
public:
    NamedFile() = default;
    NamedFile(NamedFile&& other) noexcept;
    ~NamedFile(); // closes the file, and removes it when it was the last

    BYTE* State() const { return mpBase + reinterpret_cast<const NamedHeader*>(mpBase)->ulStateAt; }
    SIZE_T StateOffset() const { return static_cast<SIZE_T>(State() - mpBase); }
    SIZE_T StateBytes() const; // in the file now, to its end
    bool Grow(SIZE_T ulStateBytes);
    int Fd() const { return mFd; }

    // Takes another mapping of the same file, or none, and gives the caller the one it had.
    void Exchange(void*& pBase, SIZE_T& ulBytes);

private:
    friend class NamedFiles;
    std::string msFile;
    int mFd = -1;
    BYTE* mpBase = nullptr;
    SIZE_T mulMapped = 0;
};

// How objects of one kind are kept in such a file.
class NamedKind
{
public:
    virtual ~NamedKind() = default;
    virtual ObjectKind Kind() const = 0;
    virtual SIZE_T Bytes() const = 0;    // of the state of a new one
    virtual SIZE_T MostBytes() const = 0; // that it may grow to
    // The object on a file whose state is all zero (bNew) or in use. Null with the last error set, and the file left alone.
    virtual KernelObject* Make(NamedFile&& file, bool bNew) const = 0;
};

// OpenNamed: the object of that name, counted, made when it is missing and pKind may (bCreate). Null with the last error set;
//   else the last error is left alone and bFound says whether it was there.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_INVALID_HANDLE (another kind has the name), ERROR_DISK_FULL, ERROR_ACCESS_DENIED (the
//   directory is another user's), ERROR_TOO_MANY_OPEN_FILES, ERROR_FILE_CORRUPT (damaged while in use, or another long name
//   that is cut to the same file).
KernelObject* OpenNamed(const std::u16string& sName, const NamedKind& kind, bool bCreate, bool& bFound);
} // namespace lum
