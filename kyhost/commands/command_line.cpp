#include "kyhost/commands/command_line.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <utility>
#include <variant>
#include <vector>

namespace kyhost {
namespace {

CLI::Option* addTo(CLI::App& app, Argument const& argument) {
  return std::visit(
      [&](auto* target) -> CLI::Option* {
        if constexpr (std::is_same_v<decltype(target), bool*>) {
          return app.add_flag(argument.names, *target, argument.help);
        } else {
          return app.add_option(argument.names, *target, argument.help);
        }
      },
      argument.target);
}

void add(CLI::App& app, Argument const& argument) {
  CLI::Option& option = *addTo(app, argument);
  if (argument.isFlag()) return;
  option.required(argument.required);
  if (!argument.kind.empty()) option.type_name(argument.kind);
  // Each value of a list has its own name before it.
  option.allow_extra_args(false);
  if (argument.limits) option.check(CLI::Range(argument.limits->low, argument.limits->high));
  if (argument.nonNegative) option.check(CLI::NonNegativeNumber);
  if (!argument.choices.empty()) option.check(CLI::IsMember(argument.choices));
  if (argument.showsDefault) option.capture_default_str();
}

// The codes side by side, each whole on its line.
std::string exitCodes(std::vector<ExitText> const& exits) {
  constexpr size_t kWidth = 104;
  std::string out;
  std::string line = "Exit codes:";
  for (size_t i = 0; i < exits.size(); ++i) {
    std::string const code = fmt::format("{} {}{}", static_cast<int>(exits[i].code), exits[i].text,
                                         i + 1 == exits.size() ? '.' : ',');
    if (line.size() + 1 + code.size() > kWidth) {
      out += std::exchange(line, code) + "\n";
    } else {
      line += " " + code;
    }
  }
  return out + line;
}

std::string footer(Program const& program) {
  return fmt::format("{}\n\n{}", fmt::join(program.notes, "\n"), exitCodes(program.exits));
}

}  // namespace

Call readCommandLine(int argc, char** argv, Program const& program, std::function<std::string()> versions) {
  CLI::App app(program.what, program.name);
  app.footer(footer(program));
  app.require_subcommand(1);
  app.set_help_flag(kHelpNames, kHelpText);
  for (Argument const& argument : program.arguments) add(app, argument);
  // Behind --plugin, which it asks for.
  app.set_version_flag(kVersionNames, std::move(versions), kVersionText);
  for (Command const& command : program.commands) {
    CLI::App& sub = *app.add_subcommand(command.name, command.what)->fallthrough();
    for (Argument const& argument : argumentsOf(command)) add(sub, argument);
  }
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    bool const asked = error.get_exit_code() == 0;
    app.exit(error);
    return {nullptr, asked ? ExitCode::Ok : ExitCode::Usage};
  }
  for (Command const& command : program.commands)
    if (app.got_subcommand(command.name)) return {&command, ExitCode::Ok};
  return {nullptr, ExitCode::Usage};
}

}  // namespace kyhost
