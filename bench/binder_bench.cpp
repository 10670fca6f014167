// Rows per second of XTFieldDataBinder::TransferRecord, against calling the
// same converters directly: the function pointers the binder chose, with the
// same arguments (source value, size, nullness, target, capacity, null and
// length cells), column after column. The ratio shows what the binder adds
// per row on top of its converters: the source retrievers (length prefixes,
// null bytes), the per-column dispatch and the error guard.
//
// Cases:
//  - DemoRecord: the 13-column sample result set of `xtsutil demo` (integers,
//    floating values, Numeric, Boolean, text, binary, dates) bound to the
//    application types the demo uses; its converters are mostly text and
//    date conversions, so the binder's share is small.
//  - Int20: 20 integer columns of mixed widths and signs (every third
//    nullable) into 32-bit integers; the converters are a few instructions
//    each, so this shows the binder's own cost per column.
// Items are rows.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Client/SUCXTFieldDataBinder.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

// The binder should add at most 30% to its converters' own cost.
XTS_BENCH_TARGET("BinderTransfer/DemoRecord", .minRatio = 1 / 1.3);
XTS_BENCH_TARGET("BinderTransfer/Int20", .minRatio = 1 / 1.3);

struct Column {
    XTDataType serverType;
    uint32 length;  // characters or bytes for text and binary columns
    bool nullable;
    XTDataType applicationType;
    bool applicationNullable;
    bool applicationWide;
    uint32 applicationLength;
};

// The sample result set of DemoCommand.cpp.
const std::vector<Column> kDemoColumns = {
    {XTInt4Data, 0, false, XTInt4Data, false, false, 0},
    {XTInt2Data, 0, true, XTInt4Data, true, false, 0},
    {XTDoubleData, 0, false, XTCharData, false, false, 12},
    {XTFloatData, 0, true, XTFloatData, true, false, 0},
    {XTNumericData, 0, true, XTVarCharData, true, true, 12},
    {XTBoolean, 0, false, XTCharData, false, false, 1},
    {XTCharData, 4, false, XTCharData, false, true, 4},
    {XTVarCharData, 16, true, XTVarCharData, true, true, 16},
    {XTLongVarCharData, 24, true, XTLongVarCharData, true, false, 24},
    {XTVarBinaryData, 4, false, XTLongVarBinaryData, false, false, 4},
    {XTDateData, 0, false, XTCharData, false, false, 11},
    {XTTimeData, 0, false, XTCharData, false, true, 8},
    {XTTimeStampData, 0, true, XTTimeStampData, true, false, 0},
};

std::vector<Column> IntegerColumns() {
    const XTDataType types[] = {XTInt4Data,  XTInt2Data,  XTInt1Data,
                                XTUInt4Data, XTUInt2Data, XTUInt1Data};
    std::vector<Column> columns;
    for (int i = 0; i < 20; ++i)
        columns.push_back({types[i % 6], 0, i % 3 == 2, XTInt4Data, i % 3 == 2, false, 0});
    return columns;
}

// A transfer record of the columns with one row of values (a third of the
// nullable values null), an application record and a binder between them
// using the converters the demo uses (narrow UTF-8 text on both sides; wide
// application columns where the column says so).
class Scene {
public:
    explicit Scene(const std::vector<Column>& columns) {
        const auto count = static_cast<int32>(columns.size());
        transfer_.SetFieldCount(count);
        application_.SetFieldCount(count);
        for (int32 i = 0; i < count; ++i) {
            const Column& c = columns[static_cast<std::size_t>(i)];
            const std::wstring name = L"C" + std::to_wstring(i);
            transfer_.DescribleField(i, c.serverType, c.length, c.nullable, 15, 0, name, name,
                                     SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code);
            application_.DescribleField(
                i, c.applicationType, c.applicationLength, c.applicationNullable, 15, 0, name, name,
                c.applicationWide ? SUXTDataTypeUtility::kOverrideAsUnicode
                                  : SUXTDataTypeUtility::kAcceptRecordDefault);
        }
        transfer_.GenerateAlignedFieldOffset(false, 0);
        application_.GenerateAlignedFieldOffset(false, 0);
        transferRecord_.assign(transfer_.GetBinaryRecordSize() / 8 + 1, 0);
        applicationRecord_.assign(application_.GetBinaryRecordSize() / 8 + 1, 0);
        for (int32 i = 0; i < count; ++i) FillValue(i);

        binder_.SetBindRecord(&application_, ApplicationBytes(), kCharDataNarrowUTF8Code,
                              kCharDataNarrowUTF8Code, count);
        for (int32 i = 0; i < count; ++i) {
            const Column& c = columns[static_cast<std::size_t>(i)];
            const RefCnt<XTFieldDescriptor> from = transfer_.GetFieldDescriptor(i);
            const DataConvert_t convert = SUDataConvert::GetConverterFunction(
                c.serverType, c.nullable, false, false, c.applicationType, c.applicationNullable,
                c.applicationWide, false);
            binder_.SetFromFieldDescriptor(i, from, TransferBytes(), nullptr, convert, false, false,
                                           false, false);
        }
    }

    XTFieldDataBinder& Binder() { return binder_; }

