// xtsutil: command-line access to the client utility library.
//
//   xtsutil --help | help [COMMAND]
//   xtsutil COMMAND [ARGUMENTS...]
//
// Exit status: 0 success, 1 a negative answer, 2 a usage error, 3 a failure.
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <span>

#include "Commands.h"

namespace xtsutil {
namespace {

int RunHelpCommand(CommandArguments arguments);

constexpr Command kCommands[] = {
    {"demo", "[--format 1|2] [--rows N]",
     "Run a sample result set end to end: stream, pack, unpack, bind and show it.", RunDemoCommand},
    {"types", "", "Print the column data type catalogue as a table.", RunTypesCommand},
    {"keyword", "WORD...",
     "Tell for each WORD whether it is a reserved SQL keyword (exit 1 if any is not).",
     RunKeywordCommand},
    {"convert", "--from TYPE[:FORMS] --to TYPE[:FORMS] [--length N] [--null] VALUE",
     "Convert VALUE with the converter the registry chooses (FORMS: nullable,wide,external).",
     RunConvertCommand},
    {"converters", "", "List the converter registry: key, source, target, converter.",
     RunConvertersCommand},
    {"help", "[COMMAND]", "Print this help, or the usage of COMMAND.", RunHelpCommand},
};

const Command* FindCommand(const char* name) {
    for (const Command& command : kCommands)
        if (std::strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

void PrintCommandUsage(std::FILE* out, const Command& command) {
    std::fprintf(out, "usage: xtsutil %s%s%s\n", command.name, *command.usage ? " " : "",
                 command.usage);
}

void PrintUsage(std::FILE* out) {
    std::fputs(
        "usage: xtsutil COMMAND [ARGUMENTS...]\n"
        "       xtsutil --help\n"
        "\n"
        "Commands:\n",
        out);
    int width = 0;
    for (const Command& command : kCommands) {
        const int length =
            static_cast<int>(std::strlen(command.name) + 1 + std::strlen(command.usage));
        if (length > width) width = length;
    }
    char left[128];
    for (const Command& command : kCommands) {
        std::snprintf(left, sizeof left, "%s %s", command.name, command.usage);
        std::fprintf(out, "  %-*s  %s\n", width, left, command.summary);
    }
    std::fputs(
        "\n"
        "Exit status: 0 success, 1 a negative answer, 2 a usage error, 3 a failure.\n",
        out);
}

int RunHelpCommand(CommandArguments arguments) {
    if (arguments.empty()) {
        PrintUsage(stdout);
        return kExitSuccess;
    }
    if (arguments.size() == 1) {
        if (const Command* command = FindCommand(arguments[0])) {
            PrintCommandUsage(stdout, *command);
            std::printf("%s\n", command->summary);
            return kExitSuccess;
        }
        std::fprintf(stderr, "xtsutil help: unknown command '%s'\n", arguments[0]);
    } else {
        std::fputs("xtsutil help: too many arguments\n", stderr);
    }
    return kExitUsage;
}

}  // namespace

std::span<const Command> GetCommands() {
    return kCommands;
}

}  // namespace xtsutil

int main(int argc, char** argv) {
    using namespace xtsutil;
    // Command-line words are in the user's code page.
    std::setlocale(LC_ALL, "");

    if (argc < 2) {
        PrintUsage(stderr);
        return kExitUsage;
    }
    const char* name = argv[1];
    if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "-h") == 0) {
        PrintUsage(stdout);
        return kExitSuccess;
    }
    const Command* command = FindCommand(name);
    if (command == nullptr) {
        std::fprintf(stderr, "xtsutil: unknown command '%s'\n\n", name);
        PrintUsage(stderr);
        return kExitUsage;
    }
    int status = kExitFailure;
    try {
        status = command->handler(CommandArguments(argv + 2, static_cast<std::size_t>(argc - 2)));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "xtsutil %s: %s\n", command->name, error.what());
    }
    if (status == kExitUsage) PrintCommandUsage(stderr, *command);
    return status;
}
