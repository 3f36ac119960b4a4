// The class objects that the program itself offers. Internal to platform/linux. Any thread.
#pragma once

#include "Apartment.h"
#include "Interfaces.h"

namespace lum
{
// FindClass: the class object that this apartment has for a class, counted; null when it has none.
IUnknown* FindClass(REFCLSID clsid, ApartmentId apartment);

// RevokeClassesOf: takes back all that an apartment registered.
void RevokeClassesOf(ApartmentId apartment);
} // namespace lum
