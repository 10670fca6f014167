// Packed records: XTRecordMetaData::UnpackRecord and the two format
// unpackers, trusting and bounds-checked (docs/wire-formats.md).
//
// The unpackers never write outside a column's room in the record and
// allocate nothing. They are templates over the input policy, so that the
// trusting and the bounds-checked forms share one body and the trusting one
// carries no checks at all.
#include "SUCXTRecordWireRules.h"
#include "Utility/Client/SUCAppSupportMetrics.h"

using namespace record_wire;

namespace {

// ---- Input policies of the unpackers ----

// Reads the packed input as it lies.
struct TrustedInput {
    static void Need(const unsigned char*, std::size_t, const char*) noexcept {}
    static std::size_t StringLength(const unsigned char* p, const char*) noexcept {
        return std::strlen(reinterpret_cast<const char*>(p));
    }
};

// Reads nothing at or beyond `end`.
struct BoundedInput {
    const unsigned char* end;

    void Need(const unsigned char* p, std::size_t needed, const char* item) const {
        DataBlobUtil::CheckAvailable(p, end, needed, item);
    }
    // The length of the zero-terminated text at p; the terminator must lie
    // before `end`.
    std::size_t StringLength(const unsigned char* p, const char* item) const {
        const std::size_t remaining = p < end ? static_cast<std::size_t>(end - p) : 0;
        const void* terminator = remaining == 0 ? nullptr : std::memchr(p, 0, remaining);
        if (terminator == nullptr)
            SUGThrow(kMsgTruncatedByteVector, item, remaining + 1, remaining);
        return static_cast<std::size_t>(static_cast<const unsigned char*>(terminator) - p);
    }
};

// Copies a zero-terminated character value of `total` bytes (prefix included)
// into its room; a value longer than the room is cut and keeps a terminator.
void StoreCharacterValue(unsigned char* value, const unsigned char* from, uint64 total,
                         uint64 room) {
    if (total <= room) {
        std::memcpy(value, from, total);
        return;
    }
    std::memcpy(value, from, room - 1);
    value[room - 1] = 0;
}

template <class Input>
const unsigned char* UnpackVersion1(const XTFieldDescriptorArray& columns, int32 fieldCount,
                                    bool recordIsWide, unsigned char* bufferTo,
                                    const unsigned char* bufferIn, const Input& input) {
    CheckColumnCount(fieldCount, columns);
    input.Need(bufferIn, kHeaderSize, "packed record header");
    const unsigned char* in = bufferIn + kHeaderSize;
    bool anyNullable = false;
    for (int32 i = 0; i < fieldCount; ++i) {
        const XTFieldDescriptor& column = *columns[static_cast<std::size_t>(i)];
        const WireRule& rule = RuleOf(column);
        in = bufferIn +
             record_layout::AlignOffset(rule.alignment, static_cast<uint64>(in - bufferIn), true);
        unsigned char* value = bufferTo + column.GetByteOffset();
        anyNullable |= column.GetNullOffset() != 0;
        switch (rule.kind) {
            case WireKind::kFixed:
                input.Need(in, rule.fixedLength, "value");
                CopyFixed(value, in, rule.fixedLength);
                in += rule.fixedLength;
                break;
            case WireKind::kDeclared:
                input.Need(in, column.GetObjectLength(), "value");
                std::memcpy(value, in, column.GetObjectLength());
                in += column.GetObjectLength();
                break;
            case WireKind::kChar: {
                const uint64 wire = CharWireLength(column);
                input.Need(in, wire, "character value");
                std::memcpy(value, in, std::min(wire, CharacterRoom(column, recordIsWide)));
                in += wire;
                break;
            }
            case WireKind::kNumeric:
                input.Need(in, kNumericLength, "NUMERIC value");
                std::memcpy(value, in, kNumericLength);
                in += kNumericLength;
                break;
            case WireKind::kVarChar: {
                input.Need(in, kPrefixLength, "length prefix");
                if (ReadPrefix(in) == 0) {
                    std::memset(value, 0, kPrefixLength);
                    in += kPrefixLength;
                    break;
                }
                const std::size_t length =
                    input.StringLength(in + kPrefixLength, "character value");
                const uint64 total = kPrefixLength + length + 1;
                StoreCharacterValue(value, in, total, CharacterRoom(column, recordIsWide));
                in += total;
                break;
            }
            case WireKind::kVarBinary: {
                input.Need(in, kPrefixLength, "length prefix");
                const uint32 prefix = ReadPrefix(in);
                const uint64 total =
                    std::min<uint64>(prefix, column.GetObjectLength()) + kPrefixLength;
                input.Need(in, total, "binary value");
                if (prefix != 0)
                    std::memcpy(value, in, total);
                else
                    std::memset(value, 0, kPrefixLength);
                in += total;
                break;
            }
            case WireKind::kUnsupported: break;  // refused by RuleOf
        }
    }
    if (anyNullable) {
        for (int32 i = 0; i < fieldCount; ++i) {
            const XTFieldDescriptor& column = *columns[static_cast<std::size_t>(i)];
            if (column.GetNullOffset() == 0) continue;
            input.Need(in, 1, "null indicator");
            bufferTo[column.GetNullOffset()] = *in++;
        }
    }
    return in;
}

// Format-2 unpacking of one column after another.
template <class Input>
class Format2Unpacker {
public:
    Format2Unpacker(unsigned char* bufferTo, const unsigned char* bitmap, uint32 nullableCount,
                    bool recordIsWide, const Input& input)
        : m_bufferTo(bufferTo),
          m_bitmap(bitmap),
          m_nullableCount(nullableCount),
          m_recordIsWide(recordIsWide),
          m_input(input) {}

