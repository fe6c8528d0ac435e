// Read in pieces, because a pipe does not tell its length.
#include "host/files/StandardInput.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace flash::host {
namespace {

constexpr std::size_t kPieceBytes = 65536;

// 0 at the end.
std::size_t ReadPiece(std::array<std::uint8_t, kPieceBytes>& piece) {
    while (true) {
        const ssize_t count = read(STDIN_FILENO, piece.data(), piece.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throw ErrorAt({std::string(kStandardInputName), ""},
                          fmt::format("it cannot be read: {}", std::generic_category().message(errno)));
        }
    }
}

}  // namespace

std::vector<std::uint8_t> LoadStandardInput(std::size_t mostBytes) {
    const Origin origin{std::string(kStandardInputName), ""};
    std::vector<std::uint8_t> content;
    std::array<std::uint8_t, kPieceBytes> piece{};
    while (const std::size_t count = ReadPiece(piece)) {
        content.insert(content.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        if (content.size() > mostBytes) {
            throw ErrorAt(origin, fmt::format("it has more than the {} bytes that are allowed", mostBytes));
        }
    }
    if (content.empty()) {
        throw ErrorAt(origin, "it is empty");
    }
    return content;
}

}  // namespace flash::host
