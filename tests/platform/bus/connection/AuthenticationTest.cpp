// The authentication dialogue, however its bytes are cut.
#include <gtest/gtest.h>

#include <platform/bus/connection/Authentication.h>

namespace Quarnix::Bus::Internal {
namespace {

using State = Authentication::State;

TEST(Authentication, AnswersTheBusHoweverTheStreamIsCut) {
  const struct {
    std::string stream;  // what belongs to the dialogue is in front of the '|'
    State state;
    std::string output;
    std::string reason;
  } rows[] = {
      {"OK\r\n|", State::DONE, "BEGIN\r\n", ""},
      {"OK 12\r\n|l\1\2\1OK\r\n", State::DONE, "BEGIN\r\n", ""},
      {"REJECTED \xff\n\r\n|OK\r\n", State::REFUSED, "",
       "The bus refused the authentication of this user: REJECTED ??"},
      {"DATA\r\nOKAY\r\n\r\nOK 1\r\n|", State::DONE, "ERROR\r\nERROR\r\nERROR\r\nBEGIN\r\n", ""},
      {"OK\n\r\n|", State::WAITING, "ERROR\r\n", ""},
      {"OK 12|", State::WAITING, "", ""},
      {std::string(Authentication::MAXIMUM_LINE + 1, 'a') + "|", State::REFUSED, "",
       "The bus sent an authentication line of more than 4096 bytes"},
  };
  for (const auto& row : rows) {
    const std::size_t end = row.stream.find('|');
    const std::string stream = row.stream.substr(0, end) + row.stream.substr(end + 1);
    for (std::size_t cut = 0; cut <= stream.size(); cut += 1 + stream.size() / 64) {
      Authentication authentication(0);
      authentication.takeOutput();
      std::size_t taken = authentication.feed(stream.data(), cut);
      if (taken == cut) taken += authentication.feed(stream.data() + cut, stream.size() - cut);
      EXPECT_EQ(taken, end) << row.stream << " cut at " << cut;
      EXPECT_EQ(authentication.state(), row.state) << row.stream << " cut at " << cut;
      EXPECT_EQ(authentication.takeOutput(), row.output) << row.stream << " cut at " << cut;
      EXPECT_EQ(authentication.reason(), row.reason);
    }
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Internal
