// Record layout: XTRecordMetaData::GenerateAlignedFieldOffset for 10, 100
// and 1000 columns of mixed types (fixed seed).
//
// The layout is one pass over the columns plus one over the nullable ones,
// so its time per column ("ns_per_column", in seconds with an SI prefix)
// should stay flat as the column count grows. The baseline walks the same
// descriptors and only sums their lengths: the least work any layout has to
// do per column (one handle, one descriptor read), so the ratio shows what the
// alignment rules cost on top of visiting the columns.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "BenchSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"

namespace {

constexpr XTDataType kTypes[] = {XTCharData,  XTVarCharData, XTBinaryData,   XTNumericData,
                                 XTDateData,  XTTimeData,    XTDateTimeData, XTBoolean,
                                 XTInt1Data,  XTInt2Data,    XTInt4Data,     XTUInt4Data,
                                 XTFloatData, XTDoubleData,  XTObjectData,   XTVarBinaryData};

XTRecordMetaData MakeRecord(int columns) {
    std::mt19937 random(4242);
    XTRecordMetaData record;
    record.SetFieldCount(columns);
    for (int i = 0; i < columns; ++i) {
        const XTDataType type = kTypes[random() % std::size(kTypes)];
        record.DescribleField(i, type, 1 + random() % 64, random() % 2 == 0, 10, 0,
                              L"c" + std::to_wstring(i), L"");
    }
    return record;
}

void SetPerColumn(benchmark::State& state, int columns) {
    state.counters["ns_per_column"] = benchmark::Counter(
        columns, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void AlignedLayoutOurs(benchmark::State& state, int columns) {
    XTRecordMetaData record = MakeRecord(columns);
    for (auto _ : state) {
        record.GenerateAlignedFieldOffset(false, 0);
        benchmark::DoNotOptimize(record.GetBinaryRecordSize());
    }
    SetPerColumn(state, columns);
}

void AlignedLayoutBaseline(benchmark::State& state, int columns) {
    XTRecordMetaData record = MakeRecord(columns);
    for (auto _ : state) {
        uint64 total = 0;
        for (const RefCnt<XTFieldDescriptor>& column : record.GetFieldDescriptorArray())
            total += column.Get()->GetObjectLength();
        benchmark::DoNotOptimize(total);
    }
    SetPerColumn(state, columns);
}

const bool kRegistered = [] {
    for (const int columns : {10, 100, 1000}) {
        const std::string name = "AlignedLayout/Columns" + std::to_string(columns);
        benchmark::RegisterBenchmark((name + "/ours").c_str(), AlignedLayoutOurs, columns);
        benchmark::RegisterBenchmark((name + "/baseline").c_str(), AlignedLayoutBaseline, columns);
    }
    return true;
}();

}  // namespace
