// The field data binder: generated result sets end to end (stream, pack, unpack, bind,
// transfer) against direct calls of the same converters, with the failing column named by
// 46226; the converter look-up; the source retrievers; ranges; transfer without allocation.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string_view>

#include "CountingAllocator.h"
#include "RecordTestSupport.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Client/SUCXTFieldDataBinder.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using namespace xts::test;
using Types = SUXTDataTypeUtility;

std::optional<ErrorMessage> Raised(const std::function<void()>& action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error;
    }
    return std::nullopt;
}

TEST(BinderEndToEnd, GeneratedResultSetsTransferAsTheirConvertersDirectlyCalled) {
    constexpr std::string_view kTexts[] = {"42",
                                           " -17 ",
                                           "3.75",
                                           "255",
                                           "-129",
                                           "1e3",
                                           "true",
                                           "hello",
                                           "",
                                           "70000",
                                           "12:30:45",
                                           "2024/03/05",
                                           "2024/03/05 12:30:45.5"};
    std::mt19937 random(20240612);
    int outcomes[2] = {0, 0};  // transferred, failed
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int format = 1 + round % 2;
        const bool wide = random() % 2;
        const int32 fromCode = random() % 2 ? kCharDataNarrowUTF8Code : kCharDataNarrowCode;
        const auto count = static_cast<int32>(1 + random() % 9);
        M server, application;
        server.SetFieldCount(count);
        application.SetFieldCount(count);
        for (int32 i = 0; i < count; ++i) {
            // A narrow source and one of the targets the registry serves it, with text as wide
            // as the application record. Format 1 has no Numeric: it unpacks the server's form,
            // not the client's.
            std::vector<const PropertyFuncInfo*> targets;
            XTDataType type = XTUnknown;
            while (targets.empty()) {
                type = static_cast<XTDataType>(random() % 25);
                const bool nullable = random() % 2;
                for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows())
                    if (row.inputDataType_ == type && row.isInputNull_ == nullable &&
                        !row.isInputUnicode_ && !row.isInputExteranlVarChar_ &&
                        !row.isOutputExteranlVarChar_ && row.outputDataType_ != XTObjectData &&
                        (format == 2 || type != XTNumericData) &&
                        (!Types::IsXTTextType(row.outputDataType_) || row.isOutputUnicode_ == wide))
                        targets.push_back(&row);
            }
            const PropertyFuncInfo& row = *targets[random() % targets.size()];
            server.DescribleField(i, type, 1 + random() % 24, row.isInputNull_, 10, 0, L"", L"");
            // At least 5: Bit and Boolean need a count and a character in variable text.
            application.DescribleField(i, row.outputDataType_, 5 + random() % 20, row.isOutputNull_,
                                       10, 0, L"A" + std::to_wstring(i), L"");
        }
        server.GenerateAlignedFieldOffset(false, 0);
        application.GenerateAlignedFieldOffset(wide, 0);
        ByteVector stream;
        server.StreamTo(stream);
        M transfer;
        transfer.DestreamFrom(stream.data(), stream.data() + stream.size());
        AppVersionOption version;
        version.m_clientVersion = version.m_serverVersion = format == 1 ? 12 : 17;
        Bytes serverRecord(server.GetBinaryRecordSize()), transferRecord(serverRecord.size());
        Bytes wire(server.GetMaxPackedRecordSize()),
            applicationRecord(application.GetBinaryRecordSize(), 0xA5);
        const Heap<XTFieldDataBinder> binder = XTFieldDataBinder::MakeFieldDataBinder(
            transfer, fromCode, application, wide, applicationRecord.data(), transferRecord.data());
        binder->SetMarshall(round % 3 == 0);  // a no-op on this machine, either way
        binder->SetEndianProperty(random() % 2);
        const DataConvertParams params{wide, fromCode, false, false, g_bAvoidRightTrimVarChar};
        for (int row = 0; row < 4; ++row) {
            // Random bytes, with text of the pool, valid dates and times, numbers and prefixes
            // in their columns; null variable-length values have the prefix 0.
            for (unsigned char& byte : serverRecord) byte = static_cast<unsigned char>(random());
            for (int32 i = 0; i < count; ++i) {
                const D& column = *server.GetFieldDescriptor(i);
                const XTDataType type = column.GetXTDataType();
                const uint32 length = column.GetObjectLength();
                unsigned char* value = &serverRecord[column.GetByteOffset()];
                const bool isNull = column.IsNullable() && random() % 10 < 3;
                if (column.IsNullable()) serverRecord[column.GetNullOffset()] = isNull;
                const std::string_view text =
                    kTexts[random() % std::size(kTexts)].substr(0, length);
                const auto r = [&](uint32 limit) {
                    return static_cast<uint16>(1 + random() % limit);
                };
                const XTDateTime moment{
                    static_cast<int16>(r(9999)), r(12), r(28), r(23), r(59), r(59), r(999)};
                const XTTime time = moment.GetTime();
                if (Types::IsXTTextType(type)) {  // Char blank-padded, VarChar with its prefix
                    unsigned char* chars = value + (type == XTCharData ? 0 : 4);
                    if (type == XTCharData) std::memset(chars, ' ', length);
                    std::memcpy(chars, text.data(), text.size());
                    chars[type == XTCharData ? length : text.size()] = 0;
                    if (type != XTCharData)
                        DataBlobUtil::ToBuffer(value, uint32(isNull ? 0 : text.size()));
                }
                if (Types::IsXTVarBinaryType(type))
                    DataBlobUtil::ToBuffer(value, uint32(isNull ? 0 : random() % (length + 1)));
                if (type == XTNumericData)
                    TarvelNumber(static_cast<int32>(random()) / 997.0).ToBuffer(value);
                if (type == XTDateData) std::memcpy(value, &moment, 6);
                if (type == XTTimeData) std::memcpy(value, &time, sizeof time);
                if (type == XTDateTimeData || type == XTTimeStampData)
                    std::memcpy(value, &moment, 16);
            }
            const uint32 size = server.PackRecord(wire.data(), serverRecord.data(), version, false);
            ASSERT_EQ(transfer.UnpackRecord(transferRecord.data(), wire.data(), wire.data() + size,
                                            version),
                      wire.data() + size);
            // What TransferRecord must give: each column's converter called directly, up to
            // the first error; the length and null cells of the columns transferred.
            Bytes expected = applicationRecord;
            std::vector<std::pair<uint64, uint8>> cells;
            std::optional<ErrorMessage> expectedError;
            for (int32 i = 0; i < count && !expectedError; ++i) {
                const D& source = *transfer.GetFieldDescriptor(i);
                const D& target = *application.GetFieldDescriptor(i);
                const XTDataType type = source.GetXTDataType(), toType = target.GetXTDataType();
                const DataConvert_t convert = SUDataConvert::GetConverterFunction(
                    type, source.IsNullable(), false, false,
                    type == XTVarCharData && toType == XTTimeStampData ? XTDateTimeData : toType,
                    target.IsNullable(), wide, false);
                const unsigned char* value = &transferRecord[source.GetByteOffset()];
                const uint8 isNull = source.IsNullable() && transferRecord[source.GetNullOffset()];
                uint32 size = source.GetObjectLength();
                if (Types::IsVariableLengthDataType(type)) std::memcpy(&size, value, 4);
                uint8 ownNull = 0;
                uint64 length = 0;
                uint8& toNull = target.IsNullable() ? expected[target.GetNullOffset()] : ownNull;
                expectedError = Raised([&] {
                    convert(params, value, isNull ? 0 : size, isNull,
                            &expected[target.GetByteOffset()],
                            target.GetObjectLength() + Types::IsXTTextType(type), toNull, length);
                });
                if (!expectedError) cells.emplace_back(length, toNull);
            }
            const std::optional<ErrorMessage> error = Raised([&] { binder->TransferRecord(); });
            ASSERT_EQ(applicationRecord, expected);
            for (std::size_t i = 0; i < cells.size(); ++i) {
                const XTFieldConverter& converter =
                    *binder->GetFieldConverter(static_cast<int32>(i));
                EXPECT_EQ(
                    std::pair(*converter.GetToReturnDataLength(), *converter.GetToNullIndicator()),
                    cells[i]);
            }
            ASSERT_EQ(error.has_value(), expectedError.has_value());
            ++outcomes[error.has_value()];
            if (!error) continue;
            // The converter's own messages; after an overflow or underflow, and only then,
            // 46226 with the failing column's name on top.
            const bool named =
                error->HasCode(kMsgValueOverflow) || error->HasCode(kMsgValueUnderflow);
            EXPECT_EQ(error->GetCode(), expectedError->GetCode());
            ASSERT_EQ(error->GetMessageCount(), expectedError->GetMessageCount() + named);
            EXPECT_TRUE(!named ||
                        (error->GetMessages().back().code == kMsgConversionFailedInColumn &&
                         error->GetMessages().back().arguments ==
                             Args{L"A" + std::to_wstring(cells.size())}));
        }
    }
    EXPECT_GT(outcomes[0], 400);  // both outcomes are exercised
    EXPECT_GT(outcomes[1], 100);
}

