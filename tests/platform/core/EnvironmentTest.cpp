// What is read of the environment, and when it is not.
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <platform/core/internal/Environment.h>

namespace Quarnix {
namespace {

// Runs itself again as a set-user-ID program.
TEST(Environment, IsNotReadWherePrivilegesWereRaised) {
  constexpr const char* VALUE = "of the one who started it";
  if (const char* const given = std::getenv("HEVRA_TRACE"); given && std::string(given) == VALUE) {
    if (!::getauxval(AT_SECURE)) GTEST_SKIP() << "a file system that raises no privileges";
    // At once: a leak check cannot look into such a process. A file system that raises no privileges shows nothing.
    std::_Exit(::getauxval(AT_SECURE) && environmentValue("HEVRA_TRACE") ? 1 : 0);
  }
  ::setenv("HEVRA_TRACE", VALUE, 1);
  EXPECT_STREQ(environmentValue("HEVRA_TRACE"), VALUE);
  ::setenv("HEVRA_BUS", "", 1);
  EXPECT_EQ(environmentValue("HEVRA_BUS"), nullptr) << "empty";
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string copy = self.parent_path() / ("raised-" + std::to_string(::getpid()));
  std::filesystem::copy_file(self, copy);
  const bool isRaised = ::chown(copy.c_str(), 65534, static_cast<gid_t>(-1)) == 0 && ::chmod(copy.c_str(), 04755) == 0;
  const int status = isRaised ? std::system((copy + " --gtest_filter=Environment.*").c_str()) : 0;
  std::filesystem::remove(copy);
  if (!isRaised) GTEST_SKIP() << "only root can make such a program";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 126)
    GTEST_SKIP() << "an emulated program cannot be started by itself";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace Quarnix
