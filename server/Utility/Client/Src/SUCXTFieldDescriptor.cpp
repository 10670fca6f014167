// XTFieldDescriptor: one column's description, its three type tables and its
// diagnostics.
#include <string>

#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

// How a table entry follows from the arguments.
enum class LengthRule : uint8 {
    kFixed,            // the number of the row
    kDeclared,         // the objectLength argument
    kPrecisionPlus20,  // the precision, as a signed 16-bit number, plus 20
    kUnsupported,      // error 46033
};

struct DescriptorTypeRow {
    XTDataType type;
    LengthRule objectRule;
    uint32 objectLength;
    LengthRule textRule;
    uint32 textLength;
    bool boundaryUnsupported;  // 0 when unknown types are tolerated, else 46033
    uint32 boundary;
};

using enum LengthRule;

// One row per type code 0..25, in code order.
constexpr DescriptorTypeRow kDescriptorTypeTable[] = {
    {XTBitData, kFixed, 1, kFixed, 1, false, 1},
    {XTCharData, kDeclared, 0, kDeclared, 0, false, 4},
    {XTVarCharData, kDeclared, 0, kDeclared, 0, false, 4},
    {XTLongVarCharData, kDeclared, 0, kDeclared, 0, false, 4},
    {XTBinaryData, kDeclared, 0, kDeclared, 0, false, 1},
    {XTVarBinaryData, kDeclared, 0, kDeclared, 0, false, 4},
    {XTLongVarBinaryData, kDeclared, 0, kDeclared, 0, false, 4},
    {XTInt1Data, kFixed, 1, kFixed, 4, false, 1},
    {XTUInt1Data, kFixed, 1, kFixed, 3, false, 1},
    {XTInt2Data, kFixed, 2, kFixed, 6, false, 2},
    {XTUInt2Data, kFixed, 2, kFixed, 5, false, 2},
    {XTInt4Data, kFixed, 4, kFixed, 12, false, 4},
    {XTUInt4Data, kFixed, 4, kFixed, 11, false, 4},
    {XTFloatData, kFixed, 4, kPrecisionPlus20, 0, false, 4},
    {XTDoubleData, kFixed, 8, kPrecisionPlus20, 0, false, 8},
    {XTMoneyData, kUnsupported, 0, kUnsupported, 0, true, 0},
    {XTNumericData, kFixed, 28, kFixed, 64, false, 1},
    {XTDecimalData, kUnsupported, 0, kUnsupported, 0, true, 0},
    {XTDateData, kFixed, 6, kFixed, 10, false, 2},
    {XTTimeData, kFixed, 12, kFixed, 8, false, 4},
    {XTDateTimeData, kFixed, 16, kFixed, 23, false, 4},
    {XTTimeStampData, kFixed, 16, kFixed, 23, false, 4},
    {XTIntervalData, kFixed, 4, kFixed, 11, false, 4},
    {XTObjectData, kDeclared, 0, kDeclared, 0, false, 8},
    {XTBoolean, kFixed, 1, kFixed, 1, false, 1},
    {XTUnknown, kFixed, 0, kFixed, 0, true, 0},
};

constexpr bool IsTableInCodeOrder() {
    int code = 0;
    for (const DescriptorTypeRow& row : kDescriptorTypeTable) {
        if (row.type != code++) return false;
    }
    return code == XTUnknown + 1;
}
static_assert(IsTableInCodeOrder(), "one row per type code 0..25, in code order");

// The row of a type code, or null outside 0..25.
const DescriptorTypeRow* FindRow(XTDataType type) noexcept {
    const auto code = static_cast<uint32>(type);
    return code <= static_cast<uint32>(XTUnknown) ? &kDescriptorTypeTable[code] : nullptr;
}

uint32 ApplyRule(LengthRule rule, uint32 fixed, uint32 objectLength, int32 decimalPrecision) {
    switch (rule) {
        case kFixed: return fixed;
        case kDeclared: return objectLength;
        case kPrecisionPlus20:
            return static_cast<uint32>(static_cast<int32>(static_cast<int16>(decimalPrecision)) +
                                       20);
        case kUnsupported: break;
    }
    return 0;
}

// Names in the default code page, as the C library's %ls would write them in
// a localised program; in a locale that cannot encode them, lenient UTF-8.
XTNString ToPrintable(const XTString& text) {
    XTNString narrow;
    if (SystemUtility::ToNarrow(text, narrow, SystemUtility::kDefaultCodePage)) return narrow;
    return SystemUtility::ToUtf8Lenient(text);
}

constexpr wchar_t kTab = L'\t';
constexpr wchar_t kLineBreak = L'\n';

void AppendMember(XTString& text, const wchar_t* label, const XTString& value) {
    text += kLineBreak;
    text += kTab;
    text += label;
    text += value;
}

}  // namespace

XTFieldDescriptor::XTFieldDescriptor() noexcept = default;

XTFieldDescriptor::XTFieldDescriptor(int32 fieldId, XTDataType xtDataType, uint32 objectLength,
                                     bool isNullable, int16 decimalPrecision, int32 scale,
                                     const XTString& fieldName, const XTString& aliasName,
                                     ColumnUnicodeProperty unicodeProperty, uint32 columnCodePage) {
    SetFieldDescription(fieldId, xtDataType, objectLength, isNullable, decimalPrecision, scale,
                        fieldName, aliasName, unicodeProperty, columnCodePage);
}

XTFieldDescriptor::XTFieldDescriptor(const XTFieldDescriptor& other) = default;
XTFieldDescriptor& XTFieldDescriptor::operator=(const XTFieldDescriptor& other) = default;
XTFieldDescriptor::~XTFieldDescriptor() = default;

