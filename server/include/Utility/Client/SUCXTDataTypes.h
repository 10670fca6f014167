// The column data type catalogue: the XTDataType enumeration, its printable
// names and reverse look-ups, the classification predicates every other area
// asks, the character-encoding enumerations of a column, and the process-wide
// maximum field size.
#pragma once

#include <span>

#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

// The type of a column. The values travel in record metadata streams and in
// converter keys, so they are fixed: never insert or reorder an enumerator.
enum XTDataType : int32 {
    XTBitData = 0,
    XTCharData = 1,
    XTVarCharData = 2,
    XTLongVarCharData = 3,
    XTBinaryData = 4,
    XTVarBinaryData = 5,
    XTLongVarBinaryData = 6,
    XTInt1Data = 7,
    XTUInt1Data = 8,
    XTInt2Data = 9,
    XTUInt2Data = 10,
    XTInt4Data = 11,
    XTUInt4Data = 12,
    XTFloatData = 13,
    XTDoubleData = 14,
    XTMoneyData = 15,
    XTNumericData = 16,
    XTDecimalData = 17,
    XTDateData = 18,
    XTTimeData = 19,
    XTDateTimeData = 20,
    XTTimeStampData = 21,
    XTIntervalData = 22,
    XTObjectData = 23,
    XTBoolean = 24,
    XTUnknown = 25,  // a missing or unrecognised type
    XTMaxType = 26,  // the number of values, not a type
};

// The concrete encoding of a character buffer handed to a converter. Declared
// at namespace scope so that the converters and the field converter that
// carries it share one definition.
enum CharDataCodeType : int32 {
    kCharDataNarrowCode = 0,      // one byte per character in the client code page
    kCharDataUniCode = 1,         // 32-bit wide characters
    kCharDataNarrowUTF8Code = 2,  // UTF-8 bytes
    kCharDataUTF16 = 3,           // 16-bit UTF-16 code units
};

// One row of the type catalogue. `displayName` is the database-style phrase
// (empty for XTMaxType), `singleWordName` an identifier-like word without
// blanks ("BAD" for XTMaxType), `enumerator` the enumerator's spelling.
struct XTDataTypeCatalogueEntry {
    XTDataType type;
    const char* enumerator;
    const wchar_t* displayName;
    const wchar_t* singleWordName;
};

// Whether the maximum field size was given in the environment, and its text.
// Both are set once while the library loads ("ZEPS_MAX_FIELD_SIZE") and are
// read-only afterwards.
XTS_EXPORT extern bool g_bMaxFieldSizeSet;
XTS_EXPORT extern XTString g_sMaxFieldSize;

// Stateless services on column types. Every operation is static and safe from
// any thread. Values outside the enumeration are accepted everywhere: they get
// the empty display name, the single word "BAD" and "false" from every
// predicate.
class XTS_EXPORT SUXTDataTypeUtility {
public:
    // Per-column override of the character encoding a record layout would
    // otherwise give the column.
    enum ColumnUnicodeProperty : int32 {
        kAcceptRecordDefault = 0,       // the record's default encoding
        kOverrideAsUnicode = 1,         // wide text regardless of the record
        kOverrideAsNarrowCode = 2,      // code-page text regardless of the record
        kOverrideAsNarrowUTF8Code = 3,  // UTF-8 text regardless of the record
    };

    // The whole catalogue, indexed by value: 27 rows, XTBitData .. XTMaxType.
    static std::span<const XTDataTypeCatalogueEntry> GetCatalogue() noexcept;
    // The catalogue row of `type`, or null for a value outside 0..26.
    static const XTDataTypeCatalogueEntry* GetCatalogueEntry(XTDataType type) noexcept;

    // Assigns the display name ("LONG VARCHAR", "TIMESTAMP" ...) to `out` and
    // returns `out`. XTDateTimeData and XTTimeStampData share "TIMESTAMP".
    static XTString& GetXTDataTypeName(XTDataType type, XTString& out);
    // Assigns the single-word name ("LONGVARCHAR", "DATETIME" ...) to `out`
    // and returns `out`.
    static XTString& GetSingleWordXTDataTypeName(XTDataType type, XTString& out);
    // The type whose single-word name equals `name` ignoring case, searched
    // from XTBitData to XTBoolean; XTUnknown when none does.
    static XTDataType GetXTDataTypeFromSingleWordName(const XTString& name);
    // The single-word look-up, then the type words of common databases:
    // INTEGER, NUMBER, VARCHAR2, REAL (4-byte float), NVARCHAR.
    static XTDataType GetXTDataTypeFromDatabaseSingleWordName(const XTString& name);

