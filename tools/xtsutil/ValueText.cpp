#include "ValueText.h"

#include <charconv>
#include <cstring>
#include <cwchar>

#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGBaseStringUtil.h"
#include "Utility/Generic/SUGDateTimeMetaData.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"
#include "Utility/Generic/SUGTarvelNumber.h"
#include "Utility/Generic/SUGXTDateTime.h"

namespace xtsutil {
namespace {

XTString Widen(const std::string& text) {
    return SystemUtility::FromUtf8Lenient(text);
}
std::string Narrow(const XTString& text) {
    return SystemUtility::ToUtf8Lenient(text);
}

template <class T>
bool ParseNumber(const std::string& text, T& value) {
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') ++first;
    const auto result = std::from_chars(first, last, value);
    return result.ec == std::errc() && result.ptr == last;
}

// Copies `bytes` into the aligned storage of `value`.
void Store(SourceValue& value, const void* bytes, std::size_t size) {
    value.storage.assign((size + sizeof(unsigned int) - 1) / sizeof(unsigned int) + 1, 0);
    std::memcpy(value.storage.data(), bytes, size);
}

template <class T>
bool StoreNumber(const std::string& text, SourceValue& value, std::string& error) {
    T number{};
    if (!ParseNumber(text, number)) {
        error = "'" + text + "' is not a number of this type";
        return false;
    }
    Store(value, &number, sizeof number);
    value.length = sizeof number;
    return true;
}

bool StoreText(const ValueSide& side, const std::string& text, SourceValue& value) {
    const bool variable = SUXTDataTypeUtility::IsXTVarCharType(side.type) && !side.external;
    std::vector<unsigned char> bytes;
    unsigned int count = 0;
    if (side.wide) {
        const XTString wide = Widen(text);
        count = static_cast<unsigned int>(wide.size());
        bytes.resize(wide.size() * sizeof(wchar_t));
        std::memcpy(bytes.data(), wide.data(), bytes.size());
    } else {
        count = static_cast<unsigned int>(text.size());
        bytes.assign(text.begin(), text.end());
    }
    const std::size_t unit = side.wide ? sizeof(wchar_t) : 1;
    bytes.resize(bytes.size() + unit, 0);  // terminator
    if (variable)
        bytes.insert(bytes.begin(), reinterpret_cast<unsigned char*>(&count),
                     reinterpret_cast<unsigned char*>(&count) + sizeof count);
    Store(value, bytes.data(), bytes.size());
    value.length = count;
    return true;
}

bool StoreBinary(const ValueSide& side, const std::string& text, SourceValue& value,
                 std::string& error) {
    if (text.size() % 2 != 0) {
        error = "binary values are given as an even number of hexadecimal digits";
        return false;
    }
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned int byte = 0;
        const auto result = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
        if (result.ec != std::errc() || result.ptr != text.data() + i + 2) {
            error = "'" + text + "' is not hexadecimal";
            return false;
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    const auto count = static_cast<unsigned int>(bytes.size());
    if (side.type != XTBinaryData)
        bytes.insert(bytes.begin(), reinterpret_cast<const unsigned char*>(&count),
                     reinterpret_cast<const unsigned char*>(&count) + sizeof count);
    Store(value, bytes.data(), bytes.size());
    value.length = count;
    return true;
}

template <class Record>
bool StoreRecord(const DateTimeMetaData& format, const std::string& text, SourceValue& value,
                 std::string& error) {
    Record record{};
    try {
        format.Convert(Widen(text), record);
    } catch (const ErrorMessage& failure) {
        error = failure.what();
        return false;
    }
    Store(value, &record, sizeof record);
    value.length = sizeof record;
    return true;
}

std::string Quote(const std::string& text) {
    return "\"" + text + "\"";
}

std::string Hex(const unsigned char* data, std::size_t size) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t i = 0; i < size; ++i) {
        out += kDigits[data[i] >> 4];
        out += kDigits[data[i] & 15];
    }
    return out;
}

template <class T>
std::string Print(const unsigned char* data) {
    T value;
    std::memcpy(&value, data, sizeof value);
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string RenderText(const ValueSide& side, const unsigned char* data) {
    const bool variable = SUXTDataTypeUtility::IsXTVarCharType(side.type) && !side.external;
    unsigned int count = 0;
    if (variable) {
        std::memcpy(&count, data, sizeof count);
        data += sizeof count;
    }
    if (side.wide) {
        const auto* units = reinterpret_cast<const wchar_t*>(data);
        const std::size_t length = variable ? count : std::wcslen(units);
        return Quote(Narrow(XTString(units, length)));
    }
    const auto* bytes = reinterpret_cast<const char*>(data);
    return Quote(variable ? std::string(bytes, count) : std::string(bytes));
}

}  // namespace

bool ParseValueSide(const std::string& text, ValueSide& side, std::string& error) {
    side = ValueSide{};
    const std::size_t colon = text.find(':');
    const std::string name = text.substr(0, colon);
    side.type = SUXTDataTypeUtility::GetXTDataTypeFromSingleWordName(Widen(name));
    if (side.type == XTUnknown) {
        error = "unknown type '" + name + "' (see xtsutil types for the single-word names)";
        return false;
    }
    if (colon == std::string::npos) return true;
    std::vector<XTString> forms;
    BaseStringUtil::Tokenize(Widen(text.substr(colon + 1)), L",:", forms, true);
    for (const XTString& form : forms) {
        if (BaseStringUtil::EqualsNoCase(form, L"nullable"))
            side.nullable = true;
        else if (BaseStringUtil::EqualsNoCase(form, L"wide"))
            side.wide = true;
        else if (BaseStringUtil::EqualsNoCase(form, L"external"))
            side.external = true;
        else {
            error = "unknown form '" + Narrow(form) + "' (nullable, wide or external)";
            return false;
        }
    }
    return true;
}

std::string DescribeValueSide(const ValueSide& side) {
    XTString name;
    SUXTDataTypeUtility::GetSingleWordXTDataTypeName(side.type, name);
    std::string forms;
    for (const auto& [set, word] :
         {std::pair{side.nullable, "nullable"}, std::pair{side.wide, "wide"},
          std::pair{side.external, "external"}})
        if (set) forms += (forms.empty() ? "" : ", ") + std::string(word);
    return Narrow(name) + (forms.empty() ? "" : " (" + forms + ")");
}

bool BuildSourceValue(const ValueSide& side, const std::string& text, SourceValue& value,
                      std::string& error) {
    switch (side.type) {
        case XTBitData:
        case XTBoolean: {
            const XTString word = Widen(text);
            const bool set =
                BaseStringUtil::StringToBool(word) || BaseStringUtil::EqualsNoCase(word, L"T");
            const unsigned char byte = set ? 1 : 0;
            Store(value, &byte, 1);
            value.length = 1;
            return true;
        }
        case XTInt1Data: return StoreNumber<int8>(text, value, error);
        case XTUInt1Data: return StoreNumber<uint8>(text, value, error);
        case XTInt2Data: return StoreNumber<int16>(text, value, error);
        case XTUInt2Data: return StoreNumber<uint16>(text, value, error);
        case XTInt4Data: return StoreNumber<int32>(text, value, error);
        case XTUInt4Data: return StoreNumber<uint32>(text, value, error);
        case XTFloatData: return StoreNumber<float>(text, value, error);
        case XTDoubleData: return StoreNumber<double>(text, value, error);
        case XTNumericData: {
            TarvelNumber number;
            if (!TarvelNumber::TryParse(std::string_view(text), number)) {
                error = "'" + text + "' is not a decimal number";
                return false;
            }
            unsigned char image[TarvelNumber::kFieldLength] = {};
            number.ToBuffer(image);
            Store(value, image, sizeof image);
            value.length = static_cast<unsigned int>(number.GetByteVectorLength());
            return true;
        }
        case XTCharData:
        case XTVarCharData:
        case XTLongVarCharData: return StoreText(side, text, value);
        case XTBinaryData:
        case XTVarBinaryData:
        case XTLongVarBinaryData: return StoreBinary(side, text, value, error);
        case XTDateData:
            return StoreRecord<XTDate>(SUDataConvert::GetDefaultDateMetaData(), text, value, error);
        case XTTimeData:
            return StoreRecord<XTTime>(SUDataConvert::GetDefaultTimeMetaData(), text, value, error);
        case XTDateTimeData:
        case XTTimeStampData:
            return StoreRecord<XTDateTime>(SUDataConvert::GetDefaultDateTimeMetaData(), text, value,
                                           error);
        default: error = "values of this type cannot be given on the command line"; return false;
    }
}

unsigned int DefaultTargetLength(const ValueSide& side) {
    switch (side.type) {
        case XTCharData:
        case XTVarCharData:
        case XTLongVarCharData:
        case XTBinaryData:
        case XTVarBinaryData:
        case XTLongVarBinaryData: return 64;
        case XTNumericData: return TarvelNumber::kFieldLength;
        case XTDateData: return sizeof(XTDate);
        case XTTimeData: return sizeof(XTTime);
        case XTDateTimeData:
        case XTTimeStampData: return sizeof(XTDateTime);
        case XTDoubleData: return 8;
        case XTInt2Data:
        case XTUInt2Data: return 2;
        case XTInt4Data:
        case XTUInt4Data:
        case XTFloatData: return 4;
        default: return 1;
    }
}

std::string RenderTargetValue(const ValueSide& side, const unsigned char* data,
                              unsigned long long returnLength) {
    switch (side.type) {
        case XTBitData:
        case XTBoolean:
        case XTUInt1Data: return Print<uint8>(data);
        case XTInt1Data: return Print<int8>(data);
        case XTInt2Data: return Print<int16>(data);
        case XTUInt2Data: return Print<uint16>(data);
        case XTInt4Data: return Print<int32>(data);
        case XTUInt4Data: return Print<uint32>(data);
        case XTFloatData: return Print<float>(data);
        case XTDoubleData: return Print<double>(data);
        case XTNumericData: {
            TarvelNumber number;
            number.FromByteVector(data);
            return number.ToNString();
        }
        case XTCharData:
        case XTVarCharData:
        case XTLongVarCharData: return RenderText(side, data);
        case XTBinaryData: return Hex(data, returnLength);
        case XTVarBinaryData:
        case XTLongVarBinaryData: {
            unsigned int count = 0;
            std::memcpy(&count, data, sizeof count);
            return Hex(data + sizeof count, count);
        }
        case XTDateData: {
            XTDate date;
            std::memcpy(&date, data, sizeof date);
            return Narrow(date.ToString());
        }
        case XTTimeData: {
            XTTime time;
            std::memcpy(&time, data, sizeof time);
            return Narrow(time.ToString());
        }
        case XTDateTimeData:
        case XTTimeStampData: {
            XTDateTime dateTime;
            std::memcpy(&dateTime, data, sizeof dateTime);
            return Narrow(dateTime.ToString());
        }
        default: return "?";
    }
}

}  // namespace xtsutil
