// The record layout: column descriptors (XTFieldDescriptor, with the small
// value types XTSimpleFieldDescriptor and XTTypeInfoBase) and the description
// of a whole row (XTRecordMetaData), which lays the columns out in a flat
// binary record, aligned or packed, and in a text record.
//
// A binary record is a byte buffer of GetBinaryRecordSize() bytes: each
// column's value at its byte offset, then, from GetNullsOffset() on, one null
// indicator byte per nullable column in column order (non-zero = NULL). The
// layout rules are shared with the server and are reproduced exactly; the
// decisions behind the details are in docs/record-layout.md.
#pragma once

#include <cstdio>
#include <vector>

#include "Utility/Client/SUCUtility.h"
#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Client/SUCXTSNativeAPI.h"
#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGRefCnt.h"
#include "Utility/Generic/SUGXTString.h"

class AppVersionOption;

// A flat five-number summary of a laid-out column.
struct XTSimpleFieldDescriptor {
    XTDataType xtDataType_ = XTUnknown;
    uint32 objectLength_ = 0;
    uint32 byteOffset_ = 0;
    uint32 nullOffset_ = 0;
    uint32 alignmentBoundaryForDataType_ = 0;

    bool operator==(const XTSimpleFieldDescriptor&) const = default;
};

// Type, precision, scale and nullability of a column as one comparable value.
// The type is kept in one byte.
class XTS_EXPORT XTTypeInfoBase {
public:
    XTTypeInfoBase() noexcept = default;
    XTTypeInfoBase(XTDataType type, int32 precision, int16 scale, uint8 nullable) noexcept
        : precision_(precision),
          scale_(scale),
          type_(static_cast<uint8>(type)),
          nullable_(nullable) {}

    XTDataType GetType() const noexcept { return static_cast<XTDataType>(type_); }
    int32 GetPrecision() const noexcept { return precision_; }
    int16 GetScale() const noexcept { return scale_; }
    uint8 GetNullable() const noexcept { return nullable_; }

    // All four members equal.
    bool operator==(const XTTypeInfoBase& other) const noexcept {
        return type_ == other.type_ && precision_ == other.precision_ && scale_ == other.scale_ &&
               nullable_ == other.nullable_;
    }
    // True only when every member of this value is strictly smaller than the
    // other's (type and nullable unsigned, precision and scale signed). This
    // is deliberately not a lexicographic order: values that differ in one
    // member only compare neither less nor greater.
    bool operator<(const XTTypeInfoBase& other) const noexcept {
        return type_ < other.type_ && precision_ < other.precision_ && scale_ < other.scale_ &&
               nullable_ < other.nullable_;
    }

protected:
    int32 precision_ = 0;
    int16 scale_ = 0;
    uint8 type_ = static_cast<uint8>(XTUnknown);
    uint8 nullable_ = 0;
};

// The description of one column: identifier, type, binary length, its place
// in a binary and a text record, its null indicator, precision and scale,
// names and character encoding. Always held through RefCnt<XTFieldDescriptor>
// and possibly shared by several record descriptions; the offsets are written
// by XTRecordMetaData's layout passes.
//
// nullOffset_ does double duty: the descriptor's own setters store only a
// nullability marker in it (1 nullable, 0 not), and a layout pass overwrites
// it with the real offset of the null indicator byte. Either way, non-zero
// means "nullable".
class XTS_EXPORT XTFieldDescriptor : public RefCountable {
public:
    using ColumnUnicodeProperty = SUXTDataTypeUtility::ColumnUnicodeProperty;

