// Byte-vector items: exact bytes, round trips, writers at positions and the
// bounds-checked readers on every truncated prefix.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using Item = std::variant<int16, int32, uint32, bool, XTString>;

// An exactly sized heap copy, so that AddressSanitizer catches any read past
// its end (a vector may have spare capacity behind its last byte).
struct ExactBuffer {
    explicit ExactBuffer(const unsigned char* bytes, std::size_t size)
        : data(new unsigned char[size]), end(data.get() + size) {
        if (size != 0) std::memcpy(data.get(), bytes, size);
    }
    std::unique_ptr<unsigned char[]> data;
    const unsigned char* end;
    const unsigned char* begin() const { return data.get(); }
};

std::string Describe(const Item& item) {
    return std::visit(
        [](const auto& value) -> std::string {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, XTString>) {
                std::string out = "string of " + std::to_string(value.size()) + " units:";
                for (wchar_t unit : value)
                    out += " " + std::to_string(unit);
                return out;
            } else {
                return std::to_string(value);
            }
        },
        item);
}

// Checks one item against its exact encoding: appending writer, trusting
// reader, checked reader on an exact buffer, and for fixed-size items the
// buffer writer.
template <class T>
void ExpectItemEncoding(const T& value, const ByteVector& expected) {
    SCOPED_TRACE(Describe(Item(value)));
    ByteVector out{0xAB};  // earlier content must stay in front
    DataBlobUtil::ToByteVector(out, value);
    ByteVector withPrefix{0xAB};
    withPrefix.insert(withPrefix.end(), expected.begin(), expected.end());
    ASSERT_EQ(out, withPrefix);

    T trusted{};
    EXPECT_EQ(DataBlobUtil::FromByteVector(out.data() + 1, trusted), out.data() + out.size());
    EXPECT_EQ(trusted, value);

    ExactBuffer exact(expected.data(), expected.size());
    T checked{};
    EXPECT_EQ(DataBlobUtil::FromByteVector(exact.begin(), exact.end, checked), exact.end);
    EXPECT_EQ(checked, value);

    if constexpr (!std::is_same_v<T, XTString>) {
        unsigned char buffer[8];
        std::memset(buffer, 0xEE, sizeof buffer);
        EXPECT_EQ(DataBlobUtil::ToBuffer(buffer + 1, value), buffer + 1 + expected.size());
        EXPECT_EQ(ByteVector(buffer + 1, buffer + 1 + expected.size()), expected);
        EXPECT_EQ(buffer[0], 0xEE);
        EXPECT_EQ(buffer[1 + expected.size()], 0xEE);
    }
}

TEST(DataBlobItemTest, Int16Encoding) {
    ExpectItemEncoding<int16>(0, {0x00, 0x00});
    ExpectItemEncoding<int16>(1, {0x01, 0x00});
    ExpectItemEncoding<int16>(-1, {0xFF, 0xFF});
    ExpectItemEncoding<int16>(0x1234, {0x34, 0x12});
    ExpectItemEncoding<int16>(INT16_MIN, {0x00, 0x80});
    ExpectItemEncoding<int16>(INT16_MAX, {0xFF, 0x7F});
}

TEST(DataBlobItemTest, Int32Encoding) {
    ExpectItemEncoding<int32>(0, {0x00, 0x00, 0x00, 0x00});
    ExpectItemEncoding<int32>(-1, {0xFF, 0xFF, 0xFF, 0xFF});
    ExpectItemEncoding<int32>(0x12345678, {0x78, 0x56, 0x34, 0x12});
    ExpectItemEncoding<int32>(-2, {0xFE, 0xFF, 0xFF, 0xFF});
    ExpectItemEncoding<int32>(INT32_MIN, {0x00, 0x00, 0x00, 0x80});
    ExpectItemEncoding<int32>(INT32_MAX, {0xFF, 0xFF, 0xFF, 0x7F});
}

TEST(DataBlobItemTest, UInt32Encoding) {
    ExpectItemEncoding<uint32>(0, {0x00, 0x00, 0x00, 0x00});
    ExpectItemEncoding<uint32>(0x01020304, {0x04, 0x03, 0x02, 0x01});
    ExpectItemEncoding<uint32>(0x80000000u, {0x00, 0x00, 0x00, 0x80});
    ExpectItemEncoding<uint32>(UINT32_MAX, {0xFF, 0xFF, 0xFF, 0xFF});
}

