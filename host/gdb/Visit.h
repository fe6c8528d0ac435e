// One client's stay at the server.
#pragma once

#include <deque>
#include <map>

#include "host/gdb/Server.h"

namespace flash::host::gdb {

inline constexpr std::uint32_t kFrameBytes = 4;  // of a packet, around what it says

class Server::Visit final : private Attention {
public:
    Visit(Server& visitedServer, ByteStream& stream);

    void Stay();

private:
    // The answer to each kind of packet; null for none.
    using Reply = std::optional<std::string>;
    Reply Answer(const request::QuerySupported& query);
    Reply Answer(const request::StartNoAckMode&);
    Reply Answer(const request::EnableExtendedMode&);
    Reply Answer(const request::AskWhyStopped&);
    Reply Answer(const request::AskCurrentThread&) { return "QC1"; }
    Reply Answer(const request::AskThreads& threads) { return threads.isFirst ? "m1" : "l"; }
    Reply Answer(const request::AskWhetherAttached&) { return "1"; }
    Reply Answer(const request::SelectThread&) { return "OK"; }
    Reply Answer(const request::AskThreadAlive&) { return "OK"; }
    Reply Answer(const request::AskResumeActions&) { return "vCont;c;C;s;S"; }
    Reply Answer(const request::ReadRegisters&);
    Reply Answer(const request::WriteRegisters& write);
    Reply Answer(const request::ReadRegister& read);
    Reply Answer(const request::WriteRegister& write);
    Reply Answer(const request::ReadMemory& read);
    Reply Answer(const request::WriteMemory& write);
    Reply Answer(const request::Checksum& checksum);
    Reply Answer(const request::ReadObject& read);
    Reply Answer(const request::Resume& resume);
    Reply Answer(const request::Stop&) { return "OK"; }  // the target stands whenever packets are read
    Reply Answer(const request::ChangeBreakpoint& change);
    Reply Answer(const request::EraseFlash& erase);
    Reply Answer(const request::WriteFlash& write);
    Reply Answer(const request::FinishFlash&);
    Reply Answer(const request::Monitor& monitor);
    Reply Answer(const request::Run&);
    Reply Answer(const request::Restart&);
    Reply Answer(const request::Kill& kill);
    Reply Answer(const request::Detach&);
    Reply Answer(const request::Unknown&) { return ""; }
    Reply Answer(const request::Malformed& malformed);

    void BeIdle();
    void Take(const Frame& frame);
    bool HearsInterrupt();
    Reply AnswerOrError(const Request& request);
    Reply Failure(const std::string& words);
    std::uint32_t RegisterCount();
    std::optional<std::uint32_t> IndexOf(std::uint32_t number);
    std::string StopReply(const CoreStop& stop);
    CoreStop RunToStop();
    void GiveLoadUp();
    FlashLoad& Load();
    Reply Collect(const std::function<void()>& work);
    std::string Program(const FlashLoad& finished);
    const std::vector<MemoryRegion>& Map();
    std::uint32_t FlashBytes();
    void RequireNoFlash(std::uint32_t address, std::uint64_t lengthBytes);
    void RemoveBreakpoints();
    void SendOutput(const std::string& text);
    void Look() override;

    Server& server;
    ServedChip& chip;
    Clock& clock;
    Channel channel;
    const std::chrono::nanoseconds arrival;
    std::deque<Frame> waiting;  // came while something else was done
    bool isOver = false;
    bool isGreeted = false;  // it speaks the protocol
    bool understandsErrorTexts = false;
    bool understandsHardwareStops = false;
    bool understandsSoftwareStops = false;
    std::optional<FlashLoad> load;  // collected, not programmed yet
    std::string whyIncomplete;      // what a load that is finished lacks, in words; "" for nothing
    std::optional<std::vector<MemoryRegion>> map;
    std::map<std::uint32_t, request::BreakpointKind> breakpoints;  // that this client has set
    std::optional<CoreStop> lastStop;
    std::chrono::nanoseconds lastSign{0};
};

}  // namespace flash::host::gdb
