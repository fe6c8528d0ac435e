// The text of the Failure that some work throws, so that a test can look at kind and words at once.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/Failure.h"

namespace flash::host {

// "" when nothing was thrown. No failure quotes a plug-in that has said nothing.
template <typename Work>
std::string FailureOf(FailureKind kind, Work work) {
    try {
        work();
    } catch (const Failure& failure) {
        std::string text = failure.what();
        EXPECT_EQ(failure.Kind(), kind) << text;
        EXPECT_EQ((text + "\n").find("said: \n"), std::string::npos) << text;
        return text;
    }
    ADD_FAILURE() << "nothing was thrown";
    return "";
}

}  // namespace flash::host
