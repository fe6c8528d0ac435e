// Every promise of the mailbox as a check of its own.
#pragma once

#include <vector>

#include "apps/check_flashloader/Bench.h"

namespace flash::flashloader_check {

struct Check {
    const char* name;
    const char* demand;
    void (*run)(const Image& image);
};

// In the order in which they run.
std::vector<Check> AllChecks();

std::vector<Check> MailboxChecks();
std::vector<Check> CommandChecks();
std::vector<Check> MishapChecks();

// Flash with an old program in its first sectors.
Bytes OldFlash(const Image& image);
std::uint32_t SectorBytesOf(const Image& image);

}  // namespace flash::flashloader_check
