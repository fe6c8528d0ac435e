// Options that cannot be meant together.
#pragma once

#include "host/devices/FlashGeometry.h"
#include "host/settings/ProgramOptions.h"

namespace flash::host {

// Throws Failure (BadInput) for the first contradiction of a load on that flash, its closing phase included.
void RefuseContradictions(const ProgramOptions& options, const FlashGeometry& geometry);

// The same for changes of CCFG alone.
void RefuseContradictions(const ClosingChanges& changes, const FlashGeometry& geometry);

}  // namespace flash::host
