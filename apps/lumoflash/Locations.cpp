// From the program's own path.
#include "apps/lumoflash/Locations.h"

namespace flash::app {

Locations FindLocations() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path prefix = program.parent_path().parent_path();
    return {prefix / LUMOFLASH_LIBRARY_FOLDER / "libflashdevice.so", prefix / LUMOFLASH_DATA_FOLDER};
}

}  // namespace flash::app
