// What happened to one chip: written once, never changed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/line/Pool.h"

namespace flash::host::line {

struct RecordedFile {
    std::string name;
    std::string sha256;
    bool operator==(const RecordedFile&) const = default;
};

struct Record {
    std::string run{};          // of the program that worked on the chip; no two records have the same
    std::string chip{};         // its identity; empty when it could not be read
    std::string ieee{}, ble{};  // the secondary addresses that it carried in the end; empty for none
    std::vector<RecordedFile> files{};
    std::string flashSha256{};  // of all of flash as it was read back; empty when it was not
    std::string ccfg{};         // hexadecimal digits
    std::string part{}, revision{};
    std::string station{}, slot{}, operatorName{};
    std::string version{}, plugin{};  // of lumoflash; the plug-in's SHA-256
    std::string start{};              // as UtcText
    double seconds = 0;               // by the clock on the wall
    bool isGood = false;
    std::string cause{};  // of what went wrong; empty when nothing did
    bool operator==(const Record&) const = default;
};

// One line of JSON, and back. Reading throws Failure for what is none of ours.
std::string RecordJson(const Record& record);
Record ParseRecordJson(const std::string& line);

// A line of CSV, with its line end; files are "NAME=SHA256", with a space between.
std::string RecordCsvHeader();
std::string RecordCsv(const Record& record);

// 16 hexadecimal digits that no other run has.
std::string DrawRunName();

}  // namespace flash::host::line
