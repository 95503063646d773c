#pragma once

#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Parses the arguments of a command, and prints its help, from one table of its options.
namespace tessary {

struct OptionSpec {
  std::string_view names;  // "--copy", or with a short name "-k,--kind"
  std::string_view value;  // what the help calls the option's value; empty if it takes none
  std::string_view help;   // one line or several
};

// A program, or one of its commands. Every one has the option "-h,--help" besides `options`.
struct CommandSpec {
  std::string_view name;         // as the user types it, "tessary-cli aggregate"
  std::string_view usage;        // the lines below "Usage:"
  std::string_view description;  // the text before the options
  std::span<const OptionSpec> options = {};
  std::string_view footer = {};  // the text after the options
  // Arguments that begin with a single dash are operands unless they are options.
  bool hasDashedOperands = false;
};

struct ParsedArguments {
  bool isHelpWanted = false;
  // The values of each option that was given, in their order, by long name ("--kind"). An option
  // that takes no value has one element for each time that it was given.
  std::map<std::string, std::vector<std::string>, std::less<>> options;
  std::vector<std::string> operands;
};

// A mistake in the arguments; the text is one line that names it and what is expected. The parsing
// functions throw it internally and never pass it to their callers.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Splits the arguments into options, which may stand anywhere before "--", and operands. Returns
// false if one is not a valid option; `*problem` is then one line that names it. `*parsed` is
// written on success only. If help is wanted, invalid options are ignored.
bool ParseArguments(const CommandSpec& command, const std::vector<std::string>& arguments,
                    ParsedArguments* parsed, std::string* problem);

// What "--help" prints.
std::string HelpText(const CommandSpec& command);

// A problem with its hint: "PROBLEM. Try 'NAME --help'."
std::string WithHelpHint(std::string_view problem, const CommandSpec& command);

// What follows a word that is not one of `known`: "; did you mean WORD?", where WORD begins with it
// or differs from it by a few letters. Empty if no word is similar.
std::string Suggestion(std::string_view word, std::span<const std::string_view> known);

}  // namespace tessary
