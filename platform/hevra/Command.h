// One command of the radio protocol: what to set or read, on which node, and how far it has come.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include <platform/core/Export.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/DetailedError.h>
#include <platform/hevra/HvDetailedCommandStatus.h>
#include <platform/hevra/HvType.h>

namespace Quarnix::Hevra {

/// A value. Copies share the parameter value and the error's fields, which do not change, and nothing else.
///
/// The library gives no meaning to `origin`, `context`, `label` and `tag`; it carries them unchanged both ways. A
/// default command is all zeros, without a value, with the unknown Acei. Threads: as any value. The library shares no
/// command between threads.
class HEVRA_EXPORT Command {
 public:
  /// The acknowledgement and priority byte: bits 7 to 5 the priority level, bits 4 to 3 the priority service number,
  /// bits 2 to 0 the extended information number.
  class HEVRA_EXPORT Acei {
   public:
    /// The byte of an unknown Acei, for which `isValid` is false.
    static constexpr std::uint8_t UNKNOWN = 0xFF;

    constexpr explicit Acei(std::uint8_t value) noexcept : value_(value) {}
    /// Raises std::out_of_range unless the level is at most 7, the service number at most 3 and the extended
    /// information number at most 7.
    constexpr Acei(unsigned level, unsigned service, unsigned information) : value_(0) {
      if (level > 7 || service > 3 || information > 7) refuse(level, service, information);
      value_ = static_cast<std::uint8_t>(level << 5 | service << 3 | information);
    }

    constexpr std::uint8_t getValue() const noexcept { return value_; }
    constexpr unsigned getPriorityLevel() const noexcept { return value_ >> 5; }
    constexpr unsigned getPriorityServiceNumber() const noexcept { return value_ >> 3 & 3u; }
    constexpr unsigned getExtendedInformationNumber() const noexcept { return value_ & 7u; }

    /// Whether the library takes a byte from the bus as it is: when its extended information number is at most 3.
    static constexpr bool isValid(std::uint8_t value) noexcept { return (value & 4u) == 0; }

    friend constexpr bool operator==(const Acei&, const Acei&) noexcept = default;

   private:
    [[noreturn]] static void refuse(unsigned level, unsigned service, unsigned information);
    std::uint8_t value_;
  };

  std::uint32_t getId() const noexcept { return id_; }
  void setId(std::uint32_t id) noexcept { id_ = id; }

  std::uint64_t getParameterId() const noexcept { return parameterId_; }
  void setParameterId(std::uint64_t parameterId) noexcept { parameterId_ = parameterId; }

  /// True: the command sets the parameter to `getValue`; false: it reads it.
  bool isWrite() const noexcept { return write_; }
  void setWrite(bool write) noexcept { write_ = write; }

  /// The address of the node that the command is for.
  std::uint32_t getAddress() const noexcept { return address_; }
  void setAddress(std::uint32_t address) noexcept { address_ = address; }

  /// The parameter's value, or empty.
  const Shared::Pointer<HvType>& getValue() const noexcept { return value_; }
  void setValue(Shared::Pointer<HvType> value) noexcept { value_.swap(value); }

  std::int32_t getOrigin() const noexcept { return origin_; }
  void setOrigin(std::int32_t origin) noexcept { origin_ = origin; }

  std::int32_t getContext() const noexcept { return context_; }
  void setContext(std::int32_t context) noexcept { context_ = context; }

  const DetailedError& getDetailedError() const noexcept { return detailedError_; }
  DetailedError& getDetailedError() noexcept { return detailedError_; }

  /// How many seconds the command waits before it runs; 0 for at once or unknown.
  std::uint32_t getDelay() const noexcept { return delay_; }
  /// A figure beside the delay. It never crosses the bus: every command that is read from there has 0.
  std::uint64_t getDelayCompanion() const noexcept { return delayCompanion_; }
  void setDelay(std::uint32_t delay, std::uint64_t companion) noexcept {
    delay_ = delay;
    delayCompanion_ = companion;
  }

  const std::string& getLabel() const noexcept { return label_; }
  void setLabel(std::string label) noexcept { label_ = std::move(label); }

  std::uint32_t getTag() const noexcept { return tag_; }
  void setTag(std::uint32_t tag) noexcept { tag_ = tag; }

  HvDetailedCommandStatus getStatus() const noexcept { return status_; }
  void setStatus(HvDetailedCommandStatus status) noexcept { status_ = status; }

  Acei getAcei() const noexcept { return acei_; }
  void setAcei(Acei acei) noexcept { acei_ = acei; }

  /// Whether this status is the last that is reported of a command.
  static constexpr bool isFinalStatus(HvDetailedCommandStatus status) noexcept {
    switch (status) {
      case HvDetailedCommandStatus::COMPLETED:
      case HvDetailedCommandStatus::FAILED:
      case HvDetailedCommandStatus::CANCELLED:
      case HvDetailedCommandStatus::TIMED_OUT:
      case HvDetailedCommandStatus::REJECTED:
        return true;
      default:
        return false;
    }
  }

  /// One line for logs: "#7 (node = 1a / parameter = 100000001 / status = COMPLETED)", node and parameter in
  /// hexadecimal, a status without a name as a number.
  std::string toString() const;

 private:
  // Ordered by size, not as on the bus: a list of commands is kept in memory whole.
  std::uint64_t parameterId_ = 0;
  std::uint64_t delayCompanion_ = 0;
  Shared::Pointer<HvType> value_;
  DetailedError detailedError_;
  std::string label_;
  std::uint32_t id_ = 0;
  std::uint32_t address_ = 0;
  std::int32_t origin_ = 0;
  std::int32_t context_ = 0;
  std::uint32_t delay_ = 0;
  std::uint32_t tag_ = 0;
  HvDetailedCommandStatus status_ = HvDetailedCommandStatus::INITIALIZED;
  bool write_ = false;
  Acei acei_{Acei::UNKNOWN};
};

}  // namespace Quarnix::Hevra
