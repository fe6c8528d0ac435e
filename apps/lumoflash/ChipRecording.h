// One chip that gets addresses from a pool, or a record, or both: what `program` does besides programming.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/View.h"
#include "host/line/Assignment.h"

namespace flash::app {

// What the pool wants to know of the chip before it is worked on.
host::line::ChipFacts FactsOf(host::Connection& connection);

class ChipRecording {
public:
    // Opens the database and the journal, and sends what the journal has; a chip that is to get addresses needs both.
    // Options and view must outlive it.
    ChipRecording(const Options& commandOptions, View& commandView);

    void NoteFile(const std::string& name, std::span<const std::uint8_t> content);

    // Before the load is planned: takes the addresses, and makes them changes of the load.
    void Begin(host::Connection& connection, host::ClosingChanges& closing);

    // After the load: what the chip holds now. Throws Failure (Difference) when its addresses are not those it was
    // given.
    void ReadBack(host::Connection& connection);

    // The record of how it ended, and the confirmation of the addresses. The chip is kept by now.
    Outcome End(Outcome outcome);

private:
    void CatchUp();

    const Options& options;
    View& view;
    std::unique_ptr<host::line::Database> database;
    host::line::Journal journal;
    host::line::Assignment assignment;
    host::line::Addresses given, carried;
    host::line::Record record;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

}  // namespace flash::app
