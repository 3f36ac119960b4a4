// A file that may not grow any further, as on a full disk. By a limit of this system, which Windows has no like of.
#include "OApiFile.h"

#include "FileHandle.h"
#include "FileLimit.h"
#include "LogRecorder.h"
#include "Raises.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

TEST(OApiFileFull, AWriteThatDoesNotFitIsCodeSevenAndTellsHowFarItCame)
{
    TempFolder folder;
    LogRecorder log;
    const std::string sPath = folder / "file";
    OApiFile file(sPath.c_str(), CREATE_NEW, kulReadWrite, kulShareAll, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr);
    {
        const FileLimit limit(10);
        ULONG ulDone = 0;
        EXPECT_EQ(file.Writeln("lamps"), TRUE);
        EXPECT_RAISES(file.Write("0123456", 7, &ulDone, nullptr), 9007);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
        EXPECT_EQ(ulDone, 3u);
        EXPECT_RAISES(file.Writeln("more"), 9007);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
    }
    EXPECT_EQ(file.Writeln("!"), TRUE); // once there is room again
    EXPECT_EQ(ReadText(sPath), "lamps\r\n012!\r\n");
}
