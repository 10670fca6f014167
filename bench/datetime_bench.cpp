// Per-value cost of the date and time converters with the default formats,
// called through their function pointers over an array of values as the
// binder calls them.
//
//  - Into text ("DateTimeToText/<Record>"): Date, Time and DateTime into a
//    narrow Char. Baseline: snprintf of the same fields into the same text
//    ("%04d/%02d/%02d", "%02d:%02d:%02d.%09u" and both joined by a blank).
//  - From text ("TextToDateTime/<Record>"): the texts back into records
//    through the Char converters. Baseline: a hand-written parse of the fixed
//    layout (digits at fixed positions, the separators checked, the fields
//    range-checked, the day checked against the month).
//
// The values are valid date-times of years 1000 to 9999 (fixed seed), so that
// every text has the default format's full length. Items are values; bytes
// are the bytes of text written or read.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Client/SUCDataConvert.h"

namespace {

constexpr int kValueCount = 1024;
constexpr unsigned kSeed = 20240305;
constexpr uint32 kTextStride = 32;  // a Char column wide enough for every text

// Writing the default formats should not be slower than snprintf.
XTS_BENCH_TARGET("DateTimeToText/Date", .minRatio = 1);
XTS_BENCH_TARGET("DateTimeToText/Time", .minRatio = 1);
XTS_BENCH_TARGET("DateTimeToText/DateTime", .minRatio = 1);

std::vector<XTDateTime> Values() {
    std::mt19937 random(kSeed);
    std::vector<XTDateTime> values(kValueCount);
    for (XTDateTime& value : values) {
        value.year_ = static_cast<int16>(1000 + random() % 9000);
        value.month_ = static_cast<uint16>(1 + random() % 12);
        value.day_ =
            static_cast<uint16>(1 + random() % XTDate::GetDaysInMonth(value.year_, value.month_));
        value.hour_ = static_cast<uint16>(random() % 24);
        value.minute_ = static_cast<uint16>(random() % 60);
        value.second_ = static_cast<uint16>(random() % 60);
        value.nanosecond_ = random() % XTTime::kNanosecondsPerSecond;
    }
    return values;
}

// The records of one kind, one after the other.
template <class Record>
std::vector<Record> Records() {
    std::vector<Record> records;
    for (const XTDateTime& value : Values()) {
        Record record{};
        record = value;  // a date or a time keeps its own fields
        records.push_back(record);
    }
    return records;
}

// ---- Baselines ----

// snprintf cuts a text at the capacity as the converters do; the compiler's
// warning about that cut is beside the point here.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"
#endif

int FormatFields(const XTDate& date, char* text, std::size_t size) {
    return std::snprintf(text, size, "%04d/%02u/%02u", date.year_, unsigned{date.month_},
                         unsigned{date.day_});
}
int FormatFields(const XTTime& time, char* text, std::size_t size) {
    return std::snprintf(text, size, "%02u:%02u:%02u.%09u", unsigned{time.hour_},
                         unsigned{time.minute_}, unsigned{time.second_}, time.nanosecond_);
}
int FormatFields(const XTDateTime& value, char* text, std::size_t size) {
    return std::snprintf(text, size, "%04d/%02u/%02u %02u:%02u:%02u.%09u", value.year_,
                         unsigned{value.month_}, unsigned{value.day_}, unsigned{value.hour_},
                         unsigned{value.minute_}, unsigned{value.second_}, value.nanosecond_);
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

// The number of `count` digits at `text`, or -1 when one is not a digit.
inline int Digits(const char* text, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned digit = static_cast<unsigned char>(text[i]) - '0';
        if (digit > 9) return -1;
        value = value * 10 + static_cast<int>(digit);
    }
    return value;
}

bool ParseFields(const char* text, uint32 length, XTDate& date) {
    if (length != 10 || text[4] != '/' || text[7] != '/') return false;
    const int year = Digits(text, 4), month = Digits(text + 5, 2), day = Digits(text + 8, 2);
    if (!XTDate::IsValidDate(year, month, day)) return false;
    date = XTDate{static_cast<int16>(year), static_cast<uint16>(month), static_cast<uint16>(day)};
    return true;
}
bool ParseFields(const char* text, uint32 length, XTTime& time) {
    if (length != 18 || text[2] != ':' || text[5] != ':' || text[8] != '.') return false;
    const int hour = Digits(text, 2), minute = Digits(text + 3, 2), second = Digits(text + 6, 2);
    const int nanosecond = Digits(text + 9, 9);
    if (hour < 0 || minute < 0 || second < 0 || nanosecond < 0 ||
        !XTTime::IsValidTime(hour, minute, second, static_cast<uint32>(nanosecond)))
        return false;
    time = XTTime{static_cast<uint16>(hour), static_cast<uint16>(minute),
                  static_cast<uint16>(second), 0, static_cast<uint32>(nanosecond)};
    return true;
}
bool ParseFields(const char* text, uint32 length, XTDateTime& value) {
    XTDate date;
    XTTime time;
    if (length != 29 || text[10] != ' ' || !ParseFields(text, 10, date) ||
        !ParseFields(text + 11, 18, time))
        return false;
    value = date;
    value.hour_ = time.hour_;
    value.minute_ = time.minute_;
    value.second_ = time.second_;
    value.nanosecond_ = time.nanosecond_;
    return true;
}

// The baseline converters, of the converters' signature.
template <class Record>
__attribute__((noinline)) void FormatBaseline(DataConvertParams, const unsigned char* from, uint32,
                                              uint8, unsigned char* to, uint32 toLength,
                                              uint8& toIsNull, uint64& returnLength) {
    Record record;
    std::memcpy(&record, from, sizeof record);
    const int length = FormatFields(record, reinterpret_cast<char*>(to), toLength);
    toIsNull = 0;
    returnLength = static_cast<uint64>(length < static_cast<int>(toLength) ? length : toLength - 1);
}

template <class Record>
__attribute__((noinline)) void ParseBaseline(DataConvertParams, const unsigned char* from,
                                             uint32 fromLength, uint8, unsigned char* to, uint32,
                                             uint8& toIsNull, uint64& returnLength) {
    const auto* text = reinterpret_cast<const char*>(from);
    const uint32 length = static_cast<uint32>(strnlen(text, fromLength));
    Record record;
    if (!ParseFields(text, length, record)) std::abort();
    std::memcpy(to, &record, sizeof record);
    toIsNull = 0;
    returnLength = sizeof record;
}

// ---- Runs ----

template <class Record>
void FormatAll(benchmark::State& state, DataConvert_t converter) {
    const std::vector<Record> records = Records<Record>();
    std::vector<unsigned char> texts(static_cast<std::size_t>(kValueCount) * kTextStride);
    std::vector<uint8> nulls(kValueCount);
    std::vector<uint64> lengths(kValueCount);
    const DataConvertParams params{};
    benchmark::DoNotOptimize(converter);
    for (auto _ : state) {
        unsigned char* to = texts.data();
        for (int i = 0; i < kValueCount; ++i) {
            converter(params, reinterpret_cast<const unsigned char*>(&records[i]), sizeof(Record),
                      0, to, kTextStride, nulls[i], lengths[i]);
            to += kTextStride;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kValueCount);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kValueCount *
                            static_cast<int64_t>(lengths[0]));
}

// The texts of every value in the default format, in Char slots.
template <class Record>
std::vector<unsigned char> Texts() {
    std::vector<unsigned char> texts(static_cast<std::size_t>(kValueCount) * kTextStride);
    const std::vector<Record> records = Records<Record>();
    for (int i = 0; i < kValueCount; ++i)
        FormatFields(records[i], reinterpret_cast<char*>(&texts[i * kTextStride]), kTextStride);
    return texts;
}

template <class Record>
void ParseAll(benchmark::State& state, DataConvert_t converter) {
    const std::vector<unsigned char> texts = Texts<Record>();
    std::vector<Record> records(kValueCount);
    std::vector<uint8> nulls(kValueCount);
    std::vector<uint64> lengths(kValueCount);
    const DataConvertParams params{};
    benchmark::DoNotOptimize(converter);
    for (auto _ : state) {
        const unsigned char* from = texts.data();
        for (int i = 0; i < kValueCount; ++i) {
            converter(params, from, kTextStride, 0, reinterpret_cast<unsigned char*>(&records[i]),
                      sizeof(Record), nulls[i], lengths[i]);
            from += kTextStride;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kValueCount);
    state.SetBytesProcessed(
        static_cast<int64_t>(state.iterations()) * kValueCount *
        static_cast<int64_t>(std::strlen(reinterpret_cast<const char*>(texts.data()))));
}

// Checks once that ours and the baseline agree on every value, so that the
// two sides of each pair do the same work.
template <class Record>
void CheckAgreement(const char* name, DataConvert_t format, DataConvert_t parse) {
    const std::vector<unsigned char> texts = Texts<Record>();
    const std::vector<Record> records = Records<Record>();
    for (int i = 0; i < kValueCount; ++i) {
        unsigned char text[kTextStride];
        Record record{};
        uint8 isNull = 0;
        uint64 length = 0;
        format(DataConvertParams{}, reinterpret_cast<const unsigned char*>(&records[i]),
               sizeof(Record), 0, text, kTextStride, isNull, length);
        parse(DataConvertParams{}, &texts[i * kTextStride], kTextStride, 0,
              reinterpret_cast<unsigned char*>(&record), sizeof record, isNull, length);
        if (std::strcmp(reinterpret_cast<const char*>(text),
                        reinterpret_cast<const char*>(&texts[i * kTextStride])) != 0 ||
            std::memcmp(&record, &records[i], sizeof record) != 0) {
            std::fprintf(stderr, "%s: ours and the baseline disagree on value %d\n", name, i);
            std::abort();
        }
    }
}

template <class Record>
void Register(const char* name, DataConvert_t format, DataConvert_t parse) {
    CheckAgreement<Record>(name, format, parse);
    const std::string toText = std::string("DateTimeToText/") + name;
    const std::string fromText = std::string("TextToDateTime/") + name;
    benchmark::RegisterBenchmark((toText + "/ours").c_str(), [format](benchmark::State& state) {
        FormatAll<Record>(state, format);
    });
    benchmark::RegisterBenchmark((toText + "/baseline").c_str(), [](benchmark::State& state) {
        FormatAll<Record>(state, FormatBaseline<Record>);
    });
    benchmark::RegisterBenchmark((fromText + "/ours").c_str(), [parse](benchmark::State& state) {
        ParseAll<Record>(state, parse);
    });
    benchmark::RegisterBenchmark((fromText + "/baseline").c_str(), [](benchmark::State& state) {
        ParseAll<Record>(state, ParseBaseline<Record>);
    });
}

const bool kRegistered = [] {
    Register<XTDate>("Date", SUDataConvert::ConvertDateToChar, SUDataConvert::ConvertCharToDate);
    Register<XTTime>("Time", SUDataConvert::ConvertTimeToChar, SUDataConvert::ConvertCharToTime);
    Register<XTDateTime>("DateTime", SUDataConvert::ConvertDateTimeToChar,
                         SUDataConvert::ConvertCharToDateTime);
    return true;
}();

}  // namespace
