#include <gtest/gtest.h>

#include <lo/lo.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "control/OSCMessage.h"

using namespace ostinel;
using namespace std::string_view_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;
using Arg = OSCMessage::Arg;

Bytes bytes(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

// liblo's own serialisation of the same message, built argument by argument.
Bytes libloBytes(const OSCMessage& m) {
    lo_message lo = lo_message_new();
    for (const Arg& arg : m.args) {
        if (auto* i = std::get_if<std::int64_t>(&arg))
            lo_message_add_int32(lo, static_cast<std::int32_t>(*i));
        else if (auto* f = std::get_if<double>(&arg))
            lo_message_add_float(lo, static_cast<float>(*f));
        else
            lo_message_add_string(lo, std::get<std::string>(arg).c_str());
    }
    std::size_t size = 0;
    void* data = lo_message_serialise(lo, m.address.c_str(), nullptr, &size);
    Bytes out(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    std::free(data);
    lo_message_free(lo);
    return out;
}

template <typename T> T read(const char* raw) {
    T value;
    std::memcpy(&value, raw, sizeof value);
    return value;
}

// What liblo reads from our bytes, rebuilt as our record.
std::optional<OSCMessage> libloRead(Bytes data) {
    int result = 0;
    lo_message lo = lo_message_deserialise(data.data(), data.size(), &result);
    if (!lo) return std::nullopt;
    OSCMessage m{lo_get_path(data.data(), static_cast<ssize_t>(data.size())), {}};
    const std::string types = lo_message_get_types(lo);
    lo_arg** argv = lo_message_get_argv(lo);
    for (std::size_t k = 0; k < types.size(); ++k) {
        // liblo's arguments sit on 4-byte boundaries, short of its union's alignment.
        const auto* raw = reinterpret_cast<const char*>(argv[k]);
        if (types[k] == 'i')
            m.args.emplace_back(std::int64_t{read<std::int32_t>(raw)});
        else if (types[k] == 'f')
            m.args.emplace_back(double{read<float>(raw)});
        else if (types[k] == 's')
            m.args.emplace_back(std::string(raw));
    }
    lo_message_free(lo);
    return m;
}

std::vector<OSCMessage> agreedCases() {
    std::vector<OSCMessage> cases = {
        {"/ostinel/go", {}},
        {"/ostinel/track/go", {std::int64_t{3}}},
        {"/i", {std::int64_t{0}, std::int64_t{-1}, std::int64_t{INT32_MAX}, std::int64_t{INT32_MIN}}},
        {"/f", {0.0, -2.5, double{0.1f}, double{1e30f}}},
        {"/mixed", {std::int64_t{7}, std::string("cue"), 0.25, std::string(), std::int64_t{-9}}},
        {"/utf8", {std::string("Überfahrt ♪")}},
    };
    // Every padding remainder, for the address and for a string argument.
    for (std::size_t n = 0; n < 8; ++n) {
        cases.push_back({"/" + std::string(n, 'a'), {}});
        cases.push_back({"/s", {std::string(n, 'x'), static_cast<std::int64_t>(n)}});
    }
    return cases;
}

} // namespace

TEST(OSCMessageTest, AgreesWithLibloBothWays) {
    for (const OSCMessage& m : agreedCases()) {
        SCOPED_TRACE(m.address);
        const Bytes theirs = libloBytes(m);
        EXPECT_EQ(m.encoded(), theirs);
        EXPECT_EQ(OSCMessage::decode(theirs), m);
        EXPECT_EQ(libloRead(m.encoded()), m);
    }
}

TEST(OSCMessageTest, NarrowsWideValuesAsTheWireDemands) {
    const OSCMessage wide{
        "/w", {std::int64_t{0x1'0000'0005}, std::int64_t{-(1LL << 40) - 3}, std::int64_t{0x8000'0000}, 0.1}};
    const OSCMessage narrow{"/w", {std::int64_t{5}, std::int64_t{-3}, std::int64_t{INT32_MIN}, double{0.1f}}};
    EXPECT_EQ(wide.encoded(), libloBytes(narrow));
    EXPECT_EQ(OSCMessage::decode(wide.encoded()), narrow);
    EXPECT_NE(double{0.1f}, 0.1);
}

TEST(OSCMessageTest, AcceptsLaxForms) {
    // No tag string at all, or one without the comma: an address alone.
    EXPECT_EQ(OSCMessage::decode(bytes("/ostinel/go\0"sv)), (OSCMessage{"/ostinel/go", {}}));
    EXPECT_EQ(OSCMessage::decode(bytes("/go\0i\0\0\0\0\0\0\1"sv)), (OSCMessage{"/go", {}}));
    EXPECT_EQ(OSCMessage::decode(bytes("/go\0,i\0\0\xFF\xFF\xFF\xFF"sv)),
              (OSCMessage{"/go", {std::int64_t{-1}}}));
    // Unknown tags take no data; the next known tag reads on from there.
    EXPECT_EQ(OSCMessage::decode(bytes("/t\0\0,TiFNs\0\0\0\0\0\x2Aok\0\0"sv)),
              (OSCMessage{"/t", {std::int64_t{42}, std::string("ok")}}));
}

TEST(OSCMessageTest, InvalidUtf8ReadsAsEmptyAndParsingGoesOn) {
    for (std::string_view bad :
         {"\xFF\xFE"sv, "\xC0\xAF"sv, "\xED\xA0\x80"sv, "\xF4\x90\x80\x80"sv, "a\xC3"sv}) {
        Bytes data = bytes("/u\0\0,si\0"sv);
        const Bytes text = OSCMessage::writeString(bad);
        data.insert(data.end(), text.begin(), text.end());
        data.insert(data.end(), {0, 0, 0, 8});
        EXPECT_EQ(OSCMessage::decode(data), (OSCMessage{"/u", {std::string(), std::int64_t{8}}}));
    }
    EXPECT_EQ(OSCMessage::decode(bytes("\xE9t\xE9\0,\0\0\0"sv)), (OSCMessage{"", {}}));
    EXPECT_EQ(OSCMessage::decode(bytes("/\xC3\xA9\0,s\0\0\xF0\x9D\x84\x9E\0\0\0\0"sv)),
              (OSCMessage{"/é", {std::string("𝄞")}}));
}

TEST(OSCMessageTest, RejectsTruncatedDataAsAWhole) {
    for (std::string_view data :
         {""sv, "/go"sv, "/abcd\0\0"sv, "/ostinel/track/go\0\0\0,i\0\0"sv, "/t\0\0,ii\0\0\0\0\1"sv,
          "/t\0\0,f\0\0\0\0\0"sv, "/t\0\0,s\0\0abc"sv, "/t\0\0,s\0\0abcd\0"sv}) {
        SCOPED_TRACE(testing::PrintToString(std::string(data)));
        EXPECT_EQ(OSCMessage::decode(bytes(data)), std::nullopt);
    }
}

TEST(OSCMessageTest, ReadStringAdvancesPastPaddingOnly) {
    const Bytes data = bytes("abcd\0\0\0\0abc\0x"sv);
    std::size_t offset = 0;
    EXPECT_EQ(OSCMessage::readString(data, offset), "abcd");
    EXPECT_EQ(offset, 8u);
    EXPECT_EQ(OSCMessage::readString(data, offset), "abc");
    EXPECT_EQ(offset, 12u);
    EXPECT_EQ(OSCMessage::readString(data, offset), std::nullopt);
    EXPECT_EQ(offset, 12u);
    offset = 20;
    EXPECT_EQ(OSCMessage::readString(data, offset), std::nullopt);
}
