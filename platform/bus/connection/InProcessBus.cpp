// Routing between the connections of one process, and the bus's own object.
#include <platform/bus/connection/InProcessBus.h>

#include <algorithm>
#include <cstring>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Codec.h>
#include <platform/bus/message/Names.h>
#include <platform/core/Fork.h>
#include <platform/core/log/Logger.h>

namespace Quarnix::Bus::Internal {

using Message::Field;

namespace {

constexpr const char* INVALID_ARGUMENTS = "org.freedesktop.DBus.Error.InvalidArgs";

Received received(const Message::Frame& frame) {
  Received message{frame, {}};
  Message::readTrustedHeader(frame.data(), frame.size(), message.header);
  return message;
}

std::string textOf(const Received& message, Field field) {
  const Message::Header::Text& place = message.header.text(field);
  return {reinterpret_cast<const char*>(message.frame.data() + place.offset), place.length};
}

}  // namespace

/// One client's end of the bus.
class InProcessBus::Link : public Transport {
 public:
  Link(InProcessBus& bus, std::string uniqueName) : bus_(bus) { uniqueName_ = std::move(uniqueName); }

  int descriptor() const noexcept override { return -1; }

  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override {
    std::size_t written = 0;
    for (std::size_t i = 0; i < count; ++i) {
      try {
        bus_.route(uniqueName_, frames[i]);
      } catch (const std::exception& error) {
        Log::printQuietly(Log::Priority::ERROR, "In-process bus: a message was dropped: %s", error.what());
      }
      written += frames[i].size();
    }
    return static_cast<std::ptrdiff_t>(written - offset);
  }

  bool read(std::vector<Received>&, std::string&) override { return true; }

  void shutdown() noexcept override {
    // Called with the client's mutex held, which comes after the bus's: leaving waits until the last user of the link
    // lets it go.
  }

  ~Link() override {
    if (forkCount() == forks_) bus_.detach(uniqueName_);
  }

