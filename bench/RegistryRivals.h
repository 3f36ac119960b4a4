// What a program would take for its settings if there were no registry: SQLite asked directly, LMDB, a map in memory.
//
//  * Each holds the same keys and one text for each. Names are found as they are spelled, which spares the rivals the folding.
//  * Each is used at its best. SQLite: prepared statements that are kept, a write-ahead log with synchronous = NORMAL, the file
//    mapped, no locks against threads, one transaction around the statements of a read. LMDB: one read transaction that is
//    renewed, and writes that nobody flushes.
//  * What is written survives the process everywhere. After a power cut SQLite's file is whole, as the registry's store is; for
//    LMDB's that depends on the order in which the file system wrote it.
#pragma once

#include <lmdb.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

inline constexpr char kacValueName[] = "PlasmaFlow";
inline constexpr char kacSuffix[] = "\\PlasmaFlow"; // of a path that goes on to the value

inline void Must(bool bGood, const char* pWhat)
{
    if (bGood) return;
    std::fprintf(stderr, "the benchmark cannot go on: %s\n", pWhat);
    std::exit(3);
}

// Calls each(level) for the levels of a path; ends early when it returns false.
template <class F>
bool ForLevels(std::string_view sPath, F each)
{
    while (!sPath.empty())
    {
        const std::string_view sLevel = sPath.substr(0, sPath.find('\\'));
        sPath.remove_prefix(std::min(sLevel.size() + 1, sPath.size()));
        if (!each(sLevel)) return false;
    }
    return true;
}

class SqliteRival
{
public:
    SqliteRival(const std::string& sFile, const std::vector<std::string>& keys, const char* pText)
    {
        constexpr int kiOpen = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        Must(sqlite3_open_v2(sFile.c_str(), &mpDb, kiOpen, nullptr) == SQLITE_OK, "SQLite");
        Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA mmap_size = 268435456; PRAGMA cache_size = -65536;"
            "CREATE TABLE setting (path TEXT PRIMARY KEY, data BLOB) WITHOUT ROWID;"
            "CREATE TABLE key (id INTEGER PRIMARY KEY, parent INTEGER, name TEXT, UNIQUE (parent, name));"
            "CREATE TABLE value (key INTEGER, name TEXT, data BLOB, PRIMARY KEY (key, name)) WITHOUT ROWID; BEGIN");
        mpFind = Prepare("SELECT id FROM key WHERE parent = ?1 AND name = ?2");
        mpInsert = Prepare("INSERT INTO key (parent, name) VALUES (?1, ?2)");
        mpRead = Prepare("SELECT data FROM value WHERE key = ?1 AND name = ?2");
        mpWrite = Prepare("INSERT OR REPLACE INTO value (key, name, data) VALUES (?1, ?2, ?3)");
        mpBegin = Prepare("BEGIN");
        mpCommit = Prepare("COMMIT");
        mpReadPath = Prepare("SELECT data FROM setting WHERE path = ?1");
        sqlite3_stmt* pWritePath = Prepare("INSERT INTO setting (path, data) VALUES (?1, ?2)");
        for (const std::string& sKey : keys)
        {
            Put(Find(sKey, true), pText);
            const std::string sPath = sKey + kacSuffix;
            BindText(pWritePath, 1, sPath);
            BindText(pWritePath, 2, pText);
            Step(pWritePath);
        }
        sqlite3_finalize(pWritePath);
        Run("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)");
    }

    std::size_t Read(std::string_view sKey, char* pTo)
    {
        Step(mpBegin);
        sqlite3_bind_int64(mpRead, 1, Find(sKey, false));
        BindText(mpRead, 2, kacValueName);
        const std::size_t ulBytes = TakeData(mpRead, pTo);
        Step(mpCommit);
        return ulBytes;
    }
    // One table of whole paths, one statement.
    std::size_t ReadByPath(std::string_view sKey, char* pTo)
    {
        char acPath[512];
        std::memcpy(acPath, sKey.data(), sKey.size());
        std::memcpy(acPath + sKey.size(), kacSuffix, sizeof kacSuffix - 1);
        BindText(mpReadPath, 1, {acPath, sKey.size() + sizeof kacSuffix - 1});
        return TakeData(mpReadPath, pTo);
    }
    std::int64_t Find(std::string_view sKey, bool bMake)
    {
        std::int64_t llId = 0;
        ForLevels(sKey,
                  [&](std::string_view sLevel)
                  {
                      const std::int64_t llParent = llId;
                      llId = 0;
                      sqlite3_bind_int64(mpFind, 1, llParent);
                      BindText(mpFind, 2, sLevel);
                      if (sqlite3_step(mpFind) == SQLITE_ROW) llId = sqlite3_column_int64(mpFind, 0);
                      sqlite3_reset(mpFind);
                      if (llId || !bMake) return llId != 0;
                      sqlite3_bind_int64(mpInsert, 1, llParent);
                      BindText(mpInsert, 2, sLevel);
                      Step(mpInsert);
                      llId = sqlite3_last_insert_rowid(mpDb);
                      return true;
                  });
        return llId;
    }
    void Put(std::int64_t llKey, std::string_view sText)
    {
        sqlite3_bind_int64(mpWrite, 1, llKey);
        BindText(mpWrite, 2, kacValueName);
        BindText(mpWrite, 3, sText);
        Step(mpWrite);
    }

