#include "protocol/BusLibrary.h"

#include <dlfcn.h>
#include <stdexcept>

namespace tesker {

// Nil, as all that is static, until they are loaded.
#define TESKER_DEFINE(function) decltype(&::function) function
TESKER_BUS_FUNCTIONS(TESKER_DEFINE);
#undef TESKER_DEFINE

namespace {

class CannotLoad : public std::runtime_error {
public:
  CannotLoad() : std::runtime_error(lastProblem()) {}

private:
  static std::string lastProblem() {
    const char *text = ::dlerror();
    return text != nullptr ? text : "unknown error";
  }
};

template <class Function> void find(void *library, const char *name, Function *&function) {
  function = reinterpret_cast<Function *>(::dlsym(library, name));
  if (function == nullptr)
    throw CannotLoad();
}

// With all of its calls bound, as those of the programs are, for what is bound can be made
// read-only. It is never closed: it frees some of what it keeps only as the process ends.
bool load() {
  void *library = ::dlopen(TESKER_BUS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw CannotLoad();
#define TESKER_FIND(function) find(library, #function, function)
  TESKER_BUS_FUNCTIONS(TESKER_FIND);
#undef TESKER_FIND
  return true;
}

} // namespace

std::optional<std::string> loadBusLibrary() {
  try {
    // Threads wait for each other here, and after an exception the next one tries again.
    [[maybe_unused]] static const bool isLoaded = load();
    return std::nullopt;
  } catch (const CannotLoad &problem) {
    return problem.what();
  }
}

} // namespace tesker
