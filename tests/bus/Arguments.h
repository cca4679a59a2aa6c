// The arguments of messages as a signature and JSON, built and read without the marshallers under test.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <json/BodyForm.h>
#include <platform/bus/message/Signal.h>

namespace Quarnix::Test {

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
