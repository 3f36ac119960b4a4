// Orders the numbers 0 to n - 1, which stand for the caller's items, by asking the caller how two of them compare.
//
//  * The items are not touched. The comparison is a member of an object derived from OBase; greater than 0 says that item i comes
//    before item j. Sort turns the order round at the end unless told otherwise, so that what came first is last.
//  * Count and list are given once each, to Init or to Sort.
//  * The list is meant to be empty. What is in it counts as placed already: it is handed to the comparison as items are, and the
//    places are counted from its start.
//  * What is compared with what, and in which sequence, is settled by the answers alone, also where they make no order: two
//    comparisons an item where items come in order or in reverse, else about the binary logarithm of how many there are.
//  * While it sorts, the list is as it was before. It gets the order at the end, or as far as that came when the comparison threw;
//    what the comparison did to the list meanwhile is gone then, a sort of its own into the same list included.
//  * Raises code 1 of the base 28000 for whatever is missing or given twice. All memory is taken before the first comparison;
//    CMemoryException* when there is none, with the list as it was.
//  * Owns neither object nor list. One thread at a time.
#pragma once

#include "Platform.h"

#include "CDWordArray.h"
#include "OBase.h"

class OSortOrder;

// The comparison: items i and j, and the three values that Init was given for it.
using OSortComparison = int (OBase::*)(ULONG i, ULONG j, void* pFirst, void* pSecond, ULONG ulThird);

class OSort : public OBase
{
public:
    OSort();
    OSort(OBase* pBase, OSortComparison pFn, CDWordArray* pList, ULONG ulCount, int bReverse, void* pFirst, void* pSecond,
          ULONG ulThird);

    // Init: a list of null and a count of 0 are given later. Whatever was set before a refusal stays set.
    void Init(OBase* pBase, OSortComparison pFn, CDWordArray* pList, ULONG ulCount, int bReverse, void* pFirst, void* pSecond,
              ULONG ulThird);
    // Sort: a count of 0 and a list of null for those that Init was given.
    void Sort(ULONG ulCount, CDWordArray* pList);

private:
    void SortInit();
    void Refuse(const char* pItem, const char* pText);
    int Compare(ULONG i, ULONG j) { return (mpBase->*mpFn)(i, j, mpFirst, mpSecond, mulThird); }
    void BubbleSort(); // not used by Sort: the other sense of the comparison, and no reversal
    void ShuffleSort();
    ULONG Shuffle(ULONG k, OSortOrder& order); // the position of item k, which is neither first nor last
    void Reverse();

    CDWordArray* mpList;
    OBase* mpBase;
    ULONG mulCount;
    void* mpFirst;
    void* mpSecond;
    ULONG mulThird;
    OSortComparison mpFn;
    int mbReverse;
};