TEST(DataBlobItemTest, BoolEncodingAndAnyNonZeroByteReadsTrue) {
    ExpectItemEncoding(true, {0x01});
    ExpectItemEncoding(false, {0x00});
    for (const unsigned char byte : {0x01, 0x02, 0x07, 0x80, 0xFF}) {
        ExactBuffer exact(&byte, 1);
        bool trusted = false;
        bool checked = false;
        DataBlobUtil::FromByteVector(exact.begin(), trusted);
        EXPECT_EQ(DataBlobUtil::FromByteVector(exact.begin(), exact.end, checked), exact.end);
        EXPECT_TRUE(trusted) << int(byte);
        EXPECT_TRUE(checked) << int(byte);
    }
}

TEST(DataBlobItemTest, StringEncoding) {
    ExpectItemEncoding(XTString(), {0x00, 0x00, 0x00, 0x00});
    ExpectItemEncoding(XTString(L"A"), {0x01, 0x00, 0x00, 0x00, 0x41, 0x00, 0x00, 0x00});
    ExpectItemEncoding(XTString(L"\u00E9"), {0x01, 0, 0, 0, 0xE9, 0x00, 0x00, 0x00});
    ExpectItemEncoding(XTString(L"\u4E2D"), {0x01, 0, 0, 0, 0x2D, 0x4E, 0x00, 0x00});
    ExpectItemEncoding(XTString(L"\U0001F600"), {0x01, 0, 0, 0, 0x00, 0xF6, 0x01, 0x00});
    ExpectItemEncoding(XTString(L"a\0b", 3),
                       {0x03, 0, 0, 0, 0x61, 0, 0, 0, 0x00, 0, 0, 0, 0x62, 0, 0, 0});
    ExpectItemEncoding(XTString(L"Ab\u00C9\u4E2D\U0010FFFF"),
                       {0x05, 0, 0, 0, 0x41, 0,    0, 0, 0x62, 0,    0,    0,
                        0xC9, 0, 0, 0, 0x2D, 0x4E, 0, 0, 0xFF, 0xFF, 0x10, 0});
}

