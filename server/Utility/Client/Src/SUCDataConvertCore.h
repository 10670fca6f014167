// Internal: the machinery every converter family shares.
//
// Each converter word has a tag type in xts::convert::word. A family
// specialises ConvertOp<SourceWord, TargetWord> with three static operations:
//   Convert(call)          converts a non-null source (or raises an error
//                          before writing anything);
//   NullToPlain(call)      a null source into a non-nullable target;
//   NullToNullable(call)   a null source into a nullable target.
// RunConverter applies the null form around them, so nulls are handled in one
// place and each value conversion is written once.
#pragma once

#include <cstring>

#include "Utility/Client/SUCDataConvert.h"

#if defined(__GNUC__)
#define XT_ALWAYS_INLINE inline __attribute__((always_inline))
#define XT_NOINLINE __attribute__((noinline))
#else
#define XT_ALWAYS_INLINE inline
#define XT_NOINLINE
#endif

namespace xts::convert {

// The arguments of one converter call.
struct ConvertCall {
    const DataConvertParams& params;
    const unsigned char* from;
    uint32 fromLength;
    unsigned char* to;
    uint32 toLength;
    uint8& toIsNull;
    uint64& returnLength;
};

// Word tags. kType is the column type the word stands for.
namespace word {
#define XT_WORD(name, type)                         \
    struct name {                                   \
        static constexpr XTDataType kType = type;   \
        static constexpr const char* kWord = #name; \
    };
XT_WORD(Bit, XTBitData)
XT_WORD(Boolean, XTBoolean)
XT_WORD(Int8, XTInt1Data)
XT_WORD(UnsignedInt8, XTUInt1Data)
XT_WORD(Int16, XTInt2Data)
XT_WORD(UnsignedInt16, XTUInt2Data)
XT_WORD(Int32, XTInt4Data)
XT_WORD(UnsignedInt32, XTUInt4Data)
XT_WORD(Float32, XTFloatData)
XT_WORD(Float64, XTDoubleData)
XT_WORD(Numeric, XTNumericData)
XT_WORD(Char, XTCharData)
XT_WORD(XTChar, XTCharData)
XT_WORD(VarChar, XTVarCharData)
XT_WORD(VarXTChar, XTVarCharData)
XT_WORD(LongVarChar, XTLongVarCharData)
XT_WORD(LongVarXTChar, XTLongVarCharData)
XT_WORD(ExternalChar, XTCharData)
XT_WORD(ExternalVarChar, XTCharData)
XT_WORD(ExternalVarXTChar, XTCharData)
XT_WORD(Binary, XTBinaryData)
XT_WORD(VarBinary, XTVarBinaryData)
XT_WORD(LongVarBinary, XTLongVarBinaryData)
XT_WORD(Date, XTDateData)
XT_WORD(Time, XTTimeData)
XT_WORD(DateTime, XTDateTimeData)
XT_WORD(TimeStamp, XTTimeStampData)
#undef XT_WORD
}  // namespace word

// Specialised by each family.
template <class Source, class Target>
struct ConvertOp;

// Null handling of a target of `Width` bytes whose zero value is all bytes 0.
template <std::size_t Width>
struct FixedWidthNulls {
    static void NullToPlain(ConvertCall& call) {
        std::memset(call.to, 0, Width);
        call.toIsNull = 1;
        call.returnLength = Width;
    }
    static void NullToNullable(ConvertCall& call) {
        call.toIsNull = 1;
        call.returnLength = 0;
    }
};

template <XTConverterForm Form, class Op>
XT_ALWAYS_INLINE void RunConverter(const DataConvertParams& params, const unsigned char* from,
                                   uint32 fromLength, uint8 fromIsNull, unsigned char* to,
                                   uint32 toLength, uint8& toIsNull, uint64& returnLength) {
    ConvertCall call{params, from, fromLength, to, toLength, toIsNull, returnLength};
    if constexpr (Form != XTConverterForm::kPlain) {
        if (fromIsNull != 0) {
            if constexpr (Form == XTConverterForm::kNullableToNullable)
                Op::NullToNullable(call);
            else
                Op::NullToPlain(call);
            return;
        }
    }
    Op::Convert(call);
}

// Raises 46224 (overflow) or 46225 (underflow) with the display names of the
// two types. Kept out of line so that the converters' fast path stays small.
[[noreturn]] XT_NOINLINE void ThrowRangeError(int32 code, XTDataType source, XTDataType target,
                                              const char* file, int line);

// Unaligned loads and stores of native values.
template <class T>
XT_ALWAYS_INLINE T Load(const unsigned char* p) noexcept {
    T value;
    std::memcpy(&value, p, sizeof(T));
    return value;
}
template <class T>
XT_ALWAYS_INLINE void Store(unsigned char* p, T value) noexcept {
    std::memcpy(p, &value, sizeof(T));
}

}  // namespace xts::convert

// Definitions of the named converters of a family, and their entries in the
// table of all converters. Used with the family's list from
// SUCDataConvertList.h inside the family's source file.
#define XT_DEFINE_CONVERTER(S, D, FORM, NAME)                                               \
    void SUDataConvert::NAME(DataConvertParams cvtParams, const unsigned char* from,        \
                             uint32 fromLength, uint8 fromIsNull, unsigned char* to,        \
                             uint32 toLength, uint8& toIsNull, uint64& returnLength) {      \
        ::xts::convert::RunConverter<                                                       \
            XTConverterForm::FORM,                                                          \
            ::xts::convert::ConvertOp<::xts::convert::word::S, ::xts::convert::word::D>>(   \
            cvtParams, from, fromLength, fromIsNull, to, toLength, toIsNull, returnLength); \
    }
#define XT_DEFINE_PLAIN(S, D) XT_DEFINE_CONVERTER(S, D, kPlain, Convert##S##To##D)
#define XT_DEFINE_NULLABLE_TO_PLAIN(S, D) \
    XT_DEFINE_CONVERTER(S, D, kNullableToPlain, Convert##S##NullableTo##D)
#define XT_DEFINE_NULLABLE_TO_NULLABLE(S, D) \
    XT_DEFINE_CONVERTER(S, D, kNullableToNullable, Convert##S##NullableTo##D##Nullable)
#define XT_DEFINE_THREE_FORMS(S, D)   \
    XT_DEFINE_PLAIN(S, D)             \
    XT_DEFINE_NULLABLE_TO_PLAIN(S, D) \
    XT_DEFINE_NULLABLE_TO_NULLABLE(S, D)
#define XT_DEFINE_TWO_FORMS(S, D) \
    XT_DEFINE_PLAIN(S, D)         \
    XT_DEFINE_NULLABLE_TO_NULLABLE(S, D)

// Expands a family list into the definitions of its converters.
#define XT_DEFINE_CONVERTERS(FAMILY)                                    \
    FAMILY(XT_DEFINE_THREE_FORMS, XT_DEFINE_TWO_FORMS, XT_DEFINE_PLAIN, \
           XT_DEFINE_NULLABLE_TO_PLAIN, XT_DEFINE_NULLABLE_TO_NULLABLE)
