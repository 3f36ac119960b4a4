// What nearly every test includes, compiled once for each program. Files include what they use all the same.
#pragma once

#include "Platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>
