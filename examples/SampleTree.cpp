#include "examples/SampleTree.h"

#include "examples/MachOWriter.h"

#include <string_view>

namespace tesker::examples {

namespace {

constexpr unsigned kRunnable = 0755;
constexpr unsigned kPlain = 0644;

// What an executable says about itself; without a text there is no section of that kind.
struct SelfDescription {
  std::string_view header;
  std::string_view services;
  std::string_view request;
};

// The instructions that return from a function.
std::string returnInstruction(const Processor &processor) {
  std::string code;
  switch (processor.type) {
  case kI386.type:
    return "\xc3";
  case kArm.type:
    appendWord(code, 0xe12fff1e, processor.order);
    break;
  case kPowerPC.type:
    appendWord(code, 0x4e800020, processor.order);
    break;
  case kM68k.type:
    return "\x4e\x75";
  default: // SPARC: the return and the instruction in its delay slot
    appendWord(code, 0x81c3e008, processor.order);
    appendWord(code, 0x01000000, processor.order);
    break;
  }
  return code;
}

std::string thin(const Processor &processor, const SelfDescription &description = {}) {
  MachOWriter writer(processor);
  writer.addSection("__TEXT", "__text", returnInstruction(processor));
  if (!description.header.empty())
    writer.addSection("__ICON", "__header", description.header);
  if (!description.services.empty())
    writer.addSection("__ICON", "__services", description.services);
  if (!description.request.empty())
    writer.addSection("__ICON", "__request", description.request);
  return writer.bytes();
}

std::string fat(const std::vector<Processor> &processors, const SelfDescription &description = {}) {
  std::vector<FatMember> members;
  members.reserve(processors.size());
  for (const Processor &processor : processors)
    members.push_back({processor, thin(processor, description)});
  return fatFile(members);
}

class Tree {
public:
  void file(std::string path, std::string bytes, unsigned mode, std::string note) {
    add(SampleEntry::Kind::kFile, std::move(path), std::move(bytes), mode, std::move(note));
  }
  void program(std::string path, std::string bytes, std::string note) {
    file(std::move(path), std::move(bytes), kRunnable, std::move(note));
  }
  void text(std::string path, std::string_view bytes, std::string note) {
    file(std::move(path), std::string(bytes), kPlain, std::move(note));
  }
  void link(std::string path, std::string target, std::string note) {
    add(SampleEntry::Kind::kLink, std::move(path), std::move(target), 0777, std::move(note));
  }
  void add(SampleEntry::Kind kind, std::string path, std::string bytes, unsigned mode,
           std::string note) {
    entries.push_back({kind, std::move(path), std::move(bytes), mode, std::move(note)});
  }

  std::vector<SampleEntry> entries;
};

const std::vector<Processor> kEveryHost{kI386, kArm, kPowerPC};

void addWrappersWithPropertyLists(Tree &tree) {
  tree.program("Applications/Edit.app/Edit", fat(kEveryHost), "fat: i386, Arm, PowerPC");
  tree.text("Applications/Edit.app/Resources/Info-quorvale.plist", R"({
    NSExecutable = Edit;
    NSIcon = "Edit.tiff";
    NSTypes = (
        { NSName = "Plain text"; NSExtensions = (txt, text); NSIcon = "text.tiff"; },
        { NSName = "Rich text"; NSExtensions = (rtf); NSIcon = "rich.tiff"; },
        { NSName = "Log"; NSExtensions = (log); }
    );
    NSServices = (
        { NSMessage = openSelection; NSMenuItem = { default = "Edit/Open Selection"; }; }
    );
}
)",
            "new style, document types and services");

  tree.program("Applications/Draw.app/Draw", fat(kEveryHost), "fat: i386, Arm, PowerPC");
  tree.text("Applications/Draw.app/Resources/Info-quorvale.plist", R"({
    NSExecutable = Draw;
    NSIcon = "Draw.tiff";
    NSExtensions = {
        draw = { NSIcon = "drawing.tiff"; };
        eps = { NSIcon = "eps.tiff"; };
    };
}
)",
            "new style, extensions by name");
  tree.program(
      "Applications/Draw.app/Trace.tool/Trace",
      fat(kEveryHost, {"F\tTrace\tTrace\tTrace.tiff\nS\ttrace\tTrace\ttrace.tiff\n", {}, {}}),
      "a tool nested in an application");
  tree.program("Applications/Draw.app/Shapes.bundle/Shapes",
               fat(kEveryHost, {"S\tshape\tDraw\tshape.tiff\n", {}, {}}),
               "a bundle nested in an application");
}

void addWrappersWithRegistries(Tree &tree) {
  tree.program("Applications/Mail.app/Mail", thin(kI386), "thin, little-endian: i386");
  tree.text("Applications/Mail.app/registry.table", R"({
    NSDocumentTypes = {
        mbox = { NSImageName = "mailbox.tiff"; };
        letter = { NSImageName = "letter.tiff"; };
    };
    NSNodeInspectors = (
        { type = InspectorCommand; name = "Mailbox"; extension = mbox; }
    );
}
)",
            "old style, document types and an inspector");
}

