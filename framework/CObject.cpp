#include "CObject.h"

const CRuntimeClass CObject::classCObject = {"CObject", sizeof(CObject), nullptr};

bool CRuntimeClass::IsDerivedFrom(const CRuntimeClass* pBase) const
{
    for (const CRuntimeClass* pClass = this; pClass; pClass = pClass->m_pBaseClass)
        if (pClass == pBase) return true;
    return false;
}

const CRuntimeClass* CObject::GetRuntimeClass() const { return RUNTIME_CLASS(CObject); }

// A class that keeps itself in an archive, checks itself or prints itself overrides these.
void CObject::Serialize(CArchive&) {}
void CObject::AssertValid() const {}
void CObject::Dump(CDumpContext&) const {}
