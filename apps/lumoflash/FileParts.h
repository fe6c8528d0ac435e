// The files that a command reads and writes, and the part that each has in it.
#pragma once

#include "apps/lumoflash/Options.h"

namespace flash::app {

// What is written would take the place of what is read, or of what else is written. Throws Failure (BadInput) when two
// options name one file.
void RefuseFilesWithTwoParts(const Options& options);

}  // namespace flash::app
