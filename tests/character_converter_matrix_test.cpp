// A walk over every converter of the character family, reached by its name
// through SUDataConvert::GetAllConverters(): each is called in its null
// forms and at the capacities around its value's length (0, 1, 2, the length,
// one less, one more), on a target of exactly the documented extent between
// guard bytes. What it must write follows from the layout rules of its
// source and target words, written out below once per family of pairs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CharacterTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Client/SUCDataConvertList.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using xts::test::GuardedBuffer;
using xts::test::SourceBuffer;
using xts::test::TextShape;

// ---- The family's converters, by name ----

std::vector<std::string> CharacterConverterNames() {
    std::vector<std::string> names;
#define XT_NAME_PLAIN(S, D) names.push_back("Convert" #S "To" #D);
#define XT_NAME_NULLABLE_TO_PLAIN(S, D) names.push_back("Convert" #S "NullableTo" #D);
#define XT_NAME_NULLABLE_TO_NULLABLE(S, D) names.push_back("Convert" #S "NullableTo" #D "Nullable");
#define XT_NAME_THREE_FORMS(S, D) \
    XT_NAME_PLAIN(S, D)           \
    XT_NAME_NULLABLE_TO_PLAIN(S, D) XT_NAME_NULLABLE_TO_NULLABLE(S, D)
#define XT_NAME_TWO_FORMS(S, D) XT_NAME_PLAIN(S, D) XT_NAME_NULLABLE_TO_NULLABLE(S, D)
    XT_CHARACTER_CONVERTERS(XT_NAME_THREE_FORMS, XT_NAME_TWO_FORMS, XT_NAME_PLAIN,
                            XT_NAME_NULLABLE_TO_PLAIN, XT_NAME_NULLABLE_TO_NULLABLE)
#undef XT_NAME_TWO_FORMS
#undef XT_NAME_THREE_FORMS
#undef XT_NAME_NULLABLE_TO_NULLABLE
#undef XT_NAME_NULLABLE_TO_PLAIN
#undef XT_NAME_PLAIN
    return names;
}

const XTConverterInfo* InfoNamed(std::string_view name) {
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
        if (name == info.name) return &info;
    return nullptr;
}

// ---- Words ----

enum class Kind { kFlag, kInteger, kFloating, kNumeric, kText, kBinary };

struct WordInfo {
    std::string_view word;
    Kind kind;
    TextShape shape = TextShape::kFixed;
    bool wide = false;
    std::size_t width = 0;  // bytes of a fixed-width number
};

constexpr WordInfo kWords[] = {
    {"Bit", Kind::kFlag, TextShape::kFixed, false, 1},
    {"Boolean", Kind::kFlag, TextShape::kFixed, false, 1},
    {"Int8", Kind::kInteger, TextShape::kFixed, false, 1},
    {"UnsignedInt8", Kind::kInteger, TextShape::kFixed, false, 1},
    {"Int16", Kind::kInteger, TextShape::kFixed, false, 2},
    {"UnsignedInt16", Kind::kInteger, TextShape::kFixed, false, 2},
    {"Int32", Kind::kInteger, TextShape::kFixed, false, 4},
    {"UnsignedInt32", Kind::kInteger, TextShape::kFixed, false, 4},
    {"Float32", Kind::kFloating, TextShape::kFixed, false, 4},
    {"Float64", Kind::kFloating, TextShape::kFixed, false, 8},
    {"Numeric", Kind::kNumeric},
    {"Char", Kind::kText, TextShape::kFixed, false},
    {"XTChar", Kind::kText, TextShape::kFixed, true},
    {"VarChar", Kind::kText, TextShape::kVariable, false},
    {"VarXTChar", Kind::kText, TextShape::kVariable, true},
    {"LongVarChar", Kind::kText, TextShape::kVariable, false},
    {"LongVarXTChar", Kind::kText, TextShape::kVariable, true},
    {"ExternalChar", Kind::kText, TextShape::kExternal, false},
    {"ExternalVarChar", Kind::kText, TextShape::kExternal, false},
    {"ExternalVarXTChar", Kind::kText, TextShape::kExternal, true},
    {"Binary", Kind::kBinary, TextShape::kFixed},
    {"VarBinary", Kind::kBinary, TextShape::kVariable},
    {"LongVarBinary", Kind::kBinary, TextShape::kVariable},
};

