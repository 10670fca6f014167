// XTRecordMetaData: reading single columns of a binary record as integers and
// as text, and the diagnostics of a record description.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "SUCXTRecordLayoutRules.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"
#include "Utility/Generic/SUGXTDateTime.h"

namespace {

// Values lie in records at any byte offset (packed layouts), so they are
// copied out rather than read through typed pointers.
template <class T>
T LoadValue(const unsigned char* p) noexcept {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

XTString GetTypeName(XTDataType type) {
    XTString name;
    SUXTDataTypeUtility::GetXTDataTypeName(type, name);
    return name;
}

// The display name of the 64-bit integer target (not a column type).
constexpr const wchar_t* kBigIntName = L"BIGINT";

// A floating value truncated toward zero; out of the 64-bit range (NaN
// included) it is an overflow or underflow instead of undefined behaviour.
int64 TruncateToInt64(double value, XTDataType sourceType) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (std::isnan(value) || value >= kTwoTo63)
        SUGThrow(kMsgValueOverflow, GetTypeName(sourceType), kBigIntName);
    if (value < -kTwoTo63) SUGThrow(kMsgValueUnderflow, GetTypeName(sourceType), kBigIntName);
    return static_cast<int64>(value);
}

// ---- Column text ----

// Each column is rendered as into a buffer of 8192 wide characters: at most
// 8191 characters and a terminator.
constexpr std::size_t kMaxColumnText = 8191;

// Appends `value` padded with blanks to `width` characters, on the left
// (right-justified, as "%*ls") or on the right (as "%-*ls"); the padded text
// is cut at kMaxColumnText characters.
void AppendPadded(XTString& out, std::wstring_view value, uint32 width, bool leftJustified) {
    const std::size_t shown = std::min(value.size(), kMaxColumnText);
    const std::size_t padding = std::min<std::size_t>(width, kMaxColumnText) > shown
                                    ? std::min<std::size_t>(width, kMaxColumnText) - shown
                                    : 0;
    if (!leftJustified) out.append(padding, L' ');
    out.append(value.substr(0, shown));
    if (leftJustified) out.append(padding, L' ');
}

// "%*.*ls": `text` cut to `precision` characters and right-justified.
void AppendCutAndPadded(XTString& out, std::wstring_view text, uint32 widthAndPrecision) {
    AppendPadded(out, text.substr(0, std::min<std::size_t>(text.size(), widthAndPrecision)),
                 widthAndPrecision, false);
}

void AppendNarrow(XTString& out, const char* text, uint32 width) {
    wchar_t wide[kMaxColumnText];
    std::size_t length = 0;
    while (text[length] != '\0' && length < kMaxColumnText) {
        wide[length] = static_cast<wchar_t>(static_cast<unsigned char>(text[length]));
        ++length;
    }
    AppendPadded(out, std::wstring_view(wide, length), width, false);
}

// Wide characters at `p` up to `count` characters or the first zero, as the
// precision of "%ls" does, laid out "%-*.*ls".
void AppendWideCharacters(XTString& out, const unsigned char* p, std::size_t count, uint32 width) {
    count = std::min(count, kMaxColumnText);
    XTString characters;
    for (std::size_t i = 0; i < count; ++i) {
        const wchar_t character = LoadValue<wchar_t>(p + i * sizeof(wchar_t));
        if (character == L'\0') break;
        characters.push_back(character);
    }
    AppendPadded(out, characters, width, true);
}

// The text of a time with its fraction cut to three digits (milliseconds).
XTString CutFractionToMilliseconds(XTString text) {
    const std::size_t point = text.rfind(L'.');
    if (point != XTString::npos && text.size() > point + 4) text.resize(point + 4);
    return text;
}

void AppendColumnText(XTString& out, const XTFieldDescriptor& column, bool isWideColumn,
                      const unsigned char* record) {
    const uint32 width = column.GetTextLength();
    const XTDataType type = column.GetXTDataType();
    if (column.IsNullable() && record[column.GetNullOffset()] != 0) {
        AppendCutAndPadded(out, L"NULL", width);
        return;
    }
    const unsigned char* value = record + column.GetByteOffset();
    switch (type) {
        case XTBitData:
        case XTBoolean:
            AppendPadded(out, std::to_wstring(LoadValue<uint8>(value)), width, false);
            return;
        case XTInt1Data:
            AppendPadded(out, std::to_wstring(LoadValue<int8>(value)), width, false);
            return;
        case XTInt2Data:
            AppendPadded(out, std::to_wstring(LoadValue<int16>(value)), width, false);
            return;
        case XTInt4Data:
        case XTIntervalData:
            AppendPadded(out, std::to_wstring(LoadValue<int32>(value)), width, false);
            return;
        case XTUInt1Data:
            AppendPadded(out, std::to_wstring(LoadValue<uint8>(value)), width, false);
            return;
        case XTUInt2Data:
            AppendPadded(out, std::to_wstring(LoadValue<uint16>(value)), width, false);
            return;
        case XTUInt4Data:
            AppendPadded(out, std::to_wstring(LoadValue<uint32>(value)), width, false);
            return;
        case XTFloatData:
        case XTDoubleData: {
            const double number =
                type == XTFloatData ? LoadValue<float>(value) : LoadValue<double>(value);
            char text[kMaxColumnText + 1];
            std::snprintf(text, sizeof text, "%.*f", static_cast<int>(column.GetDecimalPrecision()),
                          number);
            AppendNarrow(out, text, width);
            return;
        }
        case XTCharData:
            if (isWideColumn) AppendWideCharacters(out, value, width, width);
            return;
        case XTVarCharData:
        case XTLongVarCharData:
            if (isWideColumn) {
                // The count never reaches past the column's declared characters.
                const uint32 count = std::min(LoadValue<uint32>(value), column.GetObjectLength());
                AppendWideCharacters(out, value + record_layout::kLengthPrefixSize, count, width);
            }
            return;
        case XTNumericData: {
            TarvelNumber number;
            number.FromByteVector(value, value + TarvelNumber::kFieldLength);
            out += number.ToString();
            return;
        }
        case XTDateData:
            AppendCutAndPadded(out, LoadValue<XTDate>(value).ToString(), width);
            return;
        case XTTimeData:
            AppendCutAndPadded(out, CutFractionToMilliseconds(LoadValue<XTTime>(value).ToString()),
                               width);
            return;
        case XTDateTimeData:
        case XTTimeStampData:
            AppendCutAndPadded(
                out, CutFractionToMilliseconds(LoadValue<XTDateTime>(value).ToString()), width);
            return;
        case XTBinaryData:
        case XTVarBinaryData:
        case XTLongVarBinaryData:
        case XTObjectData:
        case XTMoneyData:
        case XTDecimalData: return;  // no text form
        default: SUGThrow(kMsgUnsupportedDataType, type);
    }
}

}  // namespace

