// Checking directory/file pairs and joining them into full paths.
#include "paths/PathFunctions.h"

#include "platform/foundation/NSLog.h"

#include <string_view>

namespace tesker {

namespace {

std::string_view bytesOf(const NSString *string) {
  return string != nullptr ? string->bytes() : std::string_view();
}

bool holds(std::string_view bytes, char character) {
  return bytes.find(character) != std::string_view::npos;
}

bool isDirFile(const NSString *dir, const NSString *file) {
  if (!bytesOf(dir).starts_with('/'))
    return false;
  return file == nullptr || (file->length() > 0 && !holds(file->bytes(), '/'));
}

// Whether the name means the directory itself.
bool namesDirectoryItself(const NSString *file) { return file == nullptr || isEqual(file, "."); }

// The buffer's end of a path that grows piece by piece and stays empty once it has not fitted.
class PathWriter {
public:
  explicit PathWriter(PathBuffer &buffer) : buffer_(buffer) { buffer_[0] = '\0'; }

  bool append(std::string_view bytes) {
    if (bytes.size() >= kPathBufferSize - length_ || holds(bytes, '\0')) {
      buffer_[0] = '\0';
      return false;
    }
    bytes.copy(buffer_ + length_, bytes.size());
    length_ += bytes.size();
    buffer_[length_] = '\0';
    return true;
  }

private:
  PathBuffer &buffer_;
  std::size_t length_ = 0;
};

} // namespace

void TeskerCheckDirFile(const NSString *dir, const NSString *file) {
  if (!isDirFile(dir, file))
    syslogError("*** checkDirFile invariant broken for '%s','%s'", {bytesOf(dir), bytesOf(file)});
}

void TeskerSetCPath(PathBuffer &buffer, const NSString *dir, const NSString *file) {
  TeskerCheckDirFile(dir, file);
  const std::string_view directory = bytesOf(dir);
  const bool wantsSlash = (file != nullptr || directory.empty()) && directory != "/";
  PathWriter path(buffer);
  if (!path.append(directory) || !path.append(wantsSlash ? "/" : ""))
    return;
  // The slash before "." is kept: with it the system follows a link in the directory's last name.
  if (!namesDirectoryItself(file))
    path.append(file->bytes());
}

Ref<NSString> TeskerCatDirFile(const NSString &dir, const NSString *file) {
  if (namesDirectoryItself(file))
    return dir.copy(dir.zone());
  const auto joined = dir.stringByAppendingPathComponent(file->bytes());
  NSMutableSet &names = globalDirNameSet();
  if (const auto known = names.member(joined->bytes()))
    return known.toRef();
  auto path = joined->copy(filerZone());
  names.addObject(path);
  return path;
}

void TeskerSetCatDirFile(NSMutableString &out, const NSString *dir, const NSString *file) {
  TeskerCheckDirFile(dir, file);
  const std::string_view directory = bytesOf(dir);
  out.setString(directory);
  if (namesDirectoryItself(file))
    return;
  // A good directory of one character is the root.
  if (directory.size() != 1)
    out.appendString("/");
  out.appendString(file->bytes());
}

NSMutableSet &globalDirNameSet() {
  static NSMutableSet &names = *NSMutableSet::create(filerZone()).leak();
  return names;
}

} // namespace tesker
