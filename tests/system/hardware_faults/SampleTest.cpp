// What the short form leaves out, and that it never leaves out all.
#include "tests/system/hardware_faults/Sample.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/system/hardware_faults/Job.h"

namespace flash::test {
namespace {

std::vector<std::size_t> Chosen(std::size_t count, std::size_t stride, std::size_t jobNumber) {
    const Sample sample(count, stride, jobNumber);
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < count; ++i) {
        if (sample.Has(i)) {
            chosen.push_back(i);
        }
    }
    return chosen;
}

TEST(SampleOfCutsOrLies, IsOneInSoManyAndAnotherOneForEachJob) {
    const struct {
        const char* name;
        std::size_t count, stride, jobNumber;
        std::vector<std::size_t> expected;
    } cases[] = {
        {"the first job begins with the first", 10, 4, 0, {0, 4, 8}},
        {"the last job of a round", 10, 4, 3, {3, 7}},
        {"the next round", 10, 4, 4, {0, 4, 8}},
        {"fewer than the stride: one", 3, 23, 0, {0}},
        {"fewer than the stride, another one", 3, 23, 5, {2}},
        {"only one", 1, 23, 94, {0}},
        {"none at all", 0, 23, 7, {}},
        {"all", 3, 1, 17, {0, 1, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Chosen(c.count, c.stride, c.jobNumber), c.expected);
    }
}

TEST(JobNumbers, AreTheirPlacesInTheCatalogue) {
    for (const std::vector<Job>* jobs : {&SmallJobs(), &AllJobs()}) {
        for (std::size_t i = 0; i < jobs->size(); ++i) {
            EXPECT_EQ((*jobs)[i].number, i) << (*jobs)[i].name;
        }
    }
}

}  // namespace
}  // namespace flash::test
