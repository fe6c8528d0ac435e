#include "tests/system/hardware_faults/Job.h"

#include <algorithm>

#include "tests/support/EraseSettings.h"
#include "tests/support/LongForm.h"

namespace flash::test {
namespace {

constexpr char kAllSectors[] = "All Unprotected Sectors (Bank Erase)";

using Settings = std::map<std::string, std::string>;
using Sectors = std::vector<std::uint32_t>;

void Put(Bytes& flash, std::uint32_t address, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), flash.begin() + address);
}

// A few words in each sector, because each word is one more operation to fail at.
Bytes OldFlash(std::uint32_t size) {
    const std::uint32_t end = kJobSectors * size;
    Bytes flash(end, 0xFF);
    Put(flash, 0x10, Pattern(12, 1));
    Put(flash, size + 0x20, Pattern(8, 2));
    Put(flash, 2 * size - 16, Pattern(16, 3));
    Put(flash, 2 * size, Pattern(12, 4));
    Put(flash, 2 * size + 0x400, Pattern(8, 5));
    Put(flash, kLastSector * size + 0x40, Pattern(8, 6));
    Put(flash, end - kCcfgSizeWordFromEnd, {0xFF, 0xFF, kCcfgSize, 0x00});
    Put(flash, end - kIeeeSecondaryFromEnd, Pattern(8, 7));
    Put(flash, end - kBleSecondaryFromEnd, Pattern(6, 8));
    Put(flash, end - kDisableBootloaderFromEnd, {0xC5});
    Put(flash, end - kDisableCpuDapFromEnd, {0xC5});
    return flash;
}

void AddSectors(const Job& job, std::vector<ByteRange>& ranges, const Sectors& sectors) {
    for (const std::uint32_t sector : sectors) {
        ranges.push_back(job.Sector(sector));
    }
}

class Catalogue {
public:
    explicit Catalogue(const ChipModel& chipModel, const chip::ControllerKind& chipController = {})
        : model(chipModel), controller(chipController) {}

    std::vector<Job> Small() {
        AddLoads();
        AddKeptCcfg();
        AddCcfgChanges();
        AddLoadedCcfg();
        AddOperations();
        return jobs;
    }
    std::vector<Job> Full() {
        const std::vector<Segment> segments = {{size - 0x101, Pattern(size, 20)}};
        AddLoad("FullLoad", {{"FlashEraseSetting", kNecessary}}, segments, {0, 1});
        if (&model == &kLumoD && !IsWrittenOnce()) {
            AddLoad("FullLoadRetain", {{"FlashEraseSetting", kRetain}}, segments, {0, 1}).hostKeeps = {0, 1};
            AddLoad("FullLoadBank", {{"FlashEraseSetting", kAllSectors}}, segments, {0, 1, 2, 3});
        }
        std::ranges::for_each(jobs, [](Job& job) { job.isFull = true; });
        return jobs;
    }

private:
    bool IsWrittenOnce() const { return controller.isWrittenOnce; }
    std::string Suffix() const { return IsWrittenOnce() ? "OnDoubleWords" : &model == &kLumoF ? "OnLumoF" : "OnLumoD"; }
    Job& Add(const std::string& name, const Settings& settings, const Sectors& mayTouch) {
        Job job;
        job.name = name + Suffix();
        job.model = &model;
        job.controller = controller;
        job.settings = settings;
        job.initialFlash = OldFlash(size);
        AddSectors(job, job.mayTouch, mayTouch);
        return jobs.emplace_back(std::move(job));
    }
    Job& AddLoad(const std::string& name, const Settings& settings, const std::vector<Segment>& segments,
                 const Sectors& mayTouch) {
        Job& job = Add(name, settings, mayTouch);
        job.segments = segments;
        for (const Segment& segment : segments) {
            job.asked.push_back({segment.address, static_cast<std::uint32_t>(segment.data.size())});
        }
        return job;
    }
    // The job just added once more, with the check on the target.
    void AddChecked() {
        Job checked = jobs.back();
        checked.name.insert(checked.name.size() - Suffix().size(), "Checked");
        checked.settings["CrcVerify"] = "1";
        jobs.push_back(std::move(checked));
    }

    // The end of sector 1 and the start of sector 2.
    std::vector<Segment> AcrossSectors() const { return {{2 * size - 10, Pattern(23, 20)}}; }

