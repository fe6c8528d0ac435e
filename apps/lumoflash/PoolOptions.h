// The options of addresses from a pool, of records, and of the pool itself.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/RawOptions.h"

namespace flash::app {

// Adds a command to another one: its parent, its name there, what it does, and an example.
using CommandAdder = std::function<CLI::App*(CLI::App& parent, Command command, const std::string& name,
                                             const std::string& description, const std::string& example)>;

void AddPool(CLI::App& app, const CommandAdder& addCommand, Options& options, RawOptions& raw);
void AddRecording(CLI::App& command, Options& options, RawOptions& raw);

bool IsOfPool(Command command);

// What a station is called that has no other name.
std::string HostName();

// Throws Failure (BadInput) for whatever is wrong.
void FinishPoolOptions(const RawOptions& raw, Options& options);

}  // namespace flash::app
