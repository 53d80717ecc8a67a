#include "kyhost/commands/man_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <span>
#include <string_view>
#include <variant>

namespace kyhost {
namespace {

struct Entry {
  char const* term;
  char const* text;
};

constexpr char const* kDescription =
    "The program loads a decoder plug-in and reaches media through it alone. PATH is a clip description of a "
    "card (.SMI, .XML), a take list (.mzl) or a media file. A description opens its whole take; it is opened "
    "in its place on the card, since the card's catalogue names the clips. Standard output carries the "
    "program's data alone, so that it can be piped. A progress bar shows itself on standard error when that "
    "is "
    "a terminal and the work takes more than a second. A file is written under a hidden name in its folder "
    "and "
    "gets its own when it is complete: a failure or an interruption leaves nothing unfinished.";

constexpr Entry kExamples[] = {
    {"kyhost info CLIP.SMI", "What the take holds."},
    {"kyhost frames CLIP.SMI -o take.y4m", "Its pictures as one file."},
    {"kyhost frames CLIP.SMI --from 30 --to 45 -o shots/", "Fifteen pictures as PNG."},
    {"kyhost frames CLIP.SMI -o - | ffplay -", "Pictures into a pipe."},
    {"kyhost audio CLIP.SMI --set joinMonoStreams=0 --stream 2 -o track3.wav", "One mono track alone."},
    {"kyhost info CLIP.SMI --json | jq .video[0].frames", "One fact for a script."},
    {"kyhost cc SHOW.ts -o show.srt", "Closed captions as SubRip text."}};

constexpr Entry kFiles[] = {
    {"xdcamdecode.so", "The plug-in: beside the program, else in ../lib/ky or ../lib."}};

constexpr Entry kEnvironment[] = {
    {"KY_DEBUG",
     "Levels of the decoder's log to be shown, as --debug takes them, where --debug is not given."},
    {"KY_TEMP_DIR", "Folder of the decoder's temporary files; else TMPDIR, else /tmp."}};

// Text of which troff takes nothing for a request or an escape.
std::string literal(std::string_view text) {
  std::string out = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (char const character : text) {
    if (character == '\\')
      out += "\\e";
    else if (character == '-')
      out += "\\-";
    else
      out += character;
  }
  return out;
}

std::string bold(std::string_view text) { return "\\fB" + literal(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + literal(text) + "\\fR"; }

std::string kindOf(Argument const& argument) {
  if (argument.isFlag()) return {};
  if (!argument.kind.empty()) return argument.kind;
  std::string out;
  for (std::string const& choice : argument.choices) out += (out.empty() ? "" : "|") + choice;
  if (!out.empty()) return out;
  bool const text = std::holds_alternative<std::string*>(argument.target);
  return text ? "TEXT" : "N";
}

// "-o, --output FILE".
std::string termOf(Argument const& argument) {
  if (argument.byPlace()) return italic(argument.names);
  std::string out;
  for (std::string_view names = argument.names; !names.empty();) {
    size_t const comma = std::min(names.find(','), names.size());
    out += (out.empty() ? "" : ", ") + bold(names.substr(0, comma));
    names.remove_prefix(std::min(comma + 1, names.size()));
  }
  std::string const kind = kindOf(argument);
  return kind.empty() ? out : out + " " + italic(kind);
}

std::string defaultOf(Argument const& argument) {
  return std::visit(
      [](auto const* value) -> std::string {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(*value)>, std::vector<std::string>>) {
          return {};
        } else {
          return fmt::format("{}", *value);
        }
      },
      argument.target);
}

std::string sentence(std::string text) {
  text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
  return literal(text) + (text.ends_with('.') ? "" : ".");
}

std::string entry(std::string const& term, std::string const& text) {
  return fmt::format(".TP\n{}\n{}\n", term, text);
}

std::string entryOf(Argument const& argument) {
  std::string text = sentence(argument.help);
  if (argument.limits) text += fmt::format("\n{} to {}.", argument.limits->low, argument.limits->high);
  if (argument.showsDefault) text += fmt::format("\nDefault: {}.", literal(defaultOf(argument)));
  if (argument.required && !argument.byPlace()) text += "\nMust be given.";
  return entry(termOf(argument), text);
}

std::string entriesOf(Arguments const& arguments) {
  std::string out;
  for (Argument const& argument : arguments) out += entryOf(argument);
  return out;
}

std::string section(char const* name, std::span<Entry const> entries) {
  std::string out = fmt::format(".SH {}\n", name);
  for (auto const& [term, text] : entries) out += entry(bold(term), literal(text));
  return out;
}

// "kyhost get [OPTIONS] PATH KEY [ARGUMENT]".
std::string synopsisOf(Program const& program, Command const& command) {
  std::string out = bold(std::string(program.name) + " " + command.name) + " [" + italic("OPTIONS") + "]";
  for (Argument const& argument : argumentsOf(command)) {
    if (!argument.byPlace()) continue;
    out += argument.required ? " " + italic(argument.names) : " [" + italic(argument.names) + "]";
  }
  return out;
}

std::string commandSection(Program const& program, Command const& command) {
  return fmt::format(".SS {}\n{}\n.PP\n{}\n{}\n{}", command.name, synopsisOf(program, command),
                     sentence(command.what), literal(command.details), entriesOf(argumentsOf(command)));
}

std::string exitStatus(Program const& program) {
  std::string out = ".SH EXIT STATUS\n";
  for (ExitText const& exit : program.exits)
    out += entry(bold(std::to_string(static_cast<int>(exit.code))), sentence(exit.text));
  return out + entry(bold("128 + n"), "Ended by signal n.");
}

std::string opening(Program const& program) {
  std::string what = program.what;
  what.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(what.front())));
  if (what.ends_with('.')) what.pop_back();
  std::string const name = bold(program.name);
  std::string out =
      fmt::format(".TH KYHOST 1 \"\" \"{} {}\" \"User Commands\"\n", program.name, program.version);
  out += fmt::format(".SH NAME\n{} \\- {}\n", program.name, literal(what));
  out += fmt::format(".SH SYNOPSIS\n{} [{}] {} {} [{}]\n", name, italic("OPTIONS"), italic("COMMAND"),
                     italic("PATH"), italic("OPTIONS OF THE COMMAND"));
  out += fmt::format(".SH DESCRIPTION\n{}\n.PP\n", literal(kDescription));
  for (char const* note : program.notes) out += literal(note) + "\n";
  return out;
}

}  // namespace

std::string manPage(Program const& program) {
  std::string out = opening(program);
  out += ".SH OPTIONS\n";
  for (auto const& [names, text] : {Entry{kHelpNames, kHelpText}, Entry{kVersionNames, kVersionText}})
    out += entryOf({names, text, static_cast<bool*>(nullptr)});
  out += entriesOf(program.arguments);
  out += ".SH COMMANDS\n";
  for (Command const& command : program.commands) out += commandSection(program, command);
  out += exitStatus(program);
  out += section("EXAMPLES", kExamples);
  out += section("FILES", kFiles);
  return out + section("ENVIRONMENT", kEnvironment);
}

}  // namespace kyhost
