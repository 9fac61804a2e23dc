// Spare.h - one piece of memory that is kept for the next who needs one like it.
//
// For what is needed again and again, and mostly by one after the other. Any thread may take and
// give: a piece belongs to who has taken it out.
#pragma once

#include <atomic>
#include <memory>

namespace tesker {

// A static object of constant initialisation; what it holds at the end of the process stays.
template <class Piece> class Spare {
public:
  // Nil when there is none at the moment.
  [[nodiscard]] std::unique_ptr<Piece> take() {
    return std::unique_ptr<Piece>(kept_.exchange(nullptr));
  }
  // Takes the place of one that is there; of nil, nothing is kept.
  void give(std::unique_ptr<Piece> piece) {
    const std::unique_ptr<Piece> former(kept_.exchange(piece.release()));
  }

private:
  std::atomic<Piece *> kept_ = nullptr;
};

} // namespace tesker
