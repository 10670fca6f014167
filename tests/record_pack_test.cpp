// Packed records: the byte images of both formats, the version choice, the
// errors, round trips over generated records, the bounds-checked unpackers,
// the format-2 plan against the plain walk, and the absence of allocations.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "CountingAllocator.h"
#include "RecordWireTestSupport.h"
#include "Utility/Client/SUCAppSupportMetrics.h"

namespace {

using namespace xts::test;

AppVersionOption Versions(uint32 client, uint32 server) {
    AppVersionOption option;
    option.m_clientVersion = client;
    option.m_serverVersion = server;
    return option;
}

// ---- Byte images ----

// A record of `columns` whose values (hex, "" for none) and null bytes (hex,
// one per nullable column) are given, packed through PackRecord with a client
// version; "EE" marks bytes the packer leaves as the buffer had them.
struct ImageCase {
    const char* name;
    std::vector<TestColumn> columns;
    std::vector<std::string> values;
    std::string nulls;
    uint32 clientVersion;
    std::string expected;
    // Whether the unpacker of the format reads the bytes back: not for Numeric
    // in the client's own forms (doubles, format-1 short form), nor for text
    // cut without its terminator.
    bool unpacksBack = true;
};
void PrintTo(const ImageCase& row, std::ostream* out) {
    *out << row.name;
}

const std::string kHeader = " EE EE EE EE ";
const std::string kNumeric12345 = "04 00 00 00 C2 02 18 2E";
const std::string kDouble12345 = "CD CC CC CC CC DC 5E 40";
const std::string kBytes8 = "11 12 13 14 15 16 17 18";
const std::string kAbcde = "01 00 00 00 61 62 63 64 65 00";  // prefix 1, five characters
const std::vector<TestColumn> kInt1Numeric = {{XTInt1Data, 0, true}, {XTNumericData, 0, false}};

// clang-format off
const ImageCase kImageCases[] = {
    {"Format1Int2Double", {{XTInt2Data}, {XTDoubleData}}, {"02 01", kBytes8}, "", 12,
     "18 00 00 00" + kHeader + "02 01 EE EE EE EE EE EE 11 12 13 14 15 16 17 18"},
    {"Format2Int2Double", {{XTInt2Data}, {XTDoubleData}}, {"02 01", kBytes8}, "", 13,
     "12 00 00 00" + kHeader + "02 01 11 12 13 14 15 16 17 18"},
    {"Format2NineNullableBitmap", std::vector<TestColumn>(9, {XTInt1Data, 0, true}),
     {"10", "11", "12", "13", "14", "15", "16", "17", "18"}, "01 00 00 00 00 00 00 00 01", 14,
     "11 00 00 00" + kHeader + "01 01 11 12 13 14 15 16 17"},
    {"Format2VarChar300", {{XTVarCharData, 300}}, {"03 00 00 00 61 62 63 00 7A"}, "", 13,
     "0E 00 00 00" + kHeader + "03 00 61 62 63 00"},
    {"Format2NullInt4", {{XTInt4Data, 0, true}}, {"01 02 03 04"}, "01", 13,
     "09 00 00 00" + kHeader + "01"},
    {"Version12NumericDouble", kInt1Numeric, {"07", kNumeric12345}, "00", 12,
     "15 00 00 00" + kHeader + "07 EE EE EE " + kDouble12345 + " 00", false},
    {"Version13NumericDouble", kInt1Numeric, {"07", kNumeric12345}, "00", 13,
     "12 00 00 00" + kHeader + "00 07 " + kDouble12345, false},
    {"Version14NumericBytes", kInt1Numeric, {"07", kNumeric12345}, "00", 14,
     "0F 00 00 00" + kHeader + "00 07 04 C2 02 18 2E"},
    {"Version8NumericBytes", kInt1Numeric, {"07", kNumeric12345}, "00", 8,
     "12 00 00 00" + kHeader + "07 EE EE EE 04 C2 02 18 2E 00", false},
    {"Format1NullNumericDoubleIsNothing", {{XTNumericData, 0, true}, {XTInt1Data}},
     {kNumeric12345, "05"}, "01", 12, "0A 00 00 00" + kHeader + "05 01", false},
    {"Format1NullNumericBytesIsZeroByte", {{XTNumericData, 0, true}}, {""}, "01", 8,
     "0A 00 00 00" + kHeader + "00 01", false},
    {"Format2NumericMarker", {{XTNumericData}}, {"FF FF FF FF C2 02"}, "", 14,
     "09 00 00 00" + kHeader + "FF"},
    // Format 1 copies at most prefix x 3 characters and one byte more;
    // format 2 sends min(length, prefix), min(count x 3, strlen) bytes and a 0.
    {"Format1VarCharCutToThreeTimesPrefix", {{XTVarCharData, 10}}, {kAbcde}, "", 12,
     "10 00 00 00" + kHeader + "01 00 00 00 61 62 63 64", false},
    {"Format2VarCharCutToThreeTimesCount", {{XTVarCharData, 10}}, {kAbcde}, "", 13,
     "0D 00 00 00" + kHeader + "01 61 62 63 00"},
    {"Format2VarCharPrefixZero", {{XTVarCharData, 256}}, {"00 00 00 00 61 00"}, "", 13,
     "0A 00 00 00" + kHeader + "00 00"},
    {"Format1NullVarCharSendsPrefixAsItStands", {{XTVarCharData, 4, true}},
     {"02 00 00 00 61 62 00"}, "01", 12, "0D 00 00 00" + kHeader + "02 00 00 00 01", false},
    {"Format1NullByteCopiedAsItIs", {{XTVarCharData, 4, true}}, {"02 00 00 00 61 62 00"}, "02", 12,
     "10 00 00 00" + kHeader + "02 00 00 00 61 62 00 02"},
    {"Format1VarBinaryCutSilently", {{XTVarBinaryData, 2}}, {"05 00 00 00 AA BB"}, "", 12,
     "0E 00 00 00" + kHeader + "05 00 00 00 AA BB"},
    {"Format2VarBinary300", {{XTVarBinaryData, 300}}, {"02 00 00 00 AA BB"}, "", 13,
     "0C 00 00 00" + kHeader + "02 00 AA BB"},
    {"Format2VarBinary65536", {{XTVarBinaryData, 65536}}, {"02 00 00 00 AA BB"}, "", 13,
     "0E 00 00 00" + kHeader + "02 00 00 00 AA BB"},
    // Char goes with (L + 1) x 3 bytes: beyond the narrow column's room, zeros.
    {"CharFullByteLength", {{XTCharData, 2}}, {"61 62 00"}, "", 13,
     "11 00 00 00" + kHeader + "61 62 00 00 00 00 00 00 00"},
};
// clang-format on

class PackImageTest : public ::testing::TestWithParam<ImageCase> {};

TEST_P(PackImageTest, PacksToTheExpectedBytesAndUnpacksBack) {
    const ImageCase& row = GetParam();
    const XTRecordMetaData description = Describe(row.columns);
    ExactBuffer record(description.GetBinaryRecordSize(), 0);
    const auto nulls = FromHex(row.nulls);
    for (int32 i = 0, nullable = 0; i < description.GetFieldCount(); ++i) {
        const XTFieldDescriptor& column = *description.GetFieldDescriptor(i);
        const auto value = FromHex(row.values[static_cast<std::size_t>(i)]);
        std::copy(value.begin(), value.end(), record.get() + column.GetByteOffset());
        if (column.IsNullable()) record.get()[column.GetNullOffset()] = nulls.at(nullable++);
    }
    ExactBuffer packed(description.GetMaxPackedRecordSize(), 0xEE);
    const uint32 total =
        description.PackRecord(packed.get(), record.get(), Versions(row.clientVersion, 6), false);
    EXPECT_EQ(std::vector<unsigned char>(packed.get(), packed.get() + total),
              FromHex(row.expected));
    if (row.unpacksBack) {
        const ExactBuffer input(packed.get(), total);
        ExactBuffer unpacked(description.GetBinaryRecordSize());
        EXPECT_EQ(description.UnpackRecord(unpacked.get(), input.get(), input.end(),
                                           Versions(6, row.clientVersion)),
                  input.end());
    }
}

INSTANTIATE_TEST_SUITE_P(Images, PackImageTest, ::testing::ValuesIn(kImageCases),
                         [](const auto& info) { return std::string(info.param.name); });

std::string Repeat(const std::string& text, int count) {
    std::string repeated;
    while (count-- > 0)
        repeated += text;
    return repeated;
}

// Packed bytes unpacked in format 2 into a record filled with A5: the record's
// first bytes afterwards.
struct UnpackCase {
    const char* name;
    std::vector<TestColumn> columns;
    std::string packed;
    std::string expected;
};
void PrintTo(const UnpackCase& row, std::ostream* out) {
    *out << row.name;
}

// clang-format off
const UnpackCase kUnpackCases[] = {
    {"NullInt4IsZerosAndNullByteOne", {{XTInt4Data, 0, true}}, "09 00 00 00 00 00 00 00 01",
     "00 00 00 00 01 A5 A5 A5"},
    // The marker count goes to the first four bytes of the record, not to the column.
    {"NumericMarker", {{XTInt4Data}, {XTNumericData}}, "0D 00 00 00 00 00 00 00 01 02 03 04 FF",
     "FF FF FF FF A5 A5 A5 A5"},
    // A byte count of 28 or more stores the count 0 and skips the bytes.
    {"NumericCountAbove28", {{XTNumericData}}, "00 00 00 00 00 00 00 00 1E" + Repeat(" 77", 30),
     "00 00 00 00 A5 A5"},
    {"NumericTwoBytes", {{XTNumericData}}, "00 00 00 00 00 00 00 00 02 C1 02",
     "02 00 00 00 C1 02 A5"},
    {"NullVarCharAndVarBinary", {{XTVarCharData, 3, true}, {XTVarBinaryData, 3, true}},
     "00 00 00 00 00 00 00 00 03", "00 00 00 00 A5 A5 A5 A5 00 00 00 00 A5 A5 A5 01 01"},
    // The whole prefix of a binary value is consumed, at most its length copied.
    {"VarBinaryLongerThanColumn", {{XTVarBinaryData, 2}, {XTInt1Data}},
     "00 00 00 00 00 00 00 00 03 AA BB CC 07", "03 00 00 00 AA BB 07"},
};
// clang-format on

class UnpackImageTest : public ::testing::TestWithParam<UnpackCase> {};

TEST_P(UnpackImageTest, UnpacksToTheExpectedRecord) {
    const UnpackCase& row = GetParam();
    const XTRecordMetaData description = Describe(row.columns);
    const std::vector<unsigned char> packed = FromHex(row.packed);
    ExactBuffer record(description.GetBinaryRecordSize(), 0xA5);
    EXPECT_EQ(description.UnpackRecordVersion2(record.get(), packed.data(),
                                               packed.data() + packed.size()),
              packed.data() + packed.size());
    const auto expected = FromHex(row.expected);
    EXPECT_EQ(std::vector<unsigned char>(record.get(), record.get() + expected.size()), expected);
}

INSTANTIATE_TEST_SUITE_P(Images, UnpackImageTest, ::testing::ValuesIn(kUnpackCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PackVersionTest, UnpackerLooksAtTheServerVersionPackerAtTheClientVersion) {
    const XTRecordMetaData description = Describe({{XTInt2Data}, {XTDoubleData}});
    ExactBuffer record(description.GetBinaryRecordSize(), 1), out(record.size);
    ExactBuffer packed(description.GetMaxPackedRecordSize());
    EXPECT_EQ(description.PackRecord(packed.get(), record.get(), Versions(17, 12), false), 18u);
    EXPECT_EQ(description.PackRecord(packed.get(), record.get(), Versions(12, 17), false), 24u);
    EXPECT_EQ(description.UnpackRecord(out.get(), packed.get(), Versions(17, 12)),
              packed.get() + 24);
    EXPECT_EQ(description.UnpackRecord(out.get(), packed.get(), Versions(12, 17)),
              packed.get() + 18);
}

TEST(PackErrorTest, ErrorsAndTheirArguments) {
    const XTRecordMetaData binary = Describe({{XTVarBinaryData, 4}});
    ExactBuffer record(binary.GetBinaryRecordSize(), 0), packed(binary.GetMaxPackedRecordSize());
    DataBlobUtil::ToBuffer(record.get(), uint32{5});
    EXPECT_TRUE(
        RaisesError([&] { binary.PackRecordVersion2(packed.get(), record.get(), 13, false); },
                    kMsgValueTooLong, {L"5", L"4"}));

    // A damaged Numeric count is sent by neither short form.
    const XTRecordMetaData numeric = Describe({{XTNumericData}});
    ExactBuffer numericRecord(numeric.GetBinaryRecordSize(), 0);
    DataBlobUtil::ToBuffer(numericRecord.get(), uint32{23});
    EXPECT_TRUE(RaisesError(
        [&] { numeric.PackRecordVersion2(packed.get(), numericRecord.get(), 14, false); },
        kMsgTruncatedByteVector, {L"NUMERIC image", L"23", L"22"}));
    DataBlobUtil::ToBuffer(numericRecord.get(), uint32{0xFFFFFFFF});
    EXPECT_EQ(ErrorCodeOf([&] {
                  numeric.PackRecordVersion1(packed.get(), numericRecord.get(), false, true);
              }),
              kMsgTruncatedByteVector);

    XTRecordMetaData money;
    money.SetFieldCount(1);
    money.SetFieldDescriptor(0, MakeRawTypeDescriptor(XTMoneyData, 8));
    for (const auto& action : std::vector<std::function<void()>>{
             [&] { money.PackRecordVersion1(packed.get(), record.get(), false, false); },
             [&] { money.PackRecordVersion2(packed.get(), record.get(), 14, false); },
             [&] { money.UnpackRecordVersion1(record.get(), packed.get()); },
             [&] { money.UnpackRecordVersion2(record.get(), packed.get()); },
             [&] { money.GetMaxPackedRecordSize(); }})
        EXPECT_TRUE(RaisesError(action, kMsgUnsupportedDataType, {L"15"}));

    // No columns: the header alone, which the checked unpackers require.
    const XTRecordMetaData empty;
    unsigned char header[8] = {0, 0, 0, 0, 9, 9, 9, 9};
    EXPECT_EQ(empty.PackRecordVersion2(header, nullptr, 14, false), 8u);
    EXPECT_EQ(std::vector<unsigned char>(header, header + 8), FromHex("08 00 00 00 09 09 09 09"));
    EXPECT_EQ(empty.UnpackRecordVersion2(nullptr, header, header + 8), header + 8);
    EXPECT_EQ(ErrorCodeOf([&] { empty.UnpackRecordVersion1(nullptr, header, header + 7); }),
              kMsgTruncatedByteVector);
}

TEST(PackDeathTest, NullableColumnAddedWithoutLayout) {
    XTRecordMetaData description = Describe({{XTInt4Data, 0, true}});
    description.SetFieldCount(2);
    description.DescribleField(1, XTInt4Data, 0, true, 0, 0, L"", L"");
    std::vector<unsigned char> record(64, 0), packed(64);
    EXPECT_DEATH(description.PackRecordVersion2(packed.data(), record.data(), 14, false),
                 "m_nullable < m_nullableCount");
}

// ---- Round trips over generated records ----

// Checks that the unpacked record holds what the format carries of the source
// (docs/wire-formats.md) and that no byte outside the columns' rooms and null
// bytes was written.
void ExpectCarried(const XTRecordMetaData& description, int format, const unsigned char* source,
                   const unsigned char* unpacked) {
    std::vector<bool> written(description.GetBinaryRecordSize(), false);
    for (int32 i = 0; i < description.GetFieldCount(); ++i) {
        SCOPED_TRACE("column " + std::to_string(i));
        const XTFieldDescriptor& column = *description.GetFieldDescriptor(i);
        const uint32 room = RoomOf(description, i);
        const unsigned char* from = source + column.GetByteOffset();
        const unsigned char* to = unpacked + column.GetByteOffset();
        std::fill_n(written.begin() + column.GetByteOffset(), room, true);
        const auto same = [&](std::size_t length) {
            EXPECT_EQ(std::vector<unsigned char>(from, from + length),
                      std::vector<unsigned char>(to, to + length));
        };
        const XTDataType type = column.GetXTDataType();
        const bool variable = IsVarCharType(type) || IsVarBinaryType(type) || type == XTNumericData;
        const uint32 prefix = variable ? DataBlobUtil::GetLittleEndianUInt32(from) : 0;
        const bool isNull = column.IsNullable() && source[column.GetNullOffset()] == 1;
        if (column.IsNullable()) {
            written[column.GetNullOffset()] = true;
            const unsigned char nullByte = source[column.GetNullOffset()];
            EXPECT_EQ(unpacked[column.GetNullOffset()], format == 1 ? nullByte : nullByte == 1);
        }
        const uint32 plain =
            type == XTCharData ? std::min(room, (column.GetObjectLength() + 1) * 3) : room;
        if (format == 2 && isNull) {
            const uint32 zeros = variable ? 4 : plain;
            EXPECT_EQ(std::vector<unsigned char>(to, to + zeros),
                      std::vector<unsigned char>(zeros));
        } else if (variable && type != XTNumericData && (isNull || prefix == 0)) {
            EXPECT_EQ(DataBlobUtil::GetLittleEndianUInt32(to), 0u);
        } else if (IsVarCharType(type)) {
            same(4 + prefix + 1);
        } else if (IsVarBinaryType(type)) {
            same(4 + std::min(prefix, column.GetObjectLength()));
        } else {
            same(type == XTNumericData ? 4 + prefix : plain);
        }
    }
    for (std::size_t b = 0; b < written.size(); ++b) {
        EXPECT_TRUE(written[b] || unpacked[b] == 0xA5) << "byte " << b << " written";
    }
}

TEST(PackRoundTripTest, GeneratedRecordsComeBackAsEachFormatCarriesThem) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int format = 1 + round % 2;
        // Format 1 unpacks Numeric as the server sends it (28 bytes), not as
        // the client packs it, so its round trips have no Numeric column.
        XTRecordMetaData description = MakeRandomDescription(
            random, {.maxColumns = 12, .numeric = format == 2, .longLengths = round % 10 == 0});
        const ExactBuffer record = MakeRandomRecord(
            random, description, {.overlongBinary = format == 1, .oddNullBytes = true});
        const ExactBuffer packed = Pack(description, record.get(), format, 14 + random() % 4);
        ExactBuffer unpacked(description.GetBinaryRecordSize(), 0xA5);
        ExactBuffer trusted(description.GetBinaryRecordSize(), 0xA5);
        if (format == 1) {
            EXPECT_EQ(description.UnpackRecordVersion1(unpacked.get(), packed.get(), packed.end()),
                      packed.end());
            description.UnpackRecordVersion1(trusted.get(), packed.get());
        } else {
            EXPECT_EQ(description.UnpackRecordVersion2(unpacked.get(), packed.get(), packed.end()),
                      packed.end());
            description.UnpackRecordVersion2(trusted.get(), packed.get());
        }
        ExpectCarried(description, format, record.get(), unpacked.get());
        EXPECT_EQ(trusted.ToVector(), unpacked.ToVector());

        // Without the plan (a column set again) format 2 walks every
        // descriptor; the bytes are the same.
        if (format == 2 && description.GetFieldCount() > 0) {
            ASSERT_TRUE(description.HasWirePlan());
            description.SetFieldDescriptor(0, description.GetFieldDescriptor(0));
            ASSERT_FALSE(description.HasWirePlan());
            const ExactBuffer walked = Pack(description, record.get(), 2, 14);
            EXPECT_EQ(walked.ToVector(), packed.ToVector());
            ExactBuffer unwalked(description.GetBinaryRecordSize(), 0xA5);
            description.UnpackRecordVersion2(unwalked.get(), walked.get(), walked.end());
            EXPECT_EQ(unwalked.ToVector(), unpacked.ToVector());
        }

        // Every truncation is refused by the checked unpacker.
        if (round >= 120) continue;
        for (std::size_t length = 0; length < packed.size; ++length) {
            const ExactBuffer prefix(packed.get(), length);
            ASSERT_EQ(
                ErrorCodeOf([&] {
                    if (format == 1)
                        description.UnpackRecordVersion1(trusted.get(), prefix.get(), prefix.end());
                    else
                        description.UnpackRecordVersion2(trusted.get(), prefix.get(), prefix.end());
                }),
                kMsgTruncatedByteVector)
                << "prefix of " << length << " bytes";
        }
    }
}

