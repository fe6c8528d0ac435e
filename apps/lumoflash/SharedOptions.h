// Options that several commands have, with one meaning and one help.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/RawOptions.h"

namespace CLI {
class App;
}  // namespace CLI

namespace flash::app {

void AddFiles(CLI::App& command, RawOptions& raw);

// What is locked or written behind all else.
void AddClosing(CLI::App& command, Options& options, RawOptions& raw);

// How flash is programmed.
void AddLoad(CLI::App& command, Options& options, RawOptions& raw);

void AddDryRun(CLI::App& command, Options& options);
void AddRange(CLI::App& command, RawOptions& raw);

}  // namespace flash::app