const WordInfo& Word(std::string_view word) {
    for (const WordInfo& info : kWords)
        if (info.word == word) return info;
    ADD_FAILURE() << "unknown word " << word;
    return kWords[0];
}

bool IsSigned(const WordInfo& word) {
    return word.word.substr(0, 3) == "Int";
}

// ---- Values ----

// The text of each number source in the walk, and its value.
std::string NumberText(const WordInfo& word) {
    switch (word.kind) {
        case Kind::kFlag:
            return word.word == "Bit" ? "1" : "T";
        case Kind::kInteger:
            return IsSigned(word) ? "-12" : "123";
        case Kind::kFloating:
            return "-2.50";
        default:
            return "-12.5";
    }
}

std::vector<unsigned char> NumericImage(std::string_view text) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(text, number));
    std::vector<unsigned char> bytes(number.GetByteVectorLength());
    number.ToBuffer(bytes.data());
    return bytes;
}

std::string NumberBytes(const WordInfo& word, double value) {
    std::string bytes(word.width, '\0');
    if (word.kind == Kind::kFloating && word.width == 4) {
        const auto single = static_cast<float>(value);
        std::memcpy(bytes.data(), &single, 4);
    } else if (word.kind == Kind::kFloating) {
        std::memcpy(bytes.data(), &value, 8);
    } else {
        const auto integer = static_cast<int64>(value);  // little-endian low bytes
        std::memcpy(bytes.data(), &integer, word.width);
    }
    return bytes;
}

SourceBuffer NumberSource(const WordInfo& word) {
    if (word.kind == Kind::kNumeric) {
        const std::vector<unsigned char> image = NumericImage(NumberText(word));
        return SourceBuffer::Raw(image.data(), image.size(), static_cast<uint32>(image.size()));
    }
    const double value = word.kind == Kind::kFlag       ? 1
                         : word.kind == Kind::kFloating ? -2.5
                         : IsSigned(word)               ? -12
                                                        : 123;
    const std::string bytes = NumberBytes(word, value);
    return SourceBuffer::Raw(bytes.data(), bytes.size(), static_cast<uint32>(bytes.size()));
}

SourceBuffer TextSource(const WordInfo& word, std::string_view ascii) {
    return word.wide ? SourceBuffer::Wide(word.shape, xts::test::Widen(ascii))
                     : SourceBuffer::Narrow(word.shape, ascii);
}

// ---- Expected target contents ----

std::string Units(std::string_view ascii, bool wide) {
    if (!wide) return std::string(ascii);
    const std::wstring units = xts::test::Widen(ascii);
    return std::string(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(wchar_t));
}
std::string Terminator(bool wide) {
    return std::string(wide ? 4 : 1, '\0');
}
std::string CountBytes(uint32 count) {
    return std::string(reinterpret_cast<const char*>(&count), sizeof count);
}
std::string Blanks(std::size_t count) {
    return std::string(count, ' ');
}

// What one call must do. `bytes` is the exact start of the target; a loose
// narrow number (a floating value cut at its capacity) only needs a NUL
// after `length` characters at `looseOffset`.
struct Expected {
    std::optional<std::vector<XTString>> error;  // 46034 with these arguments
    uint8 isNull = 0;
    uint64 length = 0;
    std::string bytes;
    bool untouched = false;
    std::optional<std::size_t> looseOffset;
};

struct Scenario {
    std::string what;
    DataConvertParams params;
    SourceBuffer source;
    uint8 fromIsNull = 0;
    uint32 toLength = 0;
    std::size_t extent = 0;
    Expected expected;
};

