// The field data binder: generated result sets end to end (stream, pack, unpack, bind,
// transfer) against direct calls of the same converters; errors that stop a row at the
// failing column and name it; the source retrievers; the binder's edges.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Client/SUCXTFieldDataBinder.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using Bytes = std::vector<unsigned char>;  // sized exactly, so ASan sees overruns
using Types = SUXTDataTypeUtility;
using Arguments = std::vector<XTString>;

struct ColumnSpec {
    XTDataType type;
    uint32 length = 0;
    bool nullable = false;
    const wchar_t* name = L"";
};

XTRecordMetaData Describe(const std::vector<ColumnSpec>& columns, bool wide = false) {
    XTRecordMetaData description;
    description.SetFieldCount(static_cast<int32>(columns.size()));
    for (int32 i = 0; i < description.GetFieldCount(); ++i) {
        const ColumnSpec& c = columns[static_cast<std::size_t>(i)];
        description.DescribleField(i, c.type, c.length, c.nullable, 10, 0, c.name, L"");
    }
    description.GenerateAlignedFieldOffset(wide, 0);
    return description;
}

template <class Action>
std::optional<ErrorMessage> Raised(Action&& action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error;
    }
    return std::nullopt;
}

// Expects `action` to raise `code` with `arguments` in its first message.
template <class Action>
void ExpectError(Action&& action, int32 code, const Arguments& arguments) {
    const std::optional<ErrorMessage> error = Raised(action);
    ASSERT_TRUE(error.has_value()) << "no error, expected " << code;
    EXPECT_EQ(error->GetCode(), code) << error->what();
    EXPECT_EQ(error->GetArguments(), arguments) << error->what();
}

// ---- End to end over generated result sets ----

constexpr XTDataType kServerTypes[] = {
    XTBitData,       XTBoolean,           XTInt1Data,    XTUInt1Data,       XTInt2Data,
    XTUInt2Data,     XTInt4Data,          XTUInt4Data,   XTFloatData,       XTDoubleData,
    XTNumericData,   XTCharData,          XTVarCharData, XTLongVarCharData, XTBinaryData,
    XTVarBinaryData, XTLongVarBinaryData, XTDateData,    XTTimeData,        XTDateTimeData,
    XTTimeStampData};
// Text values, '|' between them.
constexpr std::string_view kTexts =
    "42| -17 |3.75|255|-129|70000|true|hello|1e3||12:30:45|2024/03/05|2024/03/05 12:30:45.5";

// The registry rows serving a narrow source of this type into a target whose text (if any)
// is as wide as the application record.
std::vector<const PropertyFuncInfo*> ServedTargets(XTDataType type, bool nullable, bool wide) {
    std::vector<const PropertyFuncInfo*> rows;
    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows()) {
        const XTDataType out = row.outputDataType_;
        if (row.inputDataType_ == type && row.isInputNull_ == nullable && !row.isInputUnicode_ &&
            !row.isInputExteranlVarChar_ && !row.isOutputExteranlVarChar_ &&
            (!Types::IsXTTextType(out) || row.isOutputUnicode_ == wide) && out != XTObjectData)
            rows.push_back(&row);
    }
    return rows;
}

// Writes a random value of the column: narrow text of the pool, valid dates; integers and
// Binary keep the record's random bytes. Null variable-length values have the prefix 0.
void FillValue(std::mt19937& random, const XTFieldDescriptor& column, unsigned char* value,
               bool isNull) {
    const XTDataType type = column.GetXTDataType();
    const uint32 length = column.GetObjectLength();
    std::string_view text = kTexts;
    for (auto skip = random() % 13; skip > 0; --skip)
        text.remove_prefix(text.find('|') + 1);
    text = text.substr(0, std::min<std::size_t>(text.find('|'), length));
    const auto put = [value](const auto& v) { std::memcpy(value, &v, sizeof v); };
    const auto r = [&random](uint32 limit) { return static_cast<uint16>(1 + random() % limit); };
    const XTDateTime moment{static_cast<int16>(r(9999)), r(12), r(28), r(23), r(59), r(59), r(999)};
    if (type == XTBitData || type == XTBoolean) *value = random() % 2;
    if (type == XTDateData) put(moment.GetDate());
    if (type == XTTimeData) put(moment.GetTime());
    if (type == XTDateTimeData || type == XTTimeStampData) put(moment);
    if (type == XTFloatData) put(static_cast<float>(static_cast<int32>(random())) / 1024.0f);
    if (type == XTDoubleData)
        put(static_cast<double>(static_cast<int64>(uint64{random()} << 32 | random())) /
            static_cast<double>(uint64{1} << random() % 62));
    if (type == XTNumericData)
        TarvelNumber(static_cast<double>(static_cast<int32>(random())) / 997.0).ToBuffer(value);
    if (type == XTCharData) {
        std::memset(value, ' ', length);
        std::memcpy(value, text.data(), text.size());
        value[length] = 0;
    }
    if (type == XTVarCharData || type == XTLongVarCharData) {
        put(static_cast<uint32>(isNull ? 0 : text.size()));
        std::memcpy(value + 4, text.data(), text.size());
        value[4 + text.size()] = 0;
    }
    if (type == XTVarBinaryData || type == XTLongVarBinaryData)
        put(static_cast<uint32>(isNull ? 0 : random() % (length + 1)));
}

