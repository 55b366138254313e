// The library's classes and its four component exports.

#include "suite.h"

#include "auditservice.h"
#include "dbservice.h"
#include "faultservice.h"
#include "generalservice.h"
#include "gridlayoutservice.h"
#include "reportengine.h"
#include "themeservice.h"

#include "platform/runtime/registry.h"

namespace {

platform::LiveObjects live;

template <class T> QObject *make()
{
    return platform::tracked(live, new T);
}

const platform::ClassEntry classes[] = {
    {agr::progid::DbService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B101}", &make<suite::DbService>},
    {agr::progid::GeneralService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B102}", &make<suite::GeneralService>},
    {agr::progid::AuditService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B103}", &make<suite::AuditService>},
    {agr::progid::ThemeService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B104}", &make<suite::ThemeService>},
    {agr::progid::GridLayoutService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B105}",
     &make<suite::GridLayoutService>},
    {agr::progid::FaultService, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B106}", &make<suite::FaultService>},
    {agr::progid::ReportEngine, "{5B1E0C21-7A43-4D0E-9F61-2C8D3A90B107}", &make<suite::ReportEngine>},
};

} // namespace

namespace suite {

void registerInProcess()
{
    platform::registerInProcess(classes);
}

} // namespace suite

extern "C" {

Q_DECL_EXPORT platform::HRESULT DllRegisterServer()
{
    return platform::registerClasses(classes);
}

Q_DECL_EXPORT platform::HRESULT DllUnregisterServer()
{
    return platform::unregisterClasses(classes);
}

Q_DECL_EXPORT platform::HRESULT DllGetClassObject(const char *clsid, platform::ClassFactory *factory)
{
    return platform::getClassObject(classes, clsid, factory);
}

Q_DECL_EXPORT platform::HRESULT DllCanUnloadNow()
{
    return platform::canUnloadNow(live);
}
}
