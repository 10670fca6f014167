// Shared by the tests of the numeric converters: the fixed-width number
// words with their limits and display names, encoding of source values,
// calling a converter by name with sentinels in every output, checking what
// it wrote, and the boundary and random values to feed it.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace xts::test::numeric {

// ---------------------------------------------------------------------------
// The fixed-width number words.

enum class Kind { kFlag, kSigned, kUnsigned, kFloating };

struct Word {
    const char* name;  // the word in converter names
    XTDataType type;
    const wchar_t* displayName;
    Kind kind;
    uint32 width;
    int64 min;  // limits of the native value (Bit and Boolean: any byte)
    int64 max;
};

template <class T>
constexpr Word IntegerWord(const char* name, XTDataType type, const wchar_t* displayName) {
    return {name,
            type,
            displayName,
            std::numeric_limits<T>::is_signed ? Kind::kSigned : Kind::kUnsigned,
            sizeof(T),
            std::numeric_limits<T>::min(),
            std::numeric_limits<T>::max()};
}

inline const Word kWords[] = {
    {"Bit", XTBitData, L"BIT", Kind::kFlag, 1, 0, 255},
    {"Boolean", XTBoolean, L"BOOL", Kind::kFlag, 1, 0, 255},
    IntegerWord<int8>("Int8", XTInt1Data, L"TINYINT"),
    IntegerWord<uint8>("UnsignedInt8", XTUInt1Data, L"UNSIGNED TINYINT"),
    IntegerWord<int16>("Int16", XTInt2Data, L"SMALLINT"),
    IntegerWord<uint16>("UnsignedInt16", XTUInt2Data, L"UNSIGNED SMALLINT"),
    IntegerWord<int32>("Int32", XTInt4Data, L"INTEGER"),
    IntegerWord<uint32>("UnsignedInt32", XTUInt4Data, L"UNSIGNED INTEGER"),
    {"Float32", XTFloatData, L"FLOAT", Kind::kFloating, 4, 0, 0},
    {"Float64", XTDoubleData, L"DOUBLE PRECISION", Kind::kFloating, 8, 0, 0},
};
constexpr int kWordCount = static_cast<int>(std::size(kWords));

inline const Word& WordNamed(const std::string& name) {
    for (const Word& word : kWords)
        if (name == word.name) return word;
    throw std::invalid_argument(name);
}
inline bool IsInteger(const Word& word) {
    return word.kind == Kind::kSigned || word.kind == Kind::kUnsigned;
}

// The bounds a floating source is compared with, strictly and before
// truncation, for each integer target.
struct FloatingBounds {
    const char* target;
    double upperFromFloat64;
    double upperFromFloat32;
    double lower;
};
inline const FloatingBounds kFloatingBounds[] = {
    {"Int8", 127.0, 127.0, -128.0},
    {"UnsignedInt8", 255.0, 255.0, 0.0},
    {"Int16", 32767.0, 32767.0, -32768.0},
    {"UnsignedInt16", 65535.0, 65535.0, 0.0},
    {"Int32", 2147483647.0, 2147483648.0, -2147483648.0},
    {"UnsignedInt32", 4294967295.0, 4294967296.0, 0.0},
};
inline const FloatingBounds& BoundsOf(const Word& target) {
    for (const FloatingBounds& bounds : kFloatingBounds)
        if (std::string(bounds.target) == target.name) return bounds;
    throw std::invalid_argument(target.name);
}

// A source value: `integer` for Bit, Boolean and integers, `real` for floats.
struct Value {
    int64 integer = 0;
    double real = 0;
};

using Bytes = std::array<unsigned char, 8>;

inline Bytes Encode(const Word& word, const Value& value) {
    Bytes bytes{};
    if (word.kind == Kind::kFloating && word.width == 4) {
        const auto single = static_cast<float>(value.real);
        std::memcpy(bytes.data(), &single, 4);
    } else if (word.kind == Kind::kFloating) {
        std::memcpy(bytes.data(), &value.real, 8);
    } else {
        const auto raw = static_cast<uint64>(value.integer);  // low bytes, little-endian
        std::memcpy(bytes.data(), &raw, word.width);
    }
    return bytes;
}

// What a converter should do: raise `error`, or store `bytes`.
struct Expected {
    int32 error = 0;  // 46224 or 46225, or 0
    Bytes bytes{};
};

inline Expected Stored(const Word& target, const Value& value) {
    return {0, Encode(target, value)};
}

// A Numeric value as a record holds it: the 32-bit count and the image.
using Number = std::vector<unsigned char>;

inline Number Serialised(const TarvelNumber& number) {
    Number bytes(number.GetByteVectorLength());
    number.ToBuffer(bytes.data());
    return bytes;
}

