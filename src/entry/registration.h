#pragma once
// How the module makes itself known: the four exports of the component library (registration.cpp;
// reached through the component registry, never called directly) and an in-process registration for
// programs that link the module.

#include <QString>

namespace agr {

// The class id that the registry file records for zrtp1003.clsagreementeg.
inline constexpr char ModuleClassId[] = "{5D0B7E3A-1003-4C2F-9A61-7E2B3C4D1003}";

// Makes zrtp1003.clsagreementeg creatable in this process without the registry file.
void registerModuleInProcess();

// The path of the loaded zrtp1003 library.
QString moduleLibraryPath();

// clsagreementeg objects alive now (what DllCanUnloadNow reports on).
int liveModuleObjects();

} // namespace agr
