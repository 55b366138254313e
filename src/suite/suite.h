#pragma once
// The suite's shared services, stand-alone: six classes registered under their ProgIDs. A host or test that
// links this library directly makes them creatable without a registry file by calling registerInProcess.

namespace suite {

// Registers every class of the library with the process's component registry.
void registerInProcess();

} // namespace suite
