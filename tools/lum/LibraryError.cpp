#include "LibraryError.h"

#include "OException.h"

#include "Console.h"

namespace tool
{
static std::string Taken(CException* pException)
{
    char aText[512] = "";
    pException->GetErrorMessage(aText, sizeof aText);
    pException->Delete();
    return aText[0] ? aText : "the library reports a failure without a text";
}

std::string LibraryErrorText()
try
{
    throw;
}
catch (OStructuredException* pException)
{
    const std::string sText = Format("error %u, fault 0x%08X", static_cast<unsigned>(pException->mulErrorCode),
                                     static_cast<unsigned>(pException->mulStructuredCode));
    pException->Delete();
    return sText;
}
catch (OAppException* pException)
{
    const std::string sText = Format("error %u: %s", static_cast<unsigned>(pException->mulErrorCode),
                                     static_cast<const char*>(pException->mText.ConvertToMultiByte()));
    pException->Delete();
    return sText;
}
catch (CException* pException)
{
    return Taken(pException);
}
} // namespace tool