void XTFieldDescriptor::SetFieldDescription(int32 fieldId, XTDataType xtDataType,
                                            uint32 objectLength, bool isNullable,
                                            int16 decimalPrecision, int32 scale,
                                            const XTString& fieldName, const XTString& aliasName,
                                            ColumnUnicodeProperty unicodeProperty,
                                            uint32 columnCodePage) {
    const uint32 binaryLength = GetObjectLength(xtDataType, objectLength);
    fieldId_ = static_cast<int16>(fieldId);
    xtDataType_ = xtDataType;
    objectLength_ = binaryLength;
    byteOffset_ = 0;
    nullOffset_ = isNullable ? 1 : 0;
    textLength_ = GetTextLength(xtDataType, objectLength, decimalPrecision);
    decimalPrecision_ = decimalPrecision;
    scale_ = static_cast<int16>(scale);
    columnUnicode_ = unicodeProperty;
    columnCodePage_ = columnCodePage;
    fieldName_ = fieldName;
    aliasName_ = aliasName;
}

void XTFieldDescriptor::CloneDescriptor(XTFieldDescriptor& clone) const {
    if (&clone != this) clone = *this;
}

void XTFieldDescriptor::ResetFieldName(const XTString& fieldName, const XTString& aliasName) {
    fieldName_ = fieldName;
    aliasName_ = aliasName;
}

void XTFieldDescriptor::ResetAliasName(const XTString& aliasName) {
    aliasName_ = aliasName;
}

XTSimpleFieldDescriptor XTFieldDescriptor::GetSimpleFieldDescriptor() const {
    return XTSimpleFieldDescriptor{
        xtDataType_, objectLength_, byteOffset_, nullOffset_,
        XTRecordMetaData::GetAlignmentBoundaryForDataType(
            xtDataType_, columnUnicode_ == SUXTDataTypeUtility::kOverrideAsUnicode, false)};
}

XTString XTFieldDescriptor::ToString() const {
    XTString typeName;
    SUXTDataTypeUtility::GetXTDataTypeName(xtDataType_, typeName);
    XTString text;
    text += kTab;
    text += L"--FieldDescriptor--";
    AppendMember(text, L"fieldId_ ", std::to_wstring(fieldId_));
    AppendMember(text, L"fieldName_ ", fieldName_);
    AppendMember(text, L"aliasName_ ", aliasName_);
    AppendMember(text, L"xtDataType_ ", typeName);
    AppendMember(text, L"objectLength_ ", std::to_wstring(objectLength_));
    AppendMember(text, L"byteOffset_ ", std::to_wstring(byteOffset_));
    AppendMember(text, L"nullOffset_ ", std::to_wstring(nullOffset_));
    AppendMember(text, L"textOffset_ ", std::to_wstring(textOffset_));
    AppendMember(text, L"textLength_ ", std::to_wstring(textLength_));
    AppendMember(text, L"decimalPrecision_ ", std::to_wstring(decimalPrecision_));
    AppendMember(text, L"scale_ ", std::to_wstring(scale_));
    return text;
}

void XTFieldDescriptor::PrintFieldDescriptor(FILE* fp, const XTFieldDescriptor& desc) {
    XTString typeName;
    SUXTDataTypeUtility::GetXTDataTypeName(desc.xtDataType_, typeName);
    if (!desc.fieldName_.empty()) std::fprintf(fp, "%s: ", ToPrintable(desc.fieldName_).c_str());
    // The 32-bit numbers go through long, as the %ld items expect; long is
    // 64 bits here, so unsigned values keep their value.
    std::fprintf(fp,
                 "ID(%hd) DataType(%s) BinLen(%ld), BinOff(%ld) Null(%ld) TextOff(%ld) "
                 "TextLen(%ld) Pre(%hd) Sca(%hd) Uni(%ld) CPag(%lu)\n",
                 desc.fieldId_, ToPrintable(typeName).c_str(),
                 static_cast<long>(desc.objectLength_), static_cast<long>(desc.byteOffset_),
                 static_cast<long>(desc.nullOffset_), static_cast<long>(desc.textOffset_),
                 static_cast<long>(desc.textLength_), desc.decimalPrecision_, desc.scale_,
                 static_cast<long>(desc.columnUnicode_),
                 static_cast<unsigned long>(desc.columnCodePage_));
}

uint32 XTFieldDescriptor::GetObjectLength(XTDataType xtDataType, uint32 objectLength) {
    const DescriptorTypeRow* row = FindRow(xtDataType);
    if (row == nullptr || row->objectRule == kUnsupported)
        SUGThrow(kMsgUnsupportedDataType, xtDataType);
    return ApplyRule(row->objectRule, row->objectLength, objectLength, 0);
}

uint32 XTFieldDescriptor::GetTextLength(XTDataType xtDataType, uint32 objectLength,
                                        int32 decimalPrecision) {
    const DescriptorTypeRow* row = FindRow(xtDataType);
    if (row == nullptr || row->textRule == kUnsupported)
        SUGThrow(kMsgUnsupportedDataType, xtDataType);
    return ApplyRule(row->textRule, row->textLength, objectLength, decimalPrecision);
}

uint32 XTFieldDescriptor::GetDataTypeBoundaryOffset(XTDataType xtDataType,
                                                    bool isSupportUnknownDataType) {
    const DescriptorTypeRow* row = FindRow(xtDataType);
    if (row == nullptr || row->boundaryUnsupported) {
        if (isSupportUnknownDataType) return 0;
        SUGThrow(kMsgUnsupportedDataType, xtDataType);
    }
    return row->boundary;
}
