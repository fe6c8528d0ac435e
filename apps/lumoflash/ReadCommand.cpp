#include "apps/lumoflash/ReadCommand.h"

#include <cstdio>

#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace flash::app {

Outcome ReadFlash(const Options& options, host::Session& session) {
    const auto range = options.range.value_or(std::pair{std::uint32_t{0}, session.Info().geometry.SizeBytes()});
    const std::vector<std::uint8_t> bytes = session.Read(range.first, range.second);
    host::ProgramImage image;
    image.Add(range.first, bytes, {"flash", ""});
    const std::vector<std::uint8_t> content = host::PrintProgram(image, options.outFormat);
    if (options.outFile == "-") {
        std::fwrite(content.data(), 1, content.size(), stdout);
    } else {
        host::SaveFile(options.outFile, content);
    }
    return {0, "read", bytes.size(), {}};
}

}  // namespace flash::app
