// Which of a job's cuts and lies the short form tries: one in so many, at least one, and other ones for each job. It
// depends on the job's own number alone, so a job does the same work alone, in another order and among all.
#pragma once

#include <algorithm>
#include <cstddef>

namespace flash::test {

class Sample {
public:
    // Of `count` things one in `stride`; all of them for a stride of one.
    Sample(std::size_t count, std::size_t stride, std::size_t jobNumber)
        : step(stride), first(count == 0 ? 0 : jobNumber % std::min(count, stride)) {}

    bool Has(std::size_t index) const { return index % step == first; }

private:
    std::size_t step;
    std::size_t first;
};

}  // namespace flash::test
