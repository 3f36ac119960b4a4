#include "RegistryDb.h"

#include "../kernel/Errno.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace lum
{
// Keys and values. Names twice: as they were spelled, and as they are found. A key's last write is the latest time of its own
// row and of its values: writing a value then changes one row, not two.
static constexpr char kSchema[] = R"(
CREATE TABLE key (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    parent INTEGER NOT NULL,
    fold TEXT NOT NULL,
    name TEXT NOT NULL,
    class TEXT NOT NULL,
    volatile INTEGER NOT NULL,
    written INTEGER NOT NULL,
    UNIQUE (parent, fold)
) STRICT;
CREATE TABLE value (
    key INTEGER NOT NULL,
    fold TEXT NOT NULL,
    name TEXT NOT NULL,
    type INTEGER NOT NULL,
    written INTEGER NOT NULL,
    data BLOB NOT NULL,
    PRIMARY KEY (key, fold)
) STRICT, WITHOUT ROWID;
CREATE INDEX volatile_key ON key (id) WHERE volatile;
INSERT INTO key (id, parent, fold, name, class, volatile, written) VALUES (1, 0, '', '', '', 0, 0);
)";

enum RegistryDb::Statement : int
{
    kBeginRead,
    kBeginWrite,
    kCommit,
    kRollback,
    kFindChild,
    kFindParent,
    kCheckKey,
    kReadRecord,
    kReadChildren,
    kReadValues,
    kReadValue,
    kInsertKey,
    kTouchKey,
    kDeleteKeyRow,
    kDeleteKeyValues,
    kDeleteValuesBelow,
    kDeleteKeysBelow,
    kDeleteVolatileValues,
    kDeleteVolatileKeys,
    kPutValue,
    kDeleteValue,
    kCountObjects,
    kStatementCount
};

#define BELOW "(WITH RECURSIVE below(id) AS (SELECT id FROM key WHERE parent = ?1 UNION " \
              "SELECT key.id FROM key JOIN below ON key.parent = below.id) SELECT id FROM below)"

const char* const RegistryDb::kapSql[kiStatements] = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT id, volatile FROM key WHERE parent = ?1 AND fold = ?2",
    "SELECT parent, EXISTS (SELECT 1 FROM key AS child WHERE child.parent = key.id) FROM key WHERE id = ?1",
    "SELECT volatile FROM key WHERE id = ?1",
    "SELECT class, max(written, coalesce((SELECT max(written) FROM value WHERE key = ?1), 0)) FROM key WHERE id = ?1",
    "SELECT fold, name, class FROM key WHERE parent = ?1 ORDER BY fold",
    "SELECT fold, name, type, length(data), CASE WHEN length(data) <= ?2 THEN data END FROM value WHERE key = ?1 ORDER BY fold",
    "SELECT fold, name, type, length(data), data FROM value WHERE key = ?1 AND fold = ?2",
    "INSERT INTO key (parent, fold, name, class, volatile, written) VALUES (?1, ?2, ?3, ?4, ?5, ?6)",
    "UPDATE key SET written = ?2 WHERE id = ?1",
    "DELETE FROM key WHERE id = ?1",
    "DELETE FROM value WHERE key = ?1",
    "DELETE FROM value WHERE key IN " BELOW,
    "DELETE FROM key WHERE id IN " BELOW,
    "DELETE FROM value WHERE key IN (SELECT id FROM key WHERE volatile)",
    "DELETE FROM key WHERE volatile",
    "INSERT INTO value (key, fold, name, type, data, written) VALUES (?1, ?2, ?3, ?4, ?5, ?6) ON CONFLICT (key, fold) "
    "DO UPDATE SET type = ?4, data = ?5, written = ?6 WHERE type <> ?4 OR data <> ?5",
    "DELETE FROM value WHERE key = ?1 AND fold = ?2",
    "SELECT count(*) FROM sqlite_schema",
};
#undef BELOW

