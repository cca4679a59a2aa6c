// Starting and killing a bus daemon.
#include <tests/harness/BusDaemon.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Quarnix::Harness {

BusDaemon::BusDaemon(Begin begin, const std::string& rules) {
  if (!::mkdtemp(folder_.data())) throw std::runtime_error("no temporary folder for a bus");
  address_ = "unix:path=" + folder_ + "/bus";
  std::ofstream(folder_ + "/bus.conf")
      << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n<busconfig><listen>"
      << address_
      << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
         "<allow send_destination=\"*\" eavesdrop=\"false\"/><allow receive_sender=\"*\"/>"
      << rules << "</policy><limit name=\"max_replies_per_connection\">128</limit></busconfig>\n";
  if (begin == Begin::STARTED) start();
}

BusDaemon::~BusDaemon() {
  kill();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string BusDaemon::log() const {
  std::ifstream file(folder_ + "/log");
  return {std::istreambuf_iterator<char>(file), {}};
}

void BusDaemon::start() {
  const std::string configuration = "--config-file=" + folder_ + "/bus.conf";
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe to a bus");
  const int log = ::open((folder_ + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  pid_ = ::fork();
  if (pid_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(log, STDERR_FILENO);
    ::dup2(ends[1], STDOUT_FILENO);
    ::execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile", "--nosyslog",
             "--print-address=1", nullptr);
    ::_exit(127);
  }
  ::close(log);
  ::close(ends[1]);
  // It prints its address once it listens; the end of the file instead means that it could not be started.
  char answer = 0;
  const ssize_t count = ::read(ends[0], &answer, 1);
  ::close(ends[0]);
  if (count != 1) throw std::runtime_error("dbus-daemon did not start with " + configuration + ": " + this->log());
}

void BusDaemon::kill() {
  if (pid_ < 0) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace Quarnix::Harness
