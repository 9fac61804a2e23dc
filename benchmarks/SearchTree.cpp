#include "benchmarks/SearchTree.h"

#include "examples/MachOWriter.h"

#include <array>
#include <cerrno>
#include <elf.h>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tesker::benchmarks {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostLevels = 8;
constexpr std::size_t kElfSize = 6000;
constexpr std::string_view kScript = "#!/bin/sh\nexit 0\n";

void writeFile(const fs::path &path, std::string_view bytes) {
  errno = 0;
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out)
    throw fs::filesystem_error("cannot write", path,
                               std::error_code(errno, std::generic_category()));
}

void writeProgram(const fs::path &path, std::string_view bytes) {
  writeFile(path, bytes);
  fs::permissions(path, static_cast<fs::perms>(0755));
}

// A small program for this kind of machine: headers and nothing behind them.
std::string elfFile() {
  Elf64_Ehdr header{};
  std::string_view(ELFMAG).copy(reinterpret_cast<char *>(header.e_ident), SELFMAG);
  header.e_ident[EI_CLASS] = ELFCLASS64;
  header.e_ident[EI_DATA] = ELFDATA2LSB;
  header.e_ident[EI_VERSION] = EV_CURRENT;
  header.e_type = ET_EXEC;
  header.e_machine = EM_X86_64;
  header.e_version = EV_CURRENT;
  header.e_phoff = sizeof header;
  header.e_ehsize = sizeof header;
  header.e_phentsize = sizeof(Elf64_Phdr);
  header.e_phnum = 1;
  Elf64_Phdr segment{};
  segment.p_type = PT_LOAD;
  segment.p_flags = PF_R | PF_X;
  segment.p_filesz = segment.p_memsz = kElfSize;
  segment.p_align = 4096;
  std::string bytes(reinterpret_cast<const char *>(&header), sizeof header);
  bytes.append(reinterpret_cast<const char *>(&segment), sizeof segment);
  bytes.resize(kElfSize);
  return bytes;
}

// The text with the number in place of every '@'.
std::string numbered(std::string_view text, std::size_t number) {
  std::string result;
  for (const char character : text)
    result += character == '@' ? std::to_string(number) : std::string(1, character);
  return result;
}

constexpr std::string_view kIconHeader = "F\tSelf@\tSelf@\tSelf@.tiff\n"
                                         "S\tdoc@\tSelf@\tdocument.tiff\n"
                                         "S\tlog\tSelf@\n";

// Every second one is a fat file, every fifth offers services.
std::string selfDescribingProgram(std::size_t number) {
  const auto image = [&](const examples::Processor &processor) {
    examples::MachOWriter writer(processor);
    writer.addSection("__TEXT", "__text", std::string(1024, '\0'));
    writer.addSection("__ICON", "__header", numbered(kIconHeader, number));
    if (number % 5 == 0)
      writer.addSection("__ICON", "__services", "Message: open\n");
    return writer.bytes();
  };
  if (number % 2 == 0)
    return image(examples::kI386);
  std::vector<examples::FatMember> members;
  for (const auto &processor : {examples::kPowerPC, examples::kI386, examples::kArm})
    members.push_back({processor, image(processor)});
  return examples::fatFile(members);
}

constexpr std::string_view kWrapperDescription = R"({
    NSExecutable = App@;
    NSIcon = "App@.tiff";
    NSTypes = (
        { NSName = Text; NSExtensions = (text@, list@, txt, rtf); NSIcon = "text.tiff"; },
        { NSName = Log; NSExtensions = (log); NSIcon = "log.tiff"; }
    );
    NSServices = ( { NSPortName = App@; NSMessage = open; } );
}
)";

class TreeMaker {
public:
  TreeMaker(const fs::path &top, std::uint64_t seed) : random_(seed), directories_{{top, 0}} {}

  void addDirectories(std::size_t count) {
    while (directories_.size() <= count) {
      const Directory &parent = directories_[below(directories_.size())];
      if (parent.level == kMostLevels)
        continue;
      Directory directory{parent.path / numbered("dir@", ++number_), parent.level + 1};
      fs::create_directory(directory.path);
      directories_.push_back(std::move(directory));
    }
  }

  void addPlainFiles(std::size_t count) {
    constexpr std::array<std::string_view, 5> kNames = {"Document@.txt", "report@.rtf",
                                                        "image@.png", "source@.c", "lib@.so"};
    for (std::size_t i = 0; i < count; ++i)
      writeFile(somewhere() / numbered(kNames[below(kNames.size())], ++number_), "");
  }

  void addPrograms(std::size_t count) {
    const std::string elf = elfFile();
    for (std::size_t i = 0; i < count; ++i)
      writeProgram(somewhere() / numbered("program@", ++number_), i % 2 == 0 ? elf : kScript);
  }

  void addSelfDescribingPrograms(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      ++number_;
      writeProgram(somewhere() / numbered("Self@", number_), selfDescribingProgram(number_));
    }
  }

  void addWrappers(std::size_t count) {
    const std::string elf = elfFile();
    for (std::size_t i = 0; i < count; ++i) {
      ++number_;
      const fs::path wrapper = somewhere() / numbered("App@.app", number_);
      fs::create_directories(wrapper / "Resources");
      writeProgram(wrapper / numbered("App@", number_), elf);
      writeFile(wrapper / "Resources" / "Info-quorvale.plist",
                numbered(kWrapperDescription, number_));
    }
  }

private:
  struct Directory {
    fs::path path;
    std::size_t level;
  };

  // The library's distributions differ between implementations; the bias of a remainder is none to
  // speak of.
  std::size_t below(std::size_t limit) { return random_() % limit; }
  const fs::path &somewhere() { return directories_[below(directories_.size())].path; }

  std::mt19937_64 random_;
  std::vector<Directory> directories_;
  std::size_t number_ = 0; // of the last name; no two names have the same
};

} // namespace

void makeSearchTree(const fs::path &top, std::size_t files, std::uint64_t seed) {
  const std::size_t programs = files / 20;
  const std::size_t selfDescribing = files / 200;
  const std::size_t wrappers = files / 200;
  TreeMaker tree(top, seed);
  tree.addDirectories(files / 11); // which are entries themselves: 12 in each
  tree.addPrograms(programs);
  tree.addSelfDescribingPrograms(selfDescribing);
  tree.addWrappers(wrappers);
  tree.addPlainFiles(files - programs - selfDescribing - 2 * wrappers);
}

} // namespace tesker::benchmarks
