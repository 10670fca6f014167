// The conversion matrix: the converter contract, the 755 converters and the
// registry that chooses one for a description of a source and a target.
//
// A converter reads one value from `from` and writes it into `to`:
//   cvtParams     encoding and padding options for character data
//   from          the source value; fromLength its byte length (used by
//                 variable-length and character sources)
//   fromIsNull    non-zero when the source is null; read only by the
//                 Nullable-source forms
//   to            the target buffer; toLength its capacity (used by
//                 character, binary and Numeric targets)
//   toIsNull      set by every converter: 1 when the result is null, else 0
//   returnLength  set by every converter: the byte length of what was written
// Null forms: ConvertAToB ignores fromIsNull. ConvertANullableToBNullable
// turns a null source into toIsNull = 1, returnLength = 0 and leaves the
// target untouched. ConvertANullableToB turns a null source into the target
// type's zero value, toIsNull = 1 and returnLength = the target's width.
// A converter that raises an error (ErrorMessage) writes nothing: neither the
// target nor toIsNull nor returnLength.
//
// Converters keep no state and may run on any number of threads at once. The
// registry is built while the library loads and is read-only afterwards.
#pragma once

#include <cstddef>
#include <map>
#include <span>

#include "Utility/Client/SUCDataConvertList.h"
#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGDateTimeMetaData.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTDateTime.h"
#include "Utility/Generic/SUGXTString.h"

// Options for character data, passed by value to every converter.
struct DataConvertParams {
    int32 charDataToDataCode = kCharDataNarrowCode;    // encoding of text in the target
    int32 charDataFromDataCode = kCharDataNarrowCode;  // encoding of text in the source
    bool bTwoByteToFourByte = false;                   // a wide source holds 16-bit units to widen
    bool bAvoidPaddingToChar = false;   // no blank padding into a fixed narrow target
    bool bAvoidRtrimToVarChar = false;  // keep trailing blanks into a variable target
};

using DataConvert_t = void (*)(DataConvertParams cvtParams, const unsigned char* from,
                               uint32 fromLength, uint8 fromIsNull, unsigned char* to,
                               uint32 toLength, uint8& toIsNull, uint64& returnLength);

// One row of the registry: a description of source and target, and the
// converter that serves it with its name.
struct PropertyFuncInfo {
    XTDataType inputDataType_;
    bool isInputNull_;
    bool isInputUnicode_;
    bool isInputExteranlVarChar_;
    XTDataType outputDataType_;
    bool isOutputNull_;
    bool isOutputUnicode_;
    bool isOutputExteranlVarChar_;
    DataConvert_t convertFunction_;
    const char* functionName_;
};

// The null forms of a converter.
enum class XTConverterForm : uint8 {
    kPlain,               // ConvertAToB
    kNullableToPlain,     // ConvertANullableToB
    kNullableToNullable,  // ConvertANullableToBNullable
};

// One converter of the matrix, registered or not.
struct XTConverterInfo {
    DataConvert_t function;
    const char* name;
    const char* sourceWord;
    const char* targetWord;
    XTConverterForm form;
};

// The map from a description key to its converter.
class XTS_EXPORT IdFuncPairMap {
public:
    // Fills the map from `rows`. A key met twice is a defect of the table: the
    // row is printed to standard error and the process aborts.
    explicit IdFuncPairMap(std::span<const PropertyFuncInfo> rows);
    // The converter stored under `key`, or null.
    DataConvert_t Find(uint32 key) const noexcept;

    std::map<uint32, DataConvert_t> idFuncMap_;
};

