// What the plug-in is called with: each call of an operation, and the properties that stand when it comes.
#include <gtest/gtest.h>

#include <functional>

#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

using Texts = std::vector<std::string>;

// A chip with CCFG and all that lies beside it in the last sector, in which CCFG protects sector 1 from the next
// reset on.
class Calls : public testing::Test {
protected:
    Calls() {
        std::vector<std::uint8_t> ccfg = GoodCcfg();
        ccfg[0x58 - 0x20] = 0xFD;
        bench.Chip().PlaceInFlash(bench.device.FlashSizeBytes() - 0x58, ccfg);
        bench.properties["RealPlugin"] = REAL_PLUGIN_MODULE;
        session = &bench.Connect();
    }

    // The calls since the last question.
    Texts Told() {
        constexpr std::string_view kMark = "told: ";
        Texts told;
        for (const std::string& message : std::exchange(bench.observer.messages, {})) {
            if (message.starts_with(kMark)) {
                told.push_back(message.substr(kMark.size()));
            }
        }
        return told;
    }

    Texts ToldBy(const std::function<void(Session&)>& work) {
        work(*session);
        return Told();
    }

    Bench bench{"LumoD1F64", TELLING_PLUGIN_MODULE};
    Session* session = nullptr;
};

const ProgramImage& TwoSectors() {
    static const ProgramImage kImage = ImageOf({{0, Pattern(4)}, {0x2000, Pattern(4)}});
    return kImage;
}

TEST_F(Calls, OfAPlainLoadAreItsPhasesAndWholeSectors) {
    EXPECT_EQ(ToldBy([](Session& s) { Program(s, TwoSectors()); }),
              (Texts{"NotifyPhase 1; CrcVerify=1", "Write 4096 at 0; CrcVerify=1", "Write 4096 at 8192; CrcVerify=1",
                     "NotifyPhase 2; CrcVerify=1"}));
}

TEST_F(Calls, OfALoadThatIsReadBackAskWhoVerifies) {
    ProgramOptions options;
    options.verification = Verification::ReadBack;

    EXPECT_EQ(
        ToldBy([&](Session& s) { Program(s, TwoSectors(), options); }),
        (Texts{"NotifyPhase 1", "Write 4096 at 0", "Write 4096 at 8192", "HandlesVerification 0", "NotifyPhase 2"}));

    options.verification = Verification::None;
    options.write = WriteChoice::All;
    EXPECT_EQ(ToldBy([&](Session& s) { Program(s, TwoSectors(), options); }),
              (Texts{"NotifyPhase 1", "Write 4096 at 0", "Write 4096 at 8192", "NotifyPhase 2"}));
}

TEST_F(Calls, OfALoadEraseListedSectorsWithTheFirstWriteOnly) {
    ProgramOptions options;
    options.erase = EraseChoice::Listed;
    options.erasedSectors = SectorsOf({0, 2});
    const std::string list = "; ProgramLoadEraseSpecificText=0,2; CrcVerify=1";
    const std::string first = "; FlashEraseSetting=Specific Sectors" + list;
    const std::string later = "; FlashEraseSetting=Do not erase sectors (program load only)" + list;

    EXPECT_EQ(ToldBy([&](Session& s) { Program(s, TwoSectors(), options); }),
              (Texts{"NotifyPhase 1" + first, "Write 4096 at 0" + first, "Write 4096 at 8192" + later,
                     "NotifyPhase 2" + later}));
}

TEST_F(Calls, OfALoadHaveEveryOptionAndTheClosingPhaseOnlyItsOwn) {
    ProgramOptions options;
    options.keepCcfg = true;
    options.skippedSectors = SectorsOf({3});
    options.skippedFill = std::uint8_t{0x0A};
    options.closing.retainIeee = true;
    options.closing.ble = Ble("C2:00:00:00:00:01");
    options.closing.protect = SectorsOf({9});
    options.closing.disableBootloader = true;
    const std::string lists = "; FlashPages=3";
    const std::string closing =
        "; CrcVerify=1; RetainIeeeSecondaryAddr=1; OverrideBleSecondaryAddr=1; DeviceBleSecondary=C2:00:00:00:00:01; "
        "WriteProtectionToggle=1; WriteProtectionText=";
    const std::string load = "; KeepCcfgSetting=1; FlashPageToggle=1" + lists +
                             "; FlashPagesFilledWith=1; FlashPagesFilledWithValue=0x0A" + closing +
                             "9; DisableBootloader=1";

    EXPECT_EQ(
        ToldBy([&](Session& s) {
            Program(s, ImageOf({{0, Pattern(4)}}), options);
        }),
        (Texts{"NotifyPhase 1" + load, "Write 4096 at 0" + load,
               "NotifyPhase 2" + lists + "; FlashPagesFilledWithValue=0x0A" + closing + "1,9; DisableBootloader=1"}));
}

