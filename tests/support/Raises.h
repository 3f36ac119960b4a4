// Expectations about the exceptions that the library throws by pointer. Each is freed.
#pragma once

#include "OException.h"

#include <gtest/gtest.h>

#include <optional>

// The absolute code that call() raises; none when it returns.
template <class Call>
std::optional<ULONG> RaisedCode(Call call)
{
    try
    {
        call();
    }
    catch (OAppException* pEx)
    {
        const ULONG ulCode = pEx->mulErrorCode;
        pEx->Delete();
        return ulCode;
    }
    return std::nullopt;
}

#define EXPECT_RAISES(statement, code) EXPECT_EQ(RaisedCode([&] { (void)(statement); }), std::optional<ULONG>(code))
