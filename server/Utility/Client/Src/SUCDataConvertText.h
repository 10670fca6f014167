// Internal: reading text sources and writing text targets for the character
// and date/time converters.
//
// Layouts in a record (toLength counts units of the target, bytes or wide
// characters, and includes one terminator):
//   Char            toLength bytes: text, blanks to toLength - 1, NUL
//   XTChar          toLength wide units: text, blanks to toLength - 1, zero unit
//   VarChar         4-byte count, then the bytes, then NUL (count <= toLength - 1)
//   VarXTChar       4-byte count, then the units, then a zero unit
//   External*       the client's buffer, fromLength units as given
// Wide units are 32-bit wchar_t, or 16-bit units widened one by one when the
// parameters say so; wide buffers are aligned to 4 bytes, as records lay them
// out.
#pragma once

#include <cstring>
#include <cwchar>

#include "SUCDataConvertCore.h"
#include "Utility/Generic/Portable/SUPAutobuffer.h"

namespace xts::convert {

// ---- Word properties ----

enum class TextLayout { kFixed, kVariable, kExternal };

template <class Word>
inline constexpr bool kIsTextWord = false;
template <class Word>
inline constexpr TextLayout kTextLayout = TextLayout::kFixed;
template <class Word>
inline constexpr bool kIsWideWord = false;

#define XT_TEXT_WORD(name, layout, wide)                                      \
    template <>                                                               \
    inline constexpr bool kIsTextWord<word::name> = true;                     \
    template <>                                                               \
    inline constexpr TextLayout kTextLayout<word::name> = TextLayout::layout; \
    template <>                                                               \
    inline constexpr bool kIsWideWord<word::name> = wide;
XT_TEXT_WORD(Char, kFixed, false)
XT_TEXT_WORD(XTChar, kFixed, true)
XT_TEXT_WORD(VarChar, kVariable, false)
XT_TEXT_WORD(VarXTChar, kVariable, true)
XT_TEXT_WORD(LongVarChar, kVariable, false)
XT_TEXT_WORD(LongVarXTChar, kVariable, true)
XT_TEXT_WORD(ExternalChar, kExternal, false)
XT_TEXT_WORD(ExternalVarChar, kExternal, false)
XT_TEXT_WORD(ExternalVarXTChar, kExternal, true)
#undef XT_TEXT_WORD

template <class Word>
concept TextWord = kIsTextWord<Word>;

// How trailing characters of a source are trimmed into a variable target.
enum class TrimRule {
    kBlanks,              // trailing blanks (U+0020)
    kSpacesBeforeLineEnd  // trailing white space; a final CR or LF is kept and shields it
};

template <class Word>
inline constexpr TrimRule kTrimRule =
    std::is_same_v<Word, word::ExternalVarChar> || std::is_same_v<Word, word::ExternalVarXTChar>
        ? TrimRule::kSpacesBeforeLineEnd
        : TrimRule::kBlanks;

// ---- Source text ----

// A source text: either narrow bytes in a code page or 32-bit wide units.
struct SourceText {
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
    uint32 length = 0;
    bool isNull = false;  // the client gave no buffer at all

