// Per-value cost of the numeric converters, called as the binder calls them:
// through the function pointer that the registry returns, over an array of
// values. The baseline is a bare indirect call through a function pointer of
// the same signature that only copies the value (no check, no null form), so
// the ratio shows what the conversion itself costs on top of the call.
//
// Cases: widening Int16 -> Int32, checked narrowing Int32 -> Int16 (values
// in range), Float64 -> Int32 (values in range), Int32 -> Numeric and
// Numeric -> Float64 (typical decimal values with two fraction digits).
// Each iteration converts kValueCount values; items are values.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

constexpr int kValueCount = 1024;
constexpr unsigned kSeed = 20240611;
constexpr uint32 kNumericWidth = TarvelNumber::kFieldLength;

// The fixed-width converters should cost at most 1.5 times the bare call.
XTS_BENCH_TARGET("Converter/Int16ToInt32", .minRatio = 1 / 1.5);
XTS_BENCH_TARGET("Converter/Int32ToInt16", .minRatio = 1 / 1.5);
XTS_BENCH_TARGET("Converter/Float64ToInt32", .minRatio = 1 / 1.5);

// The baseline converter: copies a Source value into a Target, nothing else.
template <class Source, class Target>
__attribute__((noinline)) void CopyValue(DataConvertParams, const unsigned char* from, uint32,
                                         uint8, unsigned char* to, uint32, uint8& toIsNull,
                                         uint64& returnLength) {
    Source value;
    std::memcpy(&value, from, sizeof value);
    const auto result = static_cast<Target>(value);
    std::memcpy(to, &result, sizeof result);
    toIsNull = 0;
    returnLength = sizeof result;
}

// The values of one case, laid out one after the other at the column widths.
struct Input {
    std::vector<unsigned char> sources;
    uint32 sourceStride = 0;
    uint32 sourceLength = 0;
    uint32 targetStride = 0;
};

template <class T>
void Append(Input& input, T value) {
    const std::size_t at = input.sources.size();
    input.sources.resize(at + sizeof value);
    std::memcpy(input.sources.data() + at, &value, sizeof value);
}

Input Int16Values() {
    std::mt19937 random(kSeed);
    Input input{{}, 2, 2, 4};
    for (int i = 0; i < kValueCount; ++i) Append(input, static_cast<int16>(random()));
    return input;
}

Input Int32Values(bool withinInt16, uint32 targetStride) {
    std::mt19937 random(kSeed + 1);
    Input input{{}, 4, 4, targetStride};
    for (int i = 0; i < kValueCount; ++i) {
        auto value = static_cast<int32>(random() >> (random() % 32));
        if (i % 3 == 0) value = -value;
        if (withinInt16) value = static_cast<int16>(value);
        Append(input, value);
    }
    return input;
}

Input Float64Values() {
    std::mt19937 random(kSeed + 2);
    std::uniform_real_distribution<double> values(-2.0e9, 2.0e9);
    Input input{{}, 8, 8, 4};
    for (int i = 0; i < kValueCount; ++i) Append(input, values(random));
    return input;
}

// Numbers as a Numeric column holds them: prices and measurements with two
// fraction digits, from 0.01 to a few millions.
Input NumericValues() {
    std::mt19937 random(kSeed + 3);
    Input input{{}, kNumericWidth, kNumericWidth, 8};
    input.sources.resize(static_cast<std::size_t>(kValueCount) * kNumericWidth);
    for (int i = 0; i < kValueCount; ++i) {
        const long long cents = static_cast<long long>(random() % 1000000000u) - 100000000;
        char text[32];
        std::snprintf(text, sizeof text, "%lld.%02lld", cents / 100, std::llabs(cents % 100));
        TarvelNumber number;
        if (!TarvelNumber::TryParse(std::string_view(text), number)) std::abort();
        number.ToBuffer(input.sources.data() + static_cast<std::size_t>(i) * kNumericWidth);
    }
    return input;
}

// Converts every value of `input` per iteration through `converter`.
void ConvertAll(benchmark::State& state, const Input& input, DataConvert_t converter) {
    std::vector<unsigned char> targets(static_cast<std::size_t>(kValueCount) * input.targetStride);
    std::vector<uint8> nulls(kValueCount);
    std::vector<uint64> lengths(kValueCount);
    const DataConvertParams params{};
    // The call stays indirect: the compiler may not assume which function it is.
    benchmark::DoNotOptimize(converter);
    for (auto _ : state) {
        const unsigned char* from = input.sources.data();
        unsigned char* to = targets.data();
        for (int i = 0; i < kValueCount; ++i) {
            converter(params, from, input.sourceLength, 0, to, input.targetStride, nulls[i],
                      lengths[i]);
            from += input.sourceStride;
            to += input.targetStride;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kValueCount);
}

DataConvert_t Registered(XTDataType source, XTDataType target) {
    const DataConvert_t converter = SUDataConvert::GetConverterFunction(
        source, false, false, false, target, false, false, false);
    if (converter == nullptr) {
        std::fprintf(stderr, "no converter registered for %d -> %d\n", source, target);
        std::abort();
    }
    return converter;
}

struct Case {
    const char* name;
    XTDataType source;
    XTDataType target;
    Input (*input)();
    DataConvert_t baseline;
};

const Case kCases[] = {
    {"Int16ToInt32", XTInt2Data, XTInt4Data, Int16Values, CopyValue<int16, int32>},
    {"Int32ToInt16", XTInt4Data, XTInt2Data, [] { return Int32Values(true, 2); },
     CopyValue<int32, int16>},
    {"Float64ToInt32", XTDoubleData, XTInt4Data, Float64Values, CopyValue<double, int32>},
    {"Int32ToNumeric", XTInt4Data, XTNumericData, [] { return Int32Values(false, kNumericWidth); },
     CopyValue<int32, int32>},
    {"NumericToFloat64", XTNumericData, XTDoubleData, NumericValues, CopyValue<double, double>},
};

const bool kRegistered = [] {
    for (const Case& c : kCases) {
        const std::string family = std::string("Converter/") + c.name;
        benchmark::RegisterBenchmark((family + "/ours").c_str(), [&c](benchmark::State& state) {
            ConvertAll(state, c.input(), Registered(c.source, c.target));
        });
        benchmark::RegisterBenchmark((family + "/baseline").c_str(), [&c](benchmark::State& state) {
            ConvertAll(state, c.input(), c.baseline);
        });
    }
    return true;
}();

}  // namespace