// A source and an application record (filled with A5), with a binder between them.
struct Scene {
    Scene(const std::vector<Column>& fromColumns, const std::vector<Column>& toColumns,
          bool wide = false)
        : from(Describe(fromColumns, wide)),
          to(Describe(toColumns)),
          fromRecord(from.GetBinaryRecordSize()),
          toRecord(to.GetBinaryRecordSize(), 0xA5) {
        binder.SetBindRecord(&to, toRecord.data(), 0, wide, to.GetFieldCount());
    }
    bool Bind(int32 i) {
        return binder.SetFromFieldDescriptor(i, from.GetFieldDescriptor(0), fromRecord.data(),
                                             nullptr, nullptr, false, false, false, false);
    }
    M from, to;
    Bytes fromRecord, toRecord;
    XTFieldDataBinder binder;
};

TEST(Binder, ConverterLookUpCapacityAndRanges) {
    // A VarChar source into a TimeStamp target uses the VarChar-to-DateTime converter.
    Scene wide({{XTVarCharData, 40}}, {{XTTimeStampData}}, true);
    ASSERT_TRUE(wide.Bind(0));
    EXPECT_EQ(wide.binder.GetFieldConverter(0)->GetConvertFunction(),
              &SUDataConvert::ConvertVarXTCharToDateTime);
    const std::wstring text =
        L"\x1D"
        L"2024/03/05 12:30:45.000000007";  // the prefix 29
    std::memcpy(wide.fromRecord.data(), text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    wide.binder.TransferRecord();
    EXPECT_EQ(Bytes(wide.toRecord.begin(), wide.toRecord.begin() + 16),
              Bytes({0xE8, 7, 3, 0, 5, 0, 12, 0, 30, 0, 45, 0, 7, 0, 0, 0}));
    Scene narrow({{XTVarCharData, 40}}, {{XTTimeStampData}});
    ExpectError(
        [&] { narrow.Bind(0); }, kMsgNoConverter,
        {L"VARCHAR", L"false", L"false", L"false", L"TIMESTAMP", L"false", L"false", L"false"});
    // A character source gets one byte more for its terminator, whatever the target.
    for (const auto& [sourceType, targetType, capacity] :
         {std::tuple{XTCharData, XTInt4Data, 5u}, {XTInt2Data, XTInt4Data, 4u}}) {
        Scene scene({{sourceType, 8}}, {{targetType}});
        scene.Bind(0);
        EXPECT_EQ(scene.binder.GetFieldConverter(0)->GetToFieldMaxSize(), capacity);
    }
    const std::vector<Column> columns(4, {XTInt4Data, 0, true});
    Scene four(columns, columns);
    EXPECT_TRUE(four.Bind(0) && four.Bind(1) && four.Bind(2) && four.Bind(3) && !four.Bind(4));
    ExpectError([&] { four.binder.TransferNullValue(2, 3); }, 46030, {L"5", L"4"});
    four.binder.TransferNullValue(1, 3);
    EXPECT_EQ(Bytes(&four.toRecord[16], &four.toRecord[20]), (Bytes{0xA5, 1, 1, 1}));
}

class BinderRetriever : public ::testing::TestWithParam<std::tuple<XTDataType, bool, bool>> {};

// Two probes tell the retrievers apart: (null byte 1, caller length 3) and (null byte 0,
// caller length -1), each giving (null, size) or size -1 for error 46034; a variable-length
// value holds the prefix 7, the maximum is 10.
TEST_P(BinderRetriever, ChosenByTypeNullByteAndLengthCell) {
    const auto [type, nullable, withCell] = GetParam();
    using Retrieved = std::pair<int, int64>;
    const Retrieved none{0, 10}, null{1, 0}, prefix{0, 7}, nullByte{1, 10}, three{0, 3},
        error{0, -1};
    const std::pair<Retrieved, Retrieved> table[2][2][2] = {
        // [variable][nullable][cell]
        {{{none, none}, {three, error}}, {{nullByte, none}, {three, null}}},
        {{{prefix, prefix}, {three, error}}, {{null, prefix}, {null, error}}}};
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
    EXPECT_EQ(std::pair(probe(1, 3), probe(0, -1)),
              table[Types::IsVariableLengthDataType(type)][nullable][withCell]);
}

INSTANTIATE_TEST_SUITE_P(Table, BinderRetriever,
                         ::testing::Combine(::testing::Values(XTVarCharData, XTLongVarCharData,
                                                              XTVarBinaryData, XTLongVarBinaryData,
                                                              XTInt4Data, XTCharData, XTDateData),
                                            ::testing::Bool(), ::testing::Bool()));

TEST(Binder, LengthBounds) {
    // A VarChar of maximum 10 accepts 30 bytes (3 a character) and refuses 31.
    unsigned char data[32] = {30};
    XTFromField field;
    field.Set(XTVarCharData, data, data, nullptr, nullptr, 10);
    field.Retrieve();
    EXPECT_EQ(field.fromFieldSize_, 30u);
    data[0] = 31;
    ExpectError([&] { field.Retrieve(); }, kMsgValueTooLong, {L"31", L"10"});
    // A caller length of -3 measures a zero-terminated value with strlen.
    XTLengthCell cell = kXTNullTerminated;
    field.Set(XTCharData, data, data, nullptr, &cell, 10);
    std::memcpy(data, "abcd\0xyz", 8);
    field.Retrieve();
    EXPECT_EQ(field.fromFieldSize_, 4u);
    cell = 11;
    ExpectError([&] { field.Retrieve(); }, kMsgValueTooLong, {L"11", L"10"});
}

// The bind side of MakeFieldDataBinder: values of `from` (records made for them) into `to`,
// whose record starts as A5 bytes.
struct Bound {
    Bound(const std::vector<Column>& fromColumns, const std::vector<Column>& toColumns,
          bool withTransferRecord = true)
        : from(Describe(fromColumns)),
          to(Describe(toColumns)),
          fromRecord(from.GetBinaryRecordSize()),
          toRecord(to.GetBinaryRecordSize(), 0xA5),
          binder(XTFieldDataBinder::MakeFieldDataBinder(
              from, 0, to, 0, toRecord.data(), withTransferRecord ? fromRecord.data() : nullptr)) {}
    template <class T>
    void Put(int32 i, T value) {
        std::memcpy(&fromRecord[from.GetFieldDescriptor(i)->GetByteOffset()], &value, sizeof value);
    }
    int64 Get(int32 i) const {  // a 4-byte target, or the A5 pattern
        int32 value;
        std::memcpy(&value, &toRecord[to.GetFieldDescriptor(i)->GetByteOffset()], 4);
        return value == int32(0xA5A5A5A5) ? 0xA5 : value;
    }
    M from, to;
    Bytes fromRecord, toRecord;
    Heap<XTFieldDataBinder> binder;
};

// TransferField and MoveDataToIntoField are TransferRecord on the columns they name: the same
// converters, the same stop at a failing column named by 46226.
TEST(Binder, ColumnSubsetsStopAtTheFailingColumn) {
    const std::vector<Column> from = {{XTInt4Data}, {XTInt2Data}, {XTInt4Data}, {XTInt4Data}};
    Bound bound(from, {{XTInt4Data}, {XTInt4Data, 0, true}, {XTInt2Data}, {XTInt4Data}});
    for (int32 i = 0; i < 4; ++i)
        i == 1 ? bound.Put(i, int16{22}) : bound.Put(i, int32{i == 2 ? 70000 : 11 * (i + 1)});
    const auto failsOnColumn2 = [&](const std::function<void()>& transfer) {
        const std::optional<ErrorMessage> error = Raised(transfer);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->GetCode(), kMsgValueOverflow);
        ASSERT_EQ(error->GetMessageCount(), 2u);
        EXPECT_EQ(error->GetMessages().back().arguments, Args{L"c2"});
        EXPECT_EQ(std::vector<int64>({bound.Get(2), bound.Get(3)}), std::vector<int64>(2, 0xA5));
    };
    failsOnColumn2([&] { bound.binder->TransferField(2, 2); });
    EXPECT_EQ(std::vector<int64>({bound.Get(0), bound.Get(1)}), std::vector<int64>(2, 0xA5));
    failsOnColumn2([&] { bound.binder->TransferRecord(); });
    EXPECT_EQ(std::vector<int64>({bound.Get(0), bound.Get(1)}), (std::vector<int64>{11, 22}));
    EXPECT_EQ(bound.toRecord[bound.to.GetFieldDescriptor(1)->GetNullOffset()], 0);
    const int32 given = 40000;
    failsOnColumn2([&] {
        bound.binder->MoveDataToIntoField(2, reinterpret_cast<const unsigned char*>(&given), 4, 0);
    });
    bound.binder->TransferField(3, 1);
    EXPECT_EQ(bound.Get(3), 44);
    ExpectError([&] { bound.binder->TransferField(3, 2); }, 46030, {L"5", L"4"});
    ExpectError([&] { bound.binder->MoveDataToIntoField(4, nullptr, 0, 0); }, 46030, {L"4", L"4"});
    // Unbind clears the source slots: nothing transfers until a slot is made again.
    bound.Put(0, int32{-5});
    bound.Put(3, int32{-6});
    bound.binder->Unbind();
    bound.binder->TransferRecord();
    ASSERT_TRUE(bound.binder->BindFromTransferRecord(3, bound.fromRecord.data(), nullptr));
    bound.binder->TransferRecord();
    EXPECT_EQ(std::vector<int64>({bound.Get(0), bound.Get(3)}), (std::vector<int64>{11, -6}));
}

