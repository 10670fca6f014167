// Helpers for the record layout, wire and binder tests: error checks, output capture and
// hand-made record descriptions. Buffers are std::vector<unsigned char> made with their exact
// size, so that AddressSanitizer reports any access past them.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace xts::test {

using Args = std::vector<XTString>;
using Bytes = std::vector<unsigned char>;
using Unicode = SUXTDataTypeUtility::ColumnUnicodeProperty;
using D = XTFieldDescriptor;
using M = XTRecordMetaData;

// The code of the ErrorMessage that `action` raises (0 for none).
inline int32 ErrorCodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error.GetCode();
    }
    return 0;
}

// Expects `action` to raise `code` with exactly `args`.
inline void ExpectError(const std::function<void()>& action, int32 code, const Args& args = {}) {
    try {
        action();
        ADD_FAILURE() << "no error, expected " << code;
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), code) << error.what();
        EXPECT_EQ(error.GetArguments(), args) << error.what();
    }
}

// What PrintFieldDescriptor and PrintRecordMetaData write.
inline std::string Capture(const std::function<void(FILE*)>& print) {
    FILE* fp = std::tmpfile();
    print(fp);
    std::string text(static_cast<std::size_t>(std::ftell(fp)), '\0');
    std::rewind(fp);
    text.resize(std::fread(text.data(), 1, text.size(), fp));
    std::fclose(fp);
    return text;
}
inline std::string Print(const D& desc) {
    return Capture([&](FILE* fp) { D::PrintFieldDescriptor(fp, desc); });
}
inline std::string Print(const M& record) {
    return Capture([&](FILE* fp) { M::PrintRecordMetaData(fp, record); });
}

struct Column {
    XTDataType type;
    uint32 length = 0;
    bool nullable = false;
    Unicode unicode = SUXTDataTypeUtility::kAcceptRecordDefault;
};

// Columns named c0, c1 ... with identifiers = positions and precision 0, laid out aligned
// unless `layOut` is false.
inline M Describe(const std::vector<Column>& columns, bool wide = false, bool layOut = true) {
    M record;
    record.SetFieldCount(static_cast<int32>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Column& c = columns[i];
        record.DescribleField(static_cast<int32>(i), c.type, c.length, c.nullable, 0, 0,
                              L"c" + std::to_wstring(i), L"", c.unicode);
    }
    if (layOut) record.GenerateAlignedFieldOffset(wide, 0);
    return record;
}

}  // namespace xts::test
