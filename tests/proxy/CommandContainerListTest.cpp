// The cursor of the command list.
#include <gtest/gtest.h>

#include <proxy/command/CommandContainerList.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using Ids = std::vector<std::uint32_t>;
using BadUse = CommandContainerList::BadUse;

Command commandOf(std::uint32_t id) {
  Command command;
  command.setId(id);
  return command;
}

Ids walked(const CommandContainerList& list) {
  Ids ids;
  while (list.next()) ids.push_back(list.get().getId());
  return ids;
}

TEST(CommandContainerList, YieldsWhatWasPutIn) {
  const std::vector<Command> commands = {commandOf(5), commandOf(6)};
  const CommandContainerList empty, listed{commandOf(3), commandOf(1), commandOf(2)},
      ranged(commands.begin(), commands.end());
  CommandContainerList appended;
  appended.append(commandOf(9));
  const struct {
    const CommandContainerList& list;
    Ids ids;
  } rows[] = {{empty, {}}, {listed, {3, 1, 2}}, {ranged, {5, 6}}, {appended, {9}}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.list.size(), row.ids.size());
    EXPECT_EQ(walked(row.list), row.ids);
    EXPECT_EQ(walked(row.list), Ids()) << "without reset";
    row.list.reset();
    EXPECT_EQ(walked(row.list), row.ids) << "after reset";
  }
}

TEST(CommandContainerList, HasNoCurrentCommandBeforeAndBehindTheWalk) {
  const CommandContainerList list{commandOf(1)}, empty;
  EXPECT_THROW(list.get(), BadUse);
  EXPECT_TRUE(list.next());
  EXPECT_EQ(list.get().getId(), 1u);
  EXPECT_FALSE(list.next());
  EXPECT_THROW(list.get(), BadUse);
  list.reset();
  EXPECT_THROW(list.get(), BadUse);
  EXPECT_FALSE(empty.next());
  EXPECT_THROW(empty.get(), BadUse);
}

TEST(CommandContainerList, YieldsWhatIsAppendedDuringTheWalk) {
  CommandContainerList list{commandOf(1)};
  EXPECT_TRUE(list.next());
  for (std::uint32_t id = 2; id < 100; ++id) list.append(commandOf(id));
  EXPECT_EQ(list.get().getId(), 1u);
  for (std::uint32_t id = 2; id < 100; ++id) {
    ASSERT_TRUE(list.next());
    EXPECT_EQ(list.get().getId(), id);
  }
  EXPECT_FALSE(list.next());
  list.append(commandOf(100));
  EXPECT_EQ(walked(list), Ids{100});

  CommandContainerList empty;
  EXPECT_FALSE(empty.next());
  empty.append(commandOf(1));
  EXPECT_THROW(empty.get(), BadUse);
  EXPECT_EQ(walked(empty), Ids{1});
}

TEST(CommandContainerList, CopiesItsCursor) {
  CommandContainerList list{commandOf(1), commandOf(2)};
  EXPECT_TRUE(list.next());
  const CommandContainerList copy = list;
  list = CommandContainerList();
  EXPECT_EQ(copy.get().getId(), 1u);
  EXPECT_EQ(walked(copy), Ids{2});
  EXPECT_EQ(walked(list), Ids());
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
