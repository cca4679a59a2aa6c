// What is read of the environment, and when it is not.
#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <platform/core/internal/Environment.h>

namespace Quarnix {
namespace {

// Runs itself again as a set-user-ID program.
TEST(Environment, IsNotReadWherePrivilegesWereRaised) {
  const std::string value = "of the one who started it";
  // At once: a leak check cannot look into such a process. A file system that raises no privileges shows nothing.
  if (const char* const given = std::getenv("HEVRA_TRACE"); given && given == value)
    std::_Exit(::getauxval(AT_SECURE) && environmentValue("HEVRA_TRACE") ? 1 : 0);
  ::setenv("HEVRA_TRACE", value.c_str(), 1);
  EXPECT_EQ(environmentValue("HEVRA_TRACE"), value);
  ::setenv("HEVRA_BUS", "", 1);
  EXPECT_EQ(environmentValue("HEVRA_BUS"), nullptr);
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string copy = self.parent_path() / ("raised-" + std::to_string(::getpid()));
  std::filesystem::copy_file(self, copy);
  const bool isRaised = ::chown(copy.c_str(), 65534, static_cast<gid_t>(-1)) == 0 && ::chmod(copy.c_str(), 04755) == 0;
  const int status = isRaised ? std::system((copy + " --gtest_filter=Environment.*").c_str()) : 0;
  std::filesystem::remove(copy);
  if (!isRaised || (WIFEXITED(status) && WEXITSTATUS(status) == 126))
    GTEST_SKIP() << "only root can make such a program, and no emulated one starts itself";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace Quarnix
