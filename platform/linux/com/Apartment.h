// Which threads share class objects. Internal to platform/linux.
#pragma once

#include <cstdint>

namespace lum
{
using ApartmentId = std::uint64_t; // never used twice, but for the multithreaded one
constexpr ApartmentId kNoApartment = 0;
constexpr ApartmentId kMultithreaded = 1;

// CurrentApartment: the calling thread's; kNoApartment when it has none.
ApartmentId CurrentApartment();
} // namespace lum
