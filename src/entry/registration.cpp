#include "registration.h"

#include "data/contracts.h"
#include "entry/clsagreementeg.h"
#include "platform/runtime/registry.h"

namespace agr {

namespace {

platform::LiveObjects live;

QObject *newClsagreementeg()
{
    return platform::tracked(live, new clsagreementeg);
}

const platform::ClassEntry classes[] = {{progid::Module, ModuleClassId, &newClsagreementeg}};

} // namespace

void registerModuleInProcess()
{
    platform::registerInProcess(classes);
}

QString moduleLibraryPath()
{
    return platform::ComponentRegistry::libraryPathOf(classes);
}

int liveModuleObjects()
{
    return live.count();
}

} // namespace agr

extern "C" {

Q_DECL_EXPORT platform::HRESULT DllRegisterServer()
{
    return platform::registerClasses(agr::classes);
}

Q_DECL_EXPORT platform::HRESULT DllUnregisterServer()
{
    return platform::unregisterClasses(agr::classes);
}

Q_DECL_EXPORT platform::HRESULT DllGetClassObject(const char *clsid, platform::ClassFactory *factory)
{
    return platform::getClassObject(agr::classes, clsid, factory);
}

Q_DECL_EXPORT platform::HRESULT DllCanUnloadNow()
{
    return platform::canUnloadNow(agr::live);
}
}
