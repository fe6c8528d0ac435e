// What cannot be taken back needs the user's word: given beforehand, or asked for.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "apps/lumoflash/View.h"

namespace flash::app {

// Throws Failure (BadInput, or Interrupted) when the user does not agree; with no dangers nobody is asked.
void RequireAgreement(const std::vector<std::string>& dangers, bool isAgreed, View& view,
                      const std::atomic<bool>& isInterrupted);

}  // namespace flash::app
