// XTFieldDescriptor: construction, the three type tables, the partial update
// of SetFieldDescription on errors, copies, the small value types, the exact
// diagnostic formats and the reference-counted handles.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RecordLayoutTestSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using xts::test::CaptureOutput;
using xts::test::RaisesError;
using Util = SUXTDataTypeUtility;

constexpr uint32 kError = 0xFFFFFFFF;  // the table entry raises 46033

struct TypeTableRow {
    XTDataType type;
    uint32 objectLength;  // with L = 37
    uint32 textLength;    // with L = 37, P = 9
    uint32 boundary;      // without isSupportUnknownDataType
};

void PrintTo(const TypeTableRow& row, std::ostream* os) {
    *os << "type " << row.type;
}

class DescriptorTypeTable : public ::testing::TestWithParam<TypeTableRow> {};

TEST_P(DescriptorTypeTable, GivesTheTableEntries) {
    const TypeTableRow& row = GetParam();
    const std::vector<XTString> code{std::to_wstring(row.type)};
    if (row.objectLength == kError) {
        EXPECT_TRUE(RaisesError([&] { XTFieldDescriptor::GetObjectLength(row.type, 37); },
                                kMsgUnsupportedDataType, code));
    } else {
        EXPECT_EQ(XTFieldDescriptor::GetObjectLength(row.type, 37), row.objectLength);
    }
    if (row.textLength == kError) {
        EXPECT_TRUE(RaisesError([&] { XTFieldDescriptor::GetTextLength(row.type, 37, 9); },
                                kMsgUnsupportedDataType, code));
    } else {
        EXPECT_EQ(XTFieldDescriptor::GetTextLength(row.type, 37, 9), row.textLength);
    }
    if (row.boundary == kError) {
        EXPECT_TRUE(
            RaisesError([&] { XTFieldDescriptor::GetDataTypeBoundaryOffset(row.type, false); },
                        kMsgUnsupportedDataType, code));
        EXPECT_EQ(XTFieldDescriptor::GetDataTypeBoundaryOffset(row.type, true), 0u);
    } else {
        EXPECT_EQ(XTFieldDescriptor::GetDataTypeBoundaryOffset(row.type, false), row.boundary);
        EXPECT_EQ(XTFieldDescriptor::GetDataTypeBoundaryOffset(row.type, true), row.boundary);
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, DescriptorTypeTable,
    ::testing::Values(
        TypeTableRow{XTBitData, 1, 1, 1}, TypeTableRow{XTCharData, 37, 37, 4},
        TypeTableRow{XTVarCharData, 37, 37, 4}, TypeTableRow{XTLongVarCharData, 37, 37, 4},
        TypeTableRow{XTBinaryData, 37, 37, 1}, TypeTableRow{XTVarBinaryData, 37, 37, 4},
        TypeTableRow{XTLongVarBinaryData, 37, 37, 4}, TypeTableRow{XTInt1Data, 1, 4, 1},
        TypeTableRow{XTUInt1Data, 1, 3, 1}, TypeTableRow{XTInt2Data, 2, 6, 2},
        TypeTableRow{XTUInt2Data, 2, 5, 2}, TypeTableRow{XTInt4Data, 4, 12, 4},
        TypeTableRow{XTUInt4Data, 4, 11, 4}, TypeTableRow{XTFloatData, 4, 29, 4},
        TypeTableRow{XTDoubleData, 8, 29, 8}, TypeTableRow{XTMoneyData, kError, kError, kError},
        TypeTableRow{XTNumericData, 28, 64, 1}, TypeTableRow{XTDecimalData, kError, kError, kError},
        TypeTableRow{XTDateData, 6, 10, 2}, TypeTableRow{XTTimeData, 12, 8, 4},
        TypeTableRow{XTDateTimeData, 16, 23, 4}, TypeTableRow{XTTimeStampData, 16, 23, 4},
        TypeTableRow{XTIntervalData, 4, 11, 4}, TypeTableRow{XTObjectData, 37, 37, 8},
        TypeTableRow{XTBoolean, 1, 1, 1}, TypeTableRow{XTUnknown, 0, 0, kError},
        TypeTableRow{XTMaxType, kError, kError, kError},
        TypeTableRow{static_cast<XTDataType>(-1), kError, kError, kError},
        TypeTableRow{static_cast<XTDataType>(1000), kError, kError, kError}));

TEST(DescriptorTextLength, FloatingTypesAddTwentyToTheSigned16BitPrecision) {
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTFloatData, 0, 7), 27u);
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTDoubleData, 0, 15), 35u);
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTDoubleData, 0, -20), 0u);
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTDoubleData, 0, -21), 0xFFFFFFFFu);
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTFloatData, 0, 0x10005), 25u);   // cut to 5
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTFloatData, 0, 0xFFFF), 19u);    // -1
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTFloatData, 0, 32767), 32787u);  // no wrap
    // The declared length does not matter for them, the precision does not
    // matter for the others.
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTFloatData, 999, 1), 21u);
    EXPECT_EQ(XTFieldDescriptor::GetTextLength(XTCharData, 999, 1), 999u);
}

