// Writes and reads the command record.
#include <bus/CommandWrapper.h>

#include <bus/HvTypeVariantHandler.h>
#include <bus/internal/RecordSignature.h>
#include <bus/internal/TypedValue.h>
#include <platform/bus/Error.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/log/Logger.h>

namespace Quarnix::Bus::Type {

namespace {

void appendValue(Message::Iterator& iterator, const Hevra::HvType* value) {
  TypedValue::visit<HvTypeVariantHandler::UnknownTypeForSignature>(value, [&iterator]<class T>(const T& content) {
    if constexpr (std::is_same_v<T, std::span<const std::uint8_t>>) {
      iterator.appendVariantOfBytes(content.data(), content.size());
    } else {
      iterator.appendVariant(content);
    }
  });
}

Shared::Pointer<Hevra::HvType> readValue(Message::ConstIterator& iterator) {
  Shared::Pointer<Hevra::HvType> value;
  Message::ConstIterator content = iterator.getVariant();
  if (TypedValue::read(content, content.signatureView(), value)) {
    iterator.leave(content);
  } else {
    ++iterator;
  }
  return value;
}

Hevra::Command::Acei acceptedAcei(std::uint8_t acei, const Hevra::Command& command) {
  using Acei = Hevra::Command::Acei;
  if (acei == Acei::UNKNOWN || Acei::isValid(acei)) return Acei(acei);
  Log::Logger::get()->print(Log::Priority::WARNING, "Command bus wrapper: invalid acei 0x%02x detected on command %s",
                            unsigned{acei}, command.toString().c_str());
  return Acei(7, 0, 3);
}

/// The text of an error, as DetailedError::toString returns it. It takes memory only for an error that has fields.
class ErrorText {
 public:
  static constexpr std::size_t LONGEST_HEAD = sizeof(Hevra::DetailedError::CodeText) + 2;

  explicit ErrorText(const Hevra::DetailedError& error) : error_(error), rest_(error.getErrorFieldsToString()) {
    if (rest_.empty() && error.hasDetails()) [[unlikely]]
      rest_ = fromFields_ = error.toString();
  }
  ErrorText(const ErrorText&) = delete;

  char* writeHead(char* to) const noexcept {
    if (!fromFields_.empty()) [[unlikely]]
      return to;
    to += error_.writeCode(*reinterpret_cast<Hevra::DetailedError::CodeText*>(to)).size();
    if (rest_.empty()) return to;
    *to++ = ':';
    *to++ = ' ';
    return to;
  }
  std::string_view rest() const noexcept { return rest_; }
  std::string whole() const { return fromFields_.empty() ? error_.toString() : fromFields_; }

 private:
  const Hevra::DetailedError& error_;
  std::string fromFields_;
  std::string_view rest_;
};

/// The iterator's error names a text and what is wrong with it. This one also says which text of which command it is.
[[gnu::cold]] void nameBadText(const Hevra::Command& command, const ErrorText& errorText) {
  const std::string ofCommand = " of command " + std::to_string(command.getId());
  const std::string text = errorText.whole();
  Message::require(Message::checkText(command.getLabel()), ("label" + ofCommand).c_str(), command.getLabel());
  Message::require(Message::checkText(text), ("error text" + ofCommand).c_str(), text);
}

}  // namespace

void Wrapper<Hevra::Command>::serialize(Message::Iterator& iterator, const Hevra::Command& command) const {
  const Hevra::DetailedError& error = command.getDetailedError();
  const ErrorText errorText(error);
  try {
    iterator.append(command.getId(), command.getParameterId(), command.isWrite(), command.getAddress());
    appendValue(iterator, command.getValue().get());
    iterator.append(command.getOrigin(), command.getContext(), error.getErrorCode().getErrorType(),
                    std::int32_t{error.getErrorCode().getErrorId()}, errorText, command.getDelay(), command.getLabel(),
                    command.getTag(), static_cast<std::uint8_t>(command.getStatus()), command.getAcei().getValue());
  } catch (const InvalidArgument&) {
    nameBadText(command, errorText);
    throw;
  } catch (...) {
    iterator.abandon();
    throw;
  }
}

void Wrapper<Hevra::Command>::deserialize(Message::ConstIterator& iterator, Hevra::Command& command) const {
  const auto next = [&iterator]<class T>(T value) {
    iterator.read(value);
    return value;
  };
  // Each field goes into the command at once. If one cannot be read, the command keeps those before it.
  command.setId(next(std::uint32_t{}));
  command.setParameterId(next(std::uint64_t{}));
  command.setWrite(next(bool{}));
  command.setAddress(next(std::uint32_t{}));
  command.setValue(readValue(iterator));
  command.setOrigin(next(std::int32_t{}));
  command.setContext(next(std::int32_t{}));
  const auto errorType = next(std::uint8_t{});
  const auto errorId = next(std::int32_t{});
  command.getDetailedError().setErrorCode(Hevra::ErrorCode(errorType, errorId));
  command.getDetailedError().setErrorFieldsToString(std::string(next(std::string_view{})));
  command.setDelay(next(std::uint32_t{}), 0);
  command.setLabel(std::string(next(std::string_view{})));
  command.setTag(next(std::uint32_t{}));
  command.setStatus(static_cast<Hevra::HvDetailedCommandStatus>(next(std::uint8_t{})));
  std::uint8_t acei = 0;
  iterator.get(acei);
  command.setAcei(acceptedAcei(acei, command));
}

std::string Wrapper<Hevra::Command>::signature() const { return std::string(RecordSignature::COMMAND); }

}  // namespace Quarnix::Bus::Type