    // Type XTUnknown, every number 0, empty names, the record's default
    // encoding and code page 0.
    XTFieldDescriptor() noexcept;
    // Constructs and calls SetFieldDescription with the same arguments.
    XTFieldDescriptor(
        int32 fieldId, XTDataType xtDataType, uint32 objectLength, bool isNullable,
        int16 decimalPrecision, int32 scale, const XTString& fieldName, const XTString& aliasName,
        ColumnUnicodeProperty unicodeProperty = SUXTDataTypeUtility::kAcceptRecordDefault,
        uint32 columnCodePage = 0);
    // Copies every member (the reference count starts afresh).
    XTFieldDescriptor(const XTFieldDescriptor& other);
    XTFieldDescriptor& operator=(const XTFieldDescriptor& other);
    ~XTFieldDescriptor() override;

    // Sets the whole description: fieldId_ (cut to 16 bits), the type, the
    // object length through GetObjectLength, byteOffset_ 0, the nullability
    // marker, the text length through GetTextLength, precision, scale (cut to
    // 16 bits), encoding override, code page and names. textOffset_ keeps its
    // value. An unsupported type raises 46033 (type code): from the object
    // length before anything is stored, from the text length after the
    // identifier, type, object length, byte offset and marker were stored.
    void SetFieldDescription(
        int32 fieldId, XTDataType xtDataType, uint32 objectLength, bool isNullable,
        int16 decimalPrecision, int32 scale, const XTString& fieldName, const XTString& aliasName,
        ColumnUnicodeProperty unicodeProperty = SUXTDataTypeUtility::kAcceptRecordDefault,
        uint32 columnCodePage = 0);
    // Copies every member of this descriptor into `clone`.
    void CloneDescriptor(XTFieldDescriptor& clone) const;
    void ResetFieldName(const XTString& fieldName, const XTString& aliasName);
    void ResetAliasName(const XTString& aliasName);

    // (type, object length, byte offset, null offset, record-layout alignment
    // of the type for a wide column when this column overrides as Unicode).
    // Raises 46033 for Unknown, Money and Decimal.
    XTSimpleFieldDescriptor GetSimpleFieldDescriptor() const;

    // Diagnostics: a tab and "--FieldDescriptor--", then eleven lines of
    // "<tab><member>_ <value>" (identifier, names, type display name, lengths,
    // offsets, precision, scale). No trailing line break.
    XTString ToString() const;
    // One line: "<name>: " when the column has a name, then "ID(..)
    // DataType(..) BinLen(..), BinOff(..) Null(..) TextOff(..) TextLen(..)
    // Pre(..) Sca(..) Uni(..) CPag(..)" and a line break.
    static void PrintFieldDescriptor(FILE* fp, const XTFieldDescriptor& desc);

    // Metadata stream (docs/wire-formats.md). Appends this column's stream:
    // identifier, type, object length, nullable flag (nullOffset_ != 0),
    // precision, scale, unicode property, code page, name and alias. Offsets
    // and the text length are not sent.
    void StreamTo(ByteVector& byteVector) const;
    // Reads one column stream written by StreamTo and returns the position
    // just past it. The object length is taken as sent, the nullable flag
    // becomes the nullability marker (1 or 0), the text length is recomputed
    // with GetTextLength, and the byte and text offsets keep their values
    // until the record is laid out. Trusts its input; an unsupported type code
    // raises 46033 after every other item was stored.
    const unsigned char* DestreamFrom(const unsigned char* offset);
    // The same, reading nothing at or beyond `end`: a truncated stream raises
    // 46302. On any error (46302, 46033) the descriptor is left unchanged.
    const unsigned char* DestreamFrom(const unsigned char* offset, const unsigned char* end);

    // Static type tables. Type codes outside 0..25 are unsupported.
    // Binary length of a value: fixed per type, `objectLength` for character,
    // binary and Object types, 0 for Unknown. Money and Decimal raise 46033.
    static uint32 GetObjectLength(XTDataType xtDataType, uint32 objectLength);
    // Characters of the value as text; floating types need the precision
    // (taken as a signed 16-bit number) + 20. Money and Decimal raise 46033.
    static uint32 GetTextLength(XTDataType xtDataType, uint32 objectLength, int32 decimalPrecision);
    // The type's boundary in this table (not the record-layout alignment of
    // XTRecordMetaData). Money, Decimal, Unknown and codes outside 0..25 give
    // 0 with `isSupportUnknownDataType`, else raise 46033.
    static uint32 GetDataTypeBoundaryOffset(XTDataType xtDataType, bool isSupportUnknownDataType);

