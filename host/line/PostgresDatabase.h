// PostgreSQL, for many stations.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "host/line/Database.h"

namespace flash::host::line {

// How long one statement may take before the connection counts as lost.
inline constexpr std::chrono::milliseconds kAnswerTime{10'000};

std::unique_ptr<Database> OpenPostgres(const std::string& url, std::chrono::milliseconds answerTime = kAnswerTime);

// The URL without its password.
std::string WithoutPassword(std::string url);

}  // namespace flash::host::line
