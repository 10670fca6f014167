// The library's one exception type for data errors.
//
// An ErrorMessage carries a stack of messages, each a numeric code with its
// arguments and the source position that raised it. Pushing a further message
// (for example the failing column's name on top of an overflow) keeps the
// earlier ones. what() renders every message from the built-in English
// catalogue, one per line, each starting with its code in square brackets:
//     [46224] Value overflow: INTEGER to SMALLINT
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

// Message codes raised by this library.
enum XTMessageCode : int32 {
    kMsgInvalidControllerAddress = 10141,
    kMsgFieldPositionOutOfRange = 46030,
    kMsgNoFieldWithIdentifier = 46031,
    kMsgEmptyFieldDescriptor = 46032,
    kMsgUnsupportedDataType = 46033,
    kMsgValueTooLong = 46034,
    kMsgNoConverter = 46035,
    kMsgInvalidIntegerText = 46044,
    kMsgInvalidFloatText = 46045,
    kMsgInvalidOdbcIni = 46089,
    kMsgOdbcIniNotFound = 46090,
    kMsgIntegerReadOfNull = 46186,
    kMsgControllerHostsNotSet = 46214,
    kMsgConfigurationHomeUnknown = 46215,
    kMsgValueOverflow = 46224,
    kMsgValueUnderflow = 46225,
    kMsgConversionFailedInColumn = 46226,
    kMsgInvalidDateTimeText = 46301,
    kMsgTruncatedByteVector = 46302,
    kMsgInvalidDateTimeFormat = 46303,
    kMsgInvalidBinaryDirectory = 47001,
};

class XTS_EXPORT ErrorMessage : public std::exception {
public:
    // One message of the stack.
    struct Message {
        int32 code = 0;
        std::vector<XTString> arguments;
        std::string file;
        int line = 0;
    };

    ErrorMessage(const char* file, int line, int32 code, std::vector<XTString> arguments = {});

    // Builds an error from any mix of integer, floating, boolean, narrow
    // (UTF-8) and wide arguments.
    template <class... Args>
    static ErrorMessage Make(const char* file, int line, int32 code, const Args&... arguments) {
        return ErrorMessage(file, line, code, {ToArgument(arguments)...});
    }

    // Adds a message on top of the stack; the earlier messages stay.
    void Push(const char* file, int line, int32 code, std::vector<XTString> arguments = {});
    template <class... Args>
    void PushMessage(const char* file, int line, int32 code, const Args&... arguments) {
        Push(file, line, code, {ToArgument(arguments)...});
    }

    // The code of the first (original) message.
    // (0 for an object that was moved from).
    int32 GetCode() const noexcept { return m_messages.empty() ? 0 : m_messages.front().code; }
    // Whether any message of the stack has this code.
    bool HasCode(int32 code) const noexcept;
    std::size_t GetMessageCount() const noexcept { return m_messages.size(); }
    const Message& GetMessage(std::size_t index) const;
    const std::vector<Message>& GetMessages() const noexcept { return m_messages; }
    // The arguments of the first message.
    const std::vector<XTString>& GetArguments() const noexcept {
        static const std::vector<XTString> kNone;
        return m_messages.empty() ? kNone : m_messages.front().arguments;
    }

    // Every message, one per line, rendered from the catalogue (UTF-8).
    const char* what() const noexcept override { return m_text.c_str(); }

    // Renders one message: "[code] text with its arguments".
    static std::string FormatMessage(const Message& message);
    // The catalogue text of a code with %1, %2 ... for its arguments, or null
    // when the code is not in the catalogue.
    static const char* GetCatalogueText(int32 code) noexcept;

    static XTString ToArgument(const XTString& value) { return value; }
    static XTString ToArgument(std::wstring_view value) { return XTString(value); }
    static XTString ToArgument(const wchar_t* value) {
        return value ? XTString(value) : XTString();
    }
    static XTString ToArgument(std::string_view utf8);
    static XTString ToArgument(const char* utf8) {
        return ToArgument(std::string_view(utf8 ? utf8 : ""));
    }
    static XTString ToArgument(const std::string& utf8) {
        return ToArgument(std::string_view(utf8));
    }
    static XTString ToArgument(bool value) { return value ? L"true" : L"false"; }
    // Floating values in their shortest round-trip form; "NaN", "Infinity"
    // and "-Infinity" for the special values.
    static XTString ToArgument(double value);
    static XTString ToArgument(float value);
    template <class T>
    requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) static XTString
        ToArgument(T value) {
        return std::to_wstring(value);
    }
    template <class T>
    requires std::is_enum_v<T>
    static XTString ToArgument(T value) {
        return std::to_wstring(static_cast<std::underlying_type_t<T>>(value));
    }

private:
    void Render();

    std::vector<Message> m_messages;
    std::string m_text;
};

// Throws an ErrorMessage with the given code and arguments, recording the
// current source file and line.
#define SUGThrow(code, ...) \
    throw ErrorMessage::Make(__FILE__, __LINE__, (code)__VA_OPT__(, ) __VA_ARGS__)
