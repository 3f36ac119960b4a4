#include "Identity.h"

BOOL RevertToSelf()
{
    return TRUE;
}
