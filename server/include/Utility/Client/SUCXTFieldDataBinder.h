// The field data binder: moves one row from a source record into a caller's
// bound record, column by column, through the converters the registry
// chooses, with null indicators, lengths and (when asked) byte order.
//
// A binder is set up once per statement (MakeFieldDataBinder, or
// SetBindRecord and SetFromFieldDescriptor per column) and then runs once per
// row (TransferRecord). It is used by one thread at a time; the records and
// descriptions it points at belong to the caller and must outlive it.
#pragma once

#include <vector>

#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGHeap.h"

class ErrorMessage;

// Set while the library loads: whether the environment variable
// "AVOID_RIGHT_TRIM_VARCHAR" exists (any value). It turns trimming off for
// every variable-length character target.
XTS_EXPORT extern bool g_bAvoidRightTrimVarChar;

// A caller's length cell (a signed 64-bit length, as call-level interfaces use).
using XTLengthCell = int64;
// Values of a caller's length cell with a meaning of their own.
inline constexpr XTLengthCell kXTNullData = -1;        // the value is null
inline constexpr XTLengthCell kXTNullTerminated = -3;  // zero-terminated: measure it

// One bound column's conversion: the converter, its parameters and where the
// result goes.
class XTS_EXPORT XTFieldConverter {
public:
    XTFieldConverter() = default;
    // The converter points at its own fall-back cells, so it is not copied.
    XTFieldConverter(const XTFieldConverter&) = delete;
    XTFieldConverter& operator=(const XTFieldConverter&) = delete;

    // Chooses the converter for the pair (unless one is given) and stores the
    // target. The target capacity is toFieldMaxSize, plus one for the
    // terminator when the source type is Char, VarChar or LongVarChar and the
    // target is not the client's buffer. A VarChar source into a TimeStamp
    // target is looked up as DateTime. No converter raises 46035 with the
    // source type's display name, its three flags, the target type's display
    // name and its three flags.
    void SetToFieldData(int32 fromCharDataWhatCode, XTDataType fromXTDataType,
                        uint32 fromFieldMaxSize, bool isFromNullable, bool isFromExternalVarChar,
                        int32 toCharDataWhatCode, XTDataType toXTDataType, uint32 toFieldMaxSize,
                        bool isToNullable, bool isToExternalVarChar, unsigned char* toFieldData,
                        uint8* toNullIndicator, uint64* toReturnDataLength,
                        DataConvert_t fieldConvertFunction, bool bTwoByteToFourByte,
                        bool bAvoidRightTrim);
    // Runs the converter on one source value; nothing without a converter.
    void Convert(const unsigned char* fromFieldData, uint32 fromFieldSize, uint8 fromIsNull) {
        if (fieldConvert_ != nullptr)
            fieldConvert_(cvtParams_, fromFieldData, fromFieldSize, fromIsNull, toReturnFieldData_,
                          toFieldMaxSize_, *toReturnNullIndicator_, *toReturnDataLength_);
    }
    void SetAvoidPadding(bool bAvoidPadding) noexcept {
        cvtParams_.bAvoidPaddingToChar = bAvoidPadding;
    }

    int32 GetCharDataWhatCode() const noexcept { return charDataWhatCode_; }
    DataConvert_t GetConvertFunction() const noexcept { return fieldConvert_; }
    const DataConvertParams& GetConvertParams() const noexcept { return cvtParams_; }
    uint32 GetToFieldMaxSize() const noexcept { return toFieldMaxSize_; }
    unsigned char* GetToFieldData() const noexcept { return toReturnFieldData_; }
    uint8* GetToNullIndicator() const noexcept { return toReturnNullIndicator_; }
    uint64* GetToReturnDataLength() const noexcept { return toReturnDataLength_; }

private:
    int32 charDataWhatCode_ = kCharDataNarrowCode;
    DataConvert_t fieldConvert_ = nullptr;
    DataConvertParams cvtParams_;
    uint32 toFieldMaxSize_ = 0;
    unsigned char* toReturnFieldData_ = nullptr;
    uint8* toReturnNullIndicator_ = &toRetNullIndicator_;
    uint64* toReturnDataLength_ = &toRetDataLength_;
    uint64 toRetDataLength_ = 0;
    uint8 toRetNullIndicator_ = 0;
};

// One bound column's source: where the value lies, its size and nullness, and
// the retriever that refreshes both before each conversion.
class XTS_EXPORT XTFromField {
public:
    using Retriever_t = void (*)(XTFromField& field);

    XTFromField() = default;

    // Stores the pointers, size and maximum size (both `fromFieldSize`), not
    // null, and picks the retriever by type: VarChar and VarBinary the
    // variable-length one, LongVarChar and LongVarBinary the long one (each
    // with a null check when a null byte is given); other types the null-byte
    // retriever when a null byte is given, else none. A caller's length cell
    // selects the caller-length retrievers instead.
    void Set(XTDataType xtDataType, unsigned char* fromFieldStart, unsigned char* fromFieldData,
             uint8* nullLocation, XTLengthCell* fieldSizeOrNull, uint32 fromFieldSize);
    // Refreshes size and nullness (a retriever may raise 46034).
    void Retrieve() {
        if (retrieve_ != nullptr) retrieve_(*this);
    }
    void Unbind() noexcept { *this = XTFromField(); }

    unsigned char* fromFieldStart_ = nullptr;  // where a length prefix lies
    uint8* nullLocation_ = nullptr;            // the source null byte, if any
    XTLengthCell* fieldSizeOrNull_ = nullptr;  // the caller's length cell, if any
    unsigned char* fromFieldData_ = nullptr;   // the first data byte
    uint32 fromFieldSize_ = 0;
    uint32 fromFieldMaxSize_ = 0;
    uint8 fromIsNull_ = 0;
    Retriever_t retrieve_ = nullptr;
};

