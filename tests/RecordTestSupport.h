// Helpers for the record layout, wire and binder tests: error checks, output capture and
// hand-made record descriptions. Buffers are std::vector<unsigned char> made with their exact
// size, so that AddressSanitizer reports any access past them.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace xts::test {

using Args = std::vector<XTString>;
using Bytes = std::vector<unsigned char>;
using Unicode = SUXTDataTypeUtility::ColumnUnicodeProperty;
using D = XTFieldDescriptor;
using M = XTRecordMetaData;

inline const unsigned char* End(const Bytes& bytes) {
    return bytes.data() + bytes.size();
}

// The ErrorMessage that `action` raises, if any.
inline std::optional<ErrorMessage> Raised(const std::function<void()>& action) {
    try {
        action();
    } catch (ErrorMessage& error) {
        return std::move(error);
    }
    return std::nullopt;
}
inline int32 ErrorCodeOf(const std::function<void()>& action) {
    const std::optional<ErrorMessage> error = Raised(action);
    return error ? error->GetCode() : 0;
}
// Expects `action` to raise `code` with exactly `args`.
inline void ExpectError(const std::function<void()>& action, int32 code, const Args& args = {}) {
    const std::optional<ErrorMessage> error = Raised(action);
    EXPECT_TRUE(error && error->GetCode() == code && error->GetArguments() == args)
        << "expected " << code << ", got " << (error ? error->what() : "no error");
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
    for (int32 i = 0; i < record.GetFieldCount(); ++i)
        record.DescribleField(i, columns[i].type, columns[i].length, columns[i].nullable, 0, 0,
                              L"c" + std::to_wstring(i), L"", columns[i].unicode);
    if (layOut) record.GenerateAlignedFieldOffset(wide, 0);
    return record;
}

}  // namespace xts::test
