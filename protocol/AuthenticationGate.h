// AuthenticationGate.h - keeps what comes behind the answer to an authentication from the bus
// library until that is over. Internal to the connection.
//
// As a client, the library (up to version 252 at least) looks for lines in all that has come so
// far, and ends the process where there are more than the one that it expects. A master's first
// message may come along with the answer, and may hold the bytes of a line's end: a path does, or
// the length of a text.
#pragma once

#include "platform/foundation/Files.h"

#include <string_view>

namespace tesker {

class AuthenticationGate {
public:
  // Takes over the socket from which the answer comes. Fails with the errno when the system refuses
  // another.
  [[nodiscard]] static Result<AuthenticationGate> before(FileDescriptor input);

  // What the library is to read meanwhile; none once it has been taken.
  FileDescriptor takeLibraryEnd() { return std::move(libraryEnd_); }
  // Where the answer comes from, still owned: for poll(2).
  int descriptor() const { return input_.number(); }

  // Passes on what has come of the answer, one line, or the end of the socket.
  void pass();
  // Puts the socket in the place of the library's end. False when the system refuses.
  [[nodiscard]] bool open(int libraryEnd) const;

private:
  explicit AuthenticationGate(FileDescriptor input) : input_(std::move(input)) {}
  std::size_t lengthOfAnswer(std::string_view bytes);

  FileDescriptor input_, ownEnd_, libraryEnd_;
  char last_ = 0; // byte that was passed on
  bool isComplete_ = false;
};

} // namespace tesker
