// A model of the converter registry's served descriptions, written from the
// rules of the table rather than from the registry's own code: per source,
// the targets served, the nullability restrictions, and the converter chosen
// by the naming rule and its exceptions; also the description key layout and
// the one list of converter names, expanded on its own.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "Utility/Client/SUCDataConvert.h"

namespace xts::test::registry {

// ---------------------------------------------------------------------------
// Converter families, by the words of their sources and targets.

enum Family : unsigned {
    kNumberFamily = 1u << 0,     // Bit, Boolean, integers, floating, Numeric
    kCharacterFamily = 1u << 1,  // text, external buffers and binary values
    kDateTimeFamily = 1u << 2,   // Date, Time, DateTime, TimeStamp to and from anything
};
constexpr unsigned kAllFamilies = kNumberFamily | kCharacterFamily | kDateTimeFamily;

// ---------------------------------------------------------------------------
// The model: one side of a description after the key has folded its flags.

// clang-format off
enum class Side {
    Bit, Boolean, Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double, Numeric,
    CharN, CharW, VarCharN, VarCharW, LongVarCharN, LongVarCharW,
    ExtN, ExtW,  // the client's character buffer, narrow or wide
    Binary, VarBinary, LongVarBinary,
    Date, Time, DateTime, TimeStamp,
    None,  // a type without converters, XTUnknown, XTMaxType or no type at all
};
// clang-format on

inline bool IsNumberSide(Side side) {
    return side >= Side::Bit && side <= Side::Numeric;
}
inline bool IsDateTimeSide(Side side) {
    return side >= Side::Date && side <= Side::TimeStamp;
}
inline bool IsWideText(Side side) {
    return side == Side::CharW || side == Side::VarCharW || side == Side::LongVarCharW;
}
inline bool IsNarrowText(Side side) {
    return side == Side::CharN || side == Side::VarCharN || side == Side::LongVarCharN;
}

// The side a description stands for: the wide flag counts for text only, the
// external flag turns any text type into the client's buffer and means
// nothing for other types.
inline Side SideOf(XTDataType type, bool wide, bool external) {
    const auto text = [&](Side narrow, Side wideSide) {
        if (external) return wide ? Side::ExtW : Side::ExtN;
        return wide ? wideSide : narrow;
    };
    switch (type) {
        case XTBitData:
            return Side::Bit;
        case XTCharData:
            return text(Side::CharN, Side::CharW);
        case XTVarCharData:
            return text(Side::VarCharN, Side::VarCharW);
        case XTLongVarCharData:
            return text(Side::LongVarCharN, Side::LongVarCharW);
        case XTBinaryData:
            return Side::Binary;
        case XTVarBinaryData:
            return Side::VarBinary;
        case XTLongVarBinaryData:
            return Side::LongVarBinary;
        case XTInt1Data:
            return Side::Int1;
        case XTUInt1Data:
            return Side::UInt1;
        case XTInt2Data:
            return Side::Int2;
        case XTUInt2Data:
            return Side::UInt2;
        case XTInt4Data:
            return Side::Int4;
        case XTUInt4Data:
            return Side::UInt4;
        case XTFloatData:
            return Side::Float;
        case XTDoubleData:
            return Side::Double;
        case XTNumericData:
            return Side::Numeric;
        case XTDateData:
            return Side::Date;
        case XTTimeData:
            return Side::Time;
        case XTDateTimeData:
            return Side::DateTime;
        case XTTimeStampData:
            return Side::TimeStamp;
        case XTBoolean:
            return Side::Boolean;
        default:
            return Side::None;
    }
}

// The family of a pair; 0 for pairs that no family will ever serve.
inline unsigned FamilyOf(Side source, Side target) {
    if (source == Side::None || target == Side::None) return 0;
    if (IsNumberSide(source) && IsNumberSide(target)) return kNumberFamily;
    if (IsDateTimeSide(source) || IsDateTimeSide(target)) return kDateTimeFamily;
    return kCharacterFamily;
}
// Per source, the targets that have a converter.
inline const std::map<Side, std::vector<Side>>& ServedTargets() {
    using enum Side;
    static const std::map<Side, std::vector<Side>> table = [] {
        const std::vector<Side> fixedNumbers = {Bit,   Boolean, Int1,  UInt1, Int2,
                                                UInt2, Int4,    UInt4, Float, Double};
        const std::vector<Side> allText = {CharN,    CharW,        VarCharN,
                                           VarCharW, LongVarCharN, LongVarCharW};
        const auto join = [](std::initializer_list<std::vector<Side>> parts) {
            std::vector<Side> all;
            for (const auto& part : parts)
                all.insert(all.end(), part.begin(), part.end());
            return all;
        };
        std::map<Side, std::vector<Side>> served;
        for (Side s : {Bit, Boolean})
            served[s] = join({fixedNumbers, {CharN, CharW, VarCharW, ExtN}});
        for (Side s : {Int1, Int2, UInt2, Int4, UInt4})
            served[s] = join({fixedNumbers, {Numeric, CharN, CharW, VarCharW, ExtN}});
        for (Side s : {UInt1, Float})
            served[s] = join({fixedNumbers, {Numeric, CharN, CharW, ExtN}});
        served[Double] = join({served[Int1], {VarCharN}});
        served[Numeric] = join({fixedNumbers, {Numeric, CharW, VarCharW}});
        for (Side s : {CharN, CharW, VarCharW})
            served[s] = join({fixedNumbers, allText, {ExtN, Date, Time, DateTime}});
        served[VarCharN] = {Int2, VarCharW, LongVarCharN, LongVarCharW, ExtN};
        served[LongVarCharN] = {LongVarCharN, LongVarCharW, ExtN};
        served[LongVarCharW] = join({allText, {ExtN}});
        for (Side s : {ExtN, ExtW})
            served[s] = join({fixedNumbers, {Numeric}, allText, {Date, Time, DateTime}});
        served[Binary] = {Binary, VarBinary, LongVarBinary};
        served[VarBinary] = {VarBinary, LongVarBinary};
        served[LongVarBinary] = {LongVarBinary};
        served[Date] = {CharN, CharW, ExtN, Date, DateTime, TimeStamp};
        served[Time] = {CharN, CharW, ExtN, Time, DateTime, TimeStamp};
        for (Side s : {DateTime, TimeStamp})
            served[s] = {CharN, CharW, ExtN, Date, Time, DateTime, TimeStamp};
        return served;
    }();
    return table;
}

inline bool IsServedPair(Side source, Side target) {
    const auto row = ServedTargets().find(source);
    return row != ServedTargets().end() &&
           std::find(row->second.begin(), row->second.end(), target) != row->second.end();
}

// Which nullability combinations a served pair has.
inline bool IsServedNullability(Side source, bool sourceNullable, Side target,
                                bool targetNullable) {
    if (target == Side::ExtN || source == Side::ExtW) return sourceNullable == targetNullable;
    if (source == Side::ExtN && target == Side::Numeric) return sourceNullable;
    if (source == Side::VarCharN && (target == Side::Int2 || target == Side::LongVarCharW))
        return sourceNullable && targetNullable;
    return true;
}

inline const char* WordOf(Side side) {
    static const char* const kWords[] = {
        "Bit",           "Boolean",       "Int8",          "UnsignedInt8", "Int16",
        "UnsignedInt16", "Int32",         "UnsignedInt32", "Float32",      "Float64",
        "Numeric",       "Char",          "XTChar",        "VarChar",      "VarXTChar",
        "LongVarChar",   "LongVarXTChar", "(external)",    "(external)",   "Binary",
        "VarBinary",     "LongVarBinary", "Date",          "Time",         "DateTime",
        "TimeStamp",
    };
    return kWords[static_cast<int>(side)];
}

inline std::string ComposeName(const std::string& sourceWord, XTConverterForm form,
                               const std::string& targetWord) {
    return "Convert" + sourceWord + (form == XTConverterForm::kPlain ? "" : "Nullable") + "To" +
           targetWord + (form == XTConverterForm::kNullableToNullable ? "Nullable" : "");
}

// The converter that serves a folded description, or nothing.
inline std::optional<std::string> ExpectedConverter(Side source, bool sourceNullable, Side target,
                                                    bool targetNullable) {
    if (!IsServedPair(source, target) ||
        !IsServedNullability(source, sourceNullable, target, targetNullable))
        return std::nullopt;
    const XTConverterForm form = !sourceNullable  ? XTConverterForm::kPlain
                                 : targetNullable ? XTConverterForm::kNullableToNullable
                                                  : XTConverterForm::kNullableToPlain;
    std::string sourceWord = WordOf(source);
    std::string targetWord = WordOf(target);

    // TimeStamp targets take the DateTime-target converters; a TimeStamp
    // source takes the DateTime-source ones except toward TimeStamp and Ext.
    if (target == Side::TimeStamp) targetWord = "DateTime";
    if (source == Side::TimeStamp && target != Side::TimeStamp && target != Side::ExtN)
        sourceWord = "DateTime";

    if (source == Side::ExtN) {
        sourceWord = IsWideText(target) ? "ExternalVarChar" : "Char";
        if (target == Side::Numeric && form == XTConverterForm::kNullableToPlain)
            sourceWord = "ExternalVarChar";
    }
    if (source == Side::ExtW) {
        if (IsWideText(target))
            sourceWord = "ExternalVarXTChar";
        else if (IsNarrowText(target) || target == Side::Numeric || IsDateTimeSide(target))
            sourceWord = "ExternalChar";
        else
            sourceWord = "Char";
        if (target == Side::VarCharN || target == Side::LongVarCharN) targetWord = "VarChar";
    }
    // Nullable to nullable LongVarChar W from a narrow variable or external
    // source takes the VarXTChar-target converter.
    if (target == Side::LongVarCharW && form == XTConverterForm::kNullableToNullable &&
        (source == Side::VarCharN || source == Side::ExtN || source == Side::ExtW))
        targetWord = "VarXTChar";

    // The client's buffer as a target: the narrow Char converters, except
    // from DateTime and TimeStamp, which have their own.
    if (target == Side::ExtN) {
        targetWord =
            (source == Side::DateTime || source == Side::TimeStamp) ? "ExternalChar" : "Char";
    }
    return ComposeName(sourceWord, form, targetWord);
}

// The key of a description, from the layout: source type, source flags,
// target type, target flags; flags 1 nullable, 2 wide (text only),
// 4 external (text only, the type byte then that of CHAR).
inline uint32 ModelKeyHalf(int32 type, bool nullable, bool wide, bool external) {
    const bool text = type >= XTCharData && type <= XTLongVarCharData;
    uint32 half = external && text ? 0x0104u : static_cast<uint32>(type) << 8;
    if (nullable) half |= 1u;
    if (wide && text) half |= 2u;
    return half;
}

// Every converter name of the one list, expanded here on its own.
inline const std::vector<std::string>& ListedNames() {
    static const std::vector<std::string> names = {
#define XT_NAME(name) #name,
#define XT_NAME_P(S, D) XT_NAME(Convert##S##To##D)
#define XT_NAME_NP(S, D) XT_NAME(Convert##S##NullableTo##D)
#define XT_NAME_NN(S, D) XT_NAME(Convert##S##NullableTo##D##Nullable)
#define XT_NAME_3(S, D) XT_NAME_P(S, D) XT_NAME_NP(S, D) XT_NAME_NN(S, D)
#define XT_NAME_2(S, D) XT_NAME_P(S, D) XT_NAME_NN(S, D)
        XT_ALL_CONVERTERS(XT_NAME_3, XT_NAME_2, XT_NAME_P, XT_NAME_NP, XT_NAME_NN)
#undef XT_NAME_2
#undef XT_NAME_3
#undef XT_NAME_NN
#undef XT_NAME_NP
#undef XT_NAME_P
#undef XT_NAME
    };
    return names;
}

// The words a converter name is made of.
inline const char kWordPattern[] =
    "(Bit|Boolean|Int8|UnsignedInt8|Int16|UnsignedInt16|Int32|UnsignedInt32|Float32|Float64|"
    "Numeric|Char|XTChar|VarChar|VarXTChar|LongVarChar|LongVarXTChar|ExternalChar|"
    "ExternalVarChar|ExternalVarXTChar|Binary|VarBinary|LongVarBinary|Date|Time|DateTime|"
    "TimeStamp)";

struct ParsedName {
    std::string sourceWord;
    std::string targetWord;
    XTConverterForm form;
};
inline std::optional<ParsedName> ParseName(const std::string& name) {
    static const std::regex pattern(std::string("^Convert") + kWordPattern + "(Nullable)?To" +
                                    kWordPattern + "(Nullable)?$");
    std::smatch match;
    if (!std::regex_match(name, match, pattern)) return std::nullopt;
    if (match[4].matched && !match[2].matched) return std::nullopt;  // no such form
    const XTConverterForm form = !match[2].matched  ? XTConverterForm::kPlain
                                 : match[4].matched ? XTConverterForm::kNullableToNullable
                                                    : XTConverterForm::kNullableToPlain;
    return ParsedName{match[1], match[3], form};
}

// The family of a converter, from its words.
inline unsigned FamilyOfWords(const std::string& source, const std::string& target) {
    static const std::set<std::string> numbers = {
        "Bit",   "Boolean",       "Int8",    "UnsignedInt8", "Int16",  "UnsignedInt16",
        "Int32", "UnsignedInt32", "Float32", "Float64",      "Numeric"};
    static const std::set<std::string> dateTimes = {"Date", "Time", "DateTime", "TimeStamp"};
    if (numbers.contains(source) && numbers.contains(target)) return kNumberFamily;
    if (dateTimes.contains(source) || dateTimes.contains(target)) return kDateTimeFamily;
    return kCharacterFamily;
}

// Own names of the converters the library has, by function.
struct ModelRow {
    Side source;
    bool sourceNullable;
    Side target;
    bool targetNullable;
    std::string name;
};
inline const std::vector<ModelRow>& ModelRows() {
    static const std::vector<ModelRow> rows = [] {
        std::vector<ModelRow> all;
        for (int s = 0; s < static_cast<int>(Side::None); ++s)
            for (int t = 0; t < static_cast<int>(Side::None); ++t)
                for (const bool sourceNullable : {false, true})
                    for (const bool targetNullable : {false, true}) {
                        const auto source = static_cast<Side>(s);
                        const auto target = static_cast<Side>(t);
                        if (auto name =
                                ExpectedConverter(source, sourceNullable, target, targetNullable))
                            all.push_back({source, sourceNullable, target, targetNullable, *name});
                    }
        return all;
    }();
    return rows;
}

}  // namespace xts::test::registry
