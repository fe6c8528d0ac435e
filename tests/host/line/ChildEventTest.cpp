// What a line understands of what its programs say.
#include "host/line/ChildEvent.h"

#include <gtest/gtest.h>

namespace flash::host::line {
namespace {

TEST(ReadChildEvent, KnowsStagesAddressesAndResults) {
    EXPECT_EQ(
        ReadChildEvent(
            R"({"event":"phase","phase":"program","state":"progress","doneBytes":5,"totalBytes":9,"seconds":0.1})"),
        ChildEvent(StageEvent{"program", 5, 9}));
    EXPECT_EQ(ReadChildEvent(R"({"event":"address","kind":"primary IEEE","address":"02:00:00:00:00:00:00:01"})"),
              ChildEvent(AddressEvent{"primary IEEE", "02:00:00:00:00:00:00:01"}));
    EXPECT_EQ(ReadChildEvent(R"({"event":"result","ok":true,"exitCode":0,"text":"done","bytes":1,"seconds":0.1})"),
              ChildEvent(ResultEvent{true, 0, "done", false}));
    EXPECT_EQ(ReadChildEvent(R"({"event":"result","ok":false,"exitCode":4,"text":"no","awaitsDatabase":true})"),
              ChildEvent(ResultEvent{false, 4, "no", false, true}));
    EXPECT_EQ(ReadChildEvent(R"({"event":"result","ok":false,"exitCode":1,"text":"no","stopsSlot":true})"),
              ChildEvent(ResultEvent{false, 1, "no", true}));
}

TEST(ReadChildEvent, LeavesOutWhatIsNone) {
    for (const char* text :
         {"", "error: text", "{", "[]", "7", R"({"event":7})", R"({"event":"start","command":"program"})",
          R"({"event":"result"})", R"({"event":"result","ok":"yes","exitCode":0,"text":""})",
          R"({"event":"phase","phase":"program","doneBytes":"many","totalBytes":1})", "{\"event\":\"\xff\"}"}) {
        EXPECT_EQ(ReadChildEvent(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace flash::host::line