    bool IsWide() const noexcept { return wide != nullptr; }
    bool IsEmpty() const noexcept { return length == 0; }
};

// Scratch room for widening 16-bit units.
using WideScratch = AutoBuffer<wchar_t, 512>;

// The code page of a narrow code: 0 (the default) for kCharDataNarrowCode,
// 65001 for kCharDataNarrowUTF8Code. Any other code is a defect of the caller.
unsigned XlateNarrowDataCodeToCP(int32 code);

// Whether the source of `call` holds wide characters: always for the wide
// words, and for the narrow words when the parameters say the buffer is wide.
template <class Word>
bool IsWideSource(const DataConvertParams& params) noexcept {
    return kIsWideWord<Word> || params.charDataFromDataCode == kCharDataUniCode ||
           params.charDataFromDataCode == kCharDataUTF16;
}

template <class Unit>
uint32 LengthToTerminator(const Unit* text, uint32 length) noexcept {
    if constexpr (std::is_same_v<Unit, char>) {
        const void* end = std::memchr(text, 0, length);
        return end ? static_cast<uint32>(static_cast<const char*>(end) - text) : length;
    } else if constexpr (std::is_same_v<Unit, wchar_t>) {
        const wchar_t* end = std::wmemchr(text, 0, length);
        return end ? static_cast<uint32>(end - text) : length;
    } else {
        uint32 n = 0;
        while (n < length && text[n] != 0) ++n;
        return n;
    }
}

// Reads the source text of `call` by the layout of `Word`. Fixed texts end at
// their first terminator; variable texts hold `fromLength` units after the
// count; the client's buffers hold `fromLength` units as given. 16-bit units
// are widened into `scratch`.
template <class Word>
SourceText ReadSource(const ConvertCall& call, WideScratch& scratch) {
    SourceText text;
    if (call.from == nullptr) {
        text.isNull = true;
        return text;
    }
    const unsigned char* data =
        kTextLayout<Word> == TextLayout::kVariable ? call.from + sizeof(uint32) : call.from;
    const DataConvertParams& params = call.params;
    if (!IsWideSource<Word>(params)) {
        const auto* bytes = reinterpret_cast<const char*>(data);
        text.narrow = bytes;
        text.length = kTextLayout<Word> == TextLayout::kFixed
                          ? LengthToTerminator(bytes, call.fromLength)
                          : call.fromLength;
        return text;
    }
    if (params.bTwoByteToFourByte || params.charDataFromDataCode == kCharDataUTF16) {
        const auto* units = reinterpret_cast<const UTF16Char*>(data);
        const uint32 length = kTextLayout<Word> == TextLayout::kFixed
                                  ? LengthToTerminator(units, call.fromLength)
                                  : call.fromLength;
        scratch.Resize(length == 0 ? 1 : length, false);
        for (uint32 i = 0; i < length; ++i) scratch.Get()[i] = static_cast<wchar_t>(units[i]);
        text.wide = scratch.Get();
        text.length = length;
        return text;
    }
    text.wide = reinterpret_cast<const wchar_t*>(data);
    text.length = kTextLayout<Word> == TextLayout::kFixed
                      ? LengthToTerminator(text.wide, call.fromLength)
                      : call.fromLength;
    return text;
}

// Drops trailing characters by `rule`.
template <class Unit>
uint32 TrimmedLength(const Unit* text, uint32 length, TrimRule rule) noexcept {
    if (rule == TrimRule::kBlanks) {
        while (length > 0 && text[length - 1] == ' ') --length;
        return length;
    }
    while (length > 0) {
        const Unit c = text[length - 1];
        if (c != ' ' && c != '\t' && c != '\v' && c != '\f') break;
        --length;
    }
    return length;
}

inline SourceText Trimmed(SourceText text, TrimRule rule) noexcept {
    text.length = text.IsWide() ? TrimmedLength(text.wide, text.length, rule)
                                : TrimmedLength(text.narrow, text.length, rule);
    return text;
}

// ---- Transcoding ----

// Narrow text between narrow codes: copied when the codes are equal, else
// decoded through a wide scratch (512 units inline) and encoded. Returns the
// bytes written, the capacity when the destination filled up, 0 on invalid
// input. `isByteCount` false means `length` counts characters, which take up
// to three bytes each in UTF-8.
int32 HeteroNarrowCharConvert(const DataConvertParams& params, const char* source, uint32 length,
                              bool isByteCount, char* destination, uint32 capacity);

// Wide text into narrow text of the target code, cut at a byte boundary when
// it does not fit. Returns the bytes written (the capacity when full, 0 on
// invalid input).
int32 XTCharToChar(const DataConvertParams& params, const wchar_t* source, uint32 length,
                   char* destination, uint32 capacity);
int32 XTCharToChar(const DataConvertParams& params, const wchar_t* source, char* destination,
                   uint32 capacity);

// Any source text into narrow text of the target code, at most `capacity` bytes.
uint32 TranscodeToNarrow(const DataConvertParams& params, const SourceText& text, char* destination,
                         uint32 capacity);
// Any source text into wide units, at most `capacity` units.
uint32 TranscodeToWide(const DataConvertParams& params, const SourceText& text,
                       wchar_t* destination, uint32 capacity);

// ---- Targets ----

inline void StoreCount(unsigned char* to, uint32 count) noexcept {
    Store(to, count);
}

inline wchar_t* WideTarget(unsigned char* p) noexcept {
    return reinterpret_cast<wchar_t*>(p);
}

inline void FillWide(wchar_t* p, wchar_t c, uint32 count) noexcept {
    for (uint32 i = 0; i < count; ++i) p[i] = c;
}

// A target too small for any text: an empty text marked null.
inline void TooSmallFixed(ConvertCall& call, bool wide) noexcept {
    if (call.toLength == 1) {
        if (wide)
            WideTarget(call.to)[0] = 0;
        else
            call.to[0] = 0;
    }
    call.toIsNull = 1;
    call.returnLength = 0;
}

inline void EmptyVariable(ConvertCall& call, bool wide) noexcept {
    StoreCount(call.to, 0);
    if (call.toLength >= 1) {
        if (wide)
            WideTarget(call.to + sizeof(uint32))[0] = 0;
        else
            call.to[sizeof(uint32)] = 0;
    }
}

// A null into a narrow Char: with a UTF-8 target code, toLength x 3 - 3
// blanks (the room a UTF-8 column reserves) and a NUL; otherwise an empty
// text. Marked null, length toLength.
void NullIntoNarrowChar(ConvertCall& call);
// A null into a wide XTChar: blanks up to toLength - 1, a zero unit, marked
// null, length toLength.
void NullIntoWideChar(ConvertCall& call);
// A null into a variable text: count 0 and a terminator, marked null, length 0.
void NullIntoVariable(ConvertCall& call, bool wide);

// Writes `text` into the target by the layout of `Target`, with the padding,
// trimming, capping and lengths of that layout.
template <class Target>
void WriteText(ConvertCall& call, const SourceText& text, TrimRule trim);

}  // namespace xts::convert
