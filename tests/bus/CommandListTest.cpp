// Lists of commands: what a container's cursor yields is what is written, and what a vector is read from.
#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <platform/bus/message/Signal.h>

namespace Quarnix::Bus::Type {
namespace {

using Hevra::Command;
using Ids = std::vector<std::uint32_t>;
using Container = HomeAutomation::Container<Command>;

/// Yields commands with the given identifiers.
class Yielding : public Container {
 public:
  explicit Yielding(const Ids& ids) {
    for (const std::uint32_t id : ids) commands_.emplace_back().setId(id);
  }
  const Command& get() const override { return commands_.at(passed_ - 1); }
  bool next() const override { return passed_ < commands_.size() && ++passed_; }
  void reset() const override { passed_ = 0; }

 private:
  std::vector<Command> commands_;
  mutable std::size_t passed_ = 0;
};

Message::Signal written(const Container& commands) {
  Message::Signal message("/test", "test.Test", "Test");
  Message::Iterator append = message.begin();
  Wrapper<const Container>().serialize(append, commands);
  return message;
}

Ids idsIn(const Message::Signal& message) {
  std::vector<Command> commands;
  Message::ConstIterator read = message.begin();
  Wrapper<std::vector<Command>>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  Ids ids;
  for (const Command& command : commands) ids.push_back(command.getId());
  return ids;
}

TEST(CommandList, IsWrittenInTheOrderOfTheCursor) {
  EXPECT_EQ(Wrapper<const Container>().signature(), "a(utbuviiyisusuyy)");
  EXPECT_EQ(Wrapper<std::vector<Command>>().signature(), "a(utbuviiyisusuyy)");
  for (const auto& ids : {Ids{}, Ids{7}, Ids{3, 1, 2}}) {
    const Message::Signal message = written(Yielding(ids));
    EXPECT_STREQ(message.getSignature(), "a(utbuviiyisusuyy)");
    EXPECT_EQ(idsIn(message), ids);
  }
}

TEST(CommandList, IsEmptyWhenWrittenAgainWithoutRewinding) {
  const Yielding commands(Ids{1, 2});
  EXPECT_EQ(idsIn(written(commands)), (Ids{1, 2}));
  EXPECT_EQ(idsIn(written(commands)), Ids());
  commands.reset();
  EXPECT_EQ(idsIn(written(commands)), (Ids{1, 2}));
}

TEST(CommandList, IsNeverReadIntoAContainer) {
  const Message::Signal message = written(Yielding(Ids{1}));
  const Yielding commands(Ids{});
  Message::ConstIterator read = message.begin();
  Wrapper<const Container>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  EXPECT_FALSE(commands.next());
}

TEST(CommandList, RaisesWhatIsBeingHandledWhereNoListStands) {
  struct InHand {};
  Message::Signal text("/test", "test.Test", "Test"), numbers("/test", "test.Test", "Test");
  text.begin().append("no list");
  Message::Iterator append = numbers.begin();
  Message::Iterator array = append.begin(Message::ARRAY, "u");
  array.append(1u);
  append.end(array);
  for (const Message::Signal* message : {&text, &numbers}) {
    try {
      throw InHand();
    } catch (const InHand&) {
      EXPECT_THROW(idsIn(*message), InHand);
    }
    EXPECT_DEATH(idsIn(*message), "terminate called without an active exception");
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Type
