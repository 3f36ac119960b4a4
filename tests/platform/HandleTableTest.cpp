// The table behind the handles; for Linux alone, where it is ours.
#include "linux/kernel/HandleTable.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>
#include <vector>

namespace
{
class Counted : public lum::KernelObject
{
public:
    explicit Counted(std::atomic<int>& iAlive, lum::ObjectKind eKind = lum::ObjectKind::Key) : KernelObject(eKind), miAlive(iAlive)
    {
        ++miAlive;
    }
    ~Counted() override { --miAlive; }

private:
    std::atomic<int>& miAlive;
};
} // namespace

class HandleTable : public testing::Test
{
protected:
    HANDLE Make(DWORD ulAccess = 0, lum::ObjectKind eKind = lum::ObjectKind::Key)
    {
        return lum::InsertHandle(new Counted(miAlive, eKind), ulAccess);
    }
    std::atomic<int> miAlive{0};
};

TEST_F(HandleTable, GivesTheObjectWithTheAccessItWasOpenedWith)
{
    const HANDLE hObject = Make(0x1234);
    DWORD ulAccess = 0;
    EXPECT_TRUE(lum::LookUpHandle(hObject, lum::ObjectKind::Key, &ulAccess));
    EXPECT_EQ(ulAccess, 0x1234u);
    EXPECT_FALSE(lum::LookUpHandle(hObject, lum::ObjectKind::File));
    EXPECT_TRUE(lum::RemoveHandle(hObject));
    EXPECT_EQ(miAlive, 0);
}

TEST_F(HandleTable, AnObjectInUseOutlivesItsHandle)
{
    const HANDLE hObject = Make();
    {
        const lum::ObjectRef use = lum::LookUpHandle(hObject, lum::ObjectKind::Key);
        EXPECT_TRUE(lum::RemoveHandle(hObject));
        EXPECT_FALSE(lum::LookUpHandle(hObject, lum::ObjectKind::Key));
        EXPECT_EQ(miAlive, 1);
    }
    EXPECT_EQ(miAlive, 0);
}

TEST_F(HandleTable, AStaleValueDoesNotReachTheNextOwnerOfItsSlot)
{
    std::set<HANDLE> used;
    for (int i = 0; i < 4000; ++i)
    {
        const HANDLE hObject = Make();
        EXPECT_TRUE(used.insert(hObject).second);
        EXPECT_TRUE(lum::RemoveHandle(hObject));
        EXPECT_FALSE(lum::RemoveHandle(hObject));
    }
}

TEST_F(HandleTable, RefusesTheOneThatIsTooMuchAndRecovers)
{
    std::vector<HANDLE> handles;
    while (const HANDLE hObject = Make()) handles.push_back(hObject);
    EXPECT_GT(handles.size(), 100'000u);
    EXPECT_EQ(static_cast<std::size_t>(miAlive), handles.size()); // the refused object is freed
    EXPECT_TRUE(lum::RemoveHandle(handles.back()));
    handles.back() = Make();
    EXPECT_NE(handles.back(), nullptr);
    for (HANDLE hObject : handles) EXPECT_TRUE(lum::RemoveHandle(hObject));
    EXPECT_EQ(miAlive, 0);
}

TEST_F(HandleTable, ThreadsDoNotTakeOneAnothersSlots)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this] {
            for (int i = 0; i < 20'000; ++i)
            {
                const HANDLE hFirst = Make(1), hSecond = Make(2);
                DWORD ulFirst = 0, ulSecond = 0;
                ASSERT_TRUE(lum::LookUpHandle(hFirst, lum::ObjectKind::Key, &ulFirst));
                ASSERT_TRUE(lum::LookUpHandle(hSecond, lum::ObjectKind::Key, &ulSecond));
                ASSERT_EQ(ulFirst, 1u);
                ASSERT_EQ(ulSecond, 2u);
                ASSERT_TRUE(lum::RemoveHandle(hFirst));
                ASSERT_TRUE(lum::RemoveHandle(hSecond));
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(miAlive, 0);
}

TEST_F(HandleTable, AForkedChildGoesOnWithWhatItWasGiven)
{
    const HANDLE hObject = Make();
    std::atomic<bool> bStop{false};
    // One thread that is nearly always inside the table when the fork comes.
    std::thread busy([&] { while (!bStop) lum::LookUpHandle(hObject, lum::ObjectKind::Key); });
    for (int i = 0; i < 50; ++i)
    {
        const pid_t child = fork();
        if (child == 0)
        {
            alarm(10);
            const HANDLE hNew = Make();
            const bool bFound{lum::LookUpHandle(hObject, lum::ObjectKind::Key)};
            const bool bGood = bFound && lum::RemoveHandle(hObject) && lum::RemoveHandle(hNew);
            _exit(bGood ? 0 : 1);
        }
        int iStatus = -1;
        waitpid(child, &iStatus, 0);
        EXPECT_EQ(iStatus, 0);
    }
    bStop = true;
    busy.join();
    EXPECT_TRUE(lum::RemoveHandle(hObject));
}
