// A job printed back: as a job file that gives the same, and as a text that tells any two apart.
#pragma once

#include <string>

#include "host/line/Job.h"

namespace flash::fuzz {

std::string PrintJob(const host::line::Job& job);

// Every member, in order. Does not compile when a member is added and not described.
std::string Describe(const host::line::Job& job);

}  // namespace flash::fuzz