TEST(Binder, MakeFieldDataBinderBindsTheSmallerCount) {
    for (const auto& [fromCount, toCount] : {std::pair{3, 5}, std::pair{5, 3}}) {
        Bound bound(std::vector<Column>(fromCount, {XTInt2Data}),
                    std::vector<Column>(toCount, {XTInt4Data}));
        for (int32 i = 0; i < fromCount; ++i) bound.Put(i, static_cast<int16>(i + 1));
        bound.binder->TransferRecord();
        EXPECT_EQ(bound.binder->GetBindFieldCount(), toCount);
        for (int32 i = 0; i < toCount; ++i)
            EXPECT_EQ(bound.Get(i), i < std::min(fromCount, toCount) ? i + 1 : 0xA5) << i;
    }
    // Without a transfer record there are no source slots; given values still convert.
    Bound bound({{XTInt2Data}, {XTInt2Data}}, {{XTInt4Data}, {XTInt4Data}}, false);
    bound.binder->TransferRecord();
    const int16 given = -300;
    bound.binder->MoveDataToIntoField(1, reinterpret_cast<const unsigned char*>(&given), 2, 0);
    EXPECT_EQ(std::vector<int64>({bound.Get(0), bound.Get(1)}), (std::vector<int64>{0xA5, -300}));
}

