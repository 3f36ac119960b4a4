// What a program would take for its settings if there were no registry: SQLite asked directly, LMDB, a map in memory.
//
//  * Each holds the same keys and one text for each. Names are found as they are spelled, which spares the rivals the folding.
//  * Each is used at its best: prepared statements, one transaction for a read, a read transaction that is renewed.
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
        Must(sqlite3_open(sFile.c_str(), &mpDb) == SQLITE_OK, "SQLite");
        Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
            "CREATE TABLE key (id INTEGER PRIMARY KEY, parent INTEGER, name TEXT, UNIQUE (parent, name));"
            "CREATE TABLE value (key INTEGER, name TEXT, data BLOB, PRIMARY KEY (key, name)) WITHOUT ROWID; BEGIN");
        mpFind = Prepare("SELECT id FROM key WHERE parent = ?1 AND name = ?2");
        mpInsert = Prepare("INSERT INTO key (parent, name) VALUES (?1, ?2)");
        mpRead = Prepare("SELECT data FROM value WHERE key = ?1 AND name = ?2");
        mpWrite = Prepare("INSERT OR REPLACE INTO value (key, name, data) VALUES (?1, ?2, ?3)");
        mpBegin = Prepare("BEGIN");
        mpCommit = Prepare("COMMIT");
        for (const std::string& sKey : keys) Put(Find(sKey, true), pText);
        Run("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)");
    }

    std::size_t Read(std::string_view sKey, char* pTo)
    {
        Step(mpBegin);
        sqlite3_bind_int64(mpRead, 1, Find(sKey, false));
        BindText(mpRead, 2, kacValueName);
        std::size_t ulBytes = 0;
        if (sqlite3_step(mpRead) == SQLITE_ROW)
        {
            ulBytes = static_cast<std::size_t>(sqlite3_column_bytes(mpRead, 0));
            std::memcpy(pTo, sqlite3_column_blob(mpRead, 0), ulBytes);
        }
        sqlite3_reset(mpRead);
        Step(mpCommit);
        return ulBytes;
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

    sqlite3* mpDb = nullptr;
    sqlite3_stmt *mpFind, *mpInsert, *mpRead, *mpWrite, *mpBegin, *mpCommit;
};

class LmdbRival
{
public:
    LmdbRival(const std::string& sFile, const std::vector<std::string>& keys, const char* pText)
    {
        Must(mdb_env_create(&mpEnv) == 0, "LMDB");
        mdb_env_set_mapsize(mpEnv, std::size_t{1} << 30);
        // As durable as our writes: they survive the process, a power cut may lose the last.
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
    static constexpr char kacSuffix[] = "\\PlasmaFlow";
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
        for (const std::string& sKey : keys) mTexts[sKey + "\\" + kacValueName] = pText;
    }
    std::size_t Read(std::string_view sKey, char* pTo)
    {
        std::string sFull(sKey);
        const auto found = mTexts.find(sFull += "\\PlasmaFlow");
        if (found == mTexts.end()) return 0;
        std::memcpy(pTo, found->second.data(), found->second.size());
        return found->second.size();
    }

private:
    std::unordered_map<std::string, std::string> mTexts;
};
