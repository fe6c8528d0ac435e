// NO_COLOR and TERM, as programs agree on them.
#include "apps/lumoflash/TerminalKind.h"

#include <cstdlib>
#include <string_view>

namespace flash::app {

bool MayEscape(bool isColorOff) {
    const char* noColor = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return !isColorOff && (noColor == nullptr || *noColor == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

}  // namespace flash::app
