#include "module/moduleservices.h"

namespace agr {

// The holders are never destroyed: at process exit the service libraries may already be gone.
Service<IAuditService> &auditService()
{
    static auto *service = new Service<IAuditService>;
    return *service;
}

Service<IThemeService> &themeService()
{
    static auto *service = new Service<IThemeService>;
    return *service;
}

} // namespace agr