 private:
  InProcessBus& bus_;
  const unsigned forks_ = forkCount();
};

InProcessBus& InProcessBus::get() {
  static InProcessBus& bus = *new InProcessBus;
  return bus;
}

std::shared_ptr<Transport> InProcessBus::attach(const std::shared_ptr<Client>& client) {
  Touched touched;
  std::shared_ptr<Link> link;  // takes the member away again when what follows fails, with the mutex free
  {
    MutexLock lock(mutex_);
    const std::string name = ":1." + std::to_string(next_++);
    link = std::make_shared<Link>(*this, name);
    members_.emplace(name, Member{client, {}, {}});
    announceOwner(name, {}, name, touched);
  }
  for (const auto& other : touched) other->flushAnswers();
  return link;
}

void InProcessBus::detach(const std::string& uniqueName) {
  Touched touched;
  {
    MutexLock lock(mutex_);
    const auto found = members_.find(uniqueName);
    if (found == members_.end()) return;
    const Member member = std::move(found->second);
    members_.erase(found);
    for (const std::string& name : member.names) {
      owners_.erase(name);
      announceOwner(name, uniqueName, {}, touched);
    }
    announceOwner(uniqueName, uniqueName, {}, touched);
    // As a daemon does: whoever waits for a reply from the one that has gone is told at once.
    for (auto& [name, other] : members_)
      if (const std::shared_ptr<Client> client = other.client.lock()) {
        client->peerVanished(uniqueName);
        touched.push_back(client);
      }
  }
  for (const auto& client : touched) client->flushAnswers();
}

void InProcessBus::route(const std::string& sender, const Message::Frame& frame) {
  Touched touched;
  {
    MutexLock lock(mutex_);
    if (!members_.count(sender)) return;
    const Received message = received(frame);
    const std::string destination = textOf(message, Field::DESTINATION);
    const std::string* owner = ownerOf(destination);
    if (destination == DRIVER_NAME) {
      drive(sender, message, touched);
    } else if (destination.empty()) {
      broadcast(sender, message, touched);
    } else if (!owner || !handTo(*owner, message, touched)) {
      if (message.header.type == static_cast<std::uint8_t>(Message::Type::METHOD_CALL) &&
          !(message.header.flags & Message::FLAG_NO_REPLY_EXPECTED))
        reply(sender,
              Return(Call(message.frame, message.header), "org.freedesktop.DBus.Error.ServiceUnknown",
                     "The name " + destination + " has no owner on the in-process bus"),
              touched);
    }
  }
  for (const auto& client : touched) client->flushAnswers();
}

const std::string* InProcessBus::ownerOf(const std::string& name) const {
  if (const auto member = members_.find(name); member != members_.end()) return &member->first;
  const auto owner = owners_.find(name);
  return owner == owners_.end() ? nullptr : &owner->second;
}

bool InProcessBus::handTo(const std::string& uniqueName, const Received& message, Touched& touched) {
  const auto member = members_.find(uniqueName);
  const std::shared_ptr<Client> client = member == members_.end() ? nullptr : member->second.client.lock();
  if (!client) return false;
  client->incoming(message);
  touched.push_back(client);
  return true;
}

void InProcessBus::broadcast(const std::string& sender, const Received& message, Touched& touched) {
  if (message.header.type != static_cast<std::uint8_t>(Message::Type::SIGNAL)) return;
  const Message::Signal signal(message.frame, message.header);
  for (auto& [name, member] : members_) {
    bool wanted = false;
    for (const MatchRule& rule : member.rules) {
      const std::string* owner = rule.sender.empty() || rule.sender == sender ? &sender : ownerOf(rule.sender);
      wanted = wanted || rule.matches(signal, owner && *owner == sender);
    }
    if (wanted) handTo(name, message, touched);
  }
}

void InProcessBus::announceOwner(const std::string& name, const std::string& before, const std::string& now,
                                 Touched& touched) {
  Message::Signal signal(DRIVER_PATH, DRIVER_INTERFACE, "NameOwnerChanged");
  signal.begin().append(name, before, now);
  broadcast(DRIVER_NAME, received(signal.seal(++serial_, {{}, {}, DRIVER_NAME})), touched);
}

void InProcessBus::reply(const std::string& to, Return&& answer, Touched& touched) {
  handTo(to, received(answer.seal(++serial_, {{}, to, DRIVER_NAME})), touched);
}

void InProcessBus::drive(const std::string& sender, const Received& message, Touched& touched) {
  if (message.header.type != static_cast<std::uint8_t>(Message::Type::METHOD_CALL)) return;
  const Call call(message.frame, message.header);
  Return answer = answerCall(sender, call, touched);
  if (call.isReplyExpected()) reply(sender, std::move(answer), touched);
}

InProcessBus::Return InProcessBus::answerCall(const std::string& sender, const Call& call, Touched& touched) {
  const std::string_view member = call.getMember();
  Member& self = members_.find(sender)->second;
  Return answer(call);
  std::string name;
  Message::ConstIterator argument = static_cast<const Message::Base&>(call).begin();
  if (argument.type() == 's') argument.read(name);

  if (member == "Ping") return answer;
  if (member == "Hello") {
    answer.begin().append(sender);
  } else if (member == "ListNames") {
    Message::Iterator arguments = answer.begin();
    Message::Iterator names = arguments.begin(Message::ARRAY, "s");
    names.append(DRIVER_NAME);
    for (const auto& [unique, ignored] : members_) names.append(unique);
    for (const auto& [owned, ignored] : owners_) names.append(owned);
    arguments.end(names);
  } else if (member == "NameHasOwner") {
    answer.begin().append(name == DRIVER_NAME || ownerOf(name) != nullptr);
  } else if (member == "GetNameOwner") {
    const std::string* owner = ownerOf(name);
    if (name != DRIVER_NAME && !owner)
      return Return(call, "org.freedesktop.DBus.Error.NameHasNoOwner", "The name " + name + " has no owner");
    answer.begin().append(owner ? *owner : name);
  } else if (member == "RequestName") {
    return requestName(sender, call, name, touched);
  } else if (member == "ReleaseName") {
    const auto owner = owners_.find(name);
    std::uint32_t result = owner == owners_.end() ? 2 : owner->second == sender ? 1 : 3;
    if (result == 1) {
      owners_.erase(owner);
      self.names.erase(std::remove(self.names.begin(), self.names.end(), name), self.names.end());
      announceOwner(name, sender, {}, touched);
    }
    answer.begin().append(result);
  } else if (member == "AddMatch") {
    std::string problem;
    std::optional<MatchRule> rule = MatchRule::parse(name, problem);
    if (!rule) return Return(call, "org.freedesktop.DBus.Error.MatchRuleInvalid", problem);
    self.rules.push_back(std::move(*rule));
  } else if (member == "RemoveMatch") {
    const auto rule =
        std::find_if(self.rules.begin(), self.rules.end(), [&](const MatchRule& entry) { return entry.text == name; });
    if (rule == self.rules.end())
      return Return(call, "org.freedesktop.DBus.Error.MatchRuleNotFound", "There is no match rule " + name);
    self.rules.erase(rule);
  } else {
    return Return(call, "org.freedesktop.DBus.Error.UnknownMethod",
                  "The in-process bus has no method " + std::string(member));
  }
  return answer;
}

/// Names are not queued for: whoever asks for one that is owned is told so.
InProcessBus::Return InProcessBus::requestName(const std::string& sender, const Call& call, const std::string& name,
                                               Touched& touched) {
  if (const char* rule = Message::checkBusName(name); rule || name.starts_with(':'))
    return Return(call, INVALID_ARGUMENTS, "Bus name \"" + name + "\": expected a name that can be owned");
  const auto [owner, isNew] = owners_.try_emplace(name, sender);
  Return answer(call);
  answer.begin().append(std::uint32_t{isNew ? 1u : owner->second == sender ? 4u : 3u});
  if (isNew) {
    members_.find(sender)->second.names.push_back(name);
    announceOwner(name, {}, sender, touched);
  }
  return answer;
}

}  // namespace Quarnix::Bus::Internal
