// What the tests of the proxies share: a stack service of a few lines on the in-process bus, an originator that keeps
// its reports, and a logger whose lines can be waited for.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <bus/CommandWrapper.h>
#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <platform/core/log/Logger.h>
#include <platform/hevra/interface/command/Originator.h>

namespace Quarnix::Hevra::Proxy::Test {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Lines = std::vector<std::string>;

/// Strings that come from any thread. Waiting has a deadline that only a failure reaches.
class Texts {
 public:
  void add(std::string line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(std::move(line));
    changed_.notify_all();
  }
  bool await(const std::string& line) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60),
                             [&] { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); });
  }
  /// What was added since the last `take`.
  Lines take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  Lines lines_;
};

/// Is the process's logger for its life; the lines come without the prefix that the managers' lines share, and with
/// their priority where it is not WARNING.
class LoggedLines : public Texts {
 public:
  LoggedLines() : former_(Quarnix::Log::Logger::get()) { Quarnix::Log::Logger::set(Shared::make<Writer>(*this)); }
  ~LoggedLines() { Quarnix::Log::Logger::set(former_); }

 private:
  struct Writer : Quarnix::Log::Logger {
    explicit Writer(Texts& texts) : texts_(texts) {}
    void write(Quarnix::Log::Priority priority, const char* line) override {
      std::string text(line);
      const std::string prefix = "HV/ZUV proxy library> ";
      if (text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
      if (priority != Quarnix::Log::Priority::WARNING) text += " at " + std::to_string(static_cast<int>(priority));
      texts_.add(text);
    }
    Texts& texts_;
  };
  Shared::Pointer<Quarnix::Log::Logger> former_;
};

/// One served object of a service of that name; answers with an empty return unless `answer` says otherwise.
class StackObject : public Bus::Object::Server {
 public:
  StackObject(const char* name, const char* path) : connection(Bus::Connection::open("in-process")) {
    setConnection(connection);
    setPath(path);
    start(true);
    connection->requestName(name);
  }
  ~StackObject() override { retire(); }

  std::vector<Call> calls() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

  const Shared::Pointer<Bus::Connection> connection;
  std::function<Return(const Call&)> answer = [](const Call& call) { return Return(call); };

 protected:
  bool method(const Call& call) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      calls_.push_back(call);
    }
    Return reply = answer(call);
    send(reply);
    return true;
  }

 private:
  std::mutex mutex_;
  std::vector<Call> calls_;
};

/// Keeps each report as "group_id own-status/status" and then does what it is told to.
class Client : public Interface::Command::Originator {
 public:
  explicit Client(std::function<void()> then = {}, std::function<void()> atEnd = {})
      : then_(std::move(then)), atEnd_(std::move(atEnd)) {}
  ~Client() override {
    if (atEnd_) atEnd_();
  }
  void progress(const Hevra::Command& command, const Group& group,
                const HomeAutomation::Command::Status& status) override {
    reports.add(group.getId() + "_" + std::to_string(command.getId()) + " " +
                std::to_string(static_cast<unsigned>(command.getStatus())) + "/" +
                std::to_string(static_cast<int>(status)));
    if (then_) then_();
  }

  Texts reports;

 private:
  std::function<void()> then_;
  std::function<void()> atEnd_;
};

}  // namespace Quarnix::Hevra::Proxy::Test
