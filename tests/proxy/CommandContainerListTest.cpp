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

TEST(CommandContainerList, IsWalkedOnceUntilItIsReset) {
  const std::pair<CommandContainerList, Ids> rows[] = {{{}, {}}, {{commandOf(3), commandOf(1)}, {3, 1}}};
  for (const auto& [list, ids] : rows) {
    EXPECT_THROW(list.get(), BadUse);
    EXPECT_EQ(walked(list), ids);
    EXPECT_THROW(list.get(), BadUse);
    EXPECT_EQ(walked(list), Ids()) << "without reset";
    list.reset();
    EXPECT_THROW(list.get(), BadUse);
    EXPECT_EQ(walked(list), ids) << "after reset";
  }
}

TEST(CommandContainerList, YieldsWhatIsAppendedDuringAndBehindTheWalk) {
  CommandContainerList list{commandOf(1)};
  EXPECT_TRUE(list.next());
  for (std::uint32_t id = 2; id < 100; ++id) list.append(commandOf(id));
  EXPECT_EQ(list.get().getId(), 1u);
  EXPECT_EQ(walked(list).size(), 98u);
  list.append(commandOf(100));
  const CommandContainerList copy = list;
  list = CommandContainerList();
  EXPECT_EQ(walked(copy), Ids{100});
  EXPECT_EQ(walked(list), Ids());
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
