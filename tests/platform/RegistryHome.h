// A state directory of a test's own, and another process that keeps its registry there. Linux only.
#pragma once

#include "OtherProcess.h"
#include "TempFolder.h"

#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <memory>

class RegistryHome
{
public:
    std::string Path() const { return mFolder / "home"; }
    std::string Folder() const { return Path() + "/registry"; }
    std::string Store() const { return Folder() + "/local-machine.db"; }
    std::string Counter() const { return Folder() + "/local-machine.counter"; }

    // A process with this home, in the role "store" (RegistryStoreTest.cpp).
    std::unique_ptr<OtherProcess> Start() const
    {
        const std::string sOwn = std::getenv("LUMBASE_HOME");
        setenv("LUMBASE_HOME", Path().c_str(), 1);
        auto pProcess = std::make_unique<OtherProcess>("store");
        setenv("LUMBASE_HOME", sOwn.c_str(), 1);
        return pProcess;
    }
    std::string Ask(const std::string& sOrder) const { return Start()->Ask(sOrder); }

private:
    TempFolder mFolder;
};

inline std::string ReadAll(const std::string& sPath)
{
    std::ifstream file(sPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteAll(const std::string& sPath, const std::string& sBytes)
{
    std::ofstream(sPath, std::ios::binary | std::ios::trunc) << sBytes;
}

// AskSqlite: the first column of the first row, as any other program would read it; or what went wrong.
inline std::string AskSqlite(const std::string& sStore, const char* pSql)
{
    sqlite3* pDb = nullptr;
    sqlite3_stmt* pStatement = nullptr;
    std::string sAnswer;
    sqlite3_open_v2(sStore.c_str(), &pDb, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_busy_timeout(pDb, 10000);
    int iResult = sqlite3_prepare_v2(pDb, pSql, -1, &pStatement, nullptr);
    if (iResult == SQLITE_OK) iResult = sqlite3_step(pStatement);
    if (iResult == SQLITE_ROW) sAnswer = reinterpret_cast<const char*>(sqlite3_column_text(pStatement, 0));
    else if (iResult != SQLITE_DONE) sAnswer = sqlite3_errmsg(pDb);
    sqlite3_finalize(pStatement);
    sqlite3_close(pDb);
    return sAnswer;
}
