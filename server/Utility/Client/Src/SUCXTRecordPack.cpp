// Packed records: XTRecordMetaData::PackRecord, the two format packers and
// the format-2 plan (docs/wire-formats.md).
//
// The packers read a record laid out by the description and never read
// outside a column's room in it, and they allocate nothing. Format 2 follows
// the plan recorded at the description's last layout: adjacent non-nullable
// fixed-width values are copied as one block, other columns one by one.
#include "SUCXTRecordWireRules.h"
#include "Utility/Client/SUCAppSupportMetrics.h"

using namespace record_wire;

namespace {

// ---- Values shared by both packers ----

// A Char value: (L + 1) x 3 bytes; what lies beyond the column's room in the
// record is sent as zeros.
unsigned char* PackChar(unsigned char* out, const unsigned char* value,
                        const XTFieldDescriptor& column, bool recordIsWide) {
    const uint64 wire = CharWireLength(column);
    const uint64 copied = std::min(wire, CharacterRoom(column, recordIsWide));
    std::memcpy(out, value, copied);
    std::memset(out + copied, 0, wire - copied);
    return out + wire;
}

// A Numeric value as its byte count in one byte and its image bytes. A count
// above the largest image (22 bytes) is refused with 46302, except format 2's
// marker count, which goes as the single byte 255.
unsigned char* PackNumericBytes(unsigned char* out, const unsigned char* value, bool allowMarker) {
    const uint32 count = ReadPrefix(value);
    if (allowMarker && count == kNumericMarkerCount) {
        *out = kNumericMarkerByte;
        return out + 1;
    }
    if (count > TarvelNumber::kMaxImageLength)
        SUGThrow(kMsgTruncatedByteVector, "NUMERIC image", count, TarvelNumber::kMaxImageLength);
    *out++ = static_cast<unsigned char>(count);
    std::memcpy(out, value + kNumericCountLength, count);
    return out + count;
}

// A Numeric value as an 8-byte double.
unsigned char* PackNumericDouble(unsigned char* out, const unsigned char* value) {
    TarvelNumber number;
    number.FromByteVector(value, value + kNumericLength);
    DataBlobUtil::PutLittleEndianFloat64(out, number.asDouble());
    return out + kDoubleLength;
}

}  // namespace

// ---- Packing ----

uint32 XTRecordMetaData::PackRecord(unsigned char* bufferTo, const unsigned char* bufferIn,
                                    const AppVersionOption& clientVersion,
                                    bool bDirectQuery) const {
    if (clientVersion.m_clientVersion < kFormat2Version)
        return PackRecordVersion1(bufferTo, bufferIn, bDirectQuery,
                                  clientVersion.IsSpecialCaseOfNumericSupportByClient());
    return PackRecordVersion2(bufferTo, bufferIn, clientVersion.m_clientVersion, bDirectQuery);
}

namespace {

// The packed length in the header; 46034 when it does not fit 32 bits.
uint32 FinishHeader(unsigned char* bufferTo, const unsigned char* out) {
    const auto total = static_cast<uint64>(out - bufferTo);
    if (total > record_layout::kMaxRecordBytes)
        SUGThrow(kMsgValueTooLong, total, static_cast<uint32>(record_layout::kMaxRecordBytes));
    DataBlobUtil::ToBuffer(bufferTo, static_cast<uint32>(total));
    return static_cast<uint32>(total);
}

}  // namespace

