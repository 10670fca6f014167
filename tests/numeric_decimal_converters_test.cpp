// The Numeric converters: the fixed-width numbers into Numeric, Numeric into
// them, and Numeric into Numeric, reached by name through the table of all
// converters. Checked by round trips over boundary and random values, a
// table of decimal values, the capacity error and the null forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "NumericConverterTestSupport.h"

namespace {

using namespace xts::test::numeric;

// ---------------------------------------------------------------------------
// Numeric: into it, out of it, and itself.

Number Parsed(const char* text) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(std::string_view(text), number)) << text;
    return Serialised(number);
}

// Checks that `outcome` holds exactly `number` in the target.
::testing::AssertionResult HoldsNumber(const Outcome& outcome, const Number& number) {
    if (outcome.threw) return ::testing::AssertionFailure() << "error " << outcome.code;
    if (outcome.toIsNull != 0 || outcome.returnLength != number.size())
        return ::testing::AssertionFailure()
               << "toIsNull " << int(outcome.toIsNull) << ", returnLength " << outcome.returnLength;
    if (std::memcmp(outcome.target.data(), number.data(), number.size()) != 0)
        return ::testing::AssertionFailure() << "wrong bytes";
    for (std::size_t i = number.size(); i < outcome.target.size(); ++i)
        if (outcome.target[i] != kTargetSentinel)
            return ::testing::AssertionFailure() << "wrote past the number";
    return ::testing::AssertionSuccess();
}

class NumericWithWord : public ::testing::TestWithParam<int> {
  protected:
    const Word& W() const { return kWords[GetParam()]; }
    std::string ToNumeric(XTConverterForm form = XTConverterForm::kPlain) const {
        return ConverterName(W().name, form, "Numeric");
    }
    std::string FromNumeric(XTConverterForm form = XTConverterForm::kPlain) const {
        return ConverterName("Numeric", form, W().name);
    }
    TarvelNumber NumberOf(const Value& value) const {
        if (W().kind == Kind::kFloating)
            return W().width == 4 ? TarvelNumber(static_cast<float>(value.real))
                                  : TarvelNumber(value.real);
        return TarvelNumber(static_cast<long long>(value.integer));
    }

    // value -> Numeric -> the same word, in every form, and -> Float64.
    void RoundTrip(const Value& value) {
        const Bytes from = Encode(W(), value);
        const Number number = Serialised(NumberOf(value));
        for (const XTConverterForm form : kForms) {
            const Outcome stored = Invoke(Converter(ToNumeric(form)), from.data(), W().width, 0);
            ASSERT_TRUE(HoldsNumber(stored, number))
                << ToNumeric(form) << " of " << Show(W(), value);
            const Outcome back = Invoke(Converter(FromNumeric(form)), stored.target.data(),
                                        static_cast<uint32>(number.size()), 0);
            // A negative zero comes back as zero: the number has no sign for it.
            const Value expected{value.integer, value.real + 0.0};
            ASSERT_TRUE(Matches(back, Stored(W(), expected), W(), W()))
                << FromNumeric(form) << " of " << Show(W(), value);
        }
        if (W().kind != Kind::kFloating) {
            const Outcome asDouble = Invoke(Converter("ConvertNumericToFloat64"), number.data(),
                                            static_cast<uint32>(number.size()), 0);
            const Word& float64 = WordNamed("Float64");
            EXPECT_TRUE(Matches(asDouble, Stored(float64, {0, static_cast<double>(value.integer)}),
                                float64, float64))
                << Show(W(), value);
        }
    }
};

TEST_P(NumericWithWord, RoundTripsOverTheBoundariesAndRandomValues) {
    std::vector<Value> values = BoundaryValues(W());
    const std::vector<Value> random = RandomValues(W(), 77u + GetParam(), 1000);
    values.insert(values.end(), random.begin(), random.end());
    for (const Value& value : values) {
        // A number holds magnitudes from 1e-128 to below 1e126.
        if (W().kind == Kind::kFloating &&
            (!std::isfinite(value.real) || std::fabs(value.real) >= 1e125 ||
             (value.real != 0 && std::fabs(value.real) < 1e-127)))
            continue;
        RoundTrip(value);
        if (HasFatalFailure()) return;
    }
}

