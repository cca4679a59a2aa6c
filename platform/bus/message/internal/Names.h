// The syntax of what a message may name: object paths, interfaces, members, errors, bus names, texts.
#pragma once

#include <string_view>

namespace Quarnix::Bus::Message {

/// Each returns null if `text` is well formed, otherwise the rule that it breaks (see Rules.h). Threads: any.
const char* checkPath(std::string_view text) noexcept;
/// The same for the path of a message. It must not be the reserved one, for which a bus closes the connection.
const char* checkMessagePath(std::string_view text) noexcept;
const char* checkInterface(std::string_view text) noexcept;
const char* checkMember(std::string_view text) noexcept;
const char* checkErrorName(std::string_view text) noexcept;
const char* checkBusName(std::string_view text) noexcept;
/// Strict UTF-8 without NUL; noncharacters are allowed.
const char* checkText(std::string_view text) noexcept;

/// Raises InvalidArgument if `rule` is not null. The error names `what` (such as "object path"), the value and the
/// rule.
void require(const char* rule, const char* what, std::string_view value);

}  // namespace Quarnix::Bus::Message
