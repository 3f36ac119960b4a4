#include "ODbgManager.h"

void ODbgManager::DbgManagerInit()
{
    SetGroup("Dbg");
    SetErrorBase(13000);
    mulEnabled = 1;
    mulDefaultEnable = 1;
    mulUpdateRegistry = 0;
}