    // Accessors.
    int16 GetFieldId() const noexcept { return fieldId_; }
    XTDataType GetXTDataType() const noexcept { return xtDataType_; }
    uint32 GetObjectLength() const noexcept { return objectLength_; }
    uint32 GetByteOffset() const noexcept { return byteOffset_; }
    // The null indicator's offset after a layout, the nullability marker before.
    uint32 GetNullOffset() const noexcept { return nullOffset_; }
    bool IsNullable() const noexcept { return nullOffset_ != 0; }
    uint32 GetTextOffset() const noexcept { return textOffset_; }
    uint32 GetTextLength() const noexcept { return textLength_; }
    int16 GetDecimalPrecision() const noexcept { return decimalPrecision_; }
    int16 GetScale() const noexcept { return scale_; }
    const XTString& GetFieldName() const noexcept { return fieldName_; }
    const XTString& GetAliasName() const noexcept { return aliasName_; }
    ColumnUnicodeProperty GetColumnUnicodeProperty() const noexcept { return columnUnicode_; }
    uint32 GetColumnCodePage() const noexcept { return columnCodePage_; }

    // Written by the layout passes of XTRecordMetaData.
    void SetByteOffset(uint32 byteOffset) noexcept { byteOffset_ = byteOffset; }
    void SetNullOffset(uint32 nullOffset) noexcept { nullOffset_ = nullOffset; }
    void SetTextOffset(uint32 textOffset) noexcept { textOffset_ = textOffset; }

protected:
    int16 fieldId_ = 0;
    XTDataType xtDataType_ = XTUnknown;
    uint32 objectLength_ = 0;
    uint32 byteOffset_ = 0;
    uint32 nullOffset_ = 0;
    uint32 textOffset_ = 0;
    uint32 textLength_ = 0;
    int16 decimalPrecision_ = 0;
    int16 scale_ = 0;
    XTString fieldName_;
    XTString aliasName_;
    ColumnUnicodeProperty columnUnicode_ = SUXTDataTypeUtility::kAcceptRecordDefault;
    uint32 columnCodePage_ = 0;
};

using XTFieldDescriptorHandle = RefCnt<XTFieldDescriptor>;
using XTFieldDescriptorArray = std::vector<RefCnt<XTFieldDescriptor>>;

// Selects how GetAlignmentBoundary computes the remainder: true (the value at
// load) with the power-of-two mask, false with the modulo. Both agree for
// powers of two and for 0; every boundary of the type tables is one of them.
XTS_EXPORT extern bool bIsDivisorPowerOfTwo;

// The description of one record: an ordered array of column descriptors and
// the numbers that follow from laying them out. Not locked; one thread builds
// or lays out a description at a time. Descriptors shared with another
// description (SetFieldDescriptor) are rewritten by either one's layout.
class XTS_EXPORT XTRecordMetaData {
public:
    using ColumnUnicodeProperty = SUXTDataTypeUtility::ColumnUnicodeProperty;

    static const XTString s_kNullString;       // ""
    static const XTString unKnownFieldName_;   // "(UnKnown)"
    static const XTString exprFieldName_;      // "(Expression)"
    static const XTString constantFieldName_;  // "(Constant)"
    static const XTString unionFieldName_;     // "(Union Column)"

