#include "desktop/ExecLine.h"

#include <algorithm>

namespace tesker {

namespace {

using Kind = ExecPiece::Kind;

bool isBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; }

// One word of the line, unquoted; moves the line behind it. Nothing when a quotation is not closed.
std::optional<std::string> takeWord(std::string_view &line) {
  std::string word;
  char quote = '\0';
  while (!line.empty() && (quote != '\0' || !isBlank(line.front()))) {
    const char byte = line.front();
    line.remove_prefix(1);
    if (byte == quote) {
      quote = '\0';
    } else if (quote == '\0' && (byte == '"' || byte == '\'')) {
      quote = byte;
    } else if (byte == '\\' && quote != '\'' && !line.empty() &&
               (quote == '\0' || std::string_view("\"`$\\").find(line.front()) != line.npos)) {
      word += line.front();
      line.remove_prefix(1);
    } else {
      word += byte;
    }
  }
  return quote == '\0' ? std::optional(word) : std::nullopt;
}

std::optional<Kind> kindOf(char code) {
  switch (code) {
  case 'f':
  case 'u':
    return Kind::file;
  case 'F':
  case 'U':
    return Kind::files;
  case 'i':
    return Kind::icon;
  case 'c':
    return Kind::name;
  case 'k':
    return Kind::entryFile;
  default:
    return std::nullopt;
  }
}

void addText(ExecWord &word, char byte) {
  if (word.pieces.empty() || word.pieces.back().kind != Kind::text)
    word.pieces.push_back({Kind::text, {}});
  word.pieces.back().text += byte;
}

// The word with its codes. Empty when there was nothing but codes that stand for nothing.
ExecWord withCodes(std::string_view text) {
  ExecWord word;
  if (text.empty())
    word.pieces.push_back({Kind::text, {}});
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 1 == text.size()) {
      addText(word, text[i]);
    } else if (const char code = text[++i]; code == '%') {
      addText(word, '%');
    } else if (const std::optional<Kind> kind = kindOf(code)) {
      word.pieces.push_back({*kind, {}});
    }
  }
  return word;
}

} // namespace

bool ExecWord::is(Kind kind) const { return pieces.size() == 1 && pieces.front().kind == kind; }

bool ExecWord::has(Kind kind) const {
  return std::ranges::find(pieces, kind, &ExecPiece::kind) != pieces.end();
}

std::string ExecLine::program() const { return words.front().pieces.front().text; }

bool ExecLine::takesAllFiles() const {
  return std::ranges::any_of(words, [](const ExecWord &word) { return word.is(Kind::files); });
}

std::optional<ExecLine> parseExec(std::string_view line) {
  ExecLine exec;
  bool hasFile = false;
  while (true) {
    while (!line.empty() && isBlank(line.front()))
      line.remove_prefix(1);
    if (line.empty())
      break;
    const std::optional<std::string> word = takeWord(line);
    if (!word)
      return std::nullopt;
    ExecWord coded = withCodes(*word);
    hasFile = hasFile || coded.has(Kind::file) || coded.has(Kind::files);
    if (!coded.pieces.empty())
      exec.words.push_back(std::move(coded));
  }
  if (exec.words.empty() || !exec.words.front().is(Kind::text) || exec.program().empty())
    return std::nullopt;
  if (!hasFile)
    exec.words.push_back({{{Kind::file, {}}}});
  return exec;
}

} // namespace tesker
