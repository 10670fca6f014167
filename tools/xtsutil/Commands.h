// The subcommands of xtsutil. Each subcommand is one row of the command table
// in main.cpp and one handler, usually in a file of its own. A handler gets
// the arguments that follow its name and returns the exit status.
#pragma once

#include <span>

namespace xtsutil {

// Exit statuses shared by every subcommand.
inline constexpr int kExitSuccess = 0;
// The command ran, and its answer is "no" (e.g. a word that is not reserved).
inline constexpr int kExitNegative = 1;
// The command line was wrong; the usage of the subcommand goes to stderr.
inline constexpr int kExitUsage = 2;
// The command failed: it raised an error, whose text goes to stderr.
inline constexpr int kExitFailure = 3;

using CommandArguments = std::span<char* const>;
using CommandHandler = int (*)(CommandArguments arguments);

// One row of the command table.
struct Command {
    const char* name;
    const char* usage;    // the arguments after the name, e.g. "WORD..."
    const char* summary;  // one line for the help text
    CommandHandler handler;
};

// The command table, in the order the help lists it.
std::span<const Command> GetCommands();

// Handlers, one per subcommand.
int RunTypesCommand(CommandArguments arguments);
int RunKeywordCommand(CommandArguments arguments);
int RunConvertCommand(CommandArguments arguments);
int RunConvertersCommand(CommandArguments arguments);
int RunDemoCommand(CommandArguments arguments);

}  // namespace xtsutil