TEST(FieldDescriptor, DefaultDescriptorIsAnEmptyUnknownColumn) {
    const XTFieldDescriptor desc;
    EXPECT_EQ(desc.GetXTDataType(), XTUnknown);
    EXPECT_EQ(desc.GetFieldId(), 0);
    EXPECT_EQ(desc.GetObjectLength(), 0u);
    EXPECT_EQ(desc.GetTextLength(), 0u);
    EXPECT_EQ(desc.GetByteOffset(), 0u);
    EXPECT_EQ(desc.GetNullOffset(), 0u);
    EXPECT_FALSE(desc.IsNullable());
    EXPECT_EQ(desc.GetTextOffset(), 0u);
    EXPECT_EQ(desc.GetDecimalPrecision(), 0);
    EXPECT_EQ(desc.GetScale(), 0);
    EXPECT_TRUE(desc.GetFieldName().empty());
    EXPECT_TRUE(desc.GetAliasName().empty());
    EXPECT_EQ(desc.GetColumnUnicodeProperty(), Util::kAcceptRecordDefault);
    EXPECT_EQ(desc.GetColumnCodePage(), 0u);
    EXPECT_EQ(desc.GetRefCount(), 0);
}

TEST(FieldDescriptor, SetFieldDescriptionForANullableChar) {
    XTFieldDescriptor desc;
    desc.SetByteOffset(40);
    desc.SetTextOffset(77);
    desc.SetFieldDescription(2, XTCharData, 10, true, 0, 0, L"Name", L"N");
    EXPECT_EQ(desc.GetObjectLength(), 10u);
    EXPECT_EQ(desc.GetTextLength(), 10u);
    EXPECT_EQ(desc.GetNullOffset(), 1u);
    EXPECT_EQ(desc.GetByteOffset(), 0u);
    EXPECT_EQ(desc.GetTextOffset(), 77u);  // left as it was
    EXPECT_EQ(desc.GetFieldName(), L"Name");
    EXPECT_EQ(desc.GetAliasName(), L"N");

    desc.SetFieldDescription(2, XTCharData, 10, false, 0, 0, L"Name", L"N");
    EXPECT_EQ(desc.GetNullOffset(), 0u);
}

TEST(FieldDescriptor, FullConstructorStoresEveryArgument) {
    const XTFieldDescriptor desc(70000, XTInt4Data, 999, true, -3, 0x12345, L"Col", L"Alias",
                                 Util::kOverrideAsNarrowUTF8Code, 1252);
    EXPECT_EQ(desc.GetFieldId(), static_cast<int16>(70000 - 65536));  // cut to 16 bits
    EXPECT_EQ(desc.GetXTDataType(), XTInt4Data);
    EXPECT_EQ(desc.GetObjectLength(), 4u);  // fixed by type, not the argument
    EXPECT_EQ(desc.GetTextLength(), 12u);
    EXPECT_EQ(desc.GetDecimalPrecision(), -3);
    EXPECT_EQ(desc.GetScale(), 0x2345);  // cut to 16 bits
    EXPECT_EQ(desc.GetColumnUnicodeProperty(), Util::kOverrideAsNarrowUTF8Code);
    EXPECT_EQ(desc.GetColumnCodePage(), 1252u);
}