// Trailing blanks into variable text are trimmed unless the process flag or the binding turns
// trimming off; the statement's blob parameter is copied out.
TEST(Binder, TrimmingOfVariableTextAndTheBlobParameter) {
    for (const bool processFlag : {false, true}) {
        for (const bool disableTrim : {false, true}) {
            const bool saved = g_bAvoidRightTrimVarChar;
            g_bAvoidRightTrimVarChar = processFlag;
            Scene scene({{XTCharData, 8}}, {{XTVarCharData, 10}});
            scene.binder.SetFromFieldDescriptor(0, scene.from.GetFieldDescriptor(0),
                                                scene.fromRecord.data(), nullptr, nullptr, false,
                                                false, false, disableTrim);
            g_bAvoidRightTrimVarChar = saved;
            std::memcpy(scene.fromRecord.data(), "ab      ", 9);
            scene.binder.TransferRecord();
            const bool kept = processFlag || disableTrim;
            uint32 length;
            std::memcpy(&length, scene.toRecord.data(), 4);
            EXPECT_EQ(std::string(reinterpret_cast<char*>(&scene.toRecord[4]), length),
                      kept ? "ab      " : "ab");
        }
    }
    XTFieldDataBinder binder;
    ByteVector copy{9}, blob{1, 2, 3};
    EXPECT_FALSE(binder.IsBlobParameter() || binder.TransferBlobParameter(copy));
    EXPECT_EQ(copy, ByteVector{9});
    binder.SetBlobParameter(&blob);
    EXPECT_TRUE(binder.IsBlobParameter() && binder.TransferBlobParameter(copy));
    EXPECT_EQ(copy, blob);
}

