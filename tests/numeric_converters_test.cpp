// The fixed-width numeric converters: Bit, Boolean, the six integers,
// Float32 and Float64 among each other, reached by name through the table of
// all converters.
//
// Every pair is checked against one reference conversion written here from
// the rules (integer limits from std::numeric_limits, the bounds table of
// floating sources), at every range boundary and over many random values, in
// its three null forms; every converter into a fixed-width number is shown
// not to allocate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "NumericConverterTestSupport.h"

namespace {

using namespace xts::test::numeric;

// ---------------------------------------------------------------------------
// The reference conversion of the fixed-width family.

// Float64 into Float32 rounding to nearest; beyond the single range the
// rounding is done on the mantissa alone and ldexp gives the infinity.
float NarrowReference(double value) {
    if (!std::isfinite(value) || std::fabs(value) <= std::numeric_limits<float>::max())
        return static_cast<float>(value);
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent);
    return std::ldexp(static_cast<float>(mantissa), exponent);
}

Expected ReferenceFixed(const Word& source, const Word& target, const Value& value) {
    const bool floatingSource = source.kind == Kind::kFloating;
    if (target.kind == Kind::kFlag) {
        int64 flag = 0;
        if (source.kind == Kind::kFlag)
            flag = value.integer;  // the byte as it is
        else if (floatingSource)
            flag = value.real == 0.0 ? 0 : 1;  // both zeros give 0, NaN gives 1
        else
            flag = value.integer != 0 ? 1 : 0;
        return Stored(target, {flag, 0});
    }
    if (target.kind == Kind::kFloating) {
        double real = floatingSource ? value.real : static_cast<double>(value.integer);
        if (target.width == 4) {
            const float single =
                floatingSource ? NarrowReference(value.real) : static_cast<float>(value.integer);
            real = single;
        }
        return Stored(target, {0, real});
    }
    if (floatingSource) {
        const FloatingBounds& bounds = BoundsOf(target);
        const double upper = source.width == 4 ? bounds.upperFromFloat32 : bounds.upperFromFloat64;
        if (std::isnan(value.real))
            return Stored(target, {target.type == XTInt4Data ? INT32_MIN : 0, 0});
        if (value.real > upper) return {kMsgValueOverflow};
        if (value.real < bounds.lower) return {kMsgValueUnderflow};
        return Stored(target, {static_cast<int64>(std::trunc(value.real)), 0});
    }
    if (value.integer > target.max) return {kMsgValueOverflow};
    if (value.integer < target.min) return {kMsgValueUnderflow};
    return Stored(target, value);
}

// ---------------------------------------------------------------------------
// Fixed-width pairs against the reference.

class FixedWidthPair : public ::testing::TestWithParam<std::tuple<int, int>> {
  protected:
    const Word& Source() const { return kWords[std::get<0>(GetParam())]; }
    const Word& Target() const { return kWords[std::get<1>(GetParam())]; }

    // Checks every form, non-null, on each value against the reference.
    void CheckAgainstReference(const std::vector<Value>& values) {
        for (const XTConverterForm form : kForms) {
            const DataConvert_t converter =
                Converter(ConverterName(Source().name, form, Target().name));
            ASSERT_NE(converter, nullptr);
            int failures = 0;  // a few are enough to tell what is wrong
            for (const Value& value : values) {
                const Bytes from = Encode(Source(), value);
                const Outcome outcome = Invoke(converter, from.data(), Source().width, 0);
                const auto result =
                    Matches(outcome, ReferenceFixed(Source(), Target(), value), Source(), Target());
                if (result) continue;
                ADD_FAILURE() << ConverterName(Source().name, form, Target().name) << " of "
                              << Show(Source(), value) << ": " << result.message();
                if (++failures == 5) break;
            }
        }
    }
};

TEST_P(FixedWidthPair, RangeBoundaries) {
    CheckAgainstReference(BoundaryValues(Source()));
}