Expected Null(std::string bytes, uint64 length = 0) {
    Expected e;
    e.isNull = 1;
    e.length = length;
    e.bytes = std::move(bytes);
    return e;
}
Expected Value(std::string bytes, uint64 length) {
    Expected e;
    e.length = length;
    e.bytes = std::move(bytes);
    return e;
}
Expected Untouched() {
    Expected e = Null("");
    e.untouched = true;
    return e;
}
Expected TooLong(std::size_t needed, uint32 toLength) {
    Expected e;
    e.error = std::vector<XTString>{std::to_wstring(needed), std::to_wstring(toLength)};
    e.untouched = true;
    return e;
}

// A null or too-small variable text: count 0 and a terminator when there is room.
Expected EmptyVariable(bool wide, uint32 toLength) {
    return Null(CountBytes(0) + (toLength >= 1 ? Terminator(wide) : ""));
}

// ---- Rules, one function per family of pairs ----

// Numbers, flags and Numeric into text.
Expected NumberIntoText(const WordInfo& source, const WordInfo& target, XTConverterForm form,
                        bool isNull, uint32 toLength) {
    const std::string text = NumberText(source);
    const bool variable = target.shape == TextShape::kVariable;
    if (isNull && form == XTConverterForm::kNullableToNullable)
        return variable ? EmptyVariable(target.wide, toLength) : Untouched();
    if (isNull) {
        if (variable) return EmptyVariable(target.wide, toLength);
        if (target.wide)
            return Null(toLength == 0 ? "" : Units(Blanks(toLength - 1), true) + Terminator(true),
                        toLength);
        if (source.kind == Kind::kFlag)
            return Null(toLength == 0 ? "" : Terminator(false), toLength);
        // A right-aligned zero.
        std::string zero = toLength >= 2 ? Blanks(toLength - 2) + "0" : "";
        return Null(toLength == 0 ? "" : zero + Terminator(false), toLength);
    }
    if (source.kind == Kind::kFlag) {
        if (target.wide && variable)
            return Value(CountBytes(1) + Units(text, true) + Terminator(true), 1);
        if (target.wide)
            return Value(Units(text + Blanks(toLength - 1), true) + Terminator(true), toLength);
        return Value(toLength == 1 ? text : text + Terminator(false), 1);
    }
    if (target.wide) {
        // Filled to the capacity: the text cut or padded to toLength units.
        if (source.kind == Kind::kNumeric && text.size() > toLength)
            return TooLong(text.size(), toLength);
        if (source.kind != Kind::kNumeric && toLength < (variable ? 2u : 1u))
            return variable ? EmptyVariable(true, toLength) : Null("");
        std::string padded = text + Blanks(toLength > text.size() ? toLength - text.size() : 0);
        padded.resize(toLength);
        return Value(
            (variable ? CountBytes(toLength) : "") + Units(padded, true) + Terminator(true),
            toLength);
    }
    // Narrow: at most toLength - 1 characters and a NUL, no padding.
    if (toLength < 2)
        return variable ? EmptyVariable(false, toLength)
                        : Null(toLength == 1 ? Terminator(false) : "");
    const std::size_t room = toLength - 1;
    if (room >= text.size())
        return Value((variable ? CountBytes(static_cast<uint32>(text.size())) : "") + text +
                         Terminator(false),
                     text.size());
    if (source.kind == Kind::kFloating) {
        Expected e;
        e.looseOffset = variable ? 4 : 0;
        e.length = room;  // an upper bound
        return e;
    }
    // The sign and the low-order digits survive.
    const bool negative = text[0] == '-';
    const std::string digits = negative ? text.substr(1) : text;
    const std::size_t kept = room - (negative ? 1 : 0);
    const std::string cut = (negative ? "-" : "") + digits.substr(digits.size() - kept);
    return Value(cut + Terminator(false), cut.size());
}

constexpr std::string_view kText = "ab c\t ";

