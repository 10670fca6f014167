// The field data binder: generated result sets end to end (stream, pack, unpack, bind,
// transfer) against direct calls of the same converters, with the failing column named by
// 46226; the converter look-up; the source retrievers; ranges; transfer without allocation.
#include <gtest/gtest.h>

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
using Values = std::vector<int64>;
constexpr int64 kA5 = int32(0xA5A5A5A5);  // an untouched target

TEST(BinderEndToEnd, GeneratedResultSetsTransferAsTheirConvertersDirectlyCalled) {
    constexpr std::string_view kStamp = "2024/03/05 12:30:45.5",
                               kTexts[] = {"42",       " -17 ",      "3.75",  "255", "-129",
                                           "1e3",      "true",       "hello", "",    "70000",
                                           "12:30:45", "2024/03/05", kStamp};
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
            while (targets.empty()) {
                const auto type = static_cast<XTDataType>(random() % 25);
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
            server.DescribleField(i, row.inputDataType_, 1 + random() % 24, row.isInputNull_, 10, 0,
                                  L"", L"");
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
        const AppVersionOption version(format == 1, 2);  // client and server at 12 (type 1) or 17
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
                    isNull ? "" : kTexts[random() % std::size(kTexts)].substr(0, length);
                uint32 prefix = isNull ? 0 : random() % (length + 1);
                const auto r = [&](uint32 limit) { return uint16(1 + random() % limit); };
                const XTDateTime moment{int16(r(9999)), r(12), r(28), r(23), r(59), r(59), r(999)};
                const XTTime time = moment.GetTime();
                if (Types::IsXTTextType(type)) {  // Char blank-padded, VarChar after its prefix
                    unsigned char* chars = value + (type == XTCharData ? 0 : 4);
                    if (type == XTCharData) std::memset(chars, ' ', length);
                    std::memcpy(chars, text.data(), text.size());
                    chars[type == XTCharData ? length : text.size()] = 0;
                    prefix = uint32(text.size());
                }
                if (Types::IsVariableLengthDataType(type)) DataBlobUtil::ToBuffer(value, prefix);
                if (type == XTNumericData) TarvelNumber(int32(random()) / 997.0).ToBuffer(value);
                if (type == XTTimeData) std::memcpy(value, &time, sizeof time);
                if (type == XTDateData || type == XTDateTimeData || type == XTTimeStampData)
                    std::memcpy(value, &moment, type == XTDateData ? 6 : 16);
            }
            const unsigned char* end =
                wire.data() + server.PackRecord(wire.data(), serverRecord.data(), version, false);
            ASSERT_EQ(transfer.UnpackRecord(transferRecord.data(), wire.data(), end, version), end);
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
            for (int32 i = 0; i < int32(cells.size()); ++i)
                EXPECT_EQ(std::pair(*binder->GetFieldConverter(i)->GetToReturnDataLength(),
                                    *binder->GetFieldConverter(i)->GetToNullIndicator()),
                          cells[i]);
            ASSERT_EQ(error.has_value(), expectedError.has_value());
            ++outcomes[error.has_value()];
            if (!error) continue;
            // The converter's own messages; after an overflow or underflow, and only then,
            // 46226 with the failing column's name on top.
            bool named = error->HasCode(kMsgValueOverflow) || error->HasCode(kMsgValueUnderflow);
            EXPECT_EQ(error->GetCode(), expectedError->GetCode());
            ASSERT_EQ(error->GetMessageCount(), expectedError->GetMessageCount() + named);
            const auto& top = error->GetMessages().back();
            EXPECT_TRUE(!named || (top.code == kMsgConversionFailedInColumn &&
                                   top.arguments == Args{L"A" + std::to_wstring(cells.size())}));
        }
    }
    EXPECT_TRUE(outcomes[0] > 400 && outcomes[1] > 100);  // both outcomes are exercised
}

// A source and an application record (filled with A5), with a binder set up column by column
// (`binder`) or made by MakeFieldDataBinder (`Make`).
struct Scene {
    Scene(const std::vector<Column>& fromColumns, const std::vector<Column>& toColumns,
          bool wide = false)
        : from(Describe(fromColumns, wide)),
          to(Describe(toColumns)),
          fromRecord(from.GetBinaryRecordSize()),
          toRecord(to.GetBinaryRecordSize(), 0xA5) {
        binder.SetBindRecord(&to, toRecord.data(), 0, wide, to.GetFieldCount());
    }
    bool Bind(int32 i, bool disableTrim = false) {
        return binder.SetFromFieldDescriptor(i, from.GetFieldDescriptor(0), fromRecord.data(),
                                             nullptr, nullptr, false, false, false, disableTrim);
    }
    Heap<XTFieldDataBinder> Make(bool withTransferRecord = true) {
        return XTFieldDataBinder::MakeFieldDataBinder(
            from, 0, to, 0, toRecord.data(), withTransferRecord ? fromRecord.data() : nullptr);
    }
    template <class T>
    void Put(int32 i, T value) {
        std::memcpy(&fromRecord[from.GetFieldDescriptor(i)->GetByteOffset()], &value, sizeof value);
    }
    Values Got() const {  // the first 4 bytes of each target, signed
        Values values;
        for (const auto& column : to.GetFieldDescriptorArray())
            values.push_back(
                int32(DataBlobUtil::GetLittleEndianUInt32(&toRecord[column->GetByteOffset()])));
        return values;
    }
    M from, to;
    Bytes fromRecord, toRecord;
    XTFieldDataBinder binder;
};

