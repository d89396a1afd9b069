#include "Manual.h"

#include <algorithm>

namespace {

constexpr char SUMMARY[] = "belief networks and decision networks at the command line";
constexpr char DESCRIPTION[] =
    "Nets and case files are read from the standard input and results written to the standard output where - stands\n"
    "for a file. On a terminal the output is made for reading; piped, it is rows of columns separated by tabs.";
constexpr char EXIT_CODES[] =
    "0    all is well\n"
    "1    something was refused, or could not be read or written\n"
    "2    the command line makes no sense\n"
    "130  interrupted (Ctrl-C)";
constexpr char EXAMPLE[] = "bravic beliefs clinic.dne --finding Smoking=smoker --node Bronchitis";

std::string Indented(const std::string& text) {
  std::string indented = "  ";
  for (char c : text) indented.append(1, c).append(c == '\n' ? "  " : "");
  return indented;
}

std::string Usage(const Command& command) {
  std::string usage = "bravic " + command.name;
  bool optional = false;
  for (const Option& option : command.options) {
    if (option.IsArgument()) {
      usage += " " + option.names + (option.IsList() ? "..." : "");
    } else if (option.required) {
      usage += " " + option.Spellings()[0] + " " + option.form;
    } else {
      optional = true;
    }
  }
  return usage + (optional ? " [options]" : "");
}

// "-o, --output OUT"
std::string Heading(const Option& option) {
  if (option.IsArgument()) return option.names + (option.IsList() ? "..." : "");
  std::vector<std::string> spellings = option.Spellings();
  std::sort(spellings.begin(), spellings.end(), [](const auto& a, const auto& b) { return a.size() < b.size(); });
  std::string heading;
  for (const std::string& spelling : spellings) heading += (heading.empty() ? "" : ", ") + spelling;
  return option.IsFlag() ? heading : heading + " " + option.form;
}

std::string HelpText(const Option& option) {
  return option.help + (option.IsList() && !option.IsArgument() ? "; may be repeated" : "");
}

std::string Rows(const std::vector<std::pair<std::string, std::string>>& rows) {
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, row.first.size());
  std::string text;
  for (const auto& [left, right] : rows) text += "  " + left + std::string(width - left.size() + 2, ' ') + right + "\n";
  return text;
}

std::vector<std::pair<std::string, std::string>> OptionRows(const Command& command) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const Option& option : command.options) rows.emplace_back(Heading(option), HelpText(option));
  rows.emplace_back("-h, --help", "this text");
  return rows;
}

// --- The manual page

std::string Escaped(const std::string& text) {
  std::string escaped;
  bool starts = true;
  for (char c : text) {
    if (starts && (c == '.' || c == '\'')) escaped += "\\&";
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
    starts = c == '\n';
  }
  return escaped;
}

std::string AsPrinted(const std::string& text) {
  return ".PP\n.nf\n" + Escaped(text) + "\n.fi\n";
}

std::string ManualPage(const Program& program) {
  std::string page = ".TH BRAVIC 1 \"\" \"Bravic " BRAVIC_VERSION "\" \"User Commands\"\n.SH NAME\nbravic \\- ";
  page += Escaped(SUMMARY) + "\n.SH SYNOPSIS\n.B bravic\n.I COMMAND\n[\\fIARGUMENT\\fR]...\n.SH DESCRIPTION\n";
  page += Escaped(DESCRIPTION) + "\n.SH COMMANDS\n";
  for (const Command& command : program.commands) {
    page += ".SS " + Escaped(Usage(command)) + "\n" + Escaped(command.help) + ".\n";
    for (const Option& option : command.options)
      page += ".TP\n.B " + Escaped(Heading(option)) + "\n" + Escaped(HelpText(option)) + "\n";
    if (!command.notes.empty()) page += AsPrinted(command.notes);
  }
  page += ".SH EXIT STATUS\n" + AsPrinted(EXIT_CODES) + ".SH EXAMPLE\n" + AsPrinted(EXAMPLE);
  return page;
}

// --- Completions

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string CommandNames(const Program& program) {
  std::vector<std::string> names;
  for (const Command& command : program.commands) names.push_back(command.name);
  return Joined(names);
}

std::string BashCompletion(const Program& program) {
  std::string cases;
  for (const Command& command : program.commands) {
    std::vector<std::string> options = {"--help"}, values;
    for (const Option& option : command.options) {
      if (option.IsArgument()) continue;
      for (const std::string& spelling : option.Spellings()) {
        options.push_back(spelling);
        if (!option.IsFlag() && !option.file) values.push_back(spelling);
      }
    }
    cases += "    " + command.name + ") options='" + Joined(options) + "' values=' " + Joined(values) + " ' ;;\n";
  }
  return "# Completion of bravic for bash.\n"
         "_bravic() {\n"
         "  local options= values= word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  if [ \"$COMP_CWORD\" = 1 ]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W '" +
         CommandNames(program) +
         " --help --version' -- \"$word\")\n"
         "    return\n"
         "  fi\n"
         "  case ${COMP_WORDS[1]} in\n" +
         cases +
         "  esac\n"
         "  case $word in\n"
         "    -*) mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\") ;;\n"
         "    *) [[ $values = *\" $before \"* ]] || mapfile -t COMPREPLY < <(compgen -f -- \"$word\") ;;\n"
         "  esac\n"
         "}\n"
         "complete -o filenames -F _bravic bravic\n";
}