    void AddLoads() {
        AddLoad("Load", {{"FlashEraseSetting", kNecessary}}, AcrossSectors(), {1, 2});
        AddChecked();
        AddLoad("LoadRetain", {{"FlashEraseSetting", kRetain}}, AcrossSectors(), {1, 2}).hostKeeps = {1, 2};
        AddChecked();
        AddLoad("LoadBank", {{"FlashEraseSetting", kAllSectors}}, AcrossSectors(), {0, 1, 2, 3});
        AddChecked();
        AddLoad("LoadSpecific", {{"FlashEraseSetting", kSpecific}, {"ProgramLoadEraseSpecificText", "1-2"}},
                AcrossSectors(), {1, 2});
        AddChecked();
        AddInPlace("LoadWithoutErase", kNoErase, {size + 0x101, Pattern(10, 21)});
        Bytes fewerBits = Pattern(12, 4);  // what lies at the start of sector 2
        std::ranges::for_each(fewerBits, [](std::uint8_t& byte) { byte &= 0x5B; });
        AddInPlace("LoadRetainInPlace", kRetain, {2 * size, fewerBits});
        AddTheSameDataAgain();
    }
    void AddInPlace(const std::string& name, const char* setting, const Segment& segment) {
        Job& job = AddLoad(name, {{"FlashEraseSetting", setting}}, {segment}, {});
        job.mayTouch = job.asked;
        if (IsWrittenOnce()) {  // what is there, or was torn, is programmed anew with all of its sector
            const std::uint32_t sector = segment.address / size;
            job.mayTouch = {job.Sector(sector)};
            job.hostKeeps = {sector};
        }
        AddChecked();
    }
    // Only what lies behind the data is to go: a sector that looks right before it is erased.
    void AddTheSameDataAgain() {
        AddLoad("LoadWhatIsThere", {{"FlashEraseSetting", kNecessary}}, {{2 * size, Pattern(12, 4)}}, {2});
        AddChecked();
    }

    // The last sector to its end, as a host must do it.
    std::vector<Segment> LastSector() const {
        Bytes data(size, 0xFF);
        Put(data, 0x40, Pattern(12, 22));
        Put(data, 0x60, Pattern(4, 23));
        return {{kLastSector * size, data}};
    }
    void AddKeptCcfg() {
        const struct {
            const char* name;
            const char* setting;
            Sectors mayTouch;
        } cases[] = {
            {"LoadKeepingCcfg", kNecessary, {3}},
            {"LoadRetainKeepingCcfg", kRetain, {3}},
            {"LoadBankKeepingCcfg", kAllSectors, {0, 1, 2, 3}},
            {"LoadSpecificKeepingCcfg", kSpecific, {3}},
        };
        for (const auto& c : cases) {
            Job& job = AddLoad(
                c.name,
                {{"KeepCcfgSetting", "1"}, {"FlashEraseSetting", c.setting}, {"ProgramLoadEraseSpecificText", "3"}},
                LastSector(), c.mayTouch);
            job.withoutCrc = {{job.FlashBytes() - kCcfgSize, kCcfgSize}};
            job.hostKeeps = {kLastSector};
            AddChecked();
        }
    }

    // A load, and what its closing phase does to the last sector.
    Job& AddCcfgChange(const std::string& name, Settings settings, const char* eraseSetting = kNecessary) {
        settings["FlashEraseSetting"] = eraseSetting;
        const bool isBank = eraseSetting == kAllSectors;
        Job& job = AddLoad(name, settings, AcrossSectors(), isBank ? Sectors{0, 1, 2, 3} : Sectors{1, 2, 3});
        job.asked.push_back(job.Sector(kLastSector));
        job.hostKeeps = {kLastSector};
        return job;
    }
    void AddCcfgChanges() {
        const Settings addresses = {{"DeviceIeeeSecondary", "1:2:3:4:5:6:7:8"}, {"DeviceBleSecondary", "A:B:C:D:E:F"}};
        const auto with = [&](Settings settings) {
            settings.insert(addresses.begin(), addresses.end());
            return settings;
        };
        const auto protect = [](const char* pages, Settings settings = {}) {
            settings["WriteProtectionToggle"] = "1";
            settings["WriteProtectionText"] = pages;
            return settings;
        };
        AddCcfgChange("ProtectSome", protect("0,2"));
        AddChecked();
        AddCcfgChange("ProtectAll", protect("0-3"));
        AddChecked();
        AddCcfgChange("DisableBootloader", {{"DisableBootloader", "1"}});
        AddChecked();
        AddCcfgChange("CloseDebugPort", {{"DisableCpuDap", "1"}});
        AddChecked();
        AddCcfgChange("OverrideAddresses",
                      with({{"OverrideIeeeSecondaryAddr", "1"}, {"OverrideBleSecondaryAddr", "1"}}));
        AddChecked();
        AddCcfgChange("RetainAddresses", {{"RetainIeeeSecondaryAddr", "1"}, {"RetainBleSecondaryAddr", "1"}},
                      kAllSectors);
        AddChecked();
        AddCcfgChange(
            "ChangeAllOfCcfg",
            with(protect("0-2",
                         {{"OverrideBleSecondaryAddr", "1"}, {"DisableBootloader", "1"}, {"DisableCpuDap", "1"}})));
        AddChecked();
        AddOverProtection();
    }
    // Sector 0 is protected until the bank erase takes CCFG.
    void AddOverProtection() {
        Job& job = AddCcfgChange("LoadBankBesideProtection", {{"DisableBootloader", "1"}}, kAllSectors);
        Put(job.initialFlash, job.FlashBytes() - kProtectionFromEnd, {0xFE});
        job.mayTouch.erase(job.mayTouch.begin());
        AddChecked();
    }