// One use of a prepared statement: arguments in, rows out, and reset when it ends.
class RegistryDb::Query
{
public:
    Query(RegistryDb& db, Statement eStatement) : mppStatement(&db.mapStatements[eStatement])
    {
        static_assert(kStatementCount == kiStatements);
        if (*mppStatement) return;
        miResult = sqlite3_prepare_v3(db.mpDb, kapSql[eStatement], -1, SQLITE_PREPARE_PERSISTENT, mppStatement, nullptr);
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() { sqlite3_reset(*mppStatement); }

    Query& Bind(int iIndex, std::int64_t llNumber)
    {
        if (miResult == SQLITE_OK) miResult = sqlite3_bind_int64(*mppStatement, iIndex, llNumber);
        return *this;
    }
    Query& Bind(int iIndex, std::string_view sText) // must outlive the query
    {
        const char* pText = sText.empty() ? "" : sText.data();
        if (miResult == SQLITE_OK) miResult = sqlite3_bind_text64(*mppStatement, iIndex, pText, sText.size(), SQLITE_STATIC, SQLITE_UTF8);
        return *this;
    }
    Query& Bind(int iIndex, const void* pData, std::size_t ulBytes)
    {
        if (miResult == SQLITE_OK) miResult = sqlite3_bind_blob64(*mppStatement, iIndex, ulBytes ? pData : "", ulBytes, SQLITE_STATIC);
        return *this;
    }

    // SQLITE_ROW, SQLITE_DONE or an error.
    int Step() { return miResult == SQLITE_OK ? sqlite3_step(*mppStatement) : miResult; }

    std::int64_t Number(int iColumn) const { return sqlite3_column_int64(*mppStatement, iColumn); }
    std::string_view Text(int iColumn) const
    {
        const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(*mppStatement, iColumn));
        return pText ? std::string_view(pText, static_cast<std::size_t>(sqlite3_column_bytes(*mppStatement, iColumn))) : std::string_view();
    }
    ValueRow Value() const // of the columns fold, name, type, length, data
    {
        ValueRow row{Text(0), Text(1), static_cast<DWORD>(Number(2)), static_cast<ULONG>(Number(3)), nullptr};
        if (sqlite3_column_type(*mppStatement, 4) == SQLITE_NULL) return row;
        const void* pData = sqlite3_column_blob(*mppStatement, 4);
        row.pData = pData ? static_cast<const BYTE*>(pData) : reinterpret_cast<const BYTE*>("");
        row.ulBytes = static_cast<ULONG>(sqlite3_column_bytes(*mppStatement, 4));
        return row;
    }

private:
    sqlite3_stmt** mppStatement;
    int miResult = SQLITE_OK;
};

LSTATUS RegistryDb::Status(int iResult) const
{
    const int iErrno = mpDb ? sqlite3_system_errno(mpDb) : 0;
    switch (iResult & 0xFF)
    {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE: return ERROR_SUCCESS;
    case SQLITE_NOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_FULL: return ERROR_DISK_FULL;
    case SQLITE_TOOBIG: return ERROR_NO_SYSTEM_RESOURCES;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: return ERROR_BUSY;
    case SQLITE_NOTADB: return ERROR_BADDB;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_READONLY: return ERROR_ACCESS_DENIED;
    case SQLITE_CANTOPEN:
        if (iErrno == EMFILE || iErrno == ENFILE) return ERROR_TOO_MANY_OPEN_FILES;
        return iErrno == ENOSPC || iErrno == EDQUOT ? ERROR_DISK_FULL : ERROR_ACCESS_DENIED;
    case SQLITE_IOERR:
        if (iResult == SQLITE_IOERR_NOMEM) return ERROR_NOT_ENOUGH_MEMORY;
        return iErrno == ENOSPC || iErrno == EDQUOT ? ERROR_DISK_FULL : ERROR_REGISTRY_IO_FAILED;
    default: return ERROR_REGISTRY_CORRUPT; // our statements fit every whole store
    }
}

LSTATUS RegistryDb::Run(Query& query)
{
    int iResult;
    do iResult = query.Step();
    while (iResult == SQLITE_ROW);
    return Status(iResult);
}

LSTATUS RegistryDb::Execute(const char* pSql)
{
    return Status(sqlite3_exec(mpDb, pSql, nullptr, nullptr, nullptr));
}

