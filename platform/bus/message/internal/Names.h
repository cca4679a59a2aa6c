// The syntax of what a message may name: object paths, interfaces, members, errors, bus names, texts.
#pragma once

#include <string_view>

namespace Quarnix::Bus::Message {

/// Each returns null when `text` is well formed, and otherwise the rule that it breaks, in words that fit behind
/// "expected ", such as "a path of '/' and elements of [A-Za-z0-9_]". Threads: any.
const char* checkPath(std::string_view text) noexcept;
/// The path of a message: not the reserved one, which a bus answers by closing the connection.
const char* checkMessagePath(std::string_view text) noexcept;
const char* checkInterface(std::string_view text) noexcept;
const char* checkMember(std::string_view text) noexcept;
const char* checkErrorName(std::string_view text) noexcept;
const char* checkBusName(std::string_view text) noexcept;
/// Strict UTF-8 without NUL; noncharacters are allowed.
const char* checkText(std::string_view text) noexcept;

/// Raises InvalidArgument naming `what` (such as "object path"), the value and `rule` when `rule` is not null.
void require(const char* rule, const char* what, std::string_view value);

}  // namespace Quarnix::Bus::Message
