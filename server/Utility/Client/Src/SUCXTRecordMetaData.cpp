// XTRecordMetaData: building a record description, its aligned and packed
// layouts, copying, appending and sorting descriptions.
#include <limits>
#include <string>
#include <utility>

#include "SUCXTRecordLayoutRules.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

bool bIsDivisorPowerOfTwo = true;

const XTString XTRecordMetaData::s_kNullString;
const XTString XTRecordMetaData::unKnownFieldName_ = L"(UnKnown)";
const XTString XTRecordMetaData::exprFieldName_ = L"(Expression)";
const XTString XTRecordMetaData::constantFieldName_ = L"(Constant)";
const XTString XTRecordMetaData::unionFieldName_ = L"(Union Column)";

using record_layout::kMaxRecordBytes;

// ---- Construction and copying ----

XTRecordMetaData::XTRecordMetaData() noexcept = default;

XTRecordMetaData::XTRecordMetaData(const XTRecordMetaData& other) : XTRecordMetaData() {
    *this = other;
}

XTRecordMetaData& XTRecordMetaData::operator=(const XTRecordMetaData& other) {
    if (this == &other) return *this;
    XTFieldDescriptorArray columns;
    columns.reserve(other.fieldDescriptorArray_.size());
    for (const RefCnt<XTFieldDescriptor>& column : other.fieldDescriptorArray_) {
        columns.push_back(column ? MakeRefCnt<XTFieldDescriptor>(*column)
                                 : RefCnt<XTFieldDescriptor>());
    }
    binaryRecordSize_ = other.binaryRecordSize_;
    textRecordSize_ = other.textRecordSize_;
    fieldCount_ = other.fieldCount_;
    nullIndicatorCount_ = other.nullIndicatorCount_;
    nullsOffset_ = other.nullsOffset_;
    isSupportUnknownDataType_ = other.isSupportUnknownDataType_;
    fieldDescriptorArray_.swap(columns);
    if (other.isAligned_)
        GenerateAlignedFieldOffset(other.isUnicodeCharacter_, 0);
    else
        BuildWirePlan();
    return *this;
}

XTRecordMetaData::~XTRecordMetaData() = default;

// ---- Building a description ----

namespace {

void CheckPosition(int32 position, int32 fieldCount) {
    if (position < 0 || position >= fieldCount)
        SUGThrow(kMsgFieldPositionOutOfRange, position, fieldCount);
}

}  // namespace

void XTRecordMetaData::SetFieldCount(int32 fieldCount) {
    XTAssert(fieldCount >= 0);
    InvalidateWirePlan();
    fieldDescriptorArray_.resize(static_cast<std::size_t>(fieldCount));
    fieldCount_ = fieldCount;
}

void XTRecordMetaData::DescribleField(int32 fieldId, XTDataType xtDataType, uint32 binaryLength,
                                      bool isNullable, int16 decimalPrecision, int32 scale,
                                      const XTString& fieldName, const XTString& aliasName,
                                      ColumnUnicodeProperty unicodeProperty,
                                      uint32 columnCodePage) {
    CheckPosition(fieldId, fieldCount_);
    InvalidateWirePlan();
    fieldDescriptorArray_[static_cast<std::size_t>(fieldId)] = MakeRefCnt<XTFieldDescriptor>(
        fieldId, xtDataType, binaryLength, isNullable, decimalPrecision, scale, fieldName,
        aliasName, unicodeProperty, columnCodePage);
}

void XTRecordMetaData::SetFieldDescriptor(int32 fieldId,
                                          const RefCnt<XTFieldDescriptor>& fieldDescriptor) {
    CheckPosition(fieldId, fieldCount_);
    InvalidateWirePlan();
    fieldDescriptorArray_[static_cast<std::size_t>(fieldId)] = fieldDescriptor;
}

void XTRecordMetaData::SetFieldNullable(int32 fromFieldIndex, int32 countField) {
    const int64 end = static_cast<int64>(fromFieldIndex) + countField;
    if (end < 0 || end > fieldCount_) SUGThrow(kMsgFieldPositionOutOfRange, end, fieldCount_);
    if (fromFieldIndex < 0) SUGThrow(kMsgFieldPositionOutOfRange, fromFieldIndex, fieldCount_);
    for (int64 i = fromFieldIndex; i < end; ++i)
        fieldDescriptorArray_[static_cast<std::size_t>(i)]->SetNullOffset(1);
    GenerateAlignedFieldOffset(isUnicodeCharacter_, 0);
}

// ---- Layout ----

void XTRecordMetaData::GenerateAlignedFieldOffset(bool isUnicodeCharacter,
                                                  int32 forceDoubleWordAlignmentAt) {
    GenerateFieldOffset(isUnicodeCharacter, true, forceDoubleWordAlignmentAt);
}

void XTRecordMetaData::GeneratePackedFieldOffset(bool isUnicodeCharacter) {
    GenerateFieldOffset(isUnicodeCharacter, false, 0);
}