TEST(Binder, FixedWidthRecordTransfersWithoutAllocating) {
    const std::vector<Column> columns = {{XTInt4Data},
                                         {XTInt2Data, 0, true},
                                         {XTDoubleData},
                                         {XTDateData, 0, true},
                                         {XTTimeStampData, 0, true}};
    const M from = Describe(columns);
    M to = Describe(columns);
    Bytes fromRecord(from.GetBinaryRecordSize()), toRecord(to.GetBinaryRecordSize());
    const auto binder =
        XTFieldDataBinder::MakeFieldDataBinder(from, 0, to, 0, toRecord.data(), fromRecord.data());
    const XTDateTime moment{2024, 2, 29, 1, 2, 3, 4};
    std::memcpy(&fromRecord[16], &moment, 6);   // the Date
    std::memcpy(&fromRecord[24], &moment, 16);  // the TimeStamp
    const xts::test::AllocationCounter counter;
    for (int round = 0; round < 64; ++round) {
        binder->SetMarshall(round % 2 == 0);
        binder->SetEndianProperty(round % 4 < 2);
        fromRecord[from.GetFieldDescriptor(1)->GetNullOffset()] = round % 3 == 0;
        binder->TransferRecord();
    }
    EXPECT_EQ(counter.Count(), 0u);
}

TEST(BinderDeathTest, BindRecordNeedsADescription) {
    XTFieldDataBinder binder;
    EXPECT_DEATH(binder.SetBindRecord(nullptr, nullptr, 0, 0, 0), "bindRecordMetaData != nullptr");
}

}  // namespace