// What TransferRecord must give: the converters the registry serves, called directly on the
// unpacked record, column by column, up to the first error.
struct Expected {
    Bytes record;
    std::vector<uint64> lengths;  // and null cells, of the columns transferred
    std::vector<uint8> nulls;
    std::optional<ErrorMessage> error;
    int32 failedColumn = -1;
};

Expected CallConvertersDirectly(const XTRecordMetaData& from, const unsigned char* fromRecord,
                                int32 fromCode, const XTRecordMetaData& to, Bytes toRecord,
                                int32 toCode) {
    Expected expected{std::move(toRecord), {}, {}, std::nullopt, -1};
    const DataConvertParams params{toCode, fromCode, false, false, g_bAvoidRightTrimVarChar};
    for (int32 i = 0; i < to.GetFieldCount() && !expected.error; ++i) {
        const XTFieldDescriptor& source = *from.GetFieldDescriptor(i);
        const XTFieldDescriptor& target = *to.GetFieldDescriptor(i);
        const XTDataType type = source.GetXTDataType();
        const XTDataType toType = type == XTVarCharData && target.GetXTDataType() == XTTimeStampData
                                      ? XTDateTimeData
                                      : target.GetXTDataType();
        const DataConvert_t convert =
            SUDataConvert::GetConverterFunction(type, source.IsNullable(), false, false, toType,
                                                target.IsNullable(), toCode == 1, false);
        const unsigned char* value = fromRecord + source.GetByteOffset();
        const uint8 isNull = source.IsNullable() && fromRecord[source.GetNullOffset()] != 0;
        uint32 size = source.GetObjectLength();
        if (Types::IsVariableLengthDataType(type)) std::memcpy(&size, value, 4);
        if (Types::IsVariableLengthDataType(type) && isNull) size = 0;
        uint8 ownNull = 0;
        uint64 length = 0;
        uint8& toNull = target.IsNullable() ? expected.record[target.GetNullOffset()] : ownNull;
        expected.error = Raised([&] {
            convert(params, value, size, isNull, expected.record.data() + target.GetByteOffset(),
                    target.GetObjectLength() + (Types::IsXTTextType(type) ? 1 : 0), toNull, length);
        });
        if (expected.error) expected.failedColumn = i;
        if (!expected.error) expected.lengths.push_back(length), expected.nulls.push_back(toNull);
    }
    return expected;
}

