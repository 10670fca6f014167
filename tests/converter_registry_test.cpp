// The converter registry: which descriptions of a source and a target are
// served and by which converter, the key of a description, the name look-up,
// the table of all converters, the duplicate-key abort, and the process-wide
// regional switch and default date and time formats.
//
// The expectations come from the model of the served-description table in
// ConverterRegistryModel.h, written independently of the registry's own
// rules. Every possible description is walked through GetConverterFunction
// and compared with the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "ConverterRegistryModel.h"
#include "Utility/Client/SUCDataConvert.h"

namespace {

using namespace xts::test::registry;

// ---------------------------------------------------------------------------
// The converter families the library has. The registry is compared with the
// model for the descriptions of these families only (kNumberFamily,
// kCharacterFamily, kDateTimeFamily, or kAllFamilies); the model covers the
// whole table, so a family that lands is added here and nowhere else.
constexpr unsigned kFamiliesPresent = kAllFamilies;

bool IsCompared(Side source, Side target) {
    const unsigned family = FamilyOf(source, target);
    return (family & kFamiliesPresent) == family;
}

// ---------------------------------------------------------------------------
// Every description a caller can pass.

struct Description {
    XTDataType type;
    bool nullable;
    bool wide;
    bool external;
    Side side;
};

const int32 kInvalidTypes[] = {-1, INT32_MIN, 27, 255, 256 + XTInt2Data, 300};

const std::vector<Description>& AllDescriptions() {
    static const std::vector<Description> all = [] {
        std::vector<int32> types;
        for (int32 t = XTBitData; t <= XTMaxType; ++t)
            types.push_back(t);
        types.insert(types.end(), std::begin(kInvalidTypes), std::end(kInvalidTypes));
        std::vector<Description> descriptions;
        for (const int32 value : types) {
            const auto type = static_cast<XTDataType>(value);
            for (unsigned flags = 0; flags < 8; ++flags) {
                const bool nullable = flags & 1, wide = flags & 2, external = flags & 4;
                descriptions.push_back(
                    {type, nullable, wide, external, SideOf(type, wide, external)});
            }
        }
        return descriptions;
    }();
    return all;
}

std::string Describe(const Description& d) {
    return std::to_string(d.type) + (d.nullable ? " nullable" : "") + (d.wide ? " wide" : "") +
           (d.external ? " external" : "");
}

const std::map<DataConvert_t, std::string>& NamesByFunction() {
    static const std::map<DataConvert_t, std::string> names = [] {
        std::map<DataConvert_t, std::string> byFunction;
        for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
            byFunction.emplace(info.function, info.name);
        return byFunction;
    }();
    return names;
}

// The model's whole table: every served folded description and its converter.
// ---------------------------------------------------------------------------
// The model on its own: its totals and its names agree with the one list.

TEST(ConverterModel, TotalsOfTheTable) {
    std::set<std::string> distinct;
    std::size_t longest = 0;
    for (const ModelRow& row : ModelRows()) {
        distinct.insert(row.name);
        longest = std::max(longest, row.name.size());
    }
    EXPECT_EQ(ModelRows().size(), SUDataConvert::kRegistryRowCount);
    EXPECT_EQ(distinct.size(), SUDataConvert::kRegisteredConverterCount);
    EXPECT_EQ(longest, SUDataConvert::kMaxConverterNameLength);
}

TEST(ConverterModel, ListedNamesAreTheServedOnesAndEightMore) {
    const std::set<std::string> listed(ListedNames().begin(), ListedNames().end());
    EXPECT_EQ(ListedNames().size(), SUDataConvert::kConverterCount);
    EXPECT_EQ(listed.size(), ListedNames().size()) << "a name is listed twice";
    std::set<std::string> served;
    for (const ModelRow& row : ModelRows()) {
        served.insert(row.name);
        EXPECT_TRUE(listed.contains(row.name)) << row.name << " is not in the list";
    }
    std::set<std::string> unserved;
    std::set_difference(listed.begin(), listed.end(), served.begin(), served.end(),
                        std::inserter(unserved, unserved.end()));
    const std::set<std::string> expectedUnserved = {
        "ConvertUnsignedInt8ToVarXTChar",
        "ConvertUnsignedInt8NullableToVarXTChar",
        "ConvertUnsignedInt8NullableToVarXTCharNullable",
        "ConvertFloat32ToVarXTChar",
        "ConvertFloat32NullableToVarXTChar",
        "ConvertFloat32NullableToVarXTCharNullable",
        "ConvertLongVarXTCharToExternalVarChar",
        "ConvertExternalCharNullableToNumeric",
    };
    EXPECT_EQ(unserved, expectedUnserved);
}

TEST(ConverterModel, ListedNamesFollowTheNamingRule) {
    for (const std::string& name : ListedNames()) {
        const auto parsed = ParseName(name);
        ASSERT_TRUE(parsed) << name;
        EXPECT_NE(parsed->targetWord, "TimeStamp") << name;
    }
}

// Descriptions named in the contract, with the converter each must find.
struct Example {
    Description source;
    Description target;
    const char* expected;  // null: no converter
};
Description Make(XTDataType type, bool nullable = false, bool wide = false, bool external = false) {
    return {type, nullable, wide, external, SideOf(type, wide, external)};
}
const Example kExamples[] = {
    {Make(XTInt2Data, true), Make(XTCharData), "ConvertInt16NullableToChar"},
    {Make(XTInt2Data), Make(XTCharData, true), "ConvertInt16ToChar"},
    {Make(XTInt4Data, false, true), Make(XTDoubleData), "ConvertInt32ToFloat64"},
    {Make(XTInt2Data, true), Make(XTInt4Data), "ConvertInt16NullableToInt32"},
    {Make(XTInt2Data, true), Make(XTInt4Data, true), "ConvertInt16NullableToInt32Nullable"},
    {Make(XTFloatData, true, true, true), Make(XTBoolean, true, true, true),
     "ConvertFloat32NullableToBooleanNullable"},
    {Make(XTBoolean), Make(XTNumericData), nullptr},
    {Make(XTNumericData), Make(XTBitData, true), "ConvertNumericToBit"},
    {Make(XTMoneyData), Make(XTInt4Data), nullptr},
    {Make(XTInt4Data), Make(XTDecimalData), nullptr},
    {Make(XTVarCharData, true), Make(XTInt2Data), nullptr},
    {Make(XTVarCharData, true), Make(XTInt2Data, true), "ConvertVarCharNullableToInt16Nullable"},
    {Make(XTVarCharData, true), Make(XTLongVarCharData, true, true),
     "ConvertVarCharNullableToVarXTCharNullable"},
    {Make(XTLongVarCharData, false, false, true), Make(XTInt4Data), "ConvertCharToInt32"},
    {Make(XTCharData, true, false, true), Make(XTInt4Data, true),
     "ConvertCharNullableToInt32Nullable"},
    {Make(XTCharData, true, false, true), Make(XTNumericData),
     "ConvertExternalVarCharNullableToNumeric"},
    {Make(XTCharData, false, false, true), Make(XTNumericData), nullptr},
    {Make(XTCharData, true, false, true), Make(XTNumericData, true),
     "ConvertCharNullableToNumericNullable"},
    {Make(XTVarCharData, false, true, true), Make(XTNumericData), "ConvertExternalCharToNumeric"},
    {Make(XTVarCharData, true, true, true), Make(XTNumericData), nullptr},
    {Make(XTVarCharData, false, false, true), Make(XTLongVarCharData, false, true),
     "ConvertExternalVarCharToLongVarXTChar"},
    {Make(XTVarCharData, true, false, true), Make(XTLongVarCharData, true, true),
     "ConvertExternalVarCharNullableToVarXTCharNullable"},
    {Make(XTVarCharData, true, true, true), Make(XTLongVarCharData, true, true),
     "ConvertExternalVarXTCharNullableToVarXTCharNullable"},
    {Make(XTCharData, false, true, true), Make(XTLongVarCharData), "ConvertExternalCharToVarChar"},
    {Make(XTCharData, false, true, true), Make(XTInt1Data), "ConvertCharToInt8"},
    {Make(XTInt4Data), Make(XTVarCharData, false, false, true), "ConvertInt32ToChar"},
    {Make(XTInt4Data), Make(XTVarCharData, true, false, true), nullptr},
    {Make(XTInt4Data), Make(XTVarCharData, false, true, true), nullptr},
    {Make(XTDateData, true), Make(XTCharData, true, false, true),
     "ConvertDateNullableToCharNullable"},
    {Make(XTDateTimeData), Make(XTCharData, false, false, true), "ConvertDateTimeToExternalChar"},
    {Make(XTTimeStampData, true), Make(XTCharData, true, false, true),
     "ConvertTimeStampNullableToExternalCharNullable"},
    {Make(XTTimeStampData), Make(XTCharData, false, true), "ConvertDateTimeToXTChar"},
    {Make(XTTimeStampData), Make(XTDateTimeData), "ConvertDateTimeToDateTime"},
    {Make(XTTimeStampData), Make(XTTimeStampData), "ConvertTimeStampToDateTime"},
    {Make(XTDateData), Make(XTTimeStampData), "ConvertDateToDateTime"},
    {Make(XTCharData), Make(XTTimeStampData), nullptr},
    {Make(XTUnknown), Make(XTInt4Data), nullptr},
    {Make(XTInt4Data), Make(XTUnknown), nullptr},
};

TEST(ConverterModel, ExamplesOfTheContract) {
    for (const Example& example : kExamples) {
        const auto expected = ExpectedConverter(example.source.side, example.source.nullable,
                                                example.target.side, example.target.nullable);
        const std::string what = Describe(example.source) + " -> " + Describe(example.target);
        if (example.expected == nullptr) {
            EXPECT_FALSE(expected) << what << " gave " << *expected;
            continue;
        }
        ASSERT_TRUE(expected) << what;
        EXPECT_EQ(*expected, example.expected) << what;
    }
}

// ---------------------------------------------------------------------------
// The registry against the model.

TEST(ConverterRegistry, ExamplesOfTheContract) {
    for (const Example& example : kExamples) {
        if (!IsCompared(example.source.side, example.target.side)) continue;
        const Description& s = example.source;
        const Description& t = example.target;
        const DataConvert_t found = SUDataConvert::GetConverterFunction(
            s.type, s.nullable, s.wide, s.external, t.type, t.nullable, t.wide, t.external);
        const std::string what = Describe(s) + " -> " + Describe(t);
        if (example.expected == nullptr) {
            EXPECT_EQ(found, nullptr) << what;
        } else {
            ASSERT_NE(found, nullptr) << what;
            EXPECT_EQ(NamesByFunction().at(found), example.expected) << what;
        }
    }
}

TEST(ConverterRegistry, EveryDescriptionFindsTheModelsConverter) {
    std::size_t compared = 0;
    std::size_t served = 0;
    std::vector<std::string> mismatches;
    for (const Description& s : AllDescriptions()) {
        for (const Description& t : AllDescriptions()) {
            if (!IsCompared(s.side, t.side)) continue;
            ++compared;
            const auto expected = ExpectedConverter(s.side, s.nullable, t.side, t.nullable);
            const DataConvert_t found = SUDataConvert::GetConverterFunction(
                s.type, s.nullable, s.wide, s.external, t.type, t.nullable, t.wide, t.external);
            std::string foundName = "(none)";
            if (found != nullptr) {
                const auto named = NamesByFunction().find(found);
                foundName = named == NamesByFunction().end() ? "(unknown function)" : named->second;
            }
            if (expected) ++served;
            if (expected.value_or("(none)") != foundName && mismatches.size() < 20)
                mismatches.push_back(Describe(s) + " -> " + Describe(t) + ": expected " +
                                     expected.value_or("(none)") + ", found " + foundName);
        }
    }
    EXPECT_GT(compared, 0u);
    EXPECT_GT(served, 0u);
    for (const std::string& mismatch : mismatches)
        ADD_FAILURE() << mismatch;
}

TEST(ConverterRegistry, RowsAreTheModelsRowsOfThePresentFamilies) {
    std::size_t expectedRows = 0;
    for (const ModelRow& row : ModelRows())
        if (IsCompared(row.source, row.target)) ++expectedRows;
    EXPECT_EQ(SUDataConvert::GetRegistryRows().size(), expectedRows);
    if constexpr (kFamiliesPresent == kAllFamilies) {
        EXPECT_EQ(SUDataConvert::GetRegistryRows().size(), SUDataConvert::kRegistryRowCount);
    }

    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows()) {
        const Side source =
            SideOf(row.inputDataType_, row.isInputUnicode_, row.isInputExteranlVarChar_);
        const Side target =
            SideOf(row.outputDataType_, row.isOutputUnicode_, row.isOutputExteranlVarChar_);
        const auto expected =
            ExpectedConverter(source, row.isInputNull_, target, row.isOutputNull_);
        ASSERT_TRUE(expected) << row.functionName_;
        EXPECT_STREQ(row.functionName_, expected->c_str());
        EXPECT_EQ(SUDataConvert::GetConverterFunction(
                      row.inputDataType_, row.isInputNull_, row.isInputUnicode_,
                      row.isInputExteranlVarChar_, row.outputDataType_, row.isOutputNull_,
                      row.isOutputUnicode_, row.isOutputExteranlVarChar_),
                  row.convertFunction_)
            << row.functionName_;
    }
}

