// The daughter board manager of the simulated stack. There is no board, so it only counts resets.
#pragma once

#include <atomic>
#include <cstddef>

#include <stack/SimulatedObject.h>

namespace Quarnix::Hevra::Stack {

/// Serves "hardreset" on the plain variant's interface.
class DaughterBoard final : public SimulatedObject {
 public:
  DaughterBoard(Shared::Pointer<Bus::Connection> connection, const Options& options, Faults& faults);
  ~DaughterBoard() override;

  /// Sets what "hardreset" answers from now on; at first it answers true. A reset that is answered with false is
  /// counted too. Any thread.
  void setResetAnswer(bool answer) noexcept { resetAnswer_ = answer; }
  std::size_t getResetCount() const noexcept { return resets_; }

 private:
  bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) override;

  std::atomic<bool> resetAnswer_{true};
  std::atomic<std::size_t> resets_{0};
};

}  // namespace Quarnix::Hevra::Stack
