#include "Utility/Client/SUCXTFieldDataBinder.h"

#include <cstring>

#include "Utility/Client/SUCUtility.h"
#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"

bool g_bAvoidRightTrimVarChar = [] {
    XTNString value;
    return SystemUtility::Getenv("AVOID_RIGHT_TRIM_VARCHAR", value);
}();

namespace {

bool IsCharacterType(XTDataType type) noexcept {
    return SUXTDataTypeUtility::IsXTTextType(type);
}

XTString DisplayName(XTDataType type) {
    XTString name;
    return SUXTDataTypeUtility::GetXTDataTypeName(type, name);
}

// ---- Retrievers ----

// A variable-length value's size is its 32-bit prefix; UTF-8 text may take
// up to three bytes a character, hence the bound.
void RetrieveVariableLength(XTFromField& field) {
    uint32 size = 0;
    std::memcpy(&size, field.fromFieldStart_, sizeof size);
    if (static_cast<uint64>(size) > 3ull * field.fromFieldMaxSize_)
        SUGThrow(kMsgValueTooLong, size, field.fromFieldMaxSize_);
    field.fromFieldSize_ = size;
}

void RetrieveVariableLengthWithNull(XTFromField& field) {
    if (*field.nullLocation_ != 0) {
        field.fromIsNull_ = 1;
        field.fromFieldSize_ = 0;
        return;
    }
    RetrieveVariableLength(field);
    field.fromIsNull_ = 0;
}

// The long forms read the same prefix; they are kept apart so that a slot
// tells which kind of column it reads.
void RetrieveLongVariableLength(XTFromField& field) {
    RetrieveVariableLength(field);
}
void RetrieveLongVariableLengthWithNull(XTFromField& field) {
    RetrieveVariableLengthWithNull(field);
}

void RetrieveNullByte(XTFromField& field) {
    field.fromIsNull_ = *field.nullLocation_ != 0 ? 1 : 0;
}

// The caller's length cell: kXTNullTerminated measures a zero-terminated
// value; any other negative value, or one above the maximum, raises 46034.
void RetrieveCallerLength(XTFromField& field) {
    XTLengthCell size = *field.fieldSizeOrNull_;
    if (size == kXTNullTerminated)
        size = static_cast<XTLengthCell>(strnlen(
            reinterpret_cast<const char*>(field.fromFieldData_), field.fromFieldMaxSize_ + 1ull));
    if (size < 0 || static_cast<uint64>(size) > field.fromFieldMaxSize_)
        SUGThrow(kMsgValueTooLong, size, field.fromFieldMaxSize_);
    field.fromFieldSize_ = static_cast<uint32>(size);
}

void RetrieveCallerLengthWithNull(XTFromField& field) {
    if (*field.nullLocation_ != 0) {
        field.fromIsNull_ = 1;
        field.fromFieldSize_ = 0;
        return;
    }
    RetrieveCallerLength(field);
    field.fromIsNull_ = 0;
}

// A fixed-width value whose nullness the caller's length cell tells.
void RetrieveNullFromLength(XTFromField& field) {
    if (*field.fieldSizeOrNull_ == kXTNullData) {
        field.fromIsNull_ = 1;
        field.fromFieldSize_ = 0;
        return;
    }
    RetrieveCallerLength(field);
    field.fromIsNull_ = 0;
}

XTFromField::Retriever_t ChooseRetriever(XTDataType type, bool hasNullByte, bool hasLengthCell) {
    const bool variable = SUXTDataTypeUtility::IsVariableLengthDataType(type);
    const bool isLong = type == XTLongVarCharData || type == XTLongVarBinaryData;
    if (hasLengthCell) {
        if (variable) return hasNullByte ? RetrieveCallerLengthWithNull : RetrieveCallerLength;
        return hasNullByte ? RetrieveNullFromLength : RetrieveCallerLength;
    }
    if (variable) {
        if (isLong)
            return hasNullByte ? RetrieveLongVariableLengthWithNull : RetrieveLongVariableLength;
        return hasNullByte ? RetrieveVariableLengthWithNull : RetrieveVariableLength;
    }
    return hasNullByte ? RetrieveNullByte : nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------

void XTFieldConverter::SetToFieldData(
    int32 fromCharDataWhatCode, XTDataType fromXTDataType, uint32 /*fromFieldMaxSize*/,
    bool isFromNullable, bool isFromExternalVarChar, int32 toCharDataWhatCode,
    XTDataType toXTDataType, uint32 toFieldMaxSize, bool isToNullable, bool isToExternalVarChar,
    unsigned char* toFieldData, uint8* toNullIndicator, uint64* toReturnDataLength,
    DataConvert_t fieldConvertFunction, bool bTwoByteToFourByte, bool bAvoidRightTrim) {
    // A character source gets room for its terminator, whatever the target.
    toFieldMaxSize_ = (!isToExternalVarChar && IsCharacterType(fromXTDataType)) ? toFieldMaxSize + 1
                                                                                : toFieldMaxSize;
    toReturnFieldData_ = toFieldData;
    toReturnNullIndicator_ = toNullIndicator != nullptr ? toNullIndicator : &toRetNullIndicator_;
    toReturnDataLength_ = toReturnDataLength != nullptr ? toReturnDataLength : &toRetDataLength_;
    charDataWhatCode_ = fromCharDataWhatCode;
    cvtParams_.charDataFromDataCode = fromCharDataWhatCode;
    cvtParams_.charDataToDataCode = toCharDataWhatCode;
    cvtParams_.bTwoByteToFourByte = bTwoByteToFourByte;
    cvtParams_.bAvoidRtrimToVarChar = bAvoidRightTrim || g_bAvoidRightTrimVarChar;
    if (fieldConvertFunction != nullptr) {
        fieldConvert_ = fieldConvertFunction;
        return;
    }
    const XTDataType lookedUp = (fromXTDataType == XTVarCharData && toXTDataType == XTTimeStampData)
                                    ? XTDateTimeData
                                    : toXTDataType;
    const bool fromWide = fromCharDataWhatCode == kCharDataUniCode;
    const bool toWide = toCharDataWhatCode == kCharDataUniCode;
    fieldConvert_ = SUDataConvert::GetConverterFunction(fromXTDataType, isFromNullable, fromWide,
                                                        isFromExternalVarChar, lookedUp,
                                                        isToNullable, toWide, isToExternalVarChar);
    if (fieldConvert_ == nullptr)
        SUGThrow(kMsgNoConverter, DisplayName(fromXTDataType), isFromNullable, fromWide,
                 isFromExternalVarChar, DisplayName(toXTDataType), isToNullable, toWide,
                 isToExternalVarChar);
}

void XTFromField::Set(XTDataType xtDataType, unsigned char* fromFieldStart,
                      unsigned char* fromFieldData, uint8* nullLocation,
                      XTLengthCell* fieldSizeOrNull, uint32 fromFieldSize) {
    fromFieldStart_ = fromFieldStart;
    fromFieldData_ = fromFieldData;
    nullLocation_ = nullLocation;
    fieldSizeOrNull_ = fieldSizeOrNull;
    fromFieldSize_ = fromFieldSize;
    fromFieldMaxSize_ = fromFieldSize;
    fromIsNull_ = 0;
    retrieve_ = ChooseRetriever(xtDataType, nullLocation != nullptr, fieldSizeOrNull != nullptr);
}

// ---------------------------------------------------------------------------

XTFieldDataBinder::~XTFieldDataBinder() = default;

Heap<XTFieldDataBinder> XTFieldDataBinder::MakeFieldDataBinder(
    const XTRecordMetaData& fromRecordMetaData, int32 fromCharDataWhatCode,
    XTRecordMetaData& bindRecordMetaData, int32 bindCharDataWhatCode, unsigned char* bindRecord,
    unsigned char* fromTransferRecord) {
    Heap<XTFieldDataBinder> binder(new XTFieldDataBinder());
    const int32 count =
        std::min(fromRecordMetaData.GetFieldCount(), bindRecordMetaData.GetFieldCount());
    binder->SetBindRecord(&bindRecordMetaData, bindRecord, bindCharDataWhatCode,
                          fromCharDataWhatCode, fromTransferRecord != nullptr ? count : 0);
    for (int32 i = 0; i < count; ++i) {
        if (!binder->SetFromFieldDescriptor(i, fromRecordMetaData.GetFieldDescriptor(i),
                                            fromTransferRecord, nullptr, nullptr, false, false,
                                            false, false))
            break;
    }
    return binder;
}

void XTFieldDataBinder::SetBindRecord(XTRecordMetaData* bindRecordMetaData,
                                      unsigned char* bindRecord, int32 bindRecordCharDataWhatCode,
                                      int32 fromRecordCharDataWhatCode,
                                      int32 countFromTransferField) {
    XTAssert(bindRecordMetaData != nullptr);
    bindRecordMetaData_ = bindRecordMetaData;
    bindRecord_ = bindRecord;
    bindRecordCharDataWhatCode_ = bindRecordCharDataWhatCode;
    fromRecordCharDataWhatCode_ = fromRecordCharDataWhatCode;
    bindFieldCount_ = bindRecordMetaData->GetFieldCount();
    fromRecordMetaData_.SetFieldCount(bindFieldCount_);
    converterArray_.clear();
    converterArray_.resize(static_cast<std::size_t>(bindFieldCount_));
    for (Heap<XTFieldConverter>& converter : converterArray_)
        converter.Reset(new XTFieldConverter());
    countFromTransferField_ = countFromTransferField;
    fromTransferFieldArray_.clear();
    if (countFromTransferField != 0)
        fromTransferFieldArray_.resize(static_cast<std::size_t>(bindFieldCount_));
}

bool XTFieldDataBinder::SetFromFieldDescriptor(
    int32 equivalentBindFieldIndex, const RefCnt<XTFieldDescriptor>& fromFieldDescriptor,
    unsigned char* fromTransferRecord, XTLengthCell* lengthOrNullable,
    DataConvert_t fieldConvertFunction, bool isExternalVarChar, bool bTwoByteToFourByte,
    bool bAvoidPadding, bool bDisableRightTrimOnVarChar) {
    if (equivalentBindFieldIndex < 0 || equivalentBindFieldIndex >= bindFieldCount_) return false;
    const auto index = static_cast<std::size_t>(equivalentBindFieldIndex);
    fromRecordMetaData_.SetFieldDescriptor(equivalentBindFieldIndex, fromFieldDescriptor);
    XTFieldConverter& converter = *converterArray_[index];
    converter.SetAvoidPadding(bAvoidPadding);

    const RefCnt<XTFieldDescriptor> bind =
        bindRecordMetaData_->GetFieldDescriptor(equivalentBindFieldIndex);
    uint8* bindNull = bind->IsNullable() ? bindRecord_ + bind->GetNullOffset() : nullptr;
    const XTFieldDescriptor& from = *fromFieldDescriptor;
    const int32 fromCode =
        (fromRecordCharDataWhatCode_ == kCharDataUniCode ||
         from.GetColumnUnicodeProperty() == SUXTDataTypeUtility::kOverrideAsUnicode)
            ? kCharDataUniCode
        : fromRecordCharDataWhatCode_ == kCharDataNarrowUTF8Code ? kCharDataNarrowUTF8Code
                                                                 : kCharDataNarrowCode;
    converter.SetToFieldData(fromCode, from.GetXTDataType(), from.GetObjectLength(),
                             from.IsNullable(), isExternalVarChar, bindRecordCharDataWhatCode_,
                             bind->GetXTDataType(), bind->GetObjectLength(), bind->IsNullable(),
                             false, bindRecord_ + bind->GetByteOffset(), bindNull, nullptr,
                             fieldConvertFunction, bTwoByteToFourByte, bDisableRightTrimOnVarChar);
    if (countFromTransferField_ == 0) return true;
    return BindFromTransferRecord(equivalentBindFieldIndex, fromTransferRecord, lengthOrNullable);
}

bool XTFieldDataBinder::BindFromTransferRecord(int32 equivalentBindFieldIndex,
                                               unsigned char* fromTransferRecord,
                                               XTLengthCell* lengthOrNullable) {
    const int32 count = fromRecordMetaData_.GetFieldCount();
    if (equivalentBindFieldIndex < 0 || equivalentBindFieldIndex >= count ||
        static_cast<std::size_t>(equivalentBindFieldIndex) >= fromTransferFieldArray_.size())
        SUGThrow(kMsgFieldPositionOutOfRange, equivalentBindFieldIndex, count);
    const RefCnt<XTFieldDescriptor> column =
        fromRecordMetaData_.GetFieldDescriptor(equivalentBindFieldIndex);
    unsigned char* start = fromTransferRecord + column->GetByteOffset();
    uint8* nullByte = column->IsNullable() ? fromTransferRecord + column->GetNullOffset() : nullptr;
    XTAssert(converterArray_[static_cast<std::size_t>(equivalentBindFieldIndex)]);
    Heap<XTFromField> slot(new XTFromField());
    slot->Set(column->GetXTDataType(), start, start, nullByte, lengthOrNullable,
              column->GetObjectLength());
    fromTransferFieldArray_[static_cast<std::size_t>(equivalentBindFieldIndex)] = std::move(slot);
    return true;
}

void XTFieldDataBinder::CheckRange(int32 fromFieldId, int32 countField) const {
    const int64 end = static_cast<int64>(fromFieldId) + countField;
    if (fromFieldId < 0) SUGThrow(kMsgFieldPositionOutOfRange, fromFieldId, bindFieldCount_);
    if (end < fromFieldId || end > bindFieldCount_)
        SUGThrow(kMsgFieldPositionOutOfRange, end, bindFieldCount_);
}

void XTFieldDataBinder::NameFailedColumn(ErrorMessage& error, int32 index) const {
    if (error.HasCode(kMsgValueOverflow) || error.HasCode(kMsgValueUnderflow))
        error.PushMessage(
            __FILE__, __LINE__, kMsgConversionFailedInColumn,
            bindRecordMetaData_->GetFieldDescriptorArray()[static_cast<std::size_t>(index)]
                ->GetFieldName());
}

void XTFieldDataBinder::ConvertColumn(int32 index, XTFromField& from, bool sourceInWireOrder) {
    XTFieldConverter& converter = *converterArray_[static_cast<std::size_t>(index)];
    const auto bind = [this, index]() -> const XTFieldDescriptor& {
        return *bindRecordMetaData_->GetFieldDescriptorArray()[static_cast<std::size_t>(index)];
    };
    try {
        if (bToMarshall_ && bInputToServer_ && sourceInWireOrder)
            SUDataMarshaller::ConvertToMachineFormat(from.fromFieldStart_, from.nullLocation_,
                                                     bind());
        from.Retrieve();
        converter.Convert(from.fromFieldData_, from.fromFieldSize_, from.fromIsNull_);
        if (bToMarshall_ && !bInputToServer_ && from.fromIsNull_ == 0)
            SUDataMarshaller::ConvertFromMachineFormat(converter.GetToFieldData(),
                                                       converter.GetToNullIndicator(), bind());
    } catch (ErrorMessage& error) {
        NameFailedColumn(error, index);
        throw;
    }
}

void XTFieldDataBinder::TransferColumn(int32 index) {
    if (static_cast<std::size_t>(index) >= fromTransferFieldArray_.size()) return;
    Heap<XTFromField>& slot = fromTransferFieldArray_[static_cast<std::size_t>(index)];
    if (slot) ConvertColumn(index, *slot, true);
}

void XTFieldDataBinder::TransferColumns(int32 first, int32 end) {
    if (bToMarshall_) {
        for (int32 i = first; i < end; ++i) TransferColumn(i);
        return;
    }
    // Without byte-order changes a column is its retriever and its converter:
    // one tight loop over the slots, the column named only on an error.
    const std::size_t last =
        std::min(static_cast<std::size_t>(std::max(end, 0)), fromTransferFieldArray_.size());
    const std::size_t begin = std::min(static_cast<std::size_t>(std::max(first, 0)), last);
    const Heap<XTFromField>* const slots = fromTransferFieldArray_.data();
    const Heap<XTFromField>* const slotsEnd = slots + last;
    const Heap<XTFromField>* slot = slots + begin;
    const Heap<XTFieldConverter>* converter = converterArray_.data() + begin;
    try {
        for (; slot < slotsEnd; ++slot, ++converter) {
            XTFromField* const from = slot->Get();
            if (from == nullptr) continue;
            from->Retrieve();
            // A slot exists only beside its converter (asserted when it is made).
            converter->Get()->Convert(from->fromFieldData_, from->fromFieldSize_,
                                      from->fromIsNull_);
        }
    } catch (ErrorMessage& error) {
        NameFailedColumn(error, static_cast<int32>(slot - slots));
        throw;
    }
}

void XTFieldDataBinder::TransferRecord() {
    TransferColumns(0, bindFieldCount_);
}

void XTFieldDataBinder::TransferField(int32 fromFieldId, int32 countField) {
    CheckRange(fromFieldId, countField);
    TransferColumns(fromFieldId, fromFieldId + countField);
}

void XTFieldDataBinder::TransferNullValue(int32 fromFieldId, int32 countField) {
    CheckRange(fromFieldId, countField);
    for (int32 i = fromFieldId; i < fromFieldId + countField; ++i) {
        const XTFieldConverter& converter = *converterArray_[static_cast<std::size_t>(i)];
        if (converter.GetToNullIndicator() != nullptr) *converter.GetToNullIndicator() = 1;
    }
}

void XTFieldDataBinder::MoveDataToIntoField(int32 fieldId, const unsigned char* fromFieldData,
                                            uint32 fromFieldSize, uint8 fromIsNull) {
    if (fieldId < 0 || fieldId >= bindFieldCount_)
        SUGThrow(kMsgFieldPositionOutOfRange, fieldId, bindFieldCount_);
    XTFromField given;
    given.fromFieldData_ = const_cast<unsigned char*>(fromFieldData);
    given.fromFieldSize_ = fromFieldSize;
    given.fromFieldMaxSize_ = fromFieldSize;
    given.fromIsNull_ = fromIsNull;
    // The caller's value is in machine order already: no source marshalling.
    ConvertColumn(fieldId, given, false);
}

bool XTFieldDataBinder::TransferBlobParameter(ByteVector& byteVector) const {
    if (listStreamByteVector_ == nullptr) return false;
    byteVector = *listStreamByteVector_;
    return true;
}

XTFieldConverter* XTFieldDataBinder::GetFieldConverter(int32 index) const noexcept {
    if (index < 0 || static_cast<std::size_t>(index) >= converterArray_.size()) return nullptr;
    return converterArray_[static_cast<std::size_t>(index)].Get();
}

void XTFieldDataBinder::Unbind() noexcept {
    for (Heap<XTFromField>& slot : fromTransferFieldArray_) slot.Reset();
}