TEST(ConverterRegistry, RowNamesAreTheNamesOfTheirFunctions) {
    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows()) {
        const auto named = NamesByFunction().find(row.convertFunction_);
        ASSERT_NE(named, NamesByFunction().end()) << row.functionName_;
        EXPECT_EQ(named->second, row.functionName_);
    }
}

TEST(ConverterRegistry, RowKeysAreUnique) {
    std::map<uint32, const char*> keys;
    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows()) {
        const uint32 key = SUDataConvert::GetConverterKey(
            row.inputDataType_, row.isInputNull_, row.isInputUnicode_, row.isInputExteranlVarChar_,
            row.outputDataType_, row.isOutputNull_, row.isOutputUnicode_,
            row.isOutputExteranlVarChar_);
        const auto [at, inserted] = keys.emplace(key, row.functionName_);
        EXPECT_TRUE(inserted) << row.functionName_ << " repeats the key of " << at->second;
    }
}

TEST(ConverterRegistry, UnknownMoneyAndInvalidTypesFindNothing) {
    std::vector<int32> refused = {XTUnknown,      XTMoneyData,  XTDecimalData,
                                  XTIntervalData, XTObjectData, XTMaxType};
    refused.insert(refused.end(), std::begin(kInvalidTypes), std::end(kInvalidTypes));
    for (const int32 value : refused) {
        const auto bad = static_cast<XTDataType>(value);
        for (const Description& other : AllDescriptions()) {
            for (unsigned flags = 0; flags < 8; ++flags) {
                const bool n = flags & 1, w = flags & 2, x = flags & 4;
                EXPECT_EQ(SUDataConvert::GetConverterFunction(
                              bad, n, w, x, other.type, other.nullable, other.wide, other.external),
                          nullptr)
                    << value << " -> " << Describe(other);
                EXPECT_EQ(SUDataConvert::GetConverterFunction(
                              other.type, other.nullable, other.wide, other.external, bad, n, w, x),
                          nullptr)
                    << Describe(other) << " -> " << value;
            }
        }
    }
}