TEST(FieldDescriptor, UnsupportedTypeLeavesTheDescriptorUnchanged) {
    XTFieldDescriptor desc(4, XTVarCharData, 20, true, 0, 0, L"V", L"");
    desc.SetByteOffset(12);
    const XTString before = desc.ToString();
    for (const XTDataType type : {XTMoneyData, XTDecimalData, XTMaxType}) {
        EXPECT_TRUE(
            RaisesError([&] { desc.SetFieldDescription(9, type, 8, false, 1, 1, L"X", L"Y"); },
                        kMsgUnsupportedDataType, {std::to_wstring(type)}));
        EXPECT_EQ(desc.ToString(), before);
        EXPECT_EQ(desc.GetNullOffset(), 1u);
    }
    EXPECT_TRUE(RaisesError([] { XTFieldDescriptor(0, XTMoneyData, 8, false, 0, 0, L"", L""); },
                            kMsgUnsupportedDataType, {L"15"}));
    EXPECT_TRUE(RaisesError([] { XTFieldDescriptor(0, XTDecimalData, 8, false, 0, 0, L"", L""); },
                            kMsgUnsupportedDataType, {L"17"}));
}

TEST(FieldDescriptor, CopiesCarryEveryMember) {
    const RefCnt<XTFieldDescriptor> original = MakeRefCnt<XTFieldDescriptor>(
        5, XTDoubleData, 0, true, 15, 2, L"Amount", L"Amt", Util::kOverrideAsUnicode, 65001);
    original->SetByteOffset(16);
    original->SetNullOffset(40);
    original->SetTextOffset(90);
    ASSERT_EQ(original->GetRefCount(), 1);

    const XTFieldDescriptor copy(*original);
    EXPECT_EQ(copy.ToString(), original->ToString());
    EXPECT_EQ(copy.GetColumnUnicodeProperty(), Util::kOverrideAsUnicode);
    EXPECT_EQ(copy.GetColumnCodePage(), 65001u);
    EXPECT_EQ(copy.GetRefCount(), 0);  // a new object, not another holder

    XTFieldDescriptor clone(1, XTBitData, 0, false, 0, 0, L"Other", L"O");
    original->CloneDescriptor(clone);
    EXPECT_EQ(clone.ToString(), original->ToString());
    EXPECT_EQ(clone.GetColumnUnicodeProperty(), Util::kOverrideAsUnicode);
    EXPECT_EQ(clone.GetColumnCodePage(), 65001u);
    EXPECT_EQ(clone.GetRefCount(), 0);
    EXPECT_EQ(original->GetRefCount(), 1);
}

TEST(FieldDescriptor, ResetNames) {
    XTFieldDescriptor desc(1, XTInt2Data, 0, false, 0, 0, L"A", L"B");
    desc.ResetAliasName(L"Shown");
    EXPECT_EQ(desc.GetFieldName(), L"A");
    EXPECT_EQ(desc.GetAliasName(), L"Shown");
    desc.ResetFieldName(L"Renamed", L"");
    EXPECT_EQ(desc.GetFieldName(), L"Renamed");
    EXPECT_EQ(desc.GetAliasName(), L"");
}

TEST(FieldDescriptor, SimpleDescriptorUsesTheRecordLayoutAlignment) {
    XTFieldDescriptor narrowChar(0, XTCharData, 5, true, 0, 0, L"", L"");
    narrowChar.SetByteOffset(3);
    EXPECT_EQ(narrowChar.GetSimpleFieldDescriptor(),
              (XTSimpleFieldDescriptor{XTCharData, 5, 3, 1, 1}));
    const XTFieldDescriptor wideChar(0, XTCharData, 5, false, 0, 0, L"", L"",
                                     Util::kOverrideAsUnicode);
    EXPECT_EQ(wideChar.GetSimpleFieldDescriptor().alignmentBoundaryForDataType_, 4u);
    // Numeric and Date: 1 and 2 in this class's table, 4 in the layout's.
    EXPECT_EQ(XTFieldDescriptor(0, XTNumericData, 0, false, 0, 0, L"", L"")
                  .GetSimpleFieldDescriptor()
                  .alignmentBoundaryForDataType_,
              4u);
    EXPECT_EQ(XTFieldDescriptor(0, XTDateData, 0, false, 0, 0, L"", L"")
                  .GetSimpleFieldDescriptor()
                  .alignmentBoundaryForDataType_,
              4u);
    EXPECT_TRUE(RaisesError([] { XTFieldDescriptor().GetSimpleFieldDescriptor(); },
                            kMsgUnsupportedDataType, {L"25"}));
}