TEST_P(NumericWithWord, TooSmallTargetRaises46034AndWritesNothing) {
    const Value value = W().kind == Kind::kFloating ? Value{0, -1.2345678901234567}
                                                    : Value{W().min == 0 ? W().max : W().min, 0};
    const Bytes from = Encode(W(), value);
    const Number number = Serialised(NumberOf(value));
    const auto needed = static_cast<uint32>(number.size());
    for (const XTConverterForm form : kForms) {
        for (const uint32 toLength : {needed - 1, 0u}) {
            const Outcome outcome =
                Invoke(Converter(ToNumeric(form)), from.data(), W().width, 0, toLength);
            ASSERT_TRUE(outcome.threw) << ToNumeric(form) << " into " << toLength;
            EXPECT_EQ(outcome.code, kMsgValueTooLong);
            EXPECT_EQ(outcome.arguments,
                      (std::vector<XTString>{std::to_wstring(needed), std::to_wstring(toLength)}));
            EXPECT_TRUE(outcome.Untouched());
        }
        EXPECT_TRUE(HoldsNumber(
            Invoke(Converter(ToNumeric(form)), from.data(), W().width, 0, needed), number));
    }
}

TEST_P(NumericWithWord, NullFormsIntoNumeric) {
    const Bytes garbage = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const Number zero = Serialised(TarvelNumber());
    const Outcome toPlain = Invoke(Converter(ToNumeric(XTConverterForm::kNullableToPlain)),
                                   garbage.data(), W().width, 1);
    EXPECT_FALSE(toPlain.threw);
    EXPECT_EQ(toPlain.toIsNull, 1);
    EXPECT_EQ(toPlain.returnLength, zero.size());
    EXPECT_EQ(std::memcmp(toPlain.target.data(), zero.data(), zero.size()), 0);
    // Without room for the zero number nothing is written.
    const Outcome cramped =
        Invoke(Converter(ToNumeric(XTConverterForm::kNullableToPlain)), garbage.data(), W().width,
               1, static_cast<uint32>(zero.size() - 1));
    EXPECT_EQ(cramped.toIsNull, 1);
    EXPECT_EQ(cramped.returnLength, 0u);
    EXPECT_EQ(cramped.target[0], kTargetSentinel);

    const Outcome toNullable = Invoke(Converter(ToNumeric(XTConverterForm::kNullableToNullable)),
                                      garbage.data(), W().width, 1);
    EXPECT_EQ(toNullable.toIsNull, 1);
    EXPECT_EQ(toNullable.returnLength, 0u);
    EXPECT_EQ(toNullable.target[0], kTargetSentinel);

    // Plain ignores the flag.
    const Bytes one = Encode(W(), {1, 1.0});
    EXPECT_TRUE(HoldsNumber(Invoke(Converter(ToNumeric()), one.data(), W().width, 1),
                            Serialised(TarvelNumber(1))));
}

TEST(NumericConverters, NullFormsFromNumeric) {
    // A null column's bytes need not be a number: they are not read.
    const unsigned char garbage[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0x7F};
    for (const Word& target : kWords) {
        const std::string toPlainName =
            ConverterName("Numeric", XTConverterForm::kNullableToPlain, target.name);
        const Outcome toPlain = Invoke(Converter(toPlainName), garbage, 28, 1);
        EXPECT_FALSE(toPlain.threw) << toPlainName;
        EXPECT_EQ(toPlain.toIsNull, 1) << toPlainName;
        EXPECT_EQ(toPlain.returnLength, target.width) << toPlainName;
        for (std::size_t i = 0; i < toPlain.target.size(); ++i)
            EXPECT_EQ(toPlain.target[i], i < target.width ? 0 : kTargetSentinel)
                << toPlainName << " byte " << i;

        const std::string toNullableName =
            ConverterName("Numeric", XTConverterForm::kNullableToNullable, target.name);
        const Outcome toNullable = Invoke(Converter(toNullableName), garbage, 28, 1);
        EXPECT_FALSE(toNullable.threw) << toNullableName;
        EXPECT_EQ(toNullable.toIsNull, 1) << toNullableName;
        EXPECT_EQ(toNullable.returnLength, 0u) << toNullableName;
        EXPECT_EQ(toNullable.target[0], kTargetSentinel) << toNullableName;

        // Plain ignores the flag.
        const Number one = Serialised(TarvelNumber(1));
        const Outcome plain =
            Invoke(Converter(ConverterName("Numeric", XTConverterForm::kPlain, target.name)),
                   one.data(), static_cast<uint32>(one.size()), 1);
        EXPECT_TRUE(Matches(plain, Stored(target, {1, 1.0}), target, target)) << target.name;
    }
}

