// The texts of the error codes that a caller can meet, as Windows documents them.
#include "FormatMessage.h"

#include <algorithm>
#include <iterator>

namespace
{
struct OCodeText
{
    DWORD ulCode;
    const char* pText;
};

// In rising order of the code.
constexpr OCodeText kTexts[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {10, "The environment is incorrect."},
    {11, "An attempt was made to load a program with an incorrect format."},
    {12, "The access code is invalid."},
    {13, "The data is invalid."},
    {14, "Not enough memory resources are available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {16, "The directory cannot be removed."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {23, "Data error (cyclic redundancy check)."},
    {24, "The program issued a command but the command length is incorrect."},
    {25, "The drive cannot locate a specific area or track on the disk."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {36, "Too many files opened for sharing."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {53, "The network path was not found."},
    {65, "Network access is denied."},
    {67, "The network name cannot be found."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {86, "The specified network password is not correct."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {120, "This function is not supported on this system."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {124, "The system call level is not correct."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {132, "The file pointer cannot be set on the specified device or file."},
    {145, "The directory is not empty."},
    {158, "The segment is already unlocked."},
    {161, "The specified path is invalid."},
    {170, "The requested resource is in use."},
    {183, "Cannot create a file when that file already exists."},
    {193, "%1 is not a valid Win32 application."},
    {203, "The system could not find the environment option that was entered."},
    {206, "The filename or extension is too long."},
    {223, "The file size exceeds the limit allowed and cannot be saved."},
    {232, "The pipe is being closed."},
    {234, "More data is available."},
    {235, "No action was taken as a result of the call."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {267, "The directory name is invalid."},
    {288, "Attempt to release mutex not owned by caller."},
    {298, "Too many posts were made to a semaphore."},
    {317, "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, "Attempt to access invalid address."},
    {534, "Arithmetic result exceeded 32 bits."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {1001, "Recursion too deep; the stack overflowed."},
    {1004, "Invalid flags."},
    {1005, "The volume does not contain a recognized file system."},
    {1006, "The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1008, "An attempt was made to reference a token that does not exist."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1014, "One of the files in the registry database had to be recovered by use of a log or alternate copy. The recovery was "
           "successful."},
    {1015, "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or the system's "
           "memory image of the file is corrupted, or the file could not be recovered because the alternate copy or log was "
           "absent or corrupted."},
    {1016, "An I/O operation initiated by the registry failed unrecoverably."},
    {1017, "The system has attempted to load or restore a file into the registry, but the specified file is not in a registry "
           "file format."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1019, "System could not allocate the required space in a registry log."},
    {1020, "Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, "A dynamic link library (DLL) initialization routine failed."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1131, "A potential deadlock condition has been detected."},
    {1142, "An attempt was made to create more links on a file than the file system supports."},
    {1168, "Element not found."},
    {1223, "The operation was canceled by the user."},
    {1244, "The operation being requested was not performed because the user has not been authenticated."},
    {1306, "Indicates two revision levels are incompatible."},
    {1314, "A required privilege is not held by the client."},
    {1317, "The specified account does not exist."},
    {1326, "The user name or password is incorrect."},
    {1327, "Account restrictions are preventing this user from signing in. For example: blank passwords aren't allowed, sign-in "
           "times are limited, or a policy restriction has been enforced."},
    {1331, "This user can't sign in because this account is currently disabled."},
    {1359, "An internal error occurred."},
    {1392, "The file or directory is corrupted and unreadable."},
    {1393, "The disk structure is corrupted and unreadable."},
    {1400, "Invalid window handle."},
    {1450, "Insufficient system resources exist to complete the requested service."},
    {1460, "This operation returned because the timeout period expired."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
    {1793, "The user's account has expired."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
    {1814, "The specified resource name cannot be found in the image file."},
    {1815, "The specified resource language ID cannot be found in the image file."},
    {1907, "The user's password must be changed before signing in."},
    {1909, "The referenced account is currently locked out and may not be logged on to."},
    {0x80004001, "Not implemented"},
    {0x80004002, "No such interface supported"},
    {0x80004003, "Invalid pointer"},
    {0x80004004, "Operation aborted"},
    {0x80004005, "Unspecified error"},
    {0x8000FFFF, "Catastrophic failure"},
    {0x80010106, "Cannot change thread mode after it is set."},
    {0x8001010E, "The application called an interface that was marshalled for a different thread."},
    {0x80040110, "Class does not support aggregation (or class object is remote)"},
    {0x80040111, "ClassFactory cannot supply requested class"},
    {0x80040154, "Class not registered"},
    {0x800401F0, "CoInitialize has not been called."},
    {0x800401F3, "Invalid class string"},
    {0x800401F4, "Invalid interface string"},
    {0x800401F8, "DLL for class not found"},
    {0x800401FC, "Object is already registered"},
};

constexpr bool RisesThroughout()
{
    for (std::size_t i = 1; i < std::size(kTexts); ++i)
        if (kTexts[i - 1].ulCode >= kTexts[i].ulCode) return false;
    return true;
}
static_assert(RisesThroughout());
} // namespace

const char* lum::SystemText(DWORD ulCode)
{
    constexpr DWORD kulFromWin32 = 0x80070000; // a result code that carries an error code
    if ((ulCode & 0xFFFF0000) == kulFromWin32) ulCode &= 0xFFFF;
    const OCodeText* pFound = std::lower_bound(std::begin(kTexts), std::end(kTexts), ulCode,
                                               [](const OCodeText& row, DWORD ul) { return row.ulCode < ul; });
    return pFound != std::end(kTexts) && pFound->ulCode == ulCode ? pFound->pText : nullptr;
}
