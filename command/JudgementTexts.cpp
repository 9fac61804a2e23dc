#include "command/JudgementTexts.h"

#include "command/DisplayText.h"

#include <array>

namespace tesker {

namespace {

struct CodeTexts {
  // The sentence; the detail follows it behind a colon where there is one.
  std::string_view sentence;
  // What to do; "%" stands for the file concerned. Empty: nothing.
  std::string_view advice;
  bool complaint;
  std::string_view explanation; // in lines of at most 78 columns
};

// In the order of the codes.
constexpr std::array<CodeTexts, kJudgementCodes> kTexts = {{
    {"it is an application", "", false,
     "The entry is an application, or a part of one that describes itself, and\n"
     "records were made of what it says.\n"},
    {"it is a directory and not an application; what is in it was searched", "", false,
     "An application directory is named *.app, *.debug or *.profile. Any other\n"
     "directory is searched, and each entry in it is judged by itself.\n"},
    {"it is an ordinary part of an application", "", false,
     "What lies in an application directory belongs to that application. Only the\n"
     "description, the executable, \"services\" and nested tools and bundles count.\n"},
    {"there is no such file or directory", "Check the path %", true,
     "The path that is to be searched names nothing.\n"},
    {"it is a link that leads nowhere", "Remove the link % or make what it leads to", true,
     "Links are judged by what they lead to. This one leads to nothing.\n"},
    {"it is a link that leads back to itself", "Remove or change the link %", true,
     "The system refuses the path, since it goes through too many links. A link to\n"
     "a directory that holds the link is followed again and again until then.\n"},
    {"it leads back to a directory above it, which is searched already", "", false,
     "A link leads back to one of the directories that it lies in. That one is being\n"
     "searched, so nothing is missed. --link-cycles follow enters it all the same.\n"},
    {"its path is too long for the system", "Move % to a shorter path", true,
     "The system takes paths of at most 4096 bytes, and executables are opened by\n"
     "paths of at most 1023.\n"},
    {"it vanished while it was looked at", "Search again", true,
     "The entry was listed, and then it was not there any more. A directory from\n"
     "which a name vanishes counts as one that cannot be listed.\n"},
    {"a directory on the way to it may not be searched",
     "Give yourself search permission (chmod +x) for the directories above %", true,
     "To look at a file, one needs search permission (x) for every directory of its\n"
     "path.\n"},
    {"it is a directory that may not be searched", "chmod u+rx %", true,
     "A directory is searched when it may be read (r) and searched (x).\n"},
    {"it has no execute permission", "chmod +x %", false,
     "Only files with execute permission are looked into: others are not programs.\n"},
    {"it may not be read", "chmod u+r %", true,
     "The file has execute permission, or is a description, but this user may not\n"
     "read it, and what it says of itself stands in it.\n"},
    {"it could not be read", "Look at the system log; the disk or network may be at fault", true,
     "The system reported an error while the entry was read. Other entries are not\n"
     "affected, and the answer is called incomplete.\n"},
    {"it is not a regular file", "", false, "Pipes, sockets and devices are not looked into.\n"},
    {"its name begins with a dot", "Rename % so that its name does not begin with a dot", false,
     "Names that begin with \".\" are hidden, and left out of a search.\n"},
    {"its name ends in a tilde, as those of backups do",
     "Rename % so that its name does not end in ~", false,
     "Names that end in \"~\" are backups, and left out of a search.\n"},
    {"it has no description", "Put a description into %", true,
     "An application directory needs a description: Resources/Info-quorvale.plist,\n"
     "or registry.table, or an executable of its own name, less the suffix, that\n"
     "describes itself.\n"},
    {"the description is too large to be read", "Make % smaller than 16 MiB", true,
     "Descriptions of more than 16 MiB are not read.\n"},
    {"a description is looked for below this entry, where there is none",
     "Move % into the directory Resources", true,
     "The description Info-quorvale.plist is looked for in the directory Resources.\n"
     "Beside it, it is not found, and hides the executable that describes itself.\n"},
    {"the property list cannot be parsed", "Correct %", true,
     "The description is a property list in the old style: { key = value; }, arrays\n"
     "( a, b ), strings with quotation marks around blanks and signs.\n"},
    {"a value is of the wrong kind", "Correct %", true,
     "The value of a key is a string, an array ( a, b ) or a dictionary { k = v; },\n"
     "and each key wants one of them. A value of another kind counts as missing.\n"},
    {"this element ends the list of types: those behind it are not read", "Correct %", true,
     "Each element of NSTypes is a dictionary with an array NSExtensions. The first\n"
     "one that is not ends the list.\n"},
    {"a key that nothing reads is nearly one that is read", "Correct %", true,
     "Keys that are not known are passed over. This one may be a slip.\n"},
    {"a key is missing", "Add the key to %", true,
     "Without NSExecutable, the record of the application has no name.\n"},
    {"it was passed over, since a description was seen before it", "", false,
     "Where an application directory has a description, the executable's own and\n"
     "\"services\" do not count when the directory lists them before it.\n"},
    {"it says nothing of itself", "", false,
     "An executable is an application when it describes itself: in a section of its\n"
     "Mach-O image, segment __ICON, section __header, or in a note or section of its\n"
     "ELF file. Scripts and programs of other formats cannot, but may be the\n"
     "executable of an application directory.\n"},
    {"a line of its header is not a command", "Correct the header of %", true,
     "A header's lines are F, S or braces: F<tab>name<tab>application<tab>icon,\n"
     "S<tab>extension<tab>application[<tab>icon], or { key = value; }.\n"},
    {"its image is damaged", "Build % again", true,
     "The executable contradicts itself: what one of its headers announces is not\n"
     "in the file.\n"},
    {"it does not run on this machine", "Get % for this machine's processor", true,
     "The executable has no code for this machine's processor. It is listed as not\n"
     "suitable. --cpu says how it is judged on another machine.\n"},
    {"its suffix is nearly that of an application", "Rename %, if it is meant to be an application",
     true,
     "The suffixes of application directories are .app, .debug and .profile, in\n"
     "lower-case letters.\n"},
    {"there is more than a search takes", "Search fewer directories at once", true,
     "A search has room for 1,000,000 records and 512 MiB in them, a header for\n"
     "100,000 lines and an application directory for 100,000 records.\n"},
    {"it could not be judged", "", true,
     "Judging the entry failed for a reason of its own, and the search went on.\n"},
    {"another application comes first", "", false,
     "The application is found, and for a name or an extension that it claims another\n"
     "one comes before it: of several with one name, \"open --with\" starts the first\n"
     "that is suitable, and of the handlers of an extension the best opens its files.\n"
     "\"tesker-apps handlers EXT\" has their order, and \"tesker-apps prefer EXT NAME\"\n"
     "changes it.\n"},
}};
static_assert(!kTexts.back().explanation.empty());

const CodeTexts &textsOf(JudgementCode code) { return kTexts[static_cast<std::size_t>(code)]; }

} // namespace

std::string sentenceOf(const Remark &remark) {
  std::string sentence(textsOf(remark.code).sentence);
  if (!remark.detail.empty())
    sentence += ": " + displayText(remark.detail);
  return sentence;
}

std::string adviceOn(const Remark &remark, std::string_view path) {
  std::string advice(textsOf(remark.code).advice);
  const std::size_t place = advice.find('%');
  if (place != std::string::npos)
    advice.replace(
        place, 1,
        displayPlace(remark.file.empty() ? path : remark.file, remark.line, remark.column));
  if (remark.code == JudgementCode::noDescription && remark.file.empty())
    advice += "/Resources/Info-quorvale.plist";
  if (remark.code == JudgementCode::noDescription)
    advice += ", such as { NSExecutable = NAME; } with the name of its program";
  if (remark.code == JudgementCode::nearSuffix)
    advice += ": its name has to end in ." + displayText(remark.detail);
  return advice;
}

std::string explanationOf(JudgementCode code) { return std::string(textsOf(code).explanation); }

bool isComplaint(JudgementCode code) { return textsOf(code).complaint; }

} // namespace tesker