LSTATUS RegistryDb::ReadNumber(const char* pSql, int& iNumber)
{
    sqlite3_stmt* pStatement = nullptr;
    int iResult = sqlite3_prepare_v2(mpDb, pSql, -1, &pStatement, nullptr);
    if (iResult == SQLITE_OK) iResult = sqlite3_step(pStatement);
    if (iResult == SQLITE_ROW) iNumber = sqlite3_column_int(pStatement, 0);
    sqlite3_finalize(pStatement);
    return Status(iResult);
}

LSTATUS RegistryDb::Connect(const std::string& sPath)
{
    const int iResult =
        sqlite3_open_v2(sPath.c_str(), &mpDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    if (iResult != SQLITE_OK) return Status(iResult);

    constexpr int kiBusyMs = 10000; // writers wait for one another before they come here; this is for other programs
    sqlite3_busy_timeout(mpDb, kiBusyMs);
    sqlite3_db_config(mpDb, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(mpDb, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    const auto onCommit = [](void* pThis, sqlite3*, const char*, int iPages)
    {
        static_cast<RegistryDb*>(pThis)->miLogPages = iPages;
        return SQLITE_OK;
    };
    sqlite3_wal_hook(mpDb, onCommit, this); // in place of the automatic checkpoint
    return Execute("PRAGMA synchronous = NORMAL; PRAGMA journal_size_limit = 16777216; PRAGMA cache_size = -8192; "
                   "PRAGMA cell_size_check = ON");
}

// Whose file this is, and of which version.
LSTATUS RegistryDb::CheckFormat(bool& bEmpty)
{
    int iApplication = 0, iVersion = 0, iObjects = 0;
    if (LSTATUS lStatus = ReadNumber("PRAGMA application_id", iApplication)) return lStatus;
    if (LSTATUS lStatus = ReadNumber("PRAGMA user_version", iVersion)) return lStatus;
    if (LSTATUS lStatus = ReadNumber(kapSql[kCountObjects], iObjects)) return lStatus;
    bEmpty = iApplication == 0 && iVersion == 0 && iObjects == 0;
    if (bEmpty) return ERROR_SUCCESS;
    if (iApplication != kiStoreApplicationId) return ERROR_BADDB;
    return iVersion > kiStoreVersion ? ERROR_REVISION_MISMATCH : ERROR_SUCCESS;
}

// Whether a store is there at all, and whole pages of it. SQLite takes an empty file for a new one and deletes the log beside it,
// and fills up a torn last page with zeros; with a log, that is what a power cut may leave, and the log has the page.
static LSTATUS CheckFile(const std::string& sPath)
{
    constexpr off_t klPageBytes = 4096;
    struct stat status{}, log{};
    if (stat(sPath.c_str(), &status) != 0) return static_cast<LSTATUS>(ErrorFromErrno(errno));
    const bool bLog = stat((sPath + "-wal").c_str(), &log) == 0 && log.st_size != 0;
    if (status.st_size == 0) return bLog ? ERROR_REGISTRY_CORRUPT : ERROR_FILE_NOT_FOUND;
    return status.st_size % klPageBytes != 0 && !bLog ? ERROR_REGISTRY_CORRUPT : ERROR_SUCCESS;
}

LSTATUS RegistryDb::Open(const std::string& sPath)
{
    bool bEmpty = false;
    LSTATUS lStatus = CheckFile(sPath);
    if (lStatus == ERROR_SUCCESS) lStatus = Connect(sPath);
    if (lStatus == ERROR_SUCCESS) lStatus = CheckFormat(bEmpty);
    if (lStatus == ERROR_SUCCESS && bEmpty) lStatus = ERROR_FILE_NOT_FOUND;
    if (lStatus != ERROR_SUCCESS) Close(true);
    return lStatus;
}

LSTATUS RegistryDb::Create(const std::string& sPath)
{
    if (LSTATUS lStatus = CheckFile(sPath); lStatus != ERROR_SUCCESS && lStatus != ERROR_FILE_NOT_FOUND) return lStatus;
    // Made here and not by SQLite, so that it is private from the first moment. An existing one is not touched: closing any
    // descriptor of a store would release the locks that this process has on it.
    const int iFile = open(sPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (iFile >= 0) close(iFile);
    else if (errno != EEXIST) return static_cast<LSTATUS>(ErrorFromErrno(errno));

    bool bEmpty = false;
    LSTATUS lStatus = Connect(sPath);
    if (lStatus == ERROR_SUCCESS) lStatus = CheckFormat(bEmpty);
    if (lStatus == ERROR_SUCCESS) lStatus = Execute("PRAGMA journal_mode = WAL"); // stays in the file; a no-op the next time
    if (lStatus == ERROR_SUCCESS && bEmpty)
    {
        const std::string sIdentity = "PRAGMA application_id = " + std::to_string(kiStoreApplicationId) +
                                      "; PRAGMA user_version = " + std::to_string(kiStoreVersion) + ";";
        lStatus = Execute(("BEGIN IMMEDIATE;" + sIdentity + kSchema + "COMMIT").c_str());
        if (lStatus != ERROR_SUCCESS) Rollback();
    }
    if (lStatus != ERROR_SUCCESS) Close(true);
    return lStatus;
}

void RegistryDb::Close(bool bKeepLog)
{
    if (!mpDb) return;
    for (sqlite3_stmt*& pStatement : mapStatements)
    {
        sqlite3_finalize(pStatement);
        pStatement = nullptr;
    }
    if (bKeepLog) sqlite3_db_config(mpDb, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close(mpDb);
    mpDb = nullptr;
}

LSTATUS RegistryDb::BeginRead()
{
    Query query(*this, kBeginRead);
    return Run(query);
}

LSTATUS RegistryDb::BeginWrite()
{
    Query query(*this, kBeginWrite);
    return Run(query);
}

LSTATUS RegistryDb::Commit()
{
    Query query(*this, kCommit);
    return Run(query);
}

void RegistryDb::Rollback()
{
    if (!mpDb || sqlite3_get_autocommit(mpDb)) return;
    Query query(*this, kRollback);
    Run(query);
}

LSTATUS RegistryDb::Prepare()
{
    return Status(sqlite3_db_cacheflush(mpDb));
}

LSTATUS RegistryDb::FindChild(std::int64_t llParent, std::string_view sFold, std::int64_t* pllId, bool* pbVolatile)
{
    Query query(*this, kFindChild);
    const int iResult = query.Bind(1, llParent).Bind(2, sFold).Step();
    *pllId = iResult == SQLITE_ROW ? query.Number(0) : 0;
    if (pbVolatile) *pbVolatile = iResult == SQLITE_ROW && query.Number(1) != 0;
    return Status(iResult);
}

LSTATUS RegistryDb::FindParent(std::int64_t llId, std::int64_t* pllParent, bool* pbHasChildren)
{
    Query query(*this, kFindParent);
    const int iResult = query.Bind(1, llId).Step();
    if (iResult == SQLITE_DONE) return ERROR_KEY_DELETED;
    *pllParent = query.Number(0);
    *pbHasChildren = query.Number(1) != 0;
    return Status(iResult);
}

LSTATUS RegistryDb::CheckKey(std::int64_t llId, bool* pbVolatile)
{
    Query query(*this, kCheckKey);
    const int iResult = query.Bind(1, llId).Step();
    if (pbVolatile) *pbVolatile = iResult == SQLITE_ROW && query.Number(0) != 0;
    return iResult == SQLITE_DONE ? ERROR_KEY_DELETED : Status(iResult);
}

LSTATUS RegistryDb::ReadRecord(std::int64_t llId, KeyRecord& record)
{
    Query query(*this, kReadRecord);
    const int iResult = query.Bind(1, llId).Step();
    if (iResult == SQLITE_DONE) return ERROR_KEY_DELETED;
    if (iResult != SQLITE_ROW) return Status(iResult);
    record.sClass = query.Text(0);
    record.llWritten = query.Number(1);
    return ERROR_SUCCESS;
}

LSTATUS RegistryDb::ReadChildren(std::int64_t llId, const std::function<void(const ChildRow&)>& each)
{
    Query query(*this, kReadChildren);
    query.Bind(1, llId);
    int iResult;
    while ((iResult = query.Step()) == SQLITE_ROW) each({query.Text(0), query.Text(1), query.Text(2)});
    return Status(iResult);
}

LSTATUS RegistryDb::ReadValues(std::int64_t llId, ULONG ulMaxBytes, const std::function<bool(const ValueRow&)>& each)
{
    Query query(*this, kReadValues);
    query.Bind(1, llId).Bind(2, ulMaxBytes);
    int iResult;
    while ((iResult = query.Step()) == SQLITE_ROW)
        if (!each(query.Value())) return ERROR_SUCCESS;
    return Status(iResult);
}

LSTATUS RegistryDb::ReadValue(std::int64_t llId, std::string_view sFold, const std::function<void(const ValueRow&)>& found)
{
    Query query(*this, kReadValue);
    const int iResult = query.Bind(1, llId).Bind(2, sFold).Step();
    if (iResult == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
    if (iResult == SQLITE_ROW) found(query.Value());
    return Status(iResult);
}

LSTATUS RegistryDb::InsertKey(std::int64_t llParent, const KeyLevel& level, std::string_view sClass, bool bVolatile,
                              std::int64_t llNow, std::int64_t* pllId)
{
    Query query(*this, kInsertKey);
    query.Bind(1, llParent).Bind(2, level.sFold).Bind(3, level.sName).Bind(4, sClass).Bind(5, bVolatile).Bind(6, llNow);
    const LSTATUS lStatus = Run(query);
    *pllId = sqlite3_last_insert_rowid(mpDb);
    return lStatus;
}

LSTATUS RegistryDb::TouchKey(std::int64_t llId, std::int64_t llNow)
{
    Query query(*this, kTouchKey);
    return Run(query.Bind(1, llId).Bind(2, llNow));
}

LSTATUS RegistryDb::DeleteValues(std::int64_t llId)
{
    Query query(*this, kDeleteKeyValues);
    return Run(query.Bind(1, llId));
}

LSTATUS RegistryDb::DeleteKey(std::int64_t llId)
{
    if (LSTATUS lStatus = DeleteValues(llId)) return lStatus;
    Query query(*this, kDeleteKeyRow);
    return Run(query.Bind(1, llId));
}

LSTATUS RegistryDb::DeleteBelow(std::int64_t llId)
{
    Query values(*this, kDeleteValuesBelow);
    if (LSTATUS lStatus = Run(values.Bind(1, llId))) return lStatus;
    Query keys(*this, kDeleteKeysBelow);
    return Run(keys.Bind(1, llId));
}

LSTATUS RegistryDb::DeleteVolatile()
{
    Query values(*this, kDeleteVolatileValues);
    if (LSTATUS lStatus = Run(values)) return lStatus;
    Query keys(*this, kDeleteVolatileKeys);
    return Run(keys);
}

LSTATUS RegistryDb::PutValue(std::int64_t llId, std::string_view sFold, std::string_view sName, DWORD ulType, const void* pData,
                             std::size_t ulBytes, std::int64_t llNow, bool* pbChanged)
{
    Query query(*this, kPutValue);
    query.Bind(1, llId).Bind(2, sFold).Bind(3, sName).Bind(4, ulType).Bind(5, pData, ulBytes).Bind(6, llNow);
    const LSTATUS lStatus = Run(query);
    *pbChanged = sqlite3_changes(mpDb) != 0;
    return lStatus;
}

LSTATUS RegistryDb::DeleteValue(std::int64_t llId, std::string_view sFold)
{
    Query query(*this, kDeleteValue);
    if (LSTATUS lStatus = Run(query.Bind(1, llId).Bind(2, sFold))) return lStatus;
    return sqlite3_changes(mpDb) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

void RegistryDb::Tidy()
{
    constexpr int kiPages = 2000; // 8 MB
    if (miLogPages < miTidiedPages) miTidiedPages = 0; // the log was begun anew
    if (miLogPages < miTidiedPages + kiPages) return;
    // Passive: it waits for nobody. What it cannot copy now it copies when the log has grown as much again.
    sqlite3_wal_checkpoint_v2(mpDb, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    miTidiedPages = miLogPages;
}
} // namespace lum