    // CCFG as part of the program, with locks in it.
    void AddLoadedCcfg() {
        for (const bool protectsAll : {false, true}) {
            std::vector<Segment> segments = LastSector();
            Bytes ccfg(kCcfgSize, 0xFF);
            Put(ccfg, kCcfgSize - kCcfgSizeWordFromEnd, {0xFF, 0xFF, kCcfgSize, 0x00});
            Put(ccfg, kCcfgSize - kIeeeSecondaryFromEnd, Pattern(8, 24));
            Put(ccfg, kCcfgSize - kDisableCpuDapFromEnd - 3, {0x12, 0x34, 0x56, std::uint8_t(protectsAll ? 0xC5 : 0)});
            Put(ccfg, kCcfgSize - kProtectionFromEnd, {std::uint8_t(protectsAll ? 0xF0 : 0xF8)});
            Put(ccfg, kCcfgSize - 8, Pattern(8, 25));
            std::ranges::copy(ccfg, segments[0].data.end() - kCcfgSize);
            AddLoad(protectsAll ? "LoadCcfgThatProtectsAll" : "LoadCcfgThatClosesThePort",
                    {{"FlashEraseSetting", kNecessary}}, segments, {kLastSector});
            AddChecked();
        }
    }

    void AddOperations() {
        AddOperation("Erase", {}, {0, 1, 2, 3});
        AddOperation("EraseSectors", {{"StandaloneEraseSpecificText", "1-2"}}, {1, 2});
        Job& keeping = AddOperation("Erase", {{"KeepCcfgSetting", "1"}}, {0, 1, 2, 3});
        keeping.name.insert(5, "KeepingCcfg");
        keeping.hostKeeps = {kLastSector};
        AddOperation("WriteSecBle", {{"DeviceBleSecondary", "A:B:C:D:E:F"}}, {kLastSector}).hostKeeps = {kLastSector};
        AddOperation("WriteSecIeee", {{"DeviceIeeeSecondary", "1:2:3:4:5:6:7:8"}}, {kLastSector}).hostKeeps = {
            kLastSector};
    }
    Job& AddOperation(const std::string& operation, const Settings& settings, const Sectors& sectors) {
        Job& job = Add(operation, settings, sectors);
        job.operation = operation;
        job.asked = job.mayTouch;
        return job;
    }

    const ChipModel& model;
    const chip::ControllerKind controller;
    const std::uint32_t size = model.reference.sectorSize;
    std::vector<Job> jobs;
};

void Append(std::vector<Job>& jobs, const std::vector<Job>& more) {
    for (const Job& job : more) {
        jobs.push_back(job);
        jobs.back().number = jobs.size() - 1;
    }
}

// In the short form: with a controller of another kind, the flashloader differs in few places.
std::vector<Job> OneInThree(const std::vector<Job>& jobs) {
    std::vector<Job> some;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (IsLongForm() || i % 3 == 0) {
            some.push_back(jobs[i]);
        }
    }
    return some;
}

std::vector<Job> SmallJobsOfBoth() {
    std::vector<Job> jobs;
    Append(jobs, Catalogue(kLumoD).Small());
    Append(jobs, Catalogue(kLumoF).Small());
    Append(jobs, OneInThree(Catalogue(kLumoD, kDoubleWords).Small()));
    return jobs;
}

std::vector<Job> AllJobsOfBoth() {
    std::vector<Job> jobs = SmallJobs();
    Append(jobs, Catalogue(kLumoD).Full());
    Append(jobs, Catalogue(kLumoF).Full());
    Append(jobs, Catalogue(kLumoD, kDoubleWords).Full());
    return jobs;
}

}  // namespace

void PrintTo(const Job& job, std::ostream* out) { *out << job.name; }

const std::vector<Job>& SmallJobs() {
    static const std::vector<Job> jobs = SmallJobsOfBoth();
    return jobs;
}

const std::vector<Job>& AllJobs() {
    static const std::vector<Job> jobs = AllJobsOfBoth();
    return jobs;
}

Bytes WithRanges(Bytes flash, const Bytes& other, const std::vector<ByteRange>& ranges) {
    for (const ByteRange& range : ranges) {
        std::copy_n(other.begin() + range.start, range.length, flash.begin() + range.start);
    }
    return flash;
}

}  // namespace flash::test
