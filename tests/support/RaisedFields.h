// The fields of an exception that the library throws by pointer, as something that can be compared and printed.
#pragma once

#include "OException.h"

#include <ostream>

struct Raised
{
    ULONG ulBase, ulOffset, ulCode;
    LONG lSystemError;
    bool bHasText;
    bool operator==(const Raised&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Raised& raised)
{
    return out << raised.ulBase << '+' << raised.ulOffset << '=' << raised.ulCode << ", system error " << raised.lSystemError
               << (raised.bHasText ? ", with text" : "");
}

// RaisedBy: of the exception that call() raises, which is freed; zeros when it returns.
template <class Call>
Raised RaisedBy(Call call)
{
    try
    {
        call();
    }
    catch (OAppException* pEx)
    {
        const Raised raised{pEx->mulErrorBase, pEx->mulOffset, pEx->mulErrorCode, pEx->miApiErrorCode, !pEx->mText.IsEmpty()};
        pEx->Delete();
        return raised;
    }
    return {};
}
