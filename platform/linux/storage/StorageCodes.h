// The results of calls on compound files.
#pragma once

#include "../kernel/Error.h"

#define STG_E_INVALIDFUNCTION static_cast<HRESULT>(0x80030001u)
#define STG_E_FILENOTFOUND static_cast<HRESULT>(0x80030002u)
#define STG_E_ACCESSDENIED static_cast<HRESULT>(0x80030005u)
#define STG_E_WRITEFAULT static_cast<HRESULT>(0x8003001Du)
#define STG_E_READFAULT static_cast<HRESULT>(0x8003001Eu)
#define STG_E_FILEALREADYEXISTS static_cast<HRESULT>(0x80030050u)
#define STG_E_INVALIDPARAMETER static_cast<HRESULT>(0x80030057u)
#define STG_E_MEDIUMFULL static_cast<HRESULT>(0x80030070u)
#define STG_E_INVALIDHEADER static_cast<HRESULT>(0x800300FBu)
#define STG_E_INVALIDNAME static_cast<HRESULT>(0x800300FCu)
#define STG_E_OLDFORMAT static_cast<HRESULT>(0x80030104u)
#define STG_E_OLDDLL static_cast<HRESULT>(0x80030105u)
#define STG_E_DOCFILECORRUPT static_cast<HRESULT>(0x80030109u)