    // Every number 0, no columns, all flags false.
    XTRecordMetaData() noexcept;
    // A deep copy made as by assignment into a new description.
    XTRecordMetaData(const XTRecordMetaData& other);
    // Deep copy: the five numbers and the unknown-type tolerance are copied
    // and every column gets a new descriptor copied from the source's (an
    // empty slot stays empty). Only if the source is aligned does this
    // description lay itself out aligned again, with the source's wide flag;
    // otherwise its own wide and aligned flags are left as they were.
    // Self-assignment does nothing.
    XTRecordMetaData& operator=(const XTRecordMetaData& other);
    virtual ~XTRecordMetaData();

    // Building a description. Offsets are recomputed only by the layout
    // passes (and by SetFieldNullable).

    // Resizes the array (new slots empty, surplus handles released) and
    // stores the count. The count must not be negative.
    void SetFieldCount(int32 fieldCount);
    // Puts a new descriptor, whose identifier is `fieldId`, at position
    // `fieldId`. 46030 (position, count) out of range; 46033 for Money and
    // Decimal (the slot is then unchanged).
    void DescribleField(
        int32 fieldId, XTDataType xtDataType, uint32 binaryLength, bool isNullable,
        int16 decimalPrecision, int32 scale, const XTString& fieldName, const XTString& aliasName,
        ColumnUnicodeProperty unicodeProperty = SUXTDataTypeUtility::kAcceptRecordDefault,
        uint32 columnCodePage = 0);
    // Stores the handle (shared, not copied) at position `fieldId`; 46030
    // (position, count) out of range.
    void SetFieldDescriptor(int32 fieldId, const RefCnt<XTFieldDescriptor>& fieldDescriptor);
    // Marks columns fromFieldIndex .. fromFieldIndex + countField - 1
    // nullable, then lays the record out aligned again (always). An end below
    // 0 or beyond the count raises 46030 (end, count), a negative start 46030
    // (start, count); nothing is changed then.
    void SetFieldNullable(int32 fromFieldIndex, int32 countField);

    // Lays the record out aligned: each value at a multiple of its type's
    // alignment (at column `forceDoubleWordAlignmentAt` the running offset
    // first becomes offset + (offset AND 7)), null indicators after the
    // values, the whole record rounded to the alignment of the type with the
    // largest GetDataTypeBoundaryOffset. Errors: 46032 (position) for an empty
    // slot, 46033 (type) for an unsupported type, 46034 (bytes, 4294967295)
    // for a record or text record beyond 32 bits. A failed layout leaves the
    // visited columns with their new offsets, the null indicator count 0 and
    // the other record numbers as they were.
    void GenerateAlignedFieldOffset(bool isUnicodeCharacter, int32 forceDoubleWordAlignmentAt = 0);
    // Lays the record out packed: values back to back, unknown types never
    // tolerated, no rounding. Errors as for the aligned layout.
    void GeneratePackedFieldOffset(bool isUnicodeCharacter);

    void SetSupportUnknownDataType(bool isSupportUnknownDataType) noexcept {
        isSupportUnknownDataType_ = isSupportUnknownDataType;
    }
    bool GetSupportUnknownDataType() const noexcept { return isSupportUnknownDataType_; }

    // Queries.
    int32 GetFieldCount() const noexcept { return fieldCount_; }
    uint32 GetBinaryRecordSize() const noexcept { return binaryRecordSize_; }
    uint32 GetTextRecordSize() const noexcept { return textRecordSize_; }
    int32 GetNullIndicatorCount() const noexcept { return nullIndicatorCount_; }
    uint32 GetNullsOffset() const noexcept { return nullsOffset_; }
    bool IsUnicodeRecord() const noexcept { return isUnicodeCharacter_; }
    bool IsAligned() const noexcept { return isAligned_; }
    // Whether the column's character data is wide: the whole record is, or
    // the column overrides as Unicode. A position at or beyond the count is an
    // assertion failure.
    bool IsUnicodeColumn(int32 columnIndex) const;
    // The handle at a position; 46030 (position, count) out of range.
    RefCnt<XTFieldDescriptor> GetFieldDescriptor(int32 index) const;
    // The first column, in position order, whose identifier is `id`; 46031
    // (id) when none. An empty slot met on the way is an assertion failure.
    RefCnt<XTFieldDescriptor> GetFieldByDescriptorId(int32 id) const;
    // Appends every column's GetSimpleFieldDescriptor(), in position order.
    void GetXTSimpleFieldDescriptorVector(std::vector<XTSimpleFieldDescriptor>& vec) const;
    const XTFieldDescriptorArray& GetFieldDescriptorArray() const noexcept {
        return fieldDescriptorArray_;
    }

