// The metadata stream of record descriptions and columns, and the exchange
// with the native API structures (XTSAPI_RecordMetadata).
#include <algorithm>
#include <limits>

#include "Utility/Client/SUCUtility.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

// The smallest column stream: the fixed items and two empty names.
constexpr std::size_t kMinColumnStreamSize =
    DataBlobUtil::kInt16Size + DataBlobUtil::kInt32Size + DataBlobUtil::kInt32Size +
    DataBlobUtil::kBoolSize + DataBlobUtil::kInt16Size + DataBlobUtil::kInt16Size +
    DataBlobUtil::kInt32Size + DataBlobUtil::kInt32Size + 2 * DataBlobUtil::kStringHeaderSize;
static_assert(kMinColumnStreamSize == 31);

// Checks that a whole wide-string item lies in [p, end) without reading its
// characters; throws 46302 as DataBlobUtil's checked string reader does.
const unsigned char* SkipString(const unsigned char* p, const unsigned char* end) {
    uint32 count = 0;
    p = DataBlobUtil::FromByteVector(p, end, count);
    const std::size_t bytes = static_cast<std::size_t>(count) * DataBlobUtil::kStringUnitSize;
    DataBlobUtil::CheckAvailable(p, end, bytes, "string characters");
    return p + bytes;
}

// Checks that a whole column stream lies in [p, end) and returns its end.
// Reads the items through the checked readers (into scratch values), so that
// a truncation is reported with the item that does not fit.
const unsigned char* SkipColumnStream(const unsigned char* p, const unsigned char* end) {
    int16 int16Item = 0;
    int32 int32Item = 0;
    uint32 uint32Item = 0;
    bool boolItem = false;
    p = DataBlobUtil::FromByteVector(p, end, int16Item);   // identifier
    p = DataBlobUtil::FromByteVector(p, end, int32Item);   // type
    p = DataBlobUtil::FromByteVector(p, end, uint32Item);  // object length
    p = DataBlobUtil::FromByteVector(p, end, boolItem);    // nullable
    p = DataBlobUtil::FromByteVector(p, end, int16Item);   // precision
    p = DataBlobUtil::FromByteVector(p, end, int16Item);   // scale
    p = DataBlobUtil::FromByteVector(p, end, int32Item);   // unicode property
    p = DataBlobUtil::FromByteVector(p, end, uint32Item);  // code page
    p = SkipString(p, end);                                // name
    return SkipString(p, end);                             // alias
}

// A wide name of at most `length` units from a zero-terminated array.
XTString NameFromArray(const wchar_t* units, std::size_t length) {
    return XTString(units, std::find(units, units + length, L'\0'));
}

// Copies at most kXTSAPINameLength - 1 characters of `name` and terminates;
// the rest of `units` stays as it is (zero in a value-initialised descriptor).
void NameToArray(const XTString& name, wchar_t* units) {
    const std::size_t count = std::min(name.size(), kXTSAPINameLength - 1);
    std::copy_n(name.data(), count, units);
    units[count] = L'\0';
}

// The seven numbers of a native column description, copied between its
// 16-bit-name and wide-name forms.
template <class From, class To>
void CopyNumbers(const From& from, To& to) noexcept {
    to.type = from.type;
    to.precision = from.precision;
    to.scale = from.scale;
    to.length = from.length;
    to.bNullable = from.bNullable;
    to.unicodeOverride = from.unicodeOverride;
    to.codePage = from.codePage;
}

}  // namespace

// ---- Column stream ----

void XTFieldDescriptor::StreamTo(ByteVector& byteVector) const {
    DataBlobUtil::ToByteVector(byteVector, fieldId_);
    DataBlobUtil::ToByteVector(byteVector, static_cast<int32>(xtDataType_));
    DataBlobUtil::ToByteVector(byteVector, objectLength_);
    DataBlobUtil::ToByteVector(byteVector, nullOffset_ != 0);
    DataBlobUtil::ToByteVector(byteVector, decimalPrecision_);
    DataBlobUtil::ToByteVector(byteVector, scale_);
    DataBlobUtil::ToByteVector(byteVector, static_cast<int32>(columnUnicode_));
    DataBlobUtil::ToByteVector(byteVector, columnCodePage_);
    DataBlobUtil::ToByteVector(byteVector, fieldName_);
    DataBlobUtil::ToByteVector(byteVector, aliasName_);
}