TEST_P(FixedWidthPair, RandomValuesMatchTheReference) {
    const uint32 seed =
        20240611u + static_cast<uint32>(std::get<0>(GetParam()) * 16 + std::get<1>(GetParam()));
    CheckAgainstReference(RandomValues(Source(), seed, 1000));
}

TEST_P(FixedWidthPair, NullForms) {
    // A source that every check would refuse or misread: all bits set.
    const Bytes garbage = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const Bytes one = Encode(Source(), {1, 1.0});
    const std::string plainName =
        ConverterName(Source().name, XTConverterForm::kPlain, Target().name);
    for (const uint8 isNull : {uint8{1}, uint8{2}, uint8{255}}) {
        // Plain: the flag is not read.
        const Outcome plain = Invoke(Converter(plainName), one.data(), Source().width, isNull);
        EXPECT_TRUE(
            Matches(plain, ReferenceFixed(Source(), Target(), {1, 1.0}), Source(), Target()))
            << plainName << " with fromIsNull " << int(isNull);

        // Nullable to plain: zero bytes of the target's width, no check.
        const std::string toPlain =
            ConverterName(Source().name, XTConverterForm::kNullableToPlain, Target().name);
        const Outcome zero = Invoke(Converter(toPlain), garbage.data(), Source().width, isNull);
        EXPECT_FALSE(zero.threw) << toPlain;
        EXPECT_EQ(zero.toIsNull, 1) << toPlain;
        EXPECT_EQ(zero.returnLength, Target().width) << toPlain;
        for (std::size_t i = 0; i < zero.target.size(); ++i)
            EXPECT_EQ(zero.target[i], i < Target().width ? 0 : kTargetSentinel)
                << toPlain << " byte " << i;

        // Nullable to nullable: the target is left alone.
        const std::string toNullable =
            ConverterName(Source().name, XTConverterForm::kNullableToNullable, Target().name);
        const Outcome null = Invoke(Converter(toNullable), garbage.data(), Source().width, isNull);
        EXPECT_FALSE(null.threw) << toNullable;
        EXPECT_EQ(null.toIsNull, 1) << toNullable;
        EXPECT_EQ(null.returnLength, 0u) << toNullable;
        for (unsigned char byte : null.target)
            EXPECT_EQ(byte, kTargetSentinel) << toNullable;
    }
}

std::string PairName(const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
    return std::string(kWords[std::get<0>(info.param)].name) + "To" +
           kWords[std::get<1>(info.param)].name;
}

INSTANTIATE_TEST_SUITE_P(AllPairs, FixedWidthPair,
                         ::testing::Combine(::testing::Range(0, kWordCount),
                                            ::testing::Range(0, kWordCount)),
                         PairName);

// The bounds table is the integer limits in each floating type.
TEST(FloatingBounds, AreTheLimitsInTheSourcesType) {
    for (const Word& target : kWords) {
        if (!IsInteger(target)) continue;
        const FloatingBounds& bounds = BoundsOf(target);
        EXPECT_EQ(bounds.upperFromFloat64, static_cast<double>(target.max)) << target.name;
        EXPECT_EQ(bounds.upperFromFloat32, static_cast<float>(target.max)) << target.name;
        EXPECT_EQ(bounds.lower, static_cast<double>(target.min)) << target.name;
    }
}

