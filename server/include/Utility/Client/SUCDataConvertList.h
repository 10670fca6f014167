// The one list of the converters of the conversion matrix.
//
// Every converter is named "Convert" + source word + optional "Nullable" +
// "To" + target word + optional "Nullable". An entry of the lists below names
// a source word and a target word; the macro it is passed to says which of
// the three null forms exist for that pair:
//   F3(S, D)   ConvertSToD, ConvertSNullableToD, ConvertSNullableToDNullable
//   F2(S, D)   ConvertSToD, ConvertSNullableToDNullable
//   FP(S, D)   ConvertSToD only
//   FNP(S, D)  ConvertSNullableToD only
//   FNN(S, D)  ConvertSNullableToDNullable only
// The declarations of SUDataConvert, the definitions of each family and the
// name table are all expanded from these lists, so a name and its function
// cannot drift apart. Which registry keys a converter serves is decided by the
// registry's rules, not here.
//
// Words: Bit, Boolean, Int8, UnsignedInt8, Int16, UnsignedInt16, Int32,
// UnsignedInt32, Float32, Float64, Numeric; Char, XTChar (fixed narrow and
// wide text); VarChar, VarXTChar, LongVarChar, LongVarXTChar (variable narrow
// and wide text); ExternalChar, ExternalVarChar, ExternalVarXTChar (a
// client's character buffers); Binary, VarBinary, LongVarBinary; Date, Time,
// DateTime, TimeStamp.
#pragma once

// F(S, Bit) .. F(S, Float64): the ten fixed-width number words as targets.
#define XT_CONVERTER_TO_FIXED_NUMBERS(F, S) \
    F(S, Bit)                               \
    F(S, Boolean)                           \
    F(S, Int8)                              \
    F(S, UnsignedInt8)                      \
    F(S, Int16)                             \
    F(S, UnsignedInt16)                     \
    F(S, Int32)                             \
    F(S, UnsignedInt32)                     \
    F(S, Float32)                           \
    F(S, Float64)

// Numbers among each other, to Numeric and from Numeric.
#define XT_NUMERIC_CONVERTERS(F3, F2, FP, FNP, FNN)  \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Bit)           \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Boolean)       \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Int8)          \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, UnsignedInt8)  \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Int16)         \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, UnsignedInt16) \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Int32)         \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, UnsignedInt32) \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Float32)       \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Float64)       \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Numeric)       \
    F3(Int8, Numeric)                                \
    F3(UnsignedInt8, Numeric)                        \
    F3(Int16, Numeric)                               \
    F3(UnsignedInt16, Numeric)                       \
    F3(Int32, Numeric)                               \
    F3(UnsignedInt32, Numeric)                       \
    F3(Float32, Numeric)                             \
    F3(Float64, Numeric)                             \
    F3(Numeric, Numeric)

// F(S, Char) .. F(S, LongVarXTChar): the six in-record text words as targets.
#define XT_CONVERTER_TO_TEXT(F, S) \
    F(S, Char)                     \
    F(S, XTChar)                   \
    F(S, VarChar)                  \
    F(S, VarXTChar)                \
    F(S, LongVarChar)              \
    F(S, LongVarXTChar)

