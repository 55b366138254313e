#pragma once
// The module-wide services: the audit and theme services that the list form's load creates and every form
// uses for the module's lifetime.

#include "data/contracts.h"
#include "data/services.h"

namespace agr {

Service<IAuditService> &auditService();
Service<IThemeService> &themeService();

} // namespace agr