TEST(PackAllocationTest, PackingAndUnpackingNeverAllocate) {
    std::mt19937 random(5);
    const AppVersionOption versions = Versions(14, 14);
    for (int round = 0; round < 50; ++round) {
        // Format 1 round trips have no Numeric column (see above).
        const XTRecordMetaData first = MakeRandomDescription(random, {.numeric = false});
        const XTRecordMetaData second = MakeRandomDescription(random);
        const ExactBuffer firstRecord = MakeRandomRecord(random, first);
        const ExactBuffer secondRecord = MakeRandomRecord(random, second);
        ExactBuffer packed(
            std::max(first.GetMaxPackedRecordSize(), second.GetMaxPackedRecordSize()));
        ExactBuffer out(std::max(first.GetBinaryRecordSize(), second.GetBinaryRecordSize()));
        const AllocationCounter counter;
        uint32 total =
            first.PackRecordVersion1(packed.get(), firstRecord.get(), false, round % 2 == 0);
        first.UnpackRecordVersion1(out.get(), packed.get());
        first.UnpackRecordVersion1(out.get(), packed.get(), packed.get() + total);
        second.PackRecordVersion2(packed.get(), secondRecord.get(), 13, false);
        total = second.PackRecord(packed.get(), secondRecord.get(), versions, false);
        second.UnpackRecord(out.get(), packed.get(), versions);
        second.UnpackRecord(out.get(), packed.get(), packed.get() + total, versions);
        EXPECT_EQ(counter.Count(), 0u);
    }
}

}  // namespace