    const unsigned char* Column(const XTFieldDescriptor& column, const unsigned char* in) {
        const WireRule& rule = RuleOf(column);
        unsigned char* value = m_bufferTo + column.GetByteOffset();
        if (column.GetNullOffset() != 0) {
            XTAssert(m_nullable < m_nullableCount);
            const unsigned char isNull = (m_bitmap[m_nullable >> 3] >> (m_nullable & 7)) & 1;
            m_bufferTo[column.GetNullOffset()] = isNull;
            ++m_nullable;
            if (isNull != 0) {
                Clear(column, rule, value);
                return in;
            }
        }
        switch (rule.kind) {
            case WireKind::kFixed:
                m_input.Need(in, rule.fixedLength, "value");
                CopyFixed(value, in, rule.fixedLength);
                return in + rule.fixedLength;
            case WireKind::kDeclared:
                m_input.Need(in, column.GetObjectLength(), "value");
                std::memcpy(value, in, column.GetObjectLength());
                return in + column.GetObjectLength();
            case WireKind::kChar: {
                const uint64 wire = CharWireLength(column);
                m_input.Need(in, wire, "character value");
                std::memcpy(value, in, std::min(wire, CharacterRoom(column, m_recordIsWide)));
                return in + wire;
            }
            case WireKind::kVarChar: return VarChar(column, value, in);
            case WireKind::kVarBinary: {
                const uint32 objectLength = column.GetObjectLength();
                const std::size_t width = LengthFieldWidth(objectLength);
                m_input.Need(in, width, "length field");
                const uint32 prefix = GetLengthField(in, width);
                in += width;
                m_input.Need(in, prefix, "binary value");
                DataBlobUtil::ToBuffer(value, prefix);
                std::memcpy(value + kPrefixLength, in, std::min(prefix, objectLength));
                return in + prefix;
            }
            case WireKind::kNumeric: return Numeric(value, in);
            case WireKind::kUnsupported: break;  // refused by RuleOf
        }
        return in;
    }

private:
    // A null value: a zero length prefix, or zeros for the bytes the wire
    // would have carried.
    void Clear(const XTFieldDescriptor& column, const WireRule& rule, unsigned char* value) const {
        switch (rule.kind) {
            case WireKind::kVarChar:
            case WireKind::kVarBinary:
            case WireKind::kNumeric: std::memset(value, 0, kPrefixLength); return;
            case WireKind::kFixed: std::memset(value, 0, rule.fixedLength); return;
            case WireKind::kDeclared: std::memset(value, 0, column.GetObjectLength()); return;
            case WireKind::kChar:
                std::memset(
                    value, 0,
                    std::min(CharWireLength(column), CharacterRoom(column, m_recordIsWide)));
                return;
            case WireKind::kUnsupported: return;
        }
    }

    const unsigned char* VarChar(const XTFieldDescriptor& column, unsigned char* value,
                                 const unsigned char* in) const {
        const std::size_t width = LengthFieldWidth(column.GetObjectLength());
        m_input.Need(in, width, "length field");
        const uint32 count = GetLengthField(in, width);
        DataBlobUtil::ToBuffer(value, count);
        in += width;
        if (count == 0) return in;
        const std::size_t length = m_input.StringLength(in, "character value");
        const uint64 room = CharacterRoom(column, m_recordIsWide) - kPrefixLength;
        StoreCharacterValue(value + kPrefixLength, in, length + 1, room);
        return in + length + 1;
    }