TEST(DataBlobItemTest, RawLittleEndianHelpers) {
    unsigned char bytes[8];
    DataBlobUtil::PutLittleEndianUInt64(bytes, 0x0102030405060708ull);
    EXPECT_EQ(ByteVector(bytes, bytes + 8), (ByteVector{8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(DataBlobUtil::GetLittleEndianUInt64(bytes), 0x0102030405060708ull);
    DataBlobUtil::PutLittleEndianFloat32(bytes, 1.0f);
    EXPECT_EQ(ByteVector(bytes, bytes + 4), (ByteVector{0x00, 0x00, 0x80, 0x3F}));
    EXPECT_EQ(DataBlobUtil::GetLittleEndianFloat32(bytes), 1.0f);
    DataBlobUtil::PutLittleEndianFloat64(bytes, -2.5);
    EXPECT_EQ(ByteVector(bytes, bytes + 8), (ByteVector{0, 0, 0, 0, 0, 0, 0x04, 0xC0}));
    EXPECT_EQ(DataBlobUtil::GetLittleEndianFloat64(bytes), -2.5);
}

TEST(DataBlobItemTest, StringReaderFlagAssignsOrAppends) {
    ByteVector bytes;
    DataBlobUtil::ToByteVector(bytes, XTString(L"xyz"));
    ExactBuffer exact(bytes.data(), bytes.size());
    for (const bool checked : {false, true}) {
        XTString assigned = L"ab";
        XTString appended = L"ab";
        XTString defaulted = L"ab";
        if (checked) {
            DataBlobUtil::FromByteVector(exact.begin(), exact.end, assigned, true);
            DataBlobUtil::FromByteVector(exact.begin(), exact.end, appended, false);
            DataBlobUtil::FromByteVector(exact.begin(), exact.end, defaulted);
        } else {
            DataBlobUtil::FromByteVector(exact.begin(), assigned, true);
            DataBlobUtil::FromByteVector(exact.begin(), appended, false);
            DataBlobUtil::FromByteVector(exact.begin(), defaulted);
        }
        EXPECT_EQ(assigned, L"xyz") << checked;
        EXPECT_EQ(appended, L"abxyz") << checked;
        EXPECT_EQ(defaulted, L"xyz") << checked;
    }
}

// Writers at a position: inside the vector, straddling its end, at its end and
// past it (the gap is zero-filled). Each row writes the same 4 bytes of
// 0x01020304 or the shorter items.
TEST(DataBlobItemTest, WritersAtPosition) {
    struct Row {
        std::size_t position;
        Item item;
        ByteVector expected;
    };
    const std::vector<Row> rows = {
        {1, int32(0x01020304), {0x11, 0x04, 0x03, 0x02, 0x01, 0x11}},
        {0, uint32(0xA0B0C0D0), {0xD0, 0xC0, 0xB0, 0xA0, 0x11, 0x11}},
        {4, int16(-2), {0x11, 0x11, 0x11, 0x11, 0xFE, 0xFF}},
        {5, true, {0x11, 0x11, 0x11, 0x11, 0x11, 0x01}},
        {4, int32(-1), {0x11, 0x11, 0x11, 0x11, 0xFF, 0xFF, 0xFF, 0xFF}},
        {6, int16(0x0102), {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x02, 0x01}},
        {6, false, {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x00}},
        {9, uint32(7), {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0, 0, 0, 7, 0, 0, 0}},
        {8, true, {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0, 0, 1}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Describe(row.item) + " at " + std::to_string(row.position));
        ByteVector out(6, 0x11);
        const std::size_t next = std::visit(
            [&](const auto& value) -> std::size_t {
                if constexpr (std::is_same_v<std::decay_t<decltype(value)>, XTString>)
                    return 0;
                else
                    return DataBlobUtil::ToByteVectorAt(out, row.position, value);
            },
            row.item);
        EXPECT_EQ(out, row.expected);
        const std::size_t itemSize =
            std::visit([](const auto& value) { return sizeof(value); }, row.item);
        EXPECT_EQ(next, row.position + itemSize);
    }
}

TEST(DataBlobItemDeathTest, WriterAtImpossiblePositionAsserts) {
    ByteVector out(2);
    EXPECT_DEATH(DataBlobUtil::ToByteVectorAt(out, SIZE_MAX - 1, int32(1)), "Assertion failed");
}

Item RandomItem(std::mt19937& random) {
    static const wchar_t kUnits[] = {L'a', L'Z', L'\0', 0xE9, 0x4E2D, 0x1F600, 0x10FFFF, 0x7F};
    switch (random() % 5) {
        case 0:
            return static_cast<int16>(random());
        case 1:
            return static_cast<int32>(random());
        case 2:
            return static_cast<uint32>(random());
        case 3:
            return random() % 2 == 0;
        default: {
            XTString text(random() % 6, L' ');
            for (wchar_t& unit : text)
                unit = kUnits[random() % std::size(kUnits)];
            return text;
        }
    }
}

ByteVector Serialise(const std::vector<Item>& items, std::vector<std::size_t>& offsets) {
    ByteVector out;
    for (const Item& item : items) {
        offsets.push_back(out.size());
        std::visit([&](const auto& value) { DataBlobUtil::ToByteVector(out, value); }, item);
    }
    offsets.push_back(out.size());
    return out;
}

// A sentinel of the item's type, distinct from anything RandomItem produces
// for strings and unlikely for the integers (checked with the value itself).
Item Sentinel(const Item& like) {
    return std::visit(
        [](const auto& value) -> Item {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, XTString>)
                return XTString(L"unchanged");
            else if constexpr (std::is_same_v<T, bool>)
                return !value;
            else
                return static_cast<T>(~value);
        },
        like);
}

// Round trip of random sequences through both readers.
TEST(DataBlobSequenceTest, RandomSequencesRoundTrip) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 300; ++round) {
        std::vector<Item> items;
        for (std::size_t n = random() % 8 + 1; n > 0; --n)
            items.push_back(RandomItem(random));
        std::vector<std::size_t> offsets;
        const ByteVector bytes = Serialise(items, offsets);
        ExactBuffer exact(bytes.data(), bytes.size());
        const unsigned char* trusted = exact.begin();
        const unsigned char* checked = exact.begin();
        for (std::size_t i = 0; i < items.size(); ++i) {
            Item fromTrusted = Sentinel(items[i]);
            Item fromChecked = Sentinel(items[i]);
            std::visit([&](auto& value) { trusted = DataBlobUtil::FromByteVector(trusted, value); },
                       fromTrusted);
            std::visit(
                [&](auto& value) {
                    checked = DataBlobUtil::FromByteVector(checked, exact.end, value);
                },
                fromChecked);
            ASSERT_EQ(fromTrusted, items[i]) << Describe(items[i]);
            ASSERT_EQ(fromChecked, items[i]) << Describe(items[i]);
            ASSERT_EQ(trusted, exact.begin() + offsets[i + 1]);
            ASSERT_EQ(checked, exact.begin() + offsets[i + 1]);
        }
    }
}

