// The error of a reply element that is none of the records that may stand there.
#pragma once

#include <platform/core/Exception.h>

namespace Quarnix::Hevra::Proxy {

/// Raised by the node manager when an element of a node list carries none of the four node record signatures.
class HEVRA_EXPORT BadSignatureOnBus : public Quarnix::Exception {
 public:
  BadSignatureOnBus() = default;
  ~BadSignatureOnBus() override;
  const char* getId() const override;
};

}  // namespace Quarnix::Hevra::Proxy
