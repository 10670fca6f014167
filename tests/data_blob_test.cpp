// Byte-vector items: the exact bytes of every item and writer, round trips of
// sequences through both readers, and the bounds-checked readers on every
// truncated prefix (exactly sized heap copies, so AddressSanitizer sees any
// read past the end).
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <variant>

#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using Item = std::variant<int16, int32, uint32, bool, XTString>;

const std::pair<Item, ByteVector> kItems[] = {
    {int16(0x1234), {0x34, 0x12}},
    {int16(INT16_MIN), {0x00, 0x80}},
    {int32(0x12345678), {0x78, 0x56, 0x34, 0x12}},
    {int32(-2), {0xFE, 0xFF, 0xFF, 0xFF}},
    {uint32(0x81020304), {0x04, 0x03, 0x02, 0x81}},
    {true, {0x01}},
    {false, {0x00}},
    {XTString(), {0, 0, 0, 0}},
    {XTString(L"a\0b", 3), {3, 0, 0, 0, 0x61, 0, 0, 0, 0, 0, 0, 0, 0x62, 0, 0, 0}},
    {XTString(L"\u00E9\U0010FFFF"), {2, 0, 0, 0, 0xE9, 0, 0, 0, 0xFF, 0xFF, 0x10, 0}},
};

std::unique_ptr<unsigned char[]> ExactCopy(const ByteVector& bytes, std::size_t size) {
    auto copy = std::make_unique<unsigned char[]>(size);
    std::copy_n(bytes.begin(), size, copy.get());
    return copy;
}

