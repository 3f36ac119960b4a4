// A module with one class, as the registry can name it.
#include "ComServer.h"

#include "ComObject.h"

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
    if (!IsEqualGUID(clsid, kComServerClass)) return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(iid, ppObject);
}
