// The converter registry against a model of the served-description table,
// written from the table's rules rather than from the registry's code: per
// source the targets served, the nullability restrictions, and the converter
// chosen by the naming rule and its exceptions. Every description a caller can
// pass (all types, invalid values, every flag) is walked through the registry.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Utility/Client/SUCDataConvert.h"

namespace {

// One side of a description once the key has folded its flags; ExtN and ExtW
// are the client's character buffer, narrow or wide.
// clang-format off
enum class Side {
    Bit, Boolean, Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double, Numeric, CharN, CharW,
    VarCharN, VarCharW, LongVarCharN, LongVarCharW, ExtN, ExtW, Binary, VarBinary, LongVarBinary,
    Date, Time, DateTime, TimeStamp, None,
};
using enum Side;
// The words of converter names; the client's buffers have no word of their own.
const char* const kWordOfSide[] = {
    "Bit", "Boolean", "Int8", "UnsignedInt8", "Int16", "UnsignedInt16", "Int32", "UnsignedInt32",
    "Float32", "Float64", "Numeric", "Char", "XTChar", "VarChar", "VarXTChar", "LongVarChar",
    "LongVarXTChar", "", "", "Binary", "VarBinary", "LongVarBinary", "Date", "Time", "DateTime",
    "TimeStamp"};

// By type value, in the order of the enumeration.
const Side kSideOfType[] = {
    Bit, CharN, VarCharN, LongVarCharN, Binary, VarBinary, LongVarBinary, Int1, UInt1, Int2, UInt2,
    Int4, UInt4, Float, Double, None, Numeric, None, Date, Time, DateTime, TimeStamp, None, None,
    Boolean};

// Per source, the targets that have a converter.
const std::map<Side, std::vector<Side>> kServed = [] {
    const auto join = [](std::initializer_list<std::vector<Side>> parts) {
        std::vector<Side> all;
        for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    };
    const std::vector<Side> fixed = {Bit, Boolean, Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double};
    const std::vector<Side> text = {CharN, CharW, VarCharN, VarCharW, LongVarCharN, LongVarCharW};
    std::map<Side, std::vector<Side>> s;
    s[Bit] = s[Boolean] = join({fixed, {CharN, CharW, VarCharW, ExtN}});
    s[Int1] = s[Int2] = s[UInt2] = s[Int4] = s[UInt4] = join({fixed, {Numeric, CharN, CharW, VarCharW, ExtN}});
    s[UInt1] = s[Float] = join({fixed, {Numeric, CharN, CharW, ExtN}});
    s[Double] = join({s[Int1], {VarCharN}});
    s[Numeric] = join({fixed, {Numeric, CharW, VarCharW}});
    s[CharN] = s[CharW] = s[VarCharW] = join({fixed, text, {ExtN, Date, Time, DateTime}});
    s[VarCharN] = {Int2, VarCharW, LongVarCharN, LongVarCharW, ExtN};
    s[LongVarCharN] = {LongVarCharN, LongVarCharW, ExtN};
    s[LongVarCharW] = join({text, {ExtN}});
    s[ExtN] = s[ExtW] = join({fixed, {Numeric}, text, {Date, Time, DateTime}});
    s[Binary] = {Binary, VarBinary, LongVarBinary};
    s[VarBinary] = {VarBinary, LongVarBinary};
    s[LongVarBinary] = {LongVarBinary};
    s[Date] = {CharN, CharW, ExtN, Date, DateTime, TimeStamp};
    s[Time] = {CharN, CharW, ExtN, Time, DateTime, TimeStamp};
    s[DateTime] = s[TimeStamp] = {CharN, CharW, ExtN, Date, Time, DateTime, TimeStamp};
    return s;
}();
// clang-format on

// The wide flag counts for text only; the external flag turns any text type
// into the client's buffer and means nothing for other types.
Side SideOf(int32 type, bool wide, bool external) {
    if (type < 0 || type >= static_cast<int32>(std::size(kSideOfType))) return None;
    if (type < XTCharData || type > XTLongVarCharData) return kSideOfType[type];
    if (external) return wide ? ExtW : ExtN;
    return static_cast<Side>(static_cast<int>(kSideOfType[type]) + (wide ? 1 : 0));
}

std::string ComposeName(const std::string& source, XTConverterForm form,
                        const std::string& target) {
    return "Convert" + source + (form == XTConverterForm::kPlain ? "" : "Nullable") + "To" +
           target + (form == XTConverterForm::kNullableToNullable ? "Nullable" : "");
}

// The converter that serves a folded description, or nothing.
std::optional<std::string> ExpectedConverter(Side source, bool sourceNullable, Side target,
                                             bool targetNullable) {
    if (!kServed.contains(source) || !std::ranges::count(kServed.at(source), target))
        return std::nullopt;
    if ((target == ExtN || source == ExtW) && sourceNullable != targetNullable) return std::nullopt;
    if (source == ExtN && target == Numeric && !sourceNullable) return std::nullopt;
    if (source == VarCharN && (target == Int2 || target == LongVarCharW) &&
        !(sourceNullable && targetNullable))
        return std::nullopt;
    const XTConverterForm form = !sourceNullable  ? XTConverterForm::kPlain
                                 : targetNullable ? XTConverterForm::kNullableToNullable
                                                  : XTConverterForm::kNullableToPlain;
    const bool wideTarget = target == CharW || target == VarCharW || target == LongVarCharW;
    std::string sourceWord = kWordOfSide[static_cast<int>(source)];
    std::string targetWord = kWordOfSide[static_cast<int>(target)];
    if (target == TimeStamp) targetWord = "DateTime";
    if (source == TimeStamp && target != TimeStamp && target != ExtN) sourceWord = "DateTime";
    // The narrow buffer takes ExternalVarChar converters toward wide text and plain Numeric.
    if (source == ExtN)
        sourceWord =
            wideTarget || (target == Numeric && !targetNullable) ? "ExternalVarChar" : "Char";
    if (source == ExtW) {
        sourceWord = target <= Double ? "Char" : wideTarget ? "ExternalVarXTChar" : "ExternalChar";
        if (target == VarCharN || target == LongVarCharN) targetWord = "VarChar";
    }
    if (target == LongVarCharW && form == XTConverterForm::kNullableToNullable &&
        (source == VarCharN || source == ExtN || source == ExtW))
        targetWord = "VarXTChar";
    if (target == ExtN)
        targetWord = source == DateTime || source == TimeStamp ? "ExternalChar" : "Char";
    return ComposeName(sourceWord, form, targetWord);
}

constexpr unsigned N = 1, W = 2, X = 4;  // nullable, wide, external
struct Description {
    int32 type;
    unsigned flags;
    Side side() const { return SideOf(type, flags & W, flags & X); }
    std::string Text() const { return std::to_string(type) + "/" + std::to_string(flags); }
};

// GetConverterFunction or GetConverterKey of a description.
template <class Registry>
auto Ask(Registry registry, const Description& s, const Description& t) {
    return registry(XTDataType(s.type), s.flags & N, s.flags & W, s.flags & X, XTDataType(t.type),
                    t.flags & N, t.flags & W, t.flags & X);
}

const DataConvert_t kForeignConverter = [](DataConvertParams, const unsigned char*, uint32, uint8,
                                           unsigned char*, uint32, uint8&, uint64&) {};

// GetConverterFunctionName, checking that nothing is written past the terminator.
std::string NameWritten(DataConvert_t function) {
    char name[SUDataConvert::kMaxConverterNameLength + 1 + 8];
    std::memset(name, 0x7F, sizeof name);
    SUDataConvert::GetConverterFunctionName(function, name);
    const std::string written(name, strnlen(name, sizeof name));
    const auto untouched = std::count(std::begin(name), std::end(name), 0x7F);
    return untouched + written.size() + 1 == sizeof name ? written : "(wrote past the terminator)";
}

// The model's totals; every converter of the list named by the naming rule,
// with its own function; registered ones report their own name (a shared
// function is found at its own-named row), the others and foreign functions
// the empty name.
TEST(ConverterRegistry, ModelTotalsAndEveryConvertersName) {
    std::set<std::string> served, names, unserved;
    std::size_t rows = 0, longest = 0;
    for (int s = 0; s < static_cast<int>(None); ++s)
        for (int t = 0; t < static_cast<int>(None); ++t)
            for (unsigned n = 0; n < 4; ++n)
                if (const auto name = ExpectedConverter(Side(s), n & 1, Side(t), n & 2)) {
                    ++rows;
                    served.insert(*name);
                    longest = std::max(longest, name->size());
                }
    // Rows, distinct converters, the longest name, and the registry's own rows.
    EXPECT_EQ((std::vector{rows, served.size(), longest, SUDataConvert::GetRegistryRows().size()}),
              (std::vector<std::size_t>{1140, 747, 51, 1140}));
    std::set<DataConvert_t> functions;
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        EXPECT_EQ(ComposeName(info.sourceWord, info.form, info.targetWord), info.name);
        EXPECT_TRUE(names.insert(info.name).second) << info.name << " twice";
        EXPECT_TRUE(functions.insert(info.function).second) << info.name << " shares a function";
        EXPECT_EQ(NameWritten(info.function), served.contains(info.name) ? info.name : "");
        if (!served.contains(info.name)) unserved.insert(info.name);
    }
    EXPECT_EQ(NameWritten(kForeignConverter), "");
    EXPECT_EQ(names.size(), 755u);
    // clang-format off
    EXPECT_EQ(unserved, (std::set<std::string>{
        "ConvertUnsignedInt8ToVarXTChar", "ConvertUnsignedInt8NullableToVarXTChar",
        "ConvertUnsignedInt8NullableToVarXTCharNullable", "ConvertFloat32ToVarXTChar",
        "ConvertFloat32NullableToVarXTChar", "ConvertFloat32NullableToVarXTCharNullable",
        "ConvertLongVarXTCharToExternalVarChar", "ConvertExternalCharNullableToNumeric"}));
    // clang-format on
}