// Writers at a position: inside, straddling the end and past it (the gap is
// zero-filled). Readers: any non-zero byte reads as true; the string readers
// assign or append; a declared count is checked against the bytes present
// before anything is allocated, in 64-bit arithmetic (0x40000000 units must
// not wrap to 0), and the target is left as it was.
TEST(DataBlobItemTest, WritersAtPositionsAndReaderDetails) {
    ByteVector out(3, 0x11);
    EXPECT_EQ(DataBlobUtil::ToByteVectorAt(out, 1, int16(-2)), 3u);
    EXPECT_EQ(DataBlobUtil::ToByteVectorAt(out, 2, uint32(0xA0B0C0D0)), 6u);
    EXPECT_EQ(DataBlobUtil::ToByteVectorAt(out, 8, true), 9u);
    EXPECT_EQ(out, ByteVector({0x11, 0xFE, 0xD0, 0xC0, 0xB0, 0xA0, 0, 0, 1}));
    EXPECT_EQ(DataBlobUtil::ToByteVectorAt(out, 5, int32(-2)), 9u);
    EXPECT_EQ(DataBlobUtil::ToBuffer(out.data(), false), out.data() + 1);
    EXPECT_EQ(out, ByteVector({0x00, 0xFE, 0xD0, 0xC0, 0xB0, 0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_DEATH(DataBlobUtil::ToByteVectorAt(out, SIZE_MAX - 1, int32(1)), "Assertion failed");
    const unsigned char byte = 0x80;
    bool checked = false;
    DataBlobUtil::FromByteVector(&byte, &byte + 1, checked);
    EXPECT_TRUE(checked);
    const ByteVector bytes = {2, 0, 0, 0, 'x', 0, 0, 0, 'y', 0, 0, 0};
    XTString assigned = L"ab", appended = L"ab", checkedAppended = L"ab";
    DataBlobUtil::FromByteVector(bytes.data(), assigned);
    DataBlobUtil::FromByteVector(bytes.data(), appended, false);
    DataBlobUtil::FromByteVector(bytes.data(), bytes.data() + bytes.size(), checkedAppended, false);
    EXPECT_EQ(assigned + L"|" + appended + L"|" + checkedAppended, L"xy|abxy|abxy");
    for (const ByteVector& huge :
         {ByteVector{0xFF, 0xFF, 0xFF, 0xFF, 1}, ByteVector{0, 0, 0, 0x40}}) {
        const auto exact = ExactCopy(huge, huge.size());
        EXPECT_THROW(DataBlobUtil::FromByteVector(exact.get(), exact.get() + huge.size(),
                                                  checkedAppended, false),
                     ErrorMessage);
        EXPECT_EQ(checkedAppended, L"abxy");
    }
}

Item RandomItem(std::mt19937& random) {
    const auto bits = static_cast<uint32>(random());
    const Item kinds[] = {int16(bits), int32(bits), bits, bits % 2 == 0,
                          XTString(bits % 6, wchar_t(bits >> 11))};
    return kinds[random() % 5];
}

// A value of the item's type that differs from it.
Item Sentinel(Item item) {
    std::visit(
        [](auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, XTString>)
                v += L"#";
            else
                v = static_cast<T>(v ^ 1);
        },
        item);
    return item;
}

// Reads into `value`, of its own type, with the checked reader (or with the
// trusting one when `end` is null).
void Read(const unsigned char*& p, const unsigned char* end, Item& value) {
    std::visit(
        [&](auto& v) {
            p = end ? DataBlobUtil::FromByteVector(p, end, v) : DataBlobUtil::FromByteVector(p, v);
        },
        value);
}

// The arguments of 46302 for `item` cut with `remaining` bytes left.
std::vector<XTString> TruncationArguments(const Item& item, std::size_t remaining) {
    const wchar_t* kNames[] = {L"16-bit integer", L"32-bit integer", L"32-bit unsigned integer",
                               L"boolean", L"string length"};
    const std::size_t kSizes[] = {2, 4, 4, 1, 4};
    if (item.index() == 4 && remaining >= 4)
        return {L"string characters", std::to_wstring(std::get<XTString>(item).size() * 4),
                std::to_wstring(remaining - 4)};
    return {kNames[item.index()], std::to_wstring(kSizes[item.index()]),
            std::to_wstring(remaining)};
}

// The table's items (written with their exact bytes), then random sequences,
// round trip through both readers.
// On every prefix the checked readers read the complete items, then throw
// 46302 on the cut one and leave its target as it was.
TEST(DataBlobSequenceTest, RoundTripAndEveryTruncatedPrefix) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 150; ++round) {
        std::vector<Item> items;
        ByteVector bytes, expected;  // the table's items have known bytes
        for (const auto& [item, itemBytes] : kItems) {
            if (round != 0) break;
            items.push_back(item);
            expected.insert(expected.end(), itemBytes.begin(), itemBytes.end());
        }
        for (std::size_t n = 1 + random() % 6; n > 0; --n) items.push_back(RandomItem(random));
        std::vector<std::size_t> offsets = {0};
        for (const Item& item : items) {
            std::visit([&](const auto& value) { DataBlobUtil::ToByteVector(bytes, value); }, item);
            offsets.push_back(bytes.size());
        }
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin()));
        for (std::size_t length = 0; length <= bytes.size(); ++length) {
            const auto exact = ExactCopy(bytes, length);
            const unsigned char *p = exact.get(), *trusted = p;
            for (std::size_t i = 0; i < items.size(); ++i) {
                const Item sentinel = Sentinel(items[i]);
                Item value = sentinel, trustedValue = sentinel;
                try {
                    Read(p, exact.get() + length, value);
                    if (length == bytes.size()) Read(trusted, nullptr, trustedValue);
                    ASSERT_TRUE(offsets[i + 1] <= length) << "no error at a prefix of " << length;
                    ASSERT_EQ(value, items[i]);
                    ASSERT_TRUE(length < bytes.size() || trustedValue == items[i]);
                } catch (const ErrorMessage& error) {
                    ASSERT_EQ(error.GetCode(), kMsgTruncatedByteVector);
                    ASSERT_EQ(error.GetArguments(),
                              TruncationArguments(items[i], length - offsets[i]));
                    ASSERT_EQ(value, sentinel);
                    break;
                }
            }
        }
    }
}

}  // namespace