std::string WordName(const ::testing::TestParamInfo<int>& info) {
    return kWords[info.param].name;
}

// Bit and Boolean have no converter into Numeric.
INSTANTIATE_TEST_SUITE_P(NumbersIntoAndOutOfNumeric, NumericWithWord,
                         ::testing::Range(2, kWordCount), WordName);

// The bytes written, spelled out: a 32-bit little-endian count, then the image.
TEST(NumericConverters, IntoNumericWritesCountAndImage) {
    const struct {
        const char* converter;
        Value input;
        Number expected;
    } kCases[] = {
        {"ConvertInt32ToNumeric", {1, 0}, {2, 0, 0, 0, 0xC1, 0x02}},
        {"ConvertInt16ToNumeric", {100, 0}, {2, 0, 0, 0, 0xC2, 0x02}},
        {"ConvertInt8ToNumeric", {-1, 0}, {3, 0, 0, 0, 0x3E, 0x64, 0x66}},
        {"ConvertUnsignedInt8ToNumeric", {0, 0}, {1, 0, 0, 0, 0x80}},
        {"ConvertFloat64ToNumeric", {0, 123.45}, {4, 0, 0, 0, 0xC2, 0x02, 0x18, 0x2E}},
        {"ConvertFloat32ToNumeric", {0, 0.5}, {2, 0, 0, 0, 0xC0, 0x33}},
        {"ConvertFloat64ToNumeric", {0, -0.0}, {1, 0, 0, 0, 0x80}},
    };
    for (const auto& c : kCases) {
        const std::string name = c.converter;
        const Word& source = WordNamed(name.substr(7, name.find("To", 7) - 7));
        const Bytes from = Encode(source, c.input);
        EXPECT_TRUE(HoldsNumber(Invoke(Converter(name), from.data(), source.width, 0), c.expected))
            << name << " of " << Show(source, c.input);
    }
}

TEST(NumericConverters, NoNumericConverterForBitAndBoolean) {
    for (const char* name : {"ConvertBitToNumeric", "ConvertBooleanToNumeric"})
        EXPECT_EQ(ConvertersByName().count(name), 0u) << name;
}

TEST(NumericConverters, NumericIntoIntegersAtTheirLimits) {
    for (const Word& target : kWords) {
        if (!IsInteger(target)) continue;
        const std::string name = ConverterName("Numeric", XTConverterForm::kPlain, target.name);
        const struct {
            int64 value;
            int32 error;
        } kCases[] = {{target.max, 0},
                      {target.max + 1, kMsgValueOverflow},
                      {target.min, 0},
                      {target.min - 1, kMsgValueUnderflow}};
        for (const auto& c : kCases) {
            const Number number = Serialised(TarvelNumber(static_cast<long long>(c.value)));
            const Outcome outcome =
                Invoke(Converter(name), number.data(), static_cast<uint32>(number.size()), 0);
            if (c.error == 0) {
                EXPECT_TRUE(Matches(outcome, Stored(target, {c.value, 0}), target, target))
                    << name << " of " << c.value;
                continue;
            }
            EXPECT_TRUE(outcome.threw) << name << " of " << c.value;
            EXPECT_EQ(outcome.code, c.error) << name << " of " << c.value;
            EXPECT_EQ(outcome.arguments, (std::vector<XTString>{L"NUMERIC", target.displayName}));
            EXPECT_TRUE(outcome.Untouched()) << name;
        }
    }
}

