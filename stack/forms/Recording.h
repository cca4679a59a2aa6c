// A recording of the service's traffic: one message a line, as hevractl record writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/core/time/Elapsed.h>

namespace Quarnix::Hevra::Stack::Forms {

struct RecordedMessage {
  Time::Elapsed time;  // since the recording began
  std::string type;    // "call", "return", "error" or "signal"
  std::uint32_t serial = 0, replySerial = 0;
  // Empty where the message has no such field.
  std::string sender, destination, path, interface, member, error;
  std::string signature;
  nlohmann::json body;  // see BodyForm.h
  std::string place;    // where it stands, for errors
};

/// One line, without its end.
std::string writeMessage(const RecordedMessage& message);

/// Reads a file, "-" for standard input. Raises Malformed with the line, also for a body that is not of its signature.
std::vector<RecordedMessage> readRecording(const std::string& file);

}  // namespace Quarnix::Hevra::Stack::Forms