void XTRecordMetaData::GenerateFieldOffset(bool isUnicodeCharacter, bool isAligned,
                                           int32 forceDoubleWordAlignmentAt) {
    using record_layout::AlignOffset;
    using record_layout::TypeLayout;
    InvalidateWirePlan();
    nullIndicatorCount_ = 0;
    // Unknown types are tolerated in the aligned layout only, with alignment
    // and length 0.
    const bool tolerateUnknown = isAligned && isSupportUnknownDataType_;
    const bool powerOfTwo = bIsDivisorPowerOfTwo;
    uint64 offset = 0;
    uint64 text = 0;
    uint32 largestBoundary = 0;
    XTDataType largestBoundaryType = XTUnknown;
    int32 nullableCount = 0;

    for (int32 i = 0; i < fieldCount_; ++i) {
        XTFieldDescriptor* column = fieldDescriptorArray_[static_cast<std::size_t>(i)].Get();
        if (column == nullptr) SUGThrow(kMsgEmptyFieldDescriptor, i);
        const XTDataType type = column->GetXTDataType();
        const TypeLayout* layout = record_layout::FindTypeLayout(type);
        const bool unsupported = layout == nullptr && !tolerateUnknown;
        const auto unicodeProperty = column->GetColumnUnicodeProperty();
        const bool wide =
            isUnicodeCharacter || unicodeProperty == SUXTDataTypeUtility::kOverrideAsUnicode;

        if (isAligned) {
            if (unsupported) SUGThrow(kMsgUnsupportedDataType, type);
            if (i == forceDoubleWordAlignmentAt) offset += offset & 7;
            const uint32 alignment = layout == nullptr ? 0
                                     : wide            ? layout->wideAlignment
                                                       : layout->alignment;
            offset = AlignOffset(alignment, offset, powerOfTwo);
            if (offset > kMaxRecordBytes)
                SUGThrow(kMsgValueTooLong, offset, static_cast<uint32>(kMaxRecordBytes));
            const uint32 boundary = layout == nullptr ? 0 : layout->descriptorBoundary;
            if (boundary > largestBoundary) {
                largestBoundary = boundary;
                largestBoundaryType = type;
            }
        }
        column->SetByteOffset(static_cast<uint32>(offset));
        // The packed walk stores the offset before it asks for the length.
        if (unsupported) SUGThrow(kMsgUnsupportedDataType, type);
        if (layout != nullptr) {
            offset += record_layout::GetByteLength64(
                *layout, column->GetObjectLength(), wide,
                unicodeProperty == SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code);
            if (offset > kMaxRecordBytes)
                SUGThrow(kMsgValueTooLong, offset, static_cast<uint32>(kMaxRecordBytes));
        }

        column->SetTextOffset(static_cast<uint32>(text));
        text += static_cast<uint64>(column->GetTextLength()) + 1;
        if (text > kMaxRecordBytes)
            SUGThrow(kMsgValueTooLong, text, static_cast<uint32>(kMaxRecordBytes));
        if (column->IsNullable()) ++nullableCount;
    }

    // Null indicators follow the values; the whole record is then rounded to
    // the record-layout alignment (in the record's own encoding) of the type
    // with the largest descriptor boundary.
    const uint64 valuesEnd = offset;
    uint64 recordEnd = valuesEnd + static_cast<uint64>(nullableCount);
    if (isAligned && fieldCount_ > 0) {
        recordEnd = AlignOffset(GetAlignmentBoundaryForDataType(
                                    largestBoundaryType, isUnicodeCharacter, tolerateUnknown),
                                recordEnd, powerOfTwo);
    }
    if (recordEnd > kMaxRecordBytes)
        SUGThrow(kMsgValueTooLong, recordEnd, static_cast<uint32>(kMaxRecordBytes));

    nullsOffset_ = static_cast<uint32>(valuesEnd);
    if (nullableCount > 0) {
        uint32 nullOffset = nullsOffset_;
        for (const RefCnt<XTFieldDescriptor>& column : fieldDescriptorArray_) {
            XTFieldDescriptor* descriptor = column.Get();
            if (!descriptor->IsNullable()) continue;
            descriptor->SetNullOffset(nullOffset++);
        }
    }
    nullIndicatorCount_ = nullableCount;
    binaryRecordSize_ = fieldCount_ == 0 ? 0 : static_cast<uint32>(recordEnd);
    textRecordSize_ = static_cast<uint32>(text);
    isAligned_ = isAligned;
    isUnicodeCharacter_ = isUnicodeCharacter;
    BuildWirePlan();
}

// ---- Queries ----

bool XTRecordMetaData::IsUnicodeColumn(int32 columnIndex) const {
    XTAssert(columnIndex >= 0);
    XTAssert(columnIndex < fieldCount_);
    if (isUnicodeCharacter_) return true;
    return fieldDescriptorArray_[static_cast<std::size_t>(columnIndex)]
               ->GetColumnUnicodeProperty() == SUXTDataTypeUtility::kOverrideAsUnicode;
}

RefCnt<XTFieldDescriptor> XTRecordMetaData::GetFieldDescriptor(int32 index) const {
    CheckPosition(index, fieldCount_);
    return fieldDescriptorArray_[static_cast<std::size_t>(index)];
}

