// The mutator of the fuzzers whose input is one message. Half of its results are valid, the others almost valid.
#include <algorithm>
#include <cstring>

#include <fuzz/Mutate.h>
#include <fuzz/Repair.h>

namespace {

using Quarnix::Fuzz::Random;
using Quarnix::Fuzz::Repair;

/// Puts the header of a call with a random signature before the input, which becomes its body. Returns the new size.
std::size_t prependHeader(std::uint8_t* data, std::size_t size, std::size_t room, Random& random) {
  std::string types;
  do types += Quarnix::Fuzz::randomType(random);
  while (random() % 2 && types.size() < 100);
  const bool isBig = random() % 2;
  using namespace std::string_literals;
  std::string header = isBig ? "B\1\0\1\0\0\0\0\0\0\0\1\0\0\0\0"s : "l\1\0\1\0\0\0\0\1\0\0\0\0\0\0\0"s;
  const std::string one = isBig ? "\0\0\0\1"s : "\1\0\0\0"s;
  header += "\1\1o\0"s + one + "/\0\0\0\0\0\0\0"s + "\3\1s\0"s + one + "m\0\0\0\0\0\0\0"s;
  header += "\10\1g\0"s + static_cast<char>(types.size()) + types + '\0';
  const std::size_t fields = header.size() - 16;
  header[isBig ? 15 : 12] = static_cast<char>(fields);
  header.resize((header.size() + 7) & ~std::size_t{7});
  if (header.size() + size > room) size = room > header.size() ? room - header.size() : 0;
  if (header.size() + size > room) return 0;
  std::memmove(data + header.size(), data, size);
  std::copy(header.begin(), header.end(), data);
  return header.size() + size;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed) {
  room = Quarnix::Fuzz::limitRoom(size, room, 1024);
  Random random(seed);
  const auto choice = random() % 8;
  if (choice == 0) return LLVMFuzzerMutate(data, size, room);
  const std::size_t changed =
      choice == 1 ? prependHeader(data, size, room, random) : LLVMFuzzerMutate(data, size, room);
  const std::size_t repaired = Repair(data, changed, room, random).message();
  if (repaired == 0) return changed;
  if (choice >= 6) {
    std::uint8_t& byte = data[random() % repaired];
    byte = static_cast<std::uint8_t>(choice == 6 ? random() : byte ^ (1u << random() % 8));
  }
  return repaired;
}
