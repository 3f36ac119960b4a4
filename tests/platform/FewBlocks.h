// Memory that runs out after so many blocks, on the thread that asks for it.
#pragma once

#include <functional>

// SetBlocks: so many more blocks are to be had; kiAnyBlocks: as many as there are.
constexpr long kiAnyBlocks = -1;
void SetBlocks(long lBlocks);

// SetCall: the next time that there is no more block, that is called instead, once. It may set how many there are then.
void SetCall(const std::function<void()>* pCall);

// Does something with so many blocks.
template <class Work>
auto WithBlocks(long lBlocks, Work work)
{
    SetBlocks(lBlocks);
    const auto result = work();
    SetBlocks(kiAnyBlocks);
    return result;
}

// Does something, and something else in the middle of it: after so many blocks, if so many are asked for.
template <class Work>
auto WithCall(long lBlocks, const std::function<void()>& call, Work work)
{
    SetCall(&call);
    const auto result = WithBlocks(lBlocks, work);
    SetCall(nullptr);
    return result;
}