// ---- XTTypeInfoBase ----

TEST(TypeInfoBase, DefaultAndEquality) {
    const XTTypeInfoBase none;
    EXPECT_EQ(none.GetType(), XTUnknown);
    EXPECT_EQ(none.GetPrecision(), 0);
    EXPECT_EQ(none.GetScale(), 0);
    EXPECT_EQ(none.GetNullable(), 0);
    EXPECT_TRUE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) == XTTypeInfoBase(XTInt4Data, 10, 2, 1));
    EXPECT_FALSE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) == XTTypeInfoBase(XTInt4Data, 10, 2, 0));
    EXPECT_FALSE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) == XTTypeInfoBase(XTInt4Data, 10, 3, 1));
    EXPECT_FALSE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) == XTTypeInfoBase(XTInt4Data, 11, 2, 1));
    EXPECT_FALSE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) == XTTypeInfoBase(XTUInt4Data, 10, 2, 1));
    // The type is kept in one byte.
    EXPECT_EQ(XTTypeInfoBase(static_cast<XTDataType>(256 + 11), 0, 0, 0).GetType(), XTInt4Data);
}

struct LessRow {
    XTTypeInfoBase left;
    XTTypeInfoBase right;
    bool less;
};

class TypeInfoLess : public ::testing::TestWithParam<LessRow> {};

TEST_P(TypeInfoLess, EveryMemberMustBeStrictlySmaller) {
    EXPECT_EQ(GetParam().left < GetParam().right, GetParam().less);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TypeInfoLess,
    ::testing::Values(
        // nullable is not smaller
        LessRow{{XTInt4Data, 10, 2, 1}, {XTDoubleData, 12, 3, 0}, false},
        LessRow{{XTInt4Data, 10, 2, 0}, {XTDoubleData, 12, 3, 1}, true},
        // one member equal: neither less nor greater
        LessRow{{XTInt4Data, 10, 2, 0}, {XTInt4Data, 12, 3, 1}, false},
        LessRow{{XTInt4Data, 12, 3, 1}, {XTInt4Data, 10, 2, 0}, false},
        LessRow{{XTInt4Data, 10, 2, 0}, {XTDoubleData, 10, 3, 1}, false},
        LessRow{{XTInt4Data, 10, 2, 0}, {XTDoubleData, 12, 2, 1}, false},
        // precision and scale compare signed
        LessRow{{XTBitData, -5, -2, 0}, {XTCharData, 3, 1, 1}, true},
        // the type compares as an unsigned byte: 255 is the largest
        LessRow{{static_cast<XTDataType>(255), 1, 1, 0}, {XTBitData, 2, 2, 1}, false},
        LessRow{{XTBitData, 1, 1, 0}, {static_cast<XTDataType>(255), 2, 2, 1}, true}));

// ---- Diagnostics ----

XTFieldDescriptor AmountColumn() {
    XTFieldDescriptor desc(3, XTDoubleData, 0, true, 15, 2, L"Amount", L"Amt",
                           Util::kOverrideAsUnicode, 1252);
    return desc;
}

TEST(FieldDescriptorText, ToStringListsElevenMembers) {
    EXPECT_EQ(AmountColumn().ToString(),
              L"\t--FieldDescriptor--"
              L"\n\tfieldId_ 3"
              L"\n\tfieldName_ Amount"
              L"\n\taliasName_ Amt"
              L"\n\txtDataType_ DOUBLE PRECISION"
              L"\n\tobjectLength_ 8"
              L"\n\tbyteOffset_ 0"
              L"\n\tnullOffset_ 1"
              L"\n\ttextOffset_ 0"
              L"\n\ttextLength_ 35"
              L"\n\tdecimalPrecision_ 15"
              L"\n\tscale_ 2");
    EXPECT_EQ(XTFieldDescriptor().ToString(),
              L"\t--FieldDescriptor--\n\tfieldId_ 0\n\tfieldName_ \n\taliasName_ "
              L"\n\txtDataType_ UNKNOWN\n\tobjectLength_ 0\n\tbyteOffset_ 0\n\tnullOffset_ 0"
              L"\n\ttextOffset_ 0\n\ttextLength_ 0\n\tdecimalPrecision_ 0\n\tscale_ 0");
}

