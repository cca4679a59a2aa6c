// What every error has in common. Each error stands beside the class that raises it.
#include <platform/core/Exception.h>

#include <utility>

namespace Quarnix {

Exception::Exception(std::string message) : message_(std::move(message)) {}
Exception::Exception(const Exception&) = default;
Exception& Exception::operator=(const Exception&) = default;
Exception::~Exception() = default;

const char* Exception::what() const noexcept { return message_.empty() ? getId() : message_.c_str(); }

}  // namespace Quarnix
