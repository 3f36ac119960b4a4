#include "FaultWalk.h"

#include <unwind.h>

namespace lum
{
namespace
{
// A frame of the interrupted code, from the inside outwards.
struct VisitedFrame
{
    _Unwind_Context* pContext;
    std::uintptr_t ulRip; // of the instruction that it is at, or of a byte of the call that it is in
    std::uintptr_t ulStackPointer;
    const std::uint8_t* pTable; // null: neither handlers nor destructors

    std::uintptr_t Begin() const { return _Unwind_GetRegionStart(pContext); }
    bool Expects() const { return ExpectsException(pTable, ulRip - Begin()); }
};

// Visit is called with one frame after the other and returns whether to go on.
template <class Visit>
class Walk
{
public:
    Walk(std::uintptr_t ulRip, std::uintptr_t ulStackPointer, Visit visit)
        : mulRip(ulRip), mulStackPointer(ulStackPointer), mVisit(visit)
    {
        _Unwind_Backtrace(OnFrame, this);
    }

private:
    static _Unwind_Reason_Code OnFrame(_Unwind_Context* pContext, void* pArgument)
    {
        auto& walk = *static_cast<Walk*>(pArgument);
        int iExact = 0;
        const std::uintptr_t ulReturn = _Unwind_GetIPInfo(pContext, &iExact);
        VisitedFrame frame = {pContext, iExact ? ulReturn : ulReturn - 1, _Unwind_GetCFA(pContext), nullptr};

        // The first frames are ours: those between here and the interrupted one.
        walk.mbInterrupted |= iExact && frame.ulRip == walk.mulRip && frame.ulStackPointer == walk.mulStackPointer;
        if (!walk.mbInterrupted) return _URC_NO_REASON;

        frame.pTable = static_cast<const std::uint8_t*>(_Unwind_GetLanguageSpecificData(pContext));
        return walk.mVisit(frame) ? _URC_NO_REASON : _URC_NORMAL_STOP;
    }

    const std::uintptr_t mulRip, mulStackPointer;
    Visit mVisit;
    bool mbInterrupted = false;
};

void TakeFrame(const VisitedFrame& visited, FaultFrame& frame)
{
    for (int i = 0; i < FaultFrame::kiRip; ++i)
    {
        if (i != FaultFrame::kiRsp) frame.aulRegisters[i] = _Unwind_GetGR(visited.pContext, i);
    }
    frame.aulRegisters[FaultFrame::kiRsp] = visited.ulStackPointer;
    frame.aulRegisters[FaultFrame::kiRip] = visited.ulRip;
}
} // namespace

void SkipUnexpecting(FaultFrame& frame)
{
    FaultFrame candidate = frame;
    bool bSkipping = false, bFound = false;
    Walk(frame.aulRegisters[FaultFrame::kiRip], frame.aulRegisters[FaultFrame::kiRsp], [&](const VisitedFrame& visited)
    {
        if (bSkipping) TakeFrame(visited, candidate);
        if (!visited.pTable) return true;
        bFound = visited.Expects();
        bSkipping = true;
        return !bFound;
    });
    if (bFound) frame = candidate;
}

GuardedFunction FindGuarded(std::uintptr_t ulRip, std::uintptr_t ulStackPointer)
{
    GuardedFunction function;
    Walk(ulRip, ulStackPointer, [&](const VisitedFrame& visited)
    {
        if (function.pTable) // the one before was it, and this is its caller
        {
            function.ulStackAfter = visited.ulStackPointer;
            return false;
        }
        function.pTable = visited.pTable;
        if (function.pTable) function.ulBegin = visited.Begin();
        return true;
    });
    return function;
}
} // namespace lum
