// The name of the error for an unknown record.
#include <proxy/BadSignatureOnBus.h>

namespace Quarnix::Hevra::Proxy {

BadSignatureOnBus::~BadSignatureOnBus() = default;

const char* BadSignatureOnBus::getId() const {
  return "com.quarnix.Trellium.Application.Hevra.Manager.State.Error.BadSignatureOnBus";
}

}  // namespace Quarnix::Hevra::Proxy