int64 XTRecordMetaData::GetInt64FromRecord(const unsigned char* record,
                                           const XTFieldDescriptor& desc) {
    if (desc.IsNullable() && record[desc.GetNullOffset()] != 0) SUGThrow(kMsgIntegerReadOfNull);
    const unsigned char* value = record + desc.GetByteOffset();
    const XTDataType type = desc.GetXTDataType();
    switch (type) {
        case XTInt1Data: return LoadValue<int8>(value);
        case XTUInt1Data: return LoadValue<uint8>(value);
        case XTInt2Data: return LoadValue<int16>(value);
        case XTUInt2Data: return LoadValue<uint16>(value);
        case XTInt4Data: return LoadValue<int32>(value);
        case XTUInt4Data: return LoadValue<uint32>(value);
        case XTFloatData: return TruncateToInt64(LoadValue<float>(value), type);
        case XTDoubleData: return TruncateToInt64(LoadValue<double>(value), type);
        case XTNumericData: {
            TarvelNumber number;
            number.FromByteVector(value, value + TarvelNumber::kFieldLength);
            return number.asInt64();
        }
        default: SUGThrow(kMsgUnsupportedDataType, type);
    }
}

XTString XTRecordMetaData::GetStringFromRecord(const XTRecordMetaData& recordMetaData,
                                               const unsigned char* record, int32 i) {
    if (i < 0 || i >= recordMetaData.fieldCount_)
        SUGThrow(kMsgFieldPositionOutOfRange, i, recordMetaData.fieldCount_);
    XTString text;
    AppendColumnText(text, *recordMetaData.fieldDescriptorArray_[static_cast<std::size_t>(i)],
                     recordMetaData.IsUnicodeColumn(i), record);
    return text;
}

XTString XTRecordMetaData::GetStringFromRecord(const XTRecordMetaData& recordMetaData,
                                               const unsigned char* record) {
    XTString text;
    for (int32 i = 0; i < recordMetaData.fieldCount_; ++i) {
        AppendColumnText(text, *recordMetaData.fieldDescriptorArray_[static_cast<std::size_t>(i)],
                         recordMetaData.IsUnicodeColumn(i), record);
    }
    return text;
}

// ---- Diagnostics ----

void XTRecordMetaData::PrintRecordMetaData(FILE* fp, const XTRecordMetaData& recordMetaData) {
    std::fprintf(fp,
                 "BinRecSiz(%ld) TexRecSiz(%ld) FCount(%ld) NullCount(%ld) NullOff(%ld) "
                 "IsUni(%d) IsAlign(%d)\n",
                 static_cast<long>(recordMetaData.binaryRecordSize_),
                 static_cast<long>(recordMetaData.textRecordSize_),
                 static_cast<long>(recordMetaData.fieldCount_),
                 static_cast<long>(recordMetaData.nullIndicatorCount_),
                 static_cast<long>(recordMetaData.nullsOffset_),
                 recordMetaData.isUnicodeCharacter_ ? 1 : 0, recordMetaData.isAligned_ ? 1 : 0);
    PrintRecordMetaData(fp, recordMetaData.fieldDescriptorArray_);
}

void XTRecordMetaData::PrintRecordMetaData(FILE* fp,
                                           const XTFieldDescriptorArray& descriptorArray) {
    for (const RefCnt<XTFieldDescriptor>& column : descriptorArray) {
        if (column)
            XTFieldDescriptor::PrintFieldDescriptor(fp, *column);
        else
            std::fputs("(empty)\n", fp);
    }
}

XTString XTRecordMetaData::ToString() const {
    XTString text = L"--RecordMetadata--";
    text += L'\n';
    text += L"IsUnicodeRecord() ";
    text += isUnicodeCharacter_ ? L'1' : L'0';
    text += L'\n';
    for (std::size_t i = 0; i < fieldDescriptorArray_.size(); ++i) {
        text += L'\n';
        text += std::to_wstring(i + 1);
        text += L") ";
        text += fieldDescriptorArray_[i] ? fieldDescriptorArray_[i]->ToString() : L"(empty)";
        text += L'\n';
    }
    return text;
}
