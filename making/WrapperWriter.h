// WrapperWriter.h - makes a wrapper: all of it, or nothing.
//
//   WrapperWriter writer("/home/me/Applications");
//   auto failure = writer.write(description);
//   if (!failure && isAsItShouldBe(writer.path()))
//     failure = writer.putInPlace(WrapperWriter::Former::stays);
#pragma once

#include "making/WrapperDescription.h"

#include <optional>
#include <string>

namespace tesker {

// Why something could not be done to a file.
struct FileFailure {
  std::string path;
  int error; // an errno
};

// Writes into a hidden directory of the folder in which the wrapper is to stand, so that no search
// meets what is not finished. What was not put in place goes with the writer.
class WrapperWriter {
public:
  // What becomes of something that stands in the wrapper's place.
  enum class Former { stays, isRemoved };

  // The folder has to be there.
  explicit WrapperWriter(std::string folder) : folder_(std::move(folder)) {}
  ~WrapperWriter();
  WrapperWriter(const WrapperWriter &) = delete;
  WrapperWriter &operator=(const WrapperWriter &) = delete;

  // To be called once. Files get modes 0777 (the program) and 0666 less the umask, whatever those
  // of copied ones are. Nothing when it is done. Fails with EINVAL for a name, of the application
  // or in Resources, that is empty, "." or "..", or has a slash or a NUL in it; and for what is to
  // be copied and is not a regular file. Paths of failures are those that files are going to have.
  [[nodiscard]] std::optional<FileFailure> write(const WrapperDescription &description);

  // The wrapper while it is not in place, under the name that it will have; and its place.
  [[nodiscard]] std::string path() const { return hidden_ + "/" + name_; }
  [[nodiscard]] std::string place() const { return folder_ + "/" + name_; }
  // The path that one in path() is going to have; others as they are.
  [[nodiscard]] std::string inPlace(const std::string &path) const;

  // Renames it into its place; nothing when it is done. A former one is renamed away first, and
  // back should this fail. Fails with EEXIST where it stays.
  [[nodiscard]] std::optional<FileFailure> putInPlace(Former former);

private:
  [[nodiscard]] std::optional<FileFailure> writeFiles(const WrapperDescription &description);
  [[nodiscard]] std::optional<FileFailure> makeFolders(const WrapperDescription &description);

  const std::string folder_;
  std::string hidden_; // empty until it is made
  std::string name_;   // "Edit.app"
};

} // namespace tesker
