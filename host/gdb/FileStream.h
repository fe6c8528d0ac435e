// Two file descriptors as a stream: standard input and output, when a debugger starts the server behind a pipe.
#pragma once

#include "host/gdb/ByteStream.h"

namespace flash::host::gdb {

class FileStream final : public ByteStream {
public:
    // Leaves both open.
    FileStream(int inputFile, int outputFile) : input(inputFile), output(outputFile) {}

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override;
    void Write(std::string_view bytes) override;

private:
    int input;
    int output;
};

}  // namespace flash::host::gdb
