// Modules that have class objects. Internal to platform/linux.
#pragma once

#include "Interfaces.h"

namespace lum
{
// ModuleClassObject: asks the module that the registry names for a class. REGDB_E_CLASSNOTREG when it names none; the other
//   errors are those of CoGetClassObject.
HRESULT ModuleClassObject(REFCLSID clsid, REFIID iid, void** ppObject);
} // namespace lum