// Decimal values out of Numeric, written out.
struct FromNumericCase {
    const char* number;
    const char* target;
    int32 error;
    Value expected;
};
const FromNumericCase kFromNumericCases[] = {
    {"2.9", "Int8", 0, {2, 0}},
    {"-2.9", "Int8", 0, {-2, 0}},
    {"127.9", "Int8", 0, {127, 0}},
    {"-0.5", "UnsignedInt8", 0, {0, 0}},
    {"-1", "UnsignedInt16", kMsgValueUnderflow, {}},
    {"65535.99", "UnsignedInt16", 0, {65535, 0}},
    {"0.1", "Float64", 0, {0, 0.1}},
    {"0.1", "Float32", 0, {0, 0.1f}},
    {"-123.45", "Float64", 0, {0, -123.45}},
    {"1e39", "Float32", kMsgValueOverflow, {}},
    {"0", "Bit", 0, {0, 0}},
    {"0.001", "Bit", 0, {1, 0}},
    {"-5", "Bit", 0, {1, 0}},
    {"1e100", "Bit", 0, {1, 0}},
    {"7", "Boolean", 0, {7, 0}},  // the accessor's value, not folded
    {"-1", "Boolean", 0, {255, 0}},
    {"2.9", "Boolean", 0, {2, 0}},
    {"200", "Boolean", kMsgValueOverflow, {}},
};

TEST(NumericConverters, FromNumericValues) {
    for (const FromNumericCase& c : kFromNumericCases) {
        const Word& target = WordNamed(c.target);
        const std::string name = ConverterName("Numeric", XTConverterForm::kPlain, target.name);
        const Number number = Parsed(c.number);
        const Outcome outcome =
            Invoke(Converter(name), number.data(), static_cast<uint32>(number.size()), 0);
        if (c.error == 0) {
            EXPECT_TRUE(Matches(outcome, Stored(target, c.expected), target, target))
                << name << " of " << c.number;
        } else {
            EXPECT_TRUE(outcome.threw) << name << " of " << c.number;
            EXPECT_EQ(outcome.code, c.error) << name << " of " << c.number;
            EXPECT_TRUE(outcome.Untouched()) << name << " of " << c.number;
        }
    }
}

TEST(NumericConverters, NonFiniteFloatingIntoNumericIsAnError) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    for (const char* word : {"Float32", "Float64"}) {
        const Word& source = WordNamed(word);
        const std::string name = ConverterName(word, XTConverterForm::kPlain, "Numeric");
        for (const auto& [real, code] :
             {std::pair{std::nan(""), kMsgValueOverflow}, std::pair{kInf, kMsgValueOverflow},
              std::pair{-kInf, kMsgValueUnderflow}}) {
            const Bytes from = Encode(source, {0, real});
            const Outcome outcome = Invoke(Converter(name), from.data(), source.width, 0);
            EXPECT_TRUE(outcome.threw) << name << " of " << real;
            EXPECT_EQ(outcome.code, code) << name << " of " << real;
            EXPECT_TRUE(outcome.Untouched()) << name << " of " << real;
        }
    }
}

TEST(NumericConverters, NumericToNumericCopiesFromLengthBytes) {
    unsigned char source[20];
    for (int i = 0; i < 20; ++i)
        source[i] = static_cast<unsigned char>(i * 7 + 1);
    for (const XTConverterForm form : kForms) {
        const std::string name = ConverterName("Numeric", form, "Numeric");
        // Not decoded, and the capacity is not consulted.
        const Outcome outcome = Invoke(Converter(name), source, 13, 0, 1);
        EXPECT_FALSE(outcome.threw) << name;
        EXPECT_EQ(outcome.toIsNull, 0) << name;
        EXPECT_EQ(outcome.returnLength, 13u) << name;
        EXPECT_EQ(std::memcmp(outcome.target.data(), source, 13), 0) << name;
        EXPECT_EQ(outcome.target[13], kTargetSentinel) << name;
    }
    const Number zero = Serialised(TarvelNumber());
    const Outcome nullToPlain = Invoke(Converter("ConvertNumericNullableToNumeric"), source, 13, 1);
    EXPECT_EQ(nullToPlain.toIsNull, 1);
    EXPECT_EQ(nullToPlain.returnLength, zero.size());
    EXPECT_EQ(std::memcmp(nullToPlain.target.data(), zero.data(), zero.size()), 0);
    const Outcome nullToNullable =
        Invoke(Converter("ConvertNumericNullableToNumericNullable"), source, 13, 1);
    EXPECT_EQ(nullToNullable.toIsNull, 1);
    EXPECT_EQ(nullToNullable.returnLength, 0u);
    EXPECT_EQ(nullToNullable.target[0], kTargetSentinel);
}

}  // namespace
