// The worked example of docs/flashloader-guide.md, executed as it stands there.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "firmware/mailbox.h"
#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

// The lines between "```mailbox" and "```": a label, two or more spaces, bytes in hexadecimal, perhaps a remark.
std::map<std::string, Bytes> ReadExample() {
    std::ifstream guide(FLASHLOADER_GUIDE);
    std::map<std::string, Bytes> example;
    std::string line;
    while (std::getline(guide, line) && line != "```mailbox") {
    }
    while (std::getline(guide, line) && line != "```") {
        const std::size_t labelEnd = line.find("  ");
        std::istringstream digits(line.substr(labelEnd, line.find(';') - labelEnd));
        Bytes& bytes = example[line.substr(0, labelEnd)];
        for (std::string digitPair; digits >> digitPair;) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digitPair, nullptr, 16)));
        }
    }
    return example;
}

TEST(FlashloaderGuide, WorkedExampleIsTrue) {
    std::map<std::string, Bytes> example = ReadExample();
    ASSERT_EQ(example.size(), 5u);
    ASSERT_EQ(example["posted to g_cfg"].size(), 20u);
    Flashloader loader;
    loader.SetFlash(0x1000, example["before 00001000"]);
    std::copy(example["g_buf1"].begin(), example["g_buf1"].end(), loader.buffers[0].begin());
    auto* const block = reinterpret_cast<volatile std::uint8_t*>(&g_cfg[0]);
    std::copy(example["posted to g_cfg"].begin(), example["posted to g_cfg"].end(), block);
    g_currBuf = 0;
    g_fault = 0;

    EXPECT_TRUE(MailboxPoll(&loader.state));

    EXPECT_EQ(Bytes(block, block + 20), example["answer in g_cfg"]);
    EXPECT_EQ(loader.FlashAt(0x1000, 16), example["after 00001000"]);
    EXPECT_EQ(loader.fake.erases[1], 1);
    EXPECT_EQ(loader.fake.words, 3);
}

}  // namespace
}  // namespace flash
