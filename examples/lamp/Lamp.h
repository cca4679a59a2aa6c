// A small application: switches a lamp on, and retries once if the radio does not answer.
#pragma once

#include <cstdint>
#include <string>

#include <platform/core/Mutex.h>
#include <proxy/command/Manager.h>

/// Threads: any.
class Lamp {
 public:
  /// `address`: the address of the lamp's node.
  explicit Lamp(std::uint32_t address);

  void turnOn();
  /// "off", "switching", "on", or the reason why it is not on.
  std::string getState() const;

 private:
  class Attempt;
  void submit(bool isLast);
  void setState(std::string state);

  const std::uint32_t address_;
  mutable Quarnix::Mutex mutex_;
  std::string state_ HEVRA_GUARDED_BY(mutex_) = "off";
  std::uint32_t lastId_ HEVRA_GUARDED_BY(mutex_) = 0;
  // The last member, so that it is destroyed first: its destructor still tells attempts how they ended.
  Quarnix::Hevra::Proxy::Command::Manager manager_{false, "lamp"};
};
