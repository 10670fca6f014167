// DateTimeMetaData: a date and time format, through which dates, times and
// date-times are parsed from and formatted into text.
#pragma once

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

class XTS_EXPORT DateTimeMetaData {
public:
    DateTimeMetaData() = default;
    explicit DateTimeMetaData(const XTString& format) { SetDateTimeFormat(format); }

    // Replaces the format.
    void SetDateTimeFormat(const XTString& format) { m_format = format; }
    // The format's text.
    const XTString& GetFormat() const noexcept { return m_format; }

private:
    XTString m_format;
};
