// Helpers for the record layout and marshaller tests: error checks with their
// arguments, capture of standard I/O output, and a descriptor of any type code.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace xts::test {

// Whether `action` raises an ErrorMessage with `code` and exactly these
// arguments (as the error renders them).
template <class Action>
::testing::AssertionResult RaisesError(Action&& action, int32 code,
                                       std::vector<XTString> arguments = {}) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        if (error.GetCode() != code)
            return ::testing::AssertionFailure()
                   << "code " << error.GetCode() << " instead of " << code << ": " << error.what();
        if (error.GetArguments() != arguments)
            return ::testing::AssertionFailure() << "other arguments: " << error.what();
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "no error raised, expected " << code;
}

// What `print` writes to a standard I/O stream.
template <class Print>
std::string CaptureOutput(Print&& print) {
    FILE* fp = std::tmpfile();
    if (fp == nullptr) return "<tmpfile failed>";
    print(fp);
    std::fflush(fp);
    const long size = std::ftell(fp);
    std::rewind(fp);
    std::string text(static_cast<std::size_t>(size < 0 ? 0 : size), '\0');
    const std::size_t got = std::fread(text.data(), 1, text.size(), fp);
    text.resize(got);
    std::fclose(fp);
    return text;
}

// A descriptor of any type code, even one that SetFieldDescription refuses
// (Money, Decimal, codes outside the enumeration), as a metadata stream may
// deliver it. Not nullable unless asked.
class RawTypeDescriptor : public XTFieldDescriptor {
  public:
    explicit RawTypeDescriptor(XTDataType type, uint32 objectLength = 0, bool nullable = false) {
        xtDataType_ = type;
        objectLength_ = objectLength;
        nullOffset_ = nullable ? 1 : 0;
    }
};

inline RefCnt<XTFieldDescriptor> MakeRawTypeDescriptor(XTDataType type, uint32 objectLength = 0,
                                                       bool nullable = false) {
    return RefCnt<XTFieldDescriptor>(new RawTypeDescriptor(type, objectLength, nullable));
}

}  // namespace xts::test