TEST(ConverterRegistry, InvalidTypeDoesNotAliasTheTypeOfItsLowByte) {
    // 256 + XTInt2Data has the low byte of SMALLINT; 512 + XTInt4Data that of INTEGER.
    ASSERT_NE(SUDataConvert::GetConverterFunction(XTInt2Data, false, false, false, XTInt4Data,
                                                  false, false, false),
              nullptr);
    EXPECT_EQ(SUDataConvert::GetConverterFunction(static_cast<XTDataType>(256 + XTInt2Data), false,
                                                  false, false, XTInt4Data, false, false, false),
              nullptr);
    EXPECT_EQ(SUDataConvert::GetConverterFunction(XTInt2Data, false, false, false,
                                                  static_cast<XTDataType>(512 + XTInt4Data), false,
                                                  false, false),
              nullptr);
    EXPECT_EQ(SUDataConvert::GetConverterFunction(static_cast<XTDataType>(-256 + XTInt2Data), false,
                                                  false, false, XTInt4Data, false, false, false),
              nullptr);
}

// ---------------------------------------------------------------------------
// Keys.

TEST(ConverterKey, ExampleOfTheLayout) {
    EXPECT_EQ(SUDataConvert::GetConverterKey(XTInt2Data, true, false, false, XTCharData, false,
                                             false, false),
              0x09010100u);
    EXPECT_EQ(SUDataConvert::GetConverterKey(XTCharData, true, true, true, XTLongVarCharData, true,
                                             true, false),
              0x01070303u);
}

