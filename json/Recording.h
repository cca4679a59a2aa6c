// Reads and writes recordings of the service's traffic, which have one message per line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/core/time/Elapsed.h>

namespace Quarnix::Hevra::Json {

struct RecordedMessage {
  Time::Elapsed time;  // since the recording began
  std::string type;    // "call", "return", "error" or "signal"
  std::uint32_t serial = 0, replySerial = 0;
  // Each of these is empty where the message has no such field.
  std::string sender, destination, path, interface, member, error;
  std::string signature;
  nlohmann::json body;  // see BodyForm.h
  std::string place;    // where the message stands in its file, for errors
};

/// Returns the line of a message, without the end of the line.
std::string writeMessage(const RecordedMessage& message);

/// Reads a file, see readObjectFile; an empty file has no messages. Raises Malformed, naming the message by its number
/// from 0, also when a body does not fit its signature.
std::vector<RecordedMessage> readRecording(const std::string& file);

}  // namespace Quarnix::Hevra::Json
