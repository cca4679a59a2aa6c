// Knows where keys stand.
#include <tools/KeyMask.h>

#include <string_view>

namespace Quarnix::Hevra::Tools {

namespace {

constexpr std::string_view STACK_NODE = "(uyqyayayaytyuuayayayays)";
constexpr std::size_t SECRETS[] = {6, 11, 12};  // its third identity, its key, its old key

void blank(nlohmann::json& digits) { digits = std::string(digits.get_ref<const std::string&>().size(), '0'); }

void maskNode(nlohmann::json& node) {
  for (const std::size_t secret : SECRETS) blank(node[secret]);
}

}  // namespace

void maskKeys(Stack::Forms::RecordedMessage& message) {
  if (message.member == "changekey" && message.signature == "uay") blank(message.body[1]);
  std::string_view rest = message.signature;
  for (nlohmann::json& argument : message.body) {
    const bool isArray = rest.starts_with('a');
    const std::string_view type = rest.substr(isArray ? 1 : 0);
    if (type.starts_with(STACK_NODE)) {
      if (isArray) {
        for (nlohmann::json& node : argument) maskNode(node);
      } else {
        maskNode(argument);
      }
    }
    // Structures do not stand in structures in these messages.
    rest = type.substr(type.starts_with('(') ? type.find(')') + 1 : 1);
  }
}

}  // namespace Quarnix::Hevra::Tools
