// Who has which entry open: a hash table whose links lie in the elements. Internal to platform/linux.
#pragma once

#include "../kernel/Types.h"

#include <vector>

namespace lum
{
class OpenElement;

class OpenTable
{
public:
    // Reserve: makes room for one more, so that Insert cannot fail.
    void Reserve();
    void Insert(OpenElement& element);
    void Remove(OpenElement& element);
    OpenElement* Find(ULONG ulEntry) const; // one of them, when there are several

private:
    std::size_t BucketOf(ULONG ulEntry) const { return ulEntry & (mBuckets.size() - 1); }

    std::vector<OpenElement*> mBuckets; // a power of two
    std::size_t mulElements = 0;
};
} // namespace lum
