// Names the error of an empty key.
#include <platform/hevra/EmptyKeySet.h>

namespace Quarnix::Hevra {

EmptyKeySet::~EmptyKeySet() = default;

const char* EmptyKeySet::getId() const { return "com.quarnix.Trellium.Application.Hevra.Node.EmptyKeySet"; }

}  // namespace Quarnix::Hevra