TEST(ConverterKey, EveryDescriptionOfTheEnumerationHasTheLayoutsKey) {
    for (const Description& s : AllDescriptions()) {
        if (s.type < XTBitData || s.type > XTMaxType) continue;
        for (const Description& t : AllDescriptions()) {
            if (t.type < XTBitData || t.type > XTMaxType) continue;
            const uint32 expected = ModelKeyHalf(s.type, s.nullable, s.wide, s.external) << 16 |
                                    ModelKeyHalf(t.type, t.nullable, t.wide, t.external);
            ASSERT_EQ(SUDataConvert::GetConverterKey(s.type, s.nullable, s.wide, s.external, t.type,
                                                     t.nullable, t.wide, t.external),
                      expected)
                << Describe(s) << " -> " << Describe(t);
        }
    }
}

TEST(ConverterKey, WideAndExternalFlagsMeanNothingForNonTextTypes) {
    for (int32 value = XTBitData; value < XTUnknown; ++value) {
        const auto type = static_cast<XTDataType>(value);
        if (value >= XTCharData && value <= XTLongVarCharData) continue;
        for (const bool nullable : {false, true}) {
            const uint32 bare = SUDataConvert::GetConverterKey(type, nullable, false, false,
                                                               XTInt4Data, false, false, false);
            EXPECT_EQ(SUDataConvert::GetConverterKey(type, nullable, true, false, XTInt4Data, false,
                                                     false, false),
                      bare);
            EXPECT_EQ(SUDataConvert::GetConverterKey(type, nullable, true, true, XTInt4Data, false,
                                                     false, false),
                      bare);
            EXPECT_EQ(SUDataConvert::GetConverterKey(XTInt4Data, false, false, false, type,
                                                     nullable, true, true),
                      SUDataConvert::GetConverterKey(XTInt4Data, false, false, false, type,
                                                     nullable, false, false));
        }
    }
}