private:
    void Run(const char* pSql) { Must(sqlite3_exec(mpDb, pSql, nullptr, nullptr, nullptr) == SQLITE_OK, pSql); }
    sqlite3_stmt* Prepare(const char* pSql)
    {
        sqlite3_stmt* pStatement = nullptr;
        Must(sqlite3_prepare_v3(mpDb, pSql, -1, SQLITE_PREPARE_PERSISTENT, &pStatement, nullptr) == SQLITE_OK, pSql);
        return pStatement;
    }
    static void BindText(sqlite3_stmt* pStatement, int iIndex, std::string_view sText)
    {
        sqlite3_bind_text(pStatement, iIndex, sText.data(), static_cast<int>(sText.size()), SQLITE_STATIC);
    }
    static void Step(sqlite3_stmt* pStatement)
    {
        sqlite3_step(pStatement);
        sqlite3_reset(pStatement);
    }
    static std::size_t TakeData(sqlite3_stmt* pStatement, char* pTo)
    {
        std::size_t ulBytes = 0;
        if (sqlite3_step(pStatement) == SQLITE_ROW)
        {
            const void* pData = sqlite3_column_blob(pStatement, 0);
            ulBytes = static_cast<std::size_t>(sqlite3_column_bytes(pStatement, 0));
            std::memcpy(pTo, pData, ulBytes);
        }
        sqlite3_reset(pStatement);
        return ulBytes;
    }

    sqlite3* mpDb = nullptr;
    sqlite3_stmt *mpFind, *mpInsert, *mpRead, *mpReadPath, *mpWrite, *mpBegin, *mpCommit;
};

class LmdbRival
{
public:
    LmdbRival(const std::string& sFile, const std::vector<std::string>& keys, const char* pText)
    {
        Must(mdb_env_create(&mpEnv) == 0, "LMDB");
        mdb_env_set_mapsize(mpEnv, std::size_t{1} << 30);
        Must(mdb_env_open(mpEnv, sFile.c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0600) == 0, "LMDB");
        MDB_txn* pTxn = nullptr;
        mdb_txn_begin(mpEnv, nullptr, 0, &pTxn);
        mdb_dbi_open(pTxn, nullptr, 0, &muDbi);
        for (const std::string& sKey : keys)
        {
            std::uint64_t ullId = 0;
            ForLevels(sKey,
                      [&](std::string_view sLevel)
                      {
                          const std::string sChild = ChildKey(ullId, sLevel);
                          MDB_val found{};
                          if (Get(pTxn, sChild, found)) std::memcpy(&ullId, found.mv_data, sizeof ullId);
                          else Put(pTxn, sChild, {reinterpret_cast<const char*>(&(ullId = ++mullLastId)), sizeof ullId});
                          return true;
                      });
            Put(pTxn, ChildKey(ullId, kacValueName), pText);
            Put(pTxn, PathKey(sKey), pText);
        }
        Must(mdb_txn_commit(pTxn) == 0, "LMDB");
        mdb_txn_begin(mpEnv, nullptr, MDB_RDONLY, &mpReading);
        mdb_txn_reset(mpReading);
    }