// Named cases, with the values written out rather than computed.
struct NamedCase {
    const char* converter;
    Value input;
    int32 error;     // or 0
    Value expected;  // when no error
};
const NamedCase kNamedCases[] = {
    {"ConvertInt32ToInt16", {32767, 0}, 0, {32767, 0}},
    {"ConvertInt32ToInt16", {32768, 0}, kMsgValueOverflow, {}},
    {"ConvertInt32ToInt16", {-32769, 0}, kMsgValueUnderflow, {}},
    {"ConvertUnsignedInt32ToInt32", {2147483648, 0}, kMsgValueOverflow, {}},
    {"ConvertInt32ToUnsignedInt32", {-1, 0}, kMsgValueUnderflow, {}},
    {"ConvertInt8ToUnsignedInt16", {-1, 0}, kMsgValueUnderflow, {}},
    {"ConvertUnsignedInt16ToInt16", {32768, 0}, kMsgValueOverflow, {}},
    {"ConvertInt16ToUnsignedInt32", {-32768, 0}, kMsgValueUnderflow, {}},
    {"ConvertInt16ToInt32", {-32768, 0}, 0, {-32768, 0}},
    {"ConvertUnsignedInt16ToInt32", {65535, 0}, 0, {65535, 0}},
    {"ConvertFloat64ToInt32", {0, -2.9}, 0, {-2, 0}},
    {"ConvertFloat64ToInt32", {0, 2147483647.0}, 0, {2147483647, 0}},
    // The range test comes before truncation: above the bound is an overflow.
    {"ConvertFloat64ToInt32", {0, 2147483647.9}, kMsgValueOverflow, {}},
    {"ConvertFloat64ToInt32", {0, -2147483648.9}, kMsgValueUnderflow, {}},
    {"ConvertFloat32ToInt32", {0, 2147483648.0}, 0, {INT32_MIN, 0}},
    {"ConvertFloat32ToUnsignedInt32", {0, 4294967296.0}, 0, {0, 0}},
    {"ConvertFloat32ToUnsignedInt16", {0, 65535.0}, 0, {65535, 0}},
    {"ConvertFloat32ToUnsignedInt16", {0, 65536.0}, kMsgValueOverflow, {}},
    {"ConvertFloat32ToUnsignedInt16", {0, -0.5}, kMsgValueUnderflow, {}},
    {"ConvertFloat64ToUnsignedInt8", {0, -0.0}, 0, {0, 0}},
    {"ConvertFloat64ToUnsignedInt32", {0, -0.5}, kMsgValueUnderflow, {}},
    {"ConvertFloat64ToInt32", {0, std::nan("")}, 0, {INT32_MIN, 0}},
    {"ConvertFloat32ToInt32", {0, std::nan("")}, 0, {INT32_MIN, 0}},
    {"ConvertFloat64ToInt16", {0, std::nan("")}, 0, {0, 0}},
    {"ConvertFloat32ToUnsignedInt32", {0, std::nan("")}, 0, {0, 0}},
    {"ConvertFloat64ToBoolean", {0, -0.0}, 0, {0, 0}},
    {"ConvertFloat64ToBoolean", {0, std::nan("")}, 0, {1, 0}},
    {"ConvertFloat32ToBit", {0, std::nan("")}, 0, {1, 0}},
    {"ConvertFloat32ToBit", {0, 1e-45}, 0, {1, 0}},
    {"ConvertInt16ToBit", {-256, 0}, 0, {1, 0}},
    {"ConvertBooleanToInt32", {7, 0}, 0, {7, 0}},
    {"ConvertBitToBoolean", {7, 0}, 0, {7, 0}},
    {"ConvertBooleanToFloat64", {2, 0}, 0, {0, 2.0}},
    {"ConvertBooleanToInt8", {200, 0}, kMsgValueOverflow, {}},
    {"ConvertBitToInt8", {200, 0}, kMsgValueOverflow, {}},
    {"ConvertBitToUnsignedInt8", {200, 0}, 0, {200, 0}},
    {"ConvertFloat64ToFloat32", {0, 1e300}, 0, {0, std::numeric_limits<double>::infinity()}},
    {"ConvertFloat64ToFloat32", {0, -1e300}, 0, {0, -std::numeric_limits<double>::infinity()}},
    {"ConvertFloat64ToFloat32", {0, 0.1}, 0, {0, 0.1f}},
    {"ConvertUnsignedInt32ToFloat64", {4294967295, 0}, 0, {0, 4294967295.0}},
    {"ConvertUnsignedInt32ToFloat64", {2147483649, 0}, 0, {0, 2147483649.0}},
    {"ConvertUnsignedInt32ToFloat32", {3000000000, 0}, 0, {0, 3000000000.0}},
    {"ConvertInt32ToFloat32", {16777217, 0}, 0, {0, 16777216.0}},
};

