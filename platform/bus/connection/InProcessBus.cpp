// Routes between the connections of one process, and answers calls to the bus itself.
#include <platform/bus/connection/InProcessBus.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/Exchange.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/internal/Fork.h>
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

}  // namespace

/// A call to the bus itself.
struct InProcessBus::Question {
  const std::string& sender;
  const Call& call;
  std::string text;  // the first argument, if it is one
  Recipients& recipients;
};

template <class T>
InProcessBus::Return InProcessBus::answerWith(const Question& question, const T& value) {
  Return answer(question.call);
  answer.begin().append(value);
  return answer;
}

/// One client's end of the bus.
class InProcessBus::Link : public Transport {
 public:
  Link(InProcessBus& bus, std::string uniqueName) : bus_(bus) { uniqueName_ = std::move(uniqueName); }

  int descriptor() const noexcept override { return -1; }

  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override {
    std::size_t written = 0;
    for (std::size_t i = 0; i < count; ++i) {
      try {
        bus_.route(*this, frames[i]);
      } catch (const std::exception& error) {
        Log::printQuietly(Log::Priority::WARNING, "In-process bus: a message was dropped: %s", error.what());
      }
      written += frames[i].size();
    }
    return static_cast<std::ptrdiff_t>(written - offset);
  }

  bool read(std::vector<Received>&, std::string&) override { return true; }

  std::uint64_t routed() const noexcept override { return routed_; }
  /// The bus calls it with its mutex held, before it pushes anything on account of the message.
  void countRouted() noexcept { ++routed_; }

  void shutdown() noexcept override {
    // Called with the client's mutex held, which comes after the bus's: leaving waits until the last user of the link
    // lets it go.
  }

  ~Link() override {
    if (forkCount() == forks_) bus_.detach(uniqueName_);
  }

 private:
  InProcessBus& bus_;
  std::atomic<std::uint64_t> routed_{0};
  const unsigned forks_ = forkCount();
};

InProcessBus& InProcessBus::get() {
  static InProcessBus& bus = *new InProcessBus;
  return bus;
}

std::shared_ptr<Transport> InProcessBus::attach(const std::shared_ptr<Exchange>& client) {
  Recipients recipients;
  std::shared_ptr<Link> link;  // takes the member away again when what follows fails, with the mutex free
  {
    MutexLock lock(mutex_);
    const std::string name = ":1." + std::to_string(next_++);
    link = std::make_shared<Link>(*this, name);
    members_.emplace(name, Member{client, {}, {}});
    announceOwner(name, {}, name, recipients);
  }
  for (const auto& other : recipients) other->flushAnswers();
  return link;
}

void InProcessBus::detach(const std::string& uniqueName) {
  Recipients recipients;
  {
    MutexLock lock(mutex_);
    const auto found = members_.find(uniqueName);
    if (found == members_.end()) return;
    const Member member = std::move(found->second);
    members_.erase(found);
    for (const std::string& name : member.names) {
      owners_.erase(name);
      announceOwner(name, uniqueName, {}, recipients);
    }
    announceOwner(uniqueName, uniqueName, {}, recipients);
    // Calls to the connection that has gone end at once, as they do with a daemon.
    for (auto& [name, other] : members_)
      if (const std::shared_ptr<Exchange> client = other.client.lock()) {
        client->peerVanished(uniqueName);
        recipients.push_back(client);
      }
  }
  for (const auto& client : recipients) client->flushAnswers();
}

void InProcessBus::route(Link& from, const Message::Frame& frame) {
  const std::string& sender = from.uniqueName();
  Recipients recipients;
  {
    MutexLock lock(mutex_);
    from.countRouted();
    if (!members_.count(sender)) return;
    const Received message = received(frame);
    const std::string destination(message.text(Field::DESTINATION));
    const std::string* owner = ownerOf(destination);
    if (destination == DRIVER_NAME) {
      callDriver(sender, message, recipients);
    } else if (destination.empty()) {
      broadcast(sender, message, recipients);
    } else if (!owner || !handTo(*owner, message, recipients)) {
      if (message.header.type == static_cast<std::uint8_t>(Message::Type::METHOD_CALL) &&
          !(message.header.flags & Message::FLAG_NO_REPLY_EXPECTED))
        reply(sender,
              Return(Call(message.frame, message.header), "org.freedesktop.DBus.Error.ServiceUnknown",
                     "The name " + destination + " has no owner on the in-process bus"),
              recipients);
    }
  }
  for (const auto& client : recipients) client->flushAnswers();
}

const std::string* InProcessBus::ownerOf(const std::string& name) const {
  if (const auto member = members_.find(name); member != members_.end()) return &member->first;
  const auto owner = owners_.find(name);
  return owner == owners_.end() ? nullptr : &owner->second;
}

bool InProcessBus::handTo(const std::string& uniqueName, const Received& message, Recipients& recipients) {
  const auto member = members_.find(uniqueName);
  const std::shared_ptr<Exchange> client = member == members_.end() ? nullptr : member->second.client.lock();
  if (!client) return false;
  client->incoming(message);
  recipients.push_back(client);
  return true;
}

void InProcessBus::broadcast(const std::string& sender, const Received& message, Recipients& recipients) {
  if (message.header.type != static_cast<std::uint8_t>(Message::Type::SIGNAL)) return;
  const Message::Signal signal(message.frame, message.header);
  for (auto& [name, member] : members_) {
    bool wanted = false;
    for (const MatchRule& rule : member.rules) {
      const std::string* owner = rule.sender.empty() || rule.sender == sender ? &sender : ownerOf(rule.sender);
      wanted = wanted || rule.matches(signal, owner && *owner == sender);
    }
    if (wanted) handTo(name, message, recipients);
  }
}