class XTS_EXPORT SUDataConvert {
public:
#define XT_DECLARE_CONVERTER(name)                                                              \
    static void name(DataConvertParams cvtParams, const unsigned char* from, uint32 fromLength, \
                     uint8 fromIsNull, unsigned char* to, uint32 toLength, uint8& toIsNull,     \
                     uint64& returnLength);
#define XT_DECLARE_PLAIN(S, D) XT_DECLARE_CONVERTER(Convert##S##To##D)
#define XT_DECLARE_NULLABLE_TO_PLAIN(S, D) XT_DECLARE_CONVERTER(Convert##S##NullableTo##D)
#define XT_DECLARE_NULLABLE_TO_NULLABLE(S, D) \
    XT_DECLARE_CONVERTER(Convert##S##NullableTo##D##Nullable)
#define XT_DECLARE_THREE_FORMS(S, D)   \
    XT_DECLARE_PLAIN(S, D)             \
    XT_DECLARE_NULLABLE_TO_PLAIN(S, D) \
    XT_DECLARE_NULLABLE_TO_NULLABLE(S, D)
#define XT_DECLARE_TWO_FORMS(S, D) \
    XT_DECLARE_PLAIN(S, D)         \
    XT_DECLARE_NULLABLE_TO_NULLABLE(S, D)

    XT_ALL_CONVERTERS(XT_DECLARE_THREE_FORMS, XT_DECLARE_TWO_FORMS, XT_DECLARE_PLAIN,
                      XT_DECLARE_NULLABLE_TO_PLAIN, XT_DECLARE_NULLABLE_TO_NULLABLE)

#undef XT_DECLARE_TWO_FORMS
#undef XT_DECLARE_THREE_FORMS
#undef XT_DECLARE_NULLABLE_TO_NULLABLE
#undef XT_DECLARE_NULLABLE_TO_PLAIN
#undef XT_DECLARE_PLAIN
#undef XT_DECLARE_CONVERTER

    // Text helpers shared by the character converters. Lengths are counted in
    // units of the text (bytes or wide characters).

    // Integer text (leading and trailing white space, a sign, decimal digits,
    // an optional fraction that is truncated toward zero; "true" and "false"
    // in any case give 1 and 0). Only the upper bound `maximum` is checked:
    // the caller keeps the low bytes of the result. Bad text raises 46044.
    static int32 CharToLongData(const char* text, uint32 length, int32 maximum);
    static int32 XTCharToLongData(const wchar_t* text, uint32 length, int32 maximum);
    // Unsigned integer text: as above without a sign and without the words;
    // above `maximum` or more than 10 digits raises 46044.
    static uint32 CharToUnsignedLongData(const char* text, uint32 length, uint32 maximum);
    static uint32 XTCharToUnsignedLongData(const wchar_t* text, uint32 length, uint32 maximum);
    // Floating text after leading white space, read as far as it is a number
    // (nothing after it is checked). Empty or blank text raises 46045.
    static double CharToFloat64Data(const char* text, uint32 length, double ignored = 0);
    static double XTCharToFloat64Data(const wchar_t* text, uint32 length, double ignored = 0);

    // Decimal text of an integer, left-aligned and zero-terminated in `size`
    // bytes; when it does not fit, the sign and the low-order digits are kept.
    // Returns the characters written (without the terminator).
    static int32 DigitizeBinaryLongData(int32 value, char* buffer, int32 size);
    static int32 DigitizeBinaryUnsignedLongData(uint32 value, char* buffer, int32 size);
    // Text of a double with two fraction digits, rounded half up; the
    // exponent form when the fixed form does not fit; "INFINITY" beyond the
    // double range. Returns the characters written (without the terminator).
    static int32 DigitizeFloat64Data(double value, char* buffer, int32 size);
    // Wide twins: the text padded with blanks to exactly `size` characters and
    // terminated at index `size` (so `size` + 1 units are written). Return `size`.
    static int32 XTDigitizeBinaryLongData(int32 value, wchar_t* buffer, int32 size);
    static int32 XTDigitizeBinaryUnsignedLongData(uint32 value, wchar_t* buffer, int32 size);
    static int32 XTCharDigitizeFloat64Data(double value, wchar_t* buffer, int32 size);

    // The image of a fixed wide text of `width` characters: width x 4 + 1
    // bytes, the characters from the start, then zero bytes (the terminator
    // unit, cut where the vector ends). The text must not be longer than
    // `width` (an assertion).
    static void BuildChar(const XTString& text, ByteVector& out, int32 width);
    // The in-record image of a variable wide text: a 32-bit count, the
    // characters and a zero unit.
    static void BuildVarchar(const XTString& text, ByteVector& out);
    static void BuildVarchar(const wchar_t* text, ByteVector& out);

    // The number of converters, and of those the registry serves.
    static constexpr std::size_t kConverterCount = 755;
    static constexpr std::size_t kRegisteredConverterCount = 747;
    static constexpr std::size_t kRegistryRowCount = 1140;
    // The longest converter name, without its terminator.
    static constexpr std::size_t kMaxConverterNameLength = 51;

    // The converter for a description of source and target, or null when the
    // matrix has none (always null when either type is XTUnknown). The wide
    // flag counts for text types only; the external flag turns any text type
    // into the client's character buffer.
    static DataConvert_t GetConverterFunction(XTDataType inputDataType, bool isInputNullable,
                                              bool isInputUnicode, bool isInputExternalVarChar,
                                              XTDataType outputDataType, bool isOutputNullable,
                                              bool isOutputUnicode, bool isOutputExternalVarChar);
    // Writes the name of `func` (at most kMaxConverterNameLength characters and
    // a terminator) into `name`; an empty string when no registry row holds it.
    static void GetConverterFunctionName(DataConvert_t func, char* name);

    // The 32-bit key of a description, from the most significant byte: source
    // type, source flags, target type, target flags; flag bits 1 nullable,
    // 2 wide (text types only), 4 the client's character buffer (then the
    // type byte is that of CHAR, whatever the text type).
    static uint32 GetConverterKey(XTDataType inputDataType, bool isInputNullable,
                                  bool isInputUnicode, bool isInputExternalVarChar,
                                  XTDataType outputDataType, bool isOutputNullable,
                                  bool isOutputUnicode, bool isOutputExternalVarChar) noexcept;

    // The registry's rows, and every converter of the matrix (registered or not).
    static std::span<const PropertyFuncInfo> GetRegistryRows() noexcept;
    static std::span<const XTConverterInfo> GetAllConverters() noexcept;

    // The process-wide regional switch of date and time formatting: on when
    // `value` is the affirmative word, ignoring case; off otherwise.
    static void SetRegionalSetting(const XTNString& value);
    static bool GetRegionalSetting() noexcept {
        return bRegionalSetting_;
    }

    // Date and time text by the operating system's locale (the current
    // LC_TIME): the date, the time, or the date, a blank and the time. Return
    // non-zero on success and 0 when a locale formatter fails, in which case
    // the converters fall back to the default formats.
    static int ConvertDateToRegional(const XTDate& date, XTString& out);
    static int ConvertTimeToRegional(const XTTime& time, XTString& out);
    static int ConvertDateTimeToRegional(const XTDateTime& dateTime, XTString& out);

    // Replaces the formats of the three default date and time objects. Meant
    // for start-up, before conversions run on other threads.
    static void InitializeMetaData(XTString& dateFormat, XTString& timeFormat,
                                   XTString& dateTimeFormat);
    static DateTimeMetaData& GetDefaultDateMetaData() noexcept {
        return defaultDateMetaData_;
    }
    static DateTimeMetaData& GetDefaultTimeMetaData() noexcept {
        return defaultTimeMetaData_;
    }
    static DateTimeMetaData& GetDefaultDateTimeMetaData() noexcept {
        return defaultDateTimeMetaData_;
    }

private:
    static DateTimeMetaData defaultDateMetaData_;
    static DateTimeMetaData defaultTimeMetaData_;
    static DateTimeMetaData defaultDateTimeMetaData_;
    static bool bRegionalSetting_;
};
