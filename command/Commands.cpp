#include "command/Commands.h"

#include "command/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace tesker {

namespace {

void declareList(CommandOptions &options) {
  options.words("PATH", options.arguments.paths,
                "Directories or applications; without any: the\n"
                "setting ApplicationPaths of domain Tesker, or else\n"
                "~/Applications, /usr/local/Applications,\n"
                "/Applications and what tesker-desktop has made");
  options.format(true);
  options.table(kProgramColumns);
  options.lastAnswer();
  options.cached();
  options.search();
  options.jobs();
}

void declareDock(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  CLI::Option *paths = options.words("PATH", arguments.paths, "Applications or directories");
  options
      .file("--paths0-from", arguments.pathListFile,
            "Read the paths from FILE (- is standard input),\n"
            "each with a NUL character behind it; they are sent\n"
            "as they are")
      ->excludes(paths);
  options.format(true);
  options.table(kProgramColumns);
  options.lastAnswer();
  options.search();
  options.check([&arguments]() -> std::string {
    return arguments.paths.empty() && arguments.pathListFile.empty()
               ? "PATH or --paths0-from is required"
               : "";
  });
}

void declareDecode(CommandOptions &options) {
  options.format(false);
  options.table(kProgramColumns);
  options.file("FILE", options.arguments.input, "The file to read; - is standard input")
      ->required()
      ->option_text(" ");
}

void declareEncode(CommandOptions &options) {
  options.file("FILE", options.arguments.input, "The file to read; - is standard input")
      ->required()
      ->option_text(" ");
}

void declareHandlers(CommandOptions &options) {
  options
      .word("EXT", options.arguments.subject,
            "An extension such as txt, or a file: what has a\n"
            "dot or a slash in it")
      ->required();
  options.question();
  options.table(kHandlerColumns);
}

void declareTypes(CommandOptions &options) {
  options.question();
  options.table(kTypeColumns);
}

void declareServices(CommandOptions &options) {
  options.question();
  options.table(kServiceColumns);
}

void declareShow(CommandOptions &options) {
  options
      .word("NAME", options.arguments.subject,
            "An application's name, or the path of its program\n"
            "or wrapper")
      ->required();
  options.question();
  options.table(kRecordColumns);
}

void declareOpen(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  options.words("FILE", arguments.files, "The files to open; none only starts --with");
  options.value("--with", "NAME", arguments.application,
                "Open them with this application (a name or path),\n"
                "whatever it says that it opens");
  options.flag("--print", arguments.print, "Print what would be started, and start nothing");
  options.question();
  options.check([&arguments]() -> std::string {
    return arguments.files.empty() && arguments.application.empty() ? "FILE or --with is required"
                                                                    : "";
  });
}

void declarePrefer(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  options.word("EXT", arguments.subject, "The extension; without one, all are listed");
  options.word("NAME", arguments.application,
               "The application to prefer (a name or path);\n"
               "without one, the preferred one is printed");
  options.flag("--forget", arguments.forget, "Prefer none for EXT any more");
  options.question();
  options.table(kPreferenceColumns);
  options.check([&arguments]() -> std::string {
    if (!arguments.forget)
      return "";
    if (arguments.subject.empty())
      return "--forget requires EXT";
    return arguments.application.empty() ? "" : "--forget excludes NAME";
  });
}

void declareWhy(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  options.words("PATH", arguments.files, "Applications, files or directories");
  options.flag("--all", arguments.all, "Print every entry that the search met");
  options.code("--code", arguments.code, "Print the entries of which CODE was said");
  options.code("--explain", arguments.explain, "Say what CODE means");
  options.format(false);
  options.places();
  options.judging();
  options.check([&arguments]() -> std::string {
    return arguments.files.empty() && !arguments.explain ? "PATH or --explain is required" : "";
  });
}

void declareDiff(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  options
      .file("OLD", arguments.input,
            "An answer that --save or --format raw has written;\n"
            "- is standard input")
      ->required()
      ->option_text(" ");
  CLI::Option *later =
      options.file("NEW", arguments.answerFile, "A later one; without it, a search is made now");
  later->option_text(" ");
  options.flag("--exit-code", arguments.exitCode, "Exit with 1 when something has changed");
  options.format(false);
  options.table(kChangeColumns);
  options.places()->excludes(later);
  options.search();
  options.jobs();
  options.check([&arguments]() -> std::string {
    return arguments.input == "-" && arguments.answerFile == "-"
               ? "OLD and NEW cannot both be standard input"
               : "";
  });
}

void declareWatch(CommandOptions &options) {
  options.words("PATH", options.arguments.paths,
                "Directories or applications; without any, the\n"
                "usual places, as of list");
  options.lines();
  options.pollInterval();
  options.search();
  options.jobs();
}

void declareCheck(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  options
      .words("FILE", arguments.files,
             "Descriptions, executables and wrappers; of another\n"
             "directory all that is below it")
      ->required();
  options
      .value("--kind", "KIND", arguments.kind,
             "What the files are: list (Info-quorvale.plist),\n"
             "registry (registry.table) or header (the text of\n"
             "an icon header); without it, their names and\n"
             "contents say so")
      ->check(CLI::IsMember({"list", "registry", "header"}))
      ->option_text("KIND");
  options.flag("--strict", arguments.strict, "Exit with 1 when there are only warnings, too");
  options.format(false);
  options.timeout();
}

void declareMake(CommandOptions &options) {
  Arguments &arguments = options.arguments;
  MakeArguments &make = arguments.make;
  options
      .word("WHAT", arguments.subject,
            "wrapper: a directory NAME.app with a program and\n"
            "its description; header: the text that a program\n"
            "can carry to describe itself")
      ->required()
      ->check(CLI::IsMember({"wrapper", "header"}))
      ->option_text(" ");
  options.word("PLACE", make.place,
               "The directory to make the wrapper in, or the file\n"
               "for the header, without it standard output; what\n"
               "is there already is not replaced");
  options.value("--name", "NAME", make.name, "The application's name")->required();
  options.value("--executable", "PATH", make.executable,
                "The program or script that is copied into the\n"
                "wrapper, or is to carry the header");
  options.file("--icon", make.icon,
               "The application's icon, which is copied into the\n"
               "wrapper and only named in a header");
  options.values("--types", "TYPES", make.types,
                 "What it opens: EXT[,EXT...][:ICON], extensions and\n"
                 "a file with their icon; may stand several times");
  options.flag("--services", make.services, "It offers services to other programs");
  options.timeout();
  options.check([&arguments, &make]() -> std::string {
    if (arguments.subject == "header")
      return make.icon.empty() ? "a header requires --icon" : "";
    if (make.executable.empty())
      return "a wrapper requires --executable";
    return make.place.empty() ? "a wrapper requires PLACE" : "";
  });
}

void declareHelp(CommandOptions &options) {
  options.word("COMMAND", options.arguments.subject,
               "One of the commands; without one, all are listed");
}

} // namespace