uint32 XTRecordMetaData::PackRecordVersion1(unsigned char* bufferTo, const unsigned char* bufferIn,
                                            bool bDirectQuery,
                                            bool bPackTarvelNumberForNumeric) const {
    CheckColumnCount(fieldCount_, fieldDescriptorArray_);
    unsigned char* out = bufferTo + kHeaderSize;
    bool anyNullable = false;
    for (int32 i = 0; i < fieldCount_; ++i) {
        const XTFieldDescriptor& column = *fieldDescriptorArray_[static_cast<std::size_t>(i)];
        const WireRule& rule = RuleOf(column);
        out = bufferTo +
              record_layout::AlignOffset(rule.alignment, static_cast<uint64>(out - bufferTo), true);
        const unsigned char* value = bufferIn + column.GetByteOffset();
        const bool isNull = IsNullByte(bufferIn, column);
        anyNullable |= column.GetNullOffset() != 0;
        switch (rule.kind) {
            case WireKind::kFixed:
                CopyFixed(out, value, rule.fixedLength);
                out += rule.fixedLength;
                break;
            case WireKind::kDeclared:
                std::memcpy(out, value, column.GetObjectLength());
                out += column.GetObjectLength();
                break;
            case WireKind::kChar: out = PackChar(out, value, column, isUnicodeCharacter_); break;
            case WireKind::kVarChar: {
                const uint32 prefix = ReadCharacterLength(value, bDirectQuery);
                uint64 copied = kPrefixLength;
                if (!isNull && prefix != 0) {
                    // Prefix, characters and terminator, at most prefix x 3
                    // characters and never beyond the column's room.
                    const uint64 room = CharacterRoom(column, isUnicodeCharacter_);
                    const uint64 limit =
                        std::min(static_cast<uint64>(prefix) * 3, room - kPrefixLength);
                    const std::size_t length = BoundedLength(value + kPrefixLength, limit);
                    copied = std::min<uint64>(kPrefixLength + length + 1, room);
                }
                std::memcpy(out, value, copied);
                out += copied;
                break;
            }
            case WireKind::kVarBinary: {
                const uint32 prefix = ReadPrefix(value);
                uint64 copied = kPrefixLength;
                if (!isNull && prefix != 0)
                    copied = std::min<uint64>(prefix, column.GetObjectLength()) + kPrefixLength;
                std::memcpy(out, value, copied);
                out += copied;
                break;
            }
            case WireKind::kNumeric:
                if (bPackTarvelNumberForNumeric) {
                    if (isNull)
                        *out++ = 0;
                    else
                        out = PackNumericBytes(out, value, false);
                } else if (!isNull) {
                    out = PackNumericDouble(out, value);
                }
                break;
            case WireKind::kUnsupported: break;  // refused by RuleOf
        }
    }
    if (anyNullable) {
        for (int32 i = 0; i < fieldCount_; ++i) {
            const XTFieldDescriptor& column = *fieldDescriptorArray_[static_cast<std::size_t>(i)];
            if (column.GetNullOffset() != 0) *out++ = bufferIn[column.GetNullOffset()];
        }
    }
    return FinishHeader(bufferTo, out);
}

namespace {

// Format-2 packing of one column after another: the null bitmap bit, then
// the value unless it is null.
class Format2Packer {
public:
    Format2Packer(const unsigned char* bufferIn, unsigned char* bitmap, uint32 nullableCount,
                  bool numericAsBytes, bool recordIsWide, bool bDirectQuery)
        : m_bufferIn(bufferIn),
          m_bitmap(bitmap),
          m_nullableCount(nullableCount),
          m_numericAsBytes(numericAsBytes),
          m_recordIsWide(recordIsWide),
          m_directQuery(bDirectQuery) {}

    unsigned char* Column(const XTFieldDescriptor& column, unsigned char* out) {
        const WireRule& rule = RuleOf(column);
        if (column.GetNullOffset() != 0) {
            // A description changed since its layout may not be packed.
            XTAssert(m_nullable < m_nullableCount);
            const bool isNull = m_bufferIn[column.GetNullOffset()] == 1;
            m_bitmap[m_nullable >> 3] |=
                static_cast<unsigned char>((isNull ? 1u : 0u) << (m_nullable & 7));
            ++m_nullable;
            if (isNull) return out;
        }
        const unsigned char* value = m_bufferIn + column.GetByteOffset();
        switch (rule.kind) {
            case WireKind::kFixed:
                CopyFixed(out, value, rule.fixedLength);
                return out + rule.fixedLength;
            case WireKind::kDeclared:
                std::memcpy(out, value, column.GetObjectLength());
                return out + column.GetObjectLength();
            case WireKind::kChar: return PackChar(out, value, column, m_recordIsWide);
            case WireKind::kVarChar: return VarChar(column, value, out);
            case WireKind::kVarBinary: {
                const uint32 objectLength = column.GetObjectLength();
                const uint32 prefix = ReadPrefix(value);
                if (prefix > objectLength) SUGThrow(kMsgValueTooLong, prefix, objectLength);
                out = PutLengthField(out, prefix, LengthFieldWidth(objectLength));
                std::memcpy(out, value + kPrefixLength, prefix);
                return out + prefix;
            }
            case WireKind::kNumeric:
                return m_numericAsBytes ? PackNumericBytes(out, value, true)
                                        : PackNumericDouble(out, value);
            case WireKind::kUnsupported: break;  // refused by RuleOf
        }
        return out;
    }

private:
    // min(length, prefix) in the length field, at most that many characters
    // x 3 bytes of the text, and a zero byte; the prefix 0 alone.
    unsigned char* VarChar(const XTFieldDescriptor& column, const unsigned char* value,
                           unsigned char* out) const {
        const uint32 objectLength = column.GetObjectLength();
        const std::size_t width = LengthFieldWidth(objectLength);
        const uint32 prefix = ReadCharacterLength(value, m_directQuery);
        if (prefix == 0) return PutLengthField(out, 0, width);
        const uint32 count = std::min(objectLength, prefix);
        out = PutLengthField(out, count, width);
        const uint64 room = CharacterRoom(column, m_recordIsWide);
        const uint64 limit = std::min(static_cast<uint64>(count) * 3, room - kPrefixLength);
        const std::size_t length = BoundedLength(value + kPrefixLength, limit);
        std::memcpy(out, value + kPrefixLength, length);
        out += length;
        *out++ = 0;
        return out;
    }

