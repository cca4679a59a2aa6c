// The parts of the error base that are the same for every error. The errors themselves live beside what raises them.
#include <platform/core/Exception.h>

#include <utility>

namespace Quarnix {

Exception::Exception(std::string message) : message_(std::move(message)) {}
Exception::Exception(const Exception&) = default;
Exception& Exception::operator=(const Exception&) = default;
Exception::~Exception() = default;

const char* Exception::what() const noexcept { return message_.empty() ? getId() : message_.c_str(); }

}  // namespace Quarnix
