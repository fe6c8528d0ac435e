// Texts with fields in them.
#include "host/Field.h"

#include <gtest/gtest.h>

#include "host/Failure.h"

namespace flash::host {
namespace {

TEST(FieldText, HasTheHostsOwnNamesUnlessOthersAreGiven) {
    const FieldText text = FieldText("does ") + Field::Device + " fit " + std::string("the chip?");

    EXPECT_EQ(text.Plain(), "does \"device\" fit the chip?");
    EXPECT_EQ(text.With([](Field field) { return field == Field::Device ? "--part" : ""; }),
              "does --part fit the chip?");
}

TEST(Failure, SaysItsTextAndKeepsTheFields) {
    const Failure failure(FailureKind::Unreachable, "give it with " + FieldText(Field::Plugin));

    EXPECT_EQ(failure.Kind(), FailureKind::Unreachable);
    EXPECT_STREQ(failure.what(), "give it with \"plug-in\"");
    EXPECT_EQ(failure.Text().With([](Field) { return "words"; }), "give it with words");
}

}  // namespace
}  // namespace flash::host
