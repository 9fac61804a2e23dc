// Tree.h - a directory tree that the input describes.
//
// Its entries stand one after the other with the byte FF between them. An entry is one letter, its
// path up to a line feed, and its contents:
//
//   f  a file                              x  an executable file
//   h  an executable whose icon header the contents are; H for another processor
//   s  an executable with a services section
//   d  a directory                         l  a link to the path that the contents are
#pragma once

#include "examples/MachOWriter.h"
#include "fuzz/Input.h"
#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <string_view>

// Nothing of it lies, or leads, outside of its directory.
class Tree {
public:
  explicit Tree(Input description) {
    while (!description.isEmpty() && entries_++ < kMostEntries)
      add(Input(description.upTo('\xFF')));
  }
  const std::string &path() const { return directory_.path(); }

private:
  // A walk follows links that lead upwards again and again: two of them would keep it for ever.
  static constexpr int kMostEntries = 40, kMostLinks = 1;

  // Without names that lead upwards or that no file can have; "" when nothing is left.
  static std::string inside(std::string_view path) {
    std::string clean;
    for (Input names(path.substr(0, 500)); !names.isEmpty();) {
      const std::string_view name = names.upTo('/');
      if (!name.empty() && name != "." && name != ".." && name.size() < 256 &&
          name.find('\0') == std::string_view::npos)
        clean.append(clean.empty() ? "" : "/").append(name);
    }
    return clean;
  }

  static std::string image(tesker::examples::Processor processor, std::string_view section,
                           std::string_view contents) {
    return tesker::examples::MachOWriter(processor).addSection("__ICON", section, contents).bytes();
  }

  void add(Input entry) {
    using namespace tesker::examples;
    const char kind = static_cast<char>(entry.byte());
    const std::string path = inside(entry.upTo('\n'));
    const std::string contents(entry.rest());
    if (path.empty())
      return;
    try {
      if (kind == 'd')
        (void)directory_.makeDirectory(path);
      else if (kind == 'l' && links_++ < kMostLinks)
        (void)directory_.makeLink(path, directory_.path(inside(contents)));
      else if (kind == 'f')
        (void)directory_.writeFile(path, contents);
      else if (kind == 'x')
        (void)directory_.writeFile(path, contents, 0755);
      else if (kind == 'h' || kind == 'H')
        (void)directory_.writeFile(path, image(kind == 'h' ? kI386 : kSparc, "__header", contents),
                                   0755);
      else if (kind == 's')
        (void)directory_.writeFile(path, image(kI386, "__services", contents), 0755);
    } catch (const std::exception &) { // something else stands there, or in the way
    }
  }

  const tesker::test::TemporaryDirectory directory_;
  int entries_ = 0, links_ = 0;
};
