// Helpers for the date and time converter tests: the sample value, the
// converters of the family classified by source and target side, sources laid
// out as each text word reads them, and error capture.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "CharacterTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace xts::test {

inline const XTDate kDate{2024, 3, 5};
inline const XTTime kTime{12, 30, 45, 0, 123456789};
inline const XTDateTime kDateTime{2024, 3, 5, 12, 30, 45, 123456789};
inline const std::wstring kDateText = L"2024/03/05";
inline const std::wstring kTimeText = L"12:30:45.123456789";
inline const std::wstring kDateTimeText = L"2024/03/05 12:30:45.123456789";
inline const XTString kDateFormat = L"yyyy/mm/dd";
inline const XTString kTimeFormat = L"hh:mi:ss.fffffffff";
inline const XTString kDateTimeFormat = L"yyyy/mm/dd hh:mi:ss.fffffffff";

template <class T>
inline std::vector<unsigned char> Bytes(const T& value) {
    std::vector<unsigned char> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

inline std::vector<unsigned char> BytesAt(const GuardedBuffer& buffer, std::size_t count) {
    return std::vector<unsigned char>(buffer.data(), buffer.data() + count);
}

inline DataConvertParams NarrowParams(int32 code) {
    DataConvertParams params;
    params.charDataFromDataCode = code;
    params.charDataToDataCode = code;
    return params;
}

template <class F>
inline std::optional<ErrorMessage> ErrorOf(F&& call) {
    try {
        call();
    } catch (const ErrorMessage& error) {
        return error;
    }
    return std::nullopt;
}

// ---------------------------------------------------------------------------
// The family, classified by source and target.

// A side of a converter of the family. TimeStamp uses the DateTime record.
enum class Side { kDate, kTime, kDateTime, kChar, kXTChar, kVarXTChar, kExternalChar };

inline bool IsRecord(Side side) {
    return side == Side::kDate || side == Side::kTime || side == Side::kDateTime;
}

inline std::optional<Side> SideOfWord(std::string_view word) {
    if (word == "Date") return Side::kDate;
    if (word == "Time") return Side::kTime;
    if (word == "DateTime" || word == "TimeStamp") return Side::kDateTime;
    if (word == "Char") return Side::kChar;
    if (word == "XTChar") return Side::kXTChar;
    if (word == "VarXTChar") return Side::kVarXTChar;
    if (word == "ExternalChar") return Side::kExternalChar;
    return std::nullopt;
}

inline uint32 RecordSize(Side side) {
    return side == Side::kDate ? 6 : side == Side::kTime ? 12 : 16;
}

inline std::vector<unsigned char> SampleRecord(Side side) {
    return side == Side::kDate   ? Bytes(kDate)
           : side == Side::kTime ? Bytes(kTime)
                                 : Bytes(kDateTime);
}

inline const std::wstring& SampleText(Side recordSide) {
    return recordSide == Side::kDate   ? kDateText
           : recordSide == Side::kTime ? kTimeText
                                       : kDateTimeText;
}

inline const XTString& DefaultFormatOf(Side recordSide) {
    return recordSide == Side::kDate   ? kDateFormat
           : recordSide == Side::kTime ? kTimeFormat
                                       : kDateTimeFormat;
}

// Text laid out as the source word `side` reads it.
inline SourceBuffer TextSource(Side side, std::wstring_view text) {
    switch (side) {
        case Side::kChar:
            return SourceBuffer::Narrow(TextShape::kFixed, Utf8(text));
        case Side::kXTChar:
            return SourceBuffer::Wide(TextShape::kFixed, text);
        case Side::kVarXTChar:
            return SourceBuffer::Wide(TextShape::kVariable, text);
        default:
            return SourceBuffer::Narrow(TextShape::kExternal, Utf8(text));
    }
}

inline SourceBuffer RecordSource(const std::vector<unsigned char>& bytes) {
    return SourceBuffer::Raw(bytes.data(), bytes.size(), static_cast<uint32>(bytes.size()));
}

struct FamilyMember {
    std::string name;
    DataConvert_t function = nullptr;
    Side source = Side::kDate;
    Side target = Side::kDate;
    XTConverterForm form = XTConverterForm::kPlain;
};

inline void PrintTo(const FamilyMember& member, std::ostream* out) {
    *out << member.name;
}

// Every converter whose source or target word is a date or time word.
inline std::vector<FamilyMember> Family() {
    std::vector<FamilyMember> members;
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        const std::optional<Side> source = SideOfWord(info.sourceWord);
        const std::optional<Side> target = SideOfWord(info.targetWord);
        if (!source || !target || (!IsRecord(*source) && !IsRecord(*target))) continue;
        members.push_back({info.name, info.function, *source, *target, info.form});
    }
    return members;
}

template <class Keep>
inline std::vector<FamilyMember> FamilyWhere(Keep keep) {
    std::vector<FamilyMember> kept;
    for (const FamilyMember& member : Family())
        if (keep(member)) kept.push_back(member);
    return kept;
}

// Bytes a text target may receive for `toLength` (non-null results).
inline std::size_t TextExtent(Side target, uint32 toLength) {
    return target == Side::kXTChar ? 4 * (std::size_t{toLength} + 1) : toLength;
}

inline SourceBuffer SampleSource(const FamilyMember& member) {
    return IsRecord(member.source) ? RecordSource(SampleRecord(member.source))
                                   : TextSource(member.source, SampleText(member.target));
}

// What the sample source gives in a record target.
inline std::vector<unsigned char> ExpectedRecord(Side source, Side target) {
    if (!IsRecord(source) || source == target) return SampleRecord(target);
    if (source == Side::kDate) return Bytes(XTDateTime{2024, 3, 5, 0, 0, 0, 0});
    if (source == Side::kTime) return Bytes(XTDateTime{1900, 1, 1, 12, 30, 45, 123456789});
    return SampleRecord(target);  // DateTime into Date or Time keeps that part
}

// The converter of the family called `name`.
inline FamilyMember MemberNamed(std::string_view name) {
    for (const FamilyMember& member : Family())
        if (member.name == name) return member;
    ADD_FAILURE() << "no converter " << name;
    return {};
}

}  // namespace xts::test
