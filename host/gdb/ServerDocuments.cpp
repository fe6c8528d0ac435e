// As GDB reads them, which is stricter than their definitions: a map with overlapping regions, or flash without the
// size of its blocks, makes it write flash as if it were RAM.
#include "host/gdb/ServerDocuments.h"

#include <fmt/format.h>

namespace flash::host::gdb {

std::string MemoryMapDocument(const std::vector<MemoryRegion>& regions) {
    std::string text =
        "<?xml version=\"1.0\"?>\n"
        "<!DOCTYPE memory-map PUBLIC \"+//IDN gnu.org//DTD GDB Memory Map V1.0//EN\" "
        "\"http://sourceware.org/gdb/gdb-memory-map.dtd\">\n<memory-map>\n";
    for (const MemoryRegion& region : regions) {
        const bool isFlash = region.kind == MemoryRegion::Kind::Flash;
        const char* const type = isFlash ? "flash" : region.kind == MemoryRegion::Kind::Ram ? "ram" : "rom";
        const std::string place = fmt::format("  <memory type=\"{}\" start=\"0x{:x}\" length=\"0x{:x}\"", type,
                                              region.address, region.lengthBytes);
        text += isFlash ? fmt::format("{}>\n    <property name=\"blocksize\">0x{:x}</property>\n  </memory>\n", place,
                                      region.blockBytes)
                        : place + "/>\n";
    }
    return text + "</memory-map>\n";
}

std::string TargetDocument(const std::vector<std::string>& systemRegisters) {
    std::string text =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE target SYSTEM \"gdb-target.dtd\">\n<target version=\"1.0\">\n"
        "  <architecture>arm</architecture>\n  <feature name=\"org.gnu.gdb.arm.m-profile\">\n";
    for (int number = 0; number < 13; ++number) {
        text += fmt::format("    <reg name=\"r{}\" bitsize=\"32\" regnum=\"{}\"/>\n", number, number);
    }
    text +=
        "    <reg name=\"sp\" bitsize=\"32\" regnum=\"13\" type=\"data_ptr\"/>\n"
        "    <reg name=\"lr\" bitsize=\"32\" regnum=\"14\"/>\n"
        "    <reg name=\"pc\" bitsize=\"32\" regnum=\"15\" type=\"code_ptr\"/>\n"
        "    <reg name=\"xpsr\" bitsize=\"32\" regnum=\"25\"/>\n  </feature>\n";
    if (!systemRegisters.empty()) {
        text += "  <feature name=\"org.gnu.gdb.arm.m-system\">\n";
        for (const std::string& name : systemRegisters) {  // numbered on from xpsr
            text += fmt::format("    <reg name=\"{}\" bitsize=\"32\"/>\n", name);
        }
        text += "  </feature>\n";
    }
    return text + "</target>\n";
}

}  // namespace flash::host::gdb
