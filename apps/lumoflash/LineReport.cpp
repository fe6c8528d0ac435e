// From the database to the file.
#include "apps/lumoflash/LineReport.h"

#include <fmt/format.h>

#include <span>

#include "host/Words.h"
#include "host/files/FileContent.h"
#include "host/line/RecordStore.h"
#include "host/line/Report.h"

namespace flash::app {

Outcome WriteLineReport(const LineOptions& options) {
    const auto database = host::line::OpenDatabase(options.database);
    host::line::Report report;
    host::line::RecordStore(*database).ForEach([&](const host::line::Record& record) { report.Add(record); });
    const std::string page = PrintReport(
        report,
        {database->Name(), host::line::UtcText(std::chrono::system_clock::now()), host::line::Pool(*database).Count()});
    host::SaveFile(options.out, std::span(reinterpret_cast<const std::uint8_t*>(page.data()), page.size()));
    return {0,
            fmt::format("{} of {} good; the report is in {}", report.Runs().good,
                        host::Counted(report.Runs().Total(), "run"), options.out.string()),
            0,
            {}};
}

}  // namespace flash::app