// Text into text.
Expected TextIntoText(const WordInfo& source, const WordInfo& target, XTConverterForm form,
                      bool isNull, uint32 toLength, const DataConvertParams& params) {
    const bool variable = target.shape == TextShape::kVariable;
    const bool fixedChar = target.shape == TextShape::kFixed;
    if (isNull && form == XTConverterForm::kNullableToNullable)
        return variable ? EmptyVariable(target.wide, toLength)
                        : Null(toLength >= 1 ? Terminator(target.wide) : "");
    if (isNull) {
        if (variable) return EmptyVariable(target.wide, toLength);
        if (target.wide)
            return Null(toLength == 0 ? "" : Units(Blanks(toLength - 1), true) + Terminator(true),
                        toLength);
        if (toLength >= 1 && params.charDataToDataCode == kCharDataNarrowUTF8Code)
            return Null(Blanks(std::size_t{toLength} * 3 - 3) + Terminator(false), toLength);
        return Null(toLength >= 1 ? Terminator(false) : "", toLength);
    }
    if (variable) {
        if (toLength < 2) return EmptyVariable(target.wide, toLength);
        std::string text(kText);
        if (!params.bAvoidRtrimToVarChar) {
            const bool lineEndRule =
                source.shape == TextShape::kExternal && source.word != "ExternalChar";
            const std::string_view trimmed = lineEndRule ? " \t\v\f" : " ";
            text.erase(text.find_last_not_of(trimmed) + 1);
        }
        text.resize(std::min<std::size_t>(text.size(), toLength - 1));
        return Value(CountBytes(static_cast<uint32>(text.size())) + Units(text, target.wide) +
                         Terminator(target.wide),
                     text.size());
    }
    if (toLength < 2) return Null(toLength == 1 ? Terminator(target.wide) : "");
    const std::size_t room = toLength - 1;
    std::string text(kText.substr(0, std::min(room, kText.size())));
    if (!fixedChar) return Value(text + Terminator(false), text.size());  // the client's buffer
    const bool pad = target.wide || !params.bAvoidPaddingToChar;
    if (pad) text += Blanks(room - text.size());
    return Value(Units(text, target.wide) + Terminator(target.wide), room);
}

std::string TextOfNumber(const WordInfo& target) {
    return target.word == "Bit" ? "1" : target.word == "Boolean" ? "T" : "42";
}

// Text into numbers and Numeric.
Expected TextIntoNumber(const WordInfo& target, XTConverterForm form, bool isNull,
                        uint32 toLength) {
    if (isNull && form == XTConverterForm::kNullableToNullable) return Untouched();
    if (target.kind == Kind::kNumeric) {
        if (isNull) {
            if (toLength < 5) return Untouched();
            return Null(CountBytes(1) + "\x80", 5);
        }
        const std::vector<unsigned char> image = NumericImage("42");
        if (image.size() > toLength) return TooLong(image.size(), toLength);
        return Value(std::string(image.begin(), image.end()), image.size());
    }
    if (isNull) return Null(std::string(target.width, '\0'), target.width);
    const double value = target.kind == Kind::kFlag ? 1 : 42;
    return Value(NumberBytes(target, value), target.width);
}

// Binary values.
Expected BinaryIntoBinary(const WordInfo& target, XTConverterForm form, bool isNull,
                          uint32 toLength) {
    const bool variable = target.shape == TextShape::kVariable;
    if (isNull && form == XTConverterForm::kNullableToNullable)
        return variable ? Null(CountBytes(0)) : Untouched();
    if (isNull) return variable ? Null(CountBytes(0)) : Null(std::string(toLength, '\0'), toLength);
    if (toLength < 3) return TooLong(3, toLength);
    if (variable) return Value(CountBytes(3) + "\1\2\3", 3);
    return Value("\1\2\3" + std::string(toLength - 3, '\0'), 3);
}

// ---- Scenarios of one converter ----

// The documented extent of a target: what the converter may write.
std::size_t Extent(const WordInfo& source, const WordInfo& target, uint32 toLength,
                   const DataConvertParams& params) {
    const bool numberSource = source.kind != Kind::kText && source.kind != Kind::kBinary;
    switch (target.kind) {
        case Kind::kText: {
            // A null into a narrow Char of a UTF-8 column: toLength x 3 - 3 blanks and a NUL.
            if (target.word == "Char" && !numberSource &&
                params.charDataToDataCode == kCharDataNarrowUTF8Code && toLength >= 1)
                return std::size_t{toLength} * 3 - 2;
            const std::size_t units = toLength + (numberSource && target.wide ? 1 : 0);
            const std::size_t bytes = units * (target.wide ? 4 : 1);
            return (target.shape == TextShape::kVariable ? 4 : 0) + bytes;
        }
        case Kind::kNumeric:
            return toLength;
        case Kind::kBinary:
            return (target.shape == TextShape::kVariable ? 4 : 0) + toLength;
        default:
            return target.width;
    }
}