    // Record-layout tables. Unknown, Money, Decimal and codes outside 0..25
    // give 0 with `isSupportUnknownDataType`, else raise 46033 (type code).
    // Alignment of a value of the type (Char is 4 only when wide).
    static uint32 GetAlignmentBoundaryForDataType(XTDataType xtDataType, bool isUnicodeCharacter,
                                                  bool isSupportUnknownDataType);
    // Bytes a value takes in a record: character values with their
    // terminator (4 bytes a character when wide, else 3 when UTF-8, else 1),
    // variable-length values with their 32-bit length prefix. A length that
    // does not fit in 32 bits raises 46034 (bytes, 4294967295).
    static uint32 GetByteLength(XTDataType xtDataType, uint32 objectLength, bool isUnicodeCharacter,
                                bool isUTF8Character, bool isSupportUnknownDataType);
    // `fromOffset` rounded up to a multiple of the boundary (see
    // bIsDivisorPowerOfTwo). A boundary of 0 gives 0 for every offset.
    // Results beyond 32 bits wrap.
    static uint32 GetAlignmentBoundary(uint32 alignmentBoundaryForDataType, uint32 fromOffset);
    static uint32 GetAlignmentBoundary(XTDataType xtDataType, uint32 fromOffset,
                                       bool isUnicodeCharacter, bool isSupportUnknownDataType);

    // Appends copies of the input's columns after the output's (their
    // identifiers become their new positions) and lays the output out
    // aligned with the input's wide flag.
    static void AppendRecordMetaData(XTRecordMetaData& outputRecordMetaData,
                                     const XTRecordMetaData& inputRecordMetaData);
    // Orders the columns by identifier, keeping the order of equal ones.
    // Offsets are not recomputed.
    static void SortRecordMetaDataOnFieldId(XTRecordMetaData& recordMetaData);

    // Reading single columns of a binary record laid out by this description.
    // The integer value of an integer, floating (truncated toward zero) or
    // Numeric column. 46186 for a NULL value; 46033 (type) for other types;
    // 46224/46225 for a floating value outside the 64-bit range (or NaN).
    static int64 GetInt64FromRecord(const unsigned char* record, const XTFieldDescriptor& desc);
    // One column as text padded to its text length (see docs/record-layout.md
    // for the formats); 46030 (position, count) out of range, 46033 (type)
    // for Unknown and codes above it.
    static XTString GetStringFromRecord(const XTRecordMetaData& recordMetaData,
                                        const unsigned char* record, int32 i);
    // Every column's text, in position order, joined without separator.
    static XTString GetStringFromRecord(const XTRecordMetaData& recordMetaData,
                                        const unsigned char* record);

    // ---- Metadata stream (SUCXTRecordStream.cpp, docs/wire-formats.md) ----

