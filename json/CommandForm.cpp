// Knows the keys of a command.
#include <json/CommandForm.h>

#include <map>
#include <utility>

#include <json/Malformed.h>
#include <json/ObjectReader.h>
#include <json/ValueForm.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;

namespace {

Command readCommand(const json& form, const std::string& where, bool isAnyKept) {
  const ObjectReader reader(form, where,
                            {"id", "parameterId", "write", "address", "value", "origin", "context", "error", "delay",
                             "label", "tag", "status", "acei"});
  Command command;
  command.setId(reader.integer<std::uint32_t>("id"));
  command.setParameterId(reader.integerOrZero<std::uint64_t>("parameterId"));
  command.setWrite(reader.has("write") && reader.boolean("write"));
  command.setAddress(reader.integerOrZero<std::uint32_t>("address"));
  command.setValue(readValue(reader.at("value"), reader.placeOf("value")));
  command.setOrigin(reader.integerOrZero<std::int32_t>("origin"));
  command.setContext(reader.integerOrZero<std::int32_t>("context"));
  if (reader.has("error")) {
    const ObjectReader error(reader.at("error"), reader.placeOf("error"), {"type", "id", "text"});
    if (error.has("text")) error.text("text");
    command.getDetailedError().setErrorCode(
        ErrorCode(error.integerOrZero<std::uint8_t>("type"), error.integerOrZero<std::int32_t>("id")));
  }
  command.setDelay(reader.integerOrZero<std::uint32_t>("delay"), 0);
  if (reader.has("label")) command.setLabel(reader.text("label"));
  command.setTag(reader.integerOrZero<std::uint32_t>("tag"));
  const auto status = reader.has("status") ? reader.named<std::uint8_t>("status", STATUSES, isAnyKept) : 0;
  command.setStatus(static_cast<HvDetailedCommandStatus>(status));
  const auto acei = reader.integerOrZero<std::uint8_t>("acei");
  if (!Command::Acei::isValid(acei) && acei != Command::Acei::UNKNOWN)
    reader.refuse("acei", "a byte whose bit 2 is clear, or 255 for unknown");
  command.setAcei(Command::Acei(acei));
  return command;
}

}  // namespace

std::vector<Command> readCommands(const json& document, const std::string& name, bool isAnyKept) {
  if (!document.is_array()) throw Malformed(name, excerptOf(document), "an array of commands");
  std::vector<Command> commands;
  commands.reserve(document.size());
  std::map<std::uint32_t, std::size_t> places;
  for (const json& form : document) {
    const std::string where = name + ": [" + std::to_string(commands.size()) + "]";
    commands.push_back(readCommand(form, where, isAnyKept));
    const auto [former, fresh] = places.emplace(commands.back().getId(), places.size());
    if (!fresh) {
      throw Malformed(where + ".id", std::to_string(former->first),
                      "another than that of [" + std::to_string(former->second) + "]");
    }
  }
  return commands;
}

nlohmann::ordered_json writeCommand(const Command& command) {
  const DetailedError& error = command.getDetailedError();
  return {{"id", command.getId()},
          {"parameterId", command.getParameterId()},
          {"write", command.isWrite()},
          {"address", command.getAddress()},
          {"value", writeValue(command.getValue())},
          {"origin", command.getOrigin()},
          {"context", command.getContext()},
          {"error",
           {{"type", error.getErrorCode().getErrorType()},
            {"id", error.getErrorCode().getErrorId()},
            {"text", error.toString()}}},
          {"delay", command.getDelay()},
          {"label", command.getLabel()},
          {"tag", command.getTag()},
          {"status", static_cast<std::uint32_t>(command.getStatus())},
          {"acei", command.getAcei().getValue()}};
}

}  // namespace Quarnix::Hevra::Json
