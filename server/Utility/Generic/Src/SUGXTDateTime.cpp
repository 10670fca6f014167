#include "Utility/Generic/SUGXTDateTime.h"

#include <cstdio>

namespace {

// Appends `value` in decimal with at least `width` digits ('-' first when
// negative).
void AppendNumber(XTString& text, long long value, int width) {
    char digits[32];
    const int length =
        std::snprintf(digits, sizeof digits, "%0*lld", value < 0 ? width + 1 : width, value);
    for (int i = 0; i < length; ++i) text.push_back(static_cast<wchar_t>(digits[i]));
}

void AppendDate(XTString& text, int year, unsigned month, unsigned day) {
    AppendNumber(text, year, 4);
    text.push_back(L'-');
    AppendNumber(text, month, 2);
    text.push_back(L'-');
    AppendNumber(text, day, 2);
}

void AppendTime(XTString& text, unsigned hour, unsigned minute, unsigned second,
                uint32 nanosecond) {
    AppendNumber(text, hour, 2);
    text.push_back(L':');
    AppendNumber(text, minute, 2);
    text.push_back(L':');
    AppendNumber(text, second, 2);
    text.push_back(L'.');
    AppendNumber(text, nanosecond, 9);
}

}  // namespace

XTString XTDate::ToString() const {
    XTString text;
    AppendDate(text, year_, month_, day_);
    return text;
}

XTString XTTime::ToString() const {
    XTString text;
    AppendTime(text, hour_, minute_, second_, nanosecond_);
    return text;
}

XTString XTDateTime::ToString() const {
    XTString text;
    AppendDate(text, year_, month_, day_);
    text.push_back(L' ');
    AppendTime(text, hour_, minute_, second_, nanosecond_);
    return text;
}
