// One function for each command.
#include "apps/lumoflash/LineOptions.h"

namespace flash::app {
namespace {

void AddRun(CLI::App& line, const CommandAdder& addCommand, LineOptions& options) {
    CLI::App& run = *addCommand(line, Command::LineRun, "run", "Works on chip after chip in every slot of a job.", "");
    run.footer("Example:\n  lumoflash line run job.toml");
    run.add_option("JOB", options.job, "The job, a TOML file")->required();
    run.add_option("--operator", options.operatorName, "Who is there, for the records; instead of the job's");
    run.add_option("--station", options.station, "This machine's name in them; instead of the job's");
}

void AddReport(CLI::App& line, const CommandAdder& addCommand, LineOptions& options) {
    CLI::App& report = *addCommand(line, Command::LineReport, "report",
                                   "Shows the records of a database as a page for any browser.", "");
    report.footer("Example:\n  lumoflash line report sqlite:line.db --out report.html");
    report.add_option("DB", options.database, "sqlite:FILE or postgresql://…")->required();
    report.add_option("--out,-o", options.out, "The page, an HTML file")->required();
}

}  // namespace

void AddLine(CLI::App& app, const CommandAdder& addCommand, Options& options) {
    CLI::App* line = app.add_subcommand("line", "Programs many chips at once, as a job says.");
    line->require_subcommand(1);
    line->fallthrough();
    line->footer("Example:\n  lumoflash line run job.toml");
    AddRun(*line, addCommand, options.line);
    AddReport(*line, addCommand, options.line);
}

}  // namespace flash::app