// Invalid type values, some sharing their low byte with a valid type, must
// find nothing rather than alias that type inside the key.
TEST(ConverterRegistry, EveryDescriptionFindsTheModelsConverter) {
    std::vector<int32> types(XTMaxType + 3);  // -1 .. XTMaxType + 1, and more invalid values
    std::iota(types.begin(), types.end(), -1);
    types.insert(types.end(),
                 {INT_MIN, 255, 256 + XTInt2Data, 512 + XTInt4Data, -256 + XTInt2Data});
    std::vector<Description> all;
    for (const int32 type : types)
        for (unsigned flags = 0; flags < 8; ++flags) all.push_back({type, flags});
    int failures = 0;
    for (const Description& s : all) {
        for (const Description& t : all) {
            const std::string expected =
                ExpectedConverter(s.side(), s.flags & N, t.side(), t.flags & N).value_or("");
            const std::string found = NameWritten(Ask(SUDataConvert::GetConverterFunction, s, t));
            if (expected != found && failures++ < 20)
                ADD_FAILURE() << s.Text() << " -> " << t.Text() << ": expected " << expected
                              << ", found " << found;
        }
    }
}

TEST(ConverterRegistry, Examples) {
    // clang-format off
    const struct { Description source, target; const char* expected; } kExamples[] = {
        {{XTInt2Data, N}, {XTCharData, 0}, "ConvertInt16NullableToChar"},
        {{XTInt2Data, 0}, {XTCharData, N}, "ConvertInt16ToChar"},
        {{XTInt4Data, W}, {XTDoubleData, 0}, "ConvertInt32ToFloat64"},
        {{XTMoneyData, 0}, {XTInt4Data, 0}, ""},
        {{XTInt4Data, 0}, {XTUnknown, 0}, ""},
        {{XTVarCharData, N}, {XTInt2Data, 0}, ""},
        {{XTVarCharData, N}, {XTInt2Data, N}, "ConvertVarCharNullableToInt16Nullable"},
        {{XTLongVarCharData, X}, {XTInt4Data, 0}, "ConvertCharToInt32"},
        {{XTCharData, N|X}, {XTNumericData, 0}, "ConvertExternalVarCharNullableToNumeric"},
        {{XTVarCharData, N|X}, {XTLongVarCharData, N|W}, "ConvertExternalVarCharNullableToVarXTCharNullable"},
        {{XTCharData, W|X}, {XTLongVarCharData, 0}, "ConvertExternalCharToVarChar"},
        {{XTDateData, N}, {XTCharData, N|X}, "ConvertDateNullableToCharNullable"},
        {{XTTimeStampData, N}, {XTCharData, N|X}, "ConvertTimeStampNullableToExternalCharNullable"},
        {{XTTimeStampData, 0}, {XTTimeStampData, 0}, "ConvertTimeStampToDateTime"},
    };
    // clang-format on
    for (const auto& e : kExamples)
        EXPECT_EQ(NameWritten(Ask(SUDataConvert::GetConverterFunction, e.source, e.target)),
                  e.expected)
            << e.source.Text() << " -> " << e.target.Text();
    // Keys: source type, flags, target type, flags; the wide (2) and external (4) flags count
    // for text types only.
    EXPECT_EQ(Ask(SUDataConvert::GetConverterKey, {XTInt2Data, N}, {XTCharData, 0}), 0x09010100u);
    EXPECT_EQ(
        Ask(SUDataConvert::GetConverterKey, {XTLongVarCharData, N | W | X}, {XTVarCharData, N | W}),
        0x01070203u);
    EXPECT_EQ(Ask(SUDataConvert::GetConverterKey, {XTInt4Data, W | X}, {XTDoubleData, N | W | X}),
              0x0B000E01u);
}