std::vector<Scenario> ScenariosOf(const XTConverterInfo& info) {
    const WordInfo& source = Word(info.sourceWord);
    const WordInfo& target = Word(info.targetWord);
    const XTConverterForm form = info.form;
    std::vector<Scenario> scenarios;

    // Null flags to try: the plain form converts whatever the flag says.
    std::vector<uint8> nullFlags = {0, 1};

    // The variants of parameters and source: for text sources also UTF-8
    // codes on both sides, and 16-bit units behind the wide words.
    struct Variant {
        DataConvertParams params;
        SourceBuffer buffer;
        std::string label;
    };
    std::vector<Variant> variants;
    std::vector<uint32> capacities;
    if (source.kind == Kind::kText) {
        const std::string text =
            target.kind == Kind::kText ? std::string(kText) : TextOfNumber(target);
        variants.push_back({DataConvertParams{}, TextSource(source, text), ""});
        if (!source.wide) {
            // A narrow word handed a wide buffer, as the registry does for the
            // client's wide buffers.
            DataConvertParams wideCode;
            wideCode.charDataFromDataCode = kCharDataUniCode;
            variants.push_back({wideCode, SourceBuffer::Wide(source.shape, xts::test::Widen(text)),
                                " wide buffer"});
        }
        if (source.wide) {
            DataConvertParams widen;
            widen.bTwoByteToFourByte = true;
            const std::u16string units(text.begin(), text.end());
            variants.push_back({widen, SourceBuffer::Wide16(source.shape, units), " 16-bit"});
        }
        DataConvertParams utf8;
        utf8.charDataFromDataCode = source.wide ? kCharDataUniCode : kCharDataNarrowUTF8Code;
        utf8.charDataToDataCode = kCharDataNarrowUTF8Code;
        variants.push_back({utf8, TextSource(source, text), " UTF-8"});
        if (target.kind == Kind::kText) {
            const auto n = static_cast<uint32>(kText.size());
            capacities = {0, 1, 2, 3, n - 1, n, n + 1, n + 2};
            DataConvertParams keep;
            keep.bAvoidRtrimToVarChar = true;
            DataConvertParams noPadding;
            noPadding.bAvoidPaddingToChar = true;
            variants.push_back({keep, TextSource(source, text), " keep blanks"});
            variants.push_back({noPadding, TextSource(source, text), " no padding"});
        } else {
            capacities = target.kind == Kind::kNumeric ? std::vector<uint32>{0, 4, 5, 6, 28}
                                                       : std::vector<uint32>{0, 8};
        }
    } else if (source.kind == Kind::kBinary) {
        const unsigned char counted[] = {3, 0, 0, 0, 1, 2, 3};
        variants.push_back({DataConvertParams{},
                            source.shape == TextShape::kVariable
                                ? SourceBuffer::Raw(counted, 7, 3)
                                : SourceBuffer::Raw(counted + 4, 3, 3),
                            ""});
        capacities = {0, 2, 3, 4, 8};
    } else {
        variants.push_back({DataConvertParams{}, NumberSource(source), ""});
        const auto n = static_cast<uint32>(NumberText(source).size());
        capacities = {0, 1, 2, 3, n - 1, n, n + 1, n + 2, 20};
    }

    for (const Variant& variant : variants) {
        const DataConvertParams& params = variant.params;
        for (const uint32 toLength : capacities) {
            for (const uint8 flag : nullFlags) {
                const bool isNull = flag != 0 && form != XTConverterForm::kPlain;
                // Flags into text: a capacity without room for the letter is an
                // assertion (tested as a death test elsewhere), except for nulls.
                if (source.kind == Kind::kFlag && !isNull &&
                    toLength < (target.shape == TextShape::kVariable ? 5u : 1u))
                    continue;
                Scenario s;
                s.params = params;
                s.source = variant.buffer;
                s.fromIsNull = flag;
                s.toLength = toLength;
                s.extent = Extent(source, target, toLength, params);
                if (source.kind == Kind::kText && target.kind == Kind::kText)
                    s.expected = TextIntoText(source, target, form, isNull, toLength, params);
                else if (source.kind == Kind::kText)
                    s.expected = TextIntoNumber(target, form, isNull, toLength);
                else if (source.kind == Kind::kBinary)
                    s.expected = BinaryIntoBinary(target, form, isNull, toLength);
                else
                    s.expected = NumberIntoText(source, target, form, isNull, toLength);
                s.what = "toLength " + std::to_string(toLength) + " fromIsNull " +
                         std::to_string(flag) + variant.label;
                scenarios.push_back(std::move(s));
            }
        }
    }
    return scenarios;
}

