// The root of the framework's classes: who an object is at run time, and where its memory comes from.
#pragma once

#include "AfxMemory.h"

class CArchive;
class CDumpContext;

// What is known of a class at run time.
struct CRuntimeClass
{
    const char* m_lpszClassName;
    int m_nObjectSize;
    const CRuntimeClass* m_pBaseClass; // null for the root

    bool IsDerivedFrom(const CRuntimeClass* pBase) const;
};

// RUNTIME_CLASS: the record of a class; DECLARE_DYNAMIC and IMPLEMENT_DYNAMIC give a class one of its own.
#define RUNTIME_CLASS(class_name) (&class_name::class##class_name)
#define DECLARE_DYNAMIC(class_name)                                                                                                \
public:                                                                                                                            \
    static const CRuntimeClass class##class_name;                                                                                  \
    const CRuntimeClass* GetRuntimeClass() const override;
#define IMPLEMENT_DYNAMIC(class_name, base_name)                                                                                   \
    const CRuntimeClass class_name::class##class_name = {#class_name, sizeof(class_name), RUNTIME_CLASS(base_name)};               \
    const CRuntimeClass* class_name::GetRuntimeClass() const { return RUNTIME_CLASS(class_name); }

class CObject
{
public:
    static const CRuntimeClass classCObject;

    virtual const CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;
    virtual void Serialize(CArchive& archive);
    virtual void AssertValid() const;
    virtual void Dump(CDumpContext& context) const;

    bool IsKindOf(const CRuntimeClass* pClass) const { return GetRuntimeClass()->IsDerivedFrom(pClass); }

    // Throws CMemoryException* when memory is exhausted.
    static void* operator new(std::size_t ulBytes) { return AfxAllocate(ulBytes); }
    static void* operator new(std::size_t, void* pPlace) noexcept { return pPlace; }
    static void operator delete(void* pBlock) { AfxFree(pBlock); }
    static void operator delete(void*, void*) noexcept {}

protected:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};
