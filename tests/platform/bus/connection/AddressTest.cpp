// What is a bus address and what is not.
#include <gtest/gtest.h>

#include <platform/bus/Connection.h>
#include <platform/bus/connection/Address.h>

namespace Quarnix::Bus::Internal {
namespace {

TEST(Address, NamesTheSockets) {
  const struct {
    const char* text;
    std::vector<std::string> paths;
  } rows[] = {
      {"unix:guid=0123,path=/run/bus", {"/run/bus"}},
      {"unix:path=/a%20b%2c%3B", {"/a b,;"}},
      {"unix:abstract=name", {std::string("\0name", 5)}},
      {"tcp:host=localhost,port=1;unix:path=/a;unix:path=/b;", {"/a", "/b"}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> paths;
    for (const Address& address : parseAddresses(row.text)) paths.push_back(address.path);
    EXPECT_EQ(paths, row.paths) << row.text;
  }
}

TEST(Address, NamesWhatIsWrong) {
  const struct {
    std::string text;
    const char* expected;
  } rows[] = {
      {"", "expected a unix:path=... or unix:abstract=... address"},
      {"sytem", "expected \"system\", \"session\", \"in-process\" or unix:path=..."},
      {"tcp:host=localhost,port=1", "expected a unix:path=... or unix:abstract=... address"},
      {"unix:", "expected path= or abstract="},
      {"unix:/run/bus", "expected KEY=VALUE, such as path=/run/dbus/system_bus_socket"},
      {"unix:path=", "expected a value behind path="},
      {"unix:path=/a,abstract=b", "expected only one of path= and abstract="},
      {"unix:path=/a%zz", "expected two hexadecimal digits behind '%'"},
      {"unix:path=/" + std::string(107, 'a'), "expected a socket path of at most 107 bytes"},
  };
  for (const auto& row : rows) {
    try {
      Connection::open(row.text);
      ADD_FAILURE() << row.text << " was accepted";
    } catch (const InvalidArgument& error) {
      EXPECT_EQ(std::string(error.what()), "Bus address \"" + row.text + "\": " + row.expected);
    }
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Internal