TEST_F(Calls, OfNamedOperationsHaveNoOptionButTheirOwn) {
    struct Case {
        const char* name;
        std::function<void(Session&)> work;
        Texts expected;
    };
    const Case cases[] = {
        {"erase all but CCFG", [](Session& s) { s.EraseAllButCcfg(); }, {"Execute Erase; KeepCcfgSetting=1"}},
        {"erase", [](Session& s) { s.EraseAll(); }, {"Execute Erase"}},
        {"erase sectors",
         [](Session& s) {
             s.EraseSectors(SectorsOf({2, 3, 5}));
         },
         {"Execute EraseSectors; StandaloneEraseSpecificText=2-3,5"}},
        {"addresses",
         [](Session& s) {
             for (const AddressKind kind : {AddressKind::PrimaryBle, AddressKind::SecondaryBle,
                                            AddressKind::PrimaryIeee, AddressKind::SecondaryIeee}) {
                 s.ReadAddress(kind);
             }
         },
         {"Execute ReadPriBle", "Execute ReadSecBle", "Execute ReadPriIeee", "Execute ReadSecIeee"}},
        {"new BLE address",
         [](Session& s) { s.WriteAddress(AddressKind::SecondaryBle, Ble("C2:00:00:00:00:01")); },
         {"Execute WriteSecBle; CrcVerify=1"}},
        {"new IEEE address",
         [](Session& s) { s.WriteAddress(AddressKind::SecondaryIeee, Ieee("02:00:00:00:00:00:00:03")); },
         {"Execute WriteSecIeee; CrcVerify=1"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ToldBy(c.work), c.expected);
    }
    session->EraseAll();
    Told();
    EXPECT_EQ(ToldBy([](Session& s) { s.BlankCheck(); }), Texts{"Execute BlankCheck"});
}

TEST_F(Calls, OfAChangeOfCcfgAreItsClosingPhaseCheckedByCrcWithTheProtectionThatThereIs) {
    ClosingChanges changes;
    changes.protect = SectorsOf({5});
    changes.disableBootloader = true;

    EXPECT_EQ(
        ToldBy([&](Session& s) { s.ChangeCcfg(changes); }),
        Texts{"NotifyPhase 2; CrcVerify=1; WriteProtectionToggle=1; WriteProtectionText=1,5; DisableBootloader=1"});
}

TEST_F(Calls, OfTheWayBackAreALoadOfTheLastSectorThatKeepsTheRest) {
    ClosingChanges changes;
    changes.disableBootloader = true;
    bench.Chip().Arm(chip::Fault::OperationFails, 3);  // the sector is erased, and a word of it is back
    const std::string back =
        "; FlashEraseSetting=Necessary Sectors Only (Retain untouched content within sector); CrcVerify=1";

    FailureOf(FailureKind::Operation, [&] { session->ChangeCcfg(changes); });

    EXPECT_EQ(Told(), (Texts{"NotifyPhase 2; CrcVerify=1; DisableBootloader=1", "NotifyPhase 1" + back,
                             "Write 4096 at 61440" + back, "NotifyPhase 2" + back}));
}

TEST_F(Calls, OfALoadThatFailsEndWithAPhaseThatChangesNothing) {
    ProgramOptions options;
    options.keepCcfg = true;
    options.closing.disableBootloader = true;
    const PlannedLoad load = session->Plan(ImageOf({{0, Pattern(4)}}), options);
    bench.Chip().Arm(chip::Fault::OperationFails, 1);

    FailureOf(FailureKind::Operation, [&] { session->Program(load); });

    EXPECT_EQ(Told(), (Texts{"NotifyPhase 1; KeepCcfgSetting=1; CrcVerify=1; DisableBootloader=1",
                             "Write 4096 at 0; KeepCcfgSetting=1; CrcVerify=1; DisableBootloader=1",
                             "NotifyPhase 2; CrcVerify=1"}));
}

TEST_F(Calls, FindThePropertiesAsTheyWereBeforeTheLastOperation) {
    bench.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    session = &bench.Connect();
    Told();
    ProgramOptions options;
    options.skippedSectors = SectorsOf({3});
    Program(*session, TwoSectors(), options);
    Told();

    EXPECT_EQ(ToldBy([](Session& s) { s.EraseSectors(SectorsOf({2})); }),
              Texts{"Execute EraseSectors; FlashEraseSetting=All Unprotected Sectors; StandaloneEraseSpecificText=2"});
}

}  // namespace
}  // namespace flash::host