TEST(Binder, ConverterLookUpCapacityAndRanges) {
    // A VarChar source into a TimeStamp target uses the VarChar-to-DateTime converter.
    Scene wide({{XTVarCharData, 40}}, {{XTTimeStampData}}, true);
    ASSERT_TRUE(wide.Bind(0) && wide.binder.GetFieldConverter(0)->GetConvertFunction() ==
                                    &SUDataConvert::ConvertVarXTCharToDateTime);
    const std::wstring text = std::wstring(1, 29) + L"2024/03/05 12:30:45.000000007";
    std::memcpy(wide.fromRecord.data(), text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    wide.binder.TransferRecord();
    EXPECT_EQ(Bytes(wide.toRecord.begin(), wide.toRecord.begin() + 16),
              Bytes({0xE8, 7, 3, 0, 5, 0, 12, 0, 30, 0, 45, 0, 7, 0, 0, 0}));
    Scene narrow({{XTVarCharData, 40}}, {{XTTimeStampData}});
    ExpectError(
        [&] { narrow.Bind(0); }, kMsgNoConverter,
        {L"VARCHAR", L"false", L"false", L"false", L"TIMESTAMP", L"false", L"false", L"false"});
    // A character source gets one byte more for its terminator, whatever the target.
    for (const auto& [type, capacity] : {std::pair{XTCharData, 5u}, {XTInt2Data, 4u}}) {
        Scene scene({{type, 8}}, {{XTInt4Data}});
        EXPECT_TRUE(scene.Bind(0) &&
                    scene.binder.GetFieldConverter(0)->GetToFieldMaxSize() == capacity);
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
    const Retrieved none{0, 10}, null{1, 0}, seven{0, 7}, flagged{1, 10}, three{0, 3}, error{0, -1};
    const std::pair<Retrieved, Retrieved> table[2][2][2] = {
        // [variable][nullable][cell]
        {{{none, none}, {three, error}}, {{flagged, none}, {three, null}}},
        {{{seven, seven}, {three, error}}, {{null, seven}, {null, error}}}};
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

// A VarChar of maximum 10 takes 30 bytes (3 a character) and refuses 31; a caller length of -3
// measures a zero-terminated value with strlen, and one past the maximum is refused.
TEST(Binder, LengthBounds) {
    unsigned char data[32] = {30, 0, 0, 0, 'a', 'b', 'c', 'd', 0, 'x', 'y', 'z'};
    XTLengthCell cell = kXTNullTerminated;
    XTFromField varChar, text;
    varChar.Set(XTVarCharData, data, data, nullptr, nullptr, 10);
    text.Set(XTCharData, data + 4, data + 4, nullptr, &cell, 10);
    varChar.Retrieve();
    text.Retrieve();
    EXPECT_TRUE(varChar.fromFieldSize_ == 30 && text.fromFieldSize_ == 4);
    data[0] = 31;
    cell = 11;
    ExpectError([&] { varChar.Retrieve(); }, kMsgValueTooLong, {L"31", L"10"});
    ExpectError([&] { text.Retrieve(); }, kMsgValueTooLong, {L"11", L"10"});
}

// TransferField and MoveDataToIntoField are TransferRecord on the columns they name: the same
// converters, the same stop at a failing column named by 46226.
TEST(Binder, ColumnSubsetsStopAtTheFailingColumn) {
    Scene scene({{XTInt4Data}, {XTInt2Data}, {XTInt4Data}, {XTInt4Data}},
                {{XTInt4Data}, {XTInt4Data, 0, true}, {XTInt2Data}, {XTInt4Data}});
    const Heap<XTFieldDataBinder> binder = scene.Make();
    for (int32 i = 0; i < 4; ++i)
        i == 1 ? scene.Put(i, int16{22}) : scene.Put(i, int32{i == 2 ? 70000 : 11 * (i + 1)});
    const auto failsOnColumn2 = [&](const std::function<void()>& transfer, const Values& after) {
        const std::optional<ErrorMessage> error = Raised(transfer);
        EXPECT_TRUE(error && error->GetCode() == kMsgValueOverflow &&
                    error->GetMessageCount() == 2 &&
                    error->GetMessages().back().arguments == Args{L"c2"});
        EXPECT_EQ(scene.Got(), after);
    };
    failsOnColumn2([&] { binder->TransferField(2, 2); }, {kA5, kA5, kA5, kA5});
    failsOnColumn2([&] { binder->TransferRecord(); }, {11, 22, kA5, kA5});
    EXPECT_EQ(scene.toRecord[scene.to.GetFieldDescriptor(1)->GetNullOffset()], 0);
    failsOnColumn2([&] { binder->MoveDataToIntoField(2, &scene.fromRecord[8], 4, 0); },
                   {11, 22, kA5, kA5});  // the 70000 of the source's column 2
    binder->TransferField(3, 1);
    EXPECT_EQ(scene.Got(), (Values{11, 22, kA5, 44}));
    ExpectError([&] { binder->TransferField(3, 2); }, 46030, {L"5", L"4"});
    ExpectError([&] { binder->MoveDataToIntoField(4, nullptr, 0, 0); }, 46030, {L"4", L"4"});
    // Unbind clears the source slots: nothing transfers until a slot is made again.
    scene.Put(0, int32{-5});
    scene.Put(3, int32{-6});
    binder->Unbind();
    binder->TransferRecord();
    ASSERT_TRUE(binder->BindFromTransferRecord(3, scene.fromRecord.data(), nullptr));
    binder->TransferRecord();
    EXPECT_EQ(scene.Got(), (Values{11, 22, kA5, -6}));
}

TEST(Binder, MakeFieldDataBinderBindsTheSmallerCount) {
    for (const auto& [fromCount, toCount] : {std::pair{3, 5}, std::pair{5, 3}}) {
        Scene scene(std::vector<Column>(fromCount, {XTInt2Data}),
                    std::vector<Column>(toCount, {XTInt4Data}));
        for (int32 i = 0; i < fromCount; ++i) scene.Put(i, static_cast<int16>(i + 1));
        const Heap<XTFieldDataBinder> binder = scene.Make();
        binder->TransferRecord();
        EXPECT_EQ(binder->GetBindFieldCount(), toCount);
        EXPECT_EQ(scene.Got(), (toCount == 5 ? Values{1, 2, 3, kA5, kA5} : Values{1, 2, 3}));
    }
    // Without a transfer record there are no source slots; given values still convert.
    Scene scene({{XTInt2Data}, {XTInt2Data}}, {{XTInt4Data}, {XTInt4Data}});
    const Heap<XTFieldDataBinder> binder = scene.Make(false);
    binder->TransferRecord();
    const int16 given = -300;
    binder->MoveDataToIntoField(1, reinterpret_cast<const unsigned char*>(&given), 2, 0);
    EXPECT_EQ(scene.Got(), (Values{kA5, -300}));
}

// Trailing blanks into variable text are trimmed unless the process flag or the binding turns
// trimming off; the statement's blob parameter is copied out.
TEST(Binder, TrimmingOfVariableTextAndTheBlobParameter) {
    for (const bool processFlag : {false, true})
        for (const bool disableTrim : {false, true}) {
            const bool saved = std::exchange(g_bAvoidRightTrimVarChar, processFlag);
            Scene scene({{XTCharData, 8}}, {{XTVarCharData, 10}});
            scene.Bind(0, disableTrim);
            g_bAvoidRightTrimVarChar = saved;
            std::memcpy(scene.fromRecord.data(), "ab      ", 9);
            scene.binder.TransferRecord();
            const std::string want = processFlag || disableTrim ? "ab      " : "ab";
            EXPECT_EQ(scene.Got()[0], int64(want.size()));
            EXPECT_EQ(std::string(reinterpret_cast<char*>(&scene.toRecord[4]), want.size()), want);
        }
    XTFieldDataBinder binder;
    ByteVector copy{9}, blob{1, 2, 3};
    EXPECT_FALSE(binder.IsBlobParameter() || binder.TransferBlobParameter(copy) ||
                 copy != ByteVector{9});
    binder.SetBlobParameter(&blob);
    EXPECT_TRUE(binder.IsBlobParameter() && binder.TransferBlobParameter(copy) && copy == blob);
}

TEST(Binder, FixedWidthRecordTransfersWithoutAllocating) {
    const std::vector<Column> columns = {{XTInt4Data},
                                         {XTInt2Data, 0, true},
                                         {XTDoubleData},
                                         {XTDateData, 0, true},
                                         {XTTimeStampData, 0, true}};
    Scene scene(columns, columns);
    const Heap<XTFieldDataBinder> binder = scene.Make();
    const XTDateTime moment{2024, 2, 29, 1, 2, 3, 4};
    std::memcpy(&scene.fromRecord[16], &moment, 6);   // the Date
    std::memcpy(&scene.fromRecord[24], &moment, 16);  // the TimeStamp
    const xts::test::AllocationCounter counter;
    for (int round = 0; round < 64; ++round) {
        binder->SetMarshall(round % 2 == 0);
        binder->SetEndianProperty(round % 4 < 2);
        scene.fromRecord[scene.from.GetFieldDescriptor(1)->GetNullOffset()] = round % 3 == 0;
        binder->TransferRecord();
    }
    EXPECT_EQ(counter.Count(), 0u);
}

TEST(BinderDeathTest, BindRecordNeedsADescription) {
    XTFieldDataBinder binder;
    EXPECT_DEATH(binder.SetBindRecord(nullptr, nullptr, 0, 0, 0), "bindRecordMetaData != nullptr");
}

}  // namespace