// Every proper prefix of a serialised sequence: the checked readers read the
// complete items, then throw 46302 on the cut item, naming it with the bytes it
// needs and the bytes that remain, and leave its target unchanged.
TEST(DataBlobSequenceTest, EveryTruncatedPrefixThrowsTruncation) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        std::vector<Item> items;
        for (std::size_t n = random() % 6 + 1; n > 0; --n)
            items.push_back(RandomItem(random));
        std::vector<std::size_t> offsets;
        const ByteVector bytes = Serialise(items, offsets);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            SCOPED_TRACE("prefix of " + std::to_string(length) + " bytes");
            ExactBuffer exact(bytes.data(), length);
            const unsigned char* p = exact.begin();
            std::size_t index = 0;
            for (; offsets[index + 1] <= length; ++index) {
                Item value = Sentinel(items[index]);
                std::visit([&](auto& v) { p = DataBlobUtil::FromByteVector(p, exact.end, v); },
                           value);
                ASSERT_EQ(value, items[index]);
            }
            const Item& cut = items[index];
            const std::size_t remaining = length - offsets[index];
            // What the message names, the bytes it needs and the bytes left.
            const std::pair<const wchar_t*, std::size_t> fixedItems[] = {
                {L"16-bit integer", 2},
                {L"32-bit integer", 4},
                {L"32-bit unsigned integer", 4},
                {L"boolean", 1}};
            std::wstring expectedItem = L"string length";
            std::size_t needed = 4;
            std::size_t available = remaining;
            if (cut.index() < std::size(fixedItems)) {
                std::tie(expectedItem, needed) = fixedItems[cut.index()];
            } else if (remaining >= 4) {
                expectedItem = L"string characters";
                needed = std::get<XTString>(cut).size() * 4;
                available = remaining - 4;
            }
            const Item sentinel = Sentinel(cut);
            Item value = sentinel;
            try {
                std::visit([&](auto& v) { DataBlobUtil::FromByteVector(p, exact.end, v); }, value);
                FAIL() << "no error for cut item " << Describe(cut);
            } catch (const ErrorMessage& error) {
                EXPECT_EQ(error.GetCode(), kMsgTruncatedByteVector);
                EXPECT_EQ(error.GetArguments(),
                          (std::vector<XTString>{expectedItem, std::to_wstring(needed),
                                                 std::to_wstring(available)}));
            }
            EXPECT_EQ(value, sentinel);
        }
    }
}

TEST(DataBlobSequenceTest, AppendingStringReaderLeavesTargetOnTruncation) {
    const ByteVector bytes = {0x02, 0, 0, 0, 0x41, 0, 0, 0, 0x42, 0, 0};
    ExactBuffer exact(bytes.data(), bytes.size());
    XTString value = L"keep";
    EXPECT_THROW(DataBlobUtil::FromByteVector(exact.begin(), exact.end, value, false),
                 ErrorMessage);
    EXPECT_EQ(value, L"keep");
}

// Huge declared counts are refused from the bytes present, never allocated;
// 0x40000000 units is 4 GiB, which must not wrap to 0 in 32-bit arithmetic.
TEST(DataBlobSequenceTest, HugeStringCountThrowsWithoutAllocating) {
    struct Row {
        ByteVector bytes;
        const wchar_t* needed;
        const wchar_t* remaining;
    };
    const std::vector<Row> rows = {
        {{0xFF, 0xFF, 0xFF, 0xFF, 0x41, 0, 0, 0}, L"17179869180", L"4"},
        {{0x00, 0x00, 0x00, 0x40}, L"4294967296", L"0"},
        {{0x00, 0x00, 0x00, 0x80, 1, 2, 3}, L"8589934592", L"3"},
    };
    for (const Row& row : rows) {
        ExactBuffer exact(row.bytes.data(), row.bytes.size());
        XTString value = L"v";
        try {
            DataBlobUtil::FromByteVector(exact.begin(), exact.end, value);
            ADD_FAILURE() << "accepted a huge count";
        } catch (const ErrorMessage& error) {
            EXPECT_EQ(error.GetArguments(),
                      (std::vector<XTString>{L"string characters", row.needed, row.remaining}));
        }
        EXPECT_EQ(value, L"v");
    }
}

TEST(DataBlobSequenceTest, CheckAvailableCountsNothingBeyondTheEnd) {
    const unsigned char bytes[2] = {1, 2};
    EXPECT_NO_THROW(DataBlobUtil::CheckAvailable(bytes, bytes + 2, 2, "x"));
    EXPECT_NO_THROW(DataBlobUtil::CheckAvailable(bytes + 2, bytes + 2, 0, "x"));
    try {
        DataBlobUtil::CheckAvailable(bytes + 2, bytes + 1, 1, "thing");
        ADD_FAILURE() << "no error";
    } catch (const ErrorMessage& error) {
        EXPECT_STREQ(error.what(), "[46302] Truncated byte vector: thing needs 1 bytes, 0 remain");
    }
}

}  // namespace
