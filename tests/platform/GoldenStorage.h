// The compound files of tests/data/storage.
#pragma once

#include "Platform.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline std::vector<BYTE> GoldenStorage(const std::string& sName)
{
    std::ifstream file(LUM_TEST_DATA "/storage/" + sName, std::ios::binary);
    EXPECT_TRUE(file) << sName;
    return std::vector<BYTE>(std::istreambuf_iterator<char>(file), {});
}
