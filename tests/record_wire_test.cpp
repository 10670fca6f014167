// The metadata stream, the native API structures and packed records: exact byte images,
// round trips of generated descriptions and records (fixed seed) with every truncated prefix
// refused by the bounds-checked readers (in exactly sized heap buffers), the format-2 plan
// against the plain walk, and packing and unpacking without allocation.
#include <gtest/gtest.h>

#include <cctype>
#include <random>

#include "CountingAllocator.h"
#include "RecordTestSupport.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using namespace xts::test;
using Util = SUXTDataTypeUtility;

ByteVector Stream(const M& description) {  // in a vector of exactly its size
    ByteVector bytes;
    description.StreamTo(bytes);
    return ByteVector(bytes.begin(), bytes.end());
}
// Everything the stream carries, every number and offset of the layout.
void ExpectSame(const M& got, const M& want) {
    EXPECT_TRUE(Stream(got) == Stream(want) && Print(got) == Print(want)) << Print(got);
}
AppVersionOption Versions(uint32 client, uint32 server) {
    AppVersionOption option;
    static_cast<VersionOption&>(option) = VersionOption(client, server, 0);
    return option;
}
// Bytes from hexadecimal pairs separated by blanks; "|" stands for the reserved header bytes,
// which the packers leave as the buffer (EE bytes) had them, "Z" for a zero byte.
Bytes FromHex(const std::string& hex) {
    Bytes bytes;
    for (std::size_t at = 0; at < hex.size(); ++at) {
        if (hex[at] == '|') bytes.insert(bytes.end(), 4, 0xEE);
        if (hex[at] == 'Z') bytes.push_back(0);
        if (std::isxdigit(static_cast<unsigned char>(hex[at])))
            bytes.push_back(uint8(std::stoi(hex.substr(at++, 2), nullptr, 16)));
    }
    return bytes;
}
uint32 Pack(const M& description, int format, unsigned char* to, const Bytes& record,
            uint32 version) {
    return format == 1 ? description.PackRecordVersion1(to, record.data(), false, false)
                       : description.PackRecordVersion2(to, record.data(), version, false);
}
const unsigned char* Unpack(const M& description, int format, unsigned char* to, const Bytes& in) {
    return format == 1 ? description.UnpackRecordVersion1(to, in.data(), End(in))
                       : description.UnpackRecordVersion2(to, in.data(), End(in));
}

TEST(MetadataStream, ExactImagesPartialReadsAndHugeCounts) {
    M described = Describe({{XTBitData}}, false, false);
    described.SetFieldDescriptor(
        0, MakeRefCnt<D>(7, XTVarCharData, 300, true, -2, 3, L"ab", L"\U0001F600",
                         Util::kOverrideAsNarrowUTF8Code, 65001));
    described.GeneratePackedFieldOffset(true);
    // The count and the two flags; identifier, type, length 300, nullable, precision -2, scale
    // 3, the override, code page 65001; the name and the alias as counted 32-bit units.
    const ByteVector image = FromHex(
        "01 00 00 00 01 00 07 00 02 00 00 00 2C 01 00 00 01 FE FF 03 00 03 00 00 00 E9 FD 00 00 "
        "02 00 00 00 61 00 00 00 62 00 00 00 01 00 00 00 00 F6 01 00");
    EXPECT_EQ(Stream(described), image);
    M read = Describe({{XTInt1Data}, {XTInt2Data}});
    EXPECT_EQ(read.DestreamFrom(image), End(image));
    described.GenerateAlignedFieldOffset(true, 0);
    ExpectSame(read, described);  // arrives aligned, identifier 7 kept
    const M empty = Describe({}, true);
    ByteVector none = {9};
    empty.ToByteVector(none);  // appends
    EXPECT_EQ(none, (ByteVector{9, 0, 0, 0, 0, 1, 1}));
    EXPECT_EQ(read.DestreamFrom(none.data() + 1, End(none)), End(none));
    ExpectSame(read, empty);
    // An unsupported type in the second column: the trusting reader is left partly filled,
    // the checked ones unchanged.
    ByteVector money = Stream(Describe({{XTInt4Data}, {XTInt4Data}}));
    const std::size_t second = 6 + (money.size() - 6) / 2;  // the columns' streams are as long
    DataBlobUtil::ToByteVectorAt(money, second + 2, int32{XTMoneyData});
    M partly, unchanged = Describe({{XTInt1Data}});
    ExpectError([&] { partly.DestreamFrom(money); }, 46033, {L"15"});
    EXPECT_EQ(partly.GetFieldCount(), 2);
    ExpectError([&] { unchanged.DestreamFrom(money.data(), End(money)); }, 46033, {L"15"});
    ExpectSame(unchanged, Describe({{XTInt1Data}}));
    D column;
    ExpectError([&] { column.DestreamFrom(&money[second], End(money)); }, 46033, {L"15"});
    EXPECT_EQ(column.GetXTDataType(), XTUnknown);
    // Huge or negative counts are refused before anything is reserved (31 bytes a column).
    for (const auto& [count, needed] :
         {std::pair{0x7FFFFFFF, L"66571993057"}, {-1, L"133143986145"}, {2, L"62"}}) {
        ByteVector bytes(46, 0);  // two flags, one empty column and 9 bytes after the count
        DataBlobUtil::ToByteVectorAt(bytes, 0, int32{count});
        const xts::test::AllocationCounter counter;
        ExpectError([&] { read.FromByteVector(bytes.data(), End(bytes)); }, 46302,
                    {L"column streams", needed, L"40"});
        EXPECT_LT(counter.Count(), 20u);  // the error's own strings only
    }
}