    const unsigned char* Numeric(unsigned char* value, const unsigned char* in) const {
        m_input.Need(in, 1, "NUMERIC byte count");
        const unsigned char count = *in++;
        if (count == kNumericMarkerByte) {
            // Deliberately the first four bytes of the whole record.
            DataBlobUtil::ToBuffer(m_bufferTo, kNumericMarkerCount);
            return in;
        }
        m_input.Need(in, count, "NUMERIC value");
        if (count >= kNumericLength) {
            std::memset(value, 0, kNumericCountLength);
        } else {
            DataBlobUtil::ToBuffer(value, static_cast<uint32>(count));
            std::memcpy(value + kNumericCountLength, in,
                        std::min<std::size_t>(count, kNumericImageRoom));
        }
        return in + count;
    }

    unsigned char* m_bufferTo;
    const unsigned char* m_bitmap;
    uint32 m_nullableCount;
    uint32 m_nullable = 0;
    bool m_recordIsWide;
    const Input& m_input;
};

template <class Input>
const unsigned char* UnpackVersion2(const XTFieldDescriptorArray& columns, int32 fieldCount,
                                    int32 nullIndicatorCount, bool recordIsWide,
                                    const std::vector<XTRecordMetaData::WireStep>* plan,
                                    unsigned char* bufferTo, const unsigned char* bufferIn,
                                    const Input& input) {
    CheckColumnCount(fieldCount, columns);
    input.Need(bufferIn, kHeaderSize, "packed record header");
    if (fieldCount == 0) return bufferIn + kHeaderSize;
    const auto nullableCount = static_cast<uint32>(std::max(nullIndicatorCount, 0));
    const unsigned char* bitmap = bufferIn + kHeaderSize;
    const std::size_t bitmapLength = (nullableCount + 7) / 8;
    input.Need(bitmap, bitmapLength, "null bitmap");
    const unsigned char* in = bitmap + bitmapLength;
    Format2Unpacker<Input> unpacker(bufferTo, bitmap, nullableCount, recordIsWide, input);
    if (plan != nullptr) {
        for (const XTRecordMetaData::WireStep& step : *plan) {
            if (step.column == XTRecordMetaData::WireStep::kRun) {
                input.Need(in, step.length, "value");
                std::memcpy(bufferTo + step.byteOffset, in, step.length);
                in += step.length;
            } else {
                in = unpacker.Column(*columns[step.column], in);
            }
        }
    } else {
        for (int32 i = 0; i < fieldCount; ++i)
            in = unpacker.Column(*columns[static_cast<std::size_t>(i)], in);
    }
    return in;
}

}  // namespace

const unsigned char* XTRecordMetaData::UnpackRecord(unsigned char* bufferTo,
                                                    const unsigned char* bufferIn,
                                                    const AppVersionOption& serverVersion) const {
    if (serverVersion.m_serverVersion < kFormat2Version)
        return UnpackRecordVersion1(bufferTo, bufferIn);
    return UnpackRecordVersion2(bufferTo, bufferIn);
}

const unsigned char* XTRecordMetaData::UnpackRecord(unsigned char* bufferTo,
                                                    const unsigned char* bufferIn,
                                                    const unsigned char* bufferInEnd,
                                                    const AppVersionOption& serverVersion) const {
    if (serverVersion.m_serverVersion < kFormat2Version)
        return UnpackRecordVersion1(bufferTo, bufferIn, bufferInEnd);
    return UnpackRecordVersion2(bufferTo, bufferIn, bufferInEnd);
}

const unsigned char* XTRecordMetaData::UnpackRecordVersion1(unsigned char* bufferTo,
                                                            const unsigned char* bufferIn) const {
    return UnpackVersion1(fieldDescriptorArray_, fieldCount_, isUnicodeCharacter_, bufferTo,
                          bufferIn, TrustedInput{});
}

const unsigned char* XTRecordMetaData::UnpackRecordVersion1(
    unsigned char* bufferTo, const unsigned char* bufferIn,
    const unsigned char* bufferInEnd) const {
    return UnpackVersion1(fieldDescriptorArray_, fieldCount_, isUnicodeCharacter_, bufferTo,
                          bufferIn, BoundedInput{bufferInEnd});
}

const unsigned char* XTRecordMetaData::UnpackRecordVersion2(unsigned char* bufferTo,
                                                            const unsigned char* bufferIn) const {
    return UnpackVersion2(fieldDescriptorArray_, fieldCount_, nullIndicatorCount_,
                          isUnicodeCharacter_, isWirePlanValid_ ? &wirePlan_ : nullptr, bufferTo,
                          bufferIn, TrustedInput{});
}

const unsigned char* XTRecordMetaData::UnpackRecordVersion2(
    unsigned char* bufferTo, const unsigned char* bufferIn,
    const unsigned char* bufferInEnd) const {
    return UnpackVersion2(fieldDescriptorArray_, fieldCount_, nullIndicatorCount_,
                          isUnicodeCharacter_, isWirePlanValid_ ? &wirePlan_ : nullptr, bufferTo,
                          bufferIn, BoundedInput{bufferInEnd});
}
