// Byte order of values in records and native API structures.
//
// Values travel in one fixed byte order, little-endian ("wire order").
// SUDataMarshaller converts them in place between wire order and the order of
// the machine. On a little-endian machine every conversion is a no-op; on a
// big-endian machine each converted unit has its bytes reversed.
//
// Every conversion takes the machine order as its last parameter, defaulting
// to GetMachineType(), the constant order of this build. Passing kBigEndian
// runs the big-endian conversions on any machine (tests do so).
#pragma once

#include <bit>

#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Client/SUCXTSNativeAPI.h"
#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTDateTime.h"

class XTFieldDescriptor;

enum MachineType : int32 {
    kLittleEndian = 0,
    kBigEndian = 1,
};

// Converts values between wire order and machine order. Static operations,
// no state, safe from any thread. Values are converted in place; nothing is
// copied or allocated.
//
// Converted units by type: the 32-bit length prefix of VarChar, LongVarChar,
// VarBinary and LongVarBinary (not their data); the 32-bit value of Int4,
// UInt4, Float and Interval; the 16-bit value of Int2 and UInt2; the 64-bit
// value of Double; every field of Date, Time (not its reserved filler),
// DateTime and TimeStamp; the first 32 bits of Binary in the raw-buffer forms
// only. Every other type is left as it is.
class XTS_EXPORT SUDataMarshaller {
public:
    // The byte order of this build's machine, a constant.
    static constexpr MachineType GetMachineType() noexcept {
        return std::endian::native == std::endian::little ? kLittleEndian : kBigEndian;
    }

    // Raw-buffer forms: the value of type `xtDataType` at `data`, wire order
    // to machine order and back. `data` must hold a whole value of the type
    // (for Binary at least 4 bytes).
    static void ConvertToMachineFormat(unsigned char* data, XTDataType xtDataType,
                                       MachineType machineType = GetMachineType()) noexcept;
    static void ConvertFromMachineFormat(unsigned char* data, XTDataType xtDataType,
                                         MachineType machineType = GetMachineType()) noexcept;

    // Field forms, by the descriptor's type: the value at `data` (where a
    // variable-length value's prefix lies) is skipped when `nullIndicator` is
    // given and non-zero. Binary data is never touched here.
    static void ConvertToMachineFormat(unsigned char* data, const unsigned char* nullIndicator,
                                       const XTFieldDescriptor& fieldDescriptor,
                                       MachineType machineType = GetMachineType()) noexcept;
    static void ConvertFromMachineFormat(unsigned char* data, const unsigned char* nullIndicator,
                                         const XTFieldDescriptor& fieldDescriptor,
                                         MachineType machineType = GetMachineType()) noexcept;

    // A native column description: each name character as a 16-bit unit
    // (sign-extended into its wide character), type, precision and scale as
    // 16-bit values, length, unicodeOverride and codePage as 32-bit values;
    // bNullable is a byte and stays as it is.
    static void ConvertToMachineFormat(XTSAPI_LocalFieldDescriptor& localFieldDescriptor,
                                       MachineType machineType = GetMachineType()) noexcept;
    static void ConvertFromMachineFormat(XTSAPI_LocalFieldDescriptor& localFieldDescriptor,
                                         MachineType machineType = GetMachineType()) noexcept;

    // Date and time records: each field (16-bit date and time fields, the
    // 32-bit nanosecond) read in one order and written back in the other,
    // whatever the machine. "ToBigEndian" reads little-endian (wire to a
    // big-endian machine), "ToLittleEndian" reads big-endian (back to wire).
    static void ConvertXTDateToBigEndian(XTDate& date) noexcept;
    static void ConvertXTTimeToBigEndian(XTTime& time) noexcept;
    static void ConvertXTDateTimeToBigEndian(XTDateTime& dateTime) noexcept;
    static void ConvertXTDateToLittleEndian(XTDate& date) noexcept;
    static void ConvertXTTimeToLittleEndian(XTTime& time) noexcept;
    static void ConvertXTDateTimeToLittleEndian(XTDateTime& dateTime) noexcept;
};
