// One connection to one store: the tables and the statements on them, nothing of caching or locking between processes.
// Internal to platform/linux.
//
//  * One thread at a time. Every call but Open and Close belongs between Begin... and Commit or Rollback.
//  * A key is a row with an id that is never given again. The root is the row kllRootId.
#pragma once

#include "RegistryNames.h"

#include <sqlite3.h>

#include <functional>

namespace lum
{
constexpr int kiStoreApplicationId = 0x4C526567; // "LReg"
constexpr int kiStoreVersion = 1;
constexpr std::int64_t kllRootId = 1;

// A value's row; the views last until the callback that gets it returns.
struct ValueRow
{
    std::string_view sFold;
    std::string_view sName;
    DWORD ulType;
    ULONG ulBytes;
    const BYTE* pData; // null when the data is longer than was asked for
};

struct ChildRow
{
    std::string_view sFold;
    std::string_view sName;
    std::string_view sClass;
};

struct KeyRecord
{
    std::string sClass;
    std::int64_t llWritten = 0; // 100-nanosecond steps since 1601, as in a FILETIME
};

class RegistryDb
{
public:
    RegistryDb() = default;
    RegistryDb(const RegistryDb&) = delete;
    RegistryDb& operator=(const RegistryDb&) = delete;

    // Opens an existing file. ERROR_FILE_NOT_FOUND: it is missing, or has nothing in it yet.
    //   Errors: ERROR_ACCESS_DENIED, ERROR_BADDB, ERROR_REGISTRY_CORRUPT, ERROR_REVISION_MISMATCH, ...
    LSTATUS Open(const std::string& sPath);
    // Makes the file and its tables where they are missing, and opens it. Only with the change lock held.
    LSTATUS Create(const std::string& sPath);
    bool IsOpen() const { return mpDb != nullptr; }
    // bKeepLog: leaves the log as it is, also when nobody else has the store open.
    void Close(bool bKeepLog);

    LSTATUS BeginRead();
    LSTATUS BeginWrite();
    LSTATUS Commit();
    void Rollback(); // whatever was begun, if anything
    LSTATUS Prepare(); // writes what the transaction has changed so far to the log, so that little can fail afterwards

    // *pllId is 0 when there is no such subkey.
    LSTATUS FindChild(std::int64_t llParent, std::string_view sFold, std::int64_t* pllId, bool* pbVolatile = nullptr);
    LSTATUS FindParent(std::int64_t llId, std::int64_t* pllParent, bool* pbHasChildren); // ERROR_KEY_DELETED
    LSTATUS CheckKey(std::int64_t llId, bool* pbVolatile = nullptr); // ERROR_KEY_DELETED when it is gone
    LSTATUS ReadRecord(std::int64_t llId, KeyRecord& record);
    LSTATUS ReadChildren(std::int64_t llId, const std::function<void(const ChildRow&)>& each);
    // In the order of their folds, until the callback returns false. Data up to ulMaxBytes comes with them.
    LSTATUS ReadValues(std::int64_t llId, ULONG ulMaxBytes, const std::function<bool(const ValueRow&)>& each);
    LSTATUS ReadValue(std::int64_t llId, std::string_view sFold, const std::function<void(const ValueRow&)>& found); // ERROR_FILE_NOT_FOUND

    LSTATUS InsertKey(std::int64_t llParent, const KeyLevel& level, std::string_view sClass, bool bVolatile, std::int64_t llNow,
                      std::int64_t* pllId);
    LSTATUS TouchKey(std::int64_t llId, std::int64_t llNow);
    LSTATUS DeleteKey(std::int64_t llId);   // the row and its values
    LSTATUS DeleteBelow(std::int64_t llId); // all keys below it, with their values
    LSTATUS DeleteValues(std::int64_t llId);
    LSTATUS DeleteVolatile();
    // *pbChanged is false when the value was there just so.
    LSTATUS PutValue(std::int64_t llId, std::string_view sFold, std::string_view sName, DWORD ulType, const void* pData,
                     std::size_t ulBytes, std::int64_t llNow, bool* pbChanged);
    LSTATUS DeleteValue(std::int64_t llId, std::string_view sFold); // ERROR_FILE_NOT_FOUND

    // Copies finished changes from the log to the store, as far as no reader is in the way, when the log has grown.
    void Tidy();

private:
    class Query;
    enum Statement : int;
    static constexpr int kiStatements = 22;
    static const char* const kapSql[kiStatements];

    LSTATUS Connect(const std::string& sPath);
    LSTATUS CheckFormat(bool& bEmpty);
    LSTATUS Execute(const char* pSql);
    LSTATUS ReadNumber(const char* pSql, int& iNumber);
    LSTATUS Run(Query& query);
    LSTATUS Status(int iResult) const;

    sqlite3* mpDb = nullptr;
    sqlite3_stmt* mapStatements[kiStatements] = {};
    int miLogPages = 0;     // how long the log is
    int miTidiedPages = 0;  // how long it was when it was last copied
};
} // namespace lum
