// A line in words.
#pragma once

#include <chrono>
#include <string>

#include "host/line/Line.h"

namespace flash::app {

// "LumoF2F352: app.elf".
std::string TitleOf(const host::line::Job& job);

// "7 of 100 chips", "7 chips".
std::string ProgressOf(const host::line::Line& line);

// "0:03:12".
std::string ClockText(std::chrono::seconds elapsed);

// Of the stage that it is in, 0 to 100.
int PercentOf(const host::line::Slot& slot);

// The chip's address, or "" when none is known: the one that it got, else that of its factory.
std::string AddressOf(const host::line::ChipRun& run);

// How the slot's last chip went, in one line.
std::string VerdictLine(const host::line::Slot& slot);

// "left: chip 7 waits: …"
std::string PostponedLine(const host::line::Slot& slot);

// What the user can do now.
std::string WhatToDo(const host::line::Line& line);

}  // namespace flash::app