// Text to and from numbers, text among its forms, and binary values.
#define XT_CHARACTER_CONVERTERS(F3, F2, FP, FNP, FNN) \
    F3(Bit, Char)                                     \
    F3(Bit, XTChar)                                   \
    F3(Bit, VarXTChar)                                \
    F3(Boolean, Char)                                 \
    F3(Boolean, XTChar)                               \
    F3(Boolean, VarXTChar)                            \
    F3(Int8, Char)                                    \
    F3(Int8, XTChar)                                  \
    F3(Int8, VarXTChar)                               \
    F3(UnsignedInt8, Char)                            \
    F3(UnsignedInt8, XTChar)                          \
    F3(UnsignedInt8, VarXTChar)                       \
    F3(Int16, Char)                                   \
    F3(Int16, XTChar)                                 \
    F3(Int16, VarXTChar)                              \
    F3(UnsignedInt16, Char)                           \
    F3(UnsignedInt16, XTChar)                         \
    F3(UnsignedInt16, VarXTChar)                      \
    F3(Int32, Char)                                   \
    F3(Int32, XTChar)                                 \
    F3(Int32, VarXTChar)                              \
    F3(UnsignedInt32, Char)                           \
    F3(UnsignedInt32, XTChar)                         \
    F3(UnsignedInt32, VarXTChar)                      \
    F3(Float32, Char)                                 \
    F3(Float32, XTChar)                               \
    F3(Float32, VarXTChar)                            \
    F3(Float64, Char)                                 \
    F3(Float64, XTChar)                               \
    F3(Float64, VarChar)                              \
    F3(Float64, VarXTChar)                            \
    F3(Numeric, XTChar)                               \
    F3(Numeric, VarXTChar)                            \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, Char)           \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, XTChar)         \
    XT_CONVERTER_TO_FIXED_NUMBERS(F3, VarXTChar)      \
    FNN(VarChar, Int16)                               \
    FNN(Char, Numeric)                                \
    FNP(ExternalVarChar, Numeric)                     \
    F3(ExternalChar, Numeric)                         \
    XT_CONVERTER_TO_TEXT(F3, Char)                    \
    XT_CONVERTER_TO_TEXT(F3, XTChar)                  \
    XT_CONVERTER_TO_TEXT(F3, VarXTChar)               \
    XT_CONVERTER_TO_TEXT(F3, LongVarXTChar)           \
    F2(VarChar, Char)                                 \
    F3(VarChar, VarXTChar)                            \
    F3(VarChar, LongVarChar)                          \
    F2(LongVarChar, Char)                             \
    F3(LongVarChar, LongVarChar)                      \
    F3(LongVarChar, LongVarXTChar)                    \
    FP(LongVarXTChar, ExternalVarChar)                \
    F2(ExternalChar, Char)                            \
    F2(ExternalChar, VarChar)                         \
    F3(ExternalVarChar, XTChar)                       \
    F3(ExternalVarChar, VarXTChar)                    \
    FP(ExternalVarChar, LongVarXTChar)                \
    FNP(ExternalVarChar, LongVarXTChar)               \
    F2(ExternalVarXTChar, XTChar)                     \
    F2(ExternalVarXTChar, VarXTChar)                  \
    FP(ExternalVarXTChar, LongVarXTChar)              \
    F3(Binary, Binary)                                \
    F3(Binary, VarBinary)                             \
    F3(Binary, LongVarBinary)                         \
    F3(VarBinary, VarBinary)                          \
    F3(VarBinary, LongVarBinary)                      \
    F3(LongVarBinary, LongVarBinary)

// Dates and times among each other and to and from text.
#define XT_DATETIME_CONVERTERS(F3, F2, FP, FNP, FNN) \
    F3(Date, Char)                                   \
    F3(Date, XTChar)                                 \
    F3(Date, Date)                                   \
    F3(Date, DateTime)                               \
    F3(Time, Char)                                   \
    F3(Time, XTChar)                                 \
    F3(Time, Time)                                   \
    F3(Time, DateTime)                               \
    F3(DateTime, Char)                               \
    F3(DateTime, XTChar)                             \
    F3(DateTime, Date)                               \
    F3(DateTime, Time)                               \
    F3(DateTime, DateTime)                           \
    F2(DateTime, ExternalChar)                       \
    F3(TimeStamp, DateTime)                          \
    F2(TimeStamp, ExternalChar)                      \
    F3(Char, Date)                                   \
    F3(Char, Time)                                   \
    F3(Char, DateTime)                               \
    F3(XTChar, Date)                                 \
    F3(XTChar, Time)                                 \
    F3(XTChar, DateTime)                             \
    F3(VarXTChar, Date)                              \
    F3(VarXTChar, Time)                              \
    F3(VarXTChar, DateTime)                          \
    F2(ExternalChar, Date)                           \
    F2(ExternalChar, Time)                           \
    F2(ExternalChar, DateTime)

#define XT_ALL_CONVERTERS(F3, F2, FP, FNP, FNN)   \
    XT_NUMERIC_CONVERTERS(F3, F2, FP, FNP, FNN)   \
    XT_CHARACTER_CONVERTERS(F3, F2, FP, FNP, FNN) \
    XT_DATETIME_CONVERTERS(F3, F2, FP, FNP, FNN)
