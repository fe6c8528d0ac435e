// Writes the manual's pages into a folder. Run when the product is built.
//
// Usage: lumoflash-manual FOLDER DATE
#include <cstdio>

#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/ManPages.h"
#include "apps/lumoflash/Version.h"

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "Usage: lumoflash-manual FOLDER DATE\n");
        return 2;
    }
    return flash::app::WriteManual(arguments[1], flash::app::ManPages(flash::app::DescribeCommandLine(),
                                                                      flash::app::VersionNumber(), arguments[2]));
}