    // Appends the record stream: the field count, the wide and aligned flags,
    // then every column's stream in position order. What the vector held stays
    // in front. An empty slot is an assertion failure.
    void ToByteVector(ByteVector& byteVector) const;
    // Empties the vector, then ToByteVector.
    void StreamTo(ByteVector& byteVector) const;
    // Replaces this description with the record stream at `offset` and returns
    // the position just past it. The columns are new descriptors (identifiers
    // kept as sent); the record is then always laid out aligned with the
    // received wide flag, whatever the received aligned flag said. The
    // unknown-type tolerance keeps this description's own value. Trusts its
    // input: a negative count is an assertion failure, and an unsupported type
    // (46033) or a layout error leaves the description partly filled.
    const unsigned char* FromByteVector(const unsigned char* offset);
    // The same, reading nothing at or beyond `end`. A truncated stream raises
    // 46302; so does a negative field count or one larger than the remaining
    // bytes could describe, before any memory is reserved for it. On any error
    // (46302, 46033, layout errors) the description is left unchanged.
    const unsigned char* FromByteVector(const unsigned char* offset, const unsigned char* end);
    // FromByteVector from the vector's first byte (trusting).
    const unsigned char* DestreamFrom(const ByteVector& byteVector);
    // The checked FromByteVector over [begin, end).
    const unsigned char* DestreamFrom(const unsigned char* begin, const unsigned char* end);

    // ---- Native API structures ----

    // Replaces this description with the `countFields` columns of the native
    // structure, which must hold that many elements. Names are widened unit by
    // unit (no surrogate decoding) and read up to their terminator (at most
    // 129 units); each column goes through the data marshaller from wire to
    // `machineType` order, then DescribleField at its position (so identifiers
    // become positions and object lengths are recomputed by type). Finally the
    // record is laid out aligned and narrow: wide columns must be marked per
    // column. Errors of DescribleField (46033) leave it partly filled.
    void LoadFrom(const XTSAPI_RecordMetadata& recordMetaData,
                  MachineType machineType = SUDataMarshaller::GetMachineType());
    // Writes min(countFields, field count) columns into the caller's native
    // structure, whose countFields gives its capacity on entry and is lowered
    // to the field count when larger. Names are cut to 128 characters and
    // terminated, each character cut to its low 16 bits; each column goes
    // through the data marshaller from `machineType` to wire order. Padding
    // bytes are not written.
    void LoadInto(XTSAPI_RecordMetadata& recordMetaData,
                  MachineType machineType = SUDataMarshaller::GetMachineType()) const;

    // ---- Packed records (SUCXTRecordPack.cpp, docs/wire-formats.md) ----
    //
    // A packed record starts with an 8-byte header: its total length (32-bit,
    // little-endian) and 4 reserved bytes left as the caller's buffer had them.
    // Format 1 places each value at its type's alignment and ends with the
    // null bytes; format 2 has a null bitmap and values back to back. Packing
    // reads a record laid out by this description (GetBinaryRecordSize()
    // bytes) and writes at most GetMaxPackedRecordSize() bytes; unpacking
    // writes a record of GetBinaryRecordSize() bytes and never writes outside
    // a column's room. Neither allocates. A column is null when its null byte
    // equals 1. Unsupported types raise 46033 (output partly written).
    // Format 2 follows the plan recorded at this description's last layout
    // (HasWirePlan): descriptors changed behind its back, through a shared
    // handle or their setters, count only after its next layout.

