// The key function of ApplicationException.
#include <platform/hevra/ApplicationException.h>

namespace Quarnix::Hevra {

ApplicationException::~ApplicationException() = default;

}  // namespace Quarnix::Hevra
