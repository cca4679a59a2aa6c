// Writes each message as a JSON object and reads it back.
#include <json/Recording.h>

#include <cstdio>
#include <string_view>

#include <json/BodyForm.h>
#include <json/Document.h>
#include <json/Malformed.h>
#include <json/ObjectReader.h>
#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/internal/TypeName.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

constexpr struct {
  const char* key;
  decltype(&RecordedMessage::sender) text;
} TEXTS[] = {
    {"sender", &RecordedMessage::sender},       {"destination", &RecordedMessage::destination},
    {"path", &RecordedMessage::path},           {"interface", &RecordedMessage::interface},
    {"member", &RecordedMessage::member},       {"error", &RecordedMessage::error},
    {"signature", &RecordedMessage::signature},
};

constexpr double MOST_SECONDS = 1e9;

bool isType(std::string_view name) {
  using Bus::Message::Type;
  for (const Type type : {Type::METHOD_CALL, Type::METHOD_RETURN, Type::ERROR, Type::SIGNAL})
    if (name == nameOf(type)) return true;
  return false;
}

RecordedMessage readMessage(const json& form, const std::string& place) {
  const ObjectReader reader(form, place,
                            {"time", "type", "serial", "replySerial", "sender", "destination", "path", "interface",
                             "member", "error", "signature", "body"});
  RecordedMessage message;
  message.place = place;
  const double time = reader.number("time");
  if (!(time >= 0 && time <= MOST_SECONDS)) reader.refuse("time", "seconds from 0 to 1000000000");
  message.time = Time::Elapsed::ofNanoseconds(static_cast<std::int64_t>(time * 1e9));
  message.type = reader.text("type");
  if (!isType(message.type)) reader.refuse("type", "call, return, error or signal");
  message.serial = reader.integerOrZero<std::uint32_t>("serial");
  message.replySerial = reader.integerOrZero<std::uint32_t>("replySerial");
  for (const auto& [key, text] : TEXTS)
    if (reader.has(key)) message.*text = reader.text(key);
  message.body = reader.has("body") ? reader.at("body") : json::array();
  try {
    Bus::Message::Signal sample("/sample", "sample.Sample", "sample");
    appendBody(sample, message.signature, message.body, place);
  } catch (const Exception& error) {
    throw Malformed(place + ": " + error.what());
  }
  return message;
}

}  // namespace

std::string writeMessage(const RecordedMessage& message) {
  char time[32];
  std::snprintf(time, sizeof time, "%.6f", static_cast<double>(message.time.getNanoseconds()) / 1e9);
  ordered_json form = {{"type", message.type}, {"serial", message.serial}};
  if (message.replySerial != 0) form["replySerial"] = message.replySerial;
  for (const auto& [key, text] : TEXTS)
    if (!(message.*text).empty()) form[key] = message.*text;
  if (!message.body.empty()) form["body"] = message.body;
  // The time is written digit by digit, because a double would not keep all of them.
  return std::string("{\"time\":") + time + "," + form.dump().substr(1);
}

std::vector<RecordedMessage> readRecording(const std::string& file) {
  const Text text = readText(file);
  std::vector<RecordedMessage> messages;
  if (text.text.empty()) return messages;
  const json list = readObjects(text.text, text.name);
  if (!list.is_array()) throw Malformed(text.name, excerptOf(list), "an array of messages");
  for (const json& form : list)
    messages.push_back(readMessage(form, text.name + ": [" + std::to_string(messages.size()) + "]"));
  return messages;
}

}  // namespace Quarnix::Hevra::Json