TEST(MetadataStreamDeathTest, TrustingReaderAndWriterAssert) {
    ByteVector bytes(64, 0xFF);  // the count -1
    M description;
    EXPECT_DEATH(description.DestreamFrom(bytes), "fieldCount >= 0");
    description.SetFieldCount(1);
    EXPECT_DEATH(description.StreamTo(bytes), "false");
}

// A native description with room for `capacity` columns, filled with AB bytes, that claims
// room for `count`.
struct Native {
    auto* get() { return reinterpret_cast<XTSAPI_RecordMetadata*>(storage.data()); }
    Native(std::size_t capacity, uint32 count)
        : storage((GetXTSAPIRecordMetadataSize(capacity) + 3) / 4, 0xABABABABu) {
        get()->countFields = count;
    }
    XTSAPI_FieldDescriptor& field(std::size_t i) { return get()->fieldDescriptorArray[i]; }
    std::vector<uint32> storage;
};

TEST(NativeStructures, CapacityNamesAndIdentifiers) {
    M description = Describe({{XTInt4Data}, {XTInt4Data, 0, true}, {XTInt4Data}, {XTInt4Data}});
    description.GetFieldDescriptor(0)->ResetFieldName(XTString(200, L'n'), L"\U0001F600z");
    Native two(4, 2), ten(10, 10), none(1, 0);
    description.LoadInto(*two.get());
    EXPECT_EQ(two.get()->countFields, 2u);
    EXPECT_EQ(two.field(2).type, 0xABABu);  // beyond the capacity: untouched
    EXPECT_EQ(two.field(0).name[127] + two.field(0).name[128], u'n');  // cut to 128, terminated
    EXPECT_EQ(two.field(0).aliasName[0], 0xF600);                      // the low 16 bits
    description.LoadInto(*ten.get());
    EXPECT_EQ(ten.get()->countFields, 4u);
    description.LoadInto(*none.get());
    EXPECT_EQ(none.field(0).type, 0xABABu);
    M loaded;
    loaded.LoadFrom(*none.get());
    EXPECT_EQ(Print(loaded),
              "BinRecSiz(0) TexRecSiz(0) FCount(0) NullCount(0) NullOff(0) IsUni(0) IsAlign(1)\n");
    std::fill(std::begin(ten.field(0).name), std::end(ten.field(0).name), u'q');
    ten.field(0).length = 99;  // recomputed by type
    loaded.LoadFrom(*ten.get());
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetFieldName(), XTString(129, L'q'));
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetObjectLength(), 4u);
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetAliasName(), L"\uF600z");
    // An injected big-endian machine swaps the native numbers.
    description.LoadInto(*ten.get(), kBigEndian);
    EXPECT_EQ(std::pair(ten.field(1).type, ten.field(1).length),
              std::pair(uint16{0x0B00}, 0x04000000u));
    loaded.LoadFrom(*ten.get(), kBigEndian);
    EXPECT_EQ(loaded.GetFieldDescriptor(1)->GetXTDataType(), XTInt4Data);
}