TEST(BinderEndToEndTest, GeneratedResultSetsTransferAsTheirConvertersDirectlyCalled) {
    std::mt19937 random(20240612);
    int transferred = 0, failed = 0;
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int format = 1 + round % 2;
        const bool wide = random() % 2 == 0;
        const int32 fromCode = random() % 2 ? kCharDataNarrowUTF8Code : kCharDataNarrowCode;
        const int32 toCode = wide ? kCharDataUniCode : kCharDataNarrowCode;
        const auto columns = static_cast<int32>(1 + random() % 9);
        XTRecordMetaData server, application;
        server.SetFieldCount(columns);
        application.SetFieldCount(columns);
        for (int32 i = 0; i < columns; ++i) {
            XTDataType type;
            bool nullable;
            std::vector<const PropertyFuncInfo*> targets;
            do {  // format 1 unpacks Numeric as the server sends it, not as the client packs it
                type = kServerTypes[random() % std::size(kServerTypes)];
                nullable = random() % 2 == 0;
                targets = ServedTargets(type, nullable, wide);
            } while (targets.empty() || (format == 1 && type == XTNumericData));
            const PropertyFuncInfo& row = *targets[random() % targets.size()];
            const std::wstring n = std::to_wstring(i);
            server.DescribleField(i, type, 1 + random() % 24, nullable, 10, 0, L"S" + n, L"");
            // At least 5: Bit and Boolean need a count and a character in variable text.
            application.DescribleField(i, row.outputDataType_, 5 + random() % 20, row.isOutputNull_,
                                       10, 0, L"A" + n, L"");
        }
        server.GenerateAlignedFieldOffset(false, 0);
        application.GenerateAlignedFieldOffset(wide, 0);
        ByteVector stream;
        server.StreamTo(stream);
        XTRecordMetaData transfer;
        transfer.DestreamFrom(stream.data(), stream.data() + stream.size());
        ASSERT_EQ(transfer.GetBinaryRecordSize(), server.GetBinaryRecordSize());

        AppVersionOption version;
        version.m_clientVersion = version.m_serverVersion = format == 1 ? 12 : 17;
        Bytes serverRecord(server.GetBinaryRecordSize()), transferRecord(serverRecord.size());
        Bytes wire(server.GetMaxPackedRecordSize());
        Bytes applicationRecord(application.GetBinaryRecordSize(), 0xA5);
        const Heap<XTFieldDataBinder> binder =
            XTFieldDataBinder::MakeFieldDataBinder(transfer, fromCode, application, toCode,
                                                   applicationRecord.data(), transferRecord.data());
        binder->SetMarshall(round % 3 == 0);  // a no-op on this machine, either way
        binder->SetEndianProperty(random() % 2 == 0);

        for (int row = 0; row < 4; ++row) {
            for (unsigned char& byte : serverRecord)
                byte = static_cast<unsigned char>(random());
            for (int32 i = 0; i < columns; ++i) {
                const XTFieldDescriptor& column = *server.GetFieldDescriptor(i);
                const bool isNull = column.IsNullable() && random() % 10 < 3;
                if (column.IsNullable()) serverRecord[column.GetNullOffset()] = isNull;
                FillValue(random, column, serverRecord.data() + column.GetByteOffset(), isNull);
            }
            const uint32 size = server.PackRecord(wire.data(), serverRecord.data(), version, false);
            ASSERT_EQ(transfer.UnpackRecord(transferRecord.data(), wire.data(), wire.data() + size,
                                            version),
                      wire.data() + size);
            const Bytes unpacked = transferRecord;
            const Expected expected = CallConvertersDirectly(
                transfer, unpacked.data(), fromCode, application, applicationRecord, toCode);
            const std::optional<ErrorMessage> error = Raised([&] { binder->TransferRecord(); });
            EXPECT_EQ(transferRecord, unpacked);
            ASSERT_EQ(applicationRecord, expected.record);
            for (int32 i = 0; i < static_cast<int32>(expected.lengths.size()); ++i) {
                EXPECT_EQ(*binder->GetFieldConverter(i)->GetToReturnDataLength(),
                          expected.lengths[i]);
                EXPECT_EQ(*binder->GetFieldConverter(i)->GetToNullIndicator(), expected.nulls[i]);
            }
            ASSERT_EQ(error.has_value(), expected.error.has_value());
            (error ? failed : transferred)++;
            if (!error) continue;
            // The converter's own messages, then the column's name after an overflow.
            const bool named =
                error->HasCode(kMsgValueOverflow) || error->HasCode(kMsgValueUnderflow);
            EXPECT_EQ(error->GetCode(), expected.error->GetCode());
            ASSERT_EQ(error->GetMessageCount(), expected.error->GetMessageCount() + named);
            if (named) {
                EXPECT_EQ(error->GetMessages().back().code, kMsgConversionFailedInColumn);
                EXPECT_EQ(error->GetMessages().back().arguments,
                          Arguments{L"A" + std::to_wstring(expected.failedColumn)});
            }
        }
    }
    EXPECT_GT(transferred, 400);  // both outcomes are exercised
    EXPECT_GT(failed, 100);
}

// ---- Hand-made records ----

