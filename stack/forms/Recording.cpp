// Messages as JSON objects.
#include <stack/forms/Recording.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>
#include <stack/forms/BodyForm.h>
#include <stack/forms/Document.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/ObjectReader.h>

namespace Quarnix::Hevra::Stack::Forms {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

constexpr struct {
  const char* key;
  std::string RecordedMessage::*text;
} TEXTS[] = {
    {"sender", &RecordedMessage::sender},       {"destination", &RecordedMessage::destination},
    {"path", &RecordedMessage::path},           {"interface", &RecordedMessage::interface},
    {"member", &RecordedMessage::member},       {"error", &RecordedMessage::error},
    {"signature", &RecordedMessage::signature},
};

RecordedMessage readMessage(const json& form, const std::string& place) {
  const ObjectReader reader(form, place,
                            {"time", "type", "serial", "replySerial", "sender", "destination", "path", "interface",
                             "member", "error", "signature", "body"});
  RecordedMessage message;
  message.place = place;
  message.time = Time::Elapsed::ofNanoseconds(static_cast<std::int64_t>(reader.number("time") * 1e9));
  message.type = reader.text("type");
  if (message.type != "call" && message.type != "return" && message.type != "error" && message.type != "signal")
    reader.refuse("type", "call, return, error or signal");
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
  // The time with as many digits as there are, which a double would not keep.
  return std::string("{\"time\":") + time + "," + form.dump().substr(1);
}

std::vector<RecordedMessage> readRecording(const std::string& file) {
  std::ifstream opened;
  std::istream* input = &std::cin;
  const std::string name = file == "-" ? "standard input" : file;
  if (file != "-") {
    opened = openFile(file);
    input = &opened;
  }
  std::vector<RecordedMessage> messages;
  std::size_t number = 0;
  for (std::string line; std::getline(*input, line);) {
    const std::string place = name + ": line " + std::to_string(++number);
    if (line.empty()) continue;
    std::istringstream text(line);
    messages.push_back(readMessage(readDocument(text, place), place));
  }
  return messages;
}

}  // namespace Quarnix::Hevra::Stack::Forms