TEST(ConverterKey, ExternalFlagCollapsesTheTextTypesToChar) {
    for (const bool nullable : {false, true}) {
        for (const bool wide : {false, true}) {
            const uint32 asChar = SUDataConvert::GetConverterKey(XTCharData, nullable, wide, true,
                                                                 XTInt4Data, false, false, false);
            EXPECT_EQ(asChar >> 16, 0x0104u | (nullable ? 1u : 0u) | (wide ? 2u : 0u));
            for (const XTDataType text : {XTVarCharData, XTLongVarCharData}) {
                EXPECT_EQ(SUDataConvert::GetConverterKey(text, nullable, wide, true, XTInt4Data,
                                                         false, false, false),
                          asChar);
                EXPECT_NE(SUDataConvert::GetConverterKey(text, nullable, wide, false, XTInt4Data,
                                                         false, false, false),
                          asChar);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Names.

void TestOnlyConverter(DataConvertParams, const unsigned char*, uint32, uint8, unsigned char*,
                       uint32, uint8& toIsNull, uint64& returnLength) {
    toIsNull = 0;
    returnLength = 0;
}

TEST(ConverterNames, GetConverterFunctionNameGivesTheOwnNameOrNothing) {
    std::set<DataConvert_t> registered;
    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows())
        registered.insert(row.convertFunction_);
    ASSERT_FALSE(SUDataConvert::GetAllConverters().empty());
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        char name[SUDataConvert::kMaxConverterNameLength + 1 + 8];
        std::memset(name, 0x7F, sizeof name);
        SUDataConvert::GetConverterFunctionName(info.function, name);
        const std::string expected = registered.contains(info.function) ? info.name : "";
        EXPECT_EQ(std::string(name), expected) << info.name;
        for (std::size_t i = expected.size() + 1; i < sizeof name; ++i)
            ASSERT_EQ(name[i], 0x7F) << info.name << " wrote past its terminator";
    }
}

TEST(ConverterNames, FunctionInNoRowHasTheEmptyName) {
    char name[SUDataConvert::kMaxConverterNameLength + 1];
    std::memset(name, 'x', sizeof name);
    SUDataConvert::GetConverterFunctionName(&TestOnlyConverter, name);
    EXPECT_EQ(name[0], '\0');
    EXPECT_EQ(name[1], 'x');
}

TEST(ConverterNames, UnservedConvertersOfTheListHaveTheEmptyName) {
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        bool served = false;
        for (const ModelRow& row : ModelRows())
            served = served || row.name == info.name;
        if (served) continue;
        char name[SUDataConvert::kMaxConverterNameLength + 1] = "unchanged";
        SUDataConvert::GetConverterFunctionName(info.function, name);
        EXPECT_STREQ(name, "") << info.name;
    }
}

TEST(ConverterNames, AllConvertersFollowTheNamingRuleAndAreUnique) {
    const std::set<std::string> listed(ListedNames().begin(), ListedNames().end());
    std::set<std::string> names;
    std::set<DataConvert_t> functions;
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        const auto parsed = ParseName(info.name);
        ASSERT_TRUE(parsed) << info.name;
        EXPECT_EQ(parsed->sourceWord, info.sourceWord) << info.name;
        EXPECT_EQ(parsed->targetWord, info.targetWord) << info.name;
        EXPECT_EQ(parsed->form, info.form) << info.name;
        EXPECT_LE(std::strlen(info.name), SUDataConvert::kMaxConverterNameLength);
        EXPECT_TRUE(listed.contains(info.name)) << info.name;
        EXPECT_TRUE(names.insert(info.name).second) << info.name << " twice";
        EXPECT_TRUE(functions.insert(info.function).second) << info.name << " shares a function";
    }
    // The converters present are exactly the listed ones of the present families.
    std::size_t expected = 0;
    for (const std::string& name : ListedNames()) {
        const auto parsed = ParseName(name);
        const unsigned family = FamilyOfWords(parsed->sourceWord, parsed->targetWord);
        if (family & kFamiliesPresent) {
            ++expected;
            EXPECT_TRUE(names.contains(name)) << name << " is missing";
        }
    }
    EXPECT_EQ(names.size(), expected);
}

