// The text of the Failure that some work throws, so that a test can look at kind and words at once.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/Failure.h"

namespace flash::host {

// "" when nothing was thrown.
template <typename Work>
std::string FailureOf(FailureKind kind, Work work) {
    try {
        work();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Kind(), kind) << failure.what();
        return failure.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "";
}

}  // namespace flash::host
