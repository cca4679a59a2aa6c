// Makes fresh group identifiers. They are random, so that neither a restart, nor a fork, nor another process of the
// gateway repeats one that is still in flight.
#include <platform/hevra/Group.h>

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <system_error>

#include <sys/random.h>

namespace Quarnix::Hevra {

Group::Group(bool generate) {
  if (!generate) return;
  std::uint64_t number = 0;
  ssize_t length;
  do {
    length = ::getrandom(&number, sizeof number, 0);
  } while (length < 0 && errno == EINTR);
  if (length != static_cast<ssize_t>(sizeof number)) {
    throw std::system_error(errno, std::generic_category(), "no randomness for a group identifier");
  }
  char text[17];
  std::snprintf(text, sizeof text, "%016" PRIx64, number);
  id_ = text;
}

}  // namespace Quarnix::Hevra