const unsigned char* XTFieldDescriptor::DestreamFrom(const unsigned char* offset) {
    const unsigned char* p = offset;
    int32 type = 0;
    bool nullable = false;
    int32 unicodeProperty = 0;
    p = DataBlobUtil::FromByteVector(p, fieldId_);
    p = DataBlobUtil::FromByteVector(p, type);
    xtDataType_ = static_cast<XTDataType>(type);
    p = DataBlobUtil::FromByteVector(p, objectLength_);
    p = DataBlobUtil::FromByteVector(p, nullable);
    nullOffset_ = nullable ? 1 : 0;
    p = DataBlobUtil::FromByteVector(p, decimalPrecision_);
    p = DataBlobUtil::FromByteVector(p, scale_);
    p = DataBlobUtil::FromByteVector(p, unicodeProperty);
    columnUnicode_ = static_cast<ColumnUnicodeProperty>(unicodeProperty);
    p = DataBlobUtil::FromByteVector(p, columnCodePage_);
    p = DataBlobUtil::FromByteVector(p, fieldName_, true);
    p = DataBlobUtil::FromByteVector(p, aliasName_, true);
    textLength_ = GetTextLength(xtDataType_, objectLength_, decimalPrecision_);
    return p;
}

const unsigned char* XTFieldDescriptor::DestreamFrom(const unsigned char* offset,
                                                     const unsigned char* end) {
    SkipColumnStream(offset, end);
    // Read into a copy, which keeps this descriptor's offsets as the trusting
    // reader does, so that a refused type leaves this descriptor untouched.
    XTFieldDescriptor column(*this);
    const unsigned char* p = column.DestreamFrom(offset);
    *this = column;
    return p;
}

// ---- Record stream ----

void XTRecordMetaData::ToByteVector(ByteVector& byteVector) const {
    DataBlobUtil::ToByteVector(byteVector, fieldCount_);
    DataBlobUtil::ToByteVector(byteVector, isUnicodeCharacter_);
    DataBlobUtil::ToByteVector(byteVector, isAligned_);
    for (int32 i = 0; i < fieldCount_; ++i)
        fieldDescriptorArray_[static_cast<std::size_t>(i)]->StreamTo(byteVector);
}

void XTRecordMetaData::StreamTo(ByteVector& byteVector) const {
    byteVector.clear();
    ToByteVector(byteVector);
}

const unsigned char* XTRecordMetaData::FromByteVector(const unsigned char* offset) {
    const unsigned char* p = offset;
    p = DataBlobUtil::FromByteVector(p, fieldCount_);
    p = DataBlobUtil::FromByteVector(p, isUnicodeCharacter_);
    // Read and deliberately not consulted: the layout below is always aligned.
    p = DataBlobUtil::FromByteVector(p, isAligned_);
    SetFieldCount(fieldCount_);
    for (int32 i = 0; i < fieldCount_; ++i) {
        RefCnt<XTFieldDescriptor>& slot = fieldDescriptorArray_[static_cast<std::size_t>(i)];
        slot = MakeRefCnt<XTFieldDescriptor>();
        p = slot->DestreamFrom(p);
    }
    GenerateAlignedFieldOffset(isUnicodeCharacter_, 0);
    return p;
}

const unsigned char* XTRecordMetaData::FromByteVector(const unsigned char* offset,
                                                      const unsigned char* end) {
    int32 fieldCount = 0;
    bool isUnicodeCharacter = false;
    bool isAligned = false;
    const unsigned char* p = offset;
    p = DataBlobUtil::FromByteVector(p, end, fieldCount);
    p = DataBlobUtil::FromByteVector(p, end, isUnicodeCharacter);
    p = DataBlobUtil::FromByteVector(p, end, isAligned);
    // Refuse a count that the remaining bytes cannot describe before anything
    // is reserved for it; a negative count reads as its 32-bit unsigned value.
    const std::size_t remaining = p < end ? static_cast<std::size_t>(end - p) : 0;
    const uint64 needed =
        static_cast<uint64>(static_cast<uint32>(fieldCount)) * kMinColumnStreamSize;
    if (fieldCount < 0 || needed > remaining)
        SUGThrow(kMsgTruncatedByteVector, "column streams", needed, remaining);
    for (int32 i = 0; i < fieldCount; ++i) p = SkipColumnStream(p, end);

    // Every item is present: read into a new description with this one's
    // tolerance of unknown types, and take it over only when it is complete.
    XTRecordMetaData received;
    received.isSupportUnknownDataType_ = isSupportUnknownDataType_;
    const unsigned char* past = received.FromByteVector(offset);
    binaryRecordSize_ = received.binaryRecordSize_;
    textRecordSize_ = received.textRecordSize_;
    fieldCount_ = received.fieldCount_;
    nullIndicatorCount_ = received.nullIndicatorCount_;
    nullsOffset_ = received.nullsOffset_;
    fieldDescriptorArray_.swap(received.fieldDescriptorArray_);
    isUnicodeCharacter_ = received.isUnicodeCharacter_;
    isAligned_ = received.isAligned_;
    wirePlan_.swap(received.wirePlan_);
    isWirePlanValid_ = received.isWirePlanValid_;
    return past;
}

