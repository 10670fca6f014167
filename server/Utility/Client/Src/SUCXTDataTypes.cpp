#include "Utility/Client/SUCXTDataTypes.h"

#include <array>
#include <cstddef>

#include "Utility/Generic/SUGBaseStringUtil.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

// The one table of type names: it drives the names, the look-ups and every
// printed catalogue. Row i describes the value i.
constexpr std::array<XTDataTypeCatalogueEntry, XTMaxType + 1> kCatalogue{{
    {XTBitData, "XTBitData", L"BIT", L"BIT"},
    {XTCharData, "XTCharData", L"CHAR", L"CHAR"},
    {XTVarCharData, "XTVarCharData", L"VARCHAR", L"VARCHAR"},
    {XTLongVarCharData, "XTLongVarCharData", L"LONG VARCHAR", L"LONGVARCHAR"},
    {XTBinaryData, "XTBinaryData", L"BINARY", L"BINARY"},
    {XTVarBinaryData, "XTVarBinaryData", L"VARBINARY", L"VARBINARY"},
    {XTLongVarBinaryData, "XTLongVarBinaryData", L"LONG VARBINARY", L"LONGVARBINARY"},
    {XTInt1Data, "XTInt1Data", L"TINYINT", L"TINYINT"},
    {XTUInt1Data, "XTUInt1Data", L"UNSIGNED TINYINT", L"TINYUINT"},
    {XTInt2Data, "XTInt2Data", L"SMALLINT", L"SMALLINT"},
    {XTUInt2Data, "XTUInt2Data", L"UNSIGNED SMALLINT", L"SMALLUINT"},
    {XTInt4Data, "XTInt4Data", L"INTEGER", L"INT"},
    {XTUInt4Data, "XTUInt4Data", L"UNSIGNED INTEGER", L"UINT"},
    {XTFloatData, "XTFloatData", L"FLOAT", L"FLOAT"},
    {XTDoubleData, "XTDoubleData", L"DOUBLE PRECISION", L"DOUBLE"},
    {XTMoneyData, "XTMoneyData", L"MONEY", L"MONEY"},
    {XTNumericData, "XTNumericData", L"NUMERIC", L"NUMERIC"},
    {XTDecimalData, "XTDecimalData", L"DECIMAL", L"DECIMAL"},
    {XTDateData, "XTDateData", L"DATE", L"DATE"},
    {XTTimeData, "XTTimeData", L"TIME", L"TIME"},
    {XTDateTimeData, "XTDateTimeData", L"TIMESTAMP", L"DATETIME"},
    {XTTimeStampData, "XTTimeStampData", L"TIMESTAMP", L"TIMESTAMP"},
    {XTIntervalData, "XTIntervalData", L"INTERVAL", L"INTERVAL"},
    {XTObjectData, "XTObjectData", L"OBJECT", L"OBJECT"},
    {XTBoolean, "XTBoolean", L"BOOL", L"BOOLEAN"},
    {XTUnknown, "XTUnknown", L"UNKNOWN", L"UNKNOWN"},
    {XTMaxType, "XTMaxType", L"", L"BAD"},
}};

constexpr bool CatalogueIsIndexedByValue() {
    for (std::size_t i = 0; i < kCatalogue.size(); ++i)
        if (static_cast<std::size_t>(kCatalogue[i].type) != i) return false;
    return true;
}
static_assert(CatalogueIsIndexedByValue(), "catalogue row i must describe value i");

// What a value outside 0..25 is called: the XTMaxType row.
constexpr const XTDataTypeCatalogueEntry& kOutOfRangeEntry = kCatalogue[XTMaxType];

const XTDataTypeCatalogueEntry& EntryOrOutOfRange(XTDataType type) noexcept {
    const auto value = static_cast<uint32>(type);
    return value < kCatalogue.size() ? kCatalogue[value] : kOutOfRangeEntry;
}

// Type words of common databases that are no single-word name of ours,
// compared in this order after the single-word names.
struct DatabaseTypeWord {
    const wchar_t* word;
    XTDataType type;
};
constexpr DatabaseTypeWord kDatabaseTypeWords[] = {
    {L"INTEGER", XTInt4Data}, {L"NUMBER", XTNumericData},   {L"VARCHAR2", XTVarCharData},
    {L"REAL", XTFloatData},   {L"NVARCHAR", XTVarCharData},
};

constexpr uint32 kDefaultMaxFieldSize = 32768;

// Reads the narrow value and widens it byte by byte: only its digits matter,
// and this runs during static initialisation, before any locale is set up.
bool ReadMaxFieldSizeFromEnvironment() {
    XTNString text;
    g_bMaxFieldSizeSet = SystemUtility::Getenv("ZEPS_MAX_FIELD_SIZE", text);
    g_sMaxFieldSize = g_bMaxFieldSizeSet ? BaseStringUtil::StringFrom(text) : XTString();
    return g_bMaxFieldSizeSet;
}

}  // namespace

bool g_bMaxFieldSizeSet = false;
XTString g_sMaxFieldSize;

namespace {
// Runs while the library loads, after the two globals above are constructed:
// the environment is read once and later changes to it have no effect.
[[maybe_unused]] const bool g_maxFieldSizeRead = ReadMaxFieldSizeFromEnvironment();
}  // namespace

std::span<const XTDataTypeCatalogueEntry> SUXTDataTypeUtility::GetCatalogue() noexcept {
    return kCatalogue;
}

const XTDataTypeCatalogueEntry* SUXTDataTypeUtility::GetCatalogueEntry(XTDataType type) noexcept {
    const auto value = static_cast<uint32>(type);
    return value < kCatalogue.size() ? &kCatalogue[value] : nullptr;
}

XTString& SUXTDataTypeUtility::GetXTDataTypeName(XTDataType type, XTString& out) {
    out = EntryOrOutOfRange(type).displayName;
    return out;
}

XTString& SUXTDataTypeUtility::GetSingleWordXTDataTypeName(XTDataType type, XTString& out) {
    out = EntryOrOutOfRange(type).singleWordName;
    return out;
}

XTDataType SUXTDataTypeUtility::GetXTDataTypeFromSingleWordName(const XTString& name) {
    // The search stops before XTUnknown on purpose: "UNKNOWN" matches nothing,
    // and no match gives XTUnknown all the same.
    for (int32 value = XTBitData; value <= XTBoolean; ++value) {
        if (BaseStringUtil::EqualsNoCase(name, kCatalogue[value].singleWordName))
            return static_cast<XTDataType>(value);
    }
    return XTUnknown;
}

XTDataType SUXTDataTypeUtility::GetXTDataTypeFromDatabaseSingleWordName(const XTString& name) {
    const XTDataType type = GetXTDataTypeFromSingleWordName(name);
    if (type != XTUnknown) return type;
    for (const DatabaseTypeWord& word : kDatabaseTypeWords) {
        if (BaseStringUtil::EqualsNoCase(name, word.word)) return word.type;
    }
    return XTUnknown;
}

uint32 SUXTDataTypeUtility::GetMaxFieldSize() noexcept {
    if (!g_bMaxFieldSizeSet) return kDefaultMaxFieldSize;
    const int32 size = BaseStringUtil::StringToInt32(g_sMaxFieldSize);
    return size < 0 ? kDefaultMaxFieldSize : static_cast<uint32>(size);
}