TEST(FieldDescriptorText, PrintFieldDescriptorWritesOneLine) {
    const XTFieldDescriptor amount = AmountColumn();
    EXPECT_EQ(CaptureOutput([&](FILE* fp) { XTFieldDescriptor::PrintFieldDescriptor(fp, amount); }),
              "Amount: ID(3) DataType(DOUBLE PRECISION) BinLen(8), BinOff(0) Null(1) TextOff(0) "
              "TextLen(35) Pre(15) Sca(2) Uni(1) CPag(1252)\n");
}

TEST(FieldDescriptorText, PrintFieldDescriptorOfAnUnnamedColumnStartsWithTheIdentifier) {
    XTFieldDescriptor desc(-5, XTLongVarCharData, 100, false, -3, -32768, L"", L"alias");
    desc.SetByteOffset(0xFFFFFFFF);
    desc.SetNullOffset(0x80000000);
    desc.SetTextOffset(12);
    const std::string line =
        CaptureOutput([&](FILE* fp) { XTFieldDescriptor::PrintFieldDescriptor(fp, desc); });
    EXPECT_EQ(line,
              "ID(-5) DataType(LONG VARCHAR) BinLen(100), BinOff(4294967295) Null(2147483648) "
              "TextOff(12) TextLen(100) Pre(-3) Sca(-32768) Uni(0) CPag(0)\n");
}

TEST(FieldDescriptorText, PrintFieldDescriptorWritesUnsignedCodePages) {
    const XTFieldDescriptor desc(1, XTBoolean, 0, false, 0, 0, L"b", L"",
                                 Util::kOverrideAsNarrowUTF8Code, 0xFFFFFFFF);
    EXPECT_EQ(CaptureOutput([&](FILE* fp) { XTFieldDescriptor::PrintFieldDescriptor(fp, desc); }),
              "b: ID(1) DataType(BOOL) BinLen(1), BinOff(0) Null(0) TextOff(0) TextLen(1) Pre(0) "
              "Sca(0) Uni(3) CPag(4294967295)\n");
}

TEST(FieldDescriptorText, NonAsciiNamesArePrintedInTheDefaultCodePage) {
    // The tests run in the "C" locale, whose default code page is UTF-8.
    const XTFieldDescriptor desc(1, XTBitData, 0, false, 0, 0, L"Stra\u00dfe \U0001F600", L"");
    EXPECT_EQ(CaptureOutput([&](FILE* fp) { XTFieldDescriptor::PrintFieldDescriptor(fp, desc); }),
              "Stra\xc3\x9f"
              "e \xf0\x9f\x98\x80: ID(1) DataType(BIT) BinLen(1), BinOff(0) Null(0) "
              "TextOff(0) TextLen(1) Pre(0) Sca(0) Uni(0) CPag(0)\n");
}

// ---- Handles ----

class CountedDescriptor : public XTFieldDescriptor {
  public:
    explicit CountedDescriptor(int& destroyed) : m_destroyed(destroyed) {}
    ~CountedDescriptor() override { ++m_destroyed; }

  private:
    int& m_destroyed;
};

TEST(FieldDescriptorHandle, LastHandleDeletesThroughTheVirtualDestructor) {
    int destroyed = 0;
    {
        RefCnt<XTFieldDescriptor> first(new CountedDescriptor(destroyed));
        RefCnt<XTFieldDescriptor> second = first;
        EXPECT_EQ(first->GetRefCount(), 2);
        first.Reset();
        EXPECT_EQ(destroyed, 0);
        EXPECT_EQ(second->GetRefCount(), 1);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(FieldDescriptorHandleDeathTest, DereferencingAnEmptyHandleAsserts) {
    const RefCnt<XTFieldDescriptor> empty;
    EXPECT_DEATH((void)empty->GetFieldId(), "Assertion failed");
    EXPECT_DEATH((void)(*empty).GetXTDataType(), "Assertion failed");
}

}  // namespace