void InProcessBus::announceOwner(const std::string& name, const std::string& before, const std::string& now,
                                 Recipients& recipients) {
  Message::Signal signal(DRIVER_PATH, DRIVER_INTERFACE, "NameOwnerChanged");
  signal.begin().append(name, before, now);
  broadcast(DRIVER_NAME, received(signal.seal(++serial_, {{}, {}, DRIVER_NAME})), recipients);
}

void InProcessBus::reply(const std::string& to, Return&& answer, Recipients& recipients) {
  handTo(to, received(answer.seal(++serial_, {{}, to, DRIVER_NAME})), recipients);
}

void InProcessBus::callDriver(const std::string& sender, const Received& message, Recipients& recipients) {
  if (message.header.type != static_cast<std::uint8_t>(Message::Type::METHOD_CALL)) return;
  const Call call(message.frame, message.header);
  Return answer = answerCall(sender, call, recipients);
  if (call.isReplyExpected()) reply(sender, std::move(answer), recipients);
}

InProcessBus::Return InProcessBus::answerCall(const std::string& sender, const Call& call, Recipients& recipients) {
  struct Method {
    std::string_view name;
    Return (InProcessBus::*answer)(const Question&);
  };
  static constexpr Method METHODS[] = {{"Hello", &InProcessBus::hello},
                                       {"Ping", &InProcessBus::ping},
                                       {"ListNames", &InProcessBus::listNames},
                                       {"NameHasOwner", &InProcessBus::nameHasOwner},
                                       {"GetNameOwner", &InProcessBus::getNameOwner},
                                       {"RequestName", &InProcessBus::requestName},
                                       {"ReleaseName", &InProcessBus::releaseName},
                                       {"AddMatch", &InProcessBus::addMatch},
                                       {"RemoveMatch", &InProcessBus::removeMatch}};
  Question question{sender, call, {}, recipients};
  Message::ConstIterator argument = call.begin();
  if (argument.type() == 's') argument.read(question.text);
  for (const Method& method : METHODS)
    if (method.name == call.getMember()) return (this->*method.answer)(question);
  return Return(call, "org.freedesktop.DBus.Error.UnknownMethod",
                "The in-process bus has no method " + std::string(call.getMember()));
}

InProcessBus::Return InProcessBus::hello(const Question& question) { return answerWith(question, question.sender); }

InProcessBus::Return InProcessBus::ping(const Question& question) { return Return(question.call); }

InProcessBus::Return InProcessBus::listNames(const Question& question) {
  Return answer(question.call);
  Message::Iterator arguments = answer.begin();
  Message::Iterator names = arguments.begin(Message::ARRAY, Message::SIGNATURE_OF<std::string>.codes);
  names.append(DRIVER_NAME);
  for (const auto& [unique, ignored] : members_) names.append(unique);
  for (const auto& [owned, ignored] : owners_) names.append(owned);
  arguments.end(names);
  return answer;
}

InProcessBus::Return InProcessBus::nameHasOwner(const Question& question) {
  return answerWith(question, question.text == DRIVER_NAME || ownerOf(question.text) != nullptr);
}

InProcessBus::Return InProcessBus::getNameOwner(const Question& question) {
  const std::string* owner = ownerOf(question.text);
  if (question.text != DRIVER_NAME && !owner)
    return Return(question.call, "org.freedesktop.DBus.Error.NameHasNoOwner",
                  "The name " + question.text + " has no owner");
  return answerWith(question, owner ? *owner : question.text);
}

/// Nobody queues for a name that is owned: the answer says that it is.
InProcessBus::Return InProcessBus::requestName(const Question& question) {
  const std::string& name = question.text;
  if (Message::checkBusName(name) || name.starts_with(':'))
    return Return(question.call, INVALID_ARGUMENTS, "Bus name \"" + name + "\": expected a name that can be owned");
  const auto [owner, isNew] = owners_.try_emplace(name, question.sender);
  if (isNew) {
    members_.find(question.sender)->second.names.push_back(name);
    announceOwner(name, {}, question.sender, question.recipients);
  }
  return answerWith(question, std::uint32_t{isNew ? 1u : owner->second == question.sender ? 4u : 3u});
}

InProcessBus::Return InProcessBus::releaseName(const Question& question) {
  const auto owner = owners_.find(question.text);
  if (owner == owners_.end()) return answerWith(question, std::uint32_t{2});
  if (owner->second != question.sender) return answerWith(question, std::uint32_t{3});
  owners_.erase(owner);
  std::vector<std::string>& names = members_.find(question.sender)->second.names;
  names.erase(std::remove(names.begin(), names.end(), question.text), names.end());
  announceOwner(question.text, question.sender, {}, question.recipients);
  return answerWith(question, std::uint32_t{1});
}

InProcessBus::Return InProcessBus::addMatch(const Question& question) {
  std::string problem;
  std::optional<MatchRule> rule = MatchRule::parse(question.text, problem);
  if (!rule) return Return(question.call, "org.freedesktop.DBus.Error.MatchRuleInvalid", problem);
  members_.find(question.sender)->second.rules.push_back(std::move(*rule));
  return Return(question.call);
}

InProcessBus::Return InProcessBus::removeMatch(const Question& question) {
  std::vector<MatchRule>& rules = members_.find(question.sender)->second.rules;
  const auto rule =
      std::find_if(rules.begin(), rules.end(), [&](const MatchRule& entry) { return entry.text == question.text; });
  if (rule == rules.end())
    return Return(question.call, "org.freedesktop.DBus.Error.MatchRuleNotFound",
                  "There is no match rule " + question.text);
  rules.erase(rule);
  return Return(question.call);
}

}  // namespace Quarnix::Bus::Internal