// ---- Packed records ----

TEST(PackedRecords, ByteImages) {
    const std::string k8 = " 11 12 13 14 15 16 17 18", kDouble = " CD CC CC CC CC DC 5E 40";
    const std::string numericRecord = "07 00 00 00 04 00 00 00 C2 02 18 2E",
                      abcde = "01 00 00 00 61 62 63 64 65",
                      nullNumeric = "02 00 00 00 C1 02" + std::string(22, 'Z') + "01";
    const std::vector<Column> int2Double = {{XTInt2Data}, {XTDoubleData}},
                              varChar4 = {{XTVarCharData, 4, true}},
                              int1Numeric = {{XTInt1Data, 0, true}, {XTNumericData}};
    // The record's first bytes (the rest zeros), packed by PackRecord for a client version into
    // a buffer of EE bytes; then whether the format's unpacker reads the bytes back (not Numeric
    // in the client's own forms, nor text cut without its terminator).
    const struct {
        std::vector<Column> columns;
        std::string record;
        uint32 version;
        std::string expected;
        bool unpacks = true;
    } rows[] = {
        {int2Double, "02 01 00 00 00 00 00 00" + k8, 12,
         "18 00 00 00|02 01 EE EE EE EE EE EE" + k8},
        {int2Double, "02 01 00 00 00 00 00 00" + k8, 13, "12 00 00 00|02 01" + k8},
        // The ninth column's bit is bit 0 of the bitmap's second byte.
        {std::vector<Column>(9, {XTInt1Data, 0, true}),
         "10 11 12 13 14 15 16 17 18 01 00 00 00 00 00 00 00 01", 14,
         "11 00 00 00|01 01 11 12 13 14 15 16 17"},
        {{{XTVarCharData, 300}}, "03 00 00 00 61 62 63 00 7A", 13, "0E 00 00 00|03 00 61 62 63 00"},
        {{{XTInt4Data, 0, true}}, "01 02 03 04 01", 13, "09 00 00 00|01"},
        {int1Numeric, numericRecord, 12, "15 00 00 00|07 EE EE EE" + kDouble + " 00", false},
        {int1Numeric, numericRecord, 13, "12 00 00 00|00 07" + kDouble, false},
        {int1Numeric, numericRecord, 14, "0F 00 00 00|00 07 04 C2 02 18 2E"},
        {int1Numeric, numericRecord, 8, "12 00 00 00|07 EE EE EE 04 C2 02 18 2E 00", false},
        // A null Numeric: nothing, or in the short form a 0; the count marker.
        {{{XTNumericData, 0, true}}, nullNumeric, 12, "09 00 00 00|01", false},
        {{{XTNumericData, 0, true}}, nullNumeric, 8, "0A 00 00 00|00 01", false},
        {{{XTNumericData}}, "FF FF FF FF C2 02", 14, "09 00 00 00|FF"},
        // Text cut to 3 x its length, behind a prefix or a count.
        {{{XTVarCharData, 10}}, abcde, 12, "10 00 00 00|01 00 00 00 61 62 63 64", false},
        {{{XTVarCharData, 10}}, abcde, 13, "0D 00 00 00|01 61 62 63 00"},
        {{{XTVarCharData, 256}}, "00 00 00 00 61", 13, "0A 00 00 00|00 00"},
        // A null value's prefix as it stands; a null byte of 2 sends the value.
        {varChar4, "02 00 00 00 61 62 00 00 00 01", 12, "0D 00 00 00|02 00 00 00 01", false},
        {varChar4, "02 00 00 00 61 62 00 00 00 02", 12, "10 00 00 00|02 00 00 00 61 62 00 02"},
        {{{XTVarBinaryData, 2}}, "05 00 00 00 AA BB", 12, "0E 00 00 00|05 00 00 00 AA BB"},
        {{{XTVarBinaryData, 300}}, "02 00 00 00 AA BB", 13, "0C 00 00 00|02 00 AA BB"},
        {{{XTVarBinaryData, 65536}}, "02 00 00 00 AA BB", 13, "0E 00 00 00|02 00 00 00 AA BB"},
        {{{XTCharData, 2}}, "61 62", 13, "11 00 00 00|61 62 00 00 00 00 00 00 00"},  // 3(L + 1)
    };
    for (const auto& [columns, image, version, expected, unpacks] : rows) {
        SCOPED_TRACE(expected);
        const M description = Describe(columns);
        Bytes record = FromHex(image), packed(description.GetMaxPackedRecordSize(), 0xEE);
        record.resize(description.GetBinaryRecordSize());
        packed.resize(
            description.PackRecord(packed.data(), record.data(), Versions(version, 6), false));
        EXPECT_EQ(packed, FromHex(expected));
        EXPECT_TRUE(!unpacks || description.UnpackRecord(record.data(), packed.data(), End(packed),
                                                         Versions(6, version)) == End(packed));
    }
}

