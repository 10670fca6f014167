// The converter registry: the table of all converters, the served-description
// rules from which the registry rows are derived, the key of a description,
// and the process-wide date and time defaults and regional switch.
#include "Utility/Client/SUCDataConvert.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "SUCDataConvertCore.h"
#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGBaseStringUtil.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

// ---------------------------------------------------------------------------
// Every converter of the matrix, expanded from the one list.

enum class Word : uint8 {
    Bit,
    Boolean,
    Int8,
    UnsignedInt8,
    Int16,
    UnsignedInt16,
    Int32,
    UnsignedInt32,
    Float32,
    Float64,
    Numeric,
    Char,
    XTChar,
    VarChar,
    VarXTChar,
    LongVarChar,
    LongVarXTChar,
    ExternalChar,
    ExternalVarChar,
    ExternalVarXTChar,
    Binary,
    VarBinary,
    LongVarBinary,
    Date,
    Time,
    DateTime,
    TimeStamp
};

struct ConverterEntry {
    Word source;
    Word target;
    XTConverterForm form;
    XTConverterInfo info;
};

#define XT_ENTRY(S, D, FORM, NAME)                          \
    ConverterEntry{Word::S, Word::D, XTConverterForm::FORM, \
                   XTConverterInfo{&SUDataConvert::NAME, #NAME, #S, #D, XTConverterForm::FORM}},
#define XT_ENTRY_PLAIN(S, D) XT_ENTRY(S, D, kPlain, Convert##S##To##D)
#define XT_ENTRY_NULLABLE_TO_PLAIN(S, D) XT_ENTRY(S, D, kNullableToPlain, Convert##S##NullableTo##D)
#define XT_ENTRY_NULLABLE_TO_NULLABLE(S, D) \
    XT_ENTRY(S, D, kNullableToNullable, Convert##S##NullableTo##D##Nullable)
#define XT_ENTRY_THREE_FORMS(S, D)   \
    XT_ENTRY_PLAIN(S, D)             \
    XT_ENTRY_NULLABLE_TO_PLAIN(S, D) \
    XT_ENTRY_NULLABLE_TO_NULLABLE(S, D)
#define XT_ENTRY_TWO_FORMS(S, D) \
    XT_ENTRY_PLAIN(S, D)         \
    XT_ENTRY_NULLABLE_TO_NULLABLE(S, D)
#define XT_ENTRIES(FAMILY)                                                                       \
    FAMILY(XT_ENTRY_THREE_FORMS, XT_ENTRY_TWO_FORMS, XT_ENTRY_PLAIN, XT_ENTRY_NULLABLE_TO_PLAIN, \
           XT_ENTRY_NULLABLE_TO_NULLABLE)

// clang-format off
constexpr ConverterEntry kConverters[] = {XT_ENTRIES(XT_NUMERIC_CONVERTERS)
                                              XT_ENTRIES(XT_CHARACTER_CONVERTERS)
                                                  XT_ENTRIES(XT_DATETIME_CONVERTERS)};
// clang-format on

constexpr std::array<XTConverterInfo, std::size(kConverters)> MakeConverterInfos() {
    std::array<XTConverterInfo, std::size(kConverters)> infos{};
    for (std::size_t i = 0; i < infos.size(); ++i) infos[i] = kConverters[i].info;
    return infos;
}
constexpr auto kConverterInfos = MakeConverterInfos();

constexpr std::size_t kWordCount = static_cast<std::size_t>(Word::TimeStamp) + 1;
constexpr std::size_t kFormCount = 3;
constexpr std::size_t kNoConverter = std::size(kConverters);

// The position in kConverters of each (source word, target word, form), or
// kNoConverter: one pass over the list, so that the rules look converters up
// in constant time.
constexpr auto MakeConverterIndex() {
    std::array<std::size_t, kWordCount * kWordCount * kFormCount> index{};
    index.fill(kNoConverter);
    for (std::size_t i = 0; i < std::size(kConverters); ++i) {
        const ConverterEntry& entry = kConverters[i];
        index[(static_cast<std::size_t>(entry.source) * kWordCount +
               static_cast<std::size_t>(entry.target)) *
                  kFormCount +
              static_cast<std::size_t>(entry.form)] = i;
    }
    return index;
}
constexpr auto kConverterIndex = MakeConverterIndex();

constexpr std::size_t FindConverter(Word source, Word target, XTConverterForm form) {
    return kConverterIndex[(static_cast<std::size_t>(source) * kWordCount +
                            static_cast<std::size_t>(target)) *
                               kFormCount +
                           static_cast<std::size_t>(form)];
}

// ---------------------------------------------------------------------------
// Which descriptions are served, and by which converter.

// One side of a description.
struct Side {
    XTDataType type;
    bool wide = false;
    bool external = false;
};

// The side a converter word stands for inside a record.
constexpr Side SideOf(Word word) {
    switch (word) {
        case Word::Bit: return {XTBitData};
        case Word::Boolean: return {XTBoolean};
        case Word::Int8: return {XTInt1Data};
        case Word::UnsignedInt8: return {XTUInt1Data};
        case Word::Int16: return {XTInt2Data};
        case Word::UnsignedInt16: return {XTUInt2Data};
        case Word::Int32: return {XTInt4Data};
        case Word::UnsignedInt32: return {XTUInt4Data};
        case Word::Float32: return {XTFloatData};
        case Word::Float64: return {XTDoubleData};
        case Word::Numeric: return {XTNumericData};
        case Word::Char: return {XTCharData};
        case Word::XTChar: return {XTCharData, true};
        case Word::VarChar: return {XTVarCharData};
        case Word::VarXTChar: return {XTVarCharData, true};
        case Word::LongVarChar: return {XTLongVarCharData};
        case Word::LongVarXTChar: return {XTLongVarCharData, true};
        case Word::Binary: return {XTBinaryData};
        case Word::VarBinary: return {XTVarBinaryData};
        case Word::LongVarBinary: return {XTLongVarBinaryData};
        case Word::Date: return {XTDateData};
        case Word::Time: return {XTTimeData};
        case Word::DateTime: return {XTDateTimeData};
        case Word::TimeStamp: return {XTTimeStampData};
        default: return {XTCharData, false, true};  // the client's buffers
    }
}

// Which source and target nullabilities a served pair covers.
enum class Nullability {
    kAll,             // all four combinations
    kSame,            // both non-nullable or both nullable
    kNullableSource,  // a nullable source, either target
    kBothNullable,    // only both nullable
};

// A converter named by its words and form.
struct Via {
    Word source;
    Word target;
};

class RowBuilder {
public:
    static constexpr std::size_t kCapacity = SUDataConvert::kRegistryRowCount;

    // Serves (source, target) with the converters of the same words.
    constexpr void Serve(Word source, Word target, Nullability nullability = Nullability::kAll) {
        Serve(SideOf(source), SideOf(target), Via{source, target}, nullability);
    }
    // Serves the pair with the converters named by `via`.
    constexpr void Serve(Side source, Side target, Via via,
                         Nullability nullability = Nullability::kAll) {
        ServeEach(source, target, nullability, via, via, via);
    }
    // Serves the pair with a converter chosen per null form.
    constexpr void ServeEach(Side source, Side target, Nullability nullability, Via plain,
                             Via nullableToPlain, Via nullableToNullable) {
        for (const bool sourceNullable : {false, true}) {
            for (const bool targetNullable : {false, true}) {
                if (!Covers(nullability, sourceNullable, targetNullable)) continue;
                const XTConverterForm form = !sourceNullable  ? XTConverterForm::kPlain
                                             : targetNullable ? XTConverterForm::kNullableToNullable
                                                              : XTConverterForm::kNullableToPlain;
                const Via via = form == XTConverterForm::kPlain             ? plain
                                : form == XTConverterForm::kNullableToPlain ? nullableToPlain
                                                                            : nullableToNullable;
                const std::size_t index = FindConverter(via.source, via.target, form);
                if (index == kNoConverter || m_count == kCapacity) {
                    m_failed = true;  // a rule names a converter that does not exist
                    continue;
                }
                m_converterIndex[m_count] = index;
                m_rows[m_count++] = PropertyFuncInfo{source.type,
                                                     sourceNullable,
                                                     source.wide,
                                                     source.external,
                                                     target.type,
                                                     targetNullable,
                                                     target.wide,
                                                     target.external,
                                                     kConverters[index].info.function,
                                                     kConverters[index].info.name};
            }
        }
    }

    constexpr bool Failed() const { return m_failed; }
    constexpr std::size_t Count() const { return m_count; }
    constexpr const std::array<PropertyFuncInfo, kCapacity>& Rows() const { return m_rows; }
    // The number of distinct converters the rows name.
    constexpr std::size_t CountDistinctConverters() const {
        std::array<bool, std::size(kConverters)> used{};
        std::size_t count = 0;
        for (std::size_t r = 0; r < m_count; ++r)
            if (!used[m_converterIndex[r]]) {
                used[m_converterIndex[r]] = true;
                ++count;
            }
        return count;
    }

private:
    static constexpr bool Covers(Nullability nullability, bool sourceNullable,
                                 bool targetNullable) {
        switch (nullability) {
            case Nullability::kAll: return true;
            case Nullability::kSame: return sourceNullable == targetNullable;
            case Nullability::kNullableSource: return sourceNullable;
            case Nullability::kBothNullable: return sourceNullable && targetNullable;
        }
        return false;
    }

    std::array<PropertyFuncInfo, kCapacity> m_rows{};
    std::array<std::size_t, kCapacity> m_converterIndex{};
    std::size_t m_count = 0;
    bool m_failed = false;
};

constexpr Word kFixedNumbers[] = {
    Word::Bit,           Word::Boolean, Word::Int8,          Word::UnsignedInt8, Word::Int16,
    Word::UnsignedInt16, Word::Int32,   Word::UnsignedInt32, Word::Float32,      Word::Float64};
constexpr Word kDatesAndTimes[] = {Word::Date, Word::Time, Word::DateTime};
constexpr Word kTexts[] = {Word::Char,      Word::XTChar,      Word::VarChar,
                           Word::VarXTChar, Word::LongVarChar, Word::LongVarXTChar};

// The client's character buffers: a narrow and a wide source, and the narrow
// target.
constexpr Side kExternalNarrow{XTCharData, false, true};
constexpr Side kExternalWide{XTCharData, true, true};
constexpr Side kExternalTarget = kExternalNarrow;

// The served descriptions, source by source. Each source lists its targets;
// a target served by a converter of other words says so with a Via.
constexpr RowBuilder BuildRows() {
    RowBuilder rows;
    using enum Word;
    using enum Nullability;
    const auto serveNumbers = [&rows](Word source) {
        for (const Word target : kFixedNumbers) rows.Serve(source, target);
    };
    // The client's narrow buffer as a target takes the narrow Char converter.
    const auto serveExternalAsChar = [&rows](Word source) {
        rows.Serve(SideOf(source), kExternalTarget, Via{source, Char}, kSame);
    };

    // Numbers, Bit and Boolean.
    for (const Word source : kFixedNumbers) {
        serveNumbers(source);
        if (source != Bit && source != Boolean) rows.Serve(source, Numeric);
        rows.Serve(source, Char);
        rows.Serve(source, XTChar);
        if (source != UnsignedInt8 && source != Float32) rows.Serve(source, VarXTChar);
        if (source == Float64) rows.Serve(source, VarChar);
        serveExternalAsChar(source);
    }
    serveNumbers(Numeric);
    rows.Serve(Numeric, Numeric);
    rows.Serve(Numeric, XTChar);
    rows.Serve(Numeric, VarXTChar);

    // Narrow and wide fixed text and wide variable text.
    for (const Word source : {Char, XTChar, VarXTChar}) {
        serveNumbers(source);
        for (const Word target : kTexts) rows.Serve(source, target);
        serveExternalAsChar(source);
        for (const Word target : kDatesAndTimes) rows.Serve(source, target);
    }
    // Narrow variable text.
    rows.Serve(VarChar, Int16, kBothNullable);
    rows.Serve(VarChar, VarXTChar);
    rows.Serve(VarChar, LongVarChar);
    rows.Serve(SideOf(VarChar), SideOf(LongVarXTChar), Via{VarChar, VarXTChar}, kBothNullable);
    serveExternalAsChar(VarChar);
    // Long text.
    rows.Serve(LongVarChar, LongVarChar);
    rows.Serve(LongVarChar, LongVarXTChar);
    serveExternalAsChar(LongVarChar);
    for (const Word target : kTexts) rows.Serve(LongVarXTChar, target);
    serveExternalAsChar(LongVarXTChar);

    // The client's narrow buffer as a source: the narrow Char converters,
    // except toward wide text and Numeric.
    for (const Word target : kFixedNumbers)
        rows.Serve(kExternalNarrow, SideOf(target), Via{Char, target});
    rows.ServeEach(kExternalNarrow, SideOf(Numeric), kNullableSource, {},
                   Via{ExternalVarChar, Numeric}, Via{Char, Numeric});
    for (const Word target : {Char, VarChar, LongVarChar})
        rows.Serve(kExternalNarrow, SideOf(target), Via{Char, target});
    for (const Word target : {XTChar, VarXTChar})
        rows.Serve(kExternalNarrow, SideOf(target), Via{ExternalVarChar, target});
    rows.ServeEach(kExternalNarrow, SideOf(LongVarXTChar), kAll,
                   Via{ExternalVarChar, LongVarXTChar}, Via{ExternalVarChar, LongVarXTChar},
                   Via{ExternalVarChar, VarXTChar});
    for (const Word target : kDatesAndTimes)
        rows.Serve(kExternalNarrow, SideOf(target), Via{Char, target});

    // The client's wide buffer as a source, only with equal nullabilities.
    for (const Word target : kFixedNumbers)
        rows.Serve(kExternalWide, SideOf(target), Via{Char, target}, kSame);
    for (const Word target : {Numeric, Char, VarChar})
        rows.Serve(kExternalWide, SideOf(target), Via{ExternalChar, target}, kSame);
    rows.Serve(kExternalWide, SideOf(LongVarChar), Via{ExternalChar, VarChar}, kSame);
    for (const Word target : {XTChar, VarXTChar})
        rows.Serve(kExternalWide, SideOf(target), Via{ExternalVarXTChar, target}, kSame);
    rows.ServeEach(kExternalWide, SideOf(LongVarXTChar), kSame,
                   Via{ExternalVarXTChar, LongVarXTChar}, {}, Via{ExternalVarXTChar, VarXTChar});
    for (const Word target : kDatesAndTimes)
        rows.Serve(kExternalWide, SideOf(target), Via{ExternalChar, target}, kSame);

    // Binary values.
    rows.Serve(Binary, Binary);
    rows.Serve(Binary, VarBinary);
    rows.Serve(Binary, LongVarBinary);
    rows.Serve(VarBinary, VarBinary);
    rows.Serve(VarBinary, LongVarBinary);
    rows.Serve(LongVarBinary, LongVarBinary);

    // Dates and times. Every TimeStamp target takes the DateTime-target
    // converter; a TimeStamp source takes the DateTime-source converters but
    // toward TimeStamp and the client's buffer.
    for (const Word source : {Date, Time}) {
        rows.Serve(source, Char);
        rows.Serve(source, XTChar);
        serveExternalAsChar(source);
        rows.Serve(source, source);
        rows.Serve(source, DateTime);
        rows.Serve(SideOf(source), SideOf(TimeStamp), Via{source, DateTime});
    }
    for (const Word target : {Char, XTChar, Date, Time, DateTime}) rows.Serve(DateTime, target);
    rows.Serve(SideOf(DateTime), SideOf(TimeStamp), Via{DateTime, DateTime});
    rows.Serve(SideOf(DateTime), kExternalTarget, Via{DateTime, ExternalChar}, kSame);
    for (const Word target : {Char, XTChar, Date, Time, DateTime})
        rows.Serve(SideOf(TimeStamp), SideOf(target), Via{DateTime, target});
    rows.Serve(SideOf(TimeStamp), SideOf(TimeStamp), Via{TimeStamp, DateTime});
    rows.Serve(SideOf(TimeStamp), kExternalTarget, Via{TimeStamp, ExternalChar}, kSame);
    return rows;
}

constexpr RowBuilder kRowBuilder = BuildRows();
static_assert(!kRowBuilder.Failed(), "a served description names a missing converter");
static_assert(kRowBuilder.Count() == SUDataConvert::kRegistryRowCount);
static_assert(std::size(kConverters) == SUDataConvert::kConverterCount);

static_assert(kRowBuilder.CountDistinctConverters() == SUDataConvert::kRegisteredConverterCount);

constexpr std::span<const PropertyFuncInfo> kRows(kRowBuilder.Rows().data(), kRowBuilder.Count());

constexpr bool dataTypeWiseIsUnicode[XTBoolean + 1] = {
    false, true,  true,  true,  false, false, false, false, false, false, false, false, false,
    false, false, false, false, false, false, false, false, false, false, false, false,
};

constexpr uint32 GetFuncCodeHalf(XTDataType type, bool nullable, bool wide, bool external) {
    const auto value = static_cast<uint32>(type);
    uint32 half = (external && SUXTDataTypeUtility::IsXTTextType(type)) ? 260u : value << 8;
    if (nullable) half |= 1u;
    if (wide && value < std::size(dataTypeWiseIsUnicode) && dataTypeWiseIsUnicode[value])
        half |= 2u;
    return half & 0xFFFFu;
}

constexpr uint32 GetFuncCode(XTDataType inputDataType, bool isInputNullable, bool isInputUnicode,
                             bool isInputExternalVarChar, XTDataType outputDataType,
                             bool isOutputNullable, bool isOutputUnicode,
                             bool isOutputExternalVarChar) {
    return GetFuncCodeHalf(inputDataType, isInputNullable, isInputUnicode, isInputExternalVarChar)
               << 16 |
           GetFuncCodeHalf(outputDataType, isOutputNullable, isOutputUnicode,
                           isOutputExternalVarChar);
}

constexpr uint32 KeyOf(const PropertyFuncInfo& row) {
    return GetFuncCode(row.inputDataType_, row.isInputNull_, row.isInputUnicode_,
                       row.isInputExteranlVarChar_, row.outputDataType_, row.isOutputNull_,
                       row.isOutputUnicode_, row.isOutputExteranlVarChar_);
}

// Every row has its own key: a duplicate would be a defect of the rules.
constexpr bool HasUniqueKeys() {
    std::array<uint32, SUDataConvert::kRegistryRowCount> keys{};
    for (std::size_t r = 0; r < keys.size(); ++r) keys[r] = KeyOf(kRowBuilder.Rows()[r]);
    std::sort(keys.begin(), keys.end());
    return std::adjacent_find(keys.begin(), keys.end()) == keys.end();
}
static_assert(HasUniqueKeys());

const IdFuncPairMap& Registry() {
    static const IdFuncPairMap registry(kRows);
    return registry;
}

}  // namespace

// ---------------------------------------------------------------------------

DateTimeMetaData SUDataConvert::defaultDateMetaData_(L"yyyy/mm/dd");
DateTimeMetaData SUDataConvert::defaultTimeMetaData_(L"hh:mi:ss.fffffffff");
DateTimeMetaData SUDataConvert::defaultDateTimeMetaData_(L"yyyy/mm/dd hh:mi:ss.fffffffff");
bool SUDataConvert::bRegionalSetting_ = false;

namespace {
// The registry is built while the library loads, after the default formats.
[[maybe_unused]] const IdFuncPairMap& g_loadedRegistry = Registry();
}  // namespace

IdFuncPairMap::IdFuncPairMap(std::span<const PropertyFuncInfo> rows) {
    for (const PropertyFuncInfo& row : rows) {
        if (!idFuncMap_.emplace(KeyOf(row), row.convertFunction_).second) {
            std::fprintf(stderr,
                         "InType(%d) Null(%d) Unicode(%d) extVarchar(%d) outType(%d) Null(%d) "
                         "Unicode(%d) extVarchar(%d) func(%s)\n",
                         static_cast<int>(row.inputDataType_), row.isInputNull_,
                         row.isInputUnicode_, row.isInputExteranlVarChar_,
                         static_cast<int>(row.outputDataType_), row.isOutputNull_,
                         row.isOutputUnicode_, row.isOutputExteranlVarChar_, row.functionName_);
            XTLogicError("duplicate key in the converter registry");
        }
    }
}

DataConvert_t IdFuncPairMap::Find(uint32 key) const noexcept {
    const auto found = idFuncMap_.find(key);
    return found == idFuncMap_.end() ? nullptr : found->second;
}

uint32 SUDataConvert::GetConverterKey(XTDataType inputDataType, bool isInputNullable,
                                      bool isInputUnicode, bool isInputExternalVarChar,
                                      XTDataType outputDataType, bool isOutputNullable,
                                      bool isOutputUnicode, bool isOutputExternalVarChar) noexcept {
    return GetFuncCode(inputDataType, isInputNullable, isInputUnicode, isInputExternalVarChar,
                       outputDataType, isOutputNullable, isOutputUnicode, isOutputExternalVarChar);
}

DataConvert_t SUDataConvert::GetConverterFunction(XTDataType inputDataType, bool isInputNullable,
                                                  bool isInputUnicode, bool isInputExternalVarChar,
                                                  XTDataType outputDataType, bool isOutputNullable,
                                                  bool isOutputUnicode,
                                                  bool isOutputExternalVarChar) {
    // Values outside the enumeration would alias other types in the key.
    const auto isKnown = [](XTDataType type) {
        return static_cast<uint32>(type) < static_cast<uint32>(XTUnknown);
    };
    if (!isKnown(inputDataType) || !isKnown(outputDataType)) return nullptr;
    return Registry().Find(GetFuncCode(inputDataType, isInputNullable, isInputUnicode,
                                       isInputExternalVarChar, outputDataType, isOutputNullable,
                                       isOutputUnicode, isOutputExternalVarChar));
}

void SUDataConvert::GetConverterFunctionName(DataConvert_t func, char* name) {
    for (const PropertyFuncInfo& row : kRows) {
        if (row.convertFunction_ == func) {
            std::strcpy(name, row.functionName_);
            return;
        }
    }
    name[0] = '\0';
}

std::span<const PropertyFuncInfo> SUDataConvert::GetRegistryRows() noexcept {
    return kRows;
}

std::span<const XTConverterInfo> SUDataConvert::GetAllConverters() noexcept {
    return kConverterInfos;
}

void SUDataConvert::SetRegionalSetting(const XTNString& value) {
    XTString wide;
    if (!SystemUtility::ToWide(value, wide, SystemUtility::GetMultiByteCodePage()))
        wide = SystemUtility::FromUtf8Lenient(value);
    bRegionalSetting_ = BaseStringUtil::EqualsNoCase(wide, _S_YES);
}

void SUDataConvert::InitializeMetaData(XTString& dateFormat, XTString& timeFormat,
                                       XTString& dateTimeFormat) {
    // All three formats are checked before any of them replaces the old one.
    DateTimeMetaData date(dateFormat);
    DateTimeMetaData time(timeFormat);
    DateTimeMetaData dateTime(dateTimeFormat);
    defaultDateMetaData_ = std::move(date);
    defaultTimeMetaData_ = std::move(time);
    defaultDateTimeMetaData_ = std::move(dateTime);
}

void xts::convert::ThrowRangeError(int32 code, XTDataType source, XTDataType target,
                                   const char* file, int line) {
    XTString sourceName;
    XTString targetName;
    SUXTDataTypeUtility::GetXTDataTypeName(source, sourceName);
    SUXTDataTypeUtility::GetXTDataTypeName(target, targetName);
    throw ErrorMessage::Make(file, line, code, sourceName, targetName);
}