// A source record and an application record (filled with 0xA5), with a binder between them.
struct Scene {
    Scene(const std::vector<ColumnSpec>& fromColumns, const std::vector<ColumnSpec>& toColumns,
          int32 fromCode = 0, bool bindAll = true)
        : from(Describe(fromColumns, fromCode == kCharDataUniCode)),
          to(Describe(toColumns)),
          fromRecord(from.GetBinaryRecordSize()),
          toRecord(to.GetBinaryRecordSize(), 0xA5) {
        binder.SetBindRecord(&to, toRecord.data(), 0, fromCode, to.GetFieldCount());
        for (int32 i = 0; bindAll && i < to.GetFieldCount(); ++i)
            Bind(i);
    }
    bool Bind(int32 i, XTLengthCell* cell = nullptr, bool disableTrim = false) {
        return binder.SetFromFieldDescriptor(
            i, from.GetFieldDescriptor(i >= 0 && i < from.GetFieldCount() ? i : 0),
            fromRecord.data(), cell, nullptr, false, false, false, disableTrim);
    }
    unsigned char* In(int32 i) { return &fromRecord[from.GetFieldDescriptor(i)->GetByteOffset()]; }
    unsigned char* Out(int32 i) { return &toRecord[to.GetFieldDescriptor(i)->GetByteOffset()]; }
    template <class T>
    void Put(int32 i, T value) {
        std::memcpy(In(i), &value, sizeof value);
    }
    template <class T>
    T Get(int32 i) {
        T value;
        std::memcpy(&value, Out(i), sizeof value);
        return value;
    }
    std::string GetText(int32 i) { return {reinterpret_cast<char*>(Out(i)) + 4, Get<uint32>(i)}; }
    bool Untouched(int32 i) { return Get<uint32>(i) == 0xA5A5A5A5; }  // 4-byte targets

    XTRecordMetaData from, to;
    Bytes fromRecord, toRecord;
    XTFieldDataBinder binder;
};

