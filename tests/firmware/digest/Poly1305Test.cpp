// Poly1305 against the vectors of RFC 8439 (2.5.2 and A.3), and against a second computation.
#include "firmware/digest/poly1305.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace flash {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes FromText(const std::string& text) { return {text.begin(), text.end()}; }

Bytes Tag(const Bytes& key, Bytes message) {
    message.reserve(1);  // an address, also for no bytes
    Poly1305 poly;
    Poly1305Begin(&poly, key.data());
    Poly1305Absorb(&poly, message.data(), static_cast<std::uint32_t>(message.size()));
    Bytes tag(kPoly1305TagBytes);
    Poly1305End(&poly, tag.data());
    return tag;
}

Bytes SecondTag(const Bytes& key, const Bytes& message) {
    Bytes tag(crypto_onetimeauth_BYTES);
    crypto_onetimeauth(tag.data(), message.data(), message.size(), key.data());
    return tag;
}

const std::string kNull = "00000000000000000000000000000000";
const std::string kOnes = "ffffffffffffffffffffffffffffffff";
const std::string kOne = "01000000000000000000000000000000";
const std::string kTwo = "02000000000000000000000000000000";
const std::string kCarries = "01000000000000000400000000000000";
const std::string kCarriesFirst =
    "e33594d7505e43b90000000000000000"
    "3394d7505e4379cd0100000000000000";
const char kSubmission[] =
    "Any submission to the IETF intended by the Contributor for publication as all or part of an IETF Internet-Draft "
    "or "
    "RFC and any statement made within the context of an IETF activity is considered an \"IETF Contribution\". Such "
    "statements include oral statements in IETF sessions, as well as written and electronic communications made at any "
    "time or place, which are addressed to";
const char kJabberwocky[] =
    "'Twas brillig, and the slithy toves\nDid gyre and gimble in the wabe:\nAll mimsy were the borogoves,\n"
    "And the mome raths outgrabe.";

TEST(Poly1305, GivesThePublishedTags) {
    struct Case {
        const char* name;
        std::string key;
        Bytes message;
        std::string tag;
    };
    const Case cases[] = {
        {"2.5.2", "85d6be7857556d337f4452fe42d506a80103808afb0db2fd4abff6af4149f51b",
         FromText("Cryptographic Forum Research Group"), "a8061dc1305136c6c22b8baf0c0127a9"},
        {"A.3 1: all zero", kNull + kNull, Bytes(64), kNull},
        {"A.3 2: no multiplier", kNull + "36e5f6b5c5e06070f0efca96227a863e", FromText(kSubmission),
         "36e5f6b5c5e06070f0efca96227a863e"},
        {"A.3 3: no pad", "36e5f6b5c5e06070f0efca96227a863e" + kNull, FromText(kSubmission),
         "f3477e7cd95417af89a6b8794c310cf0"},
        {"A.3 4", "1c9240a5eb55d38af333888604f6b5f0473917c1402b80099dca5cbc207075c0", FromText(kJabberwocky),
         "4541669a7eaaee61e708dc7cbcc5eb62"},
        {"A.3 5: the sum is above the modulus", kTwo + kNull, FromHex(kOnes), "03000000000000000000000000000000"},
        {"A.3 6: the pad overflows", kTwo + kOnes, FromHex(kTwo), "03000000000000000000000000000000"},
        {"A.3 7", kOne + kNull,
         FromHex(kOnes + "f0ffffffffffffffffffffffffffffff" + "11000000000000000000000000000000"),
         "05000000000000000000000000000000"},
        {"A.3 8: the sum is the modulus", kOne + kNull,
         FromHex(kOnes + "fbfefefefefefefefefefefefefefefe" + "01010101010101010101010101010101"), kNull},
        {"A.3 9: one below", kTwo + kNull, FromHex("fdffffffffffffffffffffffffffffff"),
         "faffffffffffffffffffffffffffffff"},
        {"A.3 10", kCarries + kNull, FromHex(kCarriesFirst + kNull + kOne), "14000000000000005500000000000000"},
        {"A.3 11", kCarries + kNull, FromHex(kCarriesFirst + kNull), "13000000000000000000000000000000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Tag(FromHex(c.key), c.message), FromHex(c.tag));
    }
}

TEST(Poly1305, AgreesWithASecondComputationAtEveryLength) {
    std::mt19937 random(1);
    const auto draw = [&] { return static_cast<std::uint8_t>(random()); };
    for (std::size_t length = 0; length < 300; ++length) {
        Bytes key(kPoly1305KeyBytes);
        Bytes message(length);
        std::generate(key.begin(), key.end(), draw);
        std::generate(message.begin(), message.end(), draw);

        EXPECT_EQ(Tag(key, message), SecondTag(key, message)) << length << " bytes";
    }
}

// Bits all set carry furthest.
TEST(Poly1305, AgreesWithASecondComputationOnLongRunsOfOnes) {
    for (const std::size_t length : {16u, 8192u, 8191u}) {
        EXPECT_EQ(Tag(Bytes(32, 0xFF), Bytes(length, 0xFF)), SecondTag(Bytes(32, 0xFF), Bytes(length, 0xFF)));
    }
}

TEST(Poly1305, APieceAtATimeIsTheSameAsAllAtOnce) {
    const Bytes key = FromHex("1c9240a5eb55d38af333888604f6b5f0473917c1402b80099dca5cbc207075c0");
    const Bytes message = FromText(kSubmission);
    Poly1305 poly;
    Poly1305Begin(&poly, key.data());
    Poly1305Absorb(&poly, message.data(), 16);
    Poly1305Absorb(&poly, message.data() + 16, 0);
    Poly1305Absorb(&poly, message.data() + 16, static_cast<std::uint32_t>(message.size()) - 16);
    Bytes tag(kPoly1305TagBytes);

    Poly1305End(&poly, tag.data());

    EXPECT_EQ(tag, SecondTag(key, message));
}

}  // namespace
}  // namespace flash
