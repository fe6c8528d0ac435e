// Writes the manual's pages into a folder. Run when the product is built.
//
// Usage: lumoflash-manual FOLDER DATE
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/ManPages.h"
#include "apps/lumoflash/Version.h"

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "Usage: lumoflash-manual FOLDER DATE\n");
        return 2;
    }
    const std::filesystem::path folder = arguments[1];
    std::filesystem::create_directories(folder);
    for (const auto& [name, page] :
         flash::app::ManPages(flash::app::DescribeCommandLine(), flash::app::VersionNumber(), arguments[2])) {
        std::ofstream file(folder / name, std::ios::binary);
        file << page;
        if (!file.flush()) {
            std::fprintf(stderr, "Cannot write %s\n", (folder / name).c_str());
            return 1;
        }
    }
    return 0;
}
