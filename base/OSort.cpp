#include "OSort.h"

#include "SortOrder.h"

#include <algorithm>
#include <utility>

static constexpr ULONG kulRefused = 1;

// An address as the log's "%u" shows it.
static unsigned int Low32(const void* pAddress) { return static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(pAddress)); }

void OSort::SortInit()
{
    SetErrorBase(28000);
    mpList = nullptr;
    mpBase = nullptr;
    mulCount = 0;
    mpFirst = nullptr;
    mpSecond = nullptr;
    mulThird = 0;
    mpFn = nullptr;
    mbReverse = 1;
}

void OSort::Refuse(const char* pItem, const char* pText)
{
    LogGroup("Error", nullptr, pItem, "%s", pText);
    Raise(kulRefused);
}

OSort::OSort()
{
    try
    {
        SortInit();
    }
    catch (...) { LogCaught("OSort::OSort"); throw; }
}

OSort::OSort(OBase* pBase, OSortComparison pFn, CDWordArray* pList, ULONG ulCount, int bReverse, void* pFirst, void* pSecond,
             ULONG ulThird)
{
    try
    {
        SortInit();
        Init(pBase, pFn, pList, ulCount, bReverse, pFirst, pSecond, ulThird);
    }
    catch (...) { LogCaught("OSort::OSort"); throw; }
}

void OSort::Init(OBase* pBase, OSortComparison pFn, CDWordArray* pList, ULONG ulCount, int bReverse, void* pFirst, void* pSecond,
                 ULONG ulThird)
try
{
    if (!pBase) Refuse("Init", "pBase==NULL");
    if (!pFn) Refuse("Init", "pFn==NULL");
    if (mpBase) Refuse("Init", "mpBase is already set");
    mpBase = pBase;
    if (mpFn) Refuse("Init", "mpFn is already set");
    mpFn = pFn;
    if (ulCount)
    {
        if (mulCount) Refuse("Init", "mulCount is already set");
        mulCount = ulCount;
    }
    if (pList)
    {
        if (mpList) Refuse("Init", "mpList is already set");
        mpList = pList;
    }
    mbReverse = bReverse;
    mpFirst = pFirst;
    mpSecond = pSecond;
    mulThird = ulThird;
}
catch (...) { LogCaught("OSort::Init"); throw; }

void OSort::Sort(ULONG ulCount, CDWordArray* pList)
try
{
    if (ulCount)
    {
        if (mulCount)
        {
            LogGroup("Error", nullptr, "Sort", "ulCount=%u; mulCount=%u", ulCount, mulCount);
            Raise(kulRefused);
        }
        mulCount = ulCount;
    }
    if (pList)
    {
        if (mpList)
        {
            LogGroup("Error", nullptr, "Sort", "pList=%u; mpList=%u", Low32(pList), Low32(mpList));
            Raise(kulRefused);
        }
        mpList = pList;
    }
    if (!mpBase) Refuse("Sort", "mpBase==NULL");
    if (!mpFn) Refuse("Sort", "mpFn==NULL");
    if (!mulCount) Refuse("Sort", "mulCount==0");
    if (!mpList) Refuse("Sort", "mpList==NULL");
    if (mulCount == 1)
    {
        mpList->Add(0);
        return;
    }
    ShuffleSort();
    if (mbReverse) Reverse();
}
catch (...) { LogCaught("OSort::Sort"); throw; }

void OSort::BubbleSort()
try
{
    CDWordArray order;
    order.Reserve(mulCount);
    for (ULONG ul = 0; ul < mulCount; ++ul) order.Add(ul);
    bool bSwapped = true;
    while (bSwapped)
    {
        bSwapped = false;
        for (int i = 0; i + 1 < order.GetSize(); ++i)
        {
            if (Compare(order[i], order[i + 1]) >= 0) continue;
            std::swap(order[i], order[i + 1]);
            bSwapped = true;
        }
    }
    mpList->Append(order.GetData(), mulCount);
}
catch (...) { LogCaught("OSort::BubbleSort"); throw; }

void OSort::ShuffleSort()
try
{
    OSortOrder order(*mpList, mulCount);
    const struct OAtTheEnd // or when the comparison throws
    {
        OSortOrder& order;
        CDWordArray& list;
        ~OAtTheEnd() { order.MoveTo(list); }
    } atTheEnd{order, *mpList};

    order.AddLast(0);
    if (Compare(1, 0) > 0) order.AddFirst(1);
    else order.AddLast(1);
    for (ULONG k = 2; k < mulCount; ++k)
    {
        if (Compare(k, order.GetFirst()) > 0) order.AddFirst(k);
        else if (Compare(order.GetAt(k - 1), k) > 0) order.AddLast(k);
        else order.Insert(Shuffle(k, order), k);
    }
}
catch (...) { LogCaught("OSort::ShuffleSort"); throw; }

ULONG OSort::Shuffle(ULONG k, OSortOrder& order)
try
{
    return order.Search(1, k - 1, [this, k](ULONG ulPlaced) { return Compare(ulPlaced, k) > 0; });
}
catch (...) { LogCaught("OSort::Shuffle"); throw; }

void OSort::Reverse()
try
{
    DWORD* pEntries = mpList->GetData();
    std::reverse(pEntries, pEntries + mulCount);
}
catch (...) { LogCaught("OSort::Reverse"); throw; }