// ---------------------------------------------------------------------------
// Calling converters.

inline const std::map<std::string, DataConvert_t>& ConvertersByName() {
    static const std::map<std::string, DataConvert_t> byName = [] {
        std::map<std::string, DataConvert_t> names;
        for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
            names.emplace(info.name, info.function);
        return names;
    }();
    return byName;
}

inline std::string ConverterName(const std::string& source, XTConverterForm form,
                                 const std::string& target) {
    return "Convert" + source + (form == XTConverterForm::kPlain ? "" : "Nullable") + "To" +
           target + (form == XTConverterForm::kNullableToNullable ? "Nullable" : "");
}

inline DataConvert_t Converter(const std::string& name) {
    const auto found = ConvertersByName().find(name);
    if (found == ConvertersByName().end()) {
        ADD_FAILURE() << name << " is not among the converters";
        return nullptr;
    }
    return found->second;
}

constexpr XTConverterForm kForms[] = {XTConverterForm::kPlain, XTConverterForm::kNullableToPlain,
                                      XTConverterForm::kNullableToNullable};

constexpr unsigned char kTargetSentinel = 0xA5;
constexpr uint8 kNullSentinel = 0x5A;
constexpr uint64 kLengthSentinel = 0xDEADBEEFCAFEF00Dull;
constexpr uint32 kNumericCapacity = TarvelNumber::kFieldLength;

// What a converter did, starting from sentinels in every output.
struct Outcome {
    bool threw = false;
    int32 code = 0;
    std::vector<XTString> arguments;
    std::string text;  // what() of the error
    std::array<unsigned char, 32> target{};
    uint8 toIsNull = kNullSentinel;
    uint64 returnLength = kLengthSentinel;

    bool Untouched() const {
        for (unsigned char byte : target)
            if (byte != kTargetSentinel) return false;
        return toIsNull == kNullSentinel && returnLength == kLengthSentinel;
    }
};

inline Outcome Invoke(DataConvert_t converter, const unsigned char* from, uint32 fromLength,
                      uint8 fromIsNull, uint32 toLength = kNumericCapacity) {
    Outcome outcome;
    outcome.target.fill(kTargetSentinel);
    try {
        converter(DataConvertParams{}, from, fromLength, fromIsNull, outcome.target.data(),
                  toLength, outcome.toIsNull, outcome.returnLength);
    } catch (const ErrorMessage& error) {
        outcome.threw = true;
        outcome.code = error.GetCode();
        outcome.arguments = error.GetArguments();
        outcome.text = error.what();
    }
    return outcome;
}

inline std::string Show(const Word& word, const Value& value) {
    if (word.kind != Kind::kFloating) return std::to_string(value.integer);
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value.real);
    return text;
}