// ---------------------------------------------------------------------------
// The duplicate-key defect.

using ConverterRegistryDeathTest = ::testing::Test;

TEST(ConverterRegistryDeathTest, DuplicateKeyPrintsTheRowAndAborts) {
    // The two rows differ only in the wide flag of a non-text source, which
    // the key ignores.
    const PropertyFuncInfo rows[] = {
        {XTInt4Data, true, false, false, XTInt2Data, false, false, false, &TestOnlyConverter,
         "FirstConverter"},
        {XTInt4Data, true, true, false, XTInt2Data, false, false, false, &TestOnlyConverter,
         "SecondConverter"},
    };
    EXPECT_DEATH(IdFuncPairMap{rows},
                 "InType\\(11\\) Null\\(1\\) Unicode\\(1\\) extVarchar\\(0\\) outType\\(9\\) "
                 "Null\\(0\\) Unicode\\(0\\) extVarchar\\(0\\) func\\(SecondConverter\\)\n");
}

TEST(ConverterRegistry, DistinctKeysBuildAMap) {
    const PropertyFuncInfo rows[] = {
        {XTInt4Data, true, false, false, XTInt2Data, false, false, false, &TestOnlyConverter,
         "FirstConverter"},
        {XTCharData, false, false, true, XTCharData, false, false, false, &TestOnlyConverter,
         "SecondConverter"},
    };
    const IdFuncPairMap map{rows};
    EXPECT_EQ(map.idFuncMap_.size(), 2u);
    EXPECT_EQ(map.Find(0x0B010900u), &TestOnlyConverter);
    EXPECT_EQ(map.Find(0x01040100u), &TestOnlyConverter);
    EXPECT_EQ(map.Find(0x0B000900u), nullptr);
}

