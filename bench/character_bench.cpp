// The character converters' text helpers and narrow-to-wide converters
// against the standard way of doing the same work:
//  - ParseInteger: CharToLongData against std::from_chars on 64 typical
//    integer texts (1 to 11 characters, a quarter negative);
//  - FormatInteger: DigitizeBinaryLongData against std::to_chars on 64 values
//    of every magnitude;
//  - FormatFloat: DigitizeFloat64Data against snprintf("%.2f") on 64 prices
//    and measurements of moderate magnitude;
//  - CharToXTChar and CharToVarXTChar: the converters on UTF-8 column values
//    of 10 and 100 characters (source code kCharDataNarrowUTF8Code) against
//    the bare transcoder (SystemUtility::MultiByteToWideChar, code page
//    65001) into the same target, with no target set: the ratio shows what
//    reading the source and laying out the target cost.
// Each benchmark converts the whole set per iteration.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

constexpr unsigned kSeed = 20240611;
constexpr int kSetSize = 64;

XTS_BENCH_TARGET("ParseInteger/Typical", .minRatio = 1 / 1.5);
XTS_BENCH_TARGET("FormatInteger/Typical", .minRatio = 1 / 1.5);
XTS_BENCH_TARGET("FormatFloat/TwoDecimals", .minRatio = 5);

std::vector<int32> IntegerValues() {
    std::mt19937 random(kSeed);
    std::vector<int32> values;
    for (int i = 0; i < kSetSize; ++i) {
        const auto magnitude = static_cast<int32>(random() >> (1 + random() % 31));
        values.push_back(i % 4 == 0 ? -magnitude : magnitude);
    }
    return values;
}

std::vector<std::string> IntegerTexts() {
    std::vector<std::string> texts;
    for (const int32 value : IntegerValues()) texts.push_back(std::to_string(value));
    return texts;
}

std::vector<double> FloatingValues() {
    std::mt19937 random(kSeed + 1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> values;
    for (int i = 0; i < kSetSize; ++i) {
        const double magnitude = unit(random) * std::pow(10.0, static_cast<int>(random() % 7));
        values.push_back(i % 5 == 0 ? -magnitude : magnitude);
    }
    return values;
}

void ParseIntegerOurs(benchmark::State& state) {
    const std::vector<std::string> texts = IntegerTexts();
    for (auto _ : state) {
        for (const std::string& text : texts) {
            const int32 value = SUDataConvert::CharToLongData(
                text.data(), static_cast<uint32>(text.size()), std::numeric_limits<int32>::max());
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void ParseIntegerBaseline(benchmark::State& state) {
    const std::vector<std::string> texts = IntegerTexts();
    for (auto _ : state) {
        for (const std::string& text : texts) {
            int32 value = 0;
            std::from_chars(text.data(), text.data() + text.size(), value);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void FormatIntegerOurs(benchmark::State& state) {
    const std::vector<int32> values = IntegerValues();
    char text[16];
    for (auto _ : state) {
        for (const int32 value : values) {
            benchmark::DoNotOptimize(
                SUDataConvert::DigitizeBinaryLongData(value, text, sizeof text));
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void FormatIntegerBaseline(benchmark::State& state) {
    const std::vector<int32> values = IntegerValues();
    char text[16];
    for (auto _ : state) {
        for (const int32 value : values) {
            char* end = std::to_chars(text, text + sizeof text - 1, value).ptr;
            *end = '\0';  // the same terminated text
            benchmark::DoNotOptimize(end);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void FormatFloatOurs(benchmark::State& state) {
    const std::vector<double> values = FloatingValues();
    char text[32];
    for (auto _ : state) {
        for (const double value : values) {
            benchmark::DoNotOptimize(SUDataConvert::DigitizeFloat64Data(value, text, sizeof text));
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void FormatFloatBaseline(benchmark::State& state) {
    const std::vector<double> values = FloatingValues();
    char text[32];
    for (auto _ : state) {
        for (const double value : values) {
            benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%.2f", value));
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

// A column value of Western European prose in UTF-8.
std::string ProseUtf8(std::size_t characters) {
    std::string utf8;
    SystemUtility::ToNarrow(xts::bench::ProseValue(characters), utf8, SystemUtility::kUTF8CodePage);
    return utf8;
}

// A narrow fixed or variable source of `characters` characters, converted
// into a wide target one character wider.
void NarrowToWideOurs(benchmark::State& state, DataConvert_t convert, std::size_t characters) {
    const std::string utf8 = ProseUtf8(characters);
    const auto toLength = static_cast<uint32>(characters + 1);
    std::vector<wchar_t> target(toLength + 2);
    uint8 isNull = 0;
    uint64 length = 0;
    DataConvertParams params;
    params.charDataFromDataCode = kCharDataNarrowUTF8Code;
    for (auto _ : state) {
        convert(params, reinterpret_cast<const unsigned char*>(utf8.data()),
                static_cast<uint32>(utf8.size()), 0,
                reinterpret_cast<unsigned char*>(target.data()), toLength, isNull, length);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8.size()));
}

void NarrowToWideBaseline(benchmark::State& state, std::size_t characters) {
    const std::string utf8 = ProseUtf8(characters);
    std::vector<wchar_t> target(characters + 3);
    for (auto _ : state) {
        const int written = SystemUtility::MultiByteToWideChar(
            utf8.data(), static_cast<int>(utf8.size()), target.data(),
            static_cast<int>(target.size()), SystemUtility::kUTF8CodePage);
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8.size()));
}

const bool kRegistered = [] {
    benchmark::RegisterBenchmark("ParseInteger/Typical/ours", ParseIntegerOurs);
    benchmark::RegisterBenchmark("ParseInteger/Typical/baseline", ParseIntegerBaseline);
    benchmark::RegisterBenchmark("FormatInteger/Typical/ours", FormatIntegerOurs);
    benchmark::RegisterBenchmark("FormatInteger/Typical/baseline", FormatIntegerBaseline);
    benchmark::RegisterBenchmark("FormatFloat/TwoDecimals/ours", FormatFloatOurs);
    benchmark::RegisterBenchmark("FormatFloat/TwoDecimals/baseline", FormatFloatBaseline);
    const struct {
        const char* family;
        DataConvert_t convert;
    } converters[] = {{"CharToXTChar", SUDataConvert::ConvertCharToXTChar},
                      {"CharToVarXTChar", SUDataConvert::ConvertCharToVarXTChar}};
    for (const auto& converter : converters) {
        for (const std::size_t characters : {std::size_t{10}, std::size_t{100}}) {
            const std::string name =
                std::string(converter.family) + "/Value" + std::to_string(characters);
            benchmark::RegisterBenchmark((name + "/ours").c_str(), NarrowToWideOurs,
                                         converter.convert, characters);
            benchmark::RegisterBenchmark((name + "/baseline").c_str(), NarrowToWideBaseline,
                                         characters);
        }
    }
    return true;
}();

}  // namespace
