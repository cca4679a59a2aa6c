// Sizes beyond what a message may have, and what 32 bits hold.
#include <gtest/gtest.h>

#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>

namespace Quarnix::Bus::Message {
namespace {

// None of these texts is read: there are no such bytes.
TEST(Sizes, BeyondAMessageAreRefusedBeforeAnythingIsRead) {
  const auto texts = [](std::size_t length) { return std::string_view("", length); };
  const struct {
    const char* what;
    void (*append)(Iterator&, std::string_view);
    std::size_t length;
  } rows[] = {
      {"one text", [](Iterator& to, std::string_view text) { to.append(text); }, 1U << 27},
      {"a sum that 32 bits hold as 0x17", [](Iterator& to, std::string_view t) { to.append(t, t, t); }, 0x55555555},
      {"a blob", [](Iterator& to, std::string_view text) { to.appendBytes(nullptr, text.size()); }, 0x7FFFFFFF},
  };
  for (const auto& row : rows) {
    Signal signal("/", "com.example.Sizes", "Big");
    Iterator iterator = signal.begin();
    EXPECT_THROW(row.append(iterator, texts(row.length)), InvalidArgument) << row.what;
    EXPECT_THROW(signal.seal(1, {}), UnusableMessage) << row.what;
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Message
