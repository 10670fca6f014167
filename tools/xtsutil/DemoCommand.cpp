// xtsutil demo: one result set end to end, as a driver sees it.
//
// The "server" describes an embedded sample result set and streams the
// record description; the client rebuilds it, negotiates the protocol
// version, and for each row the server packs its record in the record format
// of that version, the client unpacks it into its transfer record, and a
// binder moves every column through the converter the registry chooses into
// the application's buffers. The application's view is printed as a table,
// followed by the converter chosen for each column.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Commands.h"
#include "TextTable.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Client/SUCXTFieldDataBinder.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGSystemUtility.h"
#include "Utility/Generic/SUGTarvelNumber.h"
#include "Utility/Generic/SUGXTDateTime.h"
#include "ValueText.h"

namespace xtsutil {
namespace {

// One column of the sample: its description on the server and the
// application type a driver binds it to.
struct SampleColumn {
    const wchar_t* name;
    XTDataType serverType;
    uint32 length;  // characters or bytes for text and binary columns
    bool nullable;
    int16 precision;
    ValueSide application;
    uint32 applicationLength;
};

constexpr SampleColumn kColumns[] = {
    {L"ORDER_ID", XTInt4Data, 0, false, 10, {XTInt4Data}, 0},
    {L"QUANTITY", XTInt2Data, 0, true, 5, {XTInt4Data, true}, 0},
    {L"PRICE", XTDoubleData, 0, false, 15, {XTCharData}, 12},
    {L"DISCOUNT", XTFloatData, 0, true, 7, {XTFloatData, true}, 0},
    {L"TOTAL", XTNumericData, 0, true, 20, {XTVarCharData, true, true}, 12},
    {L"SHIPPED", XTBoolean, 0, false, 1, {XTCharData}, 1},
    {L"REGION", XTCharData, 4, false, 0, {XTCharData, false, true}, 4},
    {L"CUSTOMER", XTVarCharData, 16, true, 0, {XTVarCharData, true, true}, 16},
    {L"NOTE", XTLongVarCharData, 24, true, 0, {XTLongVarCharData, true}, 24},
    {L"CHECKSUM", XTVarBinaryData, 4, false, 0, {XTLongVarBinaryData}, 4},
    // A date's text goes into a narrow CHAR whose capacity counts its
    // terminator: ten characters need a column of 11.
    {L"ORDER_DATE", XTDateData, 0, false, 0, {XTCharData}, 11},
    {L"ORDER_TIME", XTTimeData, 0, false, 0, {XTCharData, false, true}, 8},
    {L"UPDATED", XTTimeStampData, 0, true, 0, {XTTimeStampData, true}, 0},
};
constexpr int32 kColumnCount = static_cast<int32>(std::size(kColumns));

const char* const kRegions[] = {"EU", "NA", "APAC", "LATM"};
const char* const kCustomers[] = {"Zoë Müller", "李雷", "José Núñez", "Åsa Öberg", "Ngozi Okafor"};
const char* const kNotes[] = {"leave at the door", "fragile", "gift wrap, no invoice",
                              "call first"};

std::string Narrow(const XTString& text) {
    return SystemUtility::ToUtf8Lenient(text);
}

// Writes value `row` of column `column` into the server's record (narrow
// UTF-8 text, machine order); some rows of nullable columns are null.
void FillServerValue(const XTRecordMetaData& metaData, unsigned char* record, int32 column,
                     int32 row) {
    const XTFieldDescriptor& desc = *metaData.GetFieldDescriptor(column);
    unsigned char* value = record + desc.GetByteOffset();
    const auto put = [value](const void* data, std::size_t size) {
        std::memcpy(value, data, size);
    };
    const auto putText = [&](const std::string& text, bool variable) {
        const std::string cut = text.substr(0, desc.GetObjectLength());
        if (variable) {
            const auto count = static_cast<uint32>(cut.size());
            put(&count, sizeof count);
            std::memcpy(value + sizeof count, cut.c_str(), cut.size() + 1);
        } else {
            std::string padded = cut;
            padded.resize(desc.GetObjectLength(), ' ');
            std::memcpy(value, padded.c_str(), padded.size() + 1);
        }
    };
    const bool isNull = desc.IsNullable() && (row + column) % 5 == 4;
    if (desc.IsNullable()) record[desc.GetNullOffset()] = isNull ? 1 : 0;
    if (isNull) return;
    switch (column) {
        case 0: {
            const int32 id = 1000 + row;
            put(&id, sizeof id);
            break;
        }
        case 1: {
            const auto quantity = static_cast<int16>(1 + row * 7 % 50);
            put(&quantity, sizeof quantity);
            break;
        }
        case 2: {
            const double price = 19.99 + row * 3.25;
            put(&price, sizeof price);
            break;
        }
        case 3: {
            const float discount = 0.05f * static_cast<float>(row % 4);
            put(&discount, sizeof discount);
            break;
        }
        case 4: {
            TarvelNumber total;
            TarvelNumber::TryParse(std::to_string(1234 + row * 17) + ".5678", total);
            total.ToBuffer(value);
            break;
        }
        case 5: {
            const unsigned char shipped = row % 2;
            put(&shipped, 1);
            break;
        }
        case 6: putText(kRegions[row % std::size(kRegions)], false); break;
        case 7: putText(kCustomers[row % std::size(kCustomers)], true); break;
        case 8: putText(kNotes[row % std::size(kNotes)], true); break;
        case 9: {
            const uint32 count = 4;
            const unsigned char bytes[4] = {0xC0, static_cast<unsigned char>(row), 0xFF,
                                            static_cast<unsigned char>(row * 31)};
            put(&count, sizeof count);
            std::memcpy(value + sizeof count, bytes, sizeof bytes);
            break;
        }
        case 10: {
            XTDateTime day{2024, 1, 1};
            day.day_ = static_cast<uint16>(1 + row % 28);
            day.month_ = static_cast<uint16>(1 + row / 28 % 12);
            const XTDate date = day.GetDate();
            put(&date, sizeof date);
            break;
        }
        case 11: {
            const XTTime time{static_cast<uint16>(8 + row % 10), static_cast<uint16>(row * 7 % 60),
                              static_cast<uint16>(row * 13 % 60), 0, 0};
            put(&time, sizeof time);
            break;
        }
        default: {
            const XTDateTime updated{2024,
                                     6,
                                     static_cast<uint16>(1 + row % 30),
                                     12,
                                     static_cast<uint16>(row % 60),
                                     0,
                                     static_cast<uint32>(row) * 1000000u};
            put(&updated, sizeof updated);
            break;
        }
    }
}

std::string TypeName(XTDataType type) {
    XTString name;
    return Narrow(SUXTDataTypeUtility::GetXTDataTypeName(type, name));
}

bool ParseDemoOptions(CommandArguments arguments, int& format, int& rows) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string option = arguments[i];
        int* target = option == "--format" ? &format : option == "--rows" ? &rows : nullptr;
        if (target == nullptr || i + 1 == arguments.size()) {
            std::fprintf(stderr, "xtsutil demo: unexpected argument '%s'\n", option.c_str());
            return false;
        }
        const char* text = arguments[++i];
        const auto result = std::from_chars(text, text + std::strlen(text), *target);
        if (result.ec != std::errc() || *result.ptr != '\0') {
            std::fprintf(stderr, "xtsutil demo: bad number '%s'\n", text);
            return false;
        }
    }
    if (format != 1 && format != 2) {
        std::fputs("xtsutil demo: --format is 1 or 2\n", stderr);
        return false;
    }
    if (rows < 0 || rows > 100000) {
        std::fputs("xtsutil demo: --rows is 0 to 100000\n", stderr);
        return false;
    }
    return true;
}

}  // namespace