// ---------------------------------------------------------------------------
// Regional switch and default formats.

TEST(RegionalSetting, OnForTheAffirmativeWordInAnyCase) {
    ASSERT_FALSE(SUDataConvert::GetRegionalSetting()) << "starts off";
    const struct {
        const char* value;
        bool on;
    } kCases[] = {{"Yes", true}, {"no", false},   {"yes", true}, {"", false},
                  {"YES", true}, {"Yes ", false}, {"Y", false},  {"yEs", true}};
    for (const auto& c : kCases) {
        SUDataConvert::SetRegionalSetting(c.value);
        EXPECT_EQ(SUDataConvert::GetRegionalSetting(), c.on) << '"' << c.value << '"';
    }
    SUDataConvert::SetRegionalSetting("no");
    EXPECT_FALSE(SUDataConvert::GetRegionalSetting());
}

TEST(DefaultDateTimeFormats, DefaultsAndReplacement) {
    EXPECT_EQ(SUDataConvert::GetDefaultDateMetaData().GetFormat(), L"yyyy/mm/dd");
    EXPECT_EQ(SUDataConvert::GetDefaultTimeMetaData().GetFormat(), L"hh:mi:ss.fffffffff");
    EXPECT_EQ(SUDataConvert::GetDefaultDateTimeMetaData().GetFormat(),
              L"yyyy/mm/dd hh:mi:ss.fffffffff");

    XTString oldDate = SUDataConvert::GetDefaultDateMetaData().GetFormat();
    XTString oldTime = SUDataConvert::GetDefaultTimeMetaData().GetFormat();
    XTString oldDateTime = SUDataConvert::GetDefaultDateTimeMetaData().GetFormat();
    XTString date = L"dd.mm.yyyy", time = L"hh:mi", dateTime = L"dd.mm.yyyy hh:mi:ss";
    SUDataConvert::InitializeMetaData(date, time, dateTime);
    EXPECT_EQ(SUDataConvert::GetDefaultDateMetaData().GetFormat(), L"dd.mm.yyyy");
    EXPECT_EQ(SUDataConvert::GetDefaultTimeMetaData().GetFormat(), L"hh:mi");
    EXPECT_EQ(SUDataConvert::GetDefaultDateTimeMetaData().GetFormat(), L"dd.mm.yyyy hh:mi:ss");
    // The getters return the process-wide objects themselves.
    EXPECT_EQ(&SUDataConvert::GetDefaultDateMetaData(), &SUDataConvert::GetDefaultDateMetaData());

    SUDataConvert::InitializeMetaData(oldDate, oldTime, oldDateTime);
    EXPECT_EQ(SUDataConvert::GetDefaultDateMetaData().GetFormat(), L"yyyy/mm/dd");
    EXPECT_EQ(SUDataConvert::GetDefaultDateTimeMetaData().GetFormat(),
              L"yyyy/mm/dd hh:mi:ss.fffffffff");
}

}  // namespace