    // Format 2 when the client version is 13 or more, else format 1 (with the
    // short Numeric form for client version 8). Returns the packed length.
    uint32 PackRecord(unsigned char* bufferTo, const unsigned char* bufferIn,
                      const AppVersionOption& clientVersion, bool bDirectQuery) const;
    // Format 1. Numeric values go as 8-byte doubles, or with
    // `bPackTarvelNumberForNumeric` as a byte count and the number's bytes.
    uint32 PackRecordVersion1(unsigned char* bufferTo, const unsigned char* bufferIn,
                              bool bDirectQuery, bool bPackTarvelNumberForNumeric) const;
    // Format 2. Numeric values go as 8-byte doubles below client version 14,
    // else as a byte count and the number's bytes. A VarBinary prefix above
    // the column's length raises 46034 (prefix, length).
    uint32 PackRecordVersion2(unsigned char* bufferTo, const unsigned char* bufferIn,
                              uint32 clientVersion, bool bDirectQuery) const;
    // Format 2 when the server version is 13 or more, else format 1. Returns
    // the position just past the packed record read.
    const unsigned char* UnpackRecord(unsigned char* bufferTo, const unsigned char* bufferIn,
                                      const AppVersionOption& serverVersion) const;
    // Trusting unpackers: the packed input is read as it lies. Format 1 reads
    // a Numeric as the 28-byte image the server sends (not the client's
    // double or short form); format 2 as a byte count and the image bytes.
    const unsigned char* UnpackRecordVersion1(unsigned char* bufferTo,
                                              const unsigned char* bufferIn) const;
    const unsigned char* UnpackRecordVersion2(unsigned char* bufferTo,
                                              const unsigned char* bufferIn) const;
    // Bounds-checked unpackers: the packed input is [bufferIn, bufferInEnd);
    // the 8-byte header and every item must lie inside it, else 46302 (the
    // output record is then partly written).
    const unsigned char* UnpackRecord(unsigned char* bufferTo, const unsigned char* bufferIn,
                                      const unsigned char* bufferInEnd,
                                      const AppVersionOption& serverVersion) const;
    const unsigned char* UnpackRecordVersion1(unsigned char* bufferTo,
                                              const unsigned char* bufferIn,
                                              const unsigned char* bufferInEnd) const;
    const unsigned char* UnpackRecordVersion2(unsigned char* bufferTo,
                                              const unsigned char* bufferIn,
                                              const unsigned char* bufferInEnd) const;
    // One step of the description's format-2 plan: a run of adjacent
    // non-nullable fixed-width values, copied as one block, or one column
    // handled on its own. Internal to the packers.
    struct WireStep {
        static constexpr uint32 kRun = 0xFFFFFFFF;
        uint32 column;      // the column's position, or kRun
        uint32 byteOffset;  // a run's first byte in the record
        uint32 length;      // a run's bytes
    };
    // Whether format 2 follows the plan recorded at the last layout (see
    // docs/wire-formats.md); false after a change of the columns through this
    // description without a new layout, when the packers read every
    // descriptor.
    bool HasWirePlan() const noexcept { return isWirePlanValid_; }

    // An upper bound of the bytes either packer writes for any record of this
    // description (the size a packer's output buffer needs). Unsupported types
    // raise 46033.
    uint64 GetMaxPackedRecordSize() const;

    // Diagnostics: a line of the record numbers and flags, then every column
    // with XTFieldDescriptor::PrintFieldDescriptor.
    static void PrintRecordMetaData(FILE* fp, const XTRecordMetaData& recordMetaData);
    // Only the columns of a descriptor array.
    static void PrintRecordMetaData(FILE* fp, const XTFieldDescriptorArray& descriptorArray);
    // "--RecordMetadata--", the wide flag, then every column numbered from 1.
    XTString ToString() const;

protected:
    // The body of both layout passes.
    void GenerateFieldOffset(bool isUnicodeCharacter, bool isAligned,
                             int32 forceDoubleWordAlignmentAt);
    // Records the format-2 plan of the columns as they are now (at the end of
    // every layout and copy); leaves none when a slot is empty or a type
    // unsupported. The changes of columns through this description drop it.
    void BuildWirePlan();
    void InvalidateWirePlan() noexcept { isWirePlanValid_ = false; }

    uint32 binaryRecordSize_ = 0;
    uint32 textRecordSize_ = 0;
    int32 fieldCount_ = 0;
    int32 nullIndicatorCount_ = 0;
    uint32 nullsOffset_ = 0;
    XTFieldDescriptorArray fieldDescriptorArray_;
    bool isUnicodeCharacter_ = false;
    bool isAligned_ = false;
    bool isSupportUnknownDataType_ = false;
    std::vector<WireStep> wirePlan_;
    bool isWirePlanValid_ = false;
};
