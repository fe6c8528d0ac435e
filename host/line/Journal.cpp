#include "host/line/Journal.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <system_error>

#include "host/Failure.h"
#include "host/line/JournalEntry.h"
#include "host/line/Sha256.h"

namespace flash::host::line {
namespace {

[[noreturn]] void Refuse(const std::string& attempt, const std::filesystem::path& file, int error) {
    throw Failure(FailureKind::Operation, fmt::format("Cannot {} the journal {}: {}", attempt, file.string(),
                                                      std::generic_category().message(error)));
}

// Closed, and with that unlocked, at the end.
class OpenFile {
public:
    OpenFile(const std::filesystem::path& path, int flags) : file(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        if (file < 0) {
            Refuse("open", path, errno);
        }
    }
    ~OpenFile() { close(file); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int Number() const { return file; }

private:
    int file;
};

off_t SizeOf(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 ? status.st_size : 0;
}

bool EndsInMiddleOfLine(int file, off_t size) {
    char last = '\n';
    return size > 0 && pread(file, &last, 1, size - 1) == 1 && last != '\n';
}

// 0, or what went wrong.
int WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return 0;
}

void FlushFolder(const std::filesystem::path& folder) {
    const OpenFile opened(folder, O_RDONLY | O_DIRECTORY);
    fsync(opened.Number());
}

std::filesystem::path Beside(const std::filesystem::path& file, const char* ending) { return file.string() + ending; }

std::string NameIn(const std::string& key) {
    const std::string last = key.substr(key.find_last_of('/') + 1);
    std::string name;
    for (const char character : last.substr(0, last.find('?'))) {
        const bool isPlain = (std::isalnum(static_cast<unsigned char>(character)) != 0) || character == '.';
        name += isPlain ? character : '-';
    }
    return name;
}

}  // namespace

Journal::Journal(std::filesystem::path journalFile) : file(std::move(journalFile)) {
    std::error_code error;
    if (std::filesystem::exists(file, error)) {
        return;
    }
    const std::filesystem::path folder = file.parent_path();
    std::filesystem::create_directories(folder, error);
    if (error) {
        Refuse("make the folder of", file, error.value());
    }
    { const OpenFile made(file, O_RDWR | O_CREAT | O_APPEND); }
    FlushFolder(folder);
}

void Journal::Append(const JournalEntry& entry) { Write(PrintEntry(entry), true); }
void Journal::AppendSoon(const JournalEntry& entry) { Write(PrintEntry(entry), false); }

// Power may have ended in the middle of a line. Its rest gets a line of its own, and no more is lost.
void Journal::Write(const std::string& line, bool isWaiting) const {
    const OpenFile opened(file, O_RDWR | O_CREAT | O_APPEND);
    if (flock(opened.Number(), LOCK_EX) != 0) {
        Refuse("lock", file, errno);
    }
    const off_t size = SizeOf(opened.Number());
    const std::string text = (EndsInMiddleOfLine(opened.Number(), size) ? "\n" : "") + line + "\n";
    int error = WriteAll(opened.Number(), text);
    if (error == 0 && isWaiting && fsync(opened.Number()) != 0) {
        error = errno;
    }
    if (error != 0) {
        const bool isAsBefore = ftruncate(opened.Number(), size) == 0;
        Refuse(isAsBefore ? "write" : "write, or mend,", file, error);
    }
}

JournalContent Journal::Read(std::uint64_t from) const {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        Refuse("read", file, errno);
    }
    stream.seekg(static_cast<std::streamoff>(from));
    JournalContent content{.end = from};
    std::string line;
    while (std::getline(stream, line)) {
        // The last line may be one that another process is writing now.
        const bool isWhole = !stream.eof();
        const std::optional<JournalEntry> entry = ParseEntry(line);
        if (entry && isWhole) {
            content.entries.push_back(*entry);
        } else if (!line.empty()) {
            content.damages.push_back(fmt::format("{}, byte {}: the line is {}, and left out", file.string(),
                                                  content.end, isWhole ? "damaged" : "cut short"));
        }
        content.end += isWhole ? line.size() + 1 : 0;
    }
    return content;
}

std::uint64_t Journal::Uploaded() const {
    std::ifstream stream(Beside(file, ".uploaded"));
    std::uint64_t end = 0;
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(file, error);
    return stream >> end && !error && end <= size ? end : 0;
}

// A number that was cut short is too low, or none. Where two processes write, the one that knows less may win.
void Journal::SetUploaded(std::uint64_t end) const {
    std::ofstream(Beside(file, ".uploaded"), std::ios::trunc) << end << '\n';
}

std::filesystem::path JournalFileFor(const Database& database, const std::filesystem::path& folder) {
    constexpr std::size_t kDigits = 8;  // two databases of one name are rare, and of one sum rarer
    return folder / fmt::format("{}-{}.journal", NameIn(database.Key()), Sha256(database.Key()).substr(0, kDigits));
}

// ---- The chip's lock: one byte of a file, at the chip's own place

namespace {

struct flock ByteOf(const std::string& chip, short type) {
    constexpr std::size_t kDigits = 15;  // a positive offset
    struct flock byte {};
    byte.l_type = type;
    byte.l_whence = SEEK_SET;
    const std::string digits = Sha256(chip).substr(0, kDigits);
    std::from_chars(digits.data(), digits.data() + digits.size(), byte.l_start, 16);
    byte.l_len = 1;
    return byte;
}

}  // namespace

ChipLock::ChipLock(const Journal& journal, const std::string& chip)
    : file(open(Beside(journal.File(), ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    if (file < 0) {
        Refuse("lock a chip beside", journal.File(), errno);
    }
    struct flock byte = ByteOf(chip, F_WRLCK);
    if (fcntl(file, F_OFD_SETLK, &byte) != 0) {
        close(file);
        throw Failure(FailureKind::Operation,
                      fmt::format("The chip {} is in work in another slot of this station: are there two chips of one "
                                  "identity? Put both aside",
                                  chip));
    }
}

ChipLock::~ChipLock() { close(file); }

}  // namespace flash::host::line