    // Classification. Membership is exact; each tests a range of the value
    // read as unsigned, so negative values fall outside every class.
    static constexpr bool IsXTBitType(XTDataType type) noexcept { return InRange(type, 0, 0); }
    // CHAR, VARCHAR, LONG VARCHAR.
    static constexpr bool IsXTTextType(XTDataType type) noexcept { return InRange(type, 1, 3); }
    // VARCHAR, LONG VARCHAR (not the fixed CHAR).
    static constexpr bool IsXTVarCharType(XTDataType type) noexcept { return InRange(type, 2, 3); }
    // BINARY, VARBINARY, LONG VARBINARY.
    static constexpr bool IsXTBinaryType(XTDataType type) noexcept { return InRange(type, 4, 6); }
    // VARBINARY, LONG VARBINARY.
    static constexpr bool IsXTVarBinaryType(XTDataType type) noexcept {
        return InRange(type, 5, 6);
    }
    // Variable-length text or binary: 2, 3, 5, 6.
    static constexpr bool IsVariableLengthDataType(XTDataType type) noexcept {
        return IsXTVarCharType(type) || IsXTVarBinaryType(type);
    }
    // The signed and unsigned 1-, 2- and 4-byte integers (7..12).
    static constexpr bool IsXTIntegerType(XTDataType type) noexcept { return InRange(type, 7, 12); }
    // Integers, float, double, money, numeric, decimal (7..17).
    static constexpr bool IsXTNumericType(XTDataType type) noexcept { return InRange(type, 7, 17); }
    // Integers, money, numeric, decimal; float and double are inexact.
    static constexpr bool IsXTExactNumericType(XTDataType type) noexcept {
        return InRange(type, 7, 12) || InRange(type, 15, 17);
    }
    // FLOAT and DOUBLE (13..14).
    static constexpr bool IsXTInexactNumericType(XTDataType type) noexcept {
        return InRange(type, 13, 14);
    }
    // DATE, TIME, DATETIME, TIMESTAMP, INTERVAL (18..22).
    static constexpr bool IsXTDateTimeDerivedType(XTDataType type) noexcept {
        return InRange(type, 18, 22);
    }
    // DATETIME and TIMESTAMP (20..21).
    static constexpr bool IsXTDateTimeOrXTTimeStamp(XTDataType type) noexcept {
        return InRange(type, 20, 21);
    }
    // Types whose literals are written between quotes: the text types and
    // DATE, TIME, DATETIME, TIMESTAMP (not INTERVAL).
    static constexpr bool IsXTQuotedLiteralType(XTDataType type) noexcept {
        return InRange(type, 1, 3) || InRange(type, 18, 21);
    }

    // Clears both flags, then tells whether `typeTag` is a date/time type and
    // which parts it carries: DATE a date, TIME a time, DATETIME and TIMESTAMP
    // both, INTERVAL neither (but still returns true).
    static constexpr bool IsXTDateTimeDerivedType(XTDataType typeTag, bool& bHasDate,
                                                  bool& bHasTime) noexcept {
        bHasDate = false;
        bHasTime = false;
        if (!IsXTDateTimeDerivedType(typeTag)) return false;
        bHasDate = typeTag == XTDateData || IsXTDateTimeOrXTTimeStamp(typeTag);
        bHasTime = typeTag == XTTimeData || IsXTDateTimeOrXTTimeStamp(typeTag);
        return true;
    }

    // Whether an ODBC SQL type code (not an XTDataType) is one of the wide
    // character types SQL_WLONGVARCHAR (-10), SQL_WVARCHAR (-9), SQL_WCHAR (-8).
    static constexpr bool IsUnicodeType(int sqlType) noexcept {
        return sqlType >= -10 && sqlType <= -8;
    }

    // The largest byte size a single field's value may take where a bound is
    // needed (long text and binary columns): 32768 unless the environment gave
    // a non-negative number at load. The stored text is parsed on every call.
    static uint32 GetMaxFieldSize() noexcept;

private:
    static constexpr bool InRange(XTDataType type, uint32 first, uint32 last) noexcept {
        const auto value = static_cast<uint32>(type);
        return value >= first && value <= last;
    }
};
