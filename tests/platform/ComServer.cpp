// A module as the registry can name it, with a class of the tests' own; it offers that as the security server, too.
#include "ComServer.h"

#include "ComObject.h"
#include "OSecurityServer.h"

namespace
{
class Object final : public ComObject<IComServerObject>
{
public:
    Object() : ComObject({kComServerInterface}) {}
    ULONG STDMETHODCALLTYPE Answer() override { return 42; }
};
} // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** ppObject)
{
    static Object object;
    static ComClass factory(object);
    if (!IsEqualGUID(clsid, kComServerClass) && !IsEqualGUID(clsid, kSecurityFactoryClass)) return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(iid, ppObject);
}
