// SUDataMarshaller: byte order of values between wire order (little-endian)
// and the machine's order.
//
// On a big-endian machine, bringing a unit from the wire reads it with the
// little-endian reader and stores it most significant byte first (the
// machine's order); bringing it back reads it most significant byte first and
// stores it with the little-endian writer. Both reverse the unit's bytes, and
// neither depends on the order of the processor that runs the code, which is
// what lets tests run the big-endian paths on a little-endian machine.
#include "Utility/Client/SUCUtility.h"

#include <span>

#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGDataBlobUtil.h"

namespace {

// One unit of a value: its offset in the value and its width in bytes.
struct Unit {
    uint8 offset;
    uint8 width;
};

constexpr Unit kUnit16[] = {{0, 2}};
constexpr Unit kUnit32[] = {{0, 4}};
constexpr Unit kUnit64[] = {{0, 8}};
constexpr Unit kDateUnits[] = {{0, 2}, {2, 2}, {4, 2}};
// The filler at offset 6 is not part of the value.
constexpr Unit kTimeUnits[] = {{0, 2}, {2, 2}, {4, 2}, {8, 4}};
constexpr Unit kDateTimeUnits[] = {{0, 2}, {2, 2}, {4, 2}, {6, 2}, {8, 2}, {10, 2}, {12, 4}};

static_assert(offsetof(XTDate, day_) == kDateUnits[2].offset);
static_assert(offsetof(XTTime, nanosecond_) == kTimeUnits[3].offset);
static_assert(offsetof(XTDateTime, nanosecond_) == kDateTimeUnits[6].offset);

// The units converted for a type. `rawBuffer` selects the raw-buffer forms,
// the only ones that convert Binary.
std::span<const Unit> GetUnits(XTDataType type, bool rawBuffer) noexcept {
    switch (type) {
        case XTVarCharData:
        case XTLongVarCharData:
        case XTVarBinaryData:
        case XTLongVarBinaryData:  // the length prefix only
        case XTInt4Data:
        case XTUInt4Data:
        case XTFloatData:
        case XTIntervalData: return kUnit32;
        case XTBinaryData:
            return rawBuffer ? std::span<const Unit>(kUnit32) : std::span<const Unit>();
        case XTInt2Data:
        case XTUInt2Data: return kUnit16;
        case XTDoubleData: return kUnit64;
        case XTDateData: return kDateUnits;
        case XTTimeData: return kTimeUnits;
        case XTDateTimeData:
        case XTTimeStampData: return kDateTimeUnits;
        default: return {};
    }
}

uint64 LoadBigEndian(const unsigned char* p, unsigned width) noexcept {
    uint64 value = 0;
    for (unsigned i = 0; i < width; ++i) value = (value << 8) | p[i];
    return value;
}

void StoreBigEndian(unsigned char* p, unsigned width, uint64 value) noexcept {
    for (unsigned i = width; i-- > 0;) {
        p[i] = static_cast<unsigned char>(value);
        value >>= 8;
    }
}

uint64 LoadLittleEndian(const unsigned char* p, unsigned width) noexcept {
    switch (width) {
        case 2: return DataBlobUtil::GetLittleEndianUInt16(p);
        case 4: return DataBlobUtil::GetLittleEndianUInt32(p);
        default: return DataBlobUtil::GetLittleEndianUInt64(p);
    }
}

void StoreLittleEndian(unsigned char* p, unsigned width, uint64 value) noexcept {
    switch (width) {
        case 2: DataBlobUtil::PutLittleEndianUInt16(p, static_cast<uint16>(value)); return;
        case 4: DataBlobUtil::PutLittleEndianUInt32(p, static_cast<uint32>(value)); return;
        default: DataBlobUtil::PutLittleEndianUInt64(p, value); return;
    }
}

// Wire order to big-endian machine order.
void UnitsToBigEndian(unsigned char* data, std::span<const Unit> units) noexcept {
    for (const Unit& unit : units) {
        unsigned char* p = data + unit.offset;
        StoreBigEndian(p, unit.width, LoadLittleEndian(p, unit.width));
    }
}

// Big-endian machine order to wire order.
void UnitsToLittleEndian(unsigned char* data, std::span<const Unit> units) noexcept {
    for (const Unit& unit : units) {
        unsigned char* p = data + unit.offset;
        StoreLittleEndian(p, unit.width, LoadBigEndian(p, unit.width));
    }
}

void ConvertValue(unsigned char* data, XTDataType type, bool toMachine, bool rawBuffer,
                  MachineType machineType) noexcept {
    if (machineType != kBigEndian) return;
    const std::span<const Unit> units = GetUnits(type, rawBuffer);
    if (toMachine)
        UnitsToBigEndian(data, units);
    else
        UnitsToLittleEndian(data, units);
}

uint16 SwapBytes16(uint16 value) noexcept {
    return static_cast<uint16>((value >> 8) | (value << 8));
}

uint32 SwapBytes32(uint32 value) noexcept {
    return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

// The numbers of a native column description were copied from the wire as
// machine values; on a big-endian machine each is its wire value with the
// bytes reversed, in either direction.
void SwapLocalFieldDescriptor(XTSAPI_LocalFieldDescriptor& descriptor) noexcept {
    const auto swapCharacter = [](wchar_t& character) {
        character =
            static_cast<wchar_t>(static_cast<int16>(SwapBytes16(static_cast<uint16>(character))));
    };
    for (wchar_t& character : descriptor.name) swapCharacter(character);
    for (wchar_t& character : descriptor.aliasName) swapCharacter(character);
    descriptor.type = SwapBytes16(descriptor.type);
    descriptor.precision =
        static_cast<int16>(SwapBytes16(static_cast<uint16>(descriptor.precision)));
    descriptor.scale = static_cast<int16>(SwapBytes16(static_cast<uint16>(descriptor.scale)));
    descriptor.length = SwapBytes32(descriptor.length);
    descriptor.unicodeOverride =
        static_cast<int32>(SwapBytes32(static_cast<uint32>(descriptor.unicodeOverride)));
    descriptor.codePage = SwapBytes32(descriptor.codePage);
}

template <class Record>
unsigned char* BytesOf(Record& record) noexcept {
    return reinterpret_cast<unsigned char*>(&record);
}

}  // namespace

void SUDataMarshaller::ConvertToMachineFormat(unsigned char* data, XTDataType xtDataType,
                                              MachineType machineType) noexcept {
    ConvertValue(data, xtDataType, true, true, machineType);
}

void SUDataMarshaller::ConvertFromMachineFormat(unsigned char* data, XTDataType xtDataType,
                                                MachineType machineType) noexcept {
    ConvertValue(data, xtDataType, false, true, machineType);
}

void SUDataMarshaller::ConvertToMachineFormat(unsigned char* data,
                                              const unsigned char* nullIndicator,
                                              const XTFieldDescriptor& fieldDescriptor,
                                              MachineType machineType) noexcept {
    if (nullIndicator != nullptr && *nullIndicator != 0) return;
    ConvertValue(data, fieldDescriptor.GetXTDataType(), true, false, machineType);
}

void SUDataMarshaller::ConvertFromMachineFormat(unsigned char* data,
                                                const unsigned char* nullIndicator,
                                                const XTFieldDescriptor& fieldDescriptor,
                                                MachineType machineType) noexcept {
    if (nullIndicator != nullptr && *nullIndicator != 0) return;
    ConvertValue(data, fieldDescriptor.GetXTDataType(), false, false, machineType);
}

void SUDataMarshaller::ConvertToMachineFormat(XTSAPI_LocalFieldDescriptor& localFieldDescriptor,
                                              MachineType machineType) noexcept {
    if (machineType == kBigEndian) SwapLocalFieldDescriptor(localFieldDescriptor);
}

void SUDataMarshaller::ConvertFromMachineFormat(XTSAPI_LocalFieldDescriptor& localFieldDescriptor,
                                                MachineType machineType) noexcept {
    if (machineType == kBigEndian) SwapLocalFieldDescriptor(localFieldDescriptor);
}

void SUDataMarshaller::ConvertXTDateToBigEndian(XTDate& date) noexcept {
    UnitsToBigEndian(BytesOf(date), kDateUnits);
}

void SUDataMarshaller::ConvertXTTimeToBigEndian(XTTime& time) noexcept {
    UnitsToBigEndian(BytesOf(time), kTimeUnits);
}

void SUDataMarshaller::ConvertXTDateTimeToBigEndian(XTDateTime& dateTime) noexcept {
    UnitsToBigEndian(BytesOf(dateTime), kDateTimeUnits);
}

void SUDataMarshaller::ConvertXTDateToLittleEndian(XTDate& date) noexcept {
    UnitsToLittleEndian(BytesOf(date), kDateUnits);
}

void SUDataMarshaller::ConvertXTTimeToLittleEndian(XTTime& time) noexcept {
    UnitsToLittleEndian(BytesOf(time), kTimeUnits);
}

void SUDataMarshaller::ConvertXTDateTimeToLittleEndian(XTDateTime& dateTime) noexcept {
    UnitsToLittleEndian(BytesOf(dateTime), kDateTimeUnits);
}