    // The converters' own work for one row: every bound column's converter
    // called with the arguments the binder passes, the source sizes and null
    // bytes read as the binder's retrievers read them.
    struct DirectCall {
        DataConvert_t convert;
        DataConvertParams params;
        const unsigned char* from;
        const uint8* nullByte;  // null when the source is not nullable
        bool variable;          // the size is the length prefix at `from`
        uint32 size;
        unsigned char* to;
        uint32 toLength;
        uint8* toIsNull;
        uint64* returnLength;
    };
    std::vector<DirectCall> DirectCalls() {
        std::vector<DirectCall> calls;
        for (int32 i = 0; i < transfer_.GetFieldCount(); ++i) {
            const XTFieldDescriptor& from = *transfer_.GetFieldDescriptor(i);
            const XTFieldConverter& converter = *binder_.GetFieldConverter(i);
            calls.push_back({converter.GetConvertFunction(), converter.GetConvertParams(),
                             TransferBytes() + from.GetByteOffset(),
                             from.IsNullable() ? TransferBytes() + from.GetNullOffset() : nullptr,
                             SUXTDataTypeUtility::IsVariableLengthDataType(from.GetXTDataType()),
                             from.GetObjectLength(), converter.GetToFieldData(),
                             converter.GetToFieldMaxSize(), converter.GetToNullIndicator(),
                             converter.GetToReturnDataLength()});
        }
        return calls;
    }

private:
    unsigned char* TransferBytes() {
        return reinterpret_cast<unsigned char*>(transferRecord_.data());
    }
    unsigned char* ApplicationBytes() {
        return reinterpret_cast<unsigned char*>(applicationRecord_.data());
    }

    void FillValue(int32 i) {
        const XTFieldDescriptor& desc = *transfer_.GetFieldDescriptor(i);
        unsigned char* value = TransferBytes() + desc.GetByteOffset();
        const auto put = [value](const auto& v) { std::memcpy(value, &v, sizeof v); };
        const auto putText = [&](const char* text) {
            const auto count = static_cast<uint32>(std::strlen(text));
            if (desc.GetXTDataType() == XTCharData) {
                std::memcpy(value, text, count + 1);
                return;
            }
            put(count);
            std::memcpy(value + 4, text, count + 1);
        };
        if (desc.IsNullable()) TransferBytes()[desc.GetNullOffset()] = i % 6 == 5;
        switch (desc.GetXTDataType()) {
            case XTInt4Data:
            case XTUInt4Data: put(int32{1000 + i}); break;
            case XTInt2Data:
            case XTUInt2Data: put(int16{static_cast<int16>(7 * i)}); break;
            case XTInt1Data:
            case XTUInt1Data: put(static_cast<int8_t>(i)); break;
            case XTDoubleData: put(23.24); break;
            case XTFloatData: put(0.15f); break;
            case XTNumericData: {
                TarvelNumber total;
                TarvelNumber::TryParse("1251.5678", total);
                total.ToBuffer(value);
                break;
            }
            case XTBoolean: put(uint8{1}); break;
            case XTCharData: putText("EU  "); break;
            case XTVarCharData:
                putText(
                    "Jos\xC3\xA9 N\xC3\xBA\xC3\xB1"
                    "ez");
                break;
            case XTLongVarCharData: putText("leave at the door"); break;
            case XTVarBinaryData: putText("\xC0\x01\xFF\x1F"); break;
            case XTDateData: put(XTDate{2024, 1, 2}); break;
            case XTTimeData: put(XTTime{9, 7, 13, 0, 0}); break;
            default: put(XTDateTime{2024, 6, 2, 12, 1, 0, 1000000}); break;
        }
    }

    XTRecordMetaData transfer_;
    XTRecordMetaData application_;
    std::vector<unsigned long long> transferRecord_;  // 8-byte aligned records
    std::vector<unsigned long long> applicationRecord_;
    XTFieldDataBinder binder_;
};

void TransferOurs(benchmark::State& state, const std::vector<Column>& columns) {
    Scene scene(columns);
    XTFieldDataBinder& binder = scene.Binder();
    for (auto _ : state) {
        binder.TransferRecord();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void TransferBaseline(benchmark::State& state, const std::vector<Column>& columns) {
    Scene scene(columns);
    const std::vector<Scene::DirectCall> calls = scene.DirectCalls();
    for (auto _ : state) {
        for (const Scene::DirectCall& call : calls) {
            const uint8 isNull = call.nullByte != nullptr && *call.nullByte != 0;
            uint32 size = call.size;
            if (call.variable) std::memcpy(&size, call.from, sizeof size);
            call.convert(call.params, call.from, isNull ? 0 : size, isNull, call.to, call.toLength,
                         *call.toIsNull, *call.returnLength);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

const bool kRegistered = [] {
    static const std::vector<Column> integers = IntegerColumns();
    for (const auto& [name, columns] :
         {std::pair{"DemoRecord", &kDemoColumns}, std::pair{"Int20", &integers}}) {
        const std::string family = std::string("BinderTransfer/") + name;
        benchmark::RegisterBenchmark((family + "/ours").c_str(), TransferOurs, *columns);
        benchmark::RegisterBenchmark((family + "/baseline").c_str(), TransferBaseline, *columns);
    }
    return true;
}();

}  // namespace
