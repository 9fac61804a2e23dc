// ElfBuilder.h - ELF files for tests, of both sizes and byte orders: well-formed ones, and any
// corruption of them. Link to tesker_images.
#pragma once

#include "platform/images/DescriptionNotes.h"
#include "platform/ports/ElfProcessors.h"

#include <algorithm>
#include <elf.h>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

inline constexpr ElfMachine kElfX86_64 = {EM_X86_64, true, false};
inline constexpr ElfMachine kElfI386 = {EM_386, false, false};
inline constexpr ElfMachine kElfPPC64 = {EM_PPC64, true, true};
inline constexpr ElfMachine kElfPPC = {EM_PPC, false, true};
inline constexpr ElfMachine kElfFormats[] = {kElfX86_64, kElfI386, kElfPPC64, kElfPPC};

// The tables are made with the contents; finish() adds the names of the sections and fills the
// header. What is in the public members then is written by bytes() as it is, in the size and byte
// order of the machine.
class ElfBuilder {
public:
  explicit ElfBuilder(const ElfMachine &machine = kElfX86_64) : machine_(machine) {}

  Elf64_Ehdr header{};
  std::vector<Elf64_Phdr> segments;
  std::vector<Elf64_Shdr> sections{Elf64_Shdr{}};

  // A note as it stands in the file.
  std::string note(std::string_view owner, std::uint32_t type, std::string_view text,
                   std::size_t unit = 4) const {
    std::string bytes = number(owner.size(), 4) + number(text.size(), 4) + number(type, 4);
    bytes += owner;
    pad(bytes, unit);
    bytes += text;
    pad(bytes, unit);
    return bytes;
  }
  std::string ourNote(DescriptionNote type, std::string_view text, std::size_t unit = 4) const {
    return note(std::string_view("Tesker", 7), static_cast<std::uint32_t>(type), text, unit);
  }

  ElfBuilder &noteSegment(std::string_view notes, std::uint64_t align = 4) {
    Elf64_Phdr segment{};
    segment.p_type = PT_NOTE;
    segment.p_offset = place(notes);
    segment.p_filesz = segment.p_memsz = notes.size();
    segment.p_align = align;
    segments.push_back(segment);
    return *this;
  }
  ElfBuilder &section(std::string_view name, std::uint32_t type, std::uint64_t flags,
                      std::string_view bytes, std::uint64_t align = 4) {
    Elf64_Shdr section{};
    section.sh_name = static_cast<Elf64_Word>(names_.size());
    names_.append(name).push_back('\0');
    section.sh_type = type;
    section.sh_flags = flags;
    section.sh_offset = place(bytes);
    section.sh_size = bytes.size();
    section.sh_addralign = align;
    sections.push_back(section);
    return *this;
  }
  ElfBuilder &noteSection(std::string_view notes, std::uint64_t flags = SHF_ALLOC,
                          std::uint64_t align = 4) {
    return section(".note.tesker", SHT_NOTE, flags, notes, align);
  }
  ElfBuilder &namedSection(std::string_view name, std::string_view text) {
    return section(name, SHT_PROGBITS, 0, text);
  }

  ElfBuilder &finish() {
    section(".shstrtab", SHT_STRTAB, 0, "");
    sections.back().sh_offset = place(names_);
    sections.back().sh_size = names_.size();
    std::copy_n(ELFMAG, SELFMAG, reinterpret_cast<char *>(header.e_ident));
    header.e_ident[EI_CLASS] = machine_.is64 ? ELFCLASS64 : ELFCLASS32;
    header.e_ident[EI_DATA] = machine_.isBigEndian ? ELFDATA2MSB : ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_machine = machine_.number;
    header.e_version = EV_CURRENT;
    header.e_phoff = segments.empty() ? 0 : headerSize();
    header.e_shoff = place("");
    header.e_ehsize = static_cast<Elf64_Half>(headerSize());
    header.e_phentsize = machine_.is64 ? sizeof(Elf64_Phdr) : sizeof(Elf32_Phdr);
    header.e_phnum = static_cast<Elf64_Half>(segments.size());
    header.e_shentsize = machine_.is64 ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
    header.e_shnum = static_cast<Elf64_Half>(sections.size());
    header.e_shstrndx = static_cast<Elf64_Half>(sections.size() - 1);
    isFinished_ = true;
    return *this;
  }

  std::string bytes() {
    if (!isFinished_)
      finish();
    std::string file = headerBytes();
    for (const Elf64_Phdr &segment : segments)
      file += bytesOf(segment);
    file.resize(std::max(file.size(), kContents), '\0');
    file += contents_;
    for (const Elf64_Shdr &section : sections)
      file += bytesOf(section);
    return file;
  }

private:
  static constexpr std::size_t kContents = 1024; // headers are before it

  static void pad(std::string &bytes, std::size_t unit) {
    bytes.resize((bytes.size() + unit - 1) / unit * unit, '\0');
  }
  std::size_t headerSize() const { return machine_.is64 ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr); }
  std::uint64_t place(std::string_view bytes) {
    pad(contents_, 8);
    const std::uint64_t offset = kContents + contents_.size();
    contents_ += bytes;
    return offset;
  }

  std::string number(std::uint64_t value, std::size_t size) const {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i)
      bytes += static_cast<char>(value >> (8 * i));
    if (machine_.isBigEndian)
      std::reverse(bytes.begin(), bytes.end());
    return bytes;
  }
  std::string address(std::uint64_t value) const { return number(value, machine_.is64 ? 8 : 4); }

  std::string headerBytes() const {
    return std::string(header.e_ident, header.e_ident + EI_NIDENT) + number(header.e_type, 2) +
           number(header.e_machine, 2) + number(header.e_version, 4) + address(header.e_entry) +
           address(header.e_phoff) + address(header.e_shoff) + number(header.e_flags, 4) +
           number(header.e_ehsize, 2) + number(header.e_phentsize, 2) + number(header.e_phnum, 2) +
           number(header.e_shentsize, 2) + number(header.e_shnum, 2) + number(header.e_shstrndx, 2);
  }
  std::string bytesOf(const Elf64_Phdr &segment) const {
    const std::string flags = number(segment.p_flags, 4);
    return number(segment.p_type, 4) + (machine_.is64 ? flags : "") + address(segment.p_offset) +
           address(segment.p_vaddr) + address(segment.p_paddr) + address(segment.p_filesz) +
           address(segment.p_memsz) + (machine_.is64 ? "" : flags) + address(segment.p_align);
  }
  std::string bytesOf(const Elf64_Shdr &section) const {
    return number(section.sh_name, 4) + number(section.sh_type, 4) + address(section.sh_flags) +
           address(section.sh_addr) + address(section.sh_offset) + address(section.sh_size) +
           number(section.sh_link, 4) + number(section.sh_info, 4) + address(section.sh_addralign) +
           address(section.sh_entsize);
  }

  ElfMachine machine_;
  std::string contents_;
  std::string names_ = std::string(1, '\0');
  bool isFinished_ = false;
};

// A program for that machine with that icon header in a note.
inline std::string elfProgram(std::string_view header, const ElfMachine &machine = kElfX86_64) {
  ElfBuilder elf(machine);
  return elf.noteSegment(elf.ourNote(DescriptionNote::header, header)).bytes();
}

} // namespace tesker::test