TEST(NumericConverters, NamedCases) {
    for (const NamedCase& c : kNamedCases) {
        const std::string name = c.converter;
        const std::size_t to = name.find("To", 7);
        const Word& source = WordNamed(name.substr(7, to - 7));
        const Word& target = WordNamed(name.substr(to + 2));
        const Bytes from = Encode(source, c.input);
        const Outcome outcome = Invoke(Converter(name), from.data(), source.width, 0);
        const Expected expected = c.error ? Expected{c.error} : Stored(target, c.expected);
        EXPECT_TRUE(Matches(outcome, expected, source, target))
            << name << " of " << Show(source, c.input);
        // The reference agrees with every written-out case.
        const Expected reference = ReferenceFixed(source, target, c.input);
        EXPECT_EQ(reference.error, expected.error) << name;
        if (expected.error == 0 && !std::isnan(c.expected.real)) {
            EXPECT_EQ(reference.bytes, expected.bytes) << name;
        }
    }
}

TEST(NumericConverters, RangeErrorNamesBothTypes) {
    const Bytes from = Encode(WordNamed("Int32"), {40000, 0});
    const Outcome outcome = Invoke(Converter("ConvertInt32ToInt16"), from.data(), 4, 0);
    ASSERT_TRUE(outcome.threw);
    EXPECT_EQ(outcome.code, kMsgValueOverflow);
    EXPECT_EQ(outcome.arguments, (std::vector<XTString>{L"INTEGER", L"SMALLINT"}));

    const Bytes flag = Encode(WordNamed("Boolean"), {200, 0});
    const Outcome fromBoolean = Invoke(Converter("ConvertBooleanToInt8"), flag.data(), 1, 0);
    ASSERT_TRUE(fromBoolean.threw);
    EXPECT_EQ(fromBoolean.arguments, (std::vector<XTString>{L"BOOL", L"TINYINT"}));
    EXPECT_NE(fromBoolean.text.find("[46224]"), std::string::npos) << fromBoolean.text;
    EXPECT_NE(fromBoolean.text.find("BOOL"), std::string::npos) << fromBoolean.text;
}

// ---------------------------------------------------------------------------
// No converter into a fixed-width number allocates.

TEST(NumericConverters, FixedWidthTargetsDoNotAllocate) {
    static const std::set<std::string> numberWords = {
        "Bit",   "Boolean",       "Int8",    "UnsignedInt8", "Int16",  "UnsignedInt16",
        "Int32", "UnsignedInt32", "Float32", "Float64",      "Numeric"};
    struct Call {
        const char* name;
        DataConvert_t converter;
        std::vector<unsigned char> from;
    };
    std::vector<Call> calls;
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        if (!numberWords.contains(info.sourceWord) || !numberWords.contains(info.targetWord) ||
            std::string(info.targetWord) == "Numeric")
            continue;
        std::vector<unsigned char> from(32, 0);
        if (std::string(info.sourceWord) == "Numeric") {
            const Number one = Serialised(TarvelNumber(1));
            std::copy(one.begin(), one.end(), from.begin());
        } else {
            const Bytes one = Encode(WordNamed(info.sourceWord), {1, 1.0});
            std::copy(one.begin(), one.end(), from.begin());
        }
        calls.push_back({info.name, info.function, std::move(from)});
    }
    ASSERT_EQ(calls.size(), 11u * 10u * 3u);
    std::vector<std::size_t> allocations(calls.size() * 2, 0);
    std::array<unsigned char, 32> target{};
    uint8 toIsNull = 0;
    uint64 returnLength = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        for (const uint8 isNull : {uint8{0}, uint8{1}}) {
            const xts::test::AllocationCounter counter;
            calls[i].converter(DataConvertParams{}, calls[i].from.data(), 28, isNull, target.data(),
                               8, toIsNull, returnLength);
            allocations[i * 2 + isNull] = counter.Count();
        }
    }
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(allocations[i * 2], 0u) << calls[i].name;
        EXPECT_EQ(allocations[i * 2 + 1], 0u) << calls[i].name << " with a null source";
    }
}

}  // namespace
