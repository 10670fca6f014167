#include "Utility/Generic/SUGErrorMessage.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

struct CatalogueEntry {
    int32 code;
    const char* text;
};

// The built-in English catalogue. %n stands for the n-th argument.
constexpr CatalogueEntry kCatalogue[] = {
    {kMsgInvalidControllerAddress, "Invalid cluster controller address: %1"},
    {kMsgFieldPositionOutOfRange, "Field position %1 is out of range (field count %2)"},
    {kMsgNoFieldWithIdentifier, "No field with identifier %1"},
    {kMsgEmptyFieldDescriptor, "Empty field descriptor at position %1"},
    {kMsgUnsupportedDataType, "Unsupported data type %1"},
    {kMsgValueTooLong, "Value too long: %1 bytes needed, buffer holds %2"},
    {kMsgNoConverter,
     "No converter from %1 (nullable %2, wide %3, external %4) to %5 (nullable %6, wide %7, "
     "external %8)"},
    {kMsgInvalidIntegerText, "Invalid integer text: \"%1\""},
    {kMsgInvalidFloatText, "Invalid floating-point text: \"%1\""},
    {kMsgInvalidOdbcIni, "Invalid odbc.ini content: %1"},
    {kMsgOdbcIniNotFound, "The odbc.ini file is not found (ODBCINI not set or file missing)"},
    {kMsgIntegerReadOfNull, "Integer read of a NULL value"},
    {kMsgControllerHostsNotSet,
     "Centrally managed data source, but TARVEL_ZEPCCS_HOSTS is not set"},
    {kMsgConfigurationHomeUnknown,
     "Centrally managed data source, but the configuration directory is unknown"},
    {kMsgValueOverflow, "Value overflow: %1 to %2"},
    {kMsgValueUnderflow, "Value underflow: %1 to %2"},
    {kMsgConversionFailedInColumn, "Conversion failed in column %1"},
    {kMsgInvalidDateTimeText, "Text \"%1\" does not match the date and time format \"%2\""},
    {kMsgTruncatedByteVector, "Truncated byte vector: %1 needs %2 bytes, %3 remain"},
    {kMsgInvalidDateTimeFormat, "Invalid date and time format \"%1\""},
    {kMsgInvalidBinaryDirectory, "Invalid binary directory: %1"},
};

}  // namespace

ErrorMessage::ErrorMessage(const char* file, int line, int32 code,
                           std::vector<XTString> arguments) {
    Push(file, line, code, std::move(arguments));
}

void ErrorMessage::Push(const char* file, int line, int32 code, std::vector<XTString> arguments) {
    m_messages.push_back(Message{code, std::move(arguments), file ? file : "", line});
    Render();
}

bool ErrorMessage::HasCode(int32 code) const noexcept {
    return std::any_of(m_messages.begin(), m_messages.end(),
                       [code](const Message& message) { return message.code == code; });
}

const ErrorMessage::Message& ErrorMessage::GetMessage(std::size_t index) const {
    XTAssert(index < m_messages.size());
    return m_messages[index];
}

const char* ErrorMessage::GetCatalogueText(int32 code) noexcept {
    for (const CatalogueEntry& entry : kCatalogue)
        if (entry.code == code) return entry.text;
    return nullptr;
}

std::string ErrorMessage::FormatMessage(const Message& message) {
    std::string out(1, '[');
    out += std::to_string(message.code);
    out += "] ";
    const std::size_t count = message.arguments.size();
    std::vector<bool> used(count, false);
    const char* text = GetCatalogueText(message.code);
    if (text == nullptr) {
        out += "Unknown message";
    } else {
        for (const char* p = text; *p != '\0'; ++p) {
            if (p[0] == '%' && p[1] >= '1' && p[1] <= '9') {
                const std::size_t index = static_cast<std::size_t>(p[1] - '1');
                if (index < count) {
                    out += SystemUtility::ToUtf8Lenient(message.arguments[index]);
                    used[index] = true;
                } else {
                    out += "?";
                }
                ++p;
            } else {
                out += *p;
            }
        }
    }
    // Every argument is named, even those the catalogue text has no place for.
    std::string rest;
    for (std::size_t i = 0; i < count; ++i) {
        if (used[i]) continue;
        rest += rest.empty() ? "" : ", ";
        rest += SystemUtility::ToUtf8Lenient(message.arguments[i]);
    }
    if (!rest.empty()) out += (text == nullptr ? ": " : " (") + rest + (text == nullptr ? "" : ")");
    return out;
}

void ErrorMessage::Render() {
    m_text.clear();
    for (const Message& message : m_messages) {
        if (!m_text.empty()) m_text += '\n';
        m_text += FormatMessage(message);
    }
}

XTString ErrorMessage::ToArgument(std::string_view utf8) {
    return SystemUtility::FromUtf8Lenient(XTNString(utf8));
}

namespace {

// The shortest decimal form that reads back to the same value of its own
// type (a float is not widened first, so 0.1f gives "0.1").
template <class Floating>
XTString FloatingArgument(Floating value) {
    if (std::isnan(value)) return L"NaN";
    if (std::isinf(value)) return value < 0 ? L"-Infinity" : L"Infinity";
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return XTString(buffer, result.ptr);
}

}  // namespace

XTString ErrorMessage::ToArgument(double value) {
    return FloatingArgument(value);
}
XTString ErrorMessage::ToArgument(float value) {
    return FloatingArgument(value);
}