TEST(PackedRecords, UnpackImagesVersionsAndErrors) {
    // Format 2 into a record of A5 bytes: the record's first bytes afterwards. A null Int4
    // unpacks to zeros with null byte 1; the Numeric marker count goes to the first four bytes
    // of the record, not the column's; a count of 28 or more stores the count 0 and skips the
    // bytes; the whole binary value is consumed, at most its length copied.
    for (const auto& [columns, packed, expected] :
         {std::tuple{std::vector<Column>{{XTInt4Data, 0, true}}, std::string("09 00 00 00|01"),
                     "00 00 00 00 01 A5 A5 A5"},
          {{{XTInt4Data}, {XTNumericData}},
           "0D 00 00 00|01 02 03 04 FF",
           "FF FF FF FF A5 A5 A5 A5"},
          {{{XTNumericData}}, "00 00 00 00|1C" + std::string(28, 'Z'), "00 00 00 00 A5"},
          {{{XTVarBinaryData, 2}, {XTInt1Data}},
           "00 00 00 00|03 AA BB CC 07",
           "03 00 00 00 AA BB 07"}}) {
        const M description = Describe(columns);
        Bytes bytes = FromHex(packed), record(description.GetBinaryRecordSize(), 0xA5);
        EXPECT_EQ(Unpack(description, 2, record.data(), bytes), End(bytes));
        record.resize(FromHex(expected).size());
        EXPECT_EQ(record, FromHex(expected));
    }
    // The packer looks at the client version, the unpacker at the server version.
    const M numbers = Describe({{XTInt2Data}, {XTDoubleData}});
    Bytes record(28), packed(numbers.GetMaxPackedRecordSize());
    EXPECT_EQ(numbers.PackRecord(packed.data(), record.data(), Versions(17, 12), false), 18u);
    EXPECT_EQ(numbers.UnpackRecord(record.data(), packed.data(), Versions(12, 17)), &packed[18]);
    EXPECT_EQ(numbers.PackRecord(packed.data(), record.data(), Versions(12, 17), false), 24u);
    EXPECT_EQ(numbers.UnpackRecord(record.data(), packed.data(), Versions(17, 12)), &packed[24]);
    // A VarBinary prefix beyond its column; a damaged Numeric count (beyond the 22 bytes of a
    // number image); an unsupported type.
    const M varBinary = Describe({{XTVarBinaryData, 4}}), numeric = Describe({{XTNumericData}}),
            unknown = Describe({{XTUnknown}}, false, false);
    record[0] = 5;
    ExpectError([&] { varBinary.PackRecordVersion2(packed.data(), record.data(), 13, false); },
                46034, {L"5", L"4"});
    record[0] = 23;
    ExpectError([&] { numeric.PackRecordVersion2(packed.data(), record.data(), 14, false); }, 46302,
                {L"NUMERIC image", L"23", L"22"});
    ExpectError([&] { unknown.PackRecordVersion1(packed.data(), record.data(), false, false); },
                46033, {L"25"});
    ExpectError([&] { unknown.UnpackRecordVersion2(record.data(), packed.data()); }, 46033,
                {L"25"});
    // No columns: the header alone, which the checked unpackers require.
    Bytes header = {0, 0, 0, 0, 9, 9, 9, 9};
    EXPECT_EQ(M().PackRecordVersion2(header.data(), nullptr, 14, false), 8u);
    EXPECT_EQ(header, FromHex("08 00 00 00 09 09 09 09"));
    EXPECT_EQ(Unpack(M(), 2, nullptr, header), End(header));
    header.pop_back();
    EXPECT_EQ(ErrorCodeOf([&] { Unpack(M(), 1, nullptr, header); }), 46302);
}