// Whether an outcome is the expected error or value of `target`'s width.
inline ::testing::AssertionResult Matches(const Outcome& outcome, const Expected& expected,
                                          const Word& source, const Word& target) {
    if (expected.error != 0) {
        if (!outcome.threw) return ::testing::AssertionFailure() << "no error raised";
        if (outcome.code != expected.error)
            return ::testing::AssertionFailure() << "error " << outcome.code;
        if (outcome.arguments != std::vector<XTString>{source.displayName, target.displayName})
            return ::testing::AssertionFailure() << "wrong error arguments";
        if (!outcome.Untouched())
            return ::testing::AssertionFailure() << "outputs written before the error";
        return ::testing::AssertionSuccess();
    }
    if (outcome.threw) return ::testing::AssertionFailure() << "error " << outcome.code;
    if (outcome.toIsNull != 0 || outcome.returnLength != target.width)
        return ::testing::AssertionFailure()
               << "toIsNull " << int(outcome.toIsNull) << ", returnLength " << outcome.returnLength;
    bool same = std::memcmp(outcome.target.data(), expected.bytes.data(), target.width) == 0;
    if (!same && target.kind == Kind::kFloating) {  // any NaN matches any NaN
        double got = 0, want = 0;
        if (target.width == 4) {
            float g, w;
            std::memcpy(&g, outcome.target.data(), 4);
            std::memcpy(&w, expected.bytes.data(), 4);
            got = g, want = w;
        } else {
            std::memcpy(&got, outcome.target.data(), 8);
            std::memcpy(&want, expected.bytes.data(), 8);
        }
        same = std::isnan(got) && std::isnan(want);
    }
    if (!same) return ::testing::AssertionFailure() << "wrong value stored";
    for (std::size_t i = target.width; i < outcome.target.size(); ++i)
        if (outcome.target[i] != kTargetSentinel)
            return ::testing::AssertionFailure() << "wrote past the target's width";
    return ::testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------
// Values to try.

inline double NextFloat(double value, double direction, bool single) {
    if (single) return std::nextafter(static_cast<float>(value), static_cast<float>(direction));
    return std::nextafter(value, direction);
}

// Every limit of every integer word, at and one past, and the bounds of the
// floating sources, at, just inside and just outside, in the source's type.
inline std::vector<Value> BoundaryValues(const Word& source) {
    std::vector<Value> values;
    if (source.kind != Kind::kFloating) {
        std::set<int64> integers = {0, 1, -1, 2, 7, 200};
        for (const Word& word : kWords) {
            if (word.kind == Kind::kFloating) continue;
            for (const int64 limit : {word.min, word.max})
                for (const int64 step : {-1, 0, 1})
                    integers.insert(limit + step);
        }
        for (const int64 integer : integers)
            if (integer >= source.min && integer <= source.max) values.push_back({integer, 0});
        return values;
    }
    const bool single = source.width == 4;
    constexpr double kInf = std::numeric_limits<double>::infinity();
    std::vector<double> reals = {0.0,
                                 -0.0,
                                 0.5,
                                 -0.5,
                                 0.999,
                                 -0.999,
                                 2.9,
                                 -2.9,
                                 1e-40,
                                 -1e-45,
                                 kInf,
                                 -kInf,
                                 std::nan(""),
                                 3.4e38,
                                 -3.4e38,
                                 std::numeric_limits<float>::max(),
                                 -std::numeric_limits<float>::max()};
    if (!single) {
        reals.insert(reals.end(), {2147483647.9, -2147483648.9, 4294967295.5, 1e300, -1e300,
                                   std::numeric_limits<double>::max(), 3.5e38, -3.5e38,
                                   std::numeric_limits<float>::max() + 0x1p103,
                                   std::numeric_limits<float>::max() + 0x1p102, 1e-310});
    }
    for (const FloatingBounds& bounds : kFloatingBounds) {
        for (const double bound :
             {single ? bounds.upperFromFloat32 : bounds.upperFromFloat64, bounds.lower}) {
            reals.insert(reals.end(),
                         {bound, bound + 1, bound - 1, bound + 0.5, bound - 0.5,
                          NextFloat(bound, kInf, single), NextFloat(bound, -kInf, single)});
        }
    }
    for (const double real : reals) {
        if (single && std::isfinite(real) && std::fabs(real) > std::numeric_limits<float>::max())
            continue;
        values.push_back({0, single ? static_cast<float>(real) : real});
    }
    return values;
}

// Random values with a fixed seed: raw bit patterns, small values and values
// near every integer limit.
inline std::vector<Value> RandomValues(const Word& source, uint32 seed, int count) {
    std::mt19937_64 random(seed);
    std::vector<Value> values;
    std::vector<double> limits;
    for (const FloatingBounds& bounds : kFloatingBounds)
        limits.insert(limits.end(), {bounds.upperFromFloat64, bounds.lower});
    for (int i = 0; i < count; ++i) {
        const uint64 bits = random();
        const int shape = i % 4;
        if (source.kind != Kind::kFloating) {
            int64 integer = static_cast<int64>(bits);
            if (shape == 1) integer = static_cast<int64>(bits % 601) - 300;
            if (shape == 2)
                integer = static_cast<int64>(limits[bits % limits.size()]) +
                          static_cast<int64>((bits >> 32) % 5) - 2;
            // Reduce to the source's native value, as Encode would store it.
            Value value{0, 0};
            const Bytes bytes = Encode(source, {integer, 0});
            if (source.kind == Kind::kSigned) {
                if (source.width == 1) value.integer = static_cast<int8>(bytes[0]);
                if (source.width == 2) value.integer = static_cast<int16>(bytes[0] | bytes[1] << 8);
                if (source.width == 4) {
                    int32 native;
                    std::memcpy(&native, bytes.data(), 4);
                    value.integer = native;
                }
            } else {
                uint32 native = 0;
                std::memcpy(&native, bytes.data(), source.width);
                value.integer = native;
            }
            values.push_back(value);
            continue;
        }
        double real = 0;
        if (shape == 0) {
            if (source.width == 4)
                real = std::bit_cast<float>(static_cast<uint32>(bits));
            else
                real = std::bit_cast<double>(bits);
        } else if (shape == 1) {
            real = std::uniform_real_distribution<double>(-5e9, 5e9)(random);
        } else {
            const double near = limits[bits % limits.size()];
            real = near + std::uniform_real_distribution<double>(-3, 3)(random);
        }
        values.push_back({0, source.width == 4 ? static_cast<float>(real) : real});
    }
    return values;
}

}  // namespace xts::test::numeric