    const unsigned char* m_bufferIn;
    unsigned char* m_bitmap;
    uint32 m_nullableCount;
    uint32 m_nullable = 0;
    bool m_numericAsBytes;
    bool m_recordIsWide;
    bool m_directQuery;
};

}  // namespace

uint32 XTRecordMetaData::PackRecordVersion2(unsigned char* bufferTo, const unsigned char* bufferIn,
                                            uint32 clientVersion, bool bDirectQuery) const {
    CheckColumnCount(fieldCount_, fieldDescriptorArray_);
    const auto nullableCount = static_cast<uint32>(std::max(nullIndicatorCount_, 0));
    unsigned char* bitmap = bufferTo + kHeaderSize;
    const std::size_t bitmapLength = (nullableCount + 7) / 8;
    std::memset(bitmap, 0, bitmapLength);
    unsigned char* out = bitmap + bitmapLength;
    Format2Packer packer(bufferIn, bitmap, nullableCount, clientVersion >= kNumericBytesVersion,
                         isUnicodeCharacter_, bDirectQuery);
    if (isWirePlanValid_) {
        for (const WireStep& step : wirePlan_) {
            if (step.column == WireStep::kRun) {
                std::memcpy(out, bufferIn + step.byteOffset, step.length);
                out += step.length;
            } else {
                out = packer.Column(*fieldDescriptorArray_[step.column], out);
            }
        }
    } else {
        for (int32 i = 0; i < fieldCount_; ++i)
            out = packer.Column(*fieldDescriptorArray_[static_cast<std::size_t>(i)], out);
    }
    return FinishHeader(bufferTo, out);
}

void XTRecordMetaData::BuildWirePlan() {
    isWirePlanValid_ = false;
    wirePlan_.clear();
    if (static_cast<std::size_t>(fieldCount_) > fieldDescriptorArray_.size()) return;
    for (int32 i = 0; i < fieldCount_; ++i) {
        const XTFieldDescriptor* column = fieldDescriptorArray_[static_cast<std::size_t>(i)].Get();
        if (column == nullptr) return;
        const auto code = static_cast<uint32>(column->GetXTDataType());
        if (code >= kWireRules.size() || kWireRules[code].kind == WireKind::kUnsupported) return;
        const WireRule& rule = kWireRules[code];
        // Non-nullable fixed-width values travel as they lie in the record;
        // adjacent ones are one block on the wire too.
        const bool plain = column->GetNullOffset() == 0 &&
                           (rule.kind == WireKind::kFixed || rule.kind == WireKind::kDeclared);
        if (!plain) {
            wirePlan_.push_back({static_cast<uint32>(i), 0, 0});
            continue;
        }
        const uint32 length =
            rule.kind == WireKind::kFixed ? rule.fixedLength : column->GetObjectLength();
        const uint32 offset = column->GetByteOffset();
        if (!wirePlan_.empty()) {
            WireStep& last = wirePlan_.back();
            if (last.column == WireStep::kRun &&
                static_cast<uint64>(last.byteOffset) + last.length == offset &&
                static_cast<uint64>(last.length) + length <= record_layout::kMaxRecordBytes) {
                last.length += length;
                continue;
            }
        }
        wirePlan_.push_back({WireStep::kRun, offset, length});
    }
    isWirePlanValid_ = true;
}

uint64 XTRecordMetaData::GetMaxPackedRecordSize() const {
    CheckColumnCount(fieldCount_, fieldDescriptorArray_);
    uint64 nullable = 0;
    uint64 values = 0;
    for (int32 i = 0; i < fieldCount_; ++i) {
        const XTFieldDescriptor& column = *fieldDescriptorArray_[static_cast<std::size_t>(i)];
        const WireRule& rule = RuleOf(column);
        const uint64 objectLength = column.GetObjectLength();
        if (column.GetNullOffset() != 0) ++nullable;
        values += rule.alignment;  // format 1's padding before the value
        switch (rule.kind) {
            case WireKind::kFixed: values += rule.fixedLength; break;
            case WireKind::kDeclared: values += objectLength; break;
            case WireKind::kChar: values += CharWireLength(column); break;
            // Format 1 sends at most the room, format 2 a length field of at
            // most 4 bytes instead of the prefix and one zero byte more.
            case WireKind::kVarChar:
                values += CharacterRoom(column, isUnicodeCharacter_) + 1;
                break;
            case WireKind::kVarBinary: values += objectLength + kPrefixLength; break;
            case WireKind::kNumeric: values += kNumericLength; break;
            case WireKind::kUnsupported: break;
        }
    }
    nullable = std::max<uint64>(nullable, static_cast<uint64>(std::max(nullIndicatorCount_, 0)));
    // Format 1's null bytes or format 2's bitmap, whichever is larger.
    return kHeaderSize + nullable + values;
}
