// Packed records: XTRecordMetaData::PackRecordVersion1/2 and
// UnpackRecordVersion1/2 over two records, in bytes of the in-memory record
// per second, against memcpy of the same record in the same run (the least
// any packer or unpacker has to do: move the record's bytes once).
//
// Cases:
//  - Mixed10: ten columns (Int4 x 2, Double x 2, a nullable Numeric, a short
//    VarChar, a DateTime, Int2, Int1, Float), 112 bytes in memory;
//  - Int100: a hundred Int4 columns, not nullable, 400 bytes.
// Format 2 sends the Numeric as its bytes (client version 14); format 1 packs
// it as a double and unpacks the 28-byte image that the server sends.
// UnpackRecordV2Checked is the bounds-checked format-2 unpacker.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

XTS_BENCH_TARGET("UnpackRecordV2/Int100", .minRatio = 0.25);

struct Column {
    XTDataType type;
    uint32 length;
    bool nullable;
};

XTRecordMetaData Describe(const std::vector<Column>& columns) {
    XTRecordMetaData description;
    description.SetFieldCount(static_cast<int32>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i)
        description.DescribleField(static_cast<int32>(i), columns[i].type, columns[i].length,
                                   columns[i].nullable, 15, 0, L"c" + std::to_wstring(i), L"");
    description.GenerateAlignedFieldOffset(false, 0);
    return description;
}

struct Case {
    XTRecordMetaData description;
    std::vector<unsigned char> record;
    std::vector<unsigned char> packed1;  // format 1 as the server sends it
    std::vector<unsigned char> packed2;
    std::vector<unsigned char> out;
};

void Put(Case& c, int32 column, const void* value, std::size_t length) {
    std::memcpy(c.record.data() + c.description.GetFieldDescriptor(column)->GetByteOffset(), value,
                length);
}

std::vector<unsigned char> PackWith(const XTRecordMetaData& description,
                                    const std::vector<unsigned char>& record, int format) {
    std::vector<unsigned char> packed(description.GetMaxPackedRecordSize());
    const uint32 total =
        format == 1 ? description.PackRecordVersion1(packed.data(), record.data(), false, false)
                    : description.PackRecordVersion2(packed.data(), record.data(), 14, false);
    packed.resize(total);
    return packed;
}

Case MakeMixed10() {
    const std::vector<Column> columns = {{XTInt4Data, 0, false},     {XTInt4Data, 0, false},
                                         {XTDoubleData, 0, false},   {XTDoubleData, 0, false},
                                         {XTNumericData, 0, true},   {XTVarCharData, 20, false},
                                         {XTDateTimeData, 0, false}, {XTInt2Data, 0, false},
                                         {XTInt1Data, 0, false},     {XTFloatData, 0, false}};
    Case c{Describe(columns), {}, {}, {}, {}};
    c.record.assign(c.description.GetBinaryRecordSize(), 0);
    const int32 id = 4711, quantity = 12;
    const double price = 19.99, total = 239.88;
    Put(c, 0, &id, 4);
    Put(c, 1, &quantity, 4);
    Put(c, 2, &price, 8);
    Put(c, 3, &total, 8);
    TarvelNumber(12345.67).ToBuffer(c.record.data() +
                                    c.description.GetFieldDescriptor(4)->GetByteOffset());
    const unsigned char text[] = {9, 0, 0, 0, 'w', 'i', 'd', 'g', 'e', 't', '-', '4', '2', 0};
    Put(c, 5, text, sizeof text);
    const unsigned char dateTime[16] = {0xE8, 0x07, 6, 0, 11, 0, 12, 0, 30, 0, 15, 0, 0, 0, 0, 0};
    Put(c, 6, dateTime, sizeof dateTime);
    const int16 small = -3;
    const float ratio = 0.25f;
    Put(c, 7, &small, 2);
    Put(c, 9, &ratio, 4);
    c.packed2 = PackWith(c.description, c.record, 2);
    // The server's format 1 carries the Numeric's 28 bytes: pack a twin whose
    // Numeric column is a Binary(28) at the same (4-aligned) place.
    std::vector<Column> twin = columns;
    twin[4] = {XTBinaryData, 28, true};
    const XTRecordMetaData server = Describe(twin);
    c.packed1 = PackWith(server, c.record, 1);
    c.out.assign(c.description.GetBinaryRecordSize(), 0);
    return c;
}

Case MakeInt100() {
    Case c{Describe(std::vector<Column>(100, Column{XTInt4Data, 0, false})), {}, {}, {}, {}};
    c.record.resize(c.description.GetBinaryRecordSize());
    for (std::size_t i = 0; i < c.record.size(); ++i) c.record[i] = static_cast<unsigned char>(i);
    c.packed1 = PackWith(c.description, c.record, 1);
    c.packed2 = PackWith(c.description, c.record, 2);
    c.out.assign(c.description.GetBinaryRecordSize(), 0);
    return c;
}

Case& GetCase(const std::string& name) {
    static Case mixed = MakeMixed10();
    static Case integers = MakeInt100();
    return name == "Mixed10" ? mixed : integers;
}

enum class Operation { kPack1, kPack2, kUnpack1, kUnpack2, kUnpack2Checked };

void Ours(benchmark::State& state, const std::string& caseName, Operation operation) {
    Case& c = GetCase(caseName);
    const XTRecordMetaData& d = c.description;
    std::vector<unsigned char> packed(d.GetMaxPackedRecordSize());
    for (auto _ : state) {
        switch (operation) {
            case Operation::kPack1:
                benchmark::DoNotOptimize(
                    d.PackRecordVersion1(packed.data(), c.record.data(), false, false));
                break;
            case Operation::kPack2:
                benchmark::DoNotOptimize(
                    d.PackRecordVersion2(packed.data(), c.record.data(), 14, false));
                break;
            case Operation::kUnpack1:
                benchmark::DoNotOptimize(d.UnpackRecordVersion1(c.out.data(), c.packed1.data()));
                break;
            case Operation::kUnpack2:
                benchmark::DoNotOptimize(d.UnpackRecordVersion2(c.out.data(), c.packed2.data()));
                break;
            case Operation::kUnpack2Checked:
                benchmark::DoNotOptimize(d.UnpackRecordVersion2(
                    c.out.data(), c.packed2.data(), c.packed2.data() + c.packed2.size()));
                break;
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * d.GetBinaryRecordSize());
}

void Baseline(benchmark::State& state, const std::string& caseName) {
    Case& c = GetCase(caseName);
    const std::size_t size = c.record.size();
    for (auto _ : state) {
        benchmark::DoNotOptimize(c.record.data());
        std::memcpy(c.out.data(), c.record.data(), size);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

const bool kRegistered = [] {
    const std::pair<const char*, Operation> operations[] = {
        {"PackRecordV1", Operation::kPack1},
        {"PackRecordV2", Operation::kPack2},
        {"UnpackRecordV1", Operation::kUnpack1},
        {"UnpackRecordV2", Operation::kUnpack2},
        {"UnpackRecordV2Checked", Operation::kUnpack2Checked}};
    for (const char* caseName : {"Mixed10", "Int100"}) {
        for (const auto& [family, operation] : operations) {
            const std::string name = std::string(family) + "/" + caseName;
            benchmark::RegisterBenchmark((name + "/ours").c_str(), Ours, std::string(caseName),
                                         operation);
            benchmark::RegisterBenchmark((name + "/baseline").c_str(), Baseline,
                                         std::string(caseName));
        }
    }
    return true;
}();

}  // namespace
