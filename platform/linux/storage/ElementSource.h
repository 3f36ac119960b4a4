// An element that is copied elsewhere. Internal to platform/linux.
#pragma once

#include "../../Held.h"
#include "StorageObject.h"
#include "StreamObject.h"

namespace lum
{
// Open for reading, by its kind. As long as this holds it, its number leads to it, and nobody else opens, renames or moves it.
struct StorageObject::Source
{
    CfEntry entry{};
    ULONGLONG ullBytes = 0;
    Held<StreamObject> stream;
    Held<StorageObject> storage;
};
} // namespace lum
