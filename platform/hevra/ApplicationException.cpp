// The key function of the errors with a category.
#include <platform/hevra/ApplicationException.h>

namespace Quarnix::Hevra {

ApplicationException::~ApplicationException() = default;

}  // namespace Quarnix::Hevra