TEST(PackedRecordsDeathTest, NullableColumnAddedWithoutLayout) {
    M description = Describe({{XTInt4Data, 0, true}});
    description.SetFieldCount(2);
    description.DescribleField(1, XTInt4Data, 0, true, 0, 0, L"", L"");
    Bytes record(64, 0), packed(64);
    EXPECT_DEATH(description.PackRecordVersion2(packed.data(), record.data(), 14, false),
                 "m_nullable < m_nullableCount");
}

// ---- Generated descriptions and records ----

// A random description: any type a record may hold (Numeric unless excluded), lengths up to 24
// or at the edges of the length fields' widths, random nullability, identifiers, names,
// encoding overrides and code pages, laid out aligned (narrow or wide) or packed.
M RandomDescription(std::mt19937& random, bool numeric) {
    const auto name = [&](std::size_t most) {
        std::wstring text(random() % (most + 1), L'a');
        for (wchar_t& c : text)
            c = wchar_t(random() % 3 ? L'a' + random() % 26 : 0x100 + random() % 0xD000);
        return text;
    };
    M description;
    description.SetFieldCount(static_cast<int32>(random() % 13));
    for (int32 i = 0; i < description.GetFieldCount(); ++i) {
        auto type = static_cast<XTDataType>(random() % 25);
        while (type == XTMoneyData || type == XTDecimalData || (type == XTNumericData && !numeric))
            type = static_cast<XTDataType>(random() % 25);
        const uint32 edges[] = {255, 256, 65535, 65536};
        const bool edge = Util::IsVariableLengthDataType(type) && random() % 4 == 0;
        description.SetFieldDescriptor(
            i, MakeRefCnt<D>(int32(random() % 200) - 100, type,
                             edge ? edges[random() % 4] : 1 + random() % 24, random() % 2,
                             int16(random() % 40), int32(random() % 10), name(6), name(3),
                             Unicode(random() % 4), random() % 3 ? 0u : 65001u));
    }
    const auto layout = random() % 3;
    if (layout == 2) description.GeneratePackedFieldOffset(random() % 2);
    if (layout != 2) description.GenerateAlignedFieldOffset(layout == 1, 0);
    return description;
}

// A record of random bytes holding valid values: narrow text of at most min(L, 40) characters,
// terminated; VarBinary prefixes up to min(L, 40); Numeric images (some with the count 0).
// Null values are zeros (their prefix, or all their bytes); null bytes are 0 or 1.
Bytes RandomRecord(std::mt19937& random, const M& description) {
    Bytes record(description.GetBinaryRecordSize());
    for (unsigned char& byte : record) byte = static_cast<unsigned char>(random());
    for (int32 i = 0; i < description.GetFieldCount(); ++i) {
        const D& column = *description.GetFieldDescriptor(i);
        const XTDataType type = column.GetXTDataType();
        unsigned char* value = &record[column.GetByteOffset()];
        const bool isNull = column.IsNullable() && random() % 10 < 3;
        if (column.IsNullable()) record[column.GetNullOffset()] = isNull;
        const uint32 count = random() % (std::min<uint32>(column.GetObjectLength(), 40) + 1);
        if (Util::IsVariableLengthDataType(type)) DataBlobUtil::ToBuffer(value, isNull ? 0 : count);
        for (uint32 c = 0; Util::IsXTVarCharType(type) && c <= count; ++c)
            value[4 + c] = c == count ? 0 : static_cast<unsigned char>(1 + random() % 127);
        if (type == XTNumericData) TarvelNumber(double(random()) / 997.0 - 2e6).ToBuffer(value);
        if (type == XTNumericData && (isNull || random() % 8 == 0))
            DataBlobUtil::ToBuffer(value, 0u);
        const bool utf8 = column.GetColumnUnicodeProperty() == Util::kOverrideAsNarrowUTF8Code;
        if (isNull && !Util::IsVariableLengthDataType(type) && type != XTNumericData)
            std::memset(value, 0,
                        M::GetByteLength(type, column.GetObjectLength(),
                                         description.IsUnicodeColumn(i), utf8, false));
    }
    return record;
}