    std::size_t ReadByLevels(std::string_view sKey, char* pTo)
    {
        mdb_txn_renew(mpReading);
        std::uint64_t ullId = 0;
        char acKey[8 + 256];
        MDB_val found{};
        const auto get = [&](std::string_view sName)
        {
            std::memcpy(acKey, &ullId, 8);
            std::memcpy(acKey + 8, sName.data(), sName.size());
            return Get(mpReading, {acKey, 8 + sName.size()}, found);
        };
        const bool bFound = ForLevels(sKey,
                                      [&](std::string_view sLevel)
                                      {
                                          if (!get(sLevel)) return false;
                                          std::memcpy(&ullId, found.mv_data, sizeof ullId);
                                          return true;
                                      });
        return Finish(bFound && get(kacValueName), found, pTo);
    }
    std::size_t ReadByPath(std::string_view sKey, char* pTo)
    {
        mdb_txn_renew(mpReading);
        char acKey[512];
        std::memcpy(acKey, sKey.data(), sKey.size());
        std::memcpy(acKey + sKey.size(), kacSuffix, sizeof kacSuffix - 1);
        MDB_val found{};
        return Finish(Get(mpReading, {acKey, sKey.size() + sizeof kacSuffix - 1}, found), found, pTo);
    }
    void Write(std::string_view sKey, std::string_view sText)
    {
        MDB_txn* pTxn = nullptr;
        mdb_txn_begin(mpEnv, nullptr, 0, &pTxn);
        Put(pTxn, PathKey(sKey), sText);
        mdb_txn_commit(pTxn);
    }

private:
    static std::string ChildKey(std::uint64_t ullParent, std::string_view sName)
    {
        return std::string(reinterpret_cast<const char*>(&ullParent), sizeof ullParent) + std::string(sName);
    }
    static std::string PathKey(std::string_view sKey) { return std::string(sKey) + kacSuffix; }
    bool Get(MDB_txn* pTxn, std::string_view sKey, MDB_val& found)
    {
        MDB_val key{sKey.size(), const_cast<char*>(sKey.data())};
        return mdb_get(pTxn, muDbi, &key, &found) == 0;
    }
    void Put(MDB_txn* pTxn, std::string_view sKey, std::string_view sData)
    {
        MDB_val key{sKey.size(), const_cast<char*>(sKey.data())}, data{sData.size(), const_cast<char*>(sData.data())};
        Must(mdb_put(pTxn, muDbi, &key, &data, 0) == 0, "LMDB");
    }
    std::size_t Finish(bool bFound, const MDB_val& found, char* pTo)
    {
        if (bFound) std::memcpy(pTo, found.mv_data, found.mv_size);
        mdb_txn_reset(mpReading);
        return bFound ? found.mv_size : 0;
    }

    MDB_env* mpEnv = nullptr;
    MDB_dbi muDbi = 0;
    MDB_txn* mpReading = nullptr;
    std::uint64_t mullLastId = 0;
};

class MapRival
{
public:
    MapRival(const std::vector<std::string>& keys, const char* pText)
    {
        for (const std::string& sKey : keys) mTexts[sKey + kacSuffix] = pText;
    }
    std::size_t Read(std::string_view sKey, char* pTo)
    {
        std::string sFull(sKey);
        const auto found = mTexts.find(sFull += kacSuffix);
        if (found == mTexts.end()) return 0;
        std::memcpy(pTo, found->second.data(), found->second.size());
        return found->second.size();
    }

private:
    std::unordered_map<std::string, std::string> mTexts;
};
