// The arguments of messages as a signature and JSON, built and read without the marshallers under test.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <json/BodyForm.h>
#include <platform/bus/message/Signal.h>

namespace Quarnix::Test {

/// The fields that every node record begins with, each another value.
inline const std::string HEAD = "uyqyayayaytyuu";
inline std::string headOf(int nodeClass) {
  return "1," + std::to_string(nodeClass) +
         R"(,53189,4,"101112131415161718191a1b1c1d","202122232425262728292a2b2c2d2e2f",)"
         R"("303132333435363738393a3b3c3d3e3f",34359738368,9,10,11)";
}

inline const Bus::Message::Signal signalOf(const std::string& signature = "", const std::string& arguments = "[]") {
  Bus::Message::Signal message("/test", "test.Test", "Test");
  Hevra::Json::appendBody(message, signature, nlohmann::json::parse(arguments), "arguments");
  return message;
}

/// The arguments that W writes of the value.
template <class W, class T>
std::string written(const T& value) {
  Bus::Message::Signal message = signalOf();
  Bus::Message::Iterator append = message.begin();
  W().serialize(append, value);
  return Hevra::Json::writeBody(message).dump();
}

/// Whether `act` raises again what is being handled, and ends the process where nothing is.
template <class Act>
void expectRaisesWhatIsHandled(const Act& act) {
  struct InHand {};
  try {
    throw InHand();
  } catch (const InHand&) {
    EXPECT_THROW(act(), InHand);
  }
  EXPECT_DEATH(act(), "terminate called without an active exception");
}

}  // namespace Quarnix::Test