TEST(GeneratedWire, StreamNativeAndPackedRoundTrips) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int format = 1 + round % 2;
        // Format 1 unpacks Numeric as the server sends it (28 bytes), not as the client packs
        // it, so its round trips have no Numeric column.
        M description = RandomDescription(random, format == 2);
        // The stream: a copy laid out aligned, the receiver's unknown-type tolerance kept.
        const ByteVector stream = Stream(description);
        M want, trusting, checked;
        want = description;
        want.GenerateAlignedFieldOffset(description.IsUnicodeRecord(), 0);
        trusting.SetSupportUnknownDataType(true);
        EXPECT_EQ(trusting.DestreamFrom(stream), End(stream));
        EXPECT_EQ(checked.DestreamFrom(stream.data(), End(stream)), End(stream));
        ExpectSame(trusting, want);
        ExpectSame(checked, want);
        EXPECT_TRUE(trusting.GetSupportUnknownDataType());
        // The native structure: identifiers become positions, laid out aligned and narrow.
        Native native(description.GetFieldCount() + 3u, description.GetFieldCount() + 3u);
        description.LoadInto(*native.get());
        M loaded, positions;
        loaded.LoadFrom(*native.get());
        M::AppendRecordMetaData(positions, description);
        positions.GenerateAlignedFieldOffset(false, 0);
        ExpectSame(loaded, positions);
        // Packed: unpacked over the record it changes nothing; unpacked afresh it packs to the
        // same bytes, by the trusting unpacker too. Neither packing nor unpacking allocates.
        const Bytes record = RandomRecord(random, description);
        const auto version = static_cast<uint32>(14 + random() % 4);
        Bytes wire(description.GetMaxPackedRecordSize(), 0xEE),
            same = record, fresh(record.size(), 0xA5), trusted = fresh;
        const xts::test::AllocationCounter counter;
        wire.resize(Pack(description, format, wire.data(), record, version));
        const unsigned char* end = Unpack(description, format, same.data(), wire);
        format == 1 ? description.UnpackRecordVersion1(trusted.data(), wire.data())
                    : description.UnpackRecordVersion2(trusted.data(), wire.data());
        EXPECT_EQ(counter.Count(), 0u);
        const Bytes packed(wire.begin(), wire.end());
        EXPECT_TRUE(end == End(wire) && same == record);
        EXPECT_EQ(DataBlobUtil::GetLittleEndianUInt32(wire.data()), wire.size());
        Unpack(description, format, fresh.data(), packed);
        EXPECT_EQ(trusted, fresh);
        Bytes again(description.GetMaxPackedRecordSize(), 0xEE);
        again.resize(Pack(description, format, again.data(), fresh, version));
        EXPECT_EQ(again, packed);
        // Without the plan (a column set again) format 2 walks every descriptor, to the same
        // bytes.
        if (format == 2 && description.GetFieldCount() > 0) {
            ASSERT_TRUE(description.HasWirePlan());
            description.SetFieldDescriptor(0, description.GetFieldDescriptor(0));
            ASSERT_FALSE(description.HasWirePlan());
            Bytes walked(description.GetMaxPackedRecordSize(), 0xEE), unwalked(record.size(), 0xA5);
            walked.resize(Pack(description, 2, walked.data(), record, version));
            Unpack(description, 2, unwalked.data(), packed);
            EXPECT_TRUE(walked == packed && unwalked == fresh);
        }
        // Every truncation is refused by the checked readers.
        for (std::size_t length = 0; round < 120 && length < stream.size(); ++length) {
            const Bytes prefix(stream.begin(), stream.begin() + length);
            ASSERT_EQ(ErrorCodeOf([&] { checked.DestreamFrom(prefix.data(), End(prefix)); }),
                      46302);
        }
        for (std::size_t length = 0; round < 120 && length < packed.size(); ++length) {
            const Bytes prefix(packed.begin(), packed.begin() + length);
            ASSERT_EQ(ErrorCodeOf([&] { Unpack(description, format, trusted.data(), prefix); }),
                      46302)
                << length;
        }
        ExpectSame(checked, want);  // unchanged by the refusals
    }
}

}  // namespace
