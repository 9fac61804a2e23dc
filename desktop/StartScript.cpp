#include "desktop/StartScript.h"

#include "command/DisplayText.h"
#include "desktop/ExecLine.h"

#include <gio/gio.h>

namespace tesker {

namespace {

using Kind = ExecPiece::Kind;

constexpr const char *kAbsoluteFiles = R"(for file do
  shift
  case $file in
    /* | *://*) ;;
    *) file=$PWD/$file ;;
  esac
  set -- "$@" "$file"
done
)";

constexpr const char *kInTerminal = R"(in_terminal() {
  if command -v xdg-terminal-exec >/dev/null; then
    exec xdg-terminal-exec "$@"
  elif command -v x-terminal-emulator >/dev/null; then
    exec x-terminal-emulator -e "$@"
  fi
  exec xterm -e "$@"
}
)";

constexpr const char *kEachFile = R"(if [ $# -le 1 ]; then
  start "$@"
fi
for file do
  (start "$file") &
done
wait
)";

// The bytes with a double quotation mark around what the shell fills in.
std::string wordFor(const ExecWord &word, const DesktopEntry &entry) {
  std::string text;
  for (const ExecPiece &piece : word.pieces) {
    switch (piece.kind) {
    case Kind::text:
      text += quotedForShell(piece.text);
      break;
    case Kind::file:
    case Kind::files:
      text += "\"${1-}\"";
      break;
    case Kind::icon:
      text += quotedForShell(entry.icon);
      break;
    case Kind::name:
      text += quotedForShell(entry.localName);
      break;
    case Kind::entryFile:
      text += quotedForShell(entry.file);
      break;
    }
  }
  return text;
}

// The words as a line for a shell, in which the files are the arguments.
std::string commandOf(const ExecLine &line, const DesktopEntry &entry) {
  std::string command;
  for (const ExecWord &word : line.words) {
    if (word.is(Kind::icon) && entry.icon.empty())
      continue;
    command += ' ';
    if (word.is(Kind::file) || word.is(Kind::files))
      command += "\"$@\""; // no word where there is no file
    else if (word.is(Kind::icon))
      command += "--icon " + quotedForShell(entry.icon);
    else
      command += wordFor(word, entry);
  }
  return command;
}

// The id as applications have it on D-Bus; empty where it cannot be one.
std::string applicationIdOf(const DesktopEntry &entry) {
  const std::string id = entry.id.substr(0, entry.id.rfind(".desktop"));
  return entry.isActivatable && g_application_id_is_valid(id.c_str()) != 0 ? id : "";
}

} // namespace

std::string quotedForShell(std::string_view bytes) {
  std::string quoted = "'";
  for (const char byte : bytes)
    if (byte == '\'')
      quoted += "'\\''";
    else
      quoted += byte;
  return quoted + "'";
}

std::string startScript(const DesktopEntry &entry) {
  std::string script = "#!/bin/sh\n# Starts " + displayText(entry.id) +
                       "; made by \"tesker-desktop import\", which writes it again.\n";
  if (const std::string id = applicationIdOf(entry); !id.empty())
    script += "if gapplication launch " + quotedForShell(id) +
              " \"$@\" 2>/dev/null; then\n  exit 0\nfi\n";
  const std::optional<ExecLine> line = parseExec(entry.exec);
  if (!line)
    return script + "exit 1\n";
  if (!entry.directory.empty())
    script += kAbsoluteFiles + ("cd -- " + quotedForShell(entry.directory)) + " || exit\n";
  if (entry.needsTerminal)
    script += kInTerminal;
  script += std::string("start() {\n  ") + (entry.needsTerminal ? "in_terminal" : "exec") +
            commandOf(*line, entry) + "\n}\n";
  return script + (line->takesAllFiles() ? "start \"$@\"\n" : kEachFile);
}

} // namespace tesker
