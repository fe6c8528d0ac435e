// Compares what is drawn with a drawing that somebody has looked at, to the last digit: where things lie in it is no
// behaviour that a rule could tell.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/files/FileContent.h"

namespace flash::host {

// What differs is put into the folder for temporary files, to be looked at, and to take the place of the other.
inline void ExpectLooksAs(const std::string& name, const std::string& drawing) {
    const std::vector<std::uint8_t> expected = LoadFile(std::filesystem::path(PICTURES_FOLDER) / name);
    const std::filesystem::path place = std::filesystem::temp_directory_path() / name;
    const bool isSame = drawing == std::string(expected.begin(), expected.end());
    if (!isSame) {
        std::ofstream(place, std::ios::binary) << drawing;
    }
    EXPECT_TRUE(isSame) << place << " is not " << name;
}

}  // namespace flash::host
