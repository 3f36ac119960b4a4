// Where a table has free entries, by page, as far as anybody looked. Internal to platform/linux.
//
//  * A page that is named here may have free entries from a place on; before that place, it has none.
//  * Pages nobody looked at are offered one after another, as far as the credit goes: looking must not cost what the table is long.
#pragma once

#include "../kernel/Types.h"

#include <map>
#include <vector>

namespace lum
{
class FreePages
{
public:
    // Start: so many pages, none of them looked at; which is offered first follows from the seed.
    void Start(ULONG ulPages, ULONG ulSeed)
    {
        mFree.clear();
        mSeen.assign(ulPages, false);
        mulUnseen = ulPages;
        mulCursor = ulPages == 0 ? 0 : static_cast<ULONG>(ulSeed * 32ull % ulPages);
        Renew();
    }
    void Renew() { mulCredit = kulCreditOfTransaction; }

    // Resize: pages that are added have been seen.
    void Resize(ULONG ulPages)
    {
        for (ULONG i = ulPages; i < mSeen.size(); ++i)
            if (!mSeen[i]) --mulUnseen;
        mSeen.resize(ulPages, true);
        mFree.erase(mFree.lower_bound(ulPages), mFree.end());
        if (mulCursor >= ulPages) mulCursor = 0;
    }

    void SetSeen(ULONG ulPage)
    {
        if (mSeen[ulPage]) return;
        mSeen[ulPage] = true;
        --mulUnseen;
    }
    void Add(ULONG ulPage, ULONG ulFrom)
    {
        const auto [i, bNew] = mFree.try_emplace(ulPage, ulFrom);
        if (!bNew && ulFrom < i->second) i->second = ulFrom;
    }
    void MoveOn(ULONG ulPage, ULONG ulFrom) { mFree[ulPage] = ulFrom; }
    void Remove(ULONG ulPage) { mFree.erase(ulPage); }

    // Lowest: a page that may have free entries from ulFrom on.
    bool Lowest(ULONG& ulPage, ULONG& ulFrom) const
    {
        if (mFree.empty()) return false;
        ulPage = mFree.begin()->first;
        ulFrom = mFree.begin()->second;
        return true;
    }

    // NextUnseen: a page to look at, paid for with credit. Who finds it worth while gives that back.
    bool NextUnseen(ULONG& ulPage)
    {
        if (mulCredit < kulCreditOfPage || !AnyUnseen(ulPage)) return false;
        mulCredit -= kulCreditOfPage;
        return true;
    }
    // AnyUnseen: the same without a price, for when there is no other way.
    bool AnyUnseen(ULONG& ulPage)
    {
        if (mulUnseen == 0) return false;
        while (mSeen[mulCursor]) mulCursor = mulCursor + 1 < mSeen.size() ? mulCursor + 1 : 0;
        ulPage = mulCursor;
        return true;
    }
    void GiveCredit(ULONG ulEntries) { mulCredit += ulEntries; }
    static constexpr ULONG kulCreditOfPage = 4; // entries that were allocated pay for one page

private:
    static constexpr ULONG kulCreditOfTransaction = 8 * kulCreditOfPage;

    std::map<ULONG, ULONG> mFree;
    std::vector<bool> mSeen;
    ULONG mulUnseen = 0;
    ULONG mulCursor = 0;
    ULONGLONG mulCredit = 0;
};
} // namespace lum
