// Transcoding and target writing shared by the character and date/time
// converters.
#include "SUCDataConvertText.h"

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace xts::convert {

unsigned XlateNarrowDataCodeToCP(int32 code) {
    if (code == kCharDataNarrowCode) return SystemUtility::kDefaultCodePage;
    if (code == kCharDataNarrowUTF8Code) return SystemUtility::kUTF8CodePage;
    XTLogicError("narrow character code other than 0 or 2");
}

int32 HeteroNarrowCharConvert(const DataConvertParams& params, const char* source, uint32 length,
                              bool isByteCount, char* destination, uint32 capacity) {
    if (params.charDataToDataCode == params.charDataFromDataCode) {
        const uint32 count = length < capacity ? length : capacity;
        std::memcpy(destination, source, count);
        return static_cast<int32>(count);
    }
    if (length == 0) return 0;
    uint32 working = length;
    if (!isByteCount && params.charDataFromDataCode == kCharDataNarrowUTF8Code)
        working = length * 3;
    AutoBuffer<wchar_t, 512> wide(working);
    const int decoded = SystemUtility::MultiByteToWideChar(
        source, static_cast<int>(length), wide.Get(), static_cast<int>(working),
        XlateNarrowDataCodeToCP(params.charDataFromDataCode));
    if (decoded <= 0) return 0;
    const int encoded = SystemUtility::WideCharToMultiByte(
        wide.Get(), decoded, destination, static_cast<int>(capacity),
        XlateNarrowDataCodeToCP(params.charDataToDataCode));
    if (encoded == 0) return static_cast<int32>(capacity);
    return encoded < 0 ? 0 : encoded;
}

int32 XTCharToChar(const DataConvertParams& params, const wchar_t* source, uint32 length,
                   char* destination, uint32 capacity) {
    if (destination == nullptr || length == 0) return 0;
    // The transcoder fills a destination that is too small with exactly the
    // first `capacity` bytes of the whole text, cut at a byte boundary.
    const int written = SystemUtility::WideCharToMultiByte(
        source, static_cast<int>(length), destination, static_cast<int>(capacity),
        XlateNarrowDataCodeToCP(params.charDataToDataCode));
    if (written == 0) return static_cast<int32>(capacity);
    return written < 0 ? 0 : written;
}

int32 XTCharToChar(const DataConvertParams& params, const wchar_t* source, char* destination,
                   uint32 capacity) {
    return XTCharToChar(params, source, static_cast<uint32>(std::wcslen(source)), destination,
                        capacity);
}

uint32 TranscodeToNarrow(const DataConvertParams& params, const SourceText& text, char* destination,
                         uint32 capacity) {
    if (capacity == 0 || text.length == 0) return 0;
    const int32 written = text.IsWide()
                              ? XTCharToChar(params, text.wide, text.length, destination, capacity)
                              : HeteroNarrowCharConvert(params, text.narrow, text.length, true,
                                                        destination, capacity);
    return static_cast<uint32>(written);
}

uint32 TranscodeToWide(const DataConvertParams& params, const SourceText& text,
                       wchar_t* destination, uint32 capacity) {
    if (capacity == 0 || text.length == 0) return 0;
    if (text.IsWide()) {
        const uint32 count = text.length < capacity ? text.length : capacity;
        std::memcpy(destination, text.wide, count * sizeof(wchar_t));
        return count;
    }
    const int written = SystemUtility::MultiByteToWideChar(
        text.narrow, static_cast<int>(text.length), destination, static_cast<int>(capacity),
        XlateNarrowDataCodeToCP(params.charDataFromDataCode));
    if (written == 0) return capacity;
    return written < 0 ? 0 : static_cast<uint32>(written);
}

void NullIntoNarrowChar(ConvertCall& call) {
    if (call.toLength >= 1) {
        uint32 blanks = 0;
        if (call.params.charDataToDataCode == kCharDataNarrowUTF8Code)
            blanks = call.toLength * 3 - 3;
        std::memset(call.to, ' ', blanks);
        call.to[blanks] = 0;
    }
    call.toIsNull = 1;
    call.returnLength = call.toLength;
}

void NullIntoWideChar(ConvertCall& call) {
    if (call.toLength >= 1) {
        wchar_t* units = WideTarget(call.to);
        FillWide(units, L' ', call.toLength - 1);
        units[call.toLength - 1] = 0;
    }
    call.toIsNull = 1;
    call.returnLength = call.toLength;
}

void NullIntoVariable(ConvertCall& call, bool wide) {
    EmptyVariable(call, wide);
    call.toIsNull = 1;
    call.returnLength = 0;
}

namespace {

void WriteFixedNarrow(ConvertCall& call, const SourceText& text) {
    if (call.toLength <= 1) return TooSmallFixed(call, false);
    const uint32 room = call.toLength - 1;
    auto* out = reinterpret_cast<char*>(call.to);
    uint32 count = TranscodeToNarrow(call.params, text, out, room);
    if (!call.params.bAvoidPaddingToChar) {
        std::memset(out + count, ' ', room - count);
        count = room;
    }
    out[count] = 0;
    call.toIsNull = 0;
    call.returnLength = room;
}

void WriteFixedWide(ConvertCall& call, const SourceText& text) {
    if (call.toLength <= 1) return TooSmallFixed(call, true);
    const uint32 room = call.toLength - 1;
    wchar_t* out = WideTarget(call.to);
    const uint32 count = TranscodeToWide(call.params, text, out, room);
    FillWide(out + count, L' ', room - count);
    out[room] = 0;
    call.toIsNull = 0;
    call.returnLength = room;
}

void WriteVariable(ConvertCall& call, const SourceText& source, TrimRule trim, bool wide) {
    if (call.toLength < 2) {
        NullIntoVariable(call, wide);
        return;
    }
    const SourceText text = call.params.bAvoidRtrimToVarChar ? source : Trimmed(source, trim);
    const uint32 room = call.toLength - 1;
    unsigned char* data = call.to + sizeof(uint32);
    uint32 count = 0;
    if (wide) {
        count = TranscodeToWide(call.params, text, WideTarget(data), room);
        WideTarget(data)[count] = 0;
    } else {
        count = TranscodeToNarrow(call.params, text, reinterpret_cast<char*>(data), room);
        data[count] = 0;
    }
    StoreCount(call.to, count);
    call.toIsNull = 0;
    call.returnLength = count;
}

// The client's narrow buffer as a target: the text and a NUL, no padding.
void WriteExternalNarrow(ConvertCall& call, const SourceText& text) {
    if (call.toLength <= 1) return TooSmallFixed(call, false);
    auto* out = reinterpret_cast<char*>(call.to);
    const uint32 count = TranscodeToNarrow(call.params, text, out, call.toLength - 1);
    out[count] = 0;
    call.toIsNull = 0;
    call.returnLength = count;
}

}  // namespace

template <class Target>
void WriteText(ConvertCall& call, const SourceText& text, TrimRule trim) {
    if constexpr (std::is_same_v<Target, word::Char>)
        WriteFixedNarrow(call, text);
    else if constexpr (std::is_same_v<Target, word::XTChar>)
        WriteFixedWide(call, text);
    else if constexpr (kTextLayout<Target> == TextLayout::kVariable)
        WriteVariable(call, text, trim, kIsWideWord<Target>);
    else
        WriteExternalNarrow(call, text);
}

template void WriteText<word::Char>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::XTChar>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::VarChar>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::VarXTChar>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::LongVarChar>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::LongVarXTChar>(ConvertCall&, const SourceText&, TrimRule);
template void WriteText<word::ExternalVarChar>(ConvertCall&, const SourceText&, TrimRule);

}  // namespace xts::convert
