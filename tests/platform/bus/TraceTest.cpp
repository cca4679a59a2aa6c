// How a message reads as a line of a trace.
#include <platform/bus/Trace.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Bus::Trace;
using Bus::Message::Any;

TEST(Trace, ShowsAMessageInOneLineWithoutItsSecrets) {
  Call call = callTo("Set", "a \"quoted\" \\ text\n\x7f, \xC2\x9B and \xC3\xA9");
  call.setDestination(NAME);
  Bus::Message::Iterator arguments = call.begin();
  const std::string wide(239, 'x');
  arguments.append(std::uint8_t{1}, std::int16_t{-2}, std::uint64_t{1} << 63, 2.5, false, wide + "\xC3\xA9");
  auto variant = arguments.begin(Bus::Message::VARIANT, "(ayay)");
  auto record = variant.begin(Bus::Message::STRUCTURE);
  const std::vector<std::uint8_t> key(16, 0xAB), open(70, 0xCD);
  for (const auto& bytes : {key, open}) record.appendBytes(bytes.data(), bytes.size());
  variant.end(record);
  arguments.end(variant);
  auto numbers = arguments.begin(Bus::Message::ARRAY, "i");
  for (int i = 0; i < 18; ++i) numbers.append(i);
  arguments.end(numbers);
  Trace::setRedactor(
      [](const Any&, std::string_view structure, unsigned field) noexcept { return structure == "(ayay)" && !field; });

  const auto frame = call.seal(7, {PATH, {}, ":1.1"});
  const Any message({frame.data(), frame.size()});
  std::string bytes;
  for (int i = 0; i < 64; ++i) bytes += "cd";
  const std::string line =
      "-> call #7 from :1.1 to com.example.Service /test/object com.example.Test.Set("
      "\"a \\\"quoted\\\" \\\\ text\\u000a\\u007f, \\u009b and \xC3\xA9\", 1, -2, 9223372036854775808, 2.5, false, \"" +
      wide + "\"... 2 bytes, <(****, 0x" + bytes +
      "... 6 bytes)>, [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15... 2 more])";
  EXPECT_EQ(Trace::describe(Trace::Direction::OUT, message), line);
  const Any cleared(Trace::withoutSecrets(message));
  Trace::setRedactor(nullptr);
  const std::string shown = Trace::describe(Trace::Direction::OUT, cleared);
  EXPECT_EQ(shown.substr(line.find("<(")), "<(0x" + std::string(32, '0') + line.substr(line.find("****") + 4));
  EXPECT_THROW(Any(cleared.getBytes().first(99)), Bus::UnusableMessage);
}

}  // namespace
}  // namespace Quarnix::Test