// The third of four columns fails: (source type, value, target type, code, named with
// 46226). The first two are transferred, the fourth is left as it was.
TEST(BinderFailingColumnTest, StopsTheRowAtTheFailingColumn) {
    const struct {
        XTDataType sourceType;
        double number;
        XTDataType targetType;
        int32 code;
        bool named;
    } rows[] = {{XTInt4Data, 70000, XTInt2Data, kMsgValueOverflow, true},
                {XTInt4Data, -70000, XTInt2Data, kMsgValueUnderflow, true},
                {XTInt4Data, -1, XTUInt4Data, kMsgValueUnderflow, true},
                {XTDoubleData, 1e12, XTInt4Data, kMsgValueOverflow, true},
                {XTCharData, 0, XTInt4Data, kMsgInvalidIntegerText, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        Scene scene({{XTInt4Data}, {XTInt2Data}, {row.sourceType, 6}, {XTInt4Data}},
                    {{XTInt4Data},
                     {XTInt4Data, 0, true},
                     {row.targetType, 0, false, L"THIRD"},
                     {XTInt4Data}});
        scene.Put(0, int32{11});
        scene.Put(1, int16{22});
        if (row.sourceType == XTInt4Data) scene.Put(2, static_cast<int32>(row.number));
        if (row.sourceType == XTDoubleData) scene.Put(2, row.number);
        if (row.sourceType == XTCharData) std::memcpy(scene.In(2), "abc   ", 7);
        scene.Put(3, int32{33});
        const auto check = [&](auto&& transfer) {
            const std::optional<ErrorMessage> error = Raised(transfer);
            ASSERT_TRUE(error.has_value());
            EXPECT_EQ(error->GetCode(), row.code) << error->what();
            ASSERT_EQ(error->GetMessageCount(), row.named ? 2u : 1u) << error->what();
            if (row.named) {
                EXPECT_EQ(error->GetMessage(1).code, kMsgConversionFailedInColumn);
                EXPECT_EQ(error->GetMessage(1).arguments, Arguments{L"THIRD"});
            }
            EXPECT_TRUE(scene.Untouched(2) && scene.Untouched(3));
        };
        check([&] { scene.binder.TransferRecord(); });
        EXPECT_EQ(scene.Get<int32>(0), 11);
        EXPECT_EQ(scene.Get<int32>(1), 22);
        EXPECT_EQ(scene.toRecord[scene.to.GetFieldDescriptor(1)->GetNullOffset()], 0);
        check([&] { scene.binder.TransferField(1, 3); });
        check([&] { scene.binder.MoveDataToIntoField(2, scene.In(2), 6, 0); });
        scene.binder.TransferField(3, 1);  // the column after it transfers on its own
        EXPECT_EQ(scene.Get<int32>(3), 33);
    }
}

TEST(BinderLookupTest, VarCharIntoTimeStampUsesTheVarCharToDateTimeConverter) {
    Scene wide({{XTVarCharData, 40}}, {{XTTimeStampData}}, kCharDataUniCode);
    EXPECT_EQ(wide.binder.GetFieldConverter(0)->GetConvertFunction(),
              &SUDataConvert::ConvertVarXTCharToDateTime);
    const std::wstring text = L"2024/03/05 12:30:45.000000007";
    wide.Put(0, static_cast<uint32>(text.size()));
    std::memcpy(wide.In(0) + 4, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    wide.binder.TransferRecord();
    const auto value = wide.Get<XTDateTime>(0);
    EXPECT_EQ(std::vector<uint32>({value.day_, value.hour_, value.second_, value.nanosecond_}),
              std::vector<uint32>({5, 12, 45, 7}));
    // A narrow VarChar has no converter into either.
    Scene narrow({{XTVarCharData, 40}}, {{XTTimeStampData}}, kCharDataNarrowCode, false);
    ExpectError(
        [&] { narrow.Bind(0); }, kMsgNoConverter,
        {L"VARCHAR", L"false", L"false", L"false", L"TIMESTAMP", L"false", L"false", L"false"});
}

// A character source gets one byte more for its terminator, whatever the target.
TEST(BinderLookupTest, TargetMaximum) {
    const std::tuple<XTDataType, XTDataType, uint32, uint32> rows[] = {
        {XTCharData, XTInt4Data, 0, 5},
        {XTVarCharData, XTLongVarCharData, 10, 11},
        {XTInt2Data, XTInt4Data, 0, 4},
        {XTInt4Data, XTCharData, 12, 12}};
    for (const auto& [sourceType, targetType, targetLength, capacity] : rows) {
        Scene scene({{sourceType, 8}}, {{targetType, targetLength}});
        EXPECT_EQ(scene.binder.GetFieldConverter(0)->GetToFieldMaxSize(), capacity) << targetType;
    }
}

// A retriever's outcome: nullness and size, or size -1 for error 46034.
struct Retrieved {
    int null;
    int64 size;
    bool operator==(const Retrieved&) const = default;
};

class BinderRetrieverTest : public ::testing::TestWithParam<std::tuple<XTDataType, bool, bool>> {};

// Two probes tell the retrievers apart: (null byte 1, caller length 3) and (null byte 0,
// caller length -1); a variable-length value holds the prefix 7, the maximum is 10.
TEST_P(BinderRetrieverTest, ChosenByTypeNullByteAndLengthCell) {
    const auto [type, nullable, withCell] = GetParam();
    const Retrieved none{0, 10}, null{1, 0}, prefix{0, 7}, nullByte{1, 10}, three{0, 3},
        error{0, -1};
    const std::pair<Retrieved, Retrieved> table[2][2][2] = {
        // [variable][nullable][cell]
        {{{none, none}, {three, error}}, {{nullByte, none}, {three, null}}},
        {{{prefix, prefix}, {three, error}}, {{null, prefix}, {null, error}}}};
    const auto& expected = table[Types::IsVariableLengthDataType(type)][nullable][withCell];
    unsigned char data[16] = {7};
    uint8 nullValue = 0;
    XTLengthCell cell = 0;
    XTFromField field;
    field.Set(type, data, data, nullable ? &nullValue : nullptr, withCell ? &cell : nullptr, 10);
    const auto probe = [&](uint8 isNull, XTLengthCell length) {
        nullValue = isNull;
        cell = length;
        field.fromFieldSize_ = 10;
        field.fromIsNull_ = 0;
        if (Raised([&] { field.Retrieve(); })) return Retrieved{0, -1};
        return Retrieved{field.fromIsNull_, field.fromFieldSize_};
    };
    EXPECT_EQ(probe(1, 3), expected.first);
    EXPECT_EQ(probe(0, -1), expected.second);
    field.Unbind();
    EXPECT_TRUE(field.retrieve_ == nullptr && field.fromFieldStart_ == nullptr);
}

INSTANTIATE_TEST_SUITE_P(Table, BinderRetrieverTest,
                         ::testing::Combine(::testing::Values(XTVarCharData, XTLongVarCharData,
                                                              XTVarBinaryData, XTLongVarBinaryData,
                                                              XTInt4Data, XTCharData, XTDateData),
                                            ::testing::Bool(), ::testing::Bool()));

TEST(BinderRetrieverTest, LengthBounds) {
    unsigned char data[32] = {30};
    XTFromField field;
    field.Set(XTVarCharData, data, data, nullptr, nullptr, 10);  // UTF-8: 3 bytes a character
    field.Retrieve();
    EXPECT_EQ(field.fromFieldSize_, 30u);
    data[0] = 31;
    ExpectError([&] { field.Retrieve(); }, kMsgValueTooLong, {L"31", L"10"});
    // -3 measures a zero-terminated value, which must end within the maximum.
    XTLengthCell cell = kXTNullTerminated;
    field.Set(XTCharData, data, data, nullptr, &cell, 10);
    std::memcpy(data, "abcd\0xyz", 8);
    field.Retrieve();
    EXPECT_EQ(field.fromFieldSize_, 4u);
    std::memset(data, 'x', 20);
    ExpectError([&] { field.Retrieve(); }, kMsgValueTooLong, {L"11", L"10"});
    for (const XTLengthCell refused : {11, -2}) {
        cell = refused;
        ExpectError([&] { field.Retrieve(); }, kMsgValueTooLong, {std::to_wstring(refused), L"10"});
    }
}

TEST(BinderBindingTest, CallerLengthCellThroughTheBinder) {
    Scene scene({{XTCharData, 10}}, {{XTVarCharData, 20}}, 0, false);
    XTLengthCell cell = kXTNullTerminated;
    scene.Bind(0, &cell);
    std::memcpy(scene.In(0), "abc\0 junk", 10);
    scene.binder.TransferRecord();
    EXPECT_EQ(scene.GetText(0), "abc");
    cell = 2;
    scene.binder.TransferRecord();
    EXPECT_EQ(scene.GetText(0), "ab");
}

TEST(BinderBindingTest, RangesOfTheBoundColumnsAndUnbind) {
    const std::vector<ColumnSpec> columns = {
        {XTInt4Data, 0, true}, {XTInt4Data, 0, true}, {XTInt4Data}, {XTInt4Data, 0, true}};
    Scene scene(columns, columns);
    const auto outOfRange = [](int32 position) {
        return Arguments{std::to_wstring(position), L"4"};
    };
    ExpectError([&] { scene.binder.TransferNullValue(2, 3); }, 46030, outOfRange(5));
    ExpectError([&] { scene.binder.TransferField(3, 2); }, 46030, outOfRange(5));
    ExpectError([&] { scene.binder.MoveDataToIntoField(4, scene.In(0), 4, 0); }, 46030,
                outOfRange(4));
    ExpectError([&] { scene.binder.BindFromTransferRecord(4, scene.fromRecord.data(), nullptr); },
                46030, outOfRange(4));
    EXPECT_FALSE(scene.Bind(4) || scene.Bind(-1));
    EXPECT_EQ(scene.binder.GetFieldConverter(4), nullptr);
    scene.binder.TransferNullValue(1, 3);  // null bytes where the target has one
    const auto nulls = scene.toRecord.begin() + scene.to.GetNullsOffset();
    EXPECT_EQ(Bytes(nulls, nulls + 3), (Bytes{0xA5, 1, 1}));
    EXPECT_EQ(*scene.binder.GetFieldConverter(2)->GetToNullIndicator(), 1);
    // Without source slots nothing transfers; a slot made again transfers its column.
    scene.Put(1, int32{6});
    scene.binder.Unbind();
    scene.binder.TransferRecord();
    EXPECT_TRUE(scene.Untouched(0) && scene.Untouched(1));
    ASSERT_TRUE(scene.binder.BindFromTransferRecord(1, scene.fromRecord.data(), nullptr));
    scene.binder.TransferRecord();
    EXPECT_TRUE(scene.Untouched(0));
    EXPECT_EQ(scene.Get<int32>(1), 6);
}

TEST(BinderBindingTest, MakeFieldDataBinderBindsTheSmallerCount) {
    for (const auto& [fromCount, toCount] : {std::pair{3, 5}, std::pair{5, 3}}) {
        const XTRecordMetaData from = Describe(std::vector<ColumnSpec>(fromCount, {XTInt2Data}));
        XTRecordMetaData to = Describe(std::vector<ColumnSpec>(toCount, {XTInt4Data}));
        Bytes fromRecord(from.GetBinaryRecordSize(), 0), toRecord(to.GetBinaryRecordSize(), 0xA5);
        for (int32 i = 0; i < fromCount; ++i)
            fromRecord[2 * i] = static_cast<uint8>(i + 1);
        const Heap<XTFieldDataBinder> binder = XTFieldDataBinder::MakeFieldDataBinder(
            from, 0, to, 0, toRecord.data(), fromRecord.data());
        EXPECT_EQ(binder->GetBindFieldCount(), toCount);
        binder->TransferRecord();
        for (int32 i = 0; i < toCount; ++i) {
            const bool bound = i < std::min(fromCount, toCount);
            EXPECT_EQ(binder->GetFieldConverter(i)->GetConvertFunction() != nullptr, bound) << i;
            EXPECT_EQ(toRecord[4 * i], bound ? i + 1 : 0xA5) << i;
        }
    }
    // Without a transfer record there are no source slots; given values still convert.
    Scene scene({{XTInt2Data}, {XTInt2Data}}, {{XTInt4Data}, {XTInt4Data}});
    const Heap<XTFieldDataBinder> binder = XTFieldDataBinder::MakeFieldDataBinder(
        scene.from, 0, scene.to, 0, scene.toRecord.data(), nullptr);
    binder->TransferRecord();
    binder->TransferField(1, 1);
    EXPECT_EQ(scene.toRecord, Bytes(scene.toRecord.size(), 0xA5));
    const int16 given = -300;
    binder->MoveDataToIntoField(1, reinterpret_cast<const unsigned char*>(&given), 2, 0);
    EXPECT_EQ(scene.Get<int32>(1), -300);
}

// Trailing blanks into a variable-length target are trimmed unless the process flag or the
// binding's own argument turns trimming off.
TEST(BinderBindingTest, TrimmingOfVariableLengthTargets) {
    for (const bool processFlag : {false, true}) {
        for (const bool disableTrim : {false, true}) {
            const bool saved = g_bAvoidRightTrimVarChar;
            g_bAvoidRightTrimVarChar = processFlag;
            Scene scene({{XTCharData, 8}}, {{XTVarCharData, 10}}, 0, false);
            scene.Bind(0, nullptr, disableTrim);
            g_bAvoidRightTrimVarChar = saved;
            std::memcpy(scene.In(0), "ab      ", 9);
            scene.binder.TransferRecord();
            const bool kept = processFlag || disableTrim;
            EXPECT_EQ(scene.binder.GetFieldConverter(0)->GetConvertParams().bAvoidRtrimToVarChar,
                      kept);
            EXPECT_EQ(scene.GetText(0), kept ? "ab      " : "ab");
        }
    }
}

TEST(BinderBindingTest, BlobParameterIsCopied) {
    XTFieldDataBinder binder;
    ByteVector copy{9}, blob{1, 2, 3};
    EXPECT_FALSE(binder.IsBlobParameter() || binder.TransferBlobParameter(copy));
    EXPECT_EQ(copy, ByteVector{9});
    binder.SetBlobParameter(&blob);
    EXPECT_TRUE(binder.IsBlobParameter() && binder.TransferBlobParameter(copy));
    copy[0] = 7;
    EXPECT_EQ(blob, (ByteVector{1, 2, 3}));
}

TEST(BinderAllocationTest, FixedWidthRecordTransfersWithoutAllocating) {
    const std::vector<ColumnSpec> columns = {{XTInt4Data},   {XTInt2Data, 0, true},
                                             {XTDoubleData}, {XTDateData, 0, true},
                                             {XTBoolean},    {XTTimeStampData, 0, true}};
    Scene scene(columns, columns);
    scene.Put(3, XTDate{2024, 2, 29});
    scene.Put(5, XTDateTime{2024, 2, 29, 1, 2, 3, 4});
    const xts::test::AllocationCounter counter;
    for (int round = 0; round < 64; ++round) {
        scene.binder.SetMarshall(round % 2 == 0);
        scene.binder.SetEndianProperty(round % 4 < 2);
        scene.fromRecord[scene.from.GetFieldDescriptor(1)->GetNullOffset()] = round % 3 == 0;
        scene.binder.TransferRecord();
    }
    EXPECT_EQ(counter.Count(), 0u);
}

TEST(BinderDeathTest, BindRecordNeedsADescription) {
    XTFieldDataBinder binder;
    EXPECT_DEATH(binder.SetBindRecord(nullptr, nullptr, 0, 0, 0), "bindRecordMetaData != nullptr");
}

}  // namespace
