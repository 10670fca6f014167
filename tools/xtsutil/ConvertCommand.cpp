// xtsutil convert: one value through the converter the registry chooses.
// xtsutil converters: the registry, one row per served description.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Commands.h"
#include "TextTable.h"
#include "Utility/Client/SUCDataConvert.h"
#include "ValueText.h"

namespace xtsutil {
namespace {

struct ConvertOptions {
    ValueSide from;
    ValueSide to;
    bool haveFrom = false;
    bool haveTo = false;
    bool sourceIsNull = false;
    bool haveLength = false;
    unsigned int length = 0;
    const char* value = nullptr;
};

bool ParseOptions(CommandArguments arguments, ConvertOptions& options) {
    std::string error;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string argument = arguments[i];
        const bool hasNext = i + 1 < arguments.size();
        if ((argument == "--from" || argument == "--to") && hasNext) {
            const bool isFrom = argument == "--from";
            if (!ParseValueSide(arguments[++i], isFrom ? options.from : options.to, error)) {
                std::fprintf(stderr, "xtsutil convert: %s\n", error.c_str());
                return false;
            }
            (isFrom ? options.haveFrom : options.haveTo) = true;
        } else if (argument == "--length" && hasNext) {
            const char* text = arguments[++i];
            const auto result = std::from_chars(text, text + std::strlen(text), options.length);
            if (result.ec != std::errc() || *result.ptr != '\0') {
                std::fprintf(stderr, "xtsutil convert: bad length '%s'\n", text);
                return false;
            }
            options.haveLength = true;
        } else if (argument == "--null") {
            options.sourceIsNull = true;
        } else if (options.value == nullptr && (argument.rfind("--", 0) != 0 || argument == "--")) {
            if (argument == "--" && hasNext) ++i;
            options.value = arguments[i];
        } else {
            std::fprintf(stderr, "xtsutil convert: unexpected argument '%s'\n", argument.c_str());
            return false;
        }
    }
    if (!options.haveFrom || !options.haveTo ||
        (options.value == nullptr && !options.sourceIsNull)) {
        std::fputs("xtsutil convert: --from, --to and a VALUE (or --null) are needed\n", stderr);
        return false;
    }
    return true;
}

DataConvert_t FindConverter(const ValueSide& from, const ValueSide& to) {
    return SUDataConvert::GetConverterFunction(from.type, from.nullable, from.wide, from.external,
                                               to.type, to.nullable, to.wide, to.external);
}

std::string FunctionName(DataConvert_t function) {
    char name[SUDataConvert::kMaxConverterNameLength + 1];
    SUDataConvert::GetConverterFunctionName(function, name);
    return name;
}

}  // namespace

int RunConvertCommand(CommandArguments arguments) {
    ConvertOptions options;
    if (!ParseOptions(arguments, options)) return kExitUsage;
    const DataConvert_t convert = FindConverter(options.from, options.to);
    if (convert == nullptr) {
        std::fprintf(stderr, "xtsutil convert: no converter from %s to %s\n",
                     DescribeValueSide(options.from).c_str(),
                     DescribeValueSide(options.to).c_str());
        return kExitFailure;
    }
    SourceValue source;
    std::string error;
    if (options.value != nullptr && !BuildSourceValue(options.from, options.value, source, error)) {
        std::fprintf(stderr, "xtsutil convert: %s\n", error.c_str());
        return kExitUsage;
    }
    if (source.storage.empty()) source.storage.assign(8, 0);

    DataConvertParams params;
    params.charDataFromDataCode = options.from.wide ? kCharDataUniCode : kCharDataNarrowUTF8Code;
    params.charDataToDataCode = options.to.wide ? kCharDataUniCode : kCharDataNarrowUTF8Code;
    const unsigned int toLength =
        options.haveLength ? options.length : DefaultTargetLength(options.to);
    // Room for the largest extent any converter writes for this capacity.
    std::vector<unsigned int> target((toLength + 2) * 3 + 16, 0);
    auto* to = reinterpret_cast<unsigned char*>(target.data());
    uint8 toIsNull = 0;
    uint64 returnLength = 0;
    convert(params, source.Data(), source.length, options.sourceIsNull ? 1 : 0, to, toLength,
            toIsNull, returnLength);

    std::printf("converter: %s\n", FunctionName(convert).c_str());
    std::printf("result:    %s\n",
                toIsNull ? "NULL" : RenderTargetValue(options.to, to, returnLength).c_str());
    std::printf("length:    %llu\n", static_cast<unsigned long long>(returnLength));
    std::printf("null:      %d\n", toIsNull);
    return kExitSuccess;
}

int RunConvertersCommand(CommandArguments arguments) {
    if (!arguments.empty()) {
        std::fprintf(stderr, "xtsutil converters: unexpected argument '%s'\n", arguments[0]);
        return kExitUsage;
    }
    std::vector<TableRow> rows{{"KEY", "FROM", "TO", "CONVERTER"}};
    for (const PropertyFuncInfo& row : SUDataConvert::GetRegistryRows()) {
        const ValueSide from{row.inputDataType_, row.isInputNull_, row.isInputUnicode_,
                             row.isInputExteranlVarChar_};
        const ValueSide to{row.outputDataType_, row.isOutputNull_, row.isOutputUnicode_,
                           row.isOutputExteranlVarChar_};
        char key[16];
        std::snprintf(
            key, sizeof key, "0x%08X",
            SUDataConvert::GetConverterKey(from.type, from.nullable, from.wide, from.external,
                                           to.type, to.nullable, to.wide, to.external));
        rows.push_back({key, DescribeValueSide(from), DescribeValueSide(to), row.functionName_});
    }
    PrintTable(rows);
    return kExitSuccess;
}

}  // namespace xtsutil