// Wrappers without any description but the one in their executable.
void addSelfDescribedWrappers(Tree &tree) {
  constexpr SelfDescription kClock{"F\tClock\tClock\tClock.tiff\n"
                                   "S\tclock\tClock\tclock.tiff\n"
                                   "S\ttiff\tClock\tignored.tiff\n"
                                   "\n"
                                   "{ type = InspectorCommand;\n  name = \"Alarm\"; }\n",
                                   "Message: setAlarm\n",
                                   {}};
  tree.program("Applications/Clock.app/Clock", thin(kI386, kClock), "thin, little-endian: i386");
  tree.program("Applications/Timer.app/Timer",
               thin(kArm, {"F\tTimer\tTimer\tTimer.tiff\n", {}, {}}), "thin, little-endian: Arm");
  tree.program("Applications/Scan.app/Scan",
               thin(kPowerPC, {"F\tScan\tScan\tScan.tiff\nS\tscan\tScan\tscan.tiff\n", {}, {}}),
               "thin, big-endian: PowerPC");
  tree.program("Applications/Museum.app/Museum",
               fat({kM68k, kSparc}, {"F\tMuseum\tMuseum\tMuseum.tiff\n", {}, {}}),
               "fat: 68k, SPARC; for other processors only");
  tree.program(
      "Applications/Paint.app/Paint",
      fat(kEveryHost, {"F\tPaint\tPaint\tPaint.tiff\nS\tpaint\tPaint\tpaint.tiff\n", {}, {}}),
      "fat: i386, Arm, PowerPC");
  tree.text("Applications/Paint.app/services", "Message: takePicture\n",
            "marks the application as one that offers services");
  tree.program("Development/Clock.debug/Clock", thin(kI386, kClock), "a debugging build");
  tree.program("Development/Paint.profile/Paint",
               thin(kPowerPC, {"F\tPaint\tPaint\tPaint.tiff\n", {}, {}}), "a profiling build");
}

void addToolsAndLinks(Tree &tree) {
  tree.program("Tools/define",
               fat(kEveryHost, {"F\tdefine\tdefine\tdefine.tiff\n", {}, "Message: define\n"}),
               "an executable without a wrapper that offers services");
  tree.program("Tools/sort", thin(kI386), "an executable that says nothing about itself");
  tree.program("Tools/greet", "#!/bin/sh\necho hello\n", "a script");
  tree.link("Links/clock", "../Applications/Clock.app/Clock", "link to an executable");
  tree.link("Links/Edit.app", "../Applications/Edit.app", "link to an application");
  tree.link("Links/tools", "../Tools", "link to a directory");
}

void addBrokenOnes(Tree &tree) {
  const std::string whole = fat({kPowerPC, kI386, kArm}, {"F\tTorn\tTorn\tTorn.tiff\n", {}, {}});
  tree.program("Broken/TornImage.app/TornImage", whole.substr(0, 4096),
               "fat file that ends before its first image");
  tree.program("Broken/TornRecords.app/TornRecords", whole.substr(0, 8 + 20),
               "fat file that ends inside its architecture records");
  tree.program("Broken/BadLines.app/BadLines",
               fat(kEveryHost, {"F\tBadLines\n"
                                "S\tbad\n"
                                "X\tno\tsuch\tcommand\n"
                                "{ no property list }\n"
                                "F\tBadLines\tBadLines\tBadLines.tiff\n"
                                "{ name = \"never closed\";\n",
                                {},
                                {}}),
               "header with malformed lines and one good one");
  tree.program("Broken/BadList.app/BadList", fat(kEveryHost), "fat: i386, Arm, PowerPC");
  tree.text("Broken/BadList.app/Resources/Info-quorvale.plist",
            "{ NSExecutable = BadList; NSTypes = ( { NSExtensions = (bad); }\n",
            "malformed property list");
  tree.program("Broken/Empty.app/Empty", "", "empty executable");
  tree.add(SampleEntry::Kind::kFifo, "Broken/pipe", "", kRunnable, "FIFO that nobody writes to");
  tree.link("Broken/dangling", "nowhere", "link to nothing");
  tree.link("Broken/ping", "pong", "link that leads back to itself");
  tree.link("Broken/pong", "ping", "link that leads back to itself");
  tree.link("Broken/Circle/again", ".", "link to the directory that it stands in");
  tree.add(SampleEntry::Kind::kDirectory, "Broken/Locked", "", 0, "directory without permissions");
}

} // namespace

std::vector<SampleEntry> sampleTree() {
  Tree tree;
  addWrappersWithPropertyLists(tree);
  addWrappersWithRegistries(tree);
  addSelfDescribedWrappers(tree);
  addToolsAndLinks(tree);
  addBrokenOnes(tree);
  return std::move(tree.entries);
}

} // namespace tesker::examples
