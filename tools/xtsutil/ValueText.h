// Values of any column type as command-line text: building a converter's
// source buffer from text, and rendering a converter's target buffer.
#pragma once

#include <string>
#include <vector>

#include "Utility/Client/SUCXTDataTypes.h"

namespace xtsutil {

// One side of a conversion: a type and its forms.
struct ValueSide {
    XTDataType type = XTUnknown;
    bool nullable = false;
    bool wide = false;      // wide characters (text types only)
    bool external = false;  // the client's character buffer (text types only)
};

// Parses "TYPE[:FORM[,FORM...]]" with TYPE a single-word type name (any case)
// and FORM one of nullable, wide, external. Returns false with a message.
bool ParseValueSide(const std::string& text, ValueSide& side, std::string& error);
// "INT", "CHAR (nullable, wide)" ...
std::string DescribeValueSide(const ValueSide& side);

// A converter's source: the bytes (4-byte aligned) and the length to pass.
struct SourceValue {
    std::vector<unsigned int> storage;  // aligned room for the bytes
    unsigned int length = 0;
    const unsigned char* Data() const {
        return reinterpret_cast<const unsigned char*>(storage.data());
    }
};

// Builds the source value of `side` from `text` (numbers in C notation, text
// as UTF-8, binary as hexadecimal digits, dates and times in the default
// formats). Returns false with a message when the text does not fit the type.
bool BuildSourceValue(const ValueSide& side, const std::string& text, SourceValue& value,
                      std::string& error);

// The capacity a converter is given for a target of `side` by default.
unsigned int DefaultTargetLength(const ValueSide& side);

// Renders the target bytes that a converter wrote, as the type reads them
// (text between double quotes, so padding shows).
std::string RenderTargetValue(const ValueSide& side, const unsigned char* data,
                              unsigned long long returnLength);

}  // namespace xtsutil
