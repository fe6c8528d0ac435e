// What all hosts of tests have in common: a call of a reserved slot ends the program.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "flashdevice/interface/IFlashHost.h"

namespace flash::test {

class StrictHost : public IFlashHost {
public:
    void Reserved5() final { Abort(5); }
    void Reserved7() final { Abort(7); }
    void Reserved8() final { Abort(8); }
    void Reserved9() final { Abort(9); }
    void Reserved12() final { Abort(12); }
    void Reserved15() final { Abort(15); }
    void Reserved16() final { Abort(16); }
    void Reserved17() final { Abort(17); }
    void Reserved18() final { Abort(18); }
    void Reserved23() final { Abort(23); }
    void Reserved24() final { Abort(24); }
    void Reserved25() final { Abort(25); }
    void Reserved26() final { Abort(26); }

private:
    [[noreturn]] static void Abort(int slot) {
        std::fprintf(stderr, "the plug-in called the reserved host slot %d\n", slot);
        std::abort();
    }
};

}  // namespace flash::test