const std::vector<Command> &allCommands() {
  static const std::vector<Command> commands{
      {"list", "List the applications in directories", declareList, listCommand},
      {"dock", "Look at single applications, in one request", declareDock, dockCommand},
      {"handlers", "Say which applications open a type of file", declareHandlers, handlersCommand},
      {"types", "List the types of files that can be opened", declareTypes, typesCommand},
      {"services", "List the programs that offer services", declareServices, servicesCommand},
      {"show", "Show all that an application says of itself", declareShow, showCommand},
      {"open", "Open files with their best application", declareOpen, openCommand},
      {"prefer", "Choose the application for a type of file", declarePrefer, preferCommand},
      {"why", "Say why an application is found, or is not", declareWhy, whyCommand},
      {"check", "Say what is wrong with descriptions", declareCheck, checkCommand},
      {"make", "Make a wrapper or header of one's own", declareMake, makeCommand},
      {"diff", "Compare two answers", declareDiff, diffCommand},
      {"watch", "List applications, and what changes from then on", declareWatch, watchCommand},
      {"decode", "Print the records of an encoded text", declareDecode, decodeCommand},
      {"encode", "Encode what decode has printed as JSON", declareEncode, encodeCommand},
      {"help", "Print what a command takes", declareHelp, helpCommand},
  };
  return commands;
}

} // namespace tesker
