// Answers the interfaces that every served object has: Peer, Introspectable and an empty Properties.
#pragma once

#include <optional>
#include <set>
#include <string>

#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

class ServedObjects;

/// The reply to a call of a standard interface; nothing if the call is for the object itself, or for no object.
std::optional<Message::Method::Return> answerStandard(const Message::Method::Call& call, ServedObjects& objects);

/// The description of a path in the introspection format. `interfaces`: the elements of the object there, beside the
/// standard ones; null without an object.
std::string describeNode(const char* interfaces, const std::set<std::string>& children);

}  // namespace Quarnix::Bus::Internal