RefCnt<XTFieldDescriptor> XTRecordMetaData::GetFieldByDescriptorId(int32 id) const {
    for (const RefCnt<XTFieldDescriptor>& column : fieldDescriptorArray_) {
        if (column->GetFieldId() == id) return column;
    }
    SUGThrow(kMsgNoFieldWithIdentifier, id);
}

void XTRecordMetaData::GetXTSimpleFieldDescriptorVector(
    std::vector<XTSimpleFieldDescriptor>& vec) const {
    for (const RefCnt<XTFieldDescriptor>& column : fieldDescriptorArray_)
        vec.push_back(column->GetSimpleFieldDescriptor());
}

// ---- Type tables ----

uint32 XTRecordMetaData::GetAlignmentBoundaryForDataType(XTDataType xtDataType,
                                                         bool isUnicodeCharacter,
                                                         bool isSupportUnknownDataType) {
    const record_layout::TypeLayout* layout = record_layout::FindTypeLayout(xtDataType);
    if (layout != nullptr) return isUnicodeCharacter ? layout->wideAlignment : layout->alignment;
    if (isSupportUnknownDataType) return 0;
    SUGThrow(kMsgUnsupportedDataType, xtDataType);
}

uint32 XTRecordMetaData::GetByteLength(XTDataType xtDataType, uint32 objectLength,
                                       bool isUnicodeCharacter, bool isUTF8Character,
                                       bool isSupportUnknownDataType) {
    const record_layout::TypeLayout* layout = record_layout::FindTypeLayout(xtDataType);
    if (layout == nullptr) {
        if (isSupportUnknownDataType) return 0;
        SUGThrow(kMsgUnsupportedDataType, xtDataType);
    }
    const uint64 byteLength =
        record_layout::GetByteLength64(*layout, objectLength, isUnicodeCharacter, isUTF8Character);
    if (byteLength > kMaxRecordBytes)
        SUGThrow(kMsgValueTooLong, byteLength, static_cast<uint32>(kMaxRecordBytes));
    return static_cast<uint32>(byteLength);
}

uint32 XTRecordMetaData::GetAlignmentBoundary(uint32 alignmentBoundaryForDataType,
                                              uint32 fromOffset) {
    const uint32 boundary = alignmentBoundaryForDataType;
    uint32 remainder;
    if (bIsDivisorPowerOfTwo) {
        remainder = fromOffset & (boundary - 1);
    } else {
        remainder = boundary == 0 ? fromOffset : fromOffset % boundary;
    }
    return remainder == 0 ? fromOffset : fromOffset + boundary - remainder;
}

uint32 XTRecordMetaData::GetAlignmentBoundary(XTDataType xtDataType, uint32 fromOffset,
                                              bool isUnicodeCharacter,
                                              bool isSupportUnknownDataType) {
    return GetAlignmentBoundary(
        GetAlignmentBoundaryForDataType(xtDataType, isUnicodeCharacter, isSupportUnknownDataType),
        fromOffset);
}

// ---- Appending and sorting ----

void XTRecordMetaData::AppendRecordMetaData(XTRecordMetaData& outputRecordMetaData,
                                            const XTRecordMetaData& inputRecordMetaData) {
    // Hold the input's columns and flag first: output and input may be one
    // description, whose array is about to grow.
    const XTFieldDescriptorArray inputColumns = inputRecordMetaData.fieldDescriptorArray_;
    const bool inputIsUnicode = inputRecordMetaData.isUnicodeCharacter_;
    const int32 outputCount = outputRecordMetaData.fieldCount_;
    const int32 inputCount = static_cast<int32>(inputColumns.size());
    outputRecordMetaData.SetFieldCount(outputCount + inputCount);
    for (int32 i = 0; i < inputCount; ++i) {
        const XTFieldDescriptor& column = *inputColumns[static_cast<std::size_t>(i)];
        outputRecordMetaData.DescribleField(
            outputCount + i, column.GetXTDataType(), column.GetObjectLength(), column.IsNullable(),
            column.GetDecimalPrecision(), column.GetScale(), column.GetFieldName(),
            column.GetAliasName(), column.GetColumnUnicodeProperty(), column.GetColumnCodePage());
    }
    outputRecordMetaData.GenerateAlignedFieldOffset(inputIsUnicode, 0);
}

void XTRecordMetaData::SortRecordMetaDataOnFieldId(XTRecordMetaData& recordMetaData) {
    const int32 count = recordMetaData.fieldCount_;
    if (count < 2) return;
    bool swapped = true;
    while (swapped) {
        swapped = false;
        for (int32 i = 1; i < count; ++i) {
            const RefCnt<XTFieldDescriptor> left = recordMetaData.GetFieldDescriptor(i - 1);
            const RefCnt<XTFieldDescriptor> right = recordMetaData.GetFieldDescriptor(i);
            if (left->GetFieldId() > right->GetFieldId()) {
                recordMetaData.SetFieldDescriptor(i - 1, right);
                recordMetaData.SetFieldDescriptor(i, left);
                swapped = true;
            }
        }
    }
}
