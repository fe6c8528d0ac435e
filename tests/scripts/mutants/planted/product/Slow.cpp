// What only the slow tests watch.
#include "product/Planted.h"

namespace planted {

int Slowly(int value) { return value ^ 5; }

}  // namespace planted