// ---- The walk ----

TEST(CharacterConverterWalkTest, EveryNameOfTheFamilyIsAConverterWithItsWords) {
    const std::vector<std::string> names = CharacterConverterNames();
    EXPECT_GT(names.size(), 300u);
    for (const std::string& name : names) {
        const XTConverterInfo* info = InfoNamed(name);
        ASSERT_NE(info, nullptr) << name;
        EXPECT_NE(info->function, nullptr) << name;
        const std::string nullable = info->form == XTConverterForm::kPlain ? "" : "Nullable";
        const std::string targetNullable =
            info->form == XTConverterForm::kNullableToNullable ? "Nullable" : "";
        EXPECT_EQ(name, std::string("Convert") + info->sourceWord + nullable + "To" +
                            info->targetWord + targetNullable);
    }
}

class CharacterConverterWalk : public testing::TestWithParam<std::string> {};

TEST_P(CharacterConverterWalk, WritesWhatItsLayoutsSayAndNothingElse) {
    const XTConverterInfo* info = InfoNamed(GetParam());
    ASSERT_NE(info, nullptr);
    for (const Scenario& s : ScenariosOf(*info)) {
        SCOPED_TRACE(s.what);
        GuardedBuffer target(s.extent);
        uint8 isNull = xts::test::kUnsetNull;
        uint64 length = xts::test::kUnsetLength;
        std::optional<ErrorMessage> error;
        try {
            info->function(s.params, s.source.data(), s.source.fromLength(), s.fromIsNull,
                           target.data(), s.toLength, isNull, length);
        } catch (const ErrorMessage& e) {
            error = e;
        }
        ASSERT_TRUE(target.GuardsIntact()) << "written outside " << s.extent << " bytes";
        const Expected& e = s.expected;
        if (e.error) {
            ASSERT_TRUE(error.has_value()) << "expected 46034";
            EXPECT_EQ(error->GetCode(), kMsgValueTooLong);
            EXPECT_EQ(error->GetArguments(), *e.error);
            EXPECT_TRUE(target.Untouched());
            EXPECT_EQ(isNull, xts::test::kUnsetNull);
            EXPECT_EQ(length, xts::test::kUnsetLength);
            continue;
        }
        ASSERT_FALSE(error.has_value()) << error->what();
        EXPECT_EQ(isNull, e.isNull);
        if (e.looseOffset) {
            // A floating value cut at the capacity: some text and a NUL.
            EXPECT_LE(length, e.length);
            EXPECT_EQ(target.data()[*e.looseOffset + length], 0);
            if (*e.looseOffset == 4) {
                EXPECT_EQ(target.Count(), length);
            }
            continue;
        }
        EXPECT_EQ(length, e.length);
        if (e.untouched) {
            EXPECT_TRUE(target.Untouched());
            continue;
        }
        ASSERT_LE(e.bytes.size(), s.extent);
        EXPECT_EQ(target.Narrow(0, e.bytes.size()), e.bytes);
    }
}

std::string NameOfParam(const testing::TestParamInfo<std::string>& info) {
    return info.param;
}

INSTANTIATE_TEST_SUITE_P(EveryCharacterConverter, CharacterConverterWalk,
                         testing::ValuesIn(CharacterConverterNames()), NameOfParam);

}  // namespace