class XTS_EXPORT XTFieldDataBinder {
public:
    XTFieldDataBinder() = default;
    XTFieldDataBinder(const XTFieldDataBinder&) = delete;
    XTFieldDataBinder& operator=(const XTFieldDataBinder&) = delete;
    virtual ~XTFieldDataBinder();

    // A binder between the two descriptions: the first min(count, count)
    // columns bound position to position, reading from `fromTransferRecord`
    // when one is given. Binding stops at the first column that fails.
    static Heap<XTFieldDataBinder> MakeFieldDataBinder(const XTRecordMetaData& fromRecordMetaData,
                                                       int32 fromCharDataWhatCode,
                                                       XTRecordMetaData& bindRecordMetaData,
                                                       int32 bindCharDataWhatCode,
                                                       unsigned char* bindRecord,
                                                       unsigned char* fromTransferRecord);

    // Stores the bind side and gives every bound column a fresh converter;
    // with a non-zero count, every bound column gets an (empty) source slot.
    void SetBindRecord(XTRecordMetaData* bindRecordMetaData, unsigned char* bindRecord,
                       int32 bindRecordCharDataWhatCode, int32 fromRecordCharDataWhatCode,
                       int32 countFromTransferField);
    // Binds one column: the source descriptor feeding bind column
    // `equivalentBindFieldIndex`, its converter, and (when the binder has
    // source slots) its source in the transfer record. False for an index
    // beyond the bound columns. Errors: 46030 (no such bind or source
    // column), 46035 (no converter).
    bool SetFromFieldDescriptor(int32 equivalentBindFieldIndex,
                                const RefCnt<XTFieldDescriptor>& fromFieldDescriptor,
                                unsigned char* fromTransferRecord, XTLengthCell* lengthOrNullable,
                                DataConvert_t fieldConvertFunction, bool isExternalVarChar,
                                bool bTwoByteToFourByte, bool bAvoidPadding,
                                bool bDisableRightTrimOnVarChar);
    // Creates the source slot of a bound column in the transfer record.
    bool BindFromTransferRecord(int32 equivalentBindFieldIndex, unsigned char* fromTransferRecord,
                                XTLengthCell* lengthOrNullable);

    // Converts every bound column with a source, in position order. An
    // overflow or underflow (46224, 46225) gets message 46226 with the bind
    // column's name pushed on top; later columns are not transferred.
    void TransferRecord();
    // The same for bind columns fromFieldId .. fromFieldId + countField - 1;
    // an end beyond the bound columns raises 46030 (end, count).
    void TransferField(int32 fromFieldId, int32 countField);
    // Sets the target null byte of those columns to 1 (where there is one);
    // 46030 (end, count) beyond the bound columns.
    void TransferNullValue(int32 fromFieldId, int32 countField);
    // Converts a value given by the caller (in machine order) into bind
    // column `fieldId`, as TransferRecord does for a column; 46030 (position,
    // count) for a column that is not bound.
    void MoveDataToIntoField(int32 fieldId, const unsigned char* fromFieldData,
                             uint32 fromFieldSize, uint8 fromIsNull);

    void SetEndianProperty(bool bInputToServer) noexcept { bInputToServer_ = bInputToServer; }
    void SetMarshall(bool bMarshall) noexcept { bToMarshall_ = bMarshall; }
    void SetBlobParameter(ByteVector* listStreamByteVector) noexcept {
        listStreamByteVector_ = listStreamByteVector;
    }
    bool IsBlobParameter() const noexcept { return listStreamByteVector_ != nullptr; }
    // Copies the statement's blob parameter into `byteVector` (replacing its
    // content); false, leaving it unchanged, when there is none.
    bool TransferBlobParameter(ByteVector& byteVector) const;

    int32 GetBindFieldCount() const noexcept { return bindFieldCount_; }
    XTRecordMetaData* GetBindRecordMetaData() const noexcept { return bindRecordMetaData_; }
    const XTRecordMetaData& GetFromRecordMetaData() const noexcept { return fromRecordMetaData_; }
    // The converter of a bound column (null beyond the bound columns).
    XTFieldConverter* GetFieldConverter(int32 index) const noexcept;
    // Clears every source slot.
    void Unbind() noexcept;

private:
    void CheckRange(int32 fromFieldId, int32 countField) const;
    void TransferColumn(int32 index);
    void TransferColumns(int32 first, int32 end);
    void ConvertColumn(int32 index, XTFromField& from, bool sourceInWireOrder);
    // Pushes 46226 with the bind column's name onto an overflow or underflow.
    void NameFailedColumn(ErrorMessage& error, int32 index) const;

    int32 fromRecordCharDataWhatCode_ = kCharDataNarrowCode;
    int32 bindRecordCharDataWhatCode_ = kCharDataNarrowCode;
    int32 bindFieldCount_ = 0;
    XTRecordMetaData* bindRecordMetaData_ = nullptr;
    unsigned char* bindRecord_ = nullptr;
    XTRecordMetaData fromRecordMetaData_;
    std::vector<Heap<XTFieldConverter>> converterArray_;
    int32 countFromTransferField_ = 0;
    std::vector<Heap<XTFromField>> fromTransferFieldArray_;
    bool bToMarshall_ = false;
    bool bInputToServer_ = false;
    ByteVector* listStreamByteVector_ = nullptr;
};