TEST(ConverterRegistryDeathTest, DuplicateKeyPrintsTheRowAndAborts) {
    // The rows differ only in the wide flag of a non-text source, which the key ignores.
    // clang-format off
    const PropertyFuncInfo rows[] = {
        {XTInt4Data, true, false, false, XTInt2Data, false, false, false, kForeignConverter, "FirstConverter"},
        {XTInt4Data, true, true, false, XTInt2Data, false, false, false, kForeignConverter, "SecondConverter"},
    };
    // clang-format on
    EXPECT_DEATH(IdFuncPairMap{rows},
                 "InType\\(11\\) Null\\(1\\) Unicode\\(1\\) extVarchar\\(0\\) outType\\(9\\) "
                 "Null\\(0\\) Unicode\\(0\\) extVarchar\\(0\\) func\\(SecondConverter\\)\n");
}

TEST(ConverterRegistry, RegionalSwitchAndDefaultFormats) {
    EXPECT_FALSE(SUDataConvert::GetRegionalSetting()) << "starts off";
    for (const auto& [on, off] :
         {std::pair{"Yes", "no"}, {"yEs", ""}, {"YES", "Yes "}, {"yes", "Y"}}) {
        SUDataConvert::SetRegionalSetting(on);
        EXPECT_TRUE(SUDataConvert::GetRegionalSetting()) << on;
        SUDataConvert::SetRegionalSetting(off);
        EXPECT_FALSE(SUDataConvert::GetRegionalSetting()) << '"' << off << '"';
    }
    const auto formats = [] {
        return SUDataConvert::GetDefaultDateMetaData().GetFormat() + L"|" +
               SUDataConvert::GetDefaultTimeMetaData().GetFormat() + L"|" +
               SUDataConvert::GetDefaultDateTimeMetaData().GetFormat();
    };
    EXPECT_EQ(formats(), L"yyyy/mm/dd|hh:mi:ss.fffffffff|yyyy/mm/dd hh:mi:ss.fffffffff");
    const DateTimeMetaData* date = &SUDataConvert::GetDefaultDateMetaData();
    XTString d = L"dd.mm.yyyy", t = L"hh:mi", dt = L"dd.mm.yyyy hh:mi:ss";
    SUDataConvert::InitializeMetaData(d, t, dt);
    EXPECT_EQ(formats(), L"dd.mm.yyyy|hh:mi|dd.mm.yyyy hh:mi:ss");
    EXPECT_EQ(&SUDataConvert::GetDefaultDateMetaData(), date) << "the same object, replaced";
    d = L"yyyy/mm/dd", t = L"hh:mi:ss.fffffffff", dt = L"yyyy/mm/dd hh:mi:ss.fffffffff";
    SUDataConvert::InitializeMetaData(d, t, dt);
}

}  // namespace
