#include "CaughtException.h"

#include "CException.h"

void DropCaught() noexcept
{
    try
    {
        throw;
    }
    catch (CException* pEx)
    {
        pEx->Delete();
    }
    catch (...)
    {
        // Not one of ours: the runtime frees what was thrown by value.
    }
}