int RunDemoCommand(CommandArguments arguments) {
    int format = 2;
    int rowCount = 8;
    if (!ParseDemoOptions(arguments, format, rowCount)) return kExitUsage;

    // The server describes the result set (narrow UTF-8 text) and streams it.
    XTRecordMetaData server;
    server.SetFieldCount(kColumnCount);
    for (int32 i = 0; i < kColumnCount; ++i) {
        const SampleColumn& column = kColumns[i];
        server.DescribleField(i, column.serverType, column.length, column.nullable,
                              column.precision, 0, column.name, column.name,
                              SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code);
    }
    server.GenerateAlignedFieldOffset(false, 0);
    ByteVector stream;
    server.StreamTo(stream);

    // The client rebuilds the description from the stream.
    XTRecordMetaData transfer;
    transfer.DestreamFrom(stream.data(), stream.data() + stream.size());

    // The versions agreed during the handshake choose the record format.
    AppVersionOption version;
    if (format == 1) version.m_clientVersion = version.m_serverVersion = 12;
    version.IsSupportedVersion();

    // A server sends a Numeric value in record format 1 as the number's whole
    // 28-byte image, while the library's packer (the client's side) would
    // send a double: the server's rows are therefore packed through a twin
    // description that sends those columns as 28 raw bytes.
    XTRecordMetaData wire = server;
    if (format == 1) {
        for (int32 i = 0; i < kColumnCount; ++i)
            if (kColumns[i].serverType == XTNumericData)
                wire.DescribleField(i, XTBinaryData, TarvelNumber::kFieldLength,
                                    kColumns[i].nullable, 0, 0, kColumns[i].name, kColumns[i].name);
        wire.GenerateAlignedFieldOffset(false, 0);
        for (int32 i = 0; i < kColumnCount; ++i)
            if (wire.GetFieldDescriptor(i)->GetByteOffset() !=
                server.GetFieldDescriptor(i)->GetByteOffset()) {
                std::fputs("xtsutil demo: the sample's layout does not allow format 1\n", stderr);
                return kExitFailure;
            }
    }

    // The application's buffers: one column per result column, bound to the
    // type a driver would use for its C type.
    XTRecordMetaData application;
    application.SetFieldCount(kColumnCount);
    for (int32 i = 0; i < kColumnCount; ++i) {
        const ValueSide& side = kColumns[i].application;
        application.DescribleField(i, side.type, kColumns[i].applicationLength, side.nullable, 15,
                                   0, kColumns[i].name, kColumns[i].name,
                                   side.wide ? SUXTDataTypeUtility::kOverrideAsUnicode
                                             : SUXTDataTypeUtility::kAcceptRecordDefault);
    }
    application.GenerateAlignedFieldOffset(false, 0);

    std::vector<unsigned long long> serverRecord(server.GetBinaryRecordSize() / 8 + 1);
    std::vector<unsigned long long> wireBuffer(wire.GetMaxPackedRecordSize() / 8 + 1);
    std::vector<unsigned long long> transferRecord(transfer.GetBinaryRecordSize() / 8 + 1);
    std::vector<unsigned long long> applicationRecord(application.GetBinaryRecordSize() / 8 + 1);
    auto* serverBytes = reinterpret_cast<unsigned char*>(serverRecord.data());
    auto* wireBytes = reinterpret_cast<unsigned char*>(wireBuffer.data());
    auto* transferBytes = reinterpret_cast<unsigned char*>(transferRecord.data());
    auto* applicationBytes = reinterpret_cast<unsigned char*>(applicationRecord.data());

    XTFieldDataBinder binder;
    binder.SetBindRecord(&application, applicationBytes, kCharDataNarrowUTF8Code,
                         kCharDataNarrowUTF8Code, kColumnCount);
    std::vector<TableRow> converters{{"COLUMN", "SERVER TYPE", "APPLICATION TYPE", "CONVERTER"}};
    for (int32 i = 0; i < kColumnCount; ++i) {
        const RefCnt<XTFieldDescriptor> from = transfer.GetFieldDescriptor(i);
        const ValueSide& to = kColumns[i].application;
        const DataConvert_t convert =
            SUDataConvert::GetConverterFunction(from->GetXTDataType(), from->IsNullable(), false,
                                                false, to.type, to.nullable, to.wide, false);
        binder.SetFromFieldDescriptor(i, from, transferBytes, nullptr, convert, false, false, false,
                                      false);
        char name[SUDataConvert::kMaxConverterNameLength + 1];
        SUDataConvert::GetConverterFunctionName(convert, name);
        converters.push_back({Narrow(kColumns[i].name), TypeName(from->GetXTDataType()),
                              DescribeValueSide(to), name});
    }

    std::vector<TableRow> view(1);
    for (const SampleColumn& column : kColumns) view[0].push_back(Narrow(column.name));
    uint64 wireBytesTotal = 0;
    for (int32 row = 0; row < rowCount; ++row) {
        std::memset(serverBytes, 0, server.GetBinaryRecordSize());
        for (int32 i = 0; i < kColumnCount; ++i) FillServerValue(server, serverBytes, i, row);
        const uint32 packed = wire.PackRecord(wireBytes, serverBytes, version, false);
        wireBytesTotal += packed;
        transfer.UnpackRecord(transferBytes, wireBytes, wireBytes + packed, version);
        binder.TransferRecord();

        TableRow line;
        for (int32 i = 0; i < kColumnCount; ++i) {
            const XTFieldDescriptor& desc = *application.GetFieldDescriptor(i);
            const XTFieldConverter& converter = *binder.GetFieldConverter(i);
            const bool isNull = desc.IsNullable() && applicationBytes[desc.GetNullOffset()] != 0;
            line.push_back(isNull ? "NULL"
                                  : RenderTargetValue(kColumns[i].application,
                                                      applicationBytes + desc.GetByteOffset(),
                                                      *converter.GetToReturnDataLength()));
        }
        view.push_back(std::move(line));
    }

    std::printf(
        "Result set: %d columns, %d rows; record format %d (client version %u, server "
        "version %u)\n",
        kColumnCount, rowCount, version.m_serverVersion < 13 ? 1 : 2, version.m_clientVersion,
        version.m_serverVersion);
    std::printf("Metadata stream %zu bytes; transfer record %u bytes; %llu bytes on the wire\n\n",
                stream.size(), transfer.GetBinaryRecordSize(),
                static_cast<unsigned long long>(wireBytesTotal));
    PrintTable(view);
    std::printf("\n");
    PrintTable(converters);
    return kExitSuccess;
}

}  // namespace xtsutil