std::string Quoted(const std::string& text) {  // for a shell
  std::string quoted = "'";
  for (char c : text) quoted.append(c == '\'' ? "'\\''" : std::string(1, c));
  return quoted + "'";
}

std::string Backslashed(const std::string& text, const std::string& special) {
  std::string escaped;
  for (char c : text) escaped.append(special.find(c) == std::string::npos ? "" : "\\").append(1, c);
  return escaped;
}

std::string ZshOption(const Option& option) {
  const std::string action = option.file ? ":_files" : ": ", many = option.IsList() ? "*" : "";
  if (option.IsArgument()) return Quoted(many + ":" + option.names + action);
  const std::string help = "[" + Backslashed(HelpText(option), "[]:\\") + "]";
  const std::string value = option.IsFlag() ? "" : ":" + Backslashed(option.form, ":") + action;
  std::string specs;
  for (const std::string& spelling : option.Spellings())
    specs.append(specs.empty() ? "" : " ").append(Quoted(many + spelling + help + value));
  return specs;
}

std::string ZshCompletion(const Program& program) {
  std::string names, cases;
  for (const Command& command : program.commands) {
    names += "    " + Quoted(command.name + ":" + Backslashed(command.help, ":")) + "\n";
    cases += "    " + command.name + ") _arguments -s '--help[this text]'";
    for (const Option& option : command.options) cases += " \\\n      " + ZshOption(option);
    cases += " ;;\n";
  }
  return "#compdef bravic\n"
         "# Completion of bravic for zsh.\n"
         "_bravic() {\n"
         "  local -a commands=(\n" +
         names +
         "  )\n"
         "  if (( CURRENT == 2 )); then\n"
         "    _describe command commands\n"
         "    _arguments '--help[this text]' '--version[the version]'\n"
         "    return\n"
         "  fi\n"
         "  local name=$words[2]\n"
         "  shift words\n"
         "  (( CURRENT-- ))\n"
         "  case $name in\n" +
         cases +
         "  esac\n"
         "}\n"
         "_bravic \"$@\"\n";
}

std::string FishCompletion(const Program& program) {
  std::string text = "# Completion of bravic for fish.\n";
  text += "complete -c bravic -n __fish_use_subcommand -f -l version -d 'the version'\n";
  text += "complete -c bravic -f -l help -s h -d 'this text'\n";
  for (const Command& command : program.commands) {
    text += "complete -c bravic -n __fish_use_subcommand -f -a " + command.name + " -d " + Quoted(command.help) + "\n";
    for (const Option& option : command.options) {
      if (option.IsArgument()) continue;
      text += "complete -c bravic -n '__fish_seen_subcommand_from " + command.name + "'";
      for (const std::string& spelling : option.Spellings())
        text += spelling.size() > 2 ? " -l " + spelling.substr(2) : " -s " + spelling.substr(1);
      if (!option.IsFlag()) text += option.file ? " -r -F" : " -x";
      text += " -d " + Quoted(HelpText(option)) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string HelpOfProgram(const Program& program) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const Command& command : program.commands) rows.emplace_back(command.name, command.help);
  std::string text = "bravic: ";
  text += SUMMARY;
  text += "\n\nUsage: bravic COMMAND [ARGUMENT]...\n\nCommands:\n";
  return text + Rows(rows) + "\nOptions:\n" +
         Rows({{"-h, --help", "this text; after a command, its own"}, {"--version", "the version"}}) + "\n" +
         DESCRIPTION + "\n\nExit codes:\n" + Indented(EXIT_CODES) + "\n\nExample:\n" + Indented(EXAMPLE) + "\n";
}

std::string HelpOfCommand(const Command& command) {
  std::string text = command.help + ".\n\nUsage: " + Usage(command) + "\n\n" + Rows(OptionRows(command));
  if (!command.notes.empty()) text += "\n" + command.notes + "\n";
  return text + "\nExit codes:\n" + Indented(EXIT_CODES) + "\n";
}

std::string Generated(const Program& program, const std::string& what) {
  if (what == "man") return ManualPage(program);
  if (what == "bash") return BashCompletion(program);
  if (what == "zsh") return ZshCompletion(program);
  if (what == "fish") return FishCompletion(program);
  return "";
}