const unsigned char* XTRecordMetaData::DestreamFrom(const ByteVector& byteVector) {
    return FromByteVector(byteVector.data());
}

const unsigned char* XTRecordMetaData::DestreamFrom(const unsigned char* begin,
                                                    const unsigned char* end) {
    return FromByteVector(begin, end);
}

// ---- Native API structures ----

void XTRecordMetaData::LoadFrom(const XTSAPI_RecordMetadata& recordMetaData,
                                MachineType machineType) {
    const uint32 countFields = recordMetaData.countFields;
    XTAssert(countFields <= static_cast<uint32>(std::numeric_limits<int32>::max()));
    SetFieldCount(static_cast<int32>(countFields));
    // The caller allocated countFields elements behind the declared one.
    const XTSAPI_FieldDescriptor* fields = recordMetaData.fieldDescriptorArray;
    for (uint32 i = 0; i < countFields; ++i) {
        const XTSAPI_FieldDescriptor& field = fields[i];
        XTSAPI_LocalFieldDescriptor local{};
        std::copy_n(field.name, kXTSAPINameLength, local.name);
        std::copy_n(field.aliasName, kXTSAPINameLength, local.aliasName);
        CopyNumbers(field, local);
        SUDataMarshaller::ConvertToMachineFormat(local, machineType);
        DescribleField(static_cast<int32>(i), static_cast<XTDataType>(local.type), local.length,
                       local.bNullable != 0, local.precision, local.scale,
                       NameFromArray(local.name, kXTSAPINameLength),
                       NameFromArray(local.aliasName, kXTSAPINameLength),
                       static_cast<ColumnUnicodeProperty>(local.unicodeOverride), local.codePage);
    }
    GenerateAlignedFieldOffset(false, 0);
}

void XTRecordMetaData::LoadInto(XTSAPI_RecordMetadata& recordMetaData,
                                MachineType machineType) const {
    const uint32 fieldCount = static_cast<uint32>(fieldCount_);
    if (recordMetaData.countFields > fieldCount) recordMetaData.countFields = fieldCount;
    const uint32 count = recordMetaData.countFields;
    XTSAPI_FieldDescriptor* fields = recordMetaData.fieldDescriptorArray;
    for (uint32 i = 0; i < count; ++i) {
        const XTFieldDescriptor& column = *fieldDescriptorArray_[i];
        XTSAPI_LocalFieldDescriptor local{};
        NameToArray(column.GetFieldName(), local.name);
        NameToArray(column.GetAliasName(), local.aliasName);
        local.type = static_cast<uint16>(column.GetXTDataType());
        local.precision = column.GetDecimalPrecision();
        local.scale = column.GetScale();
        local.length = column.GetObjectLength();
        local.bNullable = column.IsNullable() ? 1 : 0;
        local.unicodeOverride = static_cast<int32>(column.GetColumnUnicodeProperty());
        local.codePage = column.GetColumnCodePage();
        SUDataMarshaller::ConvertFromMachineFormat(local, machineType);

        XTSAPI_FieldDescriptor& field = fields[i];
        for (std::size_t j = 0; j < kXTSAPINameLength; ++j) {
            field.name[j] = static_cast<uint16>(local.name[j]);
            field.aliasName[j] = static_cast<uint16>(local.aliasName[j]);
        }
        CopyNumbers(local, field);
    }
}
