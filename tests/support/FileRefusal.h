// What a file operation throws, taken apart and freed.
#pragma once

#include "CFileException.h"

#include <gtest/gtest.h>

#include <string>

struct FileRefusal
{
    int iCause = -1; // -1: nothing was thrown
    LONG lOsError = 0;
    std::string sFileName;
};

template <class Call>
FileRefusal RefusalOf(Call call)
{
    try
    {
        call();
    }
    catch (CFileException* pEx)
    {
        FileRefusal refusal{pEx->m_cause, pEx->m_lOsError, static_cast<const char*>(pEx->m_strFileName)};
        pEx->Delete();
        return refusal;
    }
    return {};
}

#define EXPECT_REFUSED(statement, cause) EXPECT_EQ(RefusalOf([&] { (void)(statement); }).iCause, static_cast<int>(cause))
